/* The tables of operations as libraries are built against them: each slot at its place, and what its default gives.
 * The rows below are the contract; the headers must agree with them. */
#include "platform/lcfwd_platform.h"
#include "platform/ufib_platform.h"
#include "platform/ufib_platform_calls.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

template <class table> struct slot_row {
    const char *name;
    uint64_t want; /* of the default; 0 for one that returns nothing */
    ptrdiff_t (*at)();
    uint64_t (*call)(const table &);
};

/* The default with arguments of zero: it may look at none of them. */
template <typename result, typename... args> uint64_t call_with_zeros(result (*function)(args...)) {
    if constexpr (std::is_void_v<result>) {
        function(args{}...);
        return 0;
    } else {
        return static_cast<uint64_t>(function(args{}...));
    }
}

/* These two store through their third argument. */
static uint64_t call_with_zeros(int (*function)(void *, uint32_t, uint32_t *)) {
    uint32_t handle = 7;
    const int result = function(nullptr, 0, &handle);
    EXPECT_EQ(handle, 0u);
    return static_cast<uint64_t>(result);
}

template <class table, typename member> ptrdiff_t offset_of(member table::*slot) {
    static table whole = {};
    return reinterpret_cast<char *>(&(whole.*slot)) - reinterpret_cast<char *>(&whole);
}

template <auto member> constexpr slot_row<ufib_platform_api> slot(const char *name, uint64_t want) {
    return {name, want, [] { return offset_of(member); },
            [](const ufib_platform_api &api) { return call_with_zeros(api.*member); }};
}
template <auto member> constexpr slot_row<lcfwd_platform_api> process_slot(const char *name) {
    return {name, 0, [] { return offset_of(member); },
            [](const lcfwd_platform_api &api) { return call_with_zeros(api.*member); }};
}

static const slot_row<ufib_platform_api> unicast_slots[] = {
    slot<&ufib_platform_api::cli_show_command>("cli_show_command", 0),
    slot<&ufib_platform_api::insert_v4_table>("insert_v4_table", 0),
    slot<&ufib_platform_api::insert_v6_table>("insert_v6_table", 0),
    slot<&ufib_platform_api::delete_v4_table>("delete_v4_table", 0),
    slot<&ufib_platform_api::delete_v6_table>("delete_v6_table", 0),
    slot<&ufib_platform_api::insert_v4_prefix>("insert_v4_prefix", 0),
    slot<&ufib_platform_api::insert_v6_prefix>("insert_v6_prefix", 0),
    slot<&ufib_platform_api::delete_v4_prefix>("delete_v4_prefix", 0),
    slot<&ufib_platform_api::delete_v6_prefix>("delete_v6_prefix", 0),
    slot<&ufib_platform_api::search_v4_prefix>("search_v4_prefix", 0),
    slot<&ufib_platform_api::search_v6_prefix>("search_v6_prefix", 0),
    slot<&ufib_platform_api::insert_vobj_fec>("insert_vobj_fec", 0),
    slot<&ufib_platform_api::show_v4prefix>("show_v4prefix", 0),
    slot<&ufib_platform_api::show_v6prefix>("show_v6prefix", 0),
    slot<&ufib_platform_api::show_v4adj>("show_v4adj", 0),
    slot<&ufib_platform_api::show_v6adj>("show_v6adj", 0),
    slot<&ufib_platform_api::show_ecmp>("show_ecmp", 0),
    slot<&ufib_platform_api::show_vobj>("show_vobj", 0),
    slot<&ufib_platform_api::insert_vobj>("insert_vobj", 0),
    slot<&ufib_platform_api::update_vobj_fec>("update_vobj_fec", 0),
    slot<&ufib_platform_api::update_vobj>("update_vobj", 0),
    slot<&ufib_platform_api::update_v4prefix_nh>("update_v4prefix_nh", 0),
    slot<&ufib_platform_api::update_v6prefix_nh>("update_v6prefix_nh", 0),
    slot<&ufib_platform_api::delete_vobj_fec>("delete_vobj_fec", 0),
    slot<&ufib_platform_api::delete_vobj>("delete_vobj", 0),
    slot<&ufib_platform_api::insert_ecmp>("insert_ecmp", 0),
    slot<&ufib_platform_api::delete_ecmp>("delete_ecmp", 0),
    slot<&ufib_platform_api::insert_adj>("insert_adj", 0),
    slot<&ufib_platform_api::delete_adj>("delete_adj", 0),
    slot<&ufib_platform_api::ecmp_space_len>("ecmp_space_len", 0),
    slot<&ufib_platform_api::update_v4prefix_rpf>("update_v4prefix_rpf", 0),
    slot<&ufib_platform_api::update_v6prefix_rpf>("update_v6prefix_rpf", 0),
    slot<&ufib_platform_api::update_intf_rpf>("update_intf_rpf", 0),
    slot<&ufib_platform_api::insert_v4_ipsg>("insert_v4_ipsg", 0),
    slot<&ufib_platform_api::insert_v6_ipsg>("insert_v6_ipsg", 0),
    slot<&ufib_platform_api::delete_v4_ipsg>("delete_v4_ipsg", 0),
    slot<&ufib_platform_api::delete_v6_ipsg>("delete_v6_ipsg", 0),
    slot<&ufib_platform_api::adj_get_stats>("adj_get_stats", 0),
    slot<&ufib_platform_api::is_v4route_aged>("is_v4route_aged", 0),
    slot<&ufib_platform_api::is_v6route_aged>("is_v6route_aged", 0),
    slot<&ufib_platform_api::restart_recovery_start>("restart_recovery_start", 0),
    slot<&ufib_platform_api::restart_recovery_end>("restart_recovery_end", 0),
    slot<&ufib_platform_api::ha_get_route>("ha_get_route", 0),
    slot<&ufib_platform_api::get_prefix_ha_handle>("get_prefix_ha_handle", 0),
    slot<&ufib_platform_api::get_adj_ha_handle>("get_adj_ha_handle", 0),
    slot<&ufib_platform_api::get_rewrite_info>("get_rewrite_info", 0),
    slot<&ufib_platform_api::one_write_ready>("one_write_ready", 0),
    slot<&ufib_platform_api::all_writes_ready>("all_writes_ready", 0),
    slot<&ufib_platform_api::get_adj_base_handle>("get_adj_base_handle", 0),
    slot<&ufib_platform_api::ecmp_get_adj_ha_handles>("ecmp_get_adj_ha_handles", 0),
    slot<&ufib_platform_api::ha_clean_v6_pfx>("ha_clean_v6_pfx", 0),
    slot<&ufib_platform_api::ha_clean_v4_pfx>("ha_clean_v4_pfx", 0),
    slot<&ufib_platform_api::prefix_check>("prefix_check", 1),
    slot<&ufib_platform_api::v6prefix_check>("v6prefix_check", 1),
    slot<&ufib_platform_api::consistency_check_nh>("consistency_check_nh", 1),
    slot<&ufib_platform_api::v6_consistency_check_nh>("v6_consistency_check_nh", 1),
    slot<&ufib_platform_api::consistency_check_adj>("consistency_check_adj", 1),
    slot<&ufib_platform_api::consistency_check_v6_adj>("consistency_check_v6_adj", 1),
    slot<&ufib_platform_api::is_upgrade_disruptive>("is_upgrade_disruptive", 1),
    slot<&ufib_platform_api::process_upgrade_begin>("process_upgrade_begin", 0),
    slot<&ufib_platform_api::process_upgrade_end>("process_upgrade_end", 0),
    slot<&ufib_platform_api::update_link_local_route>("update_link_local_route", 0),
    slot<&ufib_platform_api::insert_vlan>("insert_vlan", 1),
    slot<&ufib_platform_api::delete_vlan>("delete_vlan", 1),
    slot<&ufib_platform_api::update_vlan>("update_vlan", 1),
    slot<&ufib_platform_api::vdc_init>("vdc_init", 0),
    slot<&ufib_platform_api::vdc_delete>("vdc_delete", 0),
    slot<&ufib_platform_api::bd_peer_entry_create>("bd_peer_entry_create", 0),
    slot<&ufib_platform_api::bd_peer_entry_delete>("bd_peer_entry_delete", 0),
    slot<&ufib_platform_api::get_otv_vlan_pss_info>("get_otv_vlan_pss_info", 0),
    slot<&ufib_platform_api::get_otv_peer_vlan_pss_info>("get_otv_peer_vlan_pss_info", 0),
    slot<&ufib_platform_api::update_mcast_src>("update_mcast_src", 0),
    slot<&ufib_platform_api::update_v6_mcast_src>("update_v6_mcast_src", 0),
    slot<&ufib_platform_api::set_install_v6_mcast_src>("set_install_v6_mcast_src", 0),
    slot<&ufib_platform_api::set_install_mcast_src>("set_install_mcast_src", 0),
    slot<&ufib_platform_api::set_flag_to_del_v6_mcast_src_entry>("set_flag_to_del_v6_mcast_src_entry", 0),
    slot<&ufib_platform_api::set_flag_to_del_mcast_src_entry>("set_flag_to_del_mcast_src_entry", 0),
    slot<&ufib_platform_api::delete_mcast_src>("delete_mcast_src", 0),
    slot<&ufib_platform_api::delete_v6_mcast_src>("delete_v6_mcast_src", 0),
    slot<&ufib_platform_api::get_ref_count>("get_ref_count", 0),
    slot<&ufib_platform_api::get_v6_ref_count>("get_v6_ref_count", 0),
    slot<&ufib_platform_api::get_hw_index>("get_hw_index", 0),
    slot<&ufib_platform_api::get_hw_index_before_del>("get_hw_index_before_del", 0),
    slot<&ufib_platform_api::get_v6_hw_index_before_del>("get_v6_hw_index_before_del", 0),
    slot<&ufib_platform_api::get_v6_hw_index>("get_v6_hw_index", 0),
    slot<&ufib_platform_api::get_clone2base_pss_hdl>("get_clone2base_pss_hdl", 0),
    slot<&ufib_platform_api::ha_rit_avl_add>("ha_rit_avl_add", 0x12345678),
    slot<&ufib_platform_api::insert_lisp_adj>("insert_lisp_adj", 0),
    slot<&ufib_platform_api::delete_lisp_adj>("delete_lisp_adj", 0),
    slot<&ufib_platform_api::get_map_cache_locator>("get_map_cache_locator", 0),
    slot<&ufib_platform_api::get_table_pss_info>("get_table_pss_info", 0),
    slot<&ufib_platform_api::get_table_ha_handle>("get_table_ha_handle", 0),
    slot<&ufib_platform_api::lisp_etr_onoff>("lisp_etr_onoff", 0),
    slot<&ufib_platform_api::insert_adj_one_inst>("insert_adj_one_inst", 0),
    slot<&ufib_platform_api::insert_ecmp_one_inst>("insert_ecmp_one_inst", 0),
    slot<&ufib_platform_api::delete_adj_one_inst>("delete_adj_one_inst", 1),
    slot<&ufib_platform_api::delete_ecmp_one_inst>("delete_ecmp_one_inst", 1),
    slot<&ufib_platform_api::table_required>("table_required", 1),
    slot<&ufib_platform_api::table_get_inst_bmap>("table_get_inst_bmap", 1),
    slot<&ufib_platform_api::prefix_required>("prefix_required", 1),
    slot<&ufib_platform_api::adj_required>("adj_required", 1),
    slot<&ufib_platform_api::optimize_wildcard_table>("optimize_wildcard_table", 0),
    slot<&ufib_platform_api::adj_del_am_lock>("adj_del_am_lock", 0),
    slot<&ufib_platform_api::update_tunnel>("update_tunnel", 1),
    slot<&ufib_platform_api::is_stats_active>("is_stats_active", 0),
    slot<&ufib_platform_api::is_adj_idx_valid>("is_adj_idx_valid", 0),
    slot<&ufib_platform_api::enable_disable_sel_route_dwnld>("enable_disable_sel_route_dwnld", 1),
    slot<&ufib_platform_api::set_sel_route_dwnld_age_time>("set_sel_route_dwnld_age_time", 1),
    slot<&ufib_platform_api::nve_lif_add>("nve_lif_add", 0),
    slot<&ufib_platform_api::nve_lif_update>("nve_lif_update", 0),
    slot<&ufib_platform_api::nve_lif_delete>("nve_lif_delete", 0),
    slot<&ufib_platform_api::nve_peer_add>("nve_peer_add", 0),
    slot<&ufib_platform_api::nve_peer_delete>("nve_peer_delete", 0),
    slot<&ufib_platform_api::nve_peer_update>("nve_peer_update", 0),
    slot<&ufib_platform_api::nve_vni_add>("nve_vni_add", 0),
    slot<&ufib_platform_api::nve_vni_delete>("nve_vni_delete", 0),
    slot<&ufib_platform_api::nve_vni_notify>("nve_vni_notify", 0),
    slot<&ufib_platform_api::nve_peer_get_mac_counters>("nve_peer_get_mac_counters", 0),
    slot<&ufib_platform_api::nve_mac_route_add>("nve_mac_route_add", 0),
    slot<&ufib_platform_api::nve_mac_route_delete>("nve_mac_route_delete", 0),
};

static const slot_row<lcfwd_platform_api> process_slots[] = {
    process_slot<&lcfwd_platform_api::is_local_hwfe_present>("is_local_hwfe_present"),
    process_slot<&lcfwd_platform_api::mts_msg_handler>("mts_msg_handler"),
    process_slot<&lcfwd_platform_api::restart_recovery_start>("restart_recovery_start"),
    process_slot<&lcfwd_platform_api::restart_recovery_end>("restart_recovery_end"),
    process_slot<&lcfwd_platform_api::get_active_vdcs>("get_active_vdcs"),
    process_slot<&lcfwd_platform_api::pss_buf_commit>("pss_buf_commit"),
    process_slot<&lcfwd_platform_api::vdc_init>("vdc_init"),
    process_slot<&lcfwd_platform_api::vdc_delete>("vdc_delete"),
    process_slot<&lcfwd_platform_api::get_hwfe_type>("get_hwfe_type"),
    process_slot<&lcfwd_platform_api::is_mpls_capable>("is_mpls_capable"),
    process_slot<&lcfwd_platform_api::is_lisp_capable>("is_lisp_capable"),
    process_slot<&lcfwd_platform_api::is_otv_capable>("is_otv_capable"),
    process_slot<&lcfwd_platform_api::process_pervpn_ilm_base>("process_pervpn_ilm_base"),
};

template <class table, size_t count>
void expect_slots(const table &api, const slot_row<table> (&rows)[count]) {
    static_assert(sizeof(table) == count * sizeof(void *));
    ptrdiff_t at = 0;
    for (const slot_row<table> &row : rows) {
        EXPECT_EQ(row.at(), at) << row.name;
        EXPECT_EQ(row.call(api), row.want) << row.name;
        at += static_cast<ptrdiff_t>(sizeof(void *));
    }
}

TEST(platform_table, unicast_slots_lie_in_order_and_have_their_defaults) {
    ufib_platform_api api;
    std::memset(static_cast<void *>(&api), 0, sizeof api);
    ufib_platform_api_default_init(&api);
    expect_slots(api, unicast_slots);
}

TEST(platform_table, process_slots_lie_in_order_and_have_their_defaults) {
    lcfwd_platform_api api;
    std::memset(static_cast<void *>(&api), 0, sizeof api);
    lcfwd_platform_api_default_init(&api);
    expect_slots(api, process_slots);
}

/* A wrapper that calls its neighbour's slot would go unnoticed with defaults: each slot here gives its own number. */
TEST(platform_table, wrappers_of_the_same_form_call_their_own_slots) {
    ufib_platform_api &api = ufib_platform_table;
    const ufib_platform_api before = api;
    api.get_ref_count = [](void *) { return 1u; };
    api.get_v6_ref_count = [](void *) { return 2u; };
    api.get_hw_index = [](void *) { return 3u; };
    api.get_hw_index_before_del = [](void *) { return 4u; };
    api.get_v6_hw_index_before_del = [](void *) { return 5u; };
    api.get_v6_hw_index = [](void *) { return 6u; };
    api.ecmp_space_len = [](uint8_t paths) { return paths * 8u; };
    api.insert_vobj_fec = [](void *, uint32_t ha) { return ha + 1; };
    EXPECT_EQ(ufib_platform_get_ref_count(nullptr), 1u);
    EXPECT_EQ(ufib_platform_get_v6_ref_count(nullptr), 2u);
    EXPECT_EQ(ufib_platform_get_hw_index(nullptr), 3u);
    EXPECT_EQ(ufib_platform_get_hw_index_before_del(nullptr), 4u);
    EXPECT_EQ(ufib_platform_get_v6_hw_index_before_del(nullptr), 5u);
    EXPECT_EQ(ufib_platform_get_v6_hw_index(nullptr), 6u);
    EXPECT_EQ(ufib_platform_ecmp_space_len(3), 24u);
    EXPECT_EQ(ufib_platform_insert_vobj_fec(nullptr, 9), 10u);
    api = before;
}
