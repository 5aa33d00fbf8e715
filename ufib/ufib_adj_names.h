/* ufib/ufib_adj_names.h: adjacencies by family, as other subsystems name what ufib/ufib_adj.h does for both. The kinds of
 * the globals are the same numbers for both. One thread. */
#pragma once

#include "ufib/ufib_adj.h"
#include "ufib/ufib_am.h"
#include "ufib/ufib_clear.h"
#include "ufib/ufib_nh_key.h"
#include "ufib/ufib_pss.h"

using ufib_v4adj = ufib_adj;
using ufib_v6adj = ufib_adj;
[[nodiscard]] inline ufib_obj *ufib_get_create_v4_adj(ufib_vdc *vdc, const ufib_adj_key &key,
                                                      const ufib_adj_request &request) {
    return ufib_get_create_adj(vdc, ufib_v4, key, request);
}
[[nodiscard]] inline ufib_obj *ufib_get_create_v6_adj(ufib_vdc *vdc, const ufib_adj_key &key,
                                                      const ufib_adj_request &request) {
    return ufib_get_create_adj(vdc, ufib_v6, key, request);
}
[[nodiscard]] inline ufib_obj *ufib_get_create_v4_adj_from_nh(ufib_vdc *vdc, const nh_rec *nh,
                                                              uint32_t adj_flags, const ufib_ha_route *record,
                                                              uint32_t path) {
    return ufib_get_create_adj_from_nh(vdc, ufib_v4, nh, adj_flags, record, path);
}
[[nodiscard]] inline ufib_obj *ufib_get_create_v6_adj_from_nh(ufib_vdc *vdc, const nh_rec *nh,
                                                              uint32_t adj_flags, const ufib_ha_route *record,
                                                              uint32_t path) {
    return ufib_get_create_adj_from_nh(vdc, ufib_v6, nh, adj_flags, record, path);
}
[[nodiscard]] inline ufib_adj *ufib_v4adj_create(ufib_vdc *vdc, ufib_adj *existing, const ufib_adj_key &key,
                                                 const ufib_adj_request &request) {
    return ufib_adj_create(vdc, ufib_v4, existing, key, request);
}
[[nodiscard]] inline ufib_adj *ufib_v6adj_create(ufib_vdc *vdc, ufib_adj *existing, const ufib_adj_key &key,
                                                 const ufib_adj_request &request) {
    return ufib_adj_create(vdc, ufib_v6, existing, key, request);
}
inline bool ufib_v4adj_create_in_hw(ufib_adj *adj, uint32_t ha_handle) {
    return ufib_adj_create_in_hw(adj, ha_handle);
}
inline bool ufib_v6adj_create_in_hw(ufib_adj *adj, uint32_t ha_handle) {
    return ufib_adj_create_in_hw(adj, ha_handle);
}
[[nodiscard]] inline ufib_adj *ufib_v4adj_alloc() { return ufib_adj_alloc(ufib_v4); }
[[nodiscard]] inline ufib_adj *ufib_v6adj_alloc() { return ufib_adj_alloc(ufib_v6); }
inline bool ufib_v4adj_free(ufib_adj *adj) { return ufib_adj_free(adj); }
inline bool ufib_v6adj_free(ufib_adj *adj) { return ufib_adj_free(adj); }
inline void ufib_v4adj_init_dyn(ufib_adj *adj, const ufib_platform_rewrite *rewrite, uint32_t adj_flags) {
    ufib_adj_init_dyn(adj, rewrite, adj_flags);
}
inline void ufib_v6adj_init_dyn(ufib_adj *adj, const ufib_platform_rewrite *rewrite, uint32_t adj_flags) {
    ufib_adj_init_dyn(adj, rewrite, adj_flags);
}
[[nodiscard]] inline ufib_adj *ufib_v4adj_search(ufib_vdc *vdc, const ufib_adj_key &key) {
    return ufib_adj_search(vdc, ufib_v4, key);
}
[[nodiscard]] inline ufib_adj *ufib_v6adj_search(ufib_vdc *vdc, const ufib_adj_key &key) {
    return ufib_adj_search(vdc, ufib_v6, key);
}
[[nodiscard]] inline ufib_adj *ufib_v4adj_get_first(ufib_vdc *vdc) {
    return ufib_adj_get_first(vdc, ufib_v4);
}
[[nodiscard]] inline ufib_adj *ufib_v6adj_get_first(ufib_vdc *vdc) {
    return ufib_adj_get_first(vdc, ufib_v6);
}
[[nodiscard]] inline ufib_adj *ufib_v4adj_get_next(const ufib_adj *adj) { return ufib_adj_get_next(adj); }
[[nodiscard]] inline ufib_adj *ufib_v6adj_get_next(const ufib_adj *adj) { return ufib_adj_get_next(adj); }
[[nodiscard]] inline ufib_adj *ufib_v4adj_if_get_first(const ufib_idb *idb) {
    return ufib_adj_if_get_first(idb, ufib_v4);
}
[[nodiscard]] inline ufib_adj *ufib_v6adj_if_get_first(const ufib_idb *idb) {
    return ufib_adj_if_get_first(idb, ufib_v6);
}
[[nodiscard]] inline ufib_adj *ufib_v4adj_if_get_next(const ufib_adj *adj) {
    return ufib_adj_if_get_next(adj);
}
[[nodiscard]] inline ufib_adj *ufib_v6adj_if_get_next(const ufib_adj *adj) {
    return ufib_adj_if_get_next(adj);
}
[[nodiscard]] inline ufib_adj *ufib_v4adj_if_get_next_safe(const ufib_idb *idb, const uint8_t address[16]) {
    return ufib_adj_if_get_next_safe(idb, ufib_v4, address);
}
[[nodiscard]] inline ufib_adj *ufib_v6adj_if_get_next_safe(const ufib_idb *idb, const uint8_t address[16]) {
    return ufib_adj_if_get_next_safe(idb, ufib_v6, address);
}
[[nodiscard]] inline bool ufib_v4adj_destroy_ok(const ufib_adj *adj) { return ufib_adj_destroy_ok(adj); }
[[nodiscard]] inline bool ufib_v6adj_destroy_ok(const ufib_adj *adj) { return ufib_adj_destroy_ok(adj); }
inline int ufib_v4adj_destroy(void *argument, ufib_adj *adj, bool force) {
    return ufib_adj_destroy(argument, adj, force);
}
inline int ufib_v6adj_destroy(void *argument, ufib_adj *adj, bool force) {
    return ufib_adj_destroy(argument, adj, force);
}
[[nodiscard]] inline bool ufib_is_v4adj_glean_candidate(const ufib_adj *adj) {
    return ufib_is_adj_glean_candidate(adj);
}
[[nodiscard]] inline bool ufib_is_v6adj_glean_candidate(const ufib_adj *adj) {
    return ufib_is_adj_glean_candidate(adj);
}
inline void ufib_v4adj_nhinfo_to_key(ufib_vdc *vdc, const nh_rec *nh, ufib_nh_key *out) {
    ufib_adj_nhinfo_to_key(vdc, ufib_v4, nh, out);
}
inline void ufib_v6adj_nhinfo_to_key(ufib_vdc *vdc, const nh_rec *nh, ufib_nh_key *out) {
    ufib_adj_nhinfo_to_key(vdc, ufib_v6, nh, out);
}
[[nodiscard]] inline ufib_adj *ufib_v4adj_create_global(ufib_vdc *vdc, uint32_t kind, uint32_t ha_handle) {
    return ufib_adj_create_global(vdc, kind, ha_handle);
}
[[nodiscard]] inline ufib_adj *ufib_v6adj_create_global(ufib_vdc *vdc, uint32_t kind, uint32_t ha_handle) {
    return ufib_adj_create_global(vdc, kind, ha_handle);
}
[[nodiscard]] inline ufib_adj *ufib_v4adj_get_global(const ufib_vdc *vdc, uint32_t kind) {
    return ufib_adj_get_global(vdc, kind);
}
[[nodiscard]] inline ufib_adj *ufib_v6adj_get_global(const ufib_vdc *vdc, uint32_t kind) {
    return ufib_adj_get_global(vdc, kind);
}
inline int ufib_v4adj_delete_global(ufib_vdc *vdc, uint32_t kind) {
    return ufib_adj_delete_global(vdc, kind);
}
inline int ufib_v6adj_delete_global(ufib_vdc *vdc, uint32_t kind) {
    return ufib_adj_delete_global(vdc, kind);
}
inline void ufib_am_v4adj_destroy(ufib_adj *adj, bool set_drop) { ufib_am_adj_destroy(adj, set_drop); }
inline void ufib_am_v6adj_destroy(ufib_adj *adj, bool set_drop) { ufib_am_adj_destroy(adj, set_drop); }
[[nodiscard]] inline int ufib_clear_forwarding_v4_adj_request(ufib_vdc *vdc, const ufib_clear_msg &request) {
    return ufib_clear_forwarding_adj_request(ufib_v4, vdc, request);
}
[[nodiscard]] inline int ufib_clear_forwarding_v6_adj_request(ufib_vdc *vdc, const ufib_clear_msg &request) {
    return ufib_clear_forwarding_adj_request(ufib_v6, vdc, request);
}
inline void ufib_pss_insert_v4_adj(const ufib_adj *adj) { ufib_pss_insert_adj(adj); }
inline void ufib_pss_insert_v6_adj(const ufib_adj *adj) { ufib_pss_insert_adj(adj); }
inline void ufib_pss_delete_v4_adj(const ufib_adj *adj) { ufib_pss_delete_adj(adj); }
inline void ufib_pss_delete_v6_adj(const ufib_adj *adj) { ufib_pss_delete_adj(adj); }
inline void ufib_pss_insert_global_v4adj(const ufib_adj *adj, uint32_t kind, uint32_t vdc_id) {
    ufib_pss_insert_global_adj(adj, kind, vdc_id);
}
inline void ufib_pss_insert_global_v6adj(const ufib_adj *adj, uint32_t kind, uint32_t vdc_id) {
    ufib_pss_insert_global_adj(adj, kind, vdc_id);
}
inline void ufib_pss_delete_global_v4adj(uint32_t kind, uint32_t vdc_id) {
    ufib_pss_delete_global_adj(kind, vdc_id);
}
inline void ufib_pss_delete_global_v6adj(uint32_t kind, uint32_t vdc_id) {
    ufib_pss_delete_global_adj(kind, vdc_id);
}
