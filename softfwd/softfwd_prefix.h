/* softfwd/softfwd_prefix.h: prefix entries and the way into the tries. For softfwd/ only. */
#pragma once

#include "platform/ufib_platform_api.h"
#include "softfwd/softfwd_layout.h"

#include <cstdint>

/* Slots. insert: a new handle, or the standing one, whose next object, flags and tag change by one store; with a
 * restart handle 'ha' the entry is compared with the model and adopted. A refused rewrite removes the entry, since the
 * model forgets a handle that was answered with 0. In async mode the write may wait (softfwd_pending.h). */
[[nodiscard]] uint32_t softfwd_insert_v4_prefix(uint32_t table_handle, void *pfx, uint32_t ha, bool update);
[[nodiscard]] uint32_t softfwd_insert_v6_prefix(uint32_t table_handle, void *pfx, uint32_t ha, bool update);
int softfwd_delete_v4_prefix(uint32_t table_handle, void *pfx);
int softfwd_delete_v6_prefix(uint32_t table_handle, void *pfx);
int softfwd_search_v4_prefix(uint32_t table_handle, void *pfx); /* 0: it stands; -1: it does not */
int softfwd_search_v6_prefix(uint32_t table_handle, void *pfx);
int softfwd_update_v4prefix_nh(void *pfx);
int softfwd_update_v6prefix_nh(void *pfx);

/* Reads and clears the hit bit: true when it was clear. */
[[nodiscard]] bool softfwd_is_v4route_aged(void *pfx);
[[nodiscard]] bool softfwd_is_v6route_aged(void *pfx);

/* Recovery: what the entry of a handle says, and its removal. An unknown handle changes nothing. */
void softfwd_ha_get_route(uint32_t handle, ufib_ha_route *record);
[[nodiscard]] uint32_t softfwd_get_prefix_ha_handle(void *pfx);
void softfwd_ha_clean_v4_pfx(uint32_t handle, uint8_t mask_len, uint32_t address);
void softfwd_ha_clean_v6_pfx(uint32_t handle, uint8_t mask_len, const uint8_t address[16]);

/* Whether the entry agrees with the model: all but the next object, and the next object. */
[[nodiscard]] bool softfwd_prefix_check(void *pfx);
[[nodiscard]] bool softfwd_v6prefix_check(void *pfx);
[[nodiscard]] bool softfwd_consistency_check_nh(void *pfx);
[[nodiscard]] bool softfwd_v6_consistency_check_nh(void *pfx);

/* --- for softfwd/ --- */

/* The live entry of a handle and family (0: any), or null; one whose write is pending counts when 'pending'. */
[[nodiscard]] softfwd_prefix *softfwd_prefix_of(uint32_t handle, uint32_t family, bool pending);

/* Puts a filled entry into its table's trie. False when there is no memory; the entry is then unchanged. */
[[nodiscard]] bool softfwd_prefix_publish(uint32_t handle);

/* Takes a live entry from its trie and gives it up. False when there was no memory for that. */
[[nodiscard]] bool softfwd_prefix_remove(uint32_t handle);
