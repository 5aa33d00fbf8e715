/* softfwd/softfwd_rpf_check.h: the data plane's reverse-path check: may a packet from this source come in here? For
 * any process, beside softfwd_reader.h; the same promises. */
#pragma once

#include "softfwd/softfwd_reader.h"

enum softfwd_rpf_verdict : uint8_t {
    SOFTFWD_RPF_OFF, /* the interface checks nothing */
    SOFTFWD_RPF_PASS,
    SOFTFWD_RPF_FAIL /* the packet is dropped */
};
[[nodiscard]] const char *softfwd_rpf_name(uint8_t verdict);

struct softfwd_rpf_result {
    uint8_t mode; /* 0 off, 1 and 2 loose, 3 strict */
    uint8_t verdict;
};

/* Loose: the source has a route that does not drop. Strict: it is also reached through that interface: by the route's
 * next hop or one of its group's, or because the route is directly attached there. 0, or ESTALE. */
[[nodiscard]] int softfwd_rpf_check(softfwd_reader *reader, address_family family, uint32_t vdc_id,
                                    uint32_t table_id, uint32_t if_index, const uint8_t *source,
                                    softfwd_rpf_result *out);
