/* The messages of consistency checks: route batches of both formats that are compared, not worked. */
#include "core/lcfwd_handlers.h"
#include "core/lcfwd_log.h"
#include "core/lcfwd_stats.h"
#include "ufib/ufib_channel.h"
#include "ufib/ufib_channel_entry.h"
#include "ufib/ufib_consistency.h"
#include "ufib/ufib_vdc.h"

#include <cstring>

constexpr uint32_t OPC_V4_CHECK = 1119;
constexpr uint32_t OPC_V6_CHECK = 1123;

/* A batch being checked. */
struct check_batch {
    const ufib_family &family;
    const mts_msg *message;
    ufib_vdc *vdc;
    ufib_cc_response *response;
    wire_cursor body;  /* what follows the header */
    uint32_t count;    /* as the header says */
    uint32_t table_id; /* version 0: of the batch; else of the last record */
};

/* A route that cannot be read is named by what its fixed part says. 'table_id' is the batch's or the record's own. */
template <typename record>
static void unreadable_add(const check_batch &batch, const record *route, uint32_t table_id) {
    if (!ufib_route_is_compared(batch.family, batch.vdc, route->opcode, table_id, route->flags)) return;
    UFIB_ERR("Failed to parse the route buffer for nh info");
    const bool wildcard = (route->flags & ROUTE_WILDCARD) != 0;
    ufib_cc_row row = {UFIB_CC_NO_PREFIX, route->prefix_len, {}, {}};
    std::memcpy(row.address, route->prefix, batch.family.addr_bytes);
    ufib_cc_table(batch.message, batch.response, wildcard ? batch.family.wildcard_table : table_id);
    ufib_cc_row_add(batch.message, batch.response, &row, false);
}

static void unreadable_v0_add(const check_batch &batch) {
    if (batch.family.index == UFIB_STATS_V4)
        unreadable_add(batch, wire_peek<route_v0_v4>(batch.body), batch.table_id);
    else
        unreadable_add(batch, wire_peek<route_v0_v6>(batch.body), batch.table_id);
}

/* Where the next record begins is not known: the walk over the batch ends. */
static void batch_malformed(const check_batch &batch) {
    ufib_count(batch.vdc->desc->ufib_stats, batch.family.index, &ufib_family_stats::malformed_records);
    ufib_err_raise(UFIB_ERR_ITEM, E_ROUTE_NHINFO_INVALID);
    UFIB_ERR("%s consistency check: bad record length", batch.family.name);
}

static void batch_v1_check(check_batch *batch) {
    for (uint32_t left = batch->count; left > 0; left--) {
        const route_rec *route = wire_peek<route_rec>(batch->body);
        if (route == nullptr) return batch_malformed(*batch);
        const bool wildcard = (route->flags & ROUTE_WILDCARD) != 0;
        const uint32_t len = wire_get(route->route_len);
        batch->table_id = wildcard ? batch->family.wildcard_table : wire_get(route->table_id);
        if (len < sizeof(route_rec) || len > batch->body.left) {
            unreadable_add(*batch, route, wire_get(route->table_id));
            return batch_malformed(*batch);
        }
        ufib_route_consistency_check_be(batch->family, batch->message, route, wire_get(route->table_id),
                                        batch->vdc, batch->response);
        batch->body.next += len;
        batch->body.left -= len;
    }
}

static void batch_v0_check(check_batch *batch) {
    const uint32_t fixed = ufib_route_v0_fixed(batch->family);
    for (uint32_t left = batch->count; left > 0; left--) {
        if (batch->body.left < fixed) return batch_malformed(*batch);
        const uint32_t len = ufib_route_v0_len(batch->family, batch->body.next);
        const bool sound = len >= fixed && len <= batch->body.left;
        const route_rec *route =
            sound ? ufib_route_convert(batch->family, batch->body.next, len, batch->table_id) : nullptr;
        if (route != nullptr)
            ufib_route_consistency_check_be(batch->family, batch->message, route, batch->table_id, batch->vdc,
                                            batch->response);
        else
            unreadable_v0_add(*batch);
        if (!sound) return batch_malformed(*batch);
        batch->body.next += len;
        batch->body.left -= len;
    }
}

static void hdr_bad() { UFIB_ERR("route update hdr error %08x", ufib_errno); }

/* False: there is no header. '*end': the batch ends the check. */
static bool batch_v1(check_batch *batch, bool *end) {
    route_update_v1_hdr hdr;
    if (wire_take(&batch->body, &hdr) != 0) return false;
    *end = (hdr.flags & ROUTE_BATCH_END_OF_TABLE) != 0;
    batch->count = wire_get(hdr.count);
    if (ufib_route_update_v1_hdr_errors(hdr))
        hdr_bad();
    else
        batch_v1_check(batch);
    return true;
}

static bool batch_v0(check_batch *batch, bool *end) {
    route_update_hdr hdr;
    if (wire_take(&batch->body, &hdr) != 0) return false;
    *end = (hdr.flags & ROUTE_BATCH_END_OF_TABLE) != 0;
    batch->count = wire_get(hdr.count);
    batch->table_id = wire_get(hdr.table_id);
    if (ufib_route_update_hdr_errors(hdr, true))
        hdr_bad();
    else
        batch_v0_check(batch);
    return true;
}

/* A check that a bad header ends is ended all the same: its sender waits for the report. */
bool ufib_route_consistency_check(const ufib_family &family, const mts_msg *message, ufib_vdc *vdc,
                                  ufib_cc_response *response) {
    const wire_cursor body = {mts_payload_get(message), mts_payload_size(message)};
    check_batch batch = {family, message, vdc, response, body, 0, 0};
    const bool version0 = (mts_opc_version_get(message) & 0xff) == 0;
    bool end = false;
    if (!(version0 ? batch_v0(&batch, &end) : batch_v1(&batch, &end))) return false;
    if (end) ufib_route_consistency_end(family, message, batch.table_id, vdc, response);
    return true;
}

static int consistency_check(const ufib_family &family, const char *handler, uint32_t opcode, fu_event *event,
                             fu_event_node **out) {
    int status;
    ufib_control control;
    if (!ufib_control_begin(event, out, opcode, handler, sizeof(route_update_v1_hdr), &control, &status))
        return status;
    ufib_errno = 0;
    ufib_count(control.vdc->ufib_stats, family.index, &ufib_family_stats::consistency_checks);
    ufib_vdc *vdc = control.vdc->ufib;
    if (ufib_route_consistency_check(family, control.message, vdc,
                                     ufib_cc_response_of(vdc, family, true, control.message)))
        return LCFWD_OK;
    UFIB_ERR("ERROR: %s - null payload", handler);
    return LCFWD_BAD_MESSAGE;
}

int ufib_ufdm_v4_consistency_check(fu_event *event, fu_event_node **out) {
    return consistency_check(ufib_v4, __func__, OPC_V4_CHECK, event, out);
}

int ufib_ufdm_v6_consistency_check(fu_event *event, fu_event_node **out) {
    return consistency_check(ufib_v6, __func__, OPC_V6_CHECK, event, out);
}
