/* softfwd/softfwd_pool.h: indexes of tables, prefix entries, adjacency handles and records: taken, and given back when
 * no reader can hold them. For softfwd/ only. Indexes start at 1; a take gives 0 when there is no more room. Nothing
 * that readers can reach changes here. */
#pragma once

#include "softfwd/softfwd_layout.h"

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

/* As many handles in a row as a group has places, without a record; their counters are zero. The lowest, or 0. */
[[nodiscard]] uint32_t softfwd_group_handles_take(uint32_t size);
void softfwd_group_handles_release(uint32_t handle); /* with the record in its place, which tells the size */
void softfwd_handles_release(uint32_t handle, uint32_t count);

/* Room for a group's record: its first unit, or 0. */
[[nodiscard]] uint32_t softfwd_group_record_take(uint32_t units);
void softfwd_group_record_release(uint32_t unit, uint32_t units);
[[nodiscard]] softfwd_group *softfwd_group_record(uint32_t unit);

/* Reads and clears a hit bit. */
[[nodiscard]] bool softfwd_hit_take(uint32_t handle);
