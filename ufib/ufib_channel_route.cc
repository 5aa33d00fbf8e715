/* The route batch handlers: both formats of both families. A batch is checked, worked, answered. */
#include "core/lcfwd_db.h"
#include "core/lcfwd_handlers.h"
#include "core/lcfwd_log.h"
#include "core/lcfwd_stats.h"
#include "core/ufib_funcstats.h"
#include "core/ufib_trace.h"
#include "host/bus/fu_mts.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_channel.h"

#include <cerrno>
#include <cstring>

constexpr uint32_t OPC_V4_ROUTE_UPDATE = 74767;
constexpr uint32_t OPC_V6_ROUTE_UPDATE = 74768;

uint32_t v4_route_update_ack_count;
uint32_t v6_route_update_ack_count;

/* A batch on its way from the message to the answer. */
struct route_batch {
    const ufib_family &family;
    const char *handler; /* name in log lines */
    const mts_msg *message;
    lcfwd_vdc_desc *vdc; /* null: the sender's VDC is out of range */
    wire_cursor body;    /* what follows the header */
    uint32_t count;      /* as the header says */
    uint32_t ack;
    uint32_t nack;
    bool good; /* bit 0 of the answer's flags */
};

static void batch_refuse(route_batch *batch) {
    batch->good = false;
    batch->nack = batch->count;
}

static void batch_accept_unread(route_batch *batch) {
    batch->good = true;
    batch->ack = batch->count;
}

static bool batch_stopped(route_batch *batch) {
    if (!lcfwd_stop_update) return false;
    UFIB_ERR("ERROR: lcfwd_stop_update is on");
    batch_accept_unread(batch);
    return true;
}

static bool batch_no_vdc(route_batch *batch) {
    if (batch->vdc != nullptr) return false;
    UFIB_ERR("ERROR: %s - failed to set vdc ctxt", batch->handler);
    ufib_err_raise(UFIB_ERR_REQUEST, batch->family.err_no_vdc);
    batch_refuse(batch);
    return true;
}

/* One that found no memory for its model is as good as none. */
static bool vdc_serves(const lcfwd_vdc_desc &vdc) {
    return (vdc.flags & LCFWD_VDC_ACTIVE) != 0 && vdc.ufib != nullptr;
}

static bool batch_inactive(route_batch *batch) {
    if (vdc_serves(*batch->vdc)) return false;
    UFIB_ERR("ERROR: %s - vdc inactive", batch->handler);
    ufib_err_raise(UFIB_ERR_REQUEST, batch->family.err_inactive);
    batch_refuse(batch);
    return true;
}

static bool batch_upgrading(route_batch *batch) {
    if (batch->vdc->ufib_state != LCFWD_STATE_UPGRADING) return false;
    UFIB_ERR("%s - LC_UPGRADE: drop message", batch->handler);
    batch_refuse(batch);
    return true;
}

/* What the worker found, into the answer and the VDC's counters. */
static void batch_worked(route_batch *batch, const ufib_batch_result &result) {
    ufib_vdc_stats *stats = batch->vdc->ufib_stats;
    if (result.status == 0) {
        batch->good = true;
        ufib_count(stats, batch->family.index, &ufib_family_stats::batches_succeeded);
        return;
    }
    batch->good = false;
    UFIB_ERR("bulk route update failed, error:%s", ufib_err_str(ufib_errno & 0xffff));
    ufib_count(stats, batch->family.index, &ufib_family_stats::batches_failed);
}

static void rc_dbg_print_rsp_msg(const route_batch &batch) {
    if (!ufib_enable_rc_debugs) return;
    UFIB_TRACE("Resp msg:\n");
    UFIB_TRACE("result %d nack %u ack %u count %u", batch.good, batch.nack, batch.ack, batch.count);
}

static uint8_t answer_flags(const route_batch &batch, uint8_t flags) {
    return static_cast<uint8_t>(batch.good ? flags | ROUTE_BATCH_OK : flags & ~ROUTE_BATCH_OK);
}
static wire_be<uint16_t> answer_nack(const route_batch &batch) {
    return wire_put(static_cast<uint16_t>(batch.nack | ROUTE_NACK_MARK));
}

static void ufib_perf_display_results() {
    UFIB_BL(1, UFIB_TR_PERF, ufib_perf_route_count);
    display_results = false;
    ufib_perf_route_count = 0;
}

/* The end of each batch, answered or not. */
static void batch_finish(const route_batch &batch, int send_status) {
    if (send_status != 0) {
        const int error = errno;
        ufib_err_raise(UFIB_ERR_REQUEST, batch.family.err_send);
        UFIB_ERR("%s: mts_send_response failed, errno: %d\n", batch.handler, error);
        if (ufib_enable_rc_debugs)
            UFIB_TRACE("%s: mts_send_response failed, errno: %d\n", batch.handler, error);
    } else {
        UFIB_BL(1, UFIB_TR_RESPONSE_SENT);
    }
    (batch.family.index == UFIB_STATS_V4 ? v4_route_update_ack_count : v6_route_update_ack_count)++;
    if (display_results) ufib_perf_display_results();
    UFIB_BL(1, UFIB_TR_BATCH_END, batch.count);
    ufib_funcstats_start(&idle_timer);
}

/* ---- version 1 ---- */

static void ufib_trace_route_update_v1_hdr(const route_update_v1_hdr &hdr) {
    UFIB_BL(1, UFIB_TR_BATCH_HEADER, static_cast<uint32_t>(hdr.client_id), 0u, wire_get(hdr.count),
            static_cast<uint32_t>(hdr.flags), wire_get(hdr.xid), static_cast<uint32_t>(hdr.epoch));
}

bool ufib_route_update_v1_hdr_errors(const route_update_v1_hdr &hdr) {
    bool bad = false;
    if (wire_get(hdr.batch_size) == 0) bad = ufib_err_raise(UFIB_ERR_REQUEST, E_ZERO_BULK_SZ) != 0;
    if (wire_get(hdr.count) == 0) bad = ufib_err_raise(UFIB_ERR_REQUEST, E_ZERO_ROUTE_CNT) != 0;
    return bad;
}

static void batch_v1_work(route_batch *batch, const route_update_v1_hdr &hdr) {
    ufib_trace_route_update_v1_hdr(hdr);
    if (ufib_route_update_v1_hdr_errors(hdr)) {
        batch_refuse(batch);
        return;
    }
    ufib_count(batch->vdc->ufib_stats, batch->family.index, &ufib_family_stats::batches);
    ufib_batch_result result = {};
    ufib_bulk_v1_route_update(batch->family, batch->vdc, hdr, batch->body, &result);
    batch_worked(batch, result); /* the counts of a worked batch stay 0: bit 0 alone tells */
}

static int batch_v1_answer(const route_batch &batch, const route_update_v1_hdr &hdr) {
    rc_dbg_print_rsp_msg(batch);
    const route_update_v1_rsp answer = {
        .len = hdr.len,
        .nack_count = answer_nack(batch),
        .ack_count = wire_put(static_cast<uint16_t>(batch.ack)),
        .count = hdr.count,
        .flags = answer_flags(batch, hdr.flags),
        .xid = hdr.xid,
        .epoch = hdr.epoch,
        .client_id = hdr.client_id,
    };
    const mts_opts options = {.respond = 1, .copy = 1, .want_reply = 0, .version = 0, .vdc = 0};
    return mts_send(fib_q_mts_ucast, MTS_NODE_UFDM, 0, 0, &answer, sizeof answer, 0, batch.message, &options);
}

static int route_update_v1(route_batch *batch) {
    route_update_v1_hdr hdr;
    if (wire_take(&batch->body, &hdr) != 0) {
        UFIB_ERR("Null Payload");
        return LCFWD_BAD_MESSAGE;
    }
    batch->count = wire_get(hdr.count);
    UFIB_BL(1, UFIB_TR_BATCH_BEGIN, batch->count);
    batch->vdc = lcfwd_mts_vdc(batch->message);
    if (!batch_stopped(batch) && !batch_no_vdc(batch) && !batch_inactive(batch) && !batch_upgrading(batch))
        batch_v1_work(batch, hdr);
    batch_finish(*batch, batch_v1_answer(*batch, hdr));
    return LCFWD_OK;
}

/* ---- version 0 ---- */

static void ufib_trace_route_update_hdr(const route_update_hdr &hdr) {
    UFIB_BL(1, UFIB_TR_BATCH_HEADER, static_cast<uint32_t>(hdr.client_id), wire_get(hdr.table_id),
            wire_get(hdr.count), static_cast<uint32_t>(hdr.flags), wire_get(hdr.xid),
            static_cast<uint32_t>(hdr.epoch));
}

bool ufib_route_update_hdr_errors(const route_update_hdr &hdr, bool check_counts) {
    bool bad = false;
    if (wire_get(hdr.table_id) == 0) bad = ufib_err_raise(UFIB_ERR_REQUEST, E_INV_TABLE_ID) != 0;
    if (!check_counts || hdr.flags != 0) return bad;
    if (wire_get(hdr.batch_size) == 0) bad = ufib_err_raise(UFIB_ERR_REQUEST, E_ZERO_BULK_SZ) != 0;
    if (wire_get(hdr.count) == 0) bad = ufib_err_raise(UFIB_ERR_REQUEST, E_ZERO_ROUTE_CNT) != 0;
    return bad;
}

static bool batch_v0_hdr_bad(route_batch *batch, const route_update_hdr &hdr, bool check_counts) {
    ufib_trace_route_update_hdr(hdr);
    if (!ufib_route_update_hdr_errors(hdr, check_counts)) return false;
    UFIB_ERR("ERROR: %s - route update hdr error %s", batch->handler, ufib_err_str(ufib_errno & 0xffff));
    batch_refuse(batch);
    return true;
}

static void batch_v0_work(route_batch *batch, const route_update_hdr &hdr) {
    ufib_count(batch->vdc->ufib_stats, batch->family.index, &ufib_family_stats::batches);
    ufib_batch_result result = {};
    ufib_bulk_route_update(batch->family, batch->vdc, hdr, batch->body, &result);
    batch->ack = result.ack;
    batch->nack = result.nack;
    batch_worked(batch, result);
}

/* This card does not need the table: taken, but not looked at. */
static bool batch_v0_not_required(route_batch *batch, const route_update_hdr &hdr) {
    if (ufib_platform_table_required(batch->vdc->vdc_id, wire_get(hdr.table_id), 0)) return false;
    batch_accept_unread(batch);
    return true;
}

static int batch_v0_answer(const route_batch &batch, const route_update_hdr &hdr, wire_be<uint32_t> xid) {
    rc_dbg_print_rsp_msg(batch);
    const route_update_rsp answer = {
        .reserved0 = {hdr.reserved0[0], hdr.reserved0[1]},
        .epoch = hdr.epoch,
        .reserved3 = hdr.reserved3,
        .table_id = hdr.table_id,
        .nack_count = answer_nack(batch),
        .ack_count = wire_put(static_cast<uint16_t>(batch.ack)),
        .count = hdr.count,
        .flags = answer_flags(batch, hdr.flags),
        .client_id = hdr.client_id,
        .xid = xid,
    };
    return fu_mts_send_response(fib_q_mts_ucast, &answer, sizeof answer, batch.message, 0);
}

/* Header and VDC of a version 0 batch; false when there is no header. */
static bool batch_v0_begin(route_batch *batch, route_update_hdr *hdr) {
    if (wire_take(&batch->body, hdr) != 0) {
        UFIB_ERR("ERROR: %s - null payload", batch->handler);
        ufib_err_raise(UFIB_ERR_REQUEST, batch->family.err_null_payload);
        return false;
    }
    batch->count = wire_get(hdr->count);
    batch->vdc = lcfwd_mts_vdc(batch->message);
    return true;
}

static int route_update_v0(route_batch *batch) {
    route_update_hdr hdr;
    if (!batch_v0_begin(batch, &hdr)) return LCFWD_BAD_MESSAGE;
    UFIB_BL(1, UFIB_TR_BATCH_BEGIN, batch->count);
    if (!batch_no_vdc(batch) && !batch_inactive(batch) && !batch_stopped(batch) &&
        !batch_v0_not_required(batch, hdr) && !batch_upgrading(batch) && !batch_v0_hdr_bad(batch, hdr, true))
        batch_v0_work(batch, hdr);
    batch_finish(*batch, batch_v0_answer(*batch, hdr, hdr.xid));
    return LCFWD_OK;
}

/* ---- entry points ---- */

static route_batch batch_of(const ufib_family &family, const char *handler, fu_event *event) {
    const mts_msg *message = lcfwd_event_message(event);
    return {family, handler, message, nullptr, {mts_payload_get(message), mts_payload_size(message)},
            0,      0,       0,       false};
}

/* The time since the last batch was idle, unless this is the first. */
static void batch_idle_ends() {
    if (begin)
        begin = false;
    else
        ufib_funcstats_end(UFIB_FS_IDLE, &idle_timer);
}

static int route_update(const ufib_family &family, const char *handler, uint32_t opcode, fu_event *event,
                        fu_event_node **out) {
    batch_idle_ends();
    int status;
    lcfwd_mts_handler_init(event, out, &status, opcode);
    if (status != 0) return status;
    ufib_errno = 0;
    route_batch batch = batch_of(family, handler, event);
    const bool version0 = (mts_opc_version_get(batch.message) & 0xff) == 0;
    return version0 ? route_update_v0(&batch) : route_update_v1(&batch);
}

int ufib_ufdm_v4_route_update(fu_event *event, fu_event_node **out) {
    return route_update(ufib_v4, __func__, OPC_V4_ROUTE_UPDATE, event, out);
}

int ufib_ufdm_v6_route_update(fu_event *event, fu_event_node **out) {
    return route_update(ufib_v6, __func__, OPC_V6_ROUTE_UPDATE, event, out);
}

static void download_work(route_batch *batch, const route_update_hdr &hdr) {
    batch->good = true;
    if (batch->count != 0) batch_v0_work(batch, hdr);
}

/* A reload that the process drives: as version 0, but quiet where nobody waits, and signed with the slot. */
static int route_download(const ufib_family &family, const char *handler, uint32_t opcode, fu_event *event,
                          fu_event_node **out) {
    batch_idle_ends();
    int status = 1;
    lcfwd_mts_handler_init(event, out, &status, opcode);
    if (status != 0) return status;
    ufib_errno = 0;
    route_batch batch = batch_of(family, handler, event);
    route_update_hdr hdr;
    if (!batch_v0_begin(&batch, &hdr)) return LCFWD_BAD_MESSAGE;
    UFIB_BL(1, UFIB_TR_BATCH_BEGIN, batch.count);
    if (!batch_no_vdc(&batch)) {
        if (!vdc_serves(*batch.vdc)) return LCFWD_OK;
        if (!batch_stopped(&batch) && !batch_v0_not_required(&batch, hdr)) {
            if (batch.vdc->ufib_state == LCFWD_STATE_UPGRADING) {
                UFIB_BL(1, UFIB_TR_UPGRADE_DROP);
                return LCFWD_OK;
            }
            if (!batch_v0_hdr_bad(&batch, hdr, false)) download_work(&batch, hdr);
        }
    }
    wire_be<uint32_t> slot;
    std::memcpy(&slot, &my_slot, sizeof slot); /* the machine's order, as its readers expect */
    batch_finish(batch, batch_v0_answer(batch, hdr, slot));
    return LCFWD_OK;
}

int ufib_v4_route_download(fu_event *event, fu_event_node **out) {
    return route_download(ufib_v4, __func__, UFIB_OPC_V4_ROUTE_DOWNLOAD, event, out);
}

int ufib_v6_route_download(fu_event *event, fu_event_node **out) {
    return route_download(ufib_v6, __func__, UFIB_OPC_V6_ROUTE_DOWNLOAD, event, out);
}
