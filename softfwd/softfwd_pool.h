/* softfwd/softfwd_pool.h: indexes of tables, prefix entries, adjacency handles and records: taken, and given back when
 * no reader can hold them. For softfwd/ only. Indexes start at 1; a take gives 0 when there is no more room. Nothing
 * that readers can reach changes here. */
#pragma once

#include <cstdint>

[[nodiscard]] uint32_t softfwd_table_take();
void softfwd_table_release(uint32_t index);

/* The entry's hit bit is clear. */
[[nodiscard]] uint32_t softfwd_prefix_take();
void softfwd_prefix_release(uint32_t handle);

/* A handle without a record; its counters are zero. */
[[nodiscard]] uint32_t softfwd_adj_take();
void softfwd_adj_release(uint32_t handle); /* with the record in its place, if there is one */

[[nodiscard]] uint32_t softfwd_record_take();
void softfwd_record_release(uint32_t index);

/* Reads and clears a hit bit. */
[[nodiscard]] bool softfwd_hit_take(uint32_t handle);
