/* Computed next hops: the flat, sorted list of the paths that the rows of a virtual object reach at present. */
#include "core/lcfwd_log.h"
#include "host/containers/heap.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_journal.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_rnh.h"
#include "ufib/ufib_vdc.h"
#include "ufib/ufib_vobj.h"
#include "ufib/ufib_vobj_private.h"

#include <cstdlib>

constexpr uint32_t DEP_VOBJS_WALK = 3000; /* between two heartbeats */

/* ---- links between cnhs and their adjacencies ---- */

/* A path of a type that nobody registered would be damaged memory. */
static dl_list *dependents_of(ufib_obj *path, dl_node ***cursor) {
    const ufib_rnh_next_type *type = ufib_rnh_next_of(ufib_obj_type_of(path));
    if (type == nullptr || type->dependents == nullptr) dbly_linkage_fault("path of a vobj", path, nullptr);
    return type->dependents(path, cursor);
}

void ufib_vobj_path_release(ufib_obj *path) {
    ufib_obj_drop(path);
    if (ufib_obj_refs(path) == 0 && !ufib_journal_find_ddel_object(path)) ufib_obj_delete(nullptr, path);
}

static void cnh_unlink(ufib_cnh *cnh) {
    dl_node **cursor;
    dl_list *dependents = dependents_of(cnh->obj, &cursor);
    if (*cursor == &cnh->by_obj) *cursor = dbly_linkage_next(&cnh->by_obj);
    dbly_linkage_remove(dependents, &cnh->by_obj);
    ufib_obj *obj = cnh->obj;
    cnh->obj = nullptr;
    ufib_vobj_path_release(obj);
}

void ufib_vobj_cnhs_release(ufib_vobj *vobj) {
    for (uint32_t i = 0; i < vobj->cnh_count; i++) cnh_unlink(&vobj->cnhs[i]);
    vobj->cnh_count = 0;
}

static void cnh_link(ufib_vobj *vobj, ufib_cnh *cnh, const ufib_candidate &candidate) {
    *cnh = {candidate.obj, vobj, {}, candidate.label, candidate.te_if_index, candidate.flags};
    dl_node **cursor;
    dbly_linkage_insert_head(dependents_of(candidate.obj, &cursor), &cnh->by_obj);
}

/* ---- candidates ---- */

struct resolution {
    ufib_candidates active;
    ufib_candidates backup;
};

/* The RNH that a row may use now: a dead one contributes nothing, but a plain hop's is never confirmed by a route. */
static ufib_pfx *row_resolver(ufib_vdc *vdc, const ufib_vobj_row &row) {
    if (ufib_table_search(vdc, row.table_id) == nullptr) {
        UFIB_ERR("Unable to find table for RNH");
        return nullptr;
    }
    if (row.rnh == nullptr || row.rnh->obj.next == nullptr) return nullptr;
    const bool dead = (row.rnh->flags & UFIB_PFX_FLAG_RNH_DELETE_MARKED) != 0;
    return (row.flags & UFIB_VOBJ_ROW_RNH) != 0 && dead ? nullptr : row.rnh;
}

static void row_resolve(ufib_vdc *vdc, const ufib_vobj_row &row, bool with_nve, resolution *out) {
    ufib_candidates *set = (row.flags & UFIB_VOBJ_ROW_ACTIVE) != 0 ? &out->active : &out->backup;
    if (with_nve && (row.flags & UFIB_VOBJ_ROW_NVE) != 0) {
        if (ufib_hook.nve_row_resolve != nullptr) ufib_hook.nve_row_resolve(vdc, &row, set);
        return;
    }
    const ufib_pfx *rnh = row_resolver(vdc, row);
    if (rnh == nullptr) return;
    const ufib_rnh_next_type *type = ufib_rnh_next_of(ufib_obj_type_of(rnh->obj.next));
    if (type == nullptr || type->expand == nullptr)
        dbly_linkage_fault("resolution of an RNH", rnh, rnh->obj.next);
    type->expand(rnh->obj.next, &row, set);
}

/* Nothing resolves: the vobj drops, in the family of its first row. */
static void drop_candidate(ufib_vdc *vdc, const ufib_vobj *vobj, ufib_candidates *set) {
    const ufib_family &family = (ufib_vobj_rows(vobj)[0].flags & UFIB_VOBJ_ROW_V4) != 0 ? ufib_v4 : ufib_v6;
    ufib_adj *drop = ufib_adj_get_global(vdc, family.global_drop);
    if (drop == nullptr) return; /* a process without an engine has none */
    if (ufib_enable_rc_debugs) UFIB_TRACE("zero cnh: setting adj to %s global drop adj\n", family.name);
    ufib_candidates_add(set, {&drop->obj, 0, 0, 0});
}

/* Backup paths serve only while there is no active one. */
static const ufib_candidates *vobj_resolve(ufib_vdc *vdc, const ufib_vobj *vobj, bool with_nve,
                                           resolution *out) {
    out->active.found = out->active.kept = out->backup.found = out->backup.kept = 0;
    for (uint32_t i = 0; i < vobj->row_count; i++) row_resolve(vdc, ufib_vobj_rows(vobj)[i], with_nve, out);
    if (ufib_enable_rc_debugs)
        UFIB_TRACE("num_cnhs_active:%d, num_cnhs_backup:%d\n", static_cast<int>(out->active.found),
                   static_cast<int>(out->backup.found));
    ufib_candidates *set = out->active.found != 0 ? &out->active : &out->backup;
    if (set->kept > 1 && vobj->host != 0 && !ufib_platform_host_ecmp_supported()) set->kept = 1;
    if (set->kept == 0) drop_candidate(vdc, vobj, set);
    return set;
}

/* ---- taking the new list over ---- */

static bool candidates_have(const ufib_candidates &set, const ufib_obj *obj) {
    for (uint32_t i = 0; i < set.kept; i++)
        if (set.best[i].obj == obj) return true;
    return false;
}

/* A list of another size is built into a new instance anyway; until then the standing one needs a rewrite only if it
 * leads to a path that is no more. An instance that never got the size of the list before may have that of the new one:
 * then no other is built. */
static bool must_rewrite(const ufib_vobj *vobj, const ufib_candidates &set) {
    if (vobj->cnh_count == set.kept || vobj->new_ls_count == set.kept) return true;
    for (uint32_t i = 0; i < vobj->cnh_count; i++)
        if (!candidates_have(set, vobj->cnhs[i].obj)) return true;
    return false;
}

/* The new paths are held before the old ones are let go, so nothing that is on both lists dies in between. */
static void cnhs_replace(ufib_vobj *vobj, const ufib_candidates &set, ufib_cnh *array) {
    for (uint32_t i = 0; i < set.kept; i++) ufib_obj_hold(set.best[i].obj);
    ufib_vobj_cnhs_release(vobj);
    if (array != vobj->cnhs) std::free(vobj->cnhs);
    vobj->cnhs = array;
    vobj->cnh_count = set.kept;
    for (uint32_t i = 0; i < set.kept; i++) cnh_link(vobj, &array[i], set.best[i]);
}

static void compute_cnhs(ufib_vobj *vobj, bool with_nve, bool *changed) {
    if (changed != nullptr) *changed = false;
    ufib_vdc *vdc = ufib_vdc_get(vobj->vdc_id);
    if (vdc == nullptr) {
        UFIB_ERR("unable to get vdb while computing cnhs\n");
        return;
    }
    resolution found; /* the lists are set up by vobj_resolve() */
    const ufib_candidates *set = vobj_resolve(vdc, vobj, with_nve, &found);
    if (set->kept == 0) return;
    ufib_cnh *array = vobj->cnhs;
    if (set->kept != vobj->cnh_count)
        array = static_cast<ufib_cnh *>(heap_calloc(set->kept, sizeof(ufib_cnh)));
    if (array == nullptr) {
        UFIB_ERR("failed to alloc vobj cnhs, no mem");
        ufib_err_raise(UFIB_ERR_ITEM, E_VOBJ_NOMEM);
        return;
    }
    if (changed != nullptr) *changed = must_rewrite(vobj, *set);
    cnhs_replace(vobj, *set, array);
}

void ufib_vobj_compute_cnhs(ufib_vobj *vobj, bool *changed) { compute_cnhs(vobj, false, changed); }
void ufib_vobj_compute_cnhs_rnh_has_nve(ufib_vobj *vobj, bool *changed) { compute_cnhs(vobj, true, changed); }

/* ---- from an adjacency up ---- */

void ufib_adj_update_dep_vobjs(dl_list *dependents, dl_node **cursor, uint32_t mode) {
    ufib_walk_budget budget = {DEP_VOBJS_WALK, DEP_VOBJS_WALK};
    const ufib_vobj *last = nullptr;
    *cursor = dbly_linkage_first(dependents);
    while (*cursor != nullptr) {
        ufib_vobj *vobj = dl_object<ufib_cnh>(*cursor, offsetof(ufib_cnh, by_obj))->vobj;
        *cursor = dbly_linkage_next(*cursor);
        if (vobj != last) (void)ufib_platform_update_vobj(vobj, mode);
        last = vobj;
        ufib_walk_step(&budget);
    }
    (void)ufib_platform_all_writes_ready();
}
