/* Groups and virtual objects whose records no prefix leads to. A batch may commit before the route that asked for a
 * group is stored: the group is made again under its handle, so that the sweep takes it out of store and hardware. */
#include "core/lcfwd_log.h"
#include "core/ufib_err.h"
#include "host/containers/heap.h"
#include "persist/lcfwd_pss.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_ha_private.h"
#include "ufib/ufib_next_hop.h"
#include "ufib/ufib_pss_read.h"
#include "ufib/ufib_pss_vobj.h"
#include "ufib/ufib_vdc.h"
#include "ufib/ufib_vobj.h"

#include <algorithm>
#include <cstdlib>

bool ufib_ha_recover_ecmp(const ufib_family &family, ufib_vdc *vdc, uint32_t handle, uint32_t adj_flags) {
    const uint32_t vdc_id = vdc->desc->vdc_id;
    ufib_ha_route record = {};
    record.vdc_id = vdc->desc->vdc_id;
    record.next_handle = handle;
    record.next_type = UFIB_OBJ_ECMP;
    ufib_ecmp_key key;
    if (!ufib_pss_get_ecmp(family, handle, vdc_id, &key, &record.ecmp_holders)) return false;
    uint32_t hash;
    ufib_ecmp *group = ufib_ecmp_search(vdc, family, key, &hash);
    if (group == nullptr || group->obj.handle == 0) {
        record.path_count = static_cast<uint8_t>(key.count);
        ufib_ha_take_path_handles(family, vdc, &record);
        group = reinterpret_cast<ufib_ecmp *>(
            ufib_get_create_ecmp(family, vdc, key, adj_flags, &record, record.ecmp_holders, nullptr));
    }
    if (group == nullptr || group->obj.handle != handle) return false;
    uint16_t count;
    if (ufib_pss_get_ecmp_count(family, handle, vdc_id, &count)) group->pbr_count = count;
    return true;
}

static bool vobj_has(const ufib_vobj *vobj, uint32_t handle) {
    return vobj->new_handle == handle || vobj->old_handle == handle;
}

static bool vobj_recover(ufib_vdc *vdc, uint32_t handle) {
    /* Too large for a stack that handlers share. */
    static ufib_nh_list hops;
    static ufib_vobj_key key;
    ufib_vobj_record stored;
    if (!ufib_pss_get_vobj(vdc->desc->vdc_id, handle, &stored) || stored.row_count == 0) return false;
    const ufib_family &family = (stored.rows[0].flags & UFIB_VOBJ_RECORD_V4) != 0 ? ufib_v4 : ufib_v6;
    ufib_ha_route record = {};
    record.vdc_id = vdc->desc->vdc_id;
    record.next_handle = handle;
    record.next_type = UFIB_OBJ_VOBJ;
    const route_rec *route = ufib_ha_form_route(family, vdc, &record);
    ufib_vobj_hops rows = {};
    if (route == nullptr || ufib_route_get_nh_info(route, &hops) != 0) return false;
    if (ufib_vobj_route_to_key(family, 0, &hops, &key, &rows) != 0) return false;
    const ufib_vobj *vobj = ufib_get_create_vobj(vdc, &key, &rows, &record);
    return vobj != nullptr && vobj_has(vobj, handle);
}

/* The handles of all instances that stand, ascending; there may be as many records. */
struct instance_set {
    uint32_t *handles; /* owned */
    uint32_t count;
};

static instance_set instances_find(const ufib_vdc *vdc) {
    uint32_t vobjs = 0;
    for (const ufib_vobj *vobj = ufib_vobj_get_first(vdc); vobj != nullptr; vobj = ufib_vobj_get_next(vobj))
        vobjs++;
    instance_set set = {static_cast<uint32_t *>(heap_calloc(2 * vobjs + 1, sizeof(uint32_t))), 0};
    if (set.handles == nullptr) return set;
    for (const ufib_vobj *vobj = ufib_vobj_get_first(vdc); vobj != nullptr; vobj = ufib_vobj_get_next(vobj)) {
        set.handles[set.count++] = vobj->new_handle;
        set.handles[set.count++] = vobj->old_handle;
    }
    std::sort(set.handles, set.handles + set.count);
    return set;
}

static void vobjs_recover(ufib_vdc *vdc) {
    const instance_set standing = instances_find(vdc);
    ufib_ha_walk walk;
    for (bool more = standing.handles != nullptr && ufib_ha_walk_first(&walk, LCFWD_PSS_VOBJ, vdc); more;
         more = ufib_ha_walk_next(&walk)) {
        const uint32_t handle = ufib_ha_walk_handle(walk);
        const bool sound = walk.key_len == sizeof handle;
        if (sound && std::binary_search(standing.handles, standing.handles + standing.count, handle))
            continue;
        ufib_errno = 0;
        lcfwd_pss_make_room();
        if ((!sound || !vobj_recover(vdc, handle)) && !ufib_ha_is_shortage(ufib_errno))
            ufib_ha_walk_delete(walk, vdc);
    }
    std::free(standing.handles);
}

void ufib_ha_recover_non_prefix_assoc_groups(ufib_vdc *vdc) {
    vobjs_recover(vdc);
    ufib_ha_walk walk;
    for (const ufib_family &family : ufib_families) {
        for (bool more = ufib_ha_walk_first(&walk, family.pss_ecmp, vdc); more;
             more = ufib_ha_walk_next(&walk)) {
            const bool sound = walk.key_len == sizeof(uint32_t);
            ufib_errno = 0;
            if (sound && ufib_ha_is_v6adj_key(vdc, ufib_ha_walk_handle(walk))) continue;
            if ((!sound || !ufib_ha_recover_ecmp(family, vdc, ufib_ha_walk_handle(walk), 0)) &&
                !ufib_ha_is_shortage(ufib_errno))
                ufib_ha_walk_delete(walk, vdc);
        }
    }
}

/* A group that could not have one of its paths has none, while hardware forwards by all of them. */
void ufib_ha_complete_groups(ufib_vdc *vdc) {
    for (ufib_ecmp *group = ufib_ecmp_get_first(vdc); group != nullptr;
         group = ufib_ecmp_get_next(vdc, group)) {
        if (group->linked != 0) continue;
        (void)!ufib_ecmp_create(ufib_ecmp_family(group), vdc, group, *group->key, group->hash,
                                {0, nullptr, group->holders, false});
    }
}
