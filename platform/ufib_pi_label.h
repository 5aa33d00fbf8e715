/* platform/ufib_pi_label.h: accessors of the labels that are bound to a prefix, as in ufib_pi.h: labels are opaque; a
 * null object gives null or 0. */
#pragma once

#include <cstdint>

extern "C" {

void *ufib_pi_v4prefix_get_label_first(const void *pfx); /* newest first; null: none */
void *ufib_pi_v4prefix_get_label_next(const void *label);
uint32_t ufib_pi_label_get_value(const void *label);
uint32_t ufib_pi_v4prefix_rnh_get_handle(const void *pfx); /* of a recursive next hop: what it resolves to */
bool ufib_pi_v4adj_is_subinterface(const void *adj);       /* by its interface's name: "Ethernet1/1.5" */
}
