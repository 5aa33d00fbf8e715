/* ufib/ufib_clear.h: an operator's requests to clear routes or adjacencies. What others hold stays. One thread. */
#pragma once

#include "ufib/ufib_control_wire.h"
#include "ufib/ufib_family.h"

struct ufib_vdc;

/* Clears one route, or with UFIB_CLEAR_ALL a whole table. 0; 16: no such table (for one route), no such prefix. */
[[nodiscard]] int ufib_clear_forwarding_request(const ufib_family &family, ufib_vdc *vdc,
                                                const ufib_clear_msg &request);

/* Clears the adjacencies that match, or all of the family: with UFIB_CLEAR_DELETE those that only AM holds are
 * destroyed; without it they count as unresolved until AM speaks again, and hardware stays as it is. An interface of
 * 0 stands for all; a mask length of 0 for the whole address. 0, or 16 when none matches. */
[[nodiscard]] int ufib_clear_forwarding_adj_request(const ufib_family &family, ufib_vdc *vdc,
                                                    const ufib_clear_msg &request);
