/* Small messages of the unicast channel: stale delete, table id question, interrupts. */
#include "core/lcfwd_handlers.h"
#include "core/lcfwd_log.h"
#include "core/lcfwd_stats.h"
#include "host/bus/fu_mts.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_channel.h"
#include "ufib/ufib_route.h"

#include <cstring>

constexpr uint32_t OPC_DELETE_STALE_ROUTES = 74755;
constexpr uint32_t OPC_L3_MSG = 77833;
constexpr uint32_t OPC_TABLE_QUESTION = 461;

int ufib_fu_delete_stale_routes(fu_event *event, fu_event_node **out) {
    int status;
    lcfwd_mts_handler_init(event, out, &status, OPC_DELETE_STALE_ROUTES);
    if (status != 0) return status;
    const mts_msg *message = lcfwd_event_message(event);
    wire_cursor body = {mts_payload_get(message), mts_payload_size(message)};
    stale_delete_msg request;
    if (wire_take(&body, &request) != 0) {
        UFIB_ERR("ERROR: %s - null payload", __func__);
        return LCFWD_BAD_MESSAGE;
    }
    lcfwd_vdc_desc *vdc = lcfwd_mts_vdc(message);
    if (vdc == nullptr) {
        UFIB_ERR("ERROR: %s - failed to set vdc ctxt", __func__);
        return LCFWD_BAD_MESSAGE;
    }
    const uint32_t table_id = wire_get(request.table_id);
    if (!ufib_platform_table_required(vdc->vdc_id, table_id, 0)) return LCFWD_OK;
    lcfwd_count(vdc->ufib_stats, &ufib_vdc_stats::stale_deletes);
    ufib_delete_stale_routes(vdc, table_id, request.family, request.epoch);
    return LCFWD_OK;
}

int ufib_fu_l3_msg_handler(fu_event *event, fu_event_node **out) {
    int status;
    lcfwd_mts_handler_init(event, out, &status, OPC_L3_MSG);
    if (status != 0) return status;
    const mts_msg *message = lcfwd_event_message(event);
    wire_cursor body = {mts_payload_get(message), mts_payload_size(message)};
    wire_be<uint32_t> word;
    if (wire_take(&body, &word) != 0) {
        UFIB_ERR("ERROR: %s - null payload", __func__);
        return LCFWD_BAD_MESSAGE;
    }
    UFIB_TRACE("%s - L3 interrupt msg %x", __func__, wire_get(word));
    return LCFWD_OK;
}

/* Question and answer; the reply's second word is the table id. */
struct table_question {
    wire_be<uint32_t> reserved0;
    wire_be<uint32_t> name_key;
    uint8_t reserved8[12];
};
static_assert(sizeof(table_question) == 20);

static uint32_t table_answer_read(const mts_msg *answer) {
    if (mts_is_reject(answer)) {
        UFIB_ERR("MTS reject in %s", "ufib_ufdm_get_tableid");
        return 0;
    }
    wire_cursor body = {mts_payload_get(answer), mts_payload_size(answer)};
    wire_be<uint32_t> words[2];
    if (wire_take(&body, &words) != 0) {
        UFIB_ERR("MTS NULL payload");
        return 0;
    }
    return wire_get(words[1]);
}

uint32_t ufib_ufdm_get_tableid(uint32_t name_key) {
    const table_question question = {.reserved0 = {}, .name_key = wire_put(name_key), .reserved8 = {}};
    const mts_opts options = {.respond = 0, .copy = 1, .want_reply = 1, .version = 0, .vdc = ufib_cur_vdc_id};
    if (mts_send(fib_q_mts_ucast, MTS_NODE_SUPERVISOR, MTS_SAP_TABLE_QUESTION, OPC_TABLE_QUESTION, &question,
                 sizeof question, 0, nullptr, &options) != 0) {
        UFIB_ERR("MTS send failed in %s", __func__);
        return 0;
    }
    mts_msg *answer;
    if (mts_recv(fib_q_mts_ucast, mts_rr_token_get(fib_q_mts_ucast), &answer) != 0) {
        UFIB_ERR("MTS recieve failed in %s", __func__);
        return 0;
    }
    const uint32_t table_id = table_answer_read(answer);
    mts_drop(answer);
    return table_id;
}
