#include "ufib/ufib_ecmp.h"

#include "core/lcfwd_log.h"
#include "host/containers/heap.h"
#include "platform/ufib_platform_calls.h"
#include "ufib/ufib_bintrace.h"
#include "ufib/ufib_dbel.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_journal.h"
#include "ufib/ufib_pss.h"
#include "ufib/ufib_retry.h"
#include "ufib/ufib_vdc.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

static ufib_dbel_kind ecmp_dbels = {.name = "ecmp",
                                    .slab_name = "ufib ecmp allocator",
                                    .err_slab = E_ECMP_SLAB_CREATE,
                                    .err_alloc = E_ECMP_SLAB_ALLOC,
                                    .pool = nullptr};

static ufib_ecmp *group_of(sll_node *node) {
    return node == nullptr ? nullptr
                           : reinterpret_cast<ufib_ecmp *>(reinterpret_cast<uint8_t *>(node) -
                                                           offsetof(ufib_ecmp, by_hash));
}

/* ---- memory: record, paths, key, platform space, in one piece ---- */

static ufib_ecmp *ufib_ecmp_alloc(const ufib_family &family, uint32_t paths) {
    const size_t key_at = sizeof(ufib_ecmp) + paths * sizeof(ufib_obj *);
    const size_t space_at = (key_at + ufib_ecmp_key_bytes(family) + 7) & ~size_t{7};
    const uint32_t space = ufib_platform_ecmp_space_len(static_cast<uint8_t>(paths));
    auto *bytes = static_cast<uint8_t *>(heap_calloc(1, space_at + space));
    if (bytes == nullptr) {
        ufib_err_raise(UFIB_ERR_ITEM, E_ECMP_NOMEM);
        UFIB_ERR("failed to create ecmp, no mem");
        return nullptr;
    }
    auto *group = reinterpret_cast<ufib_ecmp *>(bytes);
    group->obj.type_refs = UFIB_OBJ_ECMP;
    group->afi = static_cast<uint8_t>(family.afi);
    group->paths = reinterpret_cast<ufib_obj **>(bytes + sizeof(ufib_ecmp));
    group->key = reinterpret_cast<ufib_ecmp_key *>(bytes + key_at);
    group->platform_space = space == 0 ? nullptr : bytes + space_at;
    ufib_journal_log(UFIB_JOURNAL_ALLOCATED, &group->obj, nullptr);
    return group;
}

static void ufib_ecmp_free(ufib_ecmp *group) {
    ufib_journal_forget(&group->obj);
    ufib_retry_group_done(group);
    std::free(group);
}

/* ---- paths ---- */

void ufib_ecmp_link_next_object(ufib_ecmp *group, uint32_t path, ufib_obj *adj) {
    if (group->paths[path] != nullptr) {
        ufib_obj_unlink_objects(&group->paths[path], false);
        group->linked--;
    }
    ufib_obj_link_objects(&group->paths[path], adj);
    if (group->paths[path] != nullptr) group->linked++;
}

static void paths_unlink(ufib_ecmp *group) {
    for (uint32_t path = 0; path < group->key->count; path++)
        ufib_obj_unlink_objects(&group->paths[path], true);
    group->linked = 0;
}

/* The adjacency's key of a path; a tunnel stands for the interface and next hop that it leaves by. False: there is no
 * such tunnel any more, and the path is left out. */
static bool path_key(ufib_vdc *vdc, const ufib_ecmp *group, uint32_t path, ufib_adj_key *key) {
    *key = ufib_ecmp_key_path(ufib_ecmp_family(group), *group->key, path);
    if (ufib_hook.te_out == nullptr || ufib_hook.te_out(vdc, key->if_index, key) == 0) return true;
    UFIB_ERR("Tunnel should exist as it is created during prior processsing");
    return false;
}

/* 0, or -1 when a path cannot get an adjacency: then none is linked. */
static int ecmp_init_paths(ufib_vdc *vdc, ufib_ecmp *group, uint32_t adj_flags, const ufib_ha_route *record) {
    for (uint32_t path = 0; path < group->key->count; path++) {
        ufib_adj_key key;
        if (!path_key(vdc, group, path, &key)) continue;
        const ufib_adj_request request = {
            .rewrite = nullptr,
            .flags = adj_flags,
            .ha_handle = ufib_ha_route_adj_handle(record, path),
            .holder = ufib_ha_route_adj_holder_lock(record, path),
            .mpls_info = nullptr,
            .mpls_only = false,
            .update_rewrite = false,
            .check_required = false,
        };
        ufib_obj *adj = ufib_get_create_adj(vdc, ufib_ecmp_family(group), key, request);
        if (adj == nullptr) {
            paths_unlink(group);
            return -1;
        }
        ufib_ecmp_link_next_object(group, path, adj);
    }
    return 0;
}

int ufib_ecmp_fill(ufib_vdc *vdc, ufib_ecmp *group, const ufib_ecmp_key &key, uint32_t hash,
                   uint32_t adj_flags, const ufib_ha_route *record) {
    group->vdc_id = vdc->desc->vdc_id;
    group->hash = hash;
    std::memcpy(group->key, &key, ufib_ecmp_key_bytes(ufib_ecmp_family(group)));
    return ecmp_init_paths(vdc, group, adj_flags, record);
}

/* ---- buckets ---- */

ufib_ecmp *ufib_ecmp_search(ufib_vdc *vdc, const ufib_family &family, const ufib_ecmp_key &key,
                            uint32_t *hash) {
    const uint32_t wanted = ufib_ecmp_hash(family, key);
    if (hash != nullptr) *hash = wanted;
    const ufib_dbel *dbel = ufib_dbel_search(&vdc->ecmps, wanted);
    ufib_ecmp *group = dbel == nullptr ? nullptr : group_of(dbel->objects.head);
    while (group != nullptr && !ufib_ecmp_compare(group, family, key)) group = group_of(group->by_hash.next);
    return group;
}

int ufib_ecmp_insert(ufib_vdc *vdc, ufib_ecmp *group) {
    if (ufib_dbel_link(&ecmp_dbels, &vdc->ecmps, group->hash, &group->by_hash, nullptr) != 0) {
        UFIB_ERR("failed to insert ecmp_dbel @%08x, npaths %d, hash %x", group->obj.handle, group->key->count,
                 group->hash);
        return -1;
    }
    vdc->ecmp_count++;
    ufib_journal_log(UFIB_JOURNAL_INSERTED, &group->obj, nullptr);
    return 0;
}

void ufib_ecmp_delete(ufib_ecmp *group) {
    ufib_vdc *vdc = ufib_vdc_get(group->vdc_id);
    if (vdc == nullptr || ufib_dbel_unlink(&ecmp_dbels, &vdc->ecmps, group->hash, &group->by_hash) != 0)
        return;
    vdc->ecmp_count--;
    ufib_journal_log(UFIB_JOURNAL_REMOVED, &group->obj, nullptr);
}

ufib_ecmp *ufib_ecmp_get_first(const ufib_vdc *vdc) {
    const ufib_dbel *dbel = ufib_dbel_get_first(&vdc->ecmps);
    return dbel == nullptr ? nullptr : group_of(dbel->objects.head);
}

ufib_ecmp *ufib_ecmp_get_next(const ufib_vdc *vdc, const ufib_ecmp *group) {
    if (group->by_hash.next != nullptr) return group_of(group->by_hash.next);
    const ufib_dbel *dbel = ufib_dbel_search(&vdc->ecmps, group->hash);
    if (dbel != nullptr) dbel = ufib_dbel_get_next(dbel);
    return dbel == nullptr ? nullptr : group_of(dbel->objects.head);
}

ufib_ecmp *ufib_ecmp_resume(const ufib_vdc *vdc, uint32_t hash, uint32_t passed) {
    return group_of(ufib_dbel_resume(&vdc->ecmps, hash, passed));
}

/* ---- birth ---- */

static ufib_ecmp *ecmp_make(const ufib_family &family, ufib_vdc *vdc, const ufib_ecmp_key &key, uint32_t hash,
                            const ufib_ecmp_request &request) {
    ufib_ecmp *group = ufib_ecmp_alloc(family, key.count);
    if (group == nullptr) return nullptr;
    const int status = ufib_ecmp_fill(vdc, group, key, hash, request.adj_flags, request.record);
    /* After a restart hardware has the group already: it is kept, and forwards as before. */
    const bool keep = status == 0 || request.record != nullptr;
    if (keep && ufib_ecmp_insert(vdc, group) == 0) return group;
    paths_unlink(group);
    ufib_ecmp_free(group);
    return nullptr;
}

/* A restart brings PBR's hold back without the call that made it. */
static void ecmp_restore_references(ufib_ecmp *group) {
    if ((group->holders & UFIB_ECMP_HELD_PBR) == 0) return;
    if (group->pbr_count == 0) group->pbr_count = 1;
    ufib_obj_hold(&group->obj);
}

ufib_ecmp *ufib_ecmp_create(const ufib_family &family, ufib_vdc *vdc, ufib_ecmp *existing,
                            const ufib_ecmp_key &key, uint32_t hash, const ufib_ecmp_request &request) {
    const bool bare = existing != nullptr && existing->linked == 0 && request.record == nullptr;
    if (bare && ecmp_init_paths(vdc, existing, request.adj_flags, nullptr) != 0) return nullptr;
    ufib_ecmp *group = existing != nullptr ? existing : ecmp_make(family, vdc, key, hash, request);
    if (group == nullptr) return nullptr;
    const uint8_t held_before = group->holders;
    group->holders |= request.holder;
    if (request.record != nullptr) ecmp_restore_references(group);
    if (request.mpls_only) return group;
    if (ufib_platform_insert_ecmp(group, ufib_ha_route_ecmp_handle(request.record), request.holder)) {
        if (request.record == nullptr) ufib_pss_insert_ecmp(group);
        return group;
    }
    const uint32_t error = ufib_err_raise(UFIB_ERR_ITEM, E_ECMP_HW_INSTALL);
    if (request.record == nullptr) {
        group->holders = held_before; /* the holder got nothing: it must not be counted */
        if (existing == nullptr) ufib_ecmp_destroy(group);
    }
    ufib_errno = error;
    return nullptr;
}

static ufib_obj *ecmp_child(ufib_vdc *vdc, ufib_ecmp *group, const ufib_ecmp_labels *labels,
                            const ufib_ha_route *record) {
    ufib_obj *child = ufib_hook.get_create_ecmp_child(vdc, group, labels, record);
    if (child != nullptr) return child;
    if (ufib_errno == 0) ufib_err_raise(UFIB_ERR_ITEM, E_ECMP_NOMEM);
    UFIB_ERR("Failed to create the MPLS ECMP");
    if (ufib_ecmp_destroy_ok(group)) ufib_ecmp_destroy(group);
    return nullptr;
}

ufib_obj *ufib_get_create_ecmp(const ufib_family &family, ufib_vdc *vdc, const ufib_ecmp_key &key,
                               uint32_t adj_flags, const ufib_ha_route *record, uint8_t holder,
                               const ufib_ecmp_labels *labels) {
    if (ufib_hook.get_create_ecmp_child == nullptr) labels = nullptr;
    uint32_t hash;
    ufib_ecmp *group = ufib_ecmp_search(vdc, family, key, &hash);
    if (group == nullptr || group->obj.handle == 0 || ufib_retry_group_waits(group))
        group =
            ufib_ecmp_create(family, vdc, group, key, hash, {adj_flags, record, holder, labels != nullptr});
    if (group == nullptr) return nullptr;
    return labels == nullptr ? &group->obj : ecmp_child(vdc, group, labels, record);
}

/* ---- death ---- */

bool ufib_ecmp_destroy_ok(const ufib_ecmp *group) {
    return ufib_obj_refs(&group->obj) == 0 && group->pbr_count == 0 && ravl_is_empty(&group->mpls_children);
}

/* Hardware keeps the group, so it gets its paths back, and is removed another time. When that fails, too, nothing leads to
 * the entry until somebody wants the group again, who has it written first. False: it goes with its VDC. */
static bool group_stays(ufib_ecmp *group) {
    ufib_vdc *vdc = ufib_vdc_get(group->vdc_id);
    if (vdc == nullptr || ufib_vdc_is_dying(group->vdc_id)) return false;
    const uint32_t error = ufib_errno; /* the route that led here has gone all the same */
    if (ecmp_init_paths(vdc, group, 0, nullptr) == 0) (void)ufib_platform_insert_ecmp(group, 0, 0);
    ufib_errno = error;
    ufib_pss_insert_ecmp(group);
    ufib_retry_group(group);
    return true;
}

/* The paths go first: both writes lie in one bracket, and nothing leads to the group any more. */
void ufib_ecmp_destroy(ufib_ecmp *group) {
    if (!ufib_ecmp_destroy_ok(group)) {
        UFIB_TRACE("DEBUG MPLS TODO Not deleting the V%c ECMP object", group->afi == ufib_v4.afi ? '4' : '6');
        return;
    }
    if (group->obj.handle != 0) (void)UFIB_ECMP_BT_ADD_REC(group, UFIB_BT_DESTROY);
    paths_unlink(group);
    if (group->obj.handle != 0) {
        ufib_pss_delete_ecmp(group);
        if (!ufib_platform_delete_ecmp(group) && group_stays(group)) return;
    }
    ufib_ecmp_delete(group);
    ufib_journal_log(UFIB_JOURNAL_FREED, &group->obj, nullptr);
    ufib_ecmp_free(group);
}

static void destroy_ecmp(void *, ufib_obj *obj) { ufib_ecmp_destroy(reinterpret_cast<ufib_ecmp *>(obj)); }

static uint32_t path_count(const void *obj, uint32_t *handle) {
    const auto *group = static_cast<const ufib_ecmp *>(obj);
    *handle = group->obj.handle;
    return group->linked;
}

/* ---- the groups of a VDC ---- */

void ufib_ecmp_init() {
    ufib_obj_register(UFIB_OBJ_ECMP, destroy_ecmp);
    ufib_path_count_register(UFIB_OBJ_ECMP, path_count);
}

void ufib_ecmp_db_init(ufib_vdc *vdc) { ufib_dbel_tree_init(&vdc->ecmps); }

/* Routes are gone by now; what remains is held by clients whose hold does not outlive the VDC. */
void ufib_ecmp_db_destroy(ufib_vdc *vdc) {
    ufib_walk_budget budget = {UFIB_WALK_OBJECTS, UFIB_WALK_OBJECTS};
    for (ufib_ecmp *group = ufib_ecmp_get_first(vdc); group != nullptr; group = ufib_ecmp_get_first(vdc)) {
        while (group->pbr_count != 0) ufib_ecmp_pbr_refcount_down(group);
        group->obj.type_refs = UFIB_OBJ_ECMP;
        group->mpls_children = {};
        ufib_ecmp_destroy(group);
        ufib_walk_step(&budget);
    }
}

void ufib_ecmp_db_forget(ufib_vdc *vdc) {
    ufib_ecmp *next;
    for (ufib_ecmp *group = ufib_ecmp_get_first(vdc); group != nullptr; group = next) {
        next = ufib_ecmp_get_next(vdc, group);
        std::free(group);
    }
}

void ufib_ecmp_reset() { ecmp_dbels.pool = nullptr; }
