/* bench/bench_softfwd.h: look-ups in tables that a writer filled. */
#pragma once

#include "softfwd/softfwd_reader.h"

#include <cstddef>
#include <cstdint>

/* Look-ups a second of the given addresses in one table, all of them once; 0 when the tables are gone. Addresses are in
 * host order for IPv4. 'hops' takes 'count' results. */
[[nodiscard]] double bench_softfwd_v4(softfwd_reader *reader, uint32_t vdc_id, uint32_t table_id,
                                      const uint32_t *addresses, softfwd_hop *hops, size_t count);
[[nodiscard]] double bench_softfwd_v6(softfwd_reader *reader, uint32_t vdc_id, uint32_t table_id,
                                      const uint8_t (*addresses)[16], softfwd_hop *hops, size_t count);

/* Prints engine.*.lookups_per_s for the largest tables of the slot's engine, shuffled over their prefixes; nothing when no
 * engine ever ran there. */
void bench_softfwd_figures(uint32_t slot);
