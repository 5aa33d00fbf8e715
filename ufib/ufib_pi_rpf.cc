/* Accessors: reverse-path checks. */
#include "platform/ufib_pi_rpf.h"

#include "platform/ufib_pi.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_idb.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_vdc.h"

static uint32_t if_of_adj(const void *object) {
    const auto *obj = static_cast<const ufib_obj *>(object);
    return obj == nullptr || !ufib_obj_is_adj(obj) ? 0 : static_cast<const ufib_adj *>(object)->key.if_index;
}

static uint32_t if_for_rpf(const void *object) {
    if (object == nullptr) return 0;
    const auto *pfx = static_cast<const ufib_pfx *>(object);
    if ((pfx->route_flags & ROUTE_DIRECT) != 0) return pfx->attached_if_index;
    return if_of_adj(pfx->obj.next);
}

/* The two families walk alike: what differs lies below the next object. */
static uint32_t rpfif_at(const void *object, uint32_t *position, bool first) {
    if (object == nullptr) return 0;
    const void *next = ufib_pi_prefix_get_next_obj(object);
    if (ufib_pi_is_nh_obj_vobj(object))
        return if_of_adj(first ? ufib_pi_v4pfx_get_first_cnh_adj(object, position)
                               : ufib_pi_v4pfx_get_next_cnh_adj(object, position));
    if (next != nullptr && ufib_obj_type_of(static_cast<const ufib_obj *>(next)) == UFIB_OBJ_ECMP)
        return if_of_adj(first ? ufib_pi_ecmp_get_first(next, position)
                               : ufib_pi_ecmp_get_next(next, position));
    *position = first ? 0 : *position + 1;
    return first ? if_for_rpf(object) : 0;
}

static const ufib_family *family_of_afi(uint32_t afi) {
    return afi == ufib_v4.afi ? &ufib_v4 : afi == ufib_v6.afi ? &ufib_v6 : nullptr;
}

extern "C" {

uint32_t ufib_pi_v4pfx_get_if_for_rpf(const void *pfx) { return if_for_rpf(pfx); }
uint32_t ufib_pi_v6pfx_get_if_for_rpf(const void *pfx) { return if_for_rpf(pfx); }
uint32_t ufib_pi_v4pfx_get_first_rpfif(const void *pfx, uint32_t *position) {
    return rpfif_at(pfx, position, true);
}
uint32_t ufib_pi_v4pfx_get_next_rpfif(const void *pfx, uint32_t *position) {
    return rpfif_at(pfx, position, false);
}
uint32_t ufib_pi_v6pfx_get_first_rpfif(const void *pfx, uint32_t *position) {
    return rpfif_at(pfx, position, true);
}
uint32_t ufib_pi_v6pfx_get_next_rpfif(const void *pfx, uint32_t *position) {
    return rpfif_at(pfx, position, false);
}

void ufib_pi_rpf_list_walk_init(ufib_pi_rpf_walk *walk, uint32_t vdc_id, uint32_t afi) {
    *walk = {vdc_id, afi, 0};
}

int ufib_pi_rpf_list_get_next(ufib_pi_rpf_walk *walk, uint32_t *if_index, uint8_t *mode) {
    ufib_vdc *vdc = ufib_vdc_get(walk->vdc_id);
    const ufib_family *family = family_of_afi(walk->afi);
    if (vdc == nullptr || family == nullptr) return 0;
    const ufib_idb *idb = ufib_idb_get_next_safe(vdc, walk->last);
    while (idb != nullptr && idb->rpf_mode[family->index] == 0) idb = ufib_idb_get_next(idb);
    if (idb == nullptr) return 0;
    walk->last = *if_index = idb->if_index;
    *mode = idb->rpf_mode[family->index];
    return 1;
}

uint8_t ufib_pi_rpf_list_find(uint32_t vdc_id, uint32_t afi, uint32_t if_index) {
    ufib_vdc *vdc = ufib_vdc_get(vdc_id);
    const ufib_family *family = family_of_afi(afi);
    const ufib_idb *idb = vdc == nullptr ? nullptr : ufib_idb_search(vdc, if_index);
    return idb == nullptr || family == nullptr ? uint8_t{0} : idb->rpf_mode[family->index];
}
}
