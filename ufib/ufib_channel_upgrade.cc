/* Upgrades of line cards, and the opcodes that nobody serves. */
#include "core/lcfwd_db.h"
#include "core/lcfwd_handlers.h"
#include "core/lcfwd_log.h"
#include "core/lcfwd_report.h"
#include "core/lcfwd_upcalls.h"
#include "host/bus/fu_mts.h"
#include "platform/ufib_platform.h"
#include "platform/ufib_platform_calls.h"
#include "ufib/ufib_channel_entry.h"
#include "ufib/ufib_control_wire.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_mac.h"

constexpr uint32_t OPC_INTF_STATS = 30724;
constexpr uint32_t OPC_LC_UPGRADE = 596;
constexpr uint32_t OPC_SAL_LC_UPGRADE = 60433;
constexpr uint32_t OPC_NF_REQUEST = 71683;
constexpr uint32_t OPC_HW_RES_REQUEST = 77834;

/* From here to the end updates are refused: the new image must find what this one has stored. */
static void upgrade_begin(lcfwd_vdc_desc *vdc, bool local) {
    ufib_platform_process_upgrade_begin();
    if (!local) return;
    if (ufib_hook.otv_pre_upgrade != nullptr) ufib_hook.otv_pre_upgrade(vdc);
    lcfwd_pss_buf_commit();
    lcfwd_state_change(vdc, LCFWD_STATE_UPGRADING, true);
}

/* What the system's database said meanwhile was not heard. */
static void upgrade_end(lcfwd_vdc_desc *vdc, bool local) {
    ufib_platform_process_upgrade_end();
    if (!local) return;
    if (ufib_hook.otv_post_upgrade != nullptr) ufib_hook.otv_post_upgrade(vdc);
    ufib_update_if_macs_from_gsdb(vdc->ufib);
    (void)ufib_platform_all_writes_ready();
    lcfwd_state_change(vdc, LCFWD_STATE_ACTIVE, true);
}

static uint32_t upgrade_step(lcfwd_vdc_desc *vdc, const ufib_upgrade_msg &msg) {
    const bool local = wire_get(msg.slot) == my_slot;
    UFIB_TRACE("Upgrade opcode %d slot %d", wire_get(msg.operation), wire_get(msg.slot));
    switch (wire_get(msg.operation)) {
    case UFIB_UPGRADE_BEGIN: upgrade_begin(vdc, local); return UFIB_UPGRADE_GOOD;
    case UFIB_UPGRADE_END: upgrade_end(vdc, local); return UFIB_UPGRADE_GOOD;
    default: return UFIB_UPGRADE_BAD_OPERATION;
    }
}

int ufib_fu_lc_upgrade(fu_event *event, fu_event_node **out) {
    int status;
    ufib_control control;
    if (!ufib_control_begin_any_state(event, out, OPC_LC_UPGRADE, __func__, sizeof(ufib_upgrade_msg),
                                      &control, &status))
        return status;
    const wire_be<uint32_t> answer =
        wire_put(upgrade_step(control.vdc, *wire_peek<ufib_upgrade_msg>(control.body)));
    if (fu_mts_send_response(fib_q_mts_ucast, &answer, sizeof answer, control.message, 0) != 0)
        UFIB_ERR("%s: mts_send_response failed", __func__);
    return LCFWD_OK;
}

/* Nothing here depends on it. */
int ufib_fu_sal_lc_upgrade(fu_event *event, fu_event_node **out) {
    int status;
    ufib_control control;
    if (!ufib_control_begin_any_state(event, out, OPC_SAL_LC_UPGRADE, __func__, 1, &control, &status))
        return status;
    UFIB_TRACE("%s: accepted", __func__);
    return LCFWD_OK;
}

/* So that a sender that waits is let go at once. */
static int reject(fu_event *event, fu_event_node **out, uint32_t opcode, const char *handler,
                  uint32_t queue) {
    int status;
    ufib_control control;
    if (!ufib_control_begin(event, out, opcode, handler, 1, &control, &status)) return status;
    UFIB_ERR("%s: not supported, rejecting opcode %u", handler, opcode);
    (void)fu_mts_respond_reject(queue, 0, 0, control.message, 0, 0);
    return LCFWD_OK;
}

int ufib_fu_hw_res_request(fu_event *event, fu_event_node **out) {
    return reject(event, out, OPC_HW_RES_REQUEST, __func__, fib_q_mts_ucast);
}

int lcfwd_process_intf_stats_req(fu_event *event, fu_event_node **out) {
    return reject(event, out, OPC_INTF_STATS, __func__, fib_q_mts_lp);
}

int ufib_fu_nf_request(fu_event *event, fu_event_node **out) {
    return reject(event, out, OPC_NF_REQUEST, __func__, fib_q_mts_lp);
}
