/* Virtual objects as operators see them: why a recursive route forwards where it does. */
#include "diag/show_values.h"
#include "diag/show_walk.h"
#include "diag/ufib_show_object.h"
#include "host/command/command.h"
#include "platform/ufib_platform_calls.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_dirty.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_retry.h"
#include "ufib/ufib_rnh.h"
#include "ufib/ufib_vdc.h"
#include "ufib/ufib_vobj.h"

static constexpr uint32_t PREFIXES_SHOWN = 32; /* of each, in detail */

/* ---- parts of one ---- */

static void instance_print(cmd_handle *handle, const char *name, uint32_t instance, uint32_t size) {
    if (instance == 0) return;
    cmd_prt_row_begin(handle);
    cmd_prt(handle, "   instance %s: handle %#x, %u places\n", cmd_text(name, "instance"),
            cmd_u32(instance, "handle"), cmd_u32(size, "places"));
    cmd_prt_row_end(handle);
}

static void instances_print(cmd_handle *handle, const ufib_vobj *vobj) {
    cmd_prt_list_begin(handle, "instances");
    instance_print(handle, "current", vobj->new_handle, vobj->new_ls_count);
    instance_print(handle, "old", vobj->old_handle, vobj->old_ls_count);
    cmd_prt_list_end(handle);
}

/* What the recursive next hop of a row stands on at present. */
static const char *row_state(const ufib_vobj_row &row) {
    if (row.rnh == nullptr) return "no next hop";
    if ((row.rnh->flags & UFIB_PFX_FLAG_PENDING) != 0) return "pending";
    if (row.rnh->obj.next == nullptr) return "unresolved";
    return ufib_obj_get_name(ufib_obj_type_of(row.rnh->obj.next));
}

static void row_print(cmd_handle *handle, const ufib_vobj_row &row, uint32_t index) {
    const ufib_family &family = (row.flags & UFIB_VOBJ_ROW_V4) != 0 ? ufib_v4 : ufib_v6;
    const char *kind = (row.flags & UFIB_VOBJ_ROW_NVE) != 0   ? "overlay"
                       : (row.flags & UFIB_VOBJ_ROW_RNH) != 0 ? "recursive"
                                                              : "direct";
    const bool active = (row.flags & UFIB_VOBJ_ROW_ACTIVE) != 0;
    cmd_prt_row_begin(handle);
    cmd_prt(handle, "   row %2u: %s table %#x, %s, %s, resolved by %s\n", cmd_u32(index, "row"),
            show_prefix(family, row.address, row.mask_len, "next_hop"), cmd_u32(row.table_id, "table"),
            cmd_text(kind, "kind"), cmd_text(active ? "active" : "backup", "role"),
            cmd_text(row_state(row), "resolved_by"), cmd_u32(row.label, "label"),
            cmd_bool((row.flags & UFIB_VOBJ_ROW_SEGMENT) != 0, "segment"),
            cmd_u32(ufib_obj_get_hardware_handle(row.rnh == nullptr ? nullptr : row.rnh->obj.next),
                    "next_handle"));
    cmd_prt_row_end(handle);
}

static void cnh_print(cmd_handle *handle, const ufib_cnh &cnh, uint32_t index) {
    cmd_prt_row_begin(handle);
    if (ufib_obj_is_adj(cnh.obj)) {
        const auto *adj = reinterpret_cast<const ufib_adj *>(cnh.obj);
        cmd_prt(handle, "   path %2u: %s %s, %s, @%#x label %u\n", cmd_u32(index, "path"),
                show_address(ufib_adj_family(adj), adj->key.address, "next_hop"),
                adj->key.if_index == 0 ? cmd_text("global", "interface")
                                       : show_interface(adj->key.if_index, "interface"),
                cmd_text(show_adj_state(adj), "state"), cmd_u32(adj->obj.handle, "adjacency_handle"),
                cmd_u32(cnh.label, "label"), cmd_u32(adj->key.if_index, "if_index"),
                cmd_u32(cnh.te_if_index, "te_if_index"),
                cmd_bool((cnh.flags & UFIB_CNH_SEGMENT) != 0, "segment"));
    } else {
        cmd_prt(handle, "   path %2u: %s, @%#x label %u\n", cmd_u32(index, "path"),
                cmd_text(ufib_obj_get_name(ufib_obj_type_of(cnh.obj)), "state"),
                cmd_u32(cnh.obj->handle, "adjacency_handle"), cmd_u32(cnh.label, "label"));
    }
    cmd_prt_row_end(handle);
}

static void prefixes_print(cmd_handle *handle, const ufib_vobj *vobj) {
    uint32_t shown = 0;
    cmd_prt_list_begin(handle, "prefixes");
    for (dl_node *node = dbly_linkage_first(&vobj->prefixes); node != nullptr && shown < PREFIXES_SHOWN;
         node = dbly_linkage_next(node), shown++) {
        const auto *pfx = dl_object<ufib_pfx>(node, offsetof(ufib_pfx, by_vobj));
        cmd_prt_row_begin(handle);
        cmd_prt(handle, "   prefix %s table %#x\n",
                show_prefix(ufib_prefix_family(pfx), ufib_pfx_address(pfx), pfx->mask_len, "prefix"),
                cmd_u32(pfx->table->table_id, "table"));
        cmd_prt_row_end(handle);
    }
    cmd_prt_list_end(handle);
    if (shown < vobj->prefixes.count)
        cmd_prt(handle, "   and %u more\n", cmd_u32(vobj->prefixes.count - shown, "prefixes_not_shown"));
}

/* ---- one ---- */

/* The state by the table in ufib_vobj.h. */
static const char *vobj_state(const ufib_vobj *vobj) {
    if (vobj->old_handle == 0) return "steady";
    const bool fits = vobj->new_ls_count == vobj->cnh_count || vobj->old_ls_count == vobj->cnh_count;
    return fits ? "moving" : "moving, blocked";
}

static void vobj_print(cmd_handle *handle, ufib_vobj *vobj, bool detail) {
    cmd_prt_row_begin(handle);
    cmd_prt(handle, "Vobj id: %llu  handle %#x, No of paths: %u, prefixes: %u, references: %u, %s\n",
            cmd_u64(vobj->id, "id"), cmd_u32(vobj->obj.handle, "handle"),
            cmd_u32(vobj->cnh_count, "path_count"), cmd_u32(vobj->prefixes.count, "prefix_count"),
            cmd_u32(ufib_obj_refs(&vobj->obj), "references"), cmd_text(vobj_state(vobj), "state"),
            cmd_bool(vobj->host != 0, "for_hosts"), cmd_u32(vobj->hash, "hash"),
            cmd_bool((vobj->flags & UFIB_VOBJ_DIRTY) != 0, "to_be_moved"),
            cmd_bool((vobj->flags & UFIB_VOBJ_WALKING) != 0, "walking"),
            cmd_bool((vobj->flags & UFIB_VOBJ_REVERSED) != 0, "walking_back"),
            cmd_bool((vobj->flags & UFIB_VOBJ_JOINED) != 0, "joined"),
            cmd_bool(dbly_linkage_is_on(&ufib_vobj_rpf_list, &vobj->by_rpf), "rpf_pending"),
            cmd_bool(dbly_linkage_is_on(&ufib_retry_vobjs, &vobj->retry), "write_refused"),
            cmd_u32(vobj->fec == nullptr ? 0 : vobj->fec->obj.handle, "fec_handle"));
    instances_print(handle, vobj);
    cmd_prt_list_begin(handle, "rows");
    for (uint32_t i = 0; i < vobj->row_count; i++) row_print(handle, ufib_vobj_rows(vobj)[i], i);
    cmd_prt_list_end(handle);
    cmd_prt_list_begin(handle, "paths");
    for (uint32_t i = 0; i < vobj->cnh_count; i++) cnh_print(handle, vobj->cnhs[i], i);
    cmd_prt_list_end(handle);
    if (detail) {
        prefixes_print(handle, vobj);
        (void)ufib_platform_show_vobj(handle, vobj);
    }
    cmd_prt_row_end(handle);
}

/* ---- walk ---- */

/* Work that waits for the timer: of all VDCs. */
static void pending_print(cmd_handle *handle) {
    cmd_prt(
        handle,
        "Virtual objects to be moved: %u, to get reverse-path data: %u, recursive next hops pending: %u\n",
        cmd_u32(ufib_dirty_vobj_list.count, "vobjs_to_be_moved"),
        cmd_u32(ufib_vobj_rpf_list.count, "vobjs_rpf_pending"),
        cmd_u32(ufib_rnh_update_pending_list.count, "recursive_next_hops_pending"));
}

static bool wanted(const ufib_show_params &params, const ufib_vobj *vobj) {
    if ((params.flags & UFIB_SHOW_HAS_VOBJ) != 0 && params.vobj_id != vobj->id) return false;
    return (params.flags & UFIB_SHOW_HAS_HANDLE) == 0 ||
           (params.handle != 0 && (params.handle == vobj->old_handle || params.handle == vobj->new_handle));
}

void ufib_show_vobj_be(cmd_handle *handle, uint32_t vdc_id) {
    const ufib_vdc *vdc = ufib_vdc_get(vdc_id);
    ufib_show_params params;
    if (vdc == nullptr || !ufib_show_get_params(handle, vdc_id, nullptr, UFIB_SHOW_VOBJ, &params)) return;
    show_walk walk = {&params, 0, 0, false};
    const bool one = (params.flags & (UFIB_SHOW_HAS_VOBJ | UFIB_SHOW_HAS_HANDLE)) != 0;
    const bool first = (params.flags & UFIB_SHOW_CONTINUING) == 0;
    ufib_vobj *vobj = first ? ufib_vobj_get_first(vdc)
                            : ufib_vobj_resume(vdc, show_hash_at(params), show_hash_passed(params));
    if (first && !one) pending_print(handle);
    cmd_prt_list_begin(handle, "vobjs");
    for (bool on = true; on && vobj != nullptr; vobj = ufib_vobj_get_next(vobj)) {
        const bool shown = wanted(params, vobj);
        show_hash_pass(&params, vobj->hash);
        if (shown) {
            vobj_print(handle, vobj, params.detail != 0);
            walk.visited += vobj->row_count + vobj->cnh_count;
        }
        on = show_walk_step(&walk, shown);
    }
    show_walk_end(handle, &walk, one ? "virtual object" : nullptr);
}
