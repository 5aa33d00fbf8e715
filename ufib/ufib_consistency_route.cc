/* Consistency of routes: one by one as they are named, and at the end those that were not. */
#include "core/lcfwd_log.h"
#include "platform/ufib_platform.h"
#include "platform/ufib_platform_calls.h"
#include "ufib/ufib_consistency.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_route.h"
#include "ufib/ufib_table.h"
#include "ufib/ufib_vdc.h"
#include "ufib/ufib_vobj.h"

#include <cstring>

constexpr uint32_t ROUTE_EXTENDED_KNOWN = 0x1c; /* extended flags that mean something to the platform */

/* Working storage of one route; too large for a stack that handlers share. */
static ufib_nh_list hops;

bool ufib_prefix_in_hardware(const ufib_pfx *pfx) {
    return pfx->obj.handle != 0 && pfx->obj.handle != 0xffffffff;
}

bool ufib_hardware_has_prefix(ufib_pfx *pfx) {
    return ufib_prefix_family(pfx).index == 0 ? ufib_platform_prefix_check(pfx)
                                              : ufib_platform_v6prefix_check(pfx);
}

/* While a virtual object changes its instance, its prefixes are moved over one by one: either is right. */
bool ufib_hardware_has_next(ufib_pfx *pfx) {
    if (ufib_obj_is_vobj(pfx->obj.next) && ufib_obj_to_vobj(pfx->obj.next)->old_handle != 0) return true;
    return ufib_prefix_family(pfx).index == 0 ? ufib_platform_consistency_check_nh(pfx)
                                              : ufib_platform_v6_consistency_check_nh(pfx);
}

/* A route being checked. */
struct route_check {
    const ufib_family &family;
    ufib_vdc *vdc;
    const route_rec *route;
    uint32_t route_flags;
    uint32_t extended;
    uint32_t table_id; /* where it lies */
};

/* What a prefix leads to is its table's owner's: another VDC's, maybe, for a shared wildcard table. */
static void next_hops_check(const route_check &check, const ufib_pfx *pfx, uint32_t count, uint8_t *flags) {
    if (ufib_obj_is_vobj(pfx->obj.next))
        (void)ufib_is_vobj_nh_inconsistent(check.family, check.route, &hops, ufib_obj_to_vobj(pfx->obj.next),
                                           flags);
    else
        ufib_consistency_check_nh_and_interfaces(ufib_vdc_get(pfx->table->vdc_id), pfx, &hops, count,
                                                 check.route_flags, flags);
}

/* Some routes lead where the platform alone decides. */
static bool platform_decides(const route_check &check) {
    constexpr uint32_t plain = ROUTE_DROP | ROUTE_LOCAL | ROUTE_ATTACHED;
    return (check.route_flags & plain) == 0 && (check.extended & ROUTE_EXTENDED_KNOWN) != 0;
}

/* The flags of the route's row; 0: all is well. */
static uint8_t prefix_check(const route_check &check, ufib_pfx *pfx) {
    const ufib_prefix_update update = {check.route, &hops, check.route_flags, 0, 0, nullptr, nullptr};
    const uint32_t count = ufib_effective_nh_count(check.family, update);
    const bool rnh = ufib_prefix_is_rnh(pfx);
    if (!rnh && !ufib_prefix_in_hardware(pfx)) return UFIB_CC_NEXT_HOPS;
    if (pfx->obj.next == nullptr || pfx->nh_count != count) return UFIB_CC_NEXT_HOPS;
    uint8_t flags = 0;
    if (!rnh && !ufib_hardware_has_prefix(pfx)) flags |= UFIB_CC_HARDWARE;
    next_hops_check(check, pfx, count, &flags);
    if (!platform_decides(check) && !ufib_hardware_has_next(pfx)) flags |= UFIB_CC_HARDWARE;
    ufib_nh_set_consis_flags(pfx->obj.next, flags == 0, true);
    return flags;
}

static uint8_t route_check_flags(const route_check &check) {
    if (ufib_route_errors(check.family, check.route) != 0) return UFIB_CC_NO_PREFIX;
    if (ufib_route_get_nh_info(check.route, &hops) != 0) {
        UFIB_ERR("Failed to parse the route buffer for nh info");
        return UFIB_CC_NO_PREFIX;
    }
    ufib_table *table = ufib_table_search(check.vdc, check.table_id);
    if (table == nullptr || table->type != check.family.table_type) return UFIB_CC_NO_PREFIX;
    ufib_pfx *pfx = ufib_prefix_search(table, check.route->prefix, check.route->prefix_len,
                                       (check.route_flags & ROUTE_RNH) != 0);
    if (pfx == nullptr || pfx->map_cache != 0) return UFIB_CC_NO_PREFIX;
    const uint8_t flags = prefix_check(check, pfx);
    if (flags == 0) pfx->tag_flags |= UFIB_TAG_CC_SEEN;
    return flags;
}

static void row_add(const mts_msg *message, ufib_cc_response *response, uint8_t flags, const uint8_t *address,
                    uint32_t mask_len) {
    ufib_cc_row row = {flags, static_cast<uint8_t>(mask_len), {}, {}};
    std::memcpy(row.address, address, response->family->addr_bytes);
    ufib_cc_row_add(message, response, &row, (flags & UFIB_CC_NOT_NAMED) != 0);
}

bool ufib_route_is_compared(const ufib_family &family, const ufib_vdc *vdc, uint8_t opcode, uint32_t table_id,
                            uint8_t flags) {
    return opcode != family.opcode_delete && ufib_platform_table_required(vdc->desc->vdc_id, table_id, flags);
}

void ufib_route_consistency_check_be(const ufib_family &family, const mts_msg *message,
                                     const route_rec *route, uint32_t table_id, ufib_vdc *vdc,
                                     ufib_cc_response *response) {
    if (!ufib_route_is_compared(family, vdc, route->opcode, table_id, route->flags)) return;
    route_check check = {family, vdc, route, route->flags, 0, table_id};
    check.extended = ufib_route_get_extended_flgs(route, &check.route_flags);
    if ((check.route_flags & ROUTE_WILDCARD) != 0) check.table_id = family.wildcard_table;
    ufib_cc_table(message, response, check.table_id);
    uint8_t flags = route_check_flags(check);
    if (flags == 0) return;
    if ((check.route_flags & ROUTE_RNH) != 0) flags |= UFIB_CC_RNH;
    row_add(message, response, flags, route->prefix, route->prefix_len);
}

/* ---- the end ---- */

struct missing_walk {
    const mts_msg *message;
    ufib_cc_response *response;
};

static void ufib_walk_route_for_consistency(ufib_pfx *pfx, void *argument) {
    if (pfx->map_cache != 0) return;
    if ((pfx->tag_flags & UFIB_TAG_CC_SEEN) != 0) {
        pfx->tag_flags &= static_cast<uint8_t>(~UFIB_TAG_CC_SEEN);
        return;
    }
    const auto *walk = static_cast<const missing_walk *>(argument);
    uint8_t flags = UFIB_CC_NOT_NAMED;
    if (ufib_prefix_in_hardware(pfx)) flags |= UFIB_CC_IN_HARDWARE;
    if (ufib_prefix_is_rnh(pfx)) flags |= UFIB_CC_RNH;
    row_add(walk->message, walk->response, flags, ufib_pfx_address(pfx), pfx->mask_len);
}

static void missing_report(const ufib_family &family, const mts_msg *message, uint32_t table_id,
                           ufib_vdc *vdc, ufib_cc_response *response) {
    const ufib_table *table = ufib_table_search(vdc, table_id);
    if (table == nullptr || table->type != family.table_type) {
        UFIB_ERR("Failed to find table");
    } else if (response->table_id != table_id) {
        UFIB_ERR("route_cc_info->hdr.table_id != table->table_idimplies bug in %s CC code", family.name);
    } else {
        missing_walk walk = {message, response};
        ufib_pt_walk(&table->main, ufib_walk_route_for_consistency, &walk);
        ufib_pt_walk(&table->rnh, ufib_walk_route_for_consistency, &walk);
        ufib_clear_cc_state(vdc, family);
    }
}

void ufib_route_consistency_end(const ufib_family &family, const mts_msg *message, uint32_t table_id,
                                ufib_vdc *vdc, ufib_cc_response *response) {
    if (response->table_id == 0) response->table_id = table_id; /* no route named one */
    if (ufib_platform_table_required(vdc->desc->vdc_id, table_id, 0))
        missing_report(family, message, table_id, vdc, response);
    ufib_cc_send(message, response, UFIB_CC_LAST);
    response->table_id = 0;
}
