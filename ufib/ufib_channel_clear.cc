/* Requests of operators: clear routes or adjacencies, name aged routes. */
#include "core/lcfwd_handlers.h"
#include "core/lcfwd_log.h"
#include "core/ufib_err.h"
#include "host/bus/fu_mts.h"
#include "ufib/ufib_aged.h"
#include "ufib/ufib_channel_entry.h"
#include "ufib/ufib_clear.h"

constexpr uint32_t OPC_CLEAR_FORWARDING = 74771;
constexpr uint32_t OPC_CLEAR_ADJACENCY = 74772;
constexpr uint32_t OPC_AGED_ROUTES = 77843;

static const ufib_family *family_of_afi(uint8_t afi) {
    if (afi == ufib_v4.afi) return &ufib_v4;
    if (afi == ufib_v6.afi) return &ufib_v6;
    ufib_err_raise(UFIB_ERR_REQUEST, E_BAD_AFI);
    return nullptr;
}

/* The request goes back, marked when it failed; what stands in it beyond that is the sender's. */
static int clear_answer(const ufib_control &control, const char *handler, ufib_clear_msg request,
                        bool failed) {
    if (failed) request.flags |= UFIB_CLEAR_FAILED;
    if (fu_mts_send_response(fib_q_mts_ucast, &request, sizeof request, control.message, 0) != 0)
        UFIB_ERR("%s: mts_send_response failed", handler);
    return LCFWD_OK;
}

int ufib_fu_clear_forwarding_request(fu_event *event, fu_event_node **out) {
    int status;
    ufib_control control;
    if (!ufib_control_begin(event, out, OPC_CLEAR_FORWARDING, __func__, sizeof(ufib_clear_msg), &control,
                            &status))
        return status;
    const auto *request = wire_peek<ufib_clear_msg>(control.body);
    const ufib_family *family = family_of_afi(request->afi);
    const bool failed =
        family == nullptr || ufib_clear_forwarding_request(*family, control.vdc->ufib, *request) != 0;
    if (failed && family != nullptr)
        UFIB_ERR(family->index == 0 ? "Error deleting  v4 FIB entry\n" : "Error deleting v6 FIB entry\n");
    return clear_answer(control, __func__, *request, failed);
}

int ufib_fu_clear_forwarding_adj_request(fu_event *event, fu_event_node **out) {
    int status;
    ufib_control control;
    if (!ufib_control_begin(event, out, OPC_CLEAR_ADJACENCY, __func__, sizeof(ufib_clear_msg), &control,
                            &status))
        return status;
    const auto *request = wire_peek<ufib_clear_msg>(control.body);
    const ufib_family *family = family_of_afi(request->afi);
    const bool failed =
        family == nullptr || ufib_clear_forwarding_adj_request(*family, control.vdc->ufib, *request) != 0;
    return clear_answer(control, __func__, *request, failed);
}

int ufib_fu_get_aged_routes(fu_event *event, fu_event_node **out) {
    int status;
    ufib_control control;
    if (!ufib_control_begin(event, out, OPC_AGED_ROUTES, __func__, sizeof(ufib_aged_msg), &control, &status))
        return status;
    (void)ufib_get_aged_routes(control.vdc->ufib, *wire_peek<ufib_aged_msg>(control.body), control.message);
    return LCFWD_OK;
}
