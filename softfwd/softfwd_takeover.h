/* softfwd/softfwd_takeover.h: adopting the tables of an earlier process, which may have been killed at any
 * instruction. For softfwd/ only. What can be reached is believed once it was checked; everything else is free. */
#pragma once

#include "softfwd/softfwd_file.h"

/* Fills the regions' places and sizes; the length of the file. */
uint64_t softfwd_layout_regions(softfwd_region regions[SOFTFWD_REGION_COUNT]);

/* Attaches the arena of the bound tables. 0 or EBADMSG. */
[[nodiscard]] int softfwd_arena_attach();

/* Whether the file can hold tables of this layout; null, or why not. */
[[nodiscard]] const char *softfwd_takeover_header(const softfwd_file *file);

/* Checks everything, makes free lists, counts and claims anew; null, or what is wrong. */
[[nodiscard]] const char *softfwd_takeover();

/* Claims: entries of the time before the restart that were adopted, rewritten or removed since. */
void softfwd_prefix_claim(uint32_t handle);
void softfwd_adj_claim(uint32_t handle);
void softfwd_table_claim(uint32_t handle);
/* The next live table after 'handle' that nobody has claimed; 0: none. */
[[nodiscard]] uint32_t softfwd_unclaimed_table_next(uint32_t handle);
[[nodiscard]] bool softfwd_prefix_is_claimed(uint32_t handle);
[[nodiscard]] bool softfwd_adj_is_claimed(uint32_t handle);
