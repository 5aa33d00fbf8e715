/* Accessors: ECMP groups. */
#include "platform/ufib_pi.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_prefix.h"

static const ufib_ecmp *group_of(const void *group) { return static_cast<const ufib_ecmp *>(group); }

/* Places of a restarted group may be empty. */
static void *path_from(const void *group, uint32_t *position) {
    for (; *position < group_of(group)->key->count; ++*position)
        if (group_of(group)->paths[*position] != nullptr) return group_of(group)->paths[*position];
    return nullptr;
}

extern "C" {

uint32_t ufib_pi_ecmp_get_nhcount(const void *group) {
    return group == nullptr ? 0 : group_of(group)->linked;
}

void *ufib_pi_ecmp_get_first(const void *group, uint32_t *position) {
    *position = 0;
    return group == nullptr ? nullptr : path_from(group, position);
}
void *ufib_pi_ecmp_get_next(const void *group, uint32_t *position) {
    if (group == nullptr) return nullptr;
    ++*position;
    return path_from(group, position);
}

void *ufib_pi_ecmp_get_platform_space(void *group) {
    return group == nullptr ? nullptr : group_of(group)->platform_space;
}
bool ufib_pi_ecmp_held_by_pbr(const void *group) {
    return group != nullptr && (group_of(group)->holders & UFIB_ECMP_HELD_PBR) != 0;
}
uint32_t ufib_pi_ecmp_get_acl_refcount(const void *group) {
    return group == nullptr ? 0 : group_of(group)->pbr_count;
}
uint32_t ufib_pi_ecmp_get_vdc_id(const void *group) { return group == nullptr ? 0 : group_of(group)->vdc_id; }

void *ufib_pi_get_next_obj_platform_space(const void *pfx) {
    void *next = ufib_pi_prefix_get_next_obj(pfx);
    if (next == nullptr) return nullptr;
    const uint32_t type = ufib_obj_type_of(static_cast<const ufib_obj *>(next));
    if (type == UFIB_OBJ_ECMP) return ufib_pi_ecmp_get_platform_space(next);
    if (type == UFIB_OBJ_VOBJ) return ufib_pi_get_vobj_pltfm_space(next);
    if (type == UFIB_OBJ_V4ADJ || type == UFIB_OBJ_V6ADJ) return ufib_pi_adj_get_platform_space(next);
    return nullptr;
}
}
