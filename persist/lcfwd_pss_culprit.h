/* persist/lcfwd_pss_culprit.h: what is said when the buffer runs full in the middle of a batch: a message
 * to the supervisor's log, and the kind of record that most likely is to blame. */
#pragma once

#include "persist/lcfwd_pss_kind.h"

#include <cstdint>

struct lcfwd_pss_culprit {
    uint32_t kind;
    uint32_t count;
    bool add; /* stores, not deletions */
};

/* The kind with the largest count over both tables; a tie goes to the later kind. */
[[nodiscard]] lcfwd_pss_culprit lcfwd_pss_culprit_find();

void lcfwd_pss_out_of_space_report(); /* sends and logs both */
