#include "diag/check_consistency.h"

#include "diag/check_object.h"
#include "diag/command_numbers.h"
#include "diag/show_walk.h"
#include "persist/lcfwd_pss.h"
#include "persist/lcfwd_pss_walk.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_record.h"
#include "ufib/ufib_vdc.h"
#include "ufib/ufib_vobj.h"

#include <algorithm>
#include <cstring>
#include <iterator>

/* A check of everything: lists one after the other, 'params.phase' says which one is on. In its position 'at_id' is the
 * mask length, since a check of both families has no at_mask_len. */
struct check_walk {
    check_report report;
    ufib_vdc *vdc;
    show_walk walk;
    bool resume; /* the first list goes on behind the position */

    ufib_show_params *params() const { return walk.params; }
};

/* After each object. False: the piece ends, or the user wants no more. */
static bool step(check_walk *check) {
    const bool on = show_walk_step(&check->walk, false);
    check->walk.shown += check->report.rows;
    if (check->walk.shown >= UFIB_SHOW_PIECE) check->walk.full = true;
    if (check->report.limit_reached) check->walk.full = false;
    return on && !check->walk.full && !check->report.limit_reached;
}

/* ---- routes ---- */

static bool side_check(check_walk *check, const ufib_table *table, const ufib_table_side *side, bool resume) {
    ufib_show_params *at = check->params();
    pt_node node;
    bool more = resume ? pt_get_next_node(&side->trie, at->at_prefix, static_cast<uint32_t>(at->at_id), &node)
                       : pt_get_first_node(&side->trie, &node);
    while (more) {
        check_prefix(&check->report, static_cast<ufib_pfx *>(node.record));
        at->table_id = table->table_id;
        std::memcpy(at->at_prefix, node.key, ufib_table_family(table).addr_bytes);
        at->at_id = node.bits;
        if (!step(check)) return false;
        more = pt_get_next_node(&side->trie, node.key, node.bits, &node);
    }
    return true;
}

static bool tables_check(check_walk *check, bool rnh) {
    const ufib_show_params at = *check->params();
    const bool all = (at.flags & UFIB_SHOW_ALL_VRFS) != 0;
    const uint32_t vdc_id = check->vdc->desc->vdc_id;
    ravl_iterator iterator;
    for (const ufib_table *table = ufib_table_get_first(vdc_id, &iterator); table != nullptr;
         table = ufib_table_get_next(vdc_id, &iterator)) {
        if (!all && table->table_id != at.asked_table_id) continue;
        if (check->resume && table->table_id < at.table_id) continue;
        const bool resume = check->resume && table->table_id == at.table_id;
        if (resume && at.at_id > ufib_table_family(table).max_len) continue; /* no position of ours */
        if (!side_check(check, table, rnh ? &table->rnh : &table->main, resume)) return false;
    }
    return true;
}

static bool routes_check(check_walk *check, uint32_t) { return tables_check(check, false); }
static bool rnhs_check(check_walk *check, uint32_t) { return tables_check(check, true); }

/* ---- next objects ---- */

static bool globals_check(check_walk *check, uint32_t) {
    for (uint32_t kind = 1; kind <= UFIB_GLOBAL_ADJ_KINDS; kind++)
        check_global_adj(&check->report, check->vdc, kind);
    return step(check);
}

static bool adjs_check(check_walk *check, uint32_t index) {
    ufib_show_params *at = check->params();
    ufib_adj_key key = {};
    if (check->resume) {
        key.if_index = at->at_if_index;
        std::memcpy(key.address, at->at_prefix, sizeof key.address);
    }
    while (ufib_adj *adj = ufib_adj_ifindex_get_next_safe(check->vdc, ufib_families[index], key)) {
        key = adj->key;
        check_adj(&check->report, adj);
        at->at_if_index = key.if_index;
        std::memcpy(at->at_prefix, key.address, sizeof key.address);
        if (!step(check)) return false;
    }
    return true;
}

static bool groups_check(check_walk *check, uint32_t) {
    ufib_show_params *at = check->params();
    const ufib_ecmp *group = check->resume
                                 ? ufib_ecmp_resume(check->vdc, show_hash_at(*at), show_hash_passed(*at))
                                 : ufib_ecmp_get_first(check->vdc);
    for (; group != nullptr; group = ufib_ecmp_get_next(check->vdc, group)) {
        check_group(&check->report, group);
        show_hash_pass(at, group->hash);
        if (!step(check)) return false;
    }
    return true;
}

static bool vobjs_check(check_walk *check, uint32_t) {
    ufib_show_params *at = check->params();
    const ufib_vobj *vobj = check->resume
                                ? ufib_vobj_resume(check->vdc, show_hash_at(*at), show_hash_passed(*at))
                                : ufib_vobj_get_first(check->vdc);
    for (; vobj != nullptr; vobj = ufib_vobj_get_next(vobj)) {
        check_vobj(&check->report, vobj);
        show_hash_pass(at, vobj->hash);
        if (!step(check)) return false;
    }
    return true;
}

/* ---- records ---- */

/* The position as the key of a record, and back. */
static uint32_t record_position(const ufib_show_params &at, bool rnh, uint8_t *key) {
    if (!rnh) {
        std::memcpy(key, &at.at_handle, sizeof at.at_handle);
        return sizeof at.at_handle;
    }
    ufib_rnh_record_key out = {at.table_id, {}, static_cast<uint8_t>(at.at_id), {}};
    std::memcpy(out.address, at.at_prefix, sizeof out.address);
    std::memcpy(key, &out, sizeof out);
    return sizeof out;
}

static void record_position_set(ufib_show_params *at, const uint8_t *key, uint32_t size) {
    if (size == sizeof at->at_handle) std::memcpy(&at->at_handle, key, sizeof at->at_handle);
    ufib_rnh_record_key rnh;
    if (size != sizeof rnh) return;
    std::memcpy(&rnh, key, sizeof rnh);
    at->table_id = rnh.table_id;
    std::memcpy(at->at_prefix, rnh.address, sizeof rnh.address);
    at->at_id = rnh.mask_len;
}

/* The first record behind a key that may be gone. */
static bool record_behind(pss2_service *service, const uint8_t *key, uint32_t size, pss2_datum *out) {
    pss2_datum value;
    if (lcfwd_pss_fetch(service, {key, size}, &value))
        return lcfwd_pss_get_key(service, {key, size}, out) && lcfwd_pss_get_next_key(service, out);
    bool more = lcfwd_pss_get_first_key(service, out);
    while (more && std::memcmp(out->p, key, std::min(size, out->len)) <= 0)
        more = lcfwd_pss_get_next_key(service, out);
    return more;
}

static bool records_check(check_walk *check, uint32_t kind) {
    const auto database = static_cast<lcfwd_pss_kind>(kind);
    pss2_service *service = lcfwd_pss_service(database, check->vdc->desc->vdc_id);
    if (service == nullptr) return true;
    uint8_t key[sizeof(ufib_rnh_record_key)];
    const uint32_t size = record_position(*check->params(), kind == LCFWD_PSS_PREFIX_RNH, key);
    pss2_datum at;
    bool more =
        check->resume ? record_behind(service, key, size, &at) : lcfwd_pss_get_first_key(service, &at);
    while (more) {
        std::memcpy(key, at.p, std::min<size_t>(at.len, sizeof key));
        const uint32_t length = at.len;
        check_record(&check->report, check->vdc, database, {key, length});
        record_position_set(check->params(), key, length);
        if (!step(check)) return false;
        more = lcfwd_pss_get_next_key(service, &at);
    }
    return true;
}

/* A record of a virtual object cannot tell whose it is, but there is one for each instance. */
static bool vobj_records_check(check_walk *check, uint32_t) {
    uint32_t instances = 0, records = 0;
    for (const ufib_vobj *vobj = ufib_vobj_get_first(check->vdc); vobj != nullptr;
         vobj = ufib_vobj_get_next(vobj))
        instances += (vobj->old_handle != 0 ? 1u : 0u) + (vobj->new_handle != 0 ? 1u : 0u);
    pss2_service *service = lcfwd_pss_service(LCFWD_PSS_VOBJ, check->vdc->desc->vdc_id);
    if (service == nullptr || pss2_get_key_count(service, &records) != 0) return true;
    check_object_begin(&check->report, "record", "vobj, all");
    check_same(&check->report, "store", "number of records", instances, records);
    return step(check);
}

/* ---- all ---- */

static constexpr struct {
    bool (*run)(check_walk *check, uint32_t argument);
    uint32_t argument;
    bool of_one_table; /* it is part of the check of one table, too */
} phases[] = {{routes_check, 0, true},
              {rnhs_check, 0, true},
              {globals_check, 0, false},
              {adjs_check, 0, false},
              {adjs_check, 1, false},
              {groups_check, 0, false},
              {vobjs_check, 0, false},
              {records_check, LCFWD_PSS_PREFIX, false},
              {records_check, LCFWD_PSS_PREFIX_RNH, false},
              {records_check, LCFWD_PSS_V4ADJ, false},
              {records_check, LCFWD_PSS_V6ADJ, false},
              {records_check, LCFWD_PSS_V4ECMP, false},
              {records_check, LCFWD_PSS_V6ECMP, false},
              {vobj_records_check, 0, false}};

/* False: the piece is full, or the user wants no more. A list that ends with its piece is begun again at its last
 * object, behind which there is nothing. */
static bool phases_run(check_walk *check) {
    ufib_show_params *at = check->params();
    const bool all = (at->flags & UFIB_SHOW_ALL_VRFS) != 0;
    for (; at->phase < std::size(phases); at->phase++, check->resume = false, at->at_id = 0) {
        if (!all && !phases[at->phase].of_one_table) continue;
        const bool single =
            phases[at->phase].run == globals_check || phases[at->phase].run == vobj_records_check;
        if (single && check->resume) continue;
        if (!phases[at->phase].run(check, phases[at->phase].argument)) return false;
    }
    return true;
}

static void check_all(check_walk *check) {
    cmd_handle *handle = check->report.handle;
    if ((check->params()->flags & UFIB_SHOW_CONTINUING) == 0) check_report_heads(&check->report);
    cmd_prt_list_begin(handle, "disagreements");
    (void)phases_run(check);
    cmd_prt_list_end(handle);
    if (check->walk.full) {
        ufib_show_send_cookie(handle, check->params());
        return;
    }
    check_report_end(&check->report);
    cmd_prt_send(handle);
}

static void check_one(check_report *report, ufib_vdc *vdc) {
    const ufib_show_params &asked = *report->params;
    ufib_table *table = ufib_table_search(vdc, asked.asked_table_id);
    const bool family = table != nullptr && ufib_table_family(table).afi == asked.afi;
    ufib_pfx *pfx =
        family ? ufib_prefix_search(table, asked.prefix, asked.mask_len, (asked.flags & UFIB_SHOW_RNH) != 0)
               : nullptr;
    if (pfx == nullptr) {
        cmd_prt_send_nok(report->handle, 4, "no such route");
        return;
    }
    check_report_heads(report);
    cmd_prt_list_begin(report->handle, "disagreements");
    check_prefix(report, pfx);
    check_next_objects(report, ufib_vdc_get(pfx->table->vdc_id), pfx); /* of a shared table: its owner's */
    cmd_prt_list_end(report->handle);
    check_report_end(report);
    cmd_prt_send(report->handle);
}

/* What the attributes ask for, before they are read: the family of a prefix, and whether they name a table. */
static const ufib_family *asked_family(cmd_handle *handle, bool *table) {
    const ufib_family *family = nullptr;
    cmd_attr attr;
    *table = false;
    while (cmd_req_attr_getnext(handle, &attr) == 0) {
        if (attr.type == CMD_ATTR_TABLE || attr.type == CMD_ATTR_VRF) *table = true;
        if (attr.type == CMD_ATTR_PREFIX) family = attr.length == ufib_v6.addr_bytes ? &ufib_v6 : &ufib_v4;
    }
    cmd_req_attr_rewind(handle);
    return family;
}

void lcfwd_check_consistency(cmd_handle *handle, uint32_t vdc_id) {
    ufib_vdc *vdc = ufib_vdc_get(vdc_id);
    if (vdc == nullptr) return;
    uint32_t cookie_length = 0;
    const bool continuing = cmd_req_cookie_get(handle, &cookie_length) != nullptr;
    bool table;
    const ufib_family *family = asked_family(handle, &table);
    ufib_show_params params;
    if (!ufib_show_get_params(handle, vdc_id, continuing ? nullptr : family, UFIB_SHOW_CHECK, &params))
        return;
    if (!continuing) {
        params.value = 0;
        params.phase = 0;
        params.at_id = 0;
        if (!table) params.flags |= UFIB_SHOW_ALL_VRFS;
    }
    check_walk check = {{handle, &params, "", 0, 0, false, ""}, vdc, {&params, 0, 0, false}, continuing};
    if (family != nullptr && !continuing)
        check_one(&check.report, vdc);
    else
        check_all(&check);
}
