#include "tests/ufib/vobj_rig.h"

#include "ufib/ufib_pss_vobj.h"

static size_t list_length(const dl_list &list) {
    size_t count = 0;
    for (const dl_node *node = list.head; node != nullptr; node = node->next) count += node->owner == &list;
    return count;
}

static std::string say(const ufib_vobj *vobj, const std::string &what) {
    return "vobj " + std::to_string(vobj->id) + " " + what + "\n";
}

static std::string cursors_findings(const ufib_vobj *vobj) {
    std::string out;
    for (const dl_node *cursor : {vobj->backwalk_cursor, vobj->rpf_cursor})
        if (cursor != nullptr && cursor->owner != &vobj->prefixes) out += say(vobj, "cursor off its list");
    return out;
}

static std::string links_findings(const ufib_vobj *vobj) {
    std::string out;
    if (list_length(vobj->prefixes) != vobj->prefixes.count) out += say(vobj, "prefix count");
    if (ufib_obj_refs(&vobj->obj) != vobj->prefixes.count + (vobj->fec != nullptr))
        out += say(vobj, "references");
    for (const dl_node *node = vobj->prefixes.head; node != nullptr; node = node->next) {
        const auto *pfx = dl_object<ufib_pfx>(const_cast<dl_node *>(node), offsetof(ufib_pfx, by_vobj));
        if (pfx->obj.next != &vobj->obj) out += say(vobj, "has a prefix that is not its own");
    }
    for (uint32_t i = 0; i < vobj->row_count; i++)
        if (ufib_vobj_rows(vobj)[i].by_rnh.owner != &ufib_vobj_rows(vobj)[i].rnh->rnh->dependents)
            out += say(vobj, "row off its list");
    for (uint32_t i = 0; i < vobj->cnh_count; i++)
        if (vobj->cnhs[i].by_obj.owner != &reinterpret_cast<ufib_adj *>(vobj->cnhs[i].obj)->dep_vobjs)
            out += say(vobj, "cnh off its list");
    return out;
}

static std::string state_findings(const ufib_vobj *vobj) {
    std::string out;
    const bool dirty = vobj->by_dirty.owner == &ufib_dirty_vobj_list;
    if (dirty != ((vobj->flags & UFIB_VOBJ_DIRTY) != 0)) out += say(vobj, "dirty flag");
    if (dirty != (vobj->old_handle != 0)) out += say(vobj, "two instances and no walk, or a walk for one");
    if (!dirty && (vobj->flags & UFIB_VOBJ_MOVE_FLAGS) != 0) out += say(vobj, "flags of a walk that is over");
    if (vobj->obj.handle != vobj->new_handle || vobj->new_handle == 0) out += say(vobj, "current handle");
    return out;
}

std::string vobj_findings() {
    std::string out;
    for (const ufib_vobj *vobj = ufib_vobj_get_first(ufib_vdc_get(1)); vobj != nullptr;
         vobj = ufib_vobj_get_next(vobj)) {
        out += cursors_findings(vobj) + links_findings(vobj) + state_findings(vobj);
        ufib_vobj_record record;
        for (const uint32_t handle : {vobj->old_handle, vobj->new_handle}) {
            if (handle == 0) continue;
            if (!ufib_pss_get_vobj(1, handle, &record) || record.old_handle != vobj->old_handle ||
                record.new_handle != vobj->new_handle || record.row_count != vobj->row_count)
                out += say(vobj, "record");
        }
    }
    return out;
}
