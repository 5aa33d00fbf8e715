/* The next object of a prefix. */
#include "core/lcfwd_log.h"
#include "core/ufib_funcstats.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_vobj.h"

/* Without an overlay side no route can lead to its peers. */
static ufib_vobj *nve_vobj(ufib_vdc *vdc, const ufib_vobj_key *key, const ufib_vobj_hops *hops,
                           const ufib_ha_route *record) {
    if (ufib_hook.nve_get_create_vobj != nullptr)
        return ufib_hook.nve_get_create_vobj(vdc, key, hops, record);
    ufib_err_raise(UFIB_ERR_ITEM, E_ROUTE_NHINFO_INVALID);
    return nullptr;
}

/* Recursive and overlay hops resolve through other routes; an RNH may not do so itself. */
static ufib_obj *next_vobj(ufib_vdc *vdc, ufib_pfx *pfx, const ufib_prefix_update &update) {
    if (ufib_prefix_is_rnh(pfx)) {
        ufib_err_raise(UFIB_ERR_ITEM, E_ROUTE_NHINFO_INVALID);
        UFIB_ERR("ufib_get_create_vobj failed\n");
        return nullptr;
    }
    /* Too large for a stack that handlers share. */
    static ufib_vobj_key key;
    static ufib_vobj_hops hops;
    if (ufib_vobj_route_to_key(ufib_prefix_family(pfx), pfx->mask_len, update.hops, &key, &hops) != 0)
        return nullptr;
    const bool peers_only = ufib_route_has_nve(update.hops) && !ufib_vobj_key_rnh_has_nve(&key);
    ufib_vobj *vobj = peers_only ? nve_vobj(vdc, &key, &hops, update.record)
                                 : ufib_get_create_vobj(vdc, &key, &hops, update.record);
    if (vobj == nullptr)
        UFIB_ERR("%s failed\n", peers_only ? "ufib_nve_get_create_vobj" : "ufib_get_create_vobj");
    return vobj == nullptr ? nullptr : &vobj->obj;
}

static ufib_obj *next_ecmp(ufib_vdc *vdc, ufib_pfx *pfx, const ufib_prefix_update &update,
                           uint32_t adj_flags) {
    /* Too large for a stack that handlers share. */
    static ufib_ecmp_key key;
    static ufib_ecmp_labels labels;
    const ufib_family &family = ufib_prefix_family(pfx);
    uint64_t stamp;
    ufib_funcstats_start(&stamp);
    const bool labelled = ufib_ecmp_route_to_key(family, vdc, update.hops, &key, &labels);
    ufib_funcstats_end(UFIB_FS_ECMP_KEY, &stamp);
    ufib_funcstats_start(&stamp);
    ufib_obj *group =
        ufib_get_create_ecmp(family, vdc, key, adj_flags, update.record,
                             ufib_ha_route_ecmp_holder_lock(update.record), labelled ? &labels : nullptr);
    ufib_funcstats_end(UFIB_FS_ECMP_GET_CREATE, &stamp);
    return group;
}

ufib_obj *ufib_prefix_get_create_next(ufib_vdc *vdc, ufib_pfx *pfx, const ufib_prefix_update &update) {
    const nh_rec *hop = ufib_nh_first(update.hops);
    if (hop == nullptr) return nullptr;
    uint64_t stamp;
    ufib_funcstats_start(&stamp);
    const uint32_t adj_flags = ufib_route_to_adj_flags(update.route_flags);
    ufib_obj *next;
    if (ufib_route_has_nve(update.hops) || ufib_route_has_rnh(update.hops))
        next = next_vobj(vdc, pfx, update);
    else if (pfx->nh_count > 1)
        next = next_ecmp(vdc, pfx, update, adj_flags);
    else
        next = ufib_get_create_adj_from_nh(vdc, ufib_prefix_family(pfx), hop, adj_flags, update.record, 0);
    ufib_funcstats_end(UFIB_FS_NEXT_OBJECT, &stamp);
    return next;
}

void ufib_prefix_unlink_next_obj(ufib_pfx *pfx, bool delete_now) {
    if (ufib_obj_is_vobj(pfx->obj.next)) ufib_vobj_unlink_prefix(ufib_obj_to_vobj(pfx->obj.next), pfx);
    ufib_obj_unlink_objects(&pfx->obj.next, delete_now);
}

void ufib_prefix_link_next_obj(ufib_pfx *pfx, ufib_obj *obj, bool delete_now) {
    if (pfx->obj.next == obj) return;
    ufib_prefix_unlink_next_obj(pfx, delete_now);
    ufib_obj_link_objects(&pfx->obj.next, obj);
    if (ufib_obj_is_vobj(obj)) ufib_vobj_link_prefix(ufib_obj_to_vobj(obj), pfx);
}
