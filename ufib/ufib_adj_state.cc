/* The state of an adjacency: resolved, glean, drop, punt; and which adjacency a request gets. */
#include "core/lcfwd_log.h"
#include "core/ufib_funcstats.h"
#include "host/interfaces/interfaces.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_next_hop.h"
#include "ufib/ufib_nh_key.h"
#include "ufib/ufib_vdc.h"

#include <cstring>

/* Route flag to adjacency flag. */
static constexpr struct {
    uint32_t route;
    uint32_t adj;
} flag_map[] = {
    {ROUTE_ATTACHED, UFIB_ADJ_ATTACHED},
    {ROUTE_DIRECT, UFIB_ADJ_DIRECT},
    {ROUTE_DROP, UFIB_ADJ_DROP},
    {ROUTE_LOCAL, UFIB_ADJ_PUNT},
    {ROUTE_NEVER_STALE, UFIB_ADJ_RECIRCULATE},
    {ROUTE_MCAST_SRC, UFIB_ADJ_MCAST_SRC},
};

uint32_t ufib_route_to_adj_flags(uint32_t route_flags) {
    uint32_t flags = 0;
    for (const auto &row : flag_map)
        if ((route_flags & row.route) != 0) flags |= row.adj;
    return flags;
}

static bool ufib_is_rew_resolved(const ufib_adj *adj) {
    static constexpr uint8_t zero[6] = {};
    return adj->kind == UFIB_ADJ_PLAIN && std::memcmp(adj->rewrite.bytes + UFIB_REWRITE_DMAC, zero, 6) != 0;
}

bool ufib_is_adj_glean_candidate(const ufib_adj *adj) {
    return adj->kind != UFIB_ADJ_TUNNEL && (adj->flags & (UFIB_ADJ_DROP | UFIB_ADJ_PUNT)) == 0 &&
           if_index_get_type(adj->key.if_index) != IF_TYPE_NULL;
}

static void init_dyn_nve(ufib_adj *adj) {
    adj->flags |= UFIB_ADJ_NVE;
    if ((adj->flags & UFIB_ADJ_RESOLVED) != 0) {
        adj->flags &= ~UFIB_ADJ_DROP;
        UFIB_TRACE("%s() NVE adj resolved clear DROP.\n", __func__);
    } else {
        adj->flags |= UFIB_ADJ_DROP;
        UFIB_TRACE("%s() NVE adj unresolved set to DROP.\n", __func__);
    }
}

/* Attached and unresolved means dropping: the copied flags come first, or they would clear the drop again. */
static void init_dyn_plain(ufib_adj *adj, uint32_t adj_flags) {
    constexpr uint32_t copied = UFIB_ADJ_DROP | UFIB_ADJ_PUNT | UFIB_ADJ_RECIRCULATE | UFIB_ADJ_MCAST_SRC;
    adj->flags &= ~(copied | UFIB_ADJ_ATTACHED);
    adj->flags |= adj_flags & copied;
    const bool resolved = (adj->flags & UFIB_ADJ_RESOLVED) != 0;
    if ((adj_flags & UFIB_ADJ_ATTACHED) != 0 && !resolved) adj->flags |= UFIB_ADJ_ATTACHED | UFIB_ADJ_DROP;
    if (!ufib_is_adj_glean_candidate(adj)) return;
    if (resolved)
        adj->flags &= ~UFIB_ADJ_GLEAN;
    else
        adj->flags |= UFIB_ADJ_GLEAN;
}

void ufib_adj_init_dyn(ufib_adj *adj, const ufib_platform_rewrite *rewrite, uint32_t adj_flags) {
    if (rewrite != nullptr) {
        adj->rewrite = *rewrite;
        if (ufib_is_rew_resolved(adj))
            adj->flags |= UFIB_ADJ_RESOLVED;
        else
            adj->flags &= ~UFIB_ADJ_RESOLVED;
    }
    adj->flags &= ~UFIB_ADJ_NVE;
    if ((adj_flags & (UFIB_ADJ_NVE | UFIB_ADJ_NVE_IF_DOWN)) != 0)
        init_dyn_nve(adj);
    else
        init_dyn_plain(adj, adj_flags);
    if ((adj_flags & UFIB_ADJ_FROM_AM) == 0) return;
    const bool peer_gateway = (adj_flags & UFIB_ADJ_PEER_GW) != 0;
    if (peer_gateway)
        adj->flags |= UFIB_ADJ_PEER_GW;
    else
        adj->flags &= ~UFIB_ADJ_PEER_GW;
    if (ufib_enable_rc_debugs) UFIB_TRACE("%s() Setting peer-gw flag %d.\n", __func__, peer_gateway);
}

/* The first match decides. */
uint32_t ufib_adj_global_kind(const ufib_family &family, uint32_t if_index, uint32_t flags) {
    if ((flags & UFIB_ADJ_DROP) != 0 && !if_index_is_tunnel_intf(if_index)) return family.global_drop;
    if ((flags & UFIB_ADJ_PUNT) != 0) return family.global_punt;
    if ((flags & UFIB_ADJ_DIRECT) != 0) return family.global_glean;
    if ((flags & UFIB_ADJ_RECIRCULATE) != 0) return UFIB_GLOBAL_RECIRCULATE;
    if ((flags & UFIB_ADJ_NVE_IF_DOWN) != 0) return UFIB_GLOBAL_NVE_IF_DOWN;
    if ((flags & UFIB_ADJ_MCAST_SRC) != 0) return family.global_mcast_src;
    return 0;
}

static ufib_obj *global_wanted(ufib_vdc *vdc, uint32_t kind) {
    if (kind == UFIB_GLOBAL_NVE_IF_DOWN) UFIB_TRACE("%s() NVEIFDOWN points to global nve adj\n", __func__);
    ufib_adj *adj = ufib_adj_get_global(vdc, kind);
    const bool on_first_use = kind == UFIB_GLOBAL_RECIRCULATE || kind == UFIB_GLOBAL_NVE_IF_DOWN;
    if (adj == nullptr && on_first_use) adj = ufib_adj_create_global(vdc, kind, 0);
    if (adj == nullptr) ufib_err_raise(UFIB_ERR_ITEM, E_ADJ_HW_INSTALL);
    return adj == nullptr ? nullptr : &adj->obj;
}

/* The label side made the parent: there is no adjacency to find or to make. */
static ufib_obj *over_master_tunnel(ufib_vdc *vdc, const ufib_adj_request &request) {
    ufib_obj *master = ufib_hook.te_get_master == nullptr
                           ? nullptr
                           : ufib_hook.te_get_master(vdc, request.mpls_info->te_if_index);
    if (master == nullptr || ufib_hook.adj_actions == nullptr) return master;
    return ufib_hook.adj_actions(vdc, master, request.mpls_info, request.ha_handle);
}

/* A route may have joined a group whose members were made for other flags than its own: after a restart the handle
 * tells what stands there. Null: a real adjacency. */
static ufib_adj *global_that_stands(const ufib_vdc *vdc, uint32_t ha_handle) {
    for (ufib_adj *adj : vdc->global_adj)
        if (adj != nullptr && adj->obj.handle == ha_handle) return adj;
    return nullptr;
}

static ufib_obj *get_create_real(ufib_vdc *vdc, const ufib_family &family, const ufib_adj_key &key,
                                 const ufib_adj_request &request) {
    if (request.mpls_info != nullptr && request.mpls_info->master_tunnel)
        return over_master_tunnel(vdc, request);
    ufib_adj *adj = ufib_adj_search(vdc, family, key);
    const bool rewrite = (request.flags & UFIB_ADJ_ATTACHED) != 0 || request.update_rewrite;
    if (adj == nullptr || adj->obj.handle == 0 || rewrite) {
        if (adj == nullptr && request.ha_handle == 0 && request.check_required &&
            !ufib_platform_adj_required(vdc->desc->vdc_id, key.if_index, family.afi, 0, 0))
            return nullptr;
        adj = ufib_adj_create(vdc, family, adj, key, request);
    }
    if (adj == nullptr) return nullptr;
    if (request.ha_handle != 0 && request.mpls_info == nullptr) return &adj->obj;
    if (ufib_hook.adj_actions == nullptr) return &adj->obj;
    return ufib_hook.adj_actions(vdc, &adj->obj, request.mpls_info, request.ha_handle);
}

ufib_obj *ufib_get_create_adj(ufib_vdc *vdc, const ufib_family &family, const ufib_adj_key &key,
                              const ufib_adj_request &request) {
    const ufib_funcstats_block measure(UFIB_FS_ADJ_GET_CREATE);
    const uint32_t kind = ufib_adj_global_kind(family, key.if_index, request.flags);
    ufib_adj *standing = request.ha_handle == 0 ? nullptr : global_that_stands(vdc, request.ha_handle);
    if (standing != nullptr) return &standing->obj;
    if (kind == 0) return get_create_real(vdc, family, key, request);
    if (request.ha_handle == 0 || ufib_adj_get_global(vdc, kind) == nullptr) return global_wanted(vdc, kind);
    ufib_adj_request real = request;
    real.flags = 0;
    return get_create_real(vdc, family, key, real);
}

ufib_obj *ufib_get_create_adj_from_nh(ufib_vdc *vdc, const ufib_family &family, const nh_rec *nh,
                                      uint32_t adj_flags, const ufib_ha_route *record, uint32_t path) {
    ufib_nh_key hop;
    ufib_adj_nhinfo_to_key(vdc, family, nh, &hop);
    const ufib_adj_request request = {
        .rewrite = nullptr,
        .flags = adj_flags,
        .ha_handle = ufib_ha_route_adj_handle(record, path),
        .holder = ufib_ha_route_adj_holder_lock(record, path),
        .mpls_info = hop.has_mpls ? &hop.mpls : nullptr,
        .mpls_only = false,
        .update_rewrite = false,
        .check_required = false,
    };
    ufib_obj *next = ufib_get_create_adj(vdc, family, hop.key, request);
    const nh_xri *xri = ufib_nh_get_xri(nh);
    if (xri != nullptr && next != nullptr && ufib_obj_is_adj(next))
        if (auto *adj = reinterpret_cast<ufib_adj *>(next); adj->idb != vdc->dummy_idb)
            ufib_adj_xri_save(adj, xri);
    return next;
}
