/* ufib/ufib_rnh.h: recursive next hops (RNHs): what their next objects yield as paths, and the walk that tells the
 * virtual objects behind an RNH when its route has changed. One thread. */
#pragma once

#include "host/containers/dbly_linkage.h"
#include "ufib/ufib_object.h"

#include <cstdint>

struct ufib_ha_route;
struct ufib_pfx;
struct ufib_vobj_row;

/* RNHs whose dependents were not all reached, through their pending node. */
extern dl_list ufib_rnh_update_pending_list;

constexpr uint32_t UFIB_RNH_WALK = 5000; /* dependents of one RNH a call */

/* The route of an RNH has changed. 'in_place': cnhs are computed anew, from the first dependent on, whatever an
 * earlier walk had reached; without it a saved position is taken up, else those whose group has a wrong size are tried
 * again. What could not be done leaves the RNH on the pending list, for the timer. With a restart record nothing is
 * walked: pending is what the record says. */
void ufib_process_rnh_update(ufib_pfx *rnh, bool is_v4, bool in_place, const ufib_ha_route *record);

/* Takes a node off an RNH's dependents; a walk that stands on it goes on behind it. */
void ufib_rnh_dependent_remove(ufib_pfx *rnh, dl_node *node);

/* ---- what an RNH resolves to ---- */

constexpr uint32_t UFIB_CANDIDATES_MAX = 4096; /* of one vobj; 64 rows of 64 paths */
constexpr uint32_t UFIB_CANDIDATES_KEPT = 64;

/* One path that a row of a vobj may take. */
struct ufib_candidate {
    ufib_obj *obj; /* an adjacency, or an object of a type that was registered with a list of dependents */
    uint32_t label;
    uint32_t te_if_index;
    uint32_t flags; /* UFIB_CNH_* */
};

/* The best candidates in sort order; equal ones in the order in which they came. */
struct ufib_candidates {
    uint32_t found;
    uint32_t kept;
    ufib_candidate best[UFIB_CANDIDATES_KEPT];
};
void ufib_candidates_add(ufib_candidates *set, const ufib_candidate &candidate);

/* Sort order of paths: label adjacencies, IPv4 adjacencies by address, IPv6 adjacencies by address; types that the
 * order does not know are equal to everything. Below, at or above 0. */
[[nodiscard]] int ufib_adj_compare(const ufib_obj *a, const ufib_obj *b);

/* A type of object that an RNH may point at, or that a path may be. The label side registers its own. */
struct ufib_rnh_next_type {
    /* Adds what a row reaches through such a next object. Null: an RNH never points at one. */
    void (*expand)(ufib_obj *next, const ufib_vobj_row *row, ufib_candidates *out);
    /* The list of cnhs that depend on such a path, and the cursor of a walk over it. Null: no path is of this type. */
    dl_list *(*dependents)(ufib_obj *path, dl_node ***cursor);
};
void ufib_rnh_next_register(uint32_t type, const ufib_rnh_next_type &functions);
[[nodiscard]] const ufib_rnh_next_type *ufib_rnh_next_of(uint32_t type); /* null: not registered */

void ufib_rnh_init(); /* registers groups and adjacencies */
void ufib_rnh_reset();
