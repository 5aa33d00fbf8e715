/* Next hops of a route against the next object that its prefix has. */
#include "core/lcfwd_log.h"
#include "ufib/ufib_consistency.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_vdc.h"
#include "ufib/ufib_vobj.h"

#include <cstring>

/* What an adjacency must be. */
struct wanted_hop {
    const ufib_family &family;
    const nh_rec *hop;
    const ufib_adj *global; /* which the route's flags choose; or null */
    ufib_adj_key key;
};

/* A tunnel that carries labels stands for its way out. */
static void key_resolve(ufib_vdc *vdc, ufib_adj_key *key) {
    const uint32_t if_index = key->if_index;
    if (ufib_hook.te_is_te_interface == nullptr || !ufib_hook.te_is_te_interface(vdc, if_index)) return;
    if (ufib_hook.te_get_out_if_index != nullptr) (void)ufib_hook.te_get_out_if_index(vdc, if_index, key);
}

static wanted_hop wanted_of(ufib_vdc *vdc, const ufib_family &family, const nh_rec *hop,
                            uint32_t route_flags) {
    wanted_hop out = {family, hop, nullptr, {wire_get(hop->if_index), {}}};
    std::memcpy(out.key.address, hop->nh_address, family.addr_bytes);
    key_resolve(vdc, &out.key);
    const uint32_t kind =
        ufib_adj_global_kind(family, out.key.if_index, ufib_route_to_adj_flags(route_flags));
    if (kind != 0) out.global = ufib_adj_get_global(vdc, kind);
    return out;
}

static bool key_is(const wanted_hop &wanted, const ufib_adj_key &key) {
    return key.if_index == wanted.key.if_index &&
           std::memcmp(key.address, wanted.key.address, wanted.family.addr_bytes) == 0;
}

static bool adj_is(const wanted_hop &wanted, const ufib_adj *adj) {
    return wanted.global == nullptr ? key_is(wanted, adj->key) : adj == wanted.global;
}

/* Routes of unlike flags share a group, whose members were made for the first of them: the key alone tells. */
static bool any_path_is(const ufib_ecmp *group, const wanted_hop &wanted) {
    for (uint32_t i = 0; i < group->key->count; i++)
        if (key_is(wanted, ufib_ecmp_key_path(wanted.family, *group->key, i))) return true;
    return false;
}

static bool te_is(const ufib_obj *next, const nh_rec *hop, const char *name) {
    const uint32_t update = wire_get(hop->if_index);
    const uint32_t here = ufib_hook.te_if_index == nullptr ? 0 : ufib_hook.te_if_index(next);
    if (here == update) return true;
    UFIB_ERR("mismatch in if_index for %s: from fib sw:%x from rib update:%x", name, here, update);
    return false;
}

static bool ufib_consis_verify_nh_info(const ufib_obj *next, const wanted_hop &wanted);

static bool base_is(const ufib_obj *next, const wanted_hop &wanted) {
    const ufib_obj *base = ufib_hook.label_base == nullptr ? nullptr : ufib_hook.label_base(next);
    return base != nullptr && ufib_consis_verify_nh_info(base, wanted);
}

/* Whether one next hop of the route is the next object, or one of its paths. */
static bool ufib_consis_verify_nh_info(const ufib_obj *next, const wanted_hop &wanted) {
    switch (ufib_obj_type_of(next)) {
    case UFIB_OBJ_V4ADJ:
    case UFIB_OBJ_V6ADJ: return adj_is(wanted, reinterpret_cast<const ufib_adj *>(next));
    case UFIB_OBJ_ECMP: return any_path_is(reinterpret_cast<const ufib_ecmp *>(next), wanted);
    case UFIB_OBJ_MPLS_ADJ:
    case UFIB_OBJ_MPLS_ECMP: return base_is(next, wanted);
    case UFIB_OBJ_MPLS_TE: return te_is(next, wanted.hop, "te");
    case UFIB_OBJ_MPLS_TE_ADJ: return te_is(next, wanted.hop, "te_rel");
    default: UFIB_ERR("unhandled next object type %d", static_cast<int>(ufib_obj_type_of(next)));
    }
    return false;
}

static bool count_is(const ufib_obj *next, uint32_t count) {
    return ufib_obj_type_of(next) != UFIB_OBJ_ECMP ||
           reinterpret_cast<const ufib_ecmp *>(next)->key->count == count;
}

void ufib_consistency_check_nh_and_interfaces(ufib_vdc *vdc, const ufib_pfx *pfx, const ufib_nh_list *hops,
                                              uint32_t count, uint32_t route_flags, uint8_t *flags) {
    bool good = count_is(pfx->obj.next, count);
    const nh_rec *hop = ufib_nh_first(hops);
    for (uint32_t i = 0; i < count && hop != nullptr; i++, hop = ufib_nh_next(hops, hop))
        good = good && ufib_consis_verify_nh_info(pfx->obj.next,
                                                  wanted_of(vdc, ufib_prefix_family(pfx), hop, route_flags));
    if (!good) *flags |= UFIB_CC_NEXT_HOPS;
}

/* The key that the route would have found its object by: count, and of each row address, table, flags and label. */
bool ufib_is_vobj_nh_inconsistent(const ufib_family &family, const route_rec *route, const ufib_nh_list *hops,
                                  const ufib_vobj *vobj, uint8_t *flags) {
    /* Too large for a stack that handlers share. */
    static ufib_vobj_key key;
    static ufib_vobj_hops by_row;
    const bool same = ufib_vobj_route_to_key(family, route->prefix_len, hops, &key, &by_row) == 0 &&
                      ufib_vobj_compare(vobj, &key);
    if (!same) *flags |= UFIB_CC_NEXT_HOPS;
    return !same;
}
