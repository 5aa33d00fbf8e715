/* ufib/ufib_dpl.h: delete-pending lists. An entry is a key, never a pointer: what was made anew, or destroyed, while
 * the entry waited is found again by search, or not at all. One thread. */
#pragma once

#include "host/containers/sll.h"

#include <cstdint>

struct ufib_dpl {
    sll_list list;
};

int ufib_dpl_queue(ufib_dpl *dpl, uint32_t vdc_id, uint32_t key);      /* 1, or 0 without memory */
bool ufib_dpl_dequeue(ufib_dpl *dpl, uint32_t *vdc_id, uint32_t *key); /* false: empty */
void ufib_dpl_reset(ufib_dpl *dpl);
