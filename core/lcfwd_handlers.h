/* core/lcfwd_handlers.h: the message handlers that the opcode table names. The core defines those of the
 * process itself; the domains define theirs, and the linker closes the loop: the core includes nothing of
 * a domain. All follow the contract of core/lcfwd_mts.h. */
#pragma once

struct fu_event;
struct fu_event_node;

/* core */
int lcfwd_fu_vdc_create(fu_event *event, fu_event_node **out);
int lcfwd_fu_vdc_delete(fu_event *event, fu_event_node **out);
int lcfwd_fu_lc_inserted(fu_event *event, fu_event_node **out);
int lcfwd_fu_lc_removed(fu_event *event, fu_event_node **out);
int lcfwd_fu_cmi_message(fu_event *event, fu_event_node **out);
int lcfwd_handle_feature_set_notif(fu_event *event, fu_event_node **out);
int fib_fu_ufdm_status_request(fu_event *event, fu_event_node **out);
int mfib_fu_mfdm_download(fu_event *event, fu_event_node **out);
int mfib_fu_mfdm_up(fu_event *event, fu_event_node **out);

/* unicast */
int ufib_ufdm_v4_route_update(fu_event *event, fu_event_node **out);
int ufib_ufdm_v6_route_update(fu_event *event, fu_event_node **out);
int ufib_fu_am_notification(fu_event *event, fu_event_node **out);
int ufib_fu_ufdm_statistics_poll(fu_event *event, fu_event_node **out);
int ufib_ufdm_v4_consistency_check(fu_event *event, fu_event_node **out);
int ufib_ufdm_v6_consistency_check(fu_event *event, fu_event_node **out);
int ufib_fu_ufdm_download(fu_event *event, fu_event_node **out);
int ufib_fu_ufdm_up(fu_event *event, fu_event_node **out);
int ufib_fu_delete_stale_routes(fu_event *event, fu_event_node **out);
int ufib_fu_ufdm_router_mac(fu_event *event, fu_event_node **out);
int ufib_fu_ufdm_static_if_mac(fu_event *event, fu_event_node **out);
int ufib_fu_rpf_notification(fu_event *event, fu_event_node **out);
int ufib_fu_tunnel_update(fu_event *event, fu_event_node **out);
int ufib_fu_clear_forwarding_request(fu_event *event, fu_event_node **out);
int ufib_fu_clear_forwarding_adj_request(fu_event *event, fu_event_node **out);
int ufib_fu_get_aged_routes(fu_event *event, fu_event_node **out);
int ufib_fu_lc_upgrade(fu_event *event, fu_event_node **out);
int ufib_fu_sal_lc_upgrade(fu_event *event, fu_event_node **out);
int ufib_eltmc_pervpn_ilm_alloc(fu_event *event, fu_event_node **out);
int ufib_nve_peer_get_mac_counters(fu_event *event, fu_event_node **out);
int ufib_fu_hw_res_request(fu_event *event, fu_event_node **out);
int ufib_fu_nf_request(fu_event *event, fu_event_node **out);
int lcfwd_process_intf_stats_req(fu_event *event, fu_event_node **out);
