#include "ufib/ufib_consistency.h"

#include "core/lcfwd_db.h"
#include "core/lcfwd_log.h"
#include "core/lcfwd_mts.h"
#include "host/bus/fu_mts.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_vdc.h"
#include "ufib/ufib_vobj.h"

#include <cstring>
#include <initializer_list>

/* By VDC, family, and routes or adjacencies. */
static ufib_cc_response responses[LCFWD_VDC_MAX + 1][2][2];

static uint32_t row_bytes(const ufib_family &family) { return UFIB_CC_ROW_HEAD + family.addr_bytes; }
static uint32_t rows_max(const ufib_family &family) {
    return family.index == 0 ? v4_inconsistent_route_count : v6_inconsistent_route_count;
}

ufib_cc_response *ufib_cc_response_of(const ufib_vdc *vdc, const ufib_family &family, bool routes,
                                      const mts_msg *message) {
    ufib_cc_response *response = &responses[vdc->desc->vdc_id][family.index][routes ? 1 : 0];
    const bool same = response->sender_node == message->source.node &&
                      response->sender_sap == message->source.sap && response->sender_peer == message->peer;
    response->family = &family;
    if (same) return response;
    response->table_id = 0;
    response->inconsistent = 0;
    response->missing = 0;
    response->sender_node = message->source.node;
    response->sender_sap = message->source.sap;
    response->sender_peer = message->peer;
    return response;
}

void ufib_cc_send(const mts_msg *message, ufib_cc_response *response, uint8_t flags) {
    static struct {
        ufib_cc_hdr hdr;
        uint8_t rows[sizeof response->rows];
    } out;
    const size_t bytes = (response->inconsistent + response->missing) * size_t{row_bytes(*response->family)};
    out.hdr = {
        .inconsistent = wire_put(static_cast<uint16_t>(response->inconsistent)),
        .missing = wire_put(static_cast<uint16_t>(response->missing)),
        .table_id = wire_put(response->table_id),
        .slot = static_cast<uint8_t>(my_slot),
        .flags = flags,
    };
    std::memcpy(out.rows, response->rows, bytes);
    response->inconsistent = 0;
    response->missing = 0;
    if (fu_mts_send_response(fib_q_mts_ucast, &out, sizeof out.hdr + bytes, message, 0) != 0)
        UFIB_ERR("%s: mts_send_response failed", __func__);
}

void ufib_cc_table(const mts_msg *message, ufib_cc_response *response, uint32_t table_id) {
    if (response->table_id != 0 && response->table_id != table_id) ufib_cc_send(message, response, 0);
    response->table_id = table_id;
}

void ufib_cc_row_add(const mts_msg *message, ufib_cc_response *response, const void *row, bool missing) {
    const uint32_t used = response->inconsistent + response->missing;
    const uint32_t bytes = row_bytes(*response->family);
    std::memcpy(response->rows + size_t{used} * bytes, row, bytes);
    (missing ? response->missing : response->inconsistent)++;
    if (used + 1 == rows_max(*response->family)) ufib_cc_send(message, response, 0);
}

void ufib_nh_set_consis_flags(ufib_obj *object, bool is_active, bool value) {
    const auto set = [value](uint32_t *flags, uint32_t bit) {
        *flags = value ? *flags | bit : *flags & ~bit;
    };
    if (object == nullptr) return;
    if (ufib_obj_is_vobj(object))
        set(&ufib_obj_to_vobj(object)->flags, is_active ? UFIB_VOBJ_FOUND_RIGHT : UFIB_VOBJ_FOUND_WRONG);
    else if (ufib_obj_is_adj(object))
        set(&reinterpret_cast<ufib_adj *>(object)->flags, UFIB_ADJ_ROUTE_SEEN);
    else if (ufib_obj_type_of(object) == UFIB_OBJ_ECMP)
        for (uint32_t i = 0; i < reinterpret_cast<ufib_ecmp *>(object)->key->count; i++)
            ufib_nh_set_consis_flags(reinterpret_cast<ufib_ecmp *>(object)->paths[i], is_active, value);
}

static void adjs_unmark(ufib_vdc *vdc, const ufib_family &family) {
    ufib_walk_budget budget = {UFIB_WALK_OBJECTS, UFIB_WALK_OBJECTS};
    for (ufib_adj *adj = ufib_adj_get_first(vdc, family); adj != nullptr; adj = ufib_adj_get_next(adj)) {
        adj->flags &= ~(UFIB_ADJ_CONSISTENCY | UFIB_ADJ_ROUTE_SEEN);
        if (ufib_hook.label_children_unmark != nullptr && !ravl_is_empty(&adj->mpls_children))
            ufib_hook.label_children_unmark(adj);
        ufib_walk_step(&budget);
    }
}

void ufib_clear_cc_state(ufib_vdc *vdc, const ufib_family &family) {
    for (const uint32_t kind : {family.global_drop, family.global_punt, family.global_glean})
        if (ufib_adj *adj = ufib_adj_get_global(vdc, kind); adj != nullptr)
            adj->flags &= ~(UFIB_ADJ_CONSISTENCY | UFIB_ADJ_ROUTE_SEEN);
    adjs_unmark(vdc, family);
    ufib_walk_budget budget = {UFIB_WALK_OBJECTS, UFIB_WALK_OBJECTS};
    for (ufib_vobj *vobj = ufib_vobj_get_first(vdc); vobj != nullptr; vobj = ufib_vobj_get_next(vobj)) {
        vobj->flags &= ~UFIB_VOBJ_CONSISTENCY;
        ufib_walk_step(&budget);
    }
}

void ufib_consistency_forget(const ufib_vdc *vdc) {
    std::memset(&responses[vdc->desc->vdc_id], 0, sizeof responses[0]);
}

void ufib_consistency_reset() { std::memset(responses, 0, sizeof responses); }
