/* What the next object of an RNH yields as paths, by type, and the order in which paths are kept. */
#include "core/lcfwd_log.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_rnh.h"
#include "ufib/ufib_vobj.h"

#include <cstring>

static ufib_rnh_next_type next_types[UFIB_OBJ_TYPES];

void ufib_rnh_next_register(uint32_t type, const ufib_rnh_next_type &functions) {
    if (type < UFIB_OBJ_TYPES) next_types[type] = functions;
}

const ufib_rnh_next_type *ufib_rnh_next_of(uint32_t type) {
    if (type >= UFIB_OBJ_TYPES) return nullptr;
    const ufib_rnh_next_type *row = &next_types[type];
    return row->expand == nullptr && row->dependents == nullptr ? nullptr : row;
}

/* ---- order ---- */

static const ufib_adj *adj_of(const ufib_obj *obj) { return reinterpret_cast<const ufib_adj *>(obj); }

enum path_rank { RANK_NONE, RANK_LABEL, RANK_V4, RANK_V6 }; /* none: not in the order */

static path_rank rank_of(const ufib_obj *obj) {
    switch (ufib_obj_type_of(obj)) {
    case UFIB_OBJ_MPLS_ADJ: return RANK_LABEL;
    case UFIB_OBJ_V4ADJ: return RANK_V4;
    case UFIB_OBJ_V6ADJ: return RANK_V6;
    default: return RANK_NONE;
    }
}

int ufib_adj_compare(const ufib_obj *a, const ufib_obj *b) {
    const path_rank left = rank_of(a), right = rank_of(b);
    if (left == RANK_NONE || right == RANK_NONE) return 0;
    if (left != right) return left < right ? -1 : 1;
    if (left == RANK_LABEL) return 0;
    return std::memcmp(adj_of(a)->key.address, adj_of(b)->key.address, sizeof adj_of(a)->key.address);
}

/* A stable insertion sort that keeps the first ones only: the rest would be cut off anyway. */
void ufib_candidates_add(ufib_candidates *set, const ufib_candidate &candidate) {
    if (set->found >= UFIB_CANDIDATES_MAX) return;
    set->found++;
    uint32_t at = set->kept;
    while (at > 0 && ufib_adj_compare(set->best[at - 1].obj, candidate.obj) > 0) at--;
    if (at == UFIB_CANDIDATES_KEPT) return;
    if (set->kept < UFIB_CANDIDATES_KEPT) set->kept++;
    std::memmove(&set->best[at + 1], &set->best[at], (set->kept - 1 - at) * sizeof candidate);
    set->best[at] = candidate;
}

/* ---- groups and adjacencies ---- */

/* Labels need a label adjacency: a row with a label takes no plain path, unless the number is a segment id. */
static bool path_candidate(const ufib_vobj_row *row, ufib_obj *path, ufib_candidate *out) {
    const bool segment = (row->flags & UFIB_VOBJ_ROW_SEGMENT) != 0;
    if (!segment && row->label != 0) return false;
    *out = {path, row->label, 0, segment ? UFIB_CNH_SEGMENT : 0};
    return true;
}

static void path_add(ufib_obj *path, const ufib_vobj_row *row, ufib_candidates *out) {
    ufib_candidate candidate;
    if (path_candidate(row, path, &candidate)) ufib_candidates_add(out, candidate);
}

static void adj_expand(ufib_obj *next, const ufib_vobj_row *row, ufib_candidates *out) {
    if (ufib_enable_rc_debugs) UFIB_TRACE("nh obj of RNH is 1 adj\n");
    path_add(next, row, out);
}

static void ecmp_expand(ufib_obj *next, const ufib_vobj_row *row, ufib_candidates *out) {
    const auto *group = reinterpret_cast<const ufib_ecmp *>(next);
    for (uint32_t i = 0; i < group->key->count; i++)
        if (group->paths[i] != nullptr) path_add(group->paths[i], row, out);
}

static dl_list *adj_dependents(ufib_obj *path, dl_node ***cursor) {
    auto *adj = reinterpret_cast<ufib_adj *>(path);
    *cursor = &adj->dep_vobjs_cursor;
    return &adj->dep_vobjs;
}

void ufib_rnh_init() {
    ufib_rnh_next_register(UFIB_OBJ_ECMP, {ecmp_expand, nullptr});
    ufib_rnh_next_register(UFIB_OBJ_V4ADJ, {adj_expand, adj_dependents});
    ufib_rnh_next_register(UFIB_OBJ_V6ADJ, {adj_expand, adj_dependents});
}
