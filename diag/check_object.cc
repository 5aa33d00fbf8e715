#include "diag/check_object.h"

#include "host/tlv/tlv.h"
#include "persist/lcfwd_pss.h"
#include "persist/lcfwd_pss_walk.h"
#include "ufib/ufib_consistency.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_pss.h"
#include "ufib/ufib_pss_read.h"
#include "ufib/ufib_pss_vobj.h"
#include "ufib/ufib_record.h"
#include "ufib/ufib_vdc.h"
#include "ufib/ufib_vobj.h"

#include <cstdio>
#include <cstring>
#include <initializer_list>

static constexpr char STORE[] = "store";
static constexpr char ENGINE[] = "engine";

static bool fetch(lcfwd_pss_kind kind, uint32_t vdc_id, const void *key, uint32_t size, pss2_datum *value) {
    pss2_service *service = lcfwd_pss_service(kind, vdc_id);
    return service != nullptr && lcfwd_pss_fetch(service, {key, size}, value);
}

/* ---- routes and recursive next hops ---- */

/* The "prefix" part of a record. False: absent or too short. */
static bool prefix_record_get(const ufib_pfx *pfx, pss2_datum *out) {
    const uint32_t vdc_id = pfx->table->vdc_id;
    uint32_t head = 0;
    bool found;
    if (ufib_prefix_is_rnh(pfx)) {
        uint8_t key[sizeof(ufib_rnh_record_key)];
        ufib_pss_rnh_key(pfx, key);
        head = sizeof(ufib_rnh_record);
        found = fetch(LCFWD_PSS_PREFIX_RNH, vdc_id, key, sizeof key, out);
    } else {
        found = fetch(LCFWD_PSS_PREFIX, vdc_id, &pfx->obj.handle, sizeof pfx->obj.handle, out);
    }
    if (!found || out->len < head + UFIB_PREFIX_RECORD_SIZE) return false;
    *out = {static_cast<const uint8_t *>(out->p) + head, out->len - head};
    return true;
}

static uint32_t whole_flags(const pss2_datum &value) {
    const auto *array = static_cast<const uint8_t *>(value.p) + sizeof(ufib_prefix_record);
    const tlv *element = tlv_aligned_array_find_tlv(
        array, value.len - static_cast<uint32_t>(sizeof(ufib_prefix_record)), UFIB_PREFIX_TLV_FLAGS);
    uint32_t flags = 0;
    if (element != nullptr && tlv_length(element) >= sizeof flags)
        std::memcpy(&flags, tlv_data(element), sizeof flags);
    return flags;
}

/* While a virtual object changes its instance, records may name either, with the size of either. */
static bool next_moves(const ufib_pfx *pfx, uint32_t stored_handle) {
    if (!ufib_obj_is_vobj(pfx->obj.next)) return false;
    const ufib_vobj *vobj = ufib_obj_to_vobj(pfx->obj.next);
    return vobj->old_handle != 0 && (stored_handle == vobj->old_handle || stored_handle == vobj->new_handle);
}

static void prefix_store_check(check_report *report, const ufib_pfx *pfx) {
    pss2_datum value;
    if (!prefix_record_get(pfx, &value)) return check_wrong(report, STORE, "no record", pfx->obj.handle);
    ufib_prefix_record record;
    std::memcpy(&record, value.p, sizeof record);
    check_same(report, STORE, "flags", pfx->route_flags, whole_flags(value));
    check_same(report, STORE, "flags, low byte", pfx->route_flags & 0xff, record.route_flags);
    check_same(report, STORE, "holders", pfx->holders, record.holders);
    check_same(report, STORE, "epoch", pfx->epoch, record.epoch);
    check_same(report, STORE, "next type", pfx->obj.next == nullptr ? 0 : ufib_obj_type_of(pfx->obj.next),
               record.next_type);
    if (next_moves(pfx, record.next_handle)) return;
    uint32_t handle, paths;
    ufib_next_obj_record_info(pfx, &handle, &paths);
    check_same(report, STORE, "next handle", handle, record.next_handle);
    if (!ufib_obj_is_vobj(pfx->obj.next)) check_same(report, STORE, "paths", paths, record.path_count);
}

static void attached_check(check_report *report, const ufib_pfx *pfx) {
    uint32_t if_index;
    if (!ufib_pss_get_dcsrif(pfx->obj.handle, pfx->table->vdc_id, &if_index))
        return check_wrong(report, STORE, "no interface record", pfx->attached_if_index);
    check_same(report, STORE, "attached interface", pfx->attached_if_index, if_index);
}

void check_prefix(check_report *report, ufib_pfx *pfx) {
    const bool rnh = ufib_prefix_is_rnh(pfx);
    check_object_begin(report, rnh ? "rnh" : "route", ufib_pfx_str(pfx), pfx->table->table_id);
    if (rnh) return prefix_store_check(report, pfx);
    if (!ufib_prefix_in_hardware(pfx)) {
        /* Those that only labels, sources or caches hold are meant to be here alone. */
        if ((pfx->holders & UFIB_HOLDERS_ROUTE) != 0) check_wrong(report, ENGINE, "no entry");
        return;
    }
    prefix_store_check(report, pfx);
    if ((pfx->route_flags & ROUTE_DIRECT) != 0) attached_check(report, pfx);
    if (!ufib_hardware_has_prefix(pfx)) check_wrong(report, ENGINE, "entry differs", pfx->obj.handle);
    if (!ufib_hardware_has_next(pfx))
        check_wrong(report, ENGINE, "leads elsewhere", ufib_obj_get_hardware_handle(pfx->obj.next));
}

/* ---- next objects ---- */

void check_adj(check_report *report, ufib_adj *adj) {
    const ufib_family &family = ufib_adj_family(adj);
    const uint32_t vdc_id = ufib_adj_vdc_id(adj);
    check_object_begin(report, "adjacency", ufib_adj_str(adj));
    if (adj->obj.handle == 0) return check_wrong(report, ENGINE, "no entry");
    ufib_pss_adj record;
    if (!ufib_pss_get_adj(family, adj->obj.handle, vdc_id, &record)) {
        check_wrong(report, STORE, "no record", adj->obj.handle);
    } else {
        check_same(report, STORE, "holders", adj->holders, record.holders);
        check_same(report, STORE, "interface", adj->key.if_index, record.if_index);
        if (std::memcmp(record.address, adj->key.address, sizeof record.address) != 0)
            check_wrong(report, STORE, "next hop");
    }
    ufib_pss_counts counts;
    if (!ufib_pss_get_adj_counts(family, adj->obj.handle, vdc_id, &counts))
        check_wrong(report, STORE, "no record of counts", adj->obj.handle);
    else
        check_same(report, STORE, "PBR, WCCP counts", adj->pbr_count * 256u + adj->wccp_count,
                   counts.pbr * 256u + counts.wccp);
    if (!ufib_hardware_has_adj(adj)) check_wrong(report, ENGINE, "entry differs", adj->obj.handle);
}

void check_global_adj(check_report *report, ufib_vdc *vdc, uint32_t kind) {
    ufib_adj *adj = ufib_adj_get_global(vdc, kind);
    if (adj == nullptr) return;
    char name[32];
    std::snprintf(name, sizeof name, "global, kind %u", kind);
    check_object_begin(report, "adjacency", name);
    if (adj->obj.handle == 0) return check_wrong(report, ENGINE, "no entry");
    check_same(report, STORE, "handle", adj->obj.handle, ufib_pss_get_global_adj(kind, vdc->desc->vdc_id));
    if (!ufib_hardware_has_adj(adj)) check_wrong(report, ENGINE, "entry differs", adj->obj.handle);
}

void check_group(check_report *report, const ufib_ecmp *group) {
    const ufib_family &family = ufib_ecmp_family(group);
    char name[64];
    std::snprintf(name, sizeof name, "%s, %u paths, handle %#x", family.name, group->key->count,
                  group->obj.handle);
    check_object_begin(report, "group", name);
    if (group->obj.handle == 0) return check_wrong(report, ENGINE, "no entry");
    static ufib_ecmp_key key; /* too large for a stack that handlers share */
    uint8_t holders;
    uint16_t count;
    if (!ufib_pss_get_ecmp(family, group->obj.handle, group->vdc_id, &key, &holders))
        return check_wrong(report, STORE, "no record", group->obj.handle);
    check_same(report, STORE, "holders", group->holders, holders);
    check_same(report, STORE, "paths", group->key->count, key.count);
    const uint32_t used = group->key->count * ufib_ecmp_entry_bytes(family);
    if (std::memcmp(key.entries, group->key->entries, used) != 0) check_wrong(report, STORE, "next hops");
    if (!ufib_pss_get_ecmp_count(family, group->obj.handle, group->vdc_id, &count))
        check_wrong(report, STORE, "no record of counts", group->obj.handle);
    else
        check_same(report, STORE, "PBR count", group->pbr_count & 0xffff, count);
}

void check_vobj(check_report *report, const ufib_vobj *vobj) {
    static ufib_vobj_record record, wanted; /* too large for a stack that handlers share */
    char name[64];
    std::snprintf(name, sizeof name, "id %llu, handle %#x", static_cast<unsigned long long>(vobj->id),
                  vobj->new_handle);
    check_object_begin(report, "vobj", name);
    if (vobj->new_handle == 0) return check_wrong(report, ENGINE, "no entry");
    ufib_pss_vobj_record_fill(vobj, &wanted);
    for (const uint32_t handle : {vobj->old_handle, vobj->new_handle}) {
        if (handle == 0) continue;
        if (!ufib_pss_get_vobj(vobj->vdc_id, handle, &record)) {
            check_wrong(report, STORE, "no record", handle);
            continue;
        }
        check_same(report, STORE, "old handle", vobj->old_handle, record.old_handle);
        check_same(report, STORE, "new handle", vobj->new_handle, record.new_handle);
        check_same(report, STORE, "sizes", vobj->old_ls_count * 256u + vobj->new_ls_count,
                   record.old_ls_count * 256u + record.new_ls_count);
        check_same(report, STORE, "rows", vobj->row_count, record.row_count);
        if (std::memcmp(record.rows, wanted.rows, vobj->row_count * sizeof record.rows[0]) != 0)
            check_wrong(report, STORE, "next hops");
    }
}

static void check_path(check_report *report, ufib_obj *path) {
    if (path == nullptr || !ufib_obj_is_adj(path)) return;
    auto *adj = reinterpret_cast<ufib_adj *>(path);
    const ufib_vdc *vdc = ufib_vdc_get(ufib_adj_vdc_id(adj));
    if (vdc != nullptr && adj->idb != vdc->dummy_idb) check_adj(report, adj);
}

void check_next_objects(check_report *report, ufib_vdc *vdc, ufib_pfx *pfx) {
    ufib_obj *next = pfx->obj.next;
    if (next == nullptr) return;
    check_path(report, next);
    for (uint32_t kind = 1; kind <= UFIB_GLOBAL_ADJ_KINDS; kind++)
        if (next == reinterpret_cast<ufib_obj *>(ufib_adj_get_global(vdc, kind)))
            check_global_adj(report, vdc, kind);
    if (ufib_obj_type_of(next) == UFIB_OBJ_ECMP) {
        const auto *group = reinterpret_cast<const ufib_ecmp *>(next);
        check_group(report, group);
        for (uint32_t i = 0; i < group->key->count; i++) check_path(report, group->paths[i]);
    }
    if (!ufib_obj_is_vobj(next)) return;
    const ufib_vobj *vobj = ufib_obj_to_vobj(next);
    check_vobj(report, vobj);
    for (uint32_t i = 0; i < vobj->row_count; i++)
        if (ufib_vobj_rows(vobj)[i].rnh != nullptr) check_prefix(report, ufib_vobj_rows(vobj)[i].rnh);
    for (uint32_t i = 0; i < vobj->cnh_count; i++) check_path(report, vobj->cnhs[i].obj);
}
