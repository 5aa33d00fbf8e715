/* core/lcfwd_vdc_info.h: what a restart must know of a VDC before anything else: its states, its MAC. Kept
 * as one stored record for each VDC that exists, byte-exact, in the machine's order. */
#pragma once

#include "core/lcfwd_vdc.h"

#include <cstddef>
#include <cstdint>

/* The value of the record; its key is the 16-bit id. */
struct lcfwd_vdc_info {
    uint16_t vdc_id;
    uint8_t flags;
    uint8_t reserved3;
    uint32_t ufib_state;
    uint32_t mfib_state;
    uint8_t mac[6]; /* the VDC's router MAC */
    uint16_t reserved18;
    uint32_t router_mac; /* used for the label TTL mode */
};
static_assert(sizeof(lcfwd_vdc_info) == 24 && offsetof(lcfwd_vdc_info, mac) == 12 &&
              offsetof(lcfwd_vdc_info, router_mac) == 20);

void lcfwd_vdc_info_make(const lcfwd_vdc_desc *vdc, lcfwd_vdc_info *out);
