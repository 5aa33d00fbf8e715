/* host/containers/index_range.h: allocators of numbers from a range.
 *
 * One bit a number, two levels: finding a free number looks at one word in 4096 numbers. The lowest free number is
 * given out first, so a freed one is used again soon. All memory is taken at init. One thread. */
#pragma once

#include <cstdint>

struct index_range;

/* An allocator over 'low' to 'high' (both included). 'step' is the distance between numbers that are given out (1 as a
 * rule), 'block' is accepted for the callers' sake and only rounds the memory. Null: bad arguments or no memory. */
[[nodiscard]] index_range *index_range_init(uint32_t low, uint32_t high, uint32_t step, uint32_t block);
void index_range_destroy(index_range *range);

inline constexpr uint32_t INDEX_RANGE_NONE = 0xffffffff;

/* 'count' consecutive numbers (each 'step' from the last), the lowest that are free; INDEX_RANGE_NONE when there is no
 * such run. */
[[nodiscard]] uint32_t index_range_alloc_blk(index_range *range, uint32_t count);
/* Takes exactly these numbers: a restart claims what is in use. 0, EINVAL (not of the range), EEXIST (one of them is
 * taken; nothing changed). */
[[nodiscard]] int index_range_re_alloc_blk(index_range *range, uint32_t index, uint32_t count);
/* Gives numbers back. 0, EINVAL (not of the range), ENOENT (one of them is free; nothing changed). */
int index_range_free_blk(index_range *range, uint32_t index, uint32_t count);
[[nodiscard]] uint32_t index_range_in_use(const index_range *range);
