/* ufib/ufib_prefix.h: prefixes: one route of one table, or one recursive next hop (RNH). Routes lie in the table's
 * main trie and in hardware; RNHs in the second trie, and never in hardware. A prefix points at exactly one next
 * object. Several clients can hold a prefix; it dies with the last. One thread. */
#pragma once

#include "host/containers/dbly_linkage.h"
#include "ufib/ufib_family.h"
#include "ufib/ufib_next_hop.h"
#include "ufib/ufib_object.h"
#include "ufib/ufib_table.h"

#include <cstdint>

struct ufib_ipsg;
struct ufib_label_node;
struct ufib_xpi;

/* Holder bits. */
constexpr uint8_t UFIB_HOLDER_UFDM = 0x01;
constexpr uint8_t UFIB_HOLDER_SGRP = 0x02;
constexpr uint8_t UFIB_HOLDER_IPSG = 0x04;
constexpr uint8_t UFIB_HOLDER_ERSPAN = 0x08;
constexpr uint8_t UFIB_HOLDER_FEC = 0x10;
constexpr uint8_t UFIB_HOLDER_LISP = 0x20;
constexpr uint8_t UFIB_HOLDER_MCAST_SRC = 0x40;
constexpr uint8_t UFIB_HOLDERS_ROUTE = 0x0f; /* any of these keeps the route itself */

constexpr uint8_t UFIB_TAG_VALID = 0x01;   /* tag flags */
constexpr uint8_t UFIB_TAG_CC_SEEN = 0x80; /* named by a consistency check, which found nothing wrong */

struct ufib_pfx;

/* What only a recursive next hop needs: a route does not carry it. */
struct ufib_rnh {
    dl_list dependents; /* rows of virtual objects that depend on this prefix */
    dl_node pending;    /* on the list of pending updates */
    dl_node *cursor;    /* where a partial walk over the dependents stopped */
    ufib_pfx *prefix;   /* whose part this is */
    bool blocked;       /* the walk met an object that could not be handled */
};

/* Both families; the address is the end, in network order: IPv6 prefixes are allocated twelve bytes longer. */
struct ufib_pfx {
    ufib_obj obj;
    ufib_table *table;          /* owner; it outlives its prefixes */
    dl_node by_vobj;            /* on the list of the virtual object that is the next object */
    ufib_rnh *rnh;              /* recursive next hops only */
    ufib_ipsg *ipsg;            /* source-guard object */
    ufib_label_node *labels;    /* newest label that is bound to it */
    uint32_t route_flags;       /* ROUTE_* */
    uint32_t attached_if_index; /* of a direct route with one next hop */
    uint32_t last_update;       /* seconds, wall clock */
    uint16_t sgt;               /* security-group tag */
    uint8_t tag_flags;          /* UFIB_TAG_* */
    uint8_t epoch;              /* of the update that last touched it */
    uint8_t mask_len;
    uint8_t nh_count;    /* effective count */
    uint8_t holders;     /* UFIB_HOLDER_* */
    uint8_t flags;       /* UFIB_PFX_FLAG_* */
    uint8_t map_cache;   /* not 0: made by the LISP map cache */
    uint8_t address4[4]; /* read through ufib_pfx_address(); then the platform tail */
};

[[nodiscard]] inline uint8_t *ufib_pfx_address(ufib_pfx *pfx) {
    return reinterpret_cast<uint8_t *>(pfx) + offsetof(ufib_pfx, address4);
}
[[nodiscard]] inline const uint8_t *ufib_pfx_address(const ufib_pfx *pfx) {
    return reinterpret_cast<const uint8_t *>(pfx) + offsetof(ufib_pfx, address4);
}

/* Cards (their software ids) that must be asked for a hardware index even of an entry without a handle. A setting of
 * the platform; 0 is no card. */
constexpr uint32_t UFIB_HW_INDEX_CARDS = 26;
extern int ufib_hw_index_cards[UFIB_HW_INDEX_CARDS];

/* Process-wide count of prefixes. */
extern uint32_t total_prefix_count;

[[nodiscard]] constexpr uint32_t ufib_prefix_tail_offset(uint32_t addr_bytes) {
    return (static_cast<uint32_t>(offsetof(ufib_pfx, address4)) + addr_bytes + 7) & ~uint32_t{7};
}
[[nodiscard]] inline bool ufib_prefix_is_rnh(const ufib_pfx *pfx) {
    return (pfx->flags & UFIB_PFX_FLAG_RNH) != 0;
}
[[nodiscard]] inline const ufib_family &ufib_prefix_family(const ufib_pfx *pfx) {
    return ufib_families[(pfx->flags & UFIB_PFX_FLAG_V4) != 0 ? 0 : 1];
}
[[nodiscard]] inline ufib_table_side *ufib_prefix_side(const ufib_pfx *pfx) {
    return ufib_prefix_is_rnh(pfx) ? &pfx->table->rnh : &pfx->table->main;
}
[[nodiscard]] inline bool ufib_prefix_has_dependents(const ufib_pfx *pfx) {
    return pfx->rnh != nullptr && pfx->rnh->dependents.head != nullptr;
}
[[nodiscard]] void *ufib_prefix_platform_space(ufib_pfx *pfx); /* null when the platform asked for none */
[[nodiscard]] const char *ufib_pfx_str(const ufib_pfx *pfx);   /* static buffer */

/* Exact search in the main or the RNH trie, and longest match among the routes. Null: none. */
[[nodiscard]] ufib_pfx *ufib_prefix_search(ufib_table *table, const uint8_t *address, uint32_t mask_len,
                                           bool rnh);
[[nodiscard]] ufib_pfx *ufib_prefix_search_l(ufib_table *table, const uint8_t *address);

/* Walks over one trie, by address, then shorter mask first; next works from a key that is gone. */
[[nodiscard]] ufib_pfx *ufib_prefix_get_first(const ufib_table_side *side);
[[nodiscard]] ufib_pfx *ufib_prefix_get_next(const ufib_table_side *side, const uint8_t *address,
                                             uint32_t mask_len);

/* A prefix of a route that is being added. */
struct ufib_prefix_update {
    const route_rec *route;
    const ufib_nh_list *hops;
    uint32_t route_flags;
    uint8_t holder; /* UFIB_HOLDER_* bits */
    uint8_t epoch;
    const ufib_xpi *xpi;         /* tag and binding of the client; or null */
    const ufib_ha_route *record; /* restart record; or null */
};

/* Finds and updates, or makes. Null: E_PFX_NOMEM. '*existed' tells which. */
[[nodiscard]] ufib_pfx *ufib_get_create_prefix(ufib_table *table, const ufib_prefix_update &update,
                                               bool *existed);

/* Makes the prefix of an update that is known to be new; it has neither flags, holders nor next object yet. Null:
 * E_PFX_NOMEM. */
[[nodiscard]] ufib_pfx *ufib_prefix_create(ufib_table *table, const ufib_prefix_update &update, bool rnh);

/* How many paths a route effectively has: twice the same hop is one, and so is a host route on a platform that
 * cannot share load for hosts. */
[[nodiscard]] uint8_t ufib_effective_nh_count(const ufib_family &family, const ufib_prefix_update &update);

/* The next object of a route, by its next hops alone: recursive or overlay hops a virtual object, several plain ones
 * a group, one an adjacency. Takes no reference. Null on failure, with ufib_errno. */
[[nodiscard]] ufib_obj *ufib_prefix_get_create_next(ufib_vdc *vdc, ufib_pfx *pfx,
                                                    const ufib_prefix_update &update);

/* Points the prefix at 'obj'; the old one is deleted now or deferred. The same again: nothing happens. */
void ufib_prefix_link_next_obj(ufib_pfx *pfx, ufib_obj *obj, bool delete_now);
void ufib_prefix_unlink_next_obj(ufib_pfx *pfx, bool delete_now);

/* An RNH that a virtual object asked for: provisional until a route update confirms it. 'hop': a plain hop whose
 * adjacency it uses; null: it drops. Null without memory. */
[[nodiscard]] ufib_pfx *ufib_rnh_create(ufib_table *table, const uint8_t *address, uint32_t mask_len,
                                        const nh_rec *hop);

/* Death. destroy: 1, or 0: with E_DEL_PFX_LOCKED while somebody holds it, with E_PFX_HW_INSTALL while hardware refuses
 * to let its entry go. Then it forwards as before, held by nobody, until it is deleted again. */
int ufib_prefix_destroy(ufib_table *table, ufib_pfx *pfx);
/* Out of hardware and store, but kept in the trie at the global drop (or multicast source) adjacency. False: refused,
 * as above. */
bool ufib_prefix_destroy_and_hold_in_sw(ufib_table *table, ufib_pfx *pfx);
/* A prefix that never got a next object. */
void ufib_prefix_delete(ufib_table *table, ufib_pfx *pfx);
/* A prefix whose hardware install failed after the fact. */
void ufib_prefix_rollback(ufib_table *table, ufib_pfx *pfx);

/* Walks over both tries of a table, the routes first. */
void ufib_destroy_table_prefixes(ufib_table *table);
void ufib_destroy_table_prefixes_unlocked(ufib_table *table); /* VDC deletion: holders do not count */
void ufib_prefix_db_destroy(ufib_vdc *vdc);
void ufib_delete_stale_prefixes(ufib_table *table, uint8_t epoch);
void ufib_prefixes_move_vdc(ufib_table *table, ufib_vdc *target);
void ufib_pt_walk(const ufib_table_side *side, void (*visit)(ufib_pfx *pfx, void *argument), void *argument);

/* Memory. */
void ufib_prefix_free(ufib_pfx *pfx);
void ufib_prefix_uncount(ufib_pfx *pfx); /* one less everywhere */
void ufib_prefix_reset();
