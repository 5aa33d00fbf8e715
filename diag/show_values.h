/* diag/show_values.h: values of the model as values of an output piece, the same in every show. Texts lie in static
 * buffers that stay good for the next three calls. One thread. */
#pragma once

#include "host/command/command.h"
#include "ufib/ufib_family.h"

#include <cstdint>

struct ufib_adj;

/* 'address' in network order. */
[[nodiscard]] cmd_arg show_address(const ufib_family &family, const uint8_t *address, const char *key);
[[nodiscard]] cmd_arg show_prefix(const ufib_family &family, const uint8_t *address, uint32_t mask_len,
                                  const char *key);
[[nodiscard]] cmd_arg show_interface(uint32_t if_index, const char *key); /* its name */

/* What an adjacency does with a packet: "resolved" or "tunnel" when it forwards; else "drop", "punt", "glean",
 * "multicast source", "recirculate", or "unresolved". */
[[nodiscard]] const char *show_adj_state(const ufib_adj *adj);
/* What a packet is rewritten with: a MAC; "source -> destination" of a tunnel; "" when nothing is known. */
[[nodiscard]] cmd_arg show_adj_rewrite(const ufib_adj *adj, const char *key);

/* Texts of the bits that are set, from bit 0 on, joined by commas; "none". */
[[nodiscard]] const char *show_bits(uint32_t bits, const char *const *names, uint32_t count);
