/* Messages whose contents are the platform library's. */
#include "core/lcfwd_handlers.h"
#include "core/lcfwd_log.h"
#include "host/bus/fu_mts.h"
#include "persist/lcfwd_pss_vdc.h"
#include "platform/lcfwd_platform.h"
#include "platform/ufib_platform_calls.h"
#include "ufib/ufib_channel_entry.h"
#include "ufib/ufib_control_wire.h"

#include <algorithm>
#include <cstring>

constexpr uint32_t OPC_ILM_ALLOC = 73751;
constexpr uint32_t OPC_MAC_COUNTERS = 77849;

/* Stored first: a restart gives the library what it was given last. */
int ufib_eltmc_pervpn_ilm_alloc(fu_event *event, fu_event_node **out) {
    int status;
    ufib_control control;
    if (!ufib_control_begin(event, out, OPC_ILM_ALLOC, __func__, sizeof(ufib_ilm_msg), &control, &status))
        return status;
    const uint32_t base = wire_get(wire_peek<ufib_ilm_msg>(control.body)->base);
    (void)lcfwd_pss_insert_pervpn_ilm_base(base);
    lcfwd_platform_process_pervpn_ilm_base(base);
    return LCFWD_OK;
}

/* The library is told no length: it may read as far as its layouts go, whatever came. */
static int counters_get(wire_cursor request, uint8_t *answer, size_t room) {
    static uint8_t bytes[UFIB_NVE_REQUEST_BYTES];
    const size_t len = std::min(request.left, sizeof bytes);
    std::memcpy(bytes, request.next, len);
    std::memset(bytes + len, 0, sizeof bytes - len);
    return ufib_platform_nve_peer_get_mac_counters(bytes, answer, room);
}

int ufib_nve_peer_get_mac_counters(fu_event *event, fu_event_node **out) {
    int status;
    ufib_control control;
    if (!ufib_control_begin(event, out, OPC_MAC_COUNTERS, __func__, 1, &control, &status)) return status;
    static uint8_t answer[UFIB_NVE_ANSWER_BYTES];
    const int len = counters_get(control.body, answer, sizeof answer);
    if (len <= 0 || static_cast<size_t>(len) > sizeof answer) {
        UFIB_ERR("%s: the platform has no answer", __func__);
        (void)fu_mts_respond_reject(fib_q_mts_lp, 0, 0, control.message, 0, 0);
    } else if (fu_mts_send_response(fib_q_mts_lp, answer, static_cast<size_t>(len), control.message, 0) !=
               0) {
        UFIB_ERR("%s: mts_send_response failed", __func__);
    }
    return LCFWD_OK;
}
