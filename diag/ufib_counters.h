/* diag/ufib_counters.h: the counters of a VDC with their texts. Each belongs to one class, and each class has a clear of
 * its own. */
#pragma once

#include "core/lcfwd_stats.h"

#include <cstddef>
#include <cstdint>

enum ufib_counter_class : uint32_t {
    UFIB_COUNTS_MESSAGES,   /* messages by kind */
    UFIB_COUNTS_CUMULATIVE, /* routes added and deleted */
    UFIB_COUNTS_INTERNAL,   /* the rest */
};

struct ufib_counter_row {
    ufib_counter_class belongs;
    const char *text;
    const char *key; /* in JSON */
    uint32_t &(*of)(ufib_vdc_stats &stats);
};

/* In the order in which they are shown. */
[[nodiscard]] const ufib_counter_row *ufib_counter_rows(size_t *count);

/* Zeroes a class of a VDC's counters; a VDC without counters: nothing. */
void ufib_counters_clear(uint32_t vdc_id, ufib_counter_class wanted);
