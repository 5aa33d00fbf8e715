/* ufib/ufib_prefix_names.h: prefixes by family, as other subsystems name what ufib/ufib_prefix.h does for both. IPv4
 * addresses are in host order here, IPv6 ones in network order. One thread. */
#pragma once

#include "ufib/ufib_prefix.h"
#include "ufib/ufib_pss.h"

using ufib_v4prefix = ufib_pfx;
using ufib_v6prefix = ufib_pfx;
[[nodiscard]] inline ufib_pfx *ufib_get_create_v4_prefix(ufib_table *table, const ufib_prefix_update &update,
                                                         bool *existed) {
    return ufib_get_create_prefix(table, update, existed);
}
[[nodiscard]] inline ufib_pfx *ufib_get_create_v6_prefix(ufib_table *table, const ufib_prefix_update &update,
                                                         bool *existed) {
    return ufib_get_create_prefix(table, update, existed);
}
[[nodiscard]] inline ufib_pfx *ufib_v4prefix_create(ufib_table *table, const ufib_prefix_update &update) {
    return ufib_prefix_create(table, update, false);
}
[[nodiscard]] inline ufib_pfx *ufib_v6prefix_create(ufib_table *table, const ufib_prefix_update &update) {
    return ufib_prefix_create(table, update, false);
}
[[nodiscard]] inline ufib_pfx *ufib_v4prefix_search(ufib_table *table, uint32_t address, uint32_t mask_len) {
    return ufib_prefix_search(table, wire_put(address).raw, mask_len, false);
}
[[nodiscard]] inline ufib_pfx *ufib_v6prefix_search(ufib_table *table, const uint8_t *address,
                                                    uint32_t mask_len) {
    return ufib_prefix_search(table, address, mask_len, false);
}
[[nodiscard]] inline ufib_pfx *ufib_v4prefix_search_l(ufib_table *table, uint32_t address) {
    return ufib_prefix_search_l(table, wire_put(address).raw);
}
[[nodiscard]] inline ufib_pfx *ufib_v6prefix_search_l(ufib_table *table, const uint8_t *address) {
    return ufib_prefix_search_l(table, address);
}
[[nodiscard]] inline ufib_pfx *ufib_v4rnh_search(ufib_table *table, uint32_t address, uint32_t mask_len) {
    return ufib_prefix_search(table, wire_put(address).raw, mask_len, true);
}
[[nodiscard]] inline ufib_pfx *ufib_v6rnh_search(ufib_table *table, const uint8_t *address,
                                                 uint32_t mask_len) {
    return ufib_prefix_search(table, address, mask_len, true);
}
[[nodiscard]] inline ufib_pfx *ufib_v4rnh_create(ufib_table *table, uint32_t address, uint32_t mask_len,
                                                 const nh_rec *hop) {
    return ufib_rnh_create(table, wire_put(address).raw, mask_len, hop);
}
[[nodiscard]] inline ufib_pfx *ufib_v6rnh_create(ufib_table *table, const uint8_t *address, uint32_t mask_len,
                                                 const nh_rec *hop) {
    return ufib_rnh_create(table, address, mask_len, hop);
}
[[nodiscard]] inline ufib_obj *ufib_v4prefix_get_create_next(ufib_vdc *vdc, ufib_pfx *pfx,
                                                             const ufib_prefix_update &update) {
    return ufib_prefix_get_create_next(vdc, pfx, update);
}
[[nodiscard]] inline ufib_obj *ufib_v6prefix_get_create_next(ufib_vdc *vdc, ufib_pfx *pfx,
                                                             const ufib_prefix_update &update) {
    return ufib_prefix_get_create_next(vdc, pfx, update);
}
inline void ufib_v4prefix_link_next_obj(ufib_pfx *pfx, ufib_obj *obj, bool delete_now) {
    ufib_prefix_link_next_obj(pfx, obj, delete_now);
}
inline void ufib_v6prefix_link_next_obj(ufib_pfx *pfx, ufib_obj *obj, bool delete_now) {
    ufib_prefix_link_next_obj(pfx, obj, delete_now);
}
inline void ufib_v4prefix_unlink_next_obj(ufib_pfx *pfx, bool delete_now) {
    ufib_prefix_unlink_next_obj(pfx, delete_now);
}
inline void ufib_v6prefix_unlink_next_obj(ufib_pfx *pfx, bool delete_now) {
    ufib_prefix_unlink_next_obj(pfx, delete_now);
}
inline int ufib_v4prefix_destroy(ufib_table *table, ufib_pfx *pfx) { return ufib_prefix_destroy(table, pfx); }
inline int ufib_v6prefix_destroy(ufib_table *table, ufib_pfx *pfx) { return ufib_prefix_destroy(table, pfx); }
inline void ufib_v4prefix_destroy_and_hold_in_sw(ufib_table *table, ufib_pfx *pfx) {
    ufib_prefix_destroy_and_hold_in_sw(table, pfx);
}
inline void ufib_v6prefix_destroy_and_hold_in_sw(ufib_table *table, ufib_pfx *pfx) {
    ufib_prefix_destroy_and_hold_in_sw(table, pfx);
}
inline void ufib_v4prefix_delete(ufib_table *table, ufib_pfx *pfx) { ufib_prefix_delete(table, pfx); }
inline void ufib_v6prefix_delete(ufib_table *table, ufib_pfx *pfx) { ufib_prefix_delete(table, pfx); }
inline void ufib_v4prefix_rollback(ufib_table *table, ufib_pfx *pfx) { ufib_prefix_rollback(table, pfx); }
inline void ufib_v6prefix_rollback(ufib_table *table, ufib_pfx *pfx) { ufib_prefix_rollback(table, pfx); }
inline void ufib_v4prefix_free(ufib_pfx *pfx) { ufib_prefix_free(pfx); }
inline void ufib_v6prefix_free(ufib_pfx *pfx) { ufib_prefix_free(pfx); }
inline void ufib_one_less_v4prefix(ufib_pfx *pfx) { ufib_prefix_uncount(pfx); }
inline void ufib_one_less_v6prefix(ufib_pfx *pfx) { ufib_prefix_uncount(pfx); }
inline void ufib_destroy_v4_table_prefixes(ufib_table *table) { ufib_destroy_table_prefixes(table); }
inline void ufib_destroy_v6_table_prefixes(ufib_table *table) { ufib_destroy_table_prefixes(table); }
inline void ufib_delete_stale_v4_prefixes(ufib_table *table, uint8_t epoch) {
    ufib_delete_stale_prefixes(table, epoch);
}
inline void ufib_delete_stale_v6_prefixes(ufib_table *table, uint8_t epoch) {
    ufib_delete_stale_prefixes(table, epoch);
}
inline void ufib_v4prefixes_move_vdc(ufib_table *table, ufib_vdc *target) {
    ufib_prefixes_move_vdc(table, target);
}
inline void ufib_v6prefixes_move_vdc(ufib_table *table, ufib_vdc *target) {
    ufib_prefixes_move_vdc(table, target);
}
inline void ufib_v4_pt_walk(const ufib_table_side *side, void (*visit)(ufib_pfx *pfx, void *argument),
                            void *argument) {
    ufib_pt_walk(side, visit, argument);
}
inline void ufib_v6_pt_walk(const ufib_table_side *side, void (*visit)(ufib_pfx *pfx, void *argument),
                            void *argument) {
    ufib_pt_walk(side, visit, argument);
}
inline void ufib_pss_insert_v4_prefix(const ufib_pfx *pfx) { ufib_pss_insert_prefix(pfx); }
inline void ufib_pss_insert_v6_prefix(const ufib_pfx *pfx) { ufib_pss_insert_prefix(pfx); }
inline void ufib_pss_delete_v4_prefix(const ufib_pfx *pfx) { ufib_pss_delete_prefix(pfx); }
inline void ufib_pss_delete_v6_prefix(const ufib_pfx *pfx) { ufib_pss_delete_prefix(pfx); }
inline void ufib_pss_insert_v4_dcsrif(const ufib_pfx *pfx) { ufib_pss_insert_dcsrif(pfx); }
inline void ufib_pss_insert_v6_dcsrif(const ufib_pfx *pfx) { ufib_pss_insert_dcsrif(pfx); }
inline void ufib_pss_delete_v4_dcsrif(const ufib_pfx *pfx) { ufib_pss_delete_dcsrif(pfx); }
inline void ufib_pss_delete_v6_dcsrif(const ufib_pfx *pfx) { ufib_pss_delete_dcsrif(pfx); }
