#include "diag/show_table.h"

#include "core/lcfwd_cmi.h"
#include "diag/check_consistency.h"
#include "diag/command_numbers.h"
#include "diag/ufib_show_counters.h"
#include "diag/ufib_show_history.h"
#include "diag/ufib_show_object.h"
#include "diag/ufib_show_route.h"

#include <algorithm>
#include <iterator>

/* By number, for the binary search. A row without a function waits for its subsystem: its command is answered as an
 * unknown one is. */
static constexpr lcfwd_cmi_row show_rows[] = {
    {CMD_SHOW_V4_ROUTES, "ufib_show_v4_routes_be", ufib_show_v4_routes_be},
    {CMD_SHOW_V6_ROUTES, "ufib_show_v6_routes_be", ufib_show_v6_routes_be},
    {CMD_SHOW_V4_ADJACENCY, "ufib_show_adjacency_v4_be", ufib_show_adjacency_v4_be},
    {CMD_SHOW_V6_ADJACENCY, "ufib_show_adjacency_v6_be", ufib_show_adjacency_v6_be},
    {CMD_SHOW_ECMP, "ufib_show_ecmp_be", ufib_show_ecmp_be},
    {CMD_SHOW_VOBJ, "ufib_show_vobj_be", ufib_show_vobj_be},
    {CMD_SHOW_V4_PSS_ROUTES, "ufib_show_v4_pss_routes_be", ufib_show_v4_pss_routes_be},
    {CMD_SHOW_V6_PSS_ROUTES, "ufib_show_v6_pss_routes_be", ufib_show_v6_pss_routes_be},
    {CMD_SHOW_V4_SECURITY_MAC, "ufib_show_v4_security_mac_be", ufib_show_v4_security_mac_be},
    {CMD_SHOW_V4_SECURITY_SGT, "ufib_show_v4_security_sgt_be", ufib_show_v4_security_sgt_be},
    {CMD_SHOW_FORWARDING_VLAN, "ufib_show_forwarding_vlan_be", ufib_show_forwarding_vlan_be},
    {CMD_SHOW_OTV_OVERLAY, "ufib_show_otv_overlay", nullptr},
    {CMD_SHOW_INTERNAL_COUNTS, "ufib_show_internal_counts", ufib_show_internal_counts},
    {CMD_SHOW_MSG_CNTS, "ufib_show_msg_cnts_be", ufib_show_msg_cnts_be},
    {CMD_SHOW_RESTART, "ufib_show_restart_be", ufib_show_restart_be},
    {CMD_SHOW_TRACE, "ufib_show_trace_be", ufib_show_trace_be},
    {CMD_SHOW_TRACE_PROFILE, "ufib_show_trace_profile_be", ufib_show_trace_profile_be},
    {CMD_SHOW_FUNCSTATS, "ufib_show_trace_pr_fstats_be", ufib_show_trace_pr_fstats_be},
    {CMD_SHOW_MCAST_V4_ROUTES, "mfib_show_route_v4_be", nullptr},
    {CMD_SHOW_MCAST_V6_ROUTES, "mfib_show_v6_route_be", nullptr},
    {CMD_SHOW_MCAST_OTV_V4_ROUTES, "mfib_show_otv_route_v4_be", nullptr},
    {CMD_SHOW_MCAST_OTV_V6_ROUTES, "mfib_show_otv_route_v6_be", nullptr},
    {CMD_SHOW_MCAST_OIFLIST, "mfib_show_oiflist", nullptr},
    {CMD_SHOW_MCAST_INTERNAL_COUNTS, "mfib_show_internal_counts", nullptr},
    {CMD_CLEAR_INTERNAL_COUNTS, "ufib_clear_internal_counts", ufib_clear_internal_counts},
    {CMD_CLEAR_CUMULATIVE_COUNTERS, "ufib_clear_cumulative_counters", ufib_clear_cumulative_counters},
    {CMD_CLEAR_MSG_CNTS, "ufib_clear_msg_cnts_be", ufib_clear_msg_cnts_be},
    {CMD_CLEAR_MCAST_INTERNAL_COUNTS, "mfib_clear_internal_counts", nullptr},
    {CMD_BYPASS_HARDWARE, "ufib_forwarding_bypass_hardware", ufib_forwarding_bypass_hardware},
    {CMD_DISABLE_TRACING, "ufib_disable_tracing", ufib_switch_disable_tracing},
    {CMD_ENABLE_RC_DEBUGS, "ufib_enable_rc_debugs", ufib_switch_enable_rc_debugs},
    {CMD_UPDATE_FUNCSTATS, "ufib_update_funcstats", ufib_switch_update_funcstats},
    {CMD_DISABLE_FUNCSTATS_TRACE, "ufib_disable_funcstats_tr", ufib_switch_disable_funcstats_tr},
    {CMD_DISABLE_PSS, "ufib_disable_pss", ufib_switch_disable_pss},
    {CMD_HISTORY_CONF(CMD_HISTORY_V6_PFX), "ufib_show_v6_pfx_conf", ufib_show_v6_pfx_conf},
    {CMD_HISTORY_SHOW(CMD_HISTORY_V6_PFX), "ufib_show_v6_pfx_hist", ufib_show_v6_pfx_hist},
    {CMD_HISTORY_CONF(CMD_HISTORY_LABEL), "lfib_show_label_conf", nullptr},
    {CMD_HISTORY_SHOW(CMD_HISTORY_LABEL), "lfib_show_label_hist", nullptr},
    {CMD_HISTORY_CONF(CMD_HISTORY_V6_ADJ), "ufib_show_v6_adj_conf", ufib_show_v6_adj_conf},
    {CMD_HISTORY_SHOW(CMD_HISTORY_V6_ADJ), "ufib_show_v6_adj_hist", ufib_show_v6_adj_hist},
    {CMD_HISTORY_CONF(CMD_HISTORY_ECMP), "ufib_show_ecmp_conf", ufib_show_ecmp_conf},
    {CMD_HISTORY_SHOW(CMD_HISTORY_ECMP), "ufib_show_ecmp_hist", ufib_show_ecmp_hist},
    {CMD_HISTORY_CONF(CMD_HISTORY_MPLS_ECMP), "lfib_show_mpls_ecmp_conf", nullptr},
    {CMD_HISTORY_SHOW(CMD_HISTORY_MPLS_ECMP), "lfib_show_mpls_ecmp_hist", nullptr},
    {CMD_HISTORY_CONF(CMD_HISTORY_OTV_ADJ), "ufib_show_otv_adj_conf", nullptr},
    {CMD_HISTORY_SHOW(CMD_HISTORY_OTV_ADJ), "ufib_show_otv_adj_hist", nullptr},
    {CMD_HISTORY_CONF(CMD_HISTORY_OTV_VLAN), "ufib_show_otv_vlan_conf", nullptr},
    {CMD_HISTORY_SHOW(CMD_HISTORY_OTV_VLAN), "ufib_show_otv_vlan_hist", nullptr},
    {CMD_HISTORY_CONF(CMD_HISTORY_MCAST_V4_ROUTE), "mfib_show_v4_route_conf", nullptr},
    {CMD_HISTORY_SHOW(CMD_HISTORY_MCAST_V4_ROUTE), "mfib_show_v4_route_hist", nullptr},
    {CMD_HISTORY_CONF(CMD_HISTORY_MCAST_V6_ROUTE), "mfib_show_v6_route_conf", nullptr},
    {CMD_HISTORY_SHOW(CMD_HISTORY_MCAST_V6_ROUTE), "mfib_show_v6_route_hist", nullptr},
    {CMD_HISTORY_CONF(CMD_HISTORY_MCAST_OTV_V4_ROUTE), "mfib_show_otv_v4_route_conf", nullptr},
    {CMD_HISTORY_SHOW(CMD_HISTORY_MCAST_OTV_V4_ROUTE), "mfib_show_otv_v4_route_hist", nullptr},
    {CMD_HISTORY_CONF(CMD_HISTORY_MCAST_OTV_V6_ROUTE), "mfib_show_otv_v6_route_conf", nullptr},
    {CMD_HISTORY_SHOW(CMD_HISTORY_MCAST_OTV_V6_ROUTE), "mfib_show_otv_v6_route_hist", nullptr},
    {CMD_HISTORY_CONF(CMD_HISTORY_MCAST_OIFLIST), "mfib_show_oiflist_conf", nullptr},
    {CMD_HISTORY_SHOW(CMD_HISTORY_MCAST_OIFLIST), "mfib_show_oiflist_hist", nullptr},
    {CMD_HISTORY_CONF(CMD_HISTORY_MCAST_OIF), "mfib_show_oif_conf", nullptr},
    {CMD_HISTORY_SHOW(CMD_HISTORY_MCAST_OIF), "mfib_show_oif_hist", nullptr},
    {CMD_HISTORY_CONF(CMD_HISTORY_MCAST_OTV_OIFLIST), "mfib_show_otv_oiflist_conf", nullptr},
    {CMD_HISTORY_SHOW(CMD_HISTORY_MCAST_OTV_OIFLIST), "mfib_show_otv_oiflist_hist", nullptr},
    {CMD_HISTORY_CONF(CMD_HISTORY_MCAST_OTV_OIF), "mfib_show_otv_oif_conf", nullptr},
    {CMD_HISTORY_SHOW(CMD_HISTORY_MCAST_OTV_OIF), "mfib_show_otv_oif_hist", nullptr},
    {CMD_CLEAR_MCAST_V4_ROUTES, "mfib_clear_route_v4_be", nullptr},
    {CMD_CLEAR_MCAST_V6_ROUTES, "mfib_clear_v6_route_be", nullptr},
    {CMD_HISTORY_CONF(CMD_HISTORY_V4_RNH), "ufib_show_v4_rnh_conf", ufib_show_v4_rnh_conf},
    {CMD_HISTORY_SHOW(CMD_HISTORY_V4_RNH), "ufib_show_v4_rnh_hist", ufib_show_v4_rnh_hist},
    {CMD_HISTORY_CONF(CMD_HISTORY_V6_RNH), "ufib_show_v6_rnh_conf", ufib_show_v6_rnh_conf},
    {CMD_HISTORY_SHOW(CMD_HISTORY_V6_RNH), "ufib_show_v6_rnh_hist", ufib_show_v6_rnh_hist},
    {CMD_HISTORY_CONF(CMD_HISTORY_VOBJ), "ufib_show_vobj_conf", ufib_show_vobj_conf},
    {CMD_HISTORY_SHOW(CMD_HISTORY_VOBJ), "ufib_show_vobj_hist", ufib_show_vobj_hist},
    {CMD_HISTORY_CONF(CMD_HISTORY_MPLS_ADJ), "lfib_show_adj_conf", nullptr},
    {CMD_HISTORY_SHOW(CMD_HISTORY_MPLS_ADJ), "lfib_show_adj_hist", nullptr},
    {CMD_HISTORY_CONF(CMD_HISTORY_TE), "lfib_show_te_conf", nullptr},
    {CMD_HISTORY_SHOW(CMD_HISTORY_TE), "lfib_show_te_hist", nullptr},
    {CMD_HISTORY_CONF(CMD_HISTORY_V4_PFX), "ufib_show_v4_pfx_conf", ufib_show_v4_pfx_conf},
    {CMD_HISTORY_SHOW(CMD_HISTORY_V4_PFX), "ufib_show_v4_pfx_hist", ufib_show_v4_pfx_hist},
    {CMD_HISTORY_CONF(CMD_HISTORY_V4_ADJ), "ufib_show_v4_adj_conf", ufib_show_v4_adj_conf},
    {CMD_HISTORY_SHOW(CMD_HISTORY_V4_ADJ), "ufib_show_v4_adj_hist", ufib_show_v4_adj_hist},
    {CMD_SHOW_LABELS, "lfib_show_labels_be", nullptr},
    {CMD_SHOW_LABEL_SPACE, "lfib_show_label_space_be", nullptr},
    {CMD_SHOW_TE, "lfib_show_te_be", nullptr},
    {CMD_SHOW_LABEL_INTERNAL_COUNTS, "lfib_show_internal_counts", nullptr},
    {CMD_SHOW_HISTORY_TIME, "lcfwd_show_bt_rec_queue", lcfwd_show_bt_rec_queue},
    {CMD_SET_HISTORY_ENABLE, "lcfwd_set_bt_enable", lcfwd_set_bt_enable},
    {CMD_SET_HISTORY_FILTER, "lcfwd_set_bt_filter", lcfwd_set_bt_filter},
    {CMD_SET_HISTORY_STICKY, "lcfwd_set_bt_sticky", lcfwd_set_bt_sticky},
    {CMD_SHOW_INTERFACES, "lcfwd_show_interfaces", lcfwd_show_interfaces},
    {CMD_SHOW_TABLES, "lcfwd_show_tables", lcfwd_show_tables},
    {CMD_SHOW_PROCESS, "lcfwd_show_process", lcfwd_show_process},
    {CMD_CHECK_CONSISTENCY, "lcfwd_check_consistency", lcfwd_check_consistency},
};
static_assert(std::is_sorted(std::begin(show_rows), std::end(show_rows),
                             [](const lcfwd_cmi_row &left, const lcfwd_cmi_row &right) {
                                 return left.command < right.command;
                             }));

struct clear_row {
    uint32_t command;
    lcfwd_cmi_back_end back_end;
};
/* The back-ends of the set table that exist. */
static constexpr clear_row clear_rows[] = {
    {CMD_HISTORY_V6_PFX, ufib_bt_v6_clear_entries},     {CMD_HISTORY_V6_ADJ, ufib_bt_v6_adj_clear_entries},
    {CMD_HISTORY_ECMP, ufib_bt_ecmp_clear_entries},     {CMD_HISTORY_V4_RNH, ufib_bt_v4_rnh_clear_entries},
    {CMD_HISTORY_V6_RNH, ufib_bt_v6_rnh_clear_entries}, {CMD_HISTORY_VOBJ, ufib_bt_vobj_clear_entries},
    {CMD_HISTORY_V4_PFX, ufib_bt_v4_clear_entries},     {CMD_HISTORY_V4_ADJ, ufib_bt_v4_adj_clear_entries},
};

void diag_init() {
    lcfwd_cmi_show_register(show_rows, std::size(show_rows));
    for (const clear_row &row : clear_rows) lcfwd_cmi_set_register(row.command, row.back_end);
}
