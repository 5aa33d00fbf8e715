/* ufib/ufib_vobj.h: virtual objects: the shared next object of recursive routes. A vobj has rows, one for each next hop
 * of its routes; a row names a recursive next hop (RNH), which is a prefix of its own that points at direct paths. The
 * vobj keeps the flat, sorted list of what its rows reach, the cnhs, and has one group of that size in hardware. So a
 * change of a path rewrites one group, and none of the prefixes that use it.
 *
 * A group has a fixed size. When another size is needed a second instance is built beside the first, the prefixes are
 * moved over by a walk from a timer (ufib/ufib_dirty.h), and only then the old one goes. There are never more than two:
 *
 *   state            old   new   walk            leaves by
 *   steady           0     h     -               another size: moving
 *   moving           h     h2    started or not  walk done: steady; the old size fits again: swapped, walk turns round
 *   moving, blocked  h     h2    started         a size that fits neither waits until the walk has ended
 *
 * Dependencies are kept in both directions: a row lies on the list of its RNH, a cnh on the list of its adjacency, a
 * prefix on the list of its vobj. Addresses are network-order bytes. One thread. */
#pragma once

#include "host/containers/dbly_linkage.h"
#include "host/containers/sll.h"
#include "ufib/ufib_family.h"
#include "ufib/ufib_next_hop.h"
#include "ufib/ufib_object.h"

#include <cstddef>
#include <cstdint>

struct ufib_ha_route;
struct ufib_pfx;
struct ufib_vdc;
struct ufib_vobj;

constexpr uint32_t UFIB_VOBJ_ROWS_MAX = 64;
constexpr uint32_t UFIB_VOBJ_CNHS_MAX = 64;

/* ---- key ---- */

struct ufib_vobj_key_row {
    uint8_t address[16]; /* IPv4 in the first four */
    uint32_t label;      /* first label, or the segment id */
    uint32_t table_id;
    uint32_t active; /* 0: a backup path */
    uint32_t is_rnh; /* 0: a plain next hop among recursive ones */
    uint32_t is_v4;
    uint32_t has_segment;
    uint32_t is_nve;
    uint8_t mask_len;
    uint8_t zero[3];
};
static_assert(sizeof(ufib_vobj_key_row) == 48);

/* Zeroed behind the rows in use: the hash reads on. */
struct ufib_vobj_key {
    uint32_t row_count;
    ufib_vobj_key_row rows[UFIB_VOBJ_ROWS_MAX];
    uint32_t host; /* of routes with a full-length mask */
};
static_assert(sizeof(ufib_vobj_key) == 3080 && offsetof(ufib_vobj_key, host) == 3076);

/* The next-hop entries of a route, by row; borrowed. */
struct ufib_vobj_hops {
    const nh_rec *hop[UFIB_VOBJ_ROWS_MAX];
};

/* Key of a route and a pointer to each of its next hops. 0; or -1 with E_ROUTE_NHINFO_INVALID: no or too many hops, a
 * mask longer than the hop's family has. A hop with a mask of 32 is IPv4, with 128 IPv6, else of the route's family. */
[[nodiscard]] int ufib_vobj_route_to_key(const ufib_family &family, uint32_t route_mask_len,
                                         const ufib_nh_list *hops, ufib_vobj_key *key, ufib_vobj_hops *out);

inline int ufib_vobj_v4_route_to_key(uint32_t route_mask_len, const ufib_nh_list *hops, ufib_vobj_key *key,
                                     ufib_vobj_hops *out) {
    return ufib_vobj_route_to_key(ufib_v4, route_mask_len, hops, key, out);
}
inline int ufib_vobj_v6_route_to_key(uint32_t route_mask_len, const ufib_nh_list *hops, ufib_vobj_key *key,
                                     ufib_vobj_hops *out) {
    return ufib_vobj_route_to_key(ufib_v6, route_mask_len, hops, key, out);
}

/* Over row count, rows in use and the four bytes behind them: 8 + 48 n bytes. The host flag is among them at 64 rows
 * only. */
[[nodiscard]] uint32_t ufib_vobj_hash(const ufib_vobj_key *key);

/* ---- object ---- */

constexpr uint32_t UFIB_VOBJ_ROW_ACTIVE = 0x01;
constexpr uint32_t UFIB_VOBJ_ROW_RNH = 0x02;
constexpr uint32_t UFIB_VOBJ_ROW_V4 = 0x04;
constexpr uint32_t UFIB_VOBJ_ROW_SEGMENT = 0x08;
constexpr uint32_t UFIB_VOBJ_ROW_NVE = 0x10;

struct ufib_vobj_row {
    uint8_t address[16];
    ufib_vobj *vobj; /* back to the object around */
    ufib_pfx *rnh;   /* null only while the object is being made */
    dl_node by_rnh;  /* on the RNH's list of dependents */
    uint32_t label;
    uint32_t flags; /* UFIB_VOBJ_ROW_* */
    uint32_t table_id;
    uint8_t mask_len;
};

constexpr uint32_t UFIB_CNH_SEGMENT = 0x01; /* the row has a segment id */

/* A computed next hop: one path of the group, with one reference on its adjacency. */
struct ufib_cnh {
    ufib_obj *obj;
    ufib_vobj *vobj;
    dl_node by_obj; /* on the adjacency's list of dependents */
    uint32_t label;
    uint32_t te_if_index;
    uint32_t flags; /* UFIB_CNH_* */
};

/* The view of a vobj that labels forward to; it exists while a label uses the vobj and holds one reference on it. */
struct ufib_vobj_fec {
    ufib_obj obj; /* its handle is the current one */
    uint32_t old_handle;
    uint32_t new_handle;
    ufib_vobj *vobj;
};

constexpr uint32_t UFIB_VOBJ_FOUND_RIGHT = 0x01; /* marks of consistency checks: by a route, or by several */
constexpr uint32_t UFIB_VOBJ_FOUND_WRONG = 0x02;
constexpr uint32_t UFIB_VOBJ_CONSISTENCY = UFIB_VOBJ_FOUND_RIGHT | UFIB_VOBJ_FOUND_WRONG;
constexpr uint32_t UFIB_VOBJ_DIRTY = 0x04;    /* on the dirty list */
constexpr uint32_t UFIB_VOBJ_REVERSED = 0x08; /* the prefix walk goes towards the head */
constexpr uint32_t UFIB_VOBJ_WALKING = 0x10;  /* it has begun; the cursor alone cannot tell */
/* A prefix or label was pointed at the current instance while another one stood: the current one may not be deleted
 * before a whole walk. */
constexpr uint32_t UFIB_VOBJ_JOINED = 0x20;
constexpr uint32_t UFIB_VOBJ_MOVE_FLAGS =
    UFIB_VOBJ_DIRTY | UFIB_VOBJ_REVERSED | UFIB_VOBJ_WALKING | UFIB_VOBJ_JOINED;

constexpr uint32_t UFIB_VOBJ_XRI_VALID = 0x02; /* extra flags */

struct ufib_vobj {
    ufib_obj obj; /* its handle is always that of the current instance */
    ufib_vobj_fec *fec;
    uint64_t id;      /* counts up from 1 */
    sll_node by_hash; /* in the bucket of its hash */
    dl_node by_dirty; /* on ufib_dirty_vobj_list */
    dl_node by_rpf;   /* on ufib_vobj_rpf_list */
    dl_node retry;    /* on ufib_retry_vobjs: hardware has refused the present paths */
    ufib_obj **kept;  /* paths that its entry may lead to until then, one reference each */
    uint32_t kept_count;
    dl_list prefixes; /* whose next object this is */
    dl_node *backwalk_cursor;
    dl_node *rpf_cursor;
    ufib_cnh *cnhs;
    uint8_t *platform_space; /* null when the platform asked for none */
    uint32_t cnh_count;
    uint32_t hash;
    uint32_t old_handle;  /* the instance that is being left; 0: none */
    uint32_t new_handle;  /* the one in use */
    uint8_t old_ls_count; /* load-share counts: sizes of the two */
    uint8_t new_ls_count;
    uint16_t vdc_id;
    uint32_t row_count;
    uint32_t flags;       /* UFIB_VOBJ_* */
    uint32_t extra_flags; /* UFIB_VOBJ_XRI_VALID */
    uint32_t host;
    uint8_t xri[24]; /* extra route information: address, two words */
    /* rows */
};
static_assert(sizeof(ufib_vobj) % alignof(ufib_vobj_row) == 0);

[[nodiscard]] inline ufib_vobj_row *ufib_vobj_rows(ufib_vobj *vobj) {
    return reinterpret_cast<ufib_vobj_row *>(vobj + 1);
}
[[nodiscard]] inline const ufib_vobj_row *ufib_vobj_rows(const ufib_vobj *vobj) {
    return reinterpret_cast<const ufib_vobj_row *>(vobj + 1);
}
[[nodiscard]] inline ufib_vobj *ufib_obj_to_vobj(ufib_obj *obj) { return reinterpret_cast<ufib_vobj *>(obj); }
[[nodiscard]] inline bool ufib_obj_is_vobj(const ufib_obj *obj) {
    return obj != nullptr && ufib_obj_type_of(obj) == UFIB_OBJ_VOBJ;
}

/* The vobj of a key, found or made; takes no reference. Null with ufib_errno: E_VOBJ_NOMEM, E_VOBJ_SLAB_CREATE,
 * E_VOBJ_SLAB_ALLOC, E_VOBJ_HW_INSTALL, E_ROUTE_NHINFO_INVALID or the table's error for a row that names no table;
 * nothing is left of it then, but tables that it named stay. 'record': restart record, or null. */
[[nodiscard]] ufib_vobj *ufib_get_create_vobj(ufib_vdc *vdc, const ufib_vobj_key *key,
                                              const ufib_vobj_hops *hops, const ufib_ha_route *record);
[[nodiscard]] ufib_vobj *ufib_create_vobj(ufib_vdc *vdc, const ufib_vobj_key *key, const ufib_vobj_hops *hops,
                                          uint32_t hash, const ufib_ha_route *record);
[[nodiscard]] bool ufib_vobj_compare(const ufib_vobj *vobj, const ufib_vobj_key *key); /* true: the same */

/* Death, when no reference is left: out of hardware and store, off all lists, and with it each RNH that nobody else
 * depends on and no route confirms. */
void ufib_vobj_destroy(void *argument, ufib_obj *obj);
/* The same but for hardware and memory. */
void ufib_vobj_delete(ufib_vobj *vobj);
void ufib_vobj_free(ufib_vobj *vobj);

/* What rows and cnhs hold. rnh_has_nve: overlay hops and recursive ones. */
[[nodiscard]] bool ufib_vobj_has_rnh(const ufib_vobj *vobj);
[[nodiscard]] bool ufib_vobj_has_nve(const ufib_vobj *vobj);
[[nodiscard]] bool ufib_vobj_has_mpls_cnhs(const ufib_vobj *vobj);
[[nodiscard]] bool ufib_vobj_rnh_has_nve(const ufib_vobj *vobj);
[[nodiscard]] bool ufib_vobj_key_rnh_has_nve(const ufib_vobj_key *key);

void ufib_vobj_xri_save(ufib_vobj *vobj, const nh_xri *xri);

/* ---- cnhs ---- */

/* Computes the cnhs anew from the rows: at most 64; the global drop adjacency when nothing is left. '*changed' (may be
 * null): the instance in hardware must be rewritten although its size may not fit. Without memory (E_VOBJ_NOMEM,
 * logged), and for a VDC that is gone, the vobj stays as it was. */
void ufib_vobj_compute_cnhs(ufib_vobj *vobj, bool *changed);
/* The same where rows lead to overlay peers; the overlay side resolves those. */
void ufib_vobj_compute_cnhs_rnh_has_nve(ufib_vobj *vobj, bool *changed);

/* Rewrites the groups of all vobjs that resolve through an object, after a change of its rewrite. */
void ufib_adj_update_dep_vobjs(dl_list *dependents, dl_node **cursor, uint32_t mode);

/* ---- prefixes ---- */

/* A prefix joins the vobj that is its next object now, and leaves it; walks in progress are not disturbed. */
void ufib_vobj_link_prefix(ufib_vobj *vobj, ufib_pfx *pfx);
void ufib_vobj_unlink_prefix(ufib_vobj *vobj, ufib_pfx *pfx);
/* A prefix, or a label over the fec object, was written with the current handle. */
inline void ufib_vobj_installed(ufib_vobj *vobj) {
    if (vobj->old_handle != 0) vobj->flags |= UFIB_VOBJ_JOINED;
}

/* ---- instances ---- */

constexpr uint32_t UFIB_VOBJ_OLD = 0; /* instance numbers */
constexpr uint32_t UFIB_VOBJ_NEW = 1;
constexpr uint32_t UFIB_VOBJ_BOTH = 2;

/* A path of an RNH that the vobj depends on has changed. 1: it cannot be handled now, come again; else 0. Without
 * 'in_place' the cnhs are taken as they are. */
int ufib_vobj_process_rnh_update(ufib_vobj *vobj, bool in_place);

/* Takes one instance out of hardware and store; one that is not there: nothing. */
bool ufib_vobj_clear_instance(ufib_vobj *vobj, uint32_t instance);
/* After a restart: every prefix was attached to its current instance, so the old ones may go. */
void ufib_clear_old_instances_all_vobj(ufib_vdc *vdc);

/* ---- labels ---- */

/* The fec object, made when absent; it keeps the vobj alive until the label that links it lets it go. Takes no
 * reference on it. Null without memory (E_VOBJ_NOMEM). */
[[nodiscard]] ufib_vobj_fec *ufib_vobj_fec_paths_add(ufib_vobj *vobj);
void ufib_vobj_fec_destroy(void *argument, ufib_obj *fec);
/* Without a platform call: for restart, by handles of the time before. 0, or -1 without memory. */
[[nodiscard]] int ufib_vobj_fec_attach(ufib_vobj *vobj, uint32_t old_handle, uint32_t new_handle);

/* ---- database of a VDC: by hash, then by comparison ---- */

void ufib_vobj_db_init(ufib_vdc *vdc);
/* '*hash' (may be null) gets the key's hash. Null: none. */
[[nodiscard]] ufib_vobj *ufib_vobj_search(ufib_vdc *vdc, const ufib_vobj_key *key, uint32_t *hash);
/* 0, or -1: no memory for a bucket. */
[[nodiscard]] int ufib_vobj_insert(ufib_vdc *vdc, ufib_vobj *vobj);
void ufib_vobj_remove(ufib_vobj *vobj); /* a missing bucket is logged */
[[nodiscard]] ufib_vobj *ufib_vobj_get_first(const ufib_vdc *vdc);
[[nodiscard]] ufib_vobj *ufib_vobj_get_next(const ufib_vobj *vobj); /* by hash, newest first within one */
/* The walk taken up again behind the first 'passed' vobjs of a hash. */
[[nodiscard]] ufib_vobj *ufib_vobj_resume(const ufib_vdc *vdc, uint32_t hash, uint32_t passed);
void ufib_vobj_db_destroy(ufib_vdc *vdc); /* what labels have left */
void ufib_vobj_db_forget(ufib_vdc *vdc);  /* memory alone, at process teardown */
void ufib_vobj_init_types(); /* registers the object types, the path counts of records, and the timer */
void ufib_vobj_reset();      /* process teardown in tests */
