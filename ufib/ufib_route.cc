#include "ufib/ufib_route.h"

#include "core/lcfwd_log.h"
#include "core/lcfwd_report.h"
#include "core/ufib_funcstats.h"
#include "core/ufib_trace.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_bintrace.h"
#include "ufib/ufib_ha.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_journal.h"
#include "ufib/ufib_label_list.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_pss.h"
#include "ufib/ufib_rnh.h"
#include "ufib/ufib_vdc.h"

/* Working storage of one route; too large for a stack that handlers share. */
static ufib_nh_list nh_scratch;

uint32_t ufib_route_errors(const ufib_family &family, const route_rec *route) {
    const ufib_funcstats_block measure(UFIB_FS_ROUTE_ERRORS);
    uint32_t failed = 0;
    if (route->opcode != family.opcode_add && route->opcode != family.opcode_delete)
        failed = ufib_err_raise(family.err_opcode, E_ROUTE_INV_OPCODE);
    if (route->opcode == family.opcode_add && route->nh_count == 0)
        failed = ufib_err_raise(family.err_zero_hops, E_ZERO_HOP_COUNT);
    if (route->nh_count > UFIB_NH_MAX) failed = ufib_err_raise(UFIB_ERR_ITEM, E_HOP_COUNT_EXCEEDED);
    if (route->prefix_len > family.max_len) failed = ufib_err_raise(UFIB_ERR_ITEM, family.err_mask_len);
    if (failed != 0) UFIB_ERR("%s route api error %s", family.name, ufib_err_str(failed & 0xffff));
    return failed;
}

static void ufib_trace_route(const ufib_family &family, const char *what, const route_rec *route) {
    const ufib_funcstats_block measure(UFIB_FS_TRACE_ROUTE);
    if (!ufib_enable_rc_debugs) return;
    UFIB_TRACE("%s %s route %s table %#x flags %#x next hops %d", what, family.name,
               ufib_prefix_str(family, route->prefix, route->prefix_len), wire_get(route->table_id),
               route->flags, route->nh_count);
}

/* What holds the route besides labels is gone: out of hardware now, or out of everything. */
static void route_leave(ufib_vdc *vdc, ufib_table *table, ufib_pfx *pfx) {
    const bool label = (pfx->holders & UFIB_HOLDER_FEC) != 0;
    const bool source = (pfx->holders & UFIB_HOLDER_MCAST_SRC) != 0;
    if (!label && !source) {
        (void)ufib_prefix_destroy(table, pfx);
        return;
    }
    if (!ufib_prefix_destroy_and_hold_in_sw(table, pfx)) return;
    if (label) ufib_prefix_update_labels(vdc, pfx);
}

/* A refused update has taken the entry away, and its handle; an accepted one may have moved it to another. The records
 * lie under the handle that it had. */
static void forget_records(ufib_pfx *pfx, uint32_t old_handle) {
    const uint32_t handle = pfx->obj.handle;
    pfx->obj.handle = old_handle;
    ufib_pss_delete_prefix(pfx);
    if ((pfx->route_flags & ROUTE_DIRECT) != 0) ufib_pss_delete_dcsrif(pfx);
    pfx->obj.handle = handle;
}

/* Hardware refused: a label keeps the prefix in software, nothing else does. The deferred deletes do not run: the
 * journal is cleared at the next route. */
static uint32_t route_install_failed(ufib_vdc *vdc, ufib_table *table, ufib_pfx *pfx, uint32_t old_handle) {
    const uint32_t error = ufib_err_raise(UFIB_ERR_ITEM, E_PFX_HW_INSTALL);
    ufib_journal_rollback();
    if (old_handle != 0) forget_records(pfx, old_handle);
    if ((pfx->holders & UFIB_HOLDER_FEC) != 0) {
        pfx->holders = UFIB_HOLDER_FEC;
        (void)ufib_prefix_destroy_and_hold_in_sw(table, pfx);
        ufib_prefix_update_labels(vdc, pfx);
    } else {
        pfx->holders = 0;
        (void)ufib_prefix_destroy(table, pfx);
    }
    ufib_errno = error;
    return error;
}

/* The new state stands in hardware: records, then the old next object may go, then the labels follow. False: a restart
 * found another state there, which hardware does not change. */
static bool route_stands(ufib_vdc *vdc, ufib_pfx *pfx, const ufib_ha_route *record, uint32_t old_handle) {
    if (record != nullptr) {
        if (!ufib_ha_prefix_stands(pfx, *record)) return false;
        ufib_journal_delete_objects();
        return true;
    }
    ufib_pss_insert_prefix(pfx);
    if ((pfx->route_flags & ROUTE_DIRECT) != 0 && !ufib_prefix_is_rnh(pfx)) ufib_pss_insert_dcsrif(pfx);
    if (old_handle != 0 && old_handle != pfx->obj.handle) forget_records(pfx, old_handle);
    ufib_journal_delete_objects();
    ufib_prefix_update_labels(vdc, pfx);
    return true;
}

/* A recursive next hop that no route confirms, as it was before an update of its route. */
struct unconfirmed_rnh {
    ufib_pfx *rnh; /* null: there is none */
    uint32_t route_flags;
    uint8_t holders;
};

static unconfirmed_rnh unconfirmed_of(ufib_table *table, const ufib_prefix_update &update) {
    if ((update.route_flags & ROUTE_RNH) == 0) return {};
    ufib_pfx *rnh = ufib_prefix_search(table, update.route->prefix, update.route->prefix_len, true);
    if (rnh == nullptr || (rnh->flags & UFIB_PFX_FLAG_RNH_DELETE_MARKED) == 0) return {};
    return {rnh, rnh->route_flags, rnh->holders};
}

/* A route that failed confirms nothing: its paths are those of before, none, and it goes with its dependents. */
static void unconfirmed_stays(const unconfirmed_rnh &before) {
    if (before.rnh == nullptr) return;
    before.rnh->flags |= UFIB_PFX_FLAG_RNH_DELETE_MARKED;
    before.rnh->route_flags = before.route_flags;
    before.rnh->holders = before.holders;
}

/* From the prefix on. */
static uint32_t route_install(ufib_vdc *vdc, ufib_table *table, const ufib_prefix_update &update) {
    uint64_t stamp;
    ufib_funcstats_start(&stamp);
    const unconfirmed_rnh before = unconfirmed_of(table, update);
    bool existed;
    ufib_pfx *pfx = ufib_get_create_prefix(table, update, &existed);
    ufib_funcstats_end(UFIB_FS_PREFIX_GET_CREATE, &stamp);
    if (pfx == nullptr) {
        UFIB_ERR("ufib_errno:%u,pfx_obj:%p\n", ufib_errno, static_cast<void *>(pfx));
        return ufib_errno;
    }
    ufib_obj *next = ufib_prefix_get_create_next(vdc, pfx, update);
    if (next == nullptr) {
        const uint32_t error = ufib_errno != 0 ? ufib_errno : ufib_err_raise(UFIB_ERR_ITEM, E_ADJ_HW_INSTALL);
        if (!existed) ufib_prefix_delete(table, pfx);
        unconfirmed_stays(before);
        ufib_errno = error;
        return error;
    }
    ufib_prefix_link_next_obj(pfx, next, false);
    const uint32_t old_handle = pfx->obj.handle;
    if (ufib_prefix_is_rnh(pfx)) {
        ufib_process_rnh_update(pfx, ufib_prefix_family(pfx).index == 0, true, update.record);
    } else {
        ufib_platform_insert_prefix(pfx, ufib_ha_route_prefix_handle(update.record));
        if (pfx->obj.handle == 0) return route_install_failed(vdc, table, pfx, old_handle);
    }
    if (!route_stands(vdc, pfx, update.record, old_handle))
        return route_install_failed(vdc, table, pfx, old_handle);
    ufib_bt_prefix(pfx, existed ? UFIB_BT_UPDATE : UFIB_BT_CREATE);
    return ufib_errno;
}

/* A wildcard table that VDCs share belongs to one of them, whoever sends the route: what its prefixes lead to has to live
 * as long as the table does. */
static ufib_vdc *owner_of(const ufib_table *table) { return ufib_vdc_get(table->vdc_id); }

static uint32_t route_add(const ufib_family &family, ufib_vdc *vdc, uint32_t table_id, const route_rec *route,
                          ufib_prefix_update *update) {
    ufib_errno = 0;
    ufib_journal_clear();
    update->route_flags = route->flags;
    (void)ufib_route_get_extended_flgs(route, &update->route_flags);
    if (update->record != nullptr) update->route_flags |= update->record->route_flags;
    const bool wildcard = (update->route_flags & ROUTE_WILDCARD) != 0;
    /* A next hop that no route has told of comes back as it was: with its table in software alone. */
    const bool in_software =
        update->record != nullptr && (update->record->family_flags & UFIB_HA_RNH_DELETE_MARKED) != 0;
    ufib_table *table = ufib_get_create_table(vdc, wildcard ? family.wildcard_table : table_id,
                                              family.table_type, in_software, update->record);
    if (table == nullptr || ufib_errno != 0) return ufib_errno;
    if (table->type != family.table_type) return ufib_err_raise(UFIB_ERR_ITEM, E_BAD_AFI);
    if (ufib_route_errors(family, route) != 0) return ufib_errno;
    ufib_trace_route(family, "add", route);
    if (ufib_route_get_nh_info(route, &nh_scratch) != 0) {
        UFIB_ERR("Failed to parse the route buffer for nh info");
        return ufib_err_raise(UFIB_ERR_ITEM, E_ROUTE_NHINFO_INVALID);
    }
    return route_install(owner_of(table), table, *update);
}

uint32_t ufib_route_add(const ufib_family &family, ufib_vdc *vdc, uint32_t table_id, const route_rec *route,
                        uint8_t epoch, const ufib_ha_route *record, uint8_t holder, const ufib_xpi *xpi) {
    uint64_t stamp;
    ufib_funcstats_start(&stamp);
    ufib_prefix_update update = {
        .route = route,
        .hops = &nh_scratch,
        .route_flags = 0,
        .holder = holder,
        .epoch = epoch,
        .xpi = xpi,
        .record = record,
    };
    const uint32_t result = route_add(family, vdc, table_id, route, &update);
    ufib_funcstats_end(UFIB_FS_ROUTE_ADD, &stamp);
    return result;
}

/* The client's own data on the prefix go with its hold. */
static void holder_leaves(ufib_pfx *pfx, uint8_t holder) {
    pfx->holders &= static_cast<uint8_t>(~holder);
    if (holder == UFIB_HOLDER_IPSG && ufib_hook.ipsg_destroy != nullptr) {
        UFIB_TRACE("Calling ufib_%s_ipsg_destroy\n", ufib_prefix_family(pfx).name);
        ufib_hook.ipsg_destroy(pfx);
    }
    if (holder == UFIB_HOLDER_SGRP) pfx->tag_flags &= static_cast<uint8_t>(~UFIB_TAG_VALID);
}

static uint32_t route_delete(const ufib_family &family, ufib_vdc *vdc, uint32_t table_id,
                             const route_rec *route, uint8_t holder) {
    ufib_errno = 0;
    ufib_journal_clear();
    uint32_t route_flags = route->flags;
    (void)ufib_route_get_extended_flgs(route, &route_flags);
    const bool wildcard = (route_flags & ROUTE_WILDCARD) != 0;
    ufib_table *table = ufib_table_search(vdc, wildcard ? family.wildcard_table : table_id);
    if (table == nullptr || table->type != family.table_type)
        return ufib_err_raise(UFIB_ERR_ITEM, E_DEL_NOPFX);
    if (ufib_route_errors(family, route) != 0) return ufib_errno;
    ufib_trace_route(family, "delete", route);
    ufib_pfx *pfx =
        ufib_prefix_search(table, route->prefix, route->prefix_len, (route_flags & ROUTE_RNH) != 0);
    if (pfx == nullptr) return ufib_err_raise(UFIB_ERR_ITEM, E_DEL_NOPFX);
    holder_leaves(pfx, holder);
    if ((pfx->holders & UFIB_HOLDERS_ROUTE) != 0) {
        UFIB_TRACE("%s pfx locked, holder_lock = 0x%x", family.name, pfx->holders);
        /* The hold is gone: a restart must not bring it back. */
        if (pfx->obj.handle != 0) ufib_pss_insert_prefix(pfx);
        return ufib_err_raise(UFIB_ERR_LOCKED, E_DEL_PFX_LOCKED);
    }
    route_leave(owner_of(table), table, pfx);
    return ufib_errno;
}

uint32_t ufib_route_delete(const ufib_family &family, ufib_vdc *vdc, uint32_t table_id,
                           const route_rec *route, uint8_t holder) {
    uint64_t stamp;
    ufib_funcstats_start(&stamp);
    const uint32_t result = route_delete(family, vdc, table_id, route, holder);
    ufib_funcstats_end(UFIB_FS_ROUTE_DELETE, &stamp);
    return result;
}

void ufib_delete_stale_routes(lcfwd_vdc_desc *vdc, uint32_t table_id, uint32_t afi, uint8_t epoch) {
    ufib_errno = 0;
    if (vdc->ufib_state != LCFWD_STATE_ACTIVE || vdc->ufib == nullptr) {
        UFIB_BL(1, UFIB_TR_NOT_ACTIVE, lcfwd_state_name(vdc->ufib_state));
        return;
    }
    UFIB_BL(1, UFIB_TR_STALE_DELETE, static_cast<uint32_t>(epoch), table_id, afi);
    if (table_id != 0) {
        if (ufib_table *table = ufib_table_search(vdc->ufib, table_id); table != nullptr)
            ufib_delete_stale_prefixes(table, epoch);
        return;
    }
    ravl_iterator iterator;
    for (ufib_table *table = ufib_table_get_first(vdc->vdc_id, &iterator); table != nullptr;
         table = ufib_table_get_next(vdc->vdc_id, &iterator))
        if (ufib_table_family(table).afi == afi) ufib_delete_stale_prefixes(table, epoch);
}
