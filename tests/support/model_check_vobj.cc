/* Recursive next hops and the virtual objects that resolve through them. */
#include "tests/support/model_check_private.h"
#include "ufib/ufib_dirty.h"
#include "ufib/ufib_rnh.h"

#include <cstring>

std::string model_name(const ufib_vobj *vobj) {
    return "vdc " + std::to_string(vobj->vdc_id) + " vobj " + std::to_string(vobj->id);
}

bool model_is_moving(const ufib_vobj *vobj) {
    return vobj->old_handle != 0 || vobj->new_ls_count != vobj->cnh_count;
}

static size_t list_length(const dl_list &list) {
    size_t count = 0;
    for (const dl_node *node = list.head; node != nullptr; node = node->next) count += node->owner == &list;
    return count;
}

/* An RNH that no route confirms lives for those that resolve through it. */
void model_check_rnh(model_walk *walk, const ufib_pfx *pfx) {
    const std::string name = model_name(pfx) + " (RNH)";
    if (pfx->obj.handle != 0) walk->wrong(name + " has a handle");
    if (ufib_obj_is_vobj(pfx->obj.next)) walk->wrong(name + " is recursive itself");
    if (pfx->rnh == nullptr || pfx->rnh->prefix != pfx) {
        walk->wrong(name + " has no part of its own");
        return;
    }
    const dl_list &dependents = pfx->rnh->dependents;
    walk->same(name + " dependents", dependents.count, list_length(dependents));
    for (dl_node *node = dependents.head; node != nullptr; node = node->next)
        if (dl_object<ufib_vobj_row>(node, offsetof(ufib_vobj_row, by_rnh))->rnh != pfx)
            walk->wrong(name + " has a dependent of another");
    const bool marked = (pfx->flags & UFIB_PFX_FLAG_RNH_DELETE_MARKED) != 0;
    if (marked && dependents.count == 0) walk->wrong(name + " lives and nobody wants it");
    if (walk->sound && !marked && pfx->holders == 0) walk->wrong(name + " is confirmed by nobody");
    if (pfx->rnh->cursor != nullptr && pfx->rnh->cursor->owner != &dependents)
        walk->wrong(name + " has a cursor off its list");
    walk->same(name + " pending", pfx->rnh->pending.owner == &ufib_rnh_update_pending_list,
               (pfx->flags & UFIB_PFX_FLAG_PENDING) != 0);
}

static void links_check(model_walk *walk, ufib_vobj *vobj, const std::string &name) {
    walk->same(name + " prefixes", vobj->prefixes.count, list_length(vobj->prefixes));
    for (dl_node *node = vobj->prefixes.head; node != nullptr; node = node->next)
        if (dl_object<ufib_pfx>(node, offsetof(ufib_pfx, by_vobj))->obj.next != &vobj->obj)
            walk->wrong(name + " has a prefix that is not its own");
    for (uint32_t i = 0; i < vobj->row_count; i++) {
        const ufib_vobj_row &row = ufib_vobj_rows(vobj)[i];
        if (row.vobj != vobj || row.rnh == nullptr || row.by_rnh.owner != &row.rnh->rnh->dependents)
            walk->wrong(name + " row off its list");
    }
    for (uint32_t i = 0; i < vobj->cnh_count; i++) {
        const ufib_cnh &cnh = vobj->cnhs[i];
        walk->expected[cnh.obj]++;
        if (cnh.obj->handle == 0) walk->wrong(name + " has a path that is not in hardware");
        if (i != 0 && ufib_adj_compare(vobj->cnhs[i - 1].obj, cnh.obj) > 0)
            walk->wrong(name + " is not sorted");
        if (!ufib_obj_is_adj(cnh.obj)) continue; /* another subsystem keeps the list */
        if (cnh.vobj != vobj || cnh.by_obj.owner != &reinterpret_cast<ufib_adj *>(cnh.obj)->dep_vobjs)
            walk->wrong(name + " cnh off its list");
    }
    if (vobj->cnh_count == 0) walk->wrong(name + " leads nowhere");
    for (uint32_t i = 0; i < vobj->kept_count; i++) walk->expected[vobj->kept[i]]++;
}

static void state_check(model_walk *walk, const ufib_vobj *vobj, const std::string &name) {
    for (const dl_node *cursor : {vobj->backwalk_cursor, vobj->rpf_cursor})
        if (cursor != nullptr && cursor->owner != &vobj->prefixes) walk->wrong(name + " cursor off its list");
    const bool dirty = vobj->by_dirty.owner == &ufib_dirty_vobj_list;
    walk->same(name + " dirty flag", (vobj->flags & UFIB_VOBJ_DIRTY) != 0, dirty);
    walk->same(name + " old instance and no walk, or a walk for none", vobj->old_handle != 0, dirty);
    if (!dirty && (vobj->flags & UFIB_VOBJ_MOVE_FLAGS) != 0)
        walk->wrong(name + " flags of a walk that is over");
    if (vobj->obj.handle != vobj->new_handle || vobj->new_handle == 0) walk->wrong(name + " current handle");
}

void model_check_vobjs(model_walk *walk, ufib_vdc *vdc) {
    for (ufib_vobj *vobj = ufib_vobj_get_first(vdc); vobj != nullptr; vobj = ufib_vobj_get_next(vobj)) {
        const std::string name = model_name(vobj);
        walk->same(name + " vdc", vobj->vdc_id, vdc->desc->vdc_id);
        links_check(walk, vobj, name);
        state_check(walk, vobj, name);
        if (vobj->fec != nullptr) walk->expected[&vobj->obj]++;
        walk->vobjs.push_back(vobj);
    }
}

void model_check_vobj_references(model_walk *walk) {
    for (const ufib_vobj *vobj : walk->vobjs) {
        const uint32_t refs = ufib_obj_refs(&vobj->obj);
        walk->same(model_name(vobj) + " references", refs, walk->expected[&vobj->obj]);
        if (!walk->orphans && refs == 0) walk->wrong(model_name(vobj) + " lives and nobody wants it");
    }
}
