/* ufib/ufib_adj.h: adjacencies: one next hop on one interface, with its rewrite. They lie in the trees of their
 * interface record, one tree a family. Several clients can want the same one: routes count as references, other
 * clients as holders with one reference each. An adjacency changes its state (glean, drop, resolved) in place, under
 * one hardware handle, so that whatever points at the handle needs no change. Both families are one structure: the
 * key is 16 bytes, of which IPv4 uses four. One thread. */
#pragma once

#include "host/containers/dbly_linkage.h"
#include "host/containers/ravl.h"
#include "platform/ufib_platform_api.h"
#include "ufib/ufib_family.h"
#include "ufib/ufib_object.h"
#include "ufib/ufib_route_wire.h"

#include <cstdint>

struct ufib_idb;
struct ufib_mpls_info;
struct ufib_vdc;

constexpr uint8_t UFIB_ADJ_PLAIN = 1; /* kinds */
constexpr uint8_t UFIB_ADJ_TUNNEL = 2;

constexpr uint8_t UFIB_ADJ_HELD_AM = 0x01; /* holders */
constexpr uint8_t UFIB_ADJ_HELD_TUNNEL = 0x02;
constexpr uint8_t UFIB_ADJ_HELD_PBR = 0x04;
constexpr uint8_t UFIB_ADJ_HELD_WCCP = 0x08;

constexpr uint32_t UFIB_ADJ_FROM_AM = 0x00001; /* in requests: an adjacency notice speaks */
constexpr uint32_t UFIB_ADJ_PEER_GW = 0x00004;
constexpr uint32_t UFIB_ADJ_MCAST_SRC = 0x00040;
constexpr uint32_t UFIB_ADJ_ATTACHED = 0x00080;
constexpr uint32_t UFIB_ADJ_RECIRCULATE = 0x00100;
constexpr uint32_t UFIB_ADJ_ROUTE_SEEN = 0x00200;  /* marks of consistency checks: a route leads to it */
constexpr uint32_t UFIB_ADJ_CONSISTENCY = 0x00400; /* ... and the adjacency manager named it */
constexpr uint32_t UFIB_ADJ_RESOLVED = 0x00800;
constexpr uint32_t UFIB_ADJ_GLEAN = 0x01000;
constexpr uint32_t UFIB_ADJ_DIRECT = 0x02000; /* request for the global glean */
constexpr uint32_t UFIB_ADJ_PUNT = 0x04000;
constexpr uint32_t UFIB_ADJ_DROP = 0x08000;
constexpr uint32_t UFIB_ADJ_NVE = 0x40000;
constexpr uint32_t UFIB_ADJ_NVE_IF_DOWN = 0x80000; /* request for the global of a down overlay interface */

/* Kinds of the global adjacencies; kind + 3 is the IPv6 twin of the first three. */
constexpr uint32_t UFIB_GLOBAL_V4_DROP = 1;
constexpr uint32_t UFIB_GLOBAL_V4_PUNT = 2;
constexpr uint32_t UFIB_GLOBAL_V4_GLEAN = 3;
constexpr uint32_t UFIB_GLOBAL_V6_DROP = 4;
constexpr uint32_t UFIB_GLOBAL_V6_PUNT = 5;
constexpr uint32_t UFIB_GLOBAL_V6_GLEAN = 6;
constexpr uint32_t UFIB_GLOBAL_RECIRCULATE = 7; /* on first use; no reference of its own */
constexpr uint32_t UFIB_GLOBAL_NVE_IF_DOWN = 8; /* on first use */
constexpr uint32_t UFIB_GLOBAL_V4_MCAST_SRC = 9;
constexpr uint32_t UFIB_GLOBAL_V6_MCAST_SRC = 10;

struct ufib_adj_key {
    uint32_t if_index;   /* host order */
    uint8_t address[16]; /* network order; IPv4 in the first four, the rest zero */
};

/* Packets and bytes as hardware counted them, read by ufib/ufib_stats.h. */
struct ufib_adj_totals {
    uint64_t packets; /* since the adjacency was made */
    uint64_t bytes;
    uint64_t packets_since_clear;
    uint64_t bytes_since_clear;
};

struct ufib_adj {
    ufib_obj obj;
    ravl_node by_address; /* in the interface's tree of the family */
    ufib_adj_key key;
    uint8_t kind;    /* UFIB_ADJ_PLAIN, UFIB_ADJ_TUNNEL */
    uint8_t holders; /* UFIB_ADJ_HELD_* */
    uint8_t pbr_count;
    uint8_t wccp_count;
    uint32_t flags; /* UFIB_ADJ_* */
    ufib_platform_rewrite rewrite;
    ufib_idb *idb; /* owner; the VDC's dummy record for globals; null: in no tree */
    uint8_t *xri;  /* extra route information of the next hop, own memory; or null */
    ravl_tree mpls_children;
    uint32_t mpls_child_count;
    dl_list dep_vobjs; /* next-hop rows of virtual objects that resolve through it */
    dl_node *dep_vobjs_cursor;
    ufib_adj_totals totals;
    dl_node retry;        /* on ufib_retry_adjs: hardware has refused what the model says */
    uint16_t stats_field; /* handed to the platform with statistics reads */
    /* platform tail */
};

[[nodiscard]] inline const ufib_family &ufib_adj_family(const ufib_adj *adj) {
    return ufib_families[ufib_obj_type_of(&adj->obj) == UFIB_OBJ_V6ADJ ? 1 : 0];
}
[[nodiscard]] inline bool ufib_obj_is_adj(const ufib_obj *obj) {
    const uint32_t type = ufib_obj_type_of(obj);
    return type == UFIB_OBJ_V4ADJ || type == UFIB_OBJ_V6ADJ;
}
[[nodiscard]] void *ufib_adj_platform_space(ufib_adj *adj);  /* null when the platform asked for none */
[[nodiscard]] uint32_t ufib_adj_vdc_id(const ufib_adj *adj); /* 0 when it has no interface record */
[[nodiscard]] const char *ufib_adj_str(const ufib_adj *adj); /* "<address> if 0x.." in a static buffer */

void ufib_adj_tree_init(ravl_tree *tree);

/* What a client asks for. */
struct ufib_adj_request {
    const ufib_platform_rewrite *rewrite; /* null: none known */
    uint32_t flags;                       /* UFIB_ADJ_* */
    uint32_t ha_handle;                   /* of the time before a restart; 0: live */
    uint8_t holder;                       /* UFIB_ADJ_HELD_* bits */
    const ufib_mpls_info *mpls_info;      /* labels of the next hop, for the label side; or null */
    bool mpls_only;                       /* the entry is not installed as an IP adjacency */
    bool update_rewrite;                  /* an existing one is rewritten too */
    bool check_required;                  /* the platform may decline a new one */
};

/* The entry for all clients: one of the VDC's globals by the flags, or a real adjacency, found or made. Takes no
 * reference. Null with ufib_errno: E_ADJ_NOMEM, E_IDB_*, E_ADJ_HW_INSTALL; null without an error: declined. With
 * labels and a label side the result is its adjacency. */
[[nodiscard]] ufib_obj *ufib_get_create_adj(ufib_vdc *vdc, const ufib_family &family, const ufib_adj_key &key,
                                            const ufib_adj_request &request);

/* The same for the next hop of a route. 'path' is its index among the route's paths (restart handles go by it). */
[[nodiscard]] ufib_obj *ufib_get_create_adj_from_nh(ufib_vdc *vdc, const ufib_family &family,
                                                    const nh_rec *nh, uint32_t adj_flags,
                                                    const ufib_ha_route *record, uint32_t path);

/* Creates or rewrites. Null: not in hardware, or no memory. A new one that hardware refuses is removed again. */
[[nodiscard]] ufib_adj *ufib_adj_create(ufib_vdc *vdc, const ufib_family &family, ufib_adj *existing,
                                        const ufib_adj_key &key, const ufib_adj_request &request);

/* Installs one that was made for the label side alone; one that stands: nothing. False: refused (E_ADJ_HW_INSTALL). */
bool ufib_adj_create_in_hw(ufib_adj *adj, uint32_t ha_handle);

[[nodiscard]] ufib_adj *ufib_adj_search(ufib_vdc *vdc, const ufib_family &family, const ufib_adj_key &key);

/* Walks: over all interfaces of a VDC; over one interface, also from a key that may be gone. */
[[nodiscard]] ufib_adj *ufib_adj_get_first(ufib_vdc *vdc, const ufib_family &family);
[[nodiscard]] ufib_adj *ufib_adj_get_next(const ufib_adj *adj);
[[nodiscard]] ufib_adj *ufib_adj_if_get_first(const ufib_idb *idb, const ufib_family &family);
[[nodiscard]] ufib_adj *ufib_adj_if_get_next(const ufib_adj *adj);
[[nodiscard]] ufib_adj *ufib_adj_if_get_next_safe(const ufib_idb *idb, const ufib_family &family,
                                                  const uint8_t address[16]);
/* The next one of a VDC behind a key that may be gone; a zeroed key is before all. */
[[nodiscard]] ufib_adj *ufib_adj_ifindex_get_next_safe(ufib_vdc *vdc, const ufib_family &family,
                                                       const ufib_adj_key &key);

/* True when nobody needs it: no reference, no PBR or WCCP count, no holder, no label child (logged). */
[[nodiscard]] bool ufib_adj_destroy_ok(const ufib_adj *adj);
/* 1 when it was destroyed. 'force' asks nobody. */
int ufib_adj_destroy(void *argument, ufib_adj *adj, bool force);
void ufib_adj_db_destroy(ufib_vdc *vdc); /* all of a VDC, the globals last */

/* Writes the entry anew, under its handle, after a change of what it depends on; reinstall, after a change of its state,
 * the record too. When hardware refuses, the entry goes on as before (E_ADJ_HW_INSTALL) and is tried again later. */
void ufib_adj_rewrite(ufib_adj *adj);
void ufib_adj_reinstall(ufib_adj *adj);

/* State by rewrite and request; see the flags. */
void ufib_adj_init_dyn(ufib_adj *adj, const ufib_platform_rewrite *rewrite, uint32_t adj_flags);
[[nodiscard]] bool ufib_is_adj_glean_candidate(const ufib_adj *adj);
[[nodiscard]] uint32_t ufib_route_to_adj_flags(uint32_t route_flags);
/* The kind of global that a request of these flags gets for a next hop on that interface; 0: a real adjacency. */
[[nodiscard]] uint32_t ufib_adj_global_kind(const ufib_family &family, uint32_t if_index, uint32_t adj_flags);

/* Globals. create: null (logged) without memory or hardware. */
void ufib_create_global_adjs(ufib_vdc *vdc);
void ufib_delete_global_adjs(ufib_vdc *vdc);
[[nodiscard]] ufib_adj *ufib_adj_create_global(ufib_vdc *vdc, uint32_t kind, uint32_t ha_handle);
[[nodiscard]] ufib_adj *ufib_adj_get_global(const ufib_vdc *vdc,
                                            uint32_t kind); /* null: not made, bad kind */
void ufib_rewrite_global_adjs(ufib_vdc *vdc);               /* in hardware, after a change of the VDC's MAC */
int ufib_adj_delete_global(ufib_vdc *vdc, uint32_t kind);   /* 1, or 0: there is none, or hardware keeps it */
/* What the library is told with a write of it. */
[[nodiscard]] uint32_t ufib_adj_platform_mode(const ufib_adj *adj);
[[nodiscard]] bool ufib_is_global_adj(uint32_t handle, const ufib_vdc *vdc); /* kinds 1 to 6 */

/* Memory. */
[[nodiscard]] ufib_adj *ufib_adj_alloc(const ufib_family &family);
bool ufib_adj_free(ufib_adj *adj); /* false, logged: there is no slab that it could lie in */
void ufib_adj_reset();
