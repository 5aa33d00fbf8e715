/* platform/ufib_platform_calls.h: the wrappers that add nothing to their slot (see ufib_platform_api.h for what each
 * does, its arguments and its default). The others are in ufib_platform.h. */
#pragma once

#include "platform/ufib_platform.h"

/* Searches, sizes and shows. */
inline int ufib_platform_search_v4_prefix(uint32_t table_handle, void *pfx) {
    return ufib_platform_table.search_v4_prefix(table_handle, pfx);
}
inline int ufib_platform_search_v6_prefix(uint32_t table_handle, void *pfx) {
    return ufib_platform_table.search_v6_prefix(table_handle, pfx);
}
[[nodiscard]] inline uint32_t ufib_platform_insert_vobj_fec(void *fec, uint32_t ha) {
    return ufib_platform_table.insert_vobj_fec(fec, ha);
}
[[nodiscard]] inline uint32_t ufib_platform_ecmp_space_len(uint8_t paths) {
    return ufib_platform_table.ecmp_space_len(paths);
}
inline int ufib_platform_show_v4prefix(cmd_handle *handle, void *pfx) {
    return ufib_platform_table.show_v4prefix(handle, pfx);
}
inline int ufib_platform_show_v6prefix(cmd_handle *handle, void *pfx) {
    return ufib_platform_table.show_v6prefix(handle, pfx);
}
inline int ufib_platform_show_v4adj(cmd_handle *handle, void *adj) {
    return ufib_platform_table.show_v4adj(handle, adj);
}
inline int ufib_platform_show_v6adj(cmd_handle *handle, void *adj) {
    return ufib_platform_table.show_v6adj(handle, adj);
}
inline int ufib_platform_show_ecmp(cmd_handle *handle, void *group) {
    return ufib_platform_table.show_ecmp(handle, group);
}
inline int ufib_platform_show_vobj(cmd_handle *handle, void *vobj) {
    return ufib_platform_table.show_vobj(handle, vobj);
}

/* Reverse-path forwarding checks, source guard. */
inline int ufib_platform_update_v4prefix_rpf(void *pfx) {
    return ufib_platform_table.update_v4prefix_rpf(pfx);
}
inline int ufib_platform_update_v6prefix_rpf(void *pfx) {
    return ufib_platform_table.update_v6prefix_rpf(pfx);
}
inline int ufib_platform_update_intf_rpf(uint32_t vdc_id, uint32_t if_index, uint8_t v4, uint8_t v6) {
    return ufib_platform_table.update_intf_rpf(vdc_id, if_index, v4, v6);
}
[[nodiscard]] inline uint32_t ufib_platform_insert_v4_ipsg(void *pfx) {
    return ufib_platform_table.insert_v4_ipsg(pfx);
}
[[nodiscard]] inline uint32_t ufib_platform_insert_v6_ipsg(void *pfx) {
    return ufib_platform_table.insert_v6_ipsg(pfx);
}
inline void ufib_platform_delete_v4_ipsg(void *pfx) { ufib_platform_table.delete_v4_ipsg(pfx); }
inline void ufib_platform_delete_v6_ipsg(void *pfx) { ufib_platform_table.delete_v6_ipsg(pfx); }

/* Statistics and ageing. */
inline int ufib_platform_adj_get_stats(ufib_platform_stats *rows, uint32_t count) {
    return ufib_platform_table.adj_get_stats(rows, count);
}
[[nodiscard]] inline bool ufib_platform_is_v4route_aged(void *pfx) {
    return ufib_platform_table.is_v4route_aged(pfx);
}
[[nodiscard]] inline bool ufib_platform_is_v6route_aged(void *pfx) {
    return ufib_platform_table.is_v6route_aged(pfx);
}

/* Recovery. */
inline void ufib_platform_restart_recovery_start() { ufib_platform_table.restart_recovery_start(); }
inline void ufib_platform_restart_recovery_end() { ufib_platform_table.restart_recovery_end(); }
inline void ufib_platform_ha_get_route(uint32_t handle, ufib_ha_route *record) {
    ufib_platform_table.ha_get_route(handle, record);
}
[[nodiscard]] inline uint32_t ufib_platform_get_prefix_ha_handle(void *pfx) {
    return ufib_platform_table.get_prefix_ha_handle(pfx);
}
[[nodiscard]] inline uint32_t ufib_platform_get_adj_ha_handle(void *adj) {
    return ufib_platform_table.get_adj_ha_handle(adj);
}
inline int ufib_platform_get_v4_rewrite_info(uint32_t adj_handle, ufib_platform_rewrite *rewrite) {
    return ufib_platform_table.get_rewrite_info(adj_handle, rewrite);
}
[[nodiscard]] inline uint32_t ufib_platform_get_adj_base_handle(uint32_t handle) {
    return ufib_platform_table.get_adj_base_handle(handle);
}
inline int ufib_platform_ecmp_get_adj_ha_handles(ufib_ha_route *record) {
    return ufib_platform_table.ecmp_get_adj_ha_handles(record);
}
inline void ufib_platform_ha_clean_v6_pfx(uint32_t handle, uint8_t mask_len, const uint8_t address[16]) {
    ufib_platform_table.ha_clean_v6_pfx(handle, mask_len, address);
}
inline void ufib_platform_ha_clean_v4_pfx(uint32_t handle, uint8_t mask_len, uint32_t address) {
    ufib_platform_table.ha_clean_v4_pfx(handle, mask_len, address);
}

/* Consistency: true when the entry agrees with the model. */
[[nodiscard]] inline bool ufib_platform_prefix_check(void *pfx) {
    return ufib_platform_table.prefix_check(pfx);
}
[[nodiscard]] inline bool ufib_platform_v6prefix_check(void *pfx) {
    return ufib_platform_table.v6prefix_check(pfx);
}
[[nodiscard]] inline bool ufib_platform_consistency_check_nh(void *pfx) {
    return ufib_platform_table.consistency_check_nh(pfx);
}
[[nodiscard]] inline bool ufib_platform_v6_consistency_check_nh(void *pfx) {
    return ufib_platform_table.v6_consistency_check_nh(pfx);
}
[[nodiscard]] inline bool ufib_platform_consistency_check_adj(void *adj) {
    return ufib_platform_table.consistency_check_adj(adj);
}
[[nodiscard]] inline bool ufib_platform_consistency_check_v6_adj(void *adj) {
    return ufib_platform_table.consistency_check_v6_adj(adj);
}

/* Upgrade, link-local routes, VLANs, VDC, peers. */
[[nodiscard]] inline bool ufib_platform_is_upgrade_disruptive() {
    return ufib_platform_table.is_upgrade_disruptive();
}
inline void ufib_platform_process_upgrade_begin() { ufib_platform_table.process_upgrade_begin(); }
inline void ufib_platform_process_upgrade_end() { ufib_platform_table.process_upgrade_end(); }
inline void ufib_platform_update_link_local_route(uint32_t vdc_id, uint32_t if_index, bool add) {
    ufib_platform_table.update_link_local_route(vdc_id, if_index, add);
}
inline int ufib_platform_insert_vlan(void *vlan) { return ufib_platform_table.insert_vlan(vlan); }
inline int ufib_platform_delete_vlan(void *vlan) { return ufib_platform_table.delete_vlan(vlan); }
inline int ufib_platform_update_vlan(void *vlan) { return ufib_platform_table.update_vlan(vlan); }
inline int ufib_platform_vdc_init(uint32_t vdc_id, bool restart) {
    return ufib_platform_table.vdc_init(vdc_id, restart);
}
inline int ufib_platform_vdc_delete(uint32_t vdc_id) { return ufib_platform_table.vdc_delete(vdc_id); }
[[nodiscard]] inline uint32_t ufib_platform_bd_peer_entry_create(void *peer) {
    return ufib_platform_table.bd_peer_entry_create(peer);
}
inline int ufib_platform_bd_peer_entry_delete(void *peer) {
    return ufib_platform_table.bd_peer_entry_delete(peer);
}
inline int ufib_platform_get_otv_vlan_pss_info(void *vlan, void *out) {
    return ufib_platform_table.get_otv_vlan_pss_info(vlan, out);
}
inline int ufib_platform_get_otv_peer_vlan_pss_info(void *peer, void *out) {
    return ufib_platform_table.get_otv_peer_vlan_pss_info(peer, out);
}

/* Multicast sources. */
inline int ufib_platform_update_mcast_src(void *pfx) { return ufib_platform_table.update_mcast_src(pfx); }
inline int ufib_platform_update_v6_mcast_src(void *pfx) {
    return ufib_platform_table.update_v6_mcast_src(pfx);
}
inline int ufib_platform_set_install_v6_mcast_src(void *pfx) {
    return ufib_platform_table.set_install_v6_mcast_src(pfx);
}
inline int ufib_platform_set_install_mcast_src(void *pfx) {
    return ufib_platform_table.set_install_mcast_src(pfx);
}
inline int ufib_platform_set_flag_to_del_v6_mcast_src_entry(void *pfx) {
    return ufib_platform_table.set_flag_to_del_v6_mcast_src_entry(pfx);
}
inline int ufib_platform_set_flag_to_del_mcast_src_entry(void *pfx) {
    return ufib_platform_table.set_flag_to_del_mcast_src_entry(pfx);
}
inline int ufib_platform_delete_mcast_src(void *pfx) { return ufib_platform_table.delete_mcast_src(pfx); }
inline int ufib_platform_delete_v6_mcast_src(void *pfx) {
    return ufib_platform_table.delete_v6_mcast_src(pfx);
}
[[nodiscard]] inline uint32_t ufib_platform_get_ref_count(void *pfx) {
    return ufib_platform_table.get_ref_count(pfx);
}
[[nodiscard]] inline uint32_t ufib_platform_get_v6_ref_count(void *pfx) {
    return ufib_platform_table.get_v6_ref_count(pfx);
}
[[nodiscard]] inline uint32_t ufib_platform_get_hw_index(void *pfx) {
    return ufib_platform_table.get_hw_index(pfx);
}
[[nodiscard]] inline uint32_t ufib_platform_get_hw_index_before_del(void *pfx) {
    return ufib_platform_table.get_hw_index_before_del(pfx);
}
[[nodiscard]] inline uint32_t ufib_platform_get_v6_hw_index_before_del(void *pfx) {
    return ufib_platform_table.get_v6_hw_index_before_del(pfx);
}
[[nodiscard]] inline uint32_t ufib_platform_get_v6_hw_index(void *pfx) {
    return ufib_platform_table.get_v6_hw_index(pfx);
}

/* Clones, LISP, stored bytes of a table, instances. */
[[nodiscard]] inline uint32_t ufib_platform_get_clone2base_pss_hdl(uint32_t handle) {
    return ufib_platform_table.get_clone2base_pss_hdl(handle);
}
[[nodiscard]] inline uint32_t ufib_platform_ha_rit_avl_add(uint32_t handle) {
    return ufib_platform_table.ha_rit_avl_add(handle);
}
[[nodiscard]] inline uint32_t ufib_platform_insert_lisp_adj(void *adj, uint32_t ha) {
    return ufib_platform_table.insert_lisp_adj(adj, ha);
}
inline int ufib_platform_delete_lisp_adj(void *adj) { return ufib_platform_table.delete_lisp_adj(adj); }
inline int ufib_platform_get_map_cache_locator(void *adj, void *out) {
    return ufib_platform_table.get_map_cache_locator(adj, out);
}
inline int ufib_platform_get_table_pss_info(uint32_t table_handle, void *out) {
    return ufib_platform_table.get_table_pss_info(table_handle, out);
}
[[nodiscard]] inline uint32_t ufib_platform_get_table_ha_handle(const void *pd) {
    return ufib_platform_table.get_table_ha_handle(pd);
}
inline int ufib_platform_lisp_etr_onoff(uint32_t vdc_id, uint32_t table_handle, bool on) {
    return ufib_platform_table.lisp_etr_onoff(vdc_id, table_handle, on);
}
inline int ufib_platform_insert_adj_one_inst(void *adj, uint32_t instance, uint32_t *handle) {
    return ufib_platform_table.insert_adj_one_inst(adj, instance, handle);
}
inline int ufib_platform_insert_ecmp_one_inst(void *group, uint32_t instance, uint32_t *handle) {
    return ufib_platform_table.insert_ecmp_one_inst(group, instance, handle);
}
inline int ufib_platform_delete_adj_one_inst(void *adj, uint32_t instance) {
    return ufib_platform_table.delete_adj_one_inst(adj, instance);
}
inline int ufib_platform_delete_ecmp_one_inst(void *group, uint32_t instance) {
    return ufib_platform_table.delete_ecmp_one_inst(group, instance);
}

/* Needs, tunnels, selective download. */
[[nodiscard]] inline bool ufib_platform_prefix_required(void *pfx) {
    return ufib_platform_table.prefix_required(pfx);
}
inline int ufib_platform_update_tunnel(uint32_t vdc_id, uint32_t if_index) {
    return ufib_platform_table.update_tunnel(vdc_id, if_index);
}
[[nodiscard]] inline bool ufib_platform_is_stats_active() { return ufib_platform_table.is_stats_active(); }
[[nodiscard]] inline bool ufib_platform_is_adj_idx_valid(uint32_t handle) {
    return ufib_platform_table.is_adj_idx_valid(handle);
}
inline int ufib_platform_enable_disable_sel_route_dwnld(bool enable) {
    return ufib_platform_table.enable_disable_sel_route_dwnld(enable);
}
inline int ufib_platform_set_sel_route_dwnld_age_time(uint32_t seconds) {
    return ufib_platform_table.set_sel_route_dwnld_age_time(seconds);
}

/* NVE. */
inline int ufib_platform_nve_lif_add(const void *request) { return ufib_platform_table.nve_lif_add(request); }
inline int ufib_platform_nve_lif_update(const void *request) {
    return ufib_platform_table.nve_lif_update(request);
}
inline int ufib_platform_nve_lif_delete(const void *request) {
    return ufib_platform_table.nve_lif_delete(request);
}
inline int ufib_platform_nve_peer_add(const void *request) {
    return ufib_platform_table.nve_peer_add(request);
}
inline int ufib_platform_nve_peer_delete(const void *request) {
    return ufib_platform_table.nve_peer_delete(request);
}
inline int ufib_platform_nve_peer_update(const void *request) {
    return ufib_platform_table.nve_peer_update(request);
}
inline int ufib_platform_nve_vni_add(const void *request) { return ufib_platform_table.nve_vni_add(request); }
inline int ufib_platform_nve_vni_delete(const void *request) {
    return ufib_platform_table.nve_vni_delete(request);
}
inline int ufib_platform_nve_vni_notify(const void *request) {
    return ufib_platform_table.nve_vni_notify(request);
}
inline int ufib_platform_nve_peer_get_mac_counters(const void *request, void *answer, size_t answer_size) {
    return ufib_platform_table.nve_peer_get_mac_counters(request, answer, answer_size);
}
inline int ufib_platform_nve_mac_route_add(const void *request) {
    return ufib_platform_table.nve_mac_route_add(request);
}
inline int ufib_platform_nve_mac_route_delete(const void *request) {
    return ufib_platform_table.nve_mac_route_delete(request);
}
