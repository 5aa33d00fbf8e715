/* ufib/ufib_ecmp.h: ECMP groups: a set of up to 64 direct next hops that every prefix with the same hops, in the same
 * order, shares; one hardware entry each. A group holds one reference on the adjacency of each path; prefixes and
 * other holders have references on the group, which dies with the last. Both families are one structure: keys differ
 * in the width of an address. One thread. */
#pragma once

#include "host/containers/dbly_linkage.h"
#include "host/containers/ravl.h"
#include "host/containers/sll.h"
#include "platform/ufib_ha_route.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_family.h"
#include "ufib/ufib_next_hop.h"
#include "ufib/ufib_object.h"

#include <cstdint>

struct ufib_vdc;

constexpr uint32_t UFIB_ECMP_PATHS_MAX = UFIB_NH_MAX;
constexpr uint8_t UFIB_ECMP_HELD_PBR = 0x02; /* holders */

/* The key, byte by byte: count, then an entry for each path: if_index, then the address (IPv4 in host order, IPv6 in
 * network order). Unused entries are zero. Only the first ufib_ecmp_key_bytes() belong to a family's key. */
struct ufib_ecmp_key {
    uint32_t count;
    uint8_t entries[UFIB_ECMP_PATHS_MAX * 20];
};
static_assert(sizeof(ufib_ecmp_key) == 1284);

[[nodiscard]] constexpr uint32_t ufib_ecmp_entry_bytes(const ufib_family &family) {
    return 4 + family.addr_bytes;
}
[[nodiscard]] constexpr uint32_t ufib_ecmp_key_bytes(const ufib_family &family) {
    return 4 + UFIB_ECMP_PATHS_MAX * ufib_ecmp_entry_bytes(family);
}
static_assert(ufib_ecmp_key_bytes(ufib_v4) == 516 && ufib_ecmp_key_bytes(ufib_v6) == 1284);

struct ufib_ecmp {
    ufib_obj obj;
    sll_node by_hash; /* in the bucket of its hash */
    dl_node retry;    /* on ufib_retry_groups: hardware has refused to let it go */
    uint32_t hash;
    uint16_t vdc_id;
    uint8_t afi;     /* 1 IPv4, 2 IPv6 */
    uint8_t holders; /* UFIB_ECMP_HELD_* */
    uint8_t linked;  /* paths with an adjacency */
    uint32_t pbr_count;
    ravl_tree mpls_children; /* groups of the label side that stand on this one */
    ufib_obj **paths;        /* the adjacency of each path of the key; behind the record */
    ufib_ecmp_key *key;      /* behind the paths; as long as the family's */
    uint8_t *platform_space; /* behind the key; null when the platform asked for none */
};

[[nodiscard]] inline const ufib_family &ufib_ecmp_family(const ufib_ecmp *group) {
    return group->afi == ufib_v4.afi ? ufib_v4 : ufib_v6;
}

/* What the paths carry for the label side. */
struct ufib_ecmp_labels {
    ufib_nh_labels path[UFIB_ECMP_PATHS_MAX];
    uint32_t size_code[UFIB_ECMP_PATHS_MAX];  /* of a stack that implicit null was taken off; else 0 */
    uint32_t adj_key_id[UFIB_ECMP_PATHS_MAX]; /* of a tunnel's adjacency; 0: no tunnel */
};

/* The key of a route's next hops, all of them, in their order; their labels too when 'labels' is not null. Returns
 * whether there are any. */
bool ufib_ecmp_route_to_key(const ufib_family &family, ufib_vdc *vdc, const ufib_nh_list *hops,
                            ufib_ecmp_key *key, ufib_ecmp_labels *labels);
inline bool ufib_v4ecmp_route_to_key(ufib_vdc *vdc, const ufib_nh_list *hops, ufib_ecmp_key *key,
                                     ufib_ecmp_labels *labels) {
    return ufib_ecmp_route_to_key(ufib_v4, vdc, hops, key, labels);
}
inline bool ufib_v6ecmp_route_to_key(ufib_vdc *vdc, const ufib_nh_list *hops, ufib_ecmp_key *key,
                                     ufib_ecmp_labels *labels) {
    return ufib_ecmp_route_to_key(ufib_v6, vdc, hops, key, labels);
}
void ufib_ecmp_ecmp_to_key(const ufib_ecmp *group, ufib_ecmp_key *key);
/* One entry as the key of its adjacency. */
[[nodiscard]] ufib_adj_key ufib_ecmp_key_path(const ufib_family &family, const ufib_ecmp_key &key,
                                              uint32_t path);
/* Over the used entries only. */
[[nodiscard]] uint32_t ufib_ecmp_hash(const ufib_family &family, const ufib_ecmp_key &key);
[[nodiscard]] bool ufib_ecmp_compare(const ufib_ecmp *group, const ufib_family &family,
                                     const ufib_ecmp_key &key);

/* The group of a key, found or made; with labels and a label side, its child there. Takes no reference. 'record' gives
 * the handles of the time before a restart, or is null; 'holder' is UFIB_ECMP_HELD_* bits. Null with ufib_errno:
 * E_ECMP_NOMEM, E_ECMP_SLAB_*, E_ECMP_HW_INSTALL, or the error of an adjacency; nothing is left behind. */
[[nodiscard]] ufib_obj *ufib_get_create_ecmp(const ufib_family &family, ufib_vdc *vdc,
                                             const ufib_ecmp_key &key, uint32_t adj_flags,
                                             const ufib_ha_route *record, uint8_t holder,
                                             const ufib_ecmp_labels *labels);
inline ufib_obj *ufib_get_create_v4_ecmp(ufib_vdc *vdc, const ufib_ecmp_key &key, uint32_t adj_flags,
                                         const ufib_ha_route *record, uint8_t holder,
                                         const ufib_ecmp_labels *labels) {
    return ufib_get_create_ecmp(ufib_v4, vdc, key, adj_flags, record, holder, labels);
}
inline ufib_obj *ufib_get_create_v6_ecmp(ufib_vdc *vdc, const ufib_ecmp_key &key, uint32_t adj_flags,
                                         const ufib_ha_route *record, uint8_t holder,
                                         const ufib_ecmp_labels *labels) {
    return ufib_get_create_ecmp(ufib_v6, vdc, key, adj_flags, record, holder, labels);
}

[[nodiscard]] ufib_ecmp *ufib_ecmp_search(ufib_vdc *vdc, const ufib_family &family, const ufib_ecmp_key &key,
                                          uint32_t *hash);
[[nodiscard]] inline ufib_ecmp *ufib_v4ecmp_search(ufib_vdc *vdc, const ufib_ecmp_key &key, uint32_t *hash) {
    return ufib_ecmp_search(vdc, ufib_v4, key, hash);
}
[[nodiscard]] inline ufib_ecmp *ufib_v6ecmp_search(ufib_vdc *vdc, const ufib_ecmp_key &key, uint32_t *hash) {
    return ufib_ecmp_search(vdc, ufib_v6, key, hash);
}

/* What a request for a group brings beside its key. */
struct ufib_ecmp_request {
    uint32_t adj_flags;
    const ufib_ha_route *record; /* restart record, or null */
    uint8_t holder;              /* UFIB_ECMP_HELD_* */
    bool mpls_only;              /* the label side installs it */
};

/* The steps of it. create: a group made, or an existing one installed; null when it cannot be made, or hardware refuses
 * it: a new one is gone again. fill: key and paths of a new group; 0, or -1 when a path cannot get an adjacency: none is
 * linked then. insert: into the bucket of its hash; 0, or -1 without memory. delete: out of it. */
[[nodiscard]] ufib_ecmp *ufib_ecmp_create(const ufib_family &family, ufib_vdc *vdc, ufib_ecmp *existing,
                                          const ufib_ecmp_key &key, uint32_t hash,
                                          const ufib_ecmp_request &request);
[[nodiscard]] int ufib_ecmp_fill(ufib_vdc *vdc, ufib_ecmp *group, const ufib_ecmp_key &key, uint32_t hash,
                                 uint32_t adj_flags, const ufib_ha_route *record);
[[nodiscard]] int ufib_ecmp_insert(ufib_vdc *vdc, ufib_ecmp *group);
void ufib_ecmp_delete(ufib_ecmp *group);

/* Walk over the groups of a VDC, both families, in no particular order; null at the end. */
[[nodiscard]] ufib_ecmp *ufib_ecmp_get_first(const ufib_vdc *vdc);
[[nodiscard]] ufib_ecmp *ufib_ecmp_get_next(const ufib_vdc *vdc, const ufib_ecmp *group);
/* The walk taken up again behind the first 'passed' groups of a hash. */
[[nodiscard]] ufib_ecmp *ufib_ecmp_resume(const ufib_vdc *vdc, uint32_t hash, uint32_t passed);

/* Puts an adjacency in the place of a path, with one reference; what stood there waits as a deferred delete. */
void ufib_ecmp_link_next_object(ufib_ecmp *group, uint32_t path, ufib_obj *adj);

/* True when nobody needs it: no reference, no PBR count, no child group. */
[[nodiscard]] bool ufib_ecmp_destroy_ok(const ufib_ecmp *group);
/* Releases the paths, then the entry, then the memory; logged and left alone when somebody needs it. */
void ufib_ecmp_destroy(ufib_ecmp *group);

/* One PBR reference more or less on the group and on the adjacency of each path, whose records follow. A count of 0
 * stays 0. */
void ufib_ecmp_pbr_refcount_up(ufib_ecmp *group);
void ufib_ecmp_pbr_refcount_down(ufib_ecmp *group);

/* PBR's own hold on a group: found or made, held (one reference, the first time), counted. Null as ufib_get_create_ecmp.
 * del: 0; -1 when PBR does not hold such a group. */
[[nodiscard]] ufib_ecmp *ufib_pbr_ecmp_add(const ufib_family &family, ufib_vdc *vdc, const ufib_ecmp_key &key,
                                           uint32_t adj_flags);
int ufib_pbr_ecmp_del(const ufib_family &family, ufib_vdc *vdc, const ufib_ecmp_key &key);
[[nodiscard]] inline ufib_ecmp *ufib_pbr_v4_ecmp_add(ufib_vdc *vdc, const ufib_ecmp_key &key,
                                                     uint32_t adj_flags) {
    return ufib_pbr_ecmp_add(ufib_v4, vdc, key, adj_flags);
}
inline int ufib_pbr_v4_ecmp_del(ufib_vdc *vdc, const ufib_ecmp_key &key) {
    return ufib_pbr_ecmp_del(ufib_v4, vdc, key);
}
[[nodiscard]] inline ufib_ecmp *ufib_pbr_v6_ecmp_add(ufib_vdc *vdc, const ufib_ecmp_key &key,
                                                     uint32_t adj_flags) {
    return ufib_pbr_ecmp_add(ufib_v6, vdc, key, adj_flags);
}
inline int ufib_pbr_v6_ecmp_del(ufib_vdc *vdc, const ufib_ecmp_key &key) {
    return ufib_pbr_ecmp_del(ufib_v6, vdc, key);
}

/* The groups of a VDC. destroy: all of them, whoever holds them. forget: memory only. */
void ufib_ecmp_db_init(ufib_vdc *vdc);
void ufib_ecmp_db_destroy(ufib_vdc *vdc);
void ufib_ecmp_db_forget(ufib_vdc *vdc);
void ufib_ecmp_init();  /* registers the object type */
void ufib_ecmp_reset(); /* process teardown in tests */
