/* softfwd/softfwd_adj.h: adjacency entries: where a packet leaves, and with which rewrite. For softfwd/ only. An entry
 * is rewritten under its handle by publishing another record, so readers see the old rewrite or the new one. */
#pragma once

#include "platform/ufib_platform_api.h"
#include "softfwd/softfwd_layout.h"

#include <cstdint>

/* Slots. insert: the adjacency's handle, new or the same; with a restart handle 'ha' the entry is compared with the
 * model and adopted. A refused rewrite leaves the entry as it was. */
[[nodiscard]] uint32_t softfwd_insert_adj(void *adj, uint32_t ha, uint32_t holder);
int softfwd_delete_adj(void *adj);
/* A tunnel has changed: everything that leaves by its interface follows. 1, as the slot's default; -1: a write failed. */
int softfwd_update_tunnel(uint32_t vdc_id, uint32_t if_index);
int softfwd_adj_get_stats(ufib_platform_stats *rows, uint32_t count);
int softfwd_get_rewrite_info(uint32_t handle, ufib_platform_rewrite *rewrite); /* -1: unknown handle */
[[nodiscard]] uint32_t softfwd_get_adj_base_handle(uint32_t handle);
[[nodiscard]] uint32_t softfwd_get_adj_ha_handle(void *adj);
[[nodiscard]] bool softfwd_is_adj_idx_valid(uint32_t handle);
[[nodiscard]] bool softfwd_consistency_check_adj(void *adj); /* either family */

/* The live record of a handle, or null. */
[[nodiscard]] softfwd_adj *softfwd_adj_of(uint32_t handle);
