/* Which prefixes the modes of a route show want: by their paths, and by what they do. */
#include "diag/ufib_show_route.h"
#include "diag/ufib_show_route_walk.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_idb.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_vdc.h"
#include "ufib/ufib_vobj.h"

#include <cstring>

/* Globals lie in no interface's tree: their record stands in none. */
bool ufib_show_adj_is_global(const ufib_adj *adj) { return adj->idb == nullptr || adj->idb->if_index == 0; }

static const ufib_adj *path_adj(const ufib_show_path &path) {
    return path.obj != nullptr && ufib_obj_is_adj(path.obj) ? reinterpret_cast<const ufib_adj *>(path.obj)
                                                            : nullptr;
}

/* Whether a path of the prefix meets a condition on its adjacency. */
template <typename condition> static bool any_path(const ufib_pfx *pfx, condition meets) {
    const ufib_obj *next = pfx->obj.next;
    const ufib_show_next_type *type = next == nullptr ? nullptr : ufib_show_next_of(ufib_obj_type_of(next));
    if (type == nullptr) return false;
    const uint32_t count = type->path_count(next);
    for (uint32_t i = 0; i < count; i++) {
        const ufib_adj *adj = path_adj(type->path(next, i));
        if (adj != nullptr && meets(adj)) return true;
    }
    return false;
}

static bool has_address(const ufib_route_show *show, const ufib_adj *adj) {
    return &ufib_adj_family(adj) == &show->family &&
           std::memcmp(adj->key.address, show->walk.params->next_hop, show->family.addr_bytes) == 0;
}

static bool through_interface(const ufib_route_show *show, const ufib_pfx *pfx) {
    const uint32_t if_index = show->walk.params->if_index;
    return any_path(pfx, [&](const ufib_adj *adj) { return adj->key.if_index == if_index; });
}

/* A route through a recursive next hop names that one, and not the adjacencies that it resolves to. */
static bool names_next_hop(const ufib_route_show *show, const ufib_pfx *pfx) {
    if (!ufib_obj_is_vobj(pfx->obj.next)) return false;
    const ufib_vobj *vobj = ufib_obj_to_vobj(pfx->obj.next);
    const uint32_t family_flag = show->family.index == UFIB_STATS_V4 ? UFIB_VOBJ_ROW_V4 : 0;
    for (uint32_t i = 0; i < vobj->row_count; i++) {
        const ufib_vobj_row &row = ufib_vobj_rows(vobj)[i];
        if ((row.flags & UFIB_VOBJ_ROW_V4) == family_flag &&
            std::memcmp(row.address, show->walk.params->next_hop, show->family.addr_bytes) == 0)
            return true;
    }
    return false;
}

static bool through_next_hop(const ufib_route_show *show, const ufib_pfx *pfx) {
    return any_path(pfx, [&](const ufib_adj *adj) { return has_address(show, adj); }) ||
           names_next_hop(show, pfx);
}

static bool on_adjacency(const ufib_route_show *show, const ufib_pfx *pfx) {
    const uint32_t if_index = show->walk.params->if_index;
    return any_path(
        pfx, [&](const ufib_adj *adj) { return adj->key.if_index == if_index && has_address(show, adj); });
}

static bool attached(const ufib_route_show *, const ufib_pfx *pfx) {
    return (pfx->route_flags & (ROUTE_ATTACHED | ROUTE_DIRECT)) != 0;
}

/* Nothing to forward to, or a next hop whose rewrite is not known yet. */
static bool unresolved(const ufib_route_show *, const ufib_pfx *pfx) {
    return pfx->obj.next == nullptr || any_path(pfx, [](const ufib_adj *adj) {
               return !ufib_show_adj_is_global(adj) && adj->kind == UFIB_ADJ_PLAIN &&
                      (adj->flags & UFIB_ADJ_RESOLVED) == 0;
           });
}

/* The globals are those of the VDC that owns the table: another one's, for a shared wildcard table. */
static bool on_global(const ufib_pfx *pfx, uint32_t kind) {
    const ufib_vdc *vdc = ufib_vdc_get(pfx->table->vdc_id);
    const ufib_adj *global = vdc == nullptr ? nullptr : ufib_adj_get_global(vdc, kind);
    return global != nullptr && any_path(pfx, [&](const ufib_adj *adj) { return adj == global; });
}
static bool on_drop(const ufib_route_show *show, const ufib_pfx *pfx) {
    return on_global(pfx, show->family.global_drop);
}
static bool on_glean(const ufib_route_show *show, const ufib_pfx *pfx) {
    return on_global(pfx, show->family.global_glean);
}
static bool on_punt(const ufib_route_show *show, const ufib_pfx *pfx) {
    return on_global(pfx, show->family.global_punt);
}

ufib_route_filter ufib_show_filter_of(uint32_t mode) {
    switch (mode) {
    case UFIB_SHOW_INTF: return through_interface;
    case UFIB_SHOW_NH: return through_next_hop;
    case UFIB_SHOW_ATTACHED: return attached;
    case UFIB_SHOW_UNRESOLVED: return unresolved;
    case UFIB_SHOW_ON_ADJ: return on_adjacency;
    case UFIB_SHOW_ADJ_DROP: return on_drop;
    case UFIB_SHOW_ADJ_GLEAN: return on_glean;
    case UFIB_SHOW_ADJ_PUNT: return on_punt;
    default: return nullptr;
    }
}
