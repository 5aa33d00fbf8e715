/* Messages about interfaces: MACs, reverse-path modes, tunnels. */
#include "core/lcfwd_handlers.h"
#include "core/lcfwd_stats.h"
#include "platform/ufib_platform.h"
#include "platform/ufib_platform_calls.h"
#include "ufib/ufib_channel_entry.h"
#include "ufib/ufib_control_wire.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_mac.h"
#include "ufib/ufib_rpf.h"
#include "ufib/ufib_tunnel.h"

constexpr uint32_t OPC_ROUTER_MAC = 74760;
constexpr uint32_t OPC_RPF = 74761;
constexpr uint32_t OPC_TUNNEL = 74764;
constexpr uint32_t OPC_STATIC_MAC = 74773;

int ufib_fu_ufdm_router_mac(fu_event *event, fu_event_node **out) {
    int status;
    ufib_control control;
    if (!ufib_control_begin(event, out, OPC_ROUTER_MAC, __func__, sizeof(ufib_router_mac_msg), &control,
                            &status))
        return status;
    ufib_update_router_mac(control.vdc->ufib, wire_peek<ufib_router_mac_msg>(control.body)->mac);
    (void)ufib_platform_all_writes_ready();
    return LCFWD_OK;
}

/* The multicast side keeps the MACs of its own interfaces. */
int ufib_fu_ufdm_static_if_mac(fu_event *event, fu_event_node **out) {
    int status;
    ufib_control control;
    if (!ufib_control_begin(event, out, OPC_STATIC_MAC, __func__, sizeof(ufib_static_mac_msg), &control,
                            &status))
        return status;
    const auto *msg = wire_peek<ufib_static_mac_msg>(control.body);
    ufib_update_static_if_mac(control.vdc->ufib, wire_get(msg->if_index), msg->mac);
    if (ufib_hook.mcast_static_if_mac != nullptr)
        ufib_hook.mcast_static_if_mac(control.vdc, wire_get(msg->if_index), msg->mac);
    (void)ufib_platform_all_writes_ready();
    return LCFWD_OK;
}

int ufib_fu_rpf_notification(fu_event *event, fu_event_node **out) {
    int status;
    ufib_control control;
    if (!ufib_control_begin(event, out, OPC_RPF, __func__, sizeof(ufib_rpf_msg), &control, &status))
        return status;
    lcfwd_count(control.vdc->ufib_stats, &ufib_vdc_stats::rpf_updates);
    (void)ufib_rpf_notification(control.vdc->ufib, control.body);
    return LCFWD_OK;
}

int ufib_fu_tunnel_update(fu_event *event, fu_event_node **out) {
    int status;
    ufib_control control;
    if (!ufib_control_begin(event, out, OPC_TUNNEL, __func__, sizeof(ufib_tunnel_msg), &control, &status))
        return status;
    lcfwd_count(control.vdc->ufib_stats, &ufib_vdc_stats::tunnel_updates);
    const auto *msg = wire_peek<ufib_tunnel_msg>(control.body);
    if (ufib_tunnel_update(control.vdc->ufib, *msg) == 0)
        (void)ufib_platform_update_tunnel(control.vdc->vdc_id, wire_get(msg->if_index));
    (void)ufib_platform_all_writes_ready();
    return LCFWD_OK;
}
