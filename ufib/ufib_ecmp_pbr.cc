/* Policy routing's hold on groups. */
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_idb.h"
#include "ufib/ufib_pss.h"
#include "ufib/ufib_vdc.h"

/* Globals have records of their own kind, without counts. */
static void adj_record_follow(const ufib_vdc *vdc, const ufib_adj *adj) {
    if (vdc == nullptr || adj->idb == vdc->dummy_idb || adj->obj.handle == 0) return;
    ufib_pss_insert_adj(adj);
}

/* An adjacency's count is a byte: it stays at its ends. */
static void paths_count(ufib_ecmp *group, int step) {
    const ufib_vdc *vdc = ufib_vdc_get(group->vdc_id);
    for (uint32_t path = 0; path < group->key->count; path++) {
        if (group->paths[path] == nullptr || !ufib_obj_is_adj(group->paths[path])) continue;
        auto *adj = reinterpret_cast<ufib_adj *>(group->paths[path]);
        const int count = adj->pbr_count + step;
        if (count < 0 || count > UINT8_MAX) continue;
        adj->pbr_count = static_cast<uint8_t>(count);
        adj_record_follow(vdc, adj);
    }
}

void ufib_ecmp_pbr_refcount_up(ufib_ecmp *group) {
    group->pbr_count++;
    paths_count(group, 1);
}

void ufib_ecmp_pbr_refcount_down(ufib_ecmp *group) {
    if (group->pbr_count == 0) return;
    group->pbr_count--;
    paths_count(group, -1);
}

ufib_ecmp *ufib_pbr_ecmp_add(const ufib_family &family, ufib_vdc *vdc, const ufib_ecmp_key &key,
                             uint32_t adj_flags) {
    ufib_obj *obj = ufib_get_create_ecmp(family, vdc, key, adj_flags, nullptr, UFIB_ECMP_HELD_PBR, nullptr);
    if (obj == nullptr) return nullptr;
    auto *group = reinterpret_cast<ufib_ecmp *>(obj);
    if (group->pbr_count == 0) ufib_obj_hold(&group->obj);
    group->holders |= UFIB_ECMP_HELD_PBR;
    ufib_ecmp_pbr_refcount_up(group);
    ufib_pss_insert_ecmp(group);
    return group;
}

int ufib_pbr_ecmp_del(const ufib_family &family, ufib_vdc *vdc, const ufib_ecmp_key &key) {
    ufib_ecmp *group = ufib_ecmp_search(vdc, family, key, nullptr);
    if (group == nullptr || group->pbr_count == 0) return -1;
    ufib_ecmp_pbr_refcount_down(group);
    if (group->pbr_count != 0) {
        ufib_pss_insert_ecmp_tlv(group);
        return 0;
    }
    group->holders &= static_cast<uint8_t>(~UFIB_ECMP_HELD_PBR);
    ufib_obj_drop(&group->obj);
    if (ufib_obj_refs(&group->obj) != 0)
        ufib_pss_insert_ecmp(group);
    else
        ufib_obj_delete(nullptr, &group->obj);
    return 0;
}
