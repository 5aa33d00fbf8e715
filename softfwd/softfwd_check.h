/* softfwd/softfwd_check.h: checks of the tables, and ways for tests to damage and to count. Of the running engine; the
 * results are 0 when it is not open. One thread. */
#pragma once

#include "host/address/address.h"
#include "softfwd/softfwd_damage.h"

#include <cstddef>
#include <cstdint>

/* Walks everything: each route leads to a live entry of its own key and table, each entry refers to no removed
 * object, counts agree. Returns the number of violations; the first is told in 'text' (NUL-terminated; may be
 * null). To be called at brackets: inside one the order of writes may leave references for a moment. */
[[nodiscard]] uint32_t softfwd_integrity_check(char *text, size_t text_size);

/* A number that is equal for equal contents of tables, prefixes and adjacencies with their handles (counters, hit
 * bits and log are left out): a restart that wrote nothing leaves it the same. */
[[nodiscard]] uint64_t softfwd_image_digest();

/* Entries of the time before the restart that nothing has adopted, rewritten or removed yet. Fills at most 'max'
 * handles and returns how many there are in all. */
[[nodiscard]] size_t softfwd_unclaimed_prefixes(uint32_t *handles, size_t max);
[[nodiscard]] size_t softfwd_unclaimed_adjacencies(uint32_t *handles, size_t max);
[[nodiscard]] size_t softfwd_unclaimed_groups(uint32_t *handles, size_t max);

/* Live entries. */
[[nodiscard]] uint32_t softfwd_prefix_count(address_family family);
[[nodiscard]] uint32_t softfwd_adjacency_count();
[[nodiscard]] uint32_t softfwd_group_count();
[[nodiscard]] uint32_t softfwd_table_count();

/* Packets as the data plane would count them; 'prefix_handle' (0: none) gets its hit bit. */
void softfwd_count_packets(uint32_t prefix_handle, uint32_t adj_handle, uint64_t packets, uint64_t bytes);

/* The same damage from inside. False when the handle is unknown. */
bool softfwd_damage_entry(softfwd_damage what, uint32_t handle);
