/* Defaults of the unicast table. They must stay total: with them alone the process runs and programs nothing. */
#include "platform/platform_default.h"
#include "platform/ufib_platform.h"

/* A placeholder that no real entry has, so that it shows wherever it is used. */
constexpr uint32_t CLONE_PLACEHOLDER = 0x12345678;

static int default_one_inst(void *, uint32_t, uint32_t *handle) {
    *handle = 0;
    return 0;
}

/* Slots that do nothing, or say "no" or "none". */
static void defaults_zero(ufib_platform_api *api) {
    platform_defaults_set<0>(
        &api->cli_show_command, &api->insert_v4_table, &api->insert_v6_table, &api->delete_v4_table,
        &api->delete_v6_table, &api->insert_v4_prefix, &api->insert_v6_prefix, &api->delete_v4_prefix,
        &api->delete_v6_prefix, &api->search_v4_prefix, &api->search_v6_prefix, &api->insert_vobj_fec,
        &api->show_v4prefix, &api->show_v6prefix, &api->show_v4adj, &api->show_v6adj, &api->show_ecmp,
        &api->show_vobj, &api->insert_vobj, &api->update_vobj_fec, &api->update_vobj,
        &api->update_v4prefix_nh, &api->update_v6prefix_nh, &api->delete_vobj_fec, &api->delete_vobj,
        &api->insert_ecmp, &api->delete_ecmp, &api->insert_adj, &api->delete_adj, &api->ecmp_space_len,
        &api->update_v4prefix_rpf, &api->update_v6prefix_rpf, &api->update_intf_rpf, &api->insert_v4_ipsg,
        &api->insert_v6_ipsg, &api->delete_v4_ipsg, &api->delete_v6_ipsg, &api->adj_get_stats,
        &api->is_v4route_aged, &api->is_v6route_aged, &api->restart_recovery_start,
        &api->restart_recovery_end, &api->ha_get_route, &api->get_prefix_ha_handle, &api->get_adj_ha_handle,
        &api->get_rewrite_info, &api->one_write_ready, &api->all_writes_ready, &api->get_adj_base_handle,
        &api->ecmp_get_adj_ha_handles, &api->ha_clean_v6_pfx, &api->ha_clean_v4_pfx,
        &api->process_upgrade_begin, &api->process_upgrade_end, &api->update_link_local_route, &api->vdc_init,
        &api->vdc_delete, &api->bd_peer_entry_create, &api->bd_peer_entry_delete, &api->get_otv_vlan_pss_info,
        &api->get_otv_peer_vlan_pss_info, &api->update_mcast_src, &api->update_v6_mcast_src,
        &api->set_install_v6_mcast_src, &api->set_install_mcast_src, &api->set_flag_to_del_v6_mcast_src_entry,
        &api->set_flag_to_del_mcast_src_entry, &api->delete_mcast_src, &api->delete_v6_mcast_src,
        &api->get_ref_count, &api->get_v6_ref_count, &api->get_hw_index, &api->get_hw_index_before_del,
        &api->get_v6_hw_index_before_del, &api->get_v6_hw_index, &api->get_clone2base_pss_hdl,
        &api->insert_lisp_adj, &api->delete_lisp_adj, &api->get_map_cache_locator, &api->get_table_pss_info,
        &api->get_table_ha_handle, &api->lisp_etr_onoff, &api->optimize_wildcard_table, &api->adj_del_am_lock,
        &api->is_stats_active, &api->is_adj_idx_valid, &api->nve_lif_add, &api->nve_lif_update,
        &api->nve_lif_delete, &api->nve_peer_add, &api->nve_peer_delete, &api->nve_peer_update,
        &api->nve_vni_add, &api->nve_vni_delete, &api->nve_vni_notify, &api->nve_peer_get_mac_counters,
        &api->nve_mac_route_add, &api->nve_mac_route_delete);
}

/* Slots that say "yes": everything is needed, everything agrees. */
static void defaults_one(ufib_platform_api *api) {
    platform_defaults_set<1>(&api->prefix_check, &api->v6prefix_check, &api->consistency_check_nh,
                             &api->v6_consistency_check_nh, &api->consistency_check_adj,
                             &api->consistency_check_v6_adj, &api->is_upgrade_disruptive, &api->insert_vlan,
                             &api->delete_vlan, &api->update_vlan, &api->delete_adj_one_inst,
                             &api->delete_ecmp_one_inst, &api->table_required, &api->table_get_inst_bmap,
                             &api->prefix_required, &api->adj_required, &api->update_tunnel,
                             &api->enable_disable_sel_route_dwnld, &api->set_sel_route_dwnld_age_time);
}

void ufib_platform_api_default_init(ufib_platform_api *api) {
    defaults_zero(api);
    defaults_one(api);
    platform_default_set<CLONE_PLACEHOLDER>(&api->ha_rit_avl_add);
    api->insert_adj_one_inst = default_one_inst;
    api->insert_ecmp_one_inst = default_one_inst;
}
