/* What recovery finds in the store besides prefixes: reverse-path modes, tables, and what only clients hold. */
#include "core/lcfwd_log.h"
#include "host/tlv/tlv.h"
#include "persist/lcfwd_pss_record.h"
#include "platform/ufib_platform.h"
#include "platform/ufib_platform_calls.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_ha_private.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_idb.h"
#include "ufib/ufib_journal.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_pss.h"
#include "ufib/ufib_pss_read.h"
#include "ufib/ufib_record.h"
#include "ufib/ufib_rpf.h"
#include "ufib/ufib_table.h"
#include "ufib/ufib_vdc.h"
#include "ufib/ufib_vobj.h"

#include <cstring>
#include <initializer_list>

/* ---- reverse-path modes ---- */

void ufib_ha_restore_rpf_info(ufib_vdc *vdc) {
    ufib_ha_walk walk;
    for (bool more = ufib_ha_walk_first(&walk, LCFWD_PSS_RPF, vdc); more; more = ufib_ha_walk_next(&walk)) {
        ufib_rpf_record record;
        ufib_idb *idb = nullptr;
        ufib_errno = 0;
        if (walk.key_len == sizeof(uint32_t) &&
            ufib_ha_walk_value(walk, &record, sizeof record) == sizeof record)
            idb = ufib_get_create_idb(vdc, ufib_ha_walk_handle(walk));
        if (idb != nullptr)
            ufib_rpf_restore(idb, record.v4_mode, record.v6_mode);
        else if (!ufib_ha_is_shortage(ufib_errno))
            ufib_ha_walk_delete(walk, vdc);
    }
}

/* ---- tables ---- */

/* As long as an array can be: the library alone decides how many of the bytes are its own. */
constexpr uint32_t TABLE_ROOM = sizeof(uint32_t) + UINT16_MAX;
constexpr uint32_t TABLE_FLAG_LISP_ETR = 0x02;

static void table_restore_flags(ufib_vdc *vdc, ufib_table *table, const uint8_t *array, uint32_t room) {
    const tlv *flags = tlv_aligned_array_find_tlv(array, room, UFIB_TABLE_TLV_FLAGS);
    uint32_t stored;
    if (flags == nullptr || tlv_length(flags) < sizeof stored) return;
    std::memcpy(&stored, tlv_data(flags), sizeof stored);
    table->flags = static_cast<uint8_t>(stored & ~uint32_t{UFIB_TABLE_DELETE_PENDING});
    if ((stored & TABLE_FLAG_LISP_ETR) != 0)
        (void)ufib_platform_lisp_etr_onoff(vdc->desc->vdc_id, table->obj.handle, true);
}

/* The platform's own bytes: first they give the handle, then they come back to the table. */
static const tlv *platform_bytes(const uint8_t *array, uint32_t room) {
    const uint32_t wanted = ufib_platform_sizes.table_pss_space_len;
    if (wanted == 0) return nullptr;
    const tlv *bytes = tlv_aligned_array_find_tlv(array, room, UFIB_TABLE_TLV_PLATFORM);
    return bytes != nullptr && tlv_length(bytes) == wanted ? bytes : nullptr;
}

/* One that VDCs share may have come back with another VDC than had it. */
static void table_record_follow(const ufib_vdc *vdc, ufib_table *table) {
    if (table->vdc_id == vdc->desc->vdc_id) return;
    ufib_pss_insert_table(table);
    (void)lcfwd_pss_record_delete(LCFWD_PSS_UFIB_TABLE, vdc->desc->vdc_id, &table->table_id,
                                  sizeof table->table_id);
}

/* False: the record is no good. */
static bool table_restore(ufib_vdc *vdc, uint32_t table_id, const uint8_t *value, uint32_t len) {
    uint32_t type;
    if (len < sizeof type) return false;
    std::memcpy(&type, value, sizeof type);
    const uint8_t *array = value + sizeof type;
    const uint32_t room = len - static_cast<uint32_t>(sizeof type);
    const tlv *bytes = platform_bytes(array, room);
    ufib_ha_route record = {};
    if (bytes != nullptr) record.table_handle = ufib_platform_get_table_ha_handle(tlv_data(bytes));
    ufib_table *table = ufib_family_of_table_type(type) == nullptr
                            ? nullptr
                            : ufib_get_create_table(vdc, table_id, type, false, &record);
    if (table == nullptr || table->type != type) {
        UFIB_ERR("Failed to create table %#x during restore", table_id);
        return table == nullptr && (ufib_errno & 0xffff) == E_TABLE_NOMEM;
    }
    void *space = ufib_table_platform_space(table);
    if (bytes != nullptr && space != nullptr) {
        const uint32_t room_there = ufib_platform_sizes.table_space_len;
        std::memcpy(space, tlv_data(bytes), tlv_length(bytes) < room_there ? tlv_length(bytes) : room_there);
    }
    table_restore_flags(vdc, table, array, room);
    table->stored = true;
    table_record_follow(vdc, table);
    return true;
}

void ufib_ha_restore_table_info(ufib_vdc *vdc) {
    static uint8_t value[TABLE_ROOM]; /* too large for a stack that handlers share */
    ufib_ha_walk walk;
    for (bool more = ufib_ha_walk_first(&walk, LCFWD_PSS_UFIB_TABLE, vdc); more;
         more = ufib_ha_walk_next(&walk)) {
        const uint32_t len = ufib_ha_walk_value(walk, value, sizeof value);
        if (walk.key_len != sizeof(uint32_t) || !table_restore(vdc, ufib_ha_walk_handle(walk), value, len))
            ufib_ha_walk_delete(walk, vdc);
    }
}

/* ---- adjacencies ---- */

void ufib_ha_adj_counts(ufib_adj *adj, uint32_t vdc_id) {
    ufib_pss_counts counts;
    if (!ufib_pss_get_adj_counts(ufib_adj_family(adj), adj->obj.handle, vdc_id, &counts)) return;
    adj->pbr_count = counts.pbr;
    adj->wccp_count = counts.wccp;
}

static bool engine_agrees(ufib_adj *adj) {
    return ufib_adj_family(adj).index == 0 ? ufib_platform_consistency_check_adj(adj)
                                           : ufib_platform_consistency_check_v6_adj(adj);
}

/* Whether an unresolved neighbour gleans, or drops because of an attached route or of an interface that went down,
 * depends on the order of past events, which no record keeps. Hardware knows: the state that it agrees with is the
 * right one; when it agrees with none, the first guess stays. What is behind a drop it may not show: then it is glean,
 * so that a neighbour whose drop ends is asked for, and not lost for ever. */
static void adj_settle(ufib_adj *adj) {
    constexpr uint32_t state = UFIB_ADJ_ATTACHED | UFIB_ADJ_DROP | UFIB_ADJ_GLEAN;
    const uint32_t first = adj->flags, own = first & state, rest = first & ~(state | UFIB_ADJ_PEER_GW);
    adj->flags = rest;
    const uint32_t glean = ufib_is_adj_glean_candidate(adj) ? UFIB_ADJ_GLEAN : 0;
    const uint32_t guesses[] = {(own & UFIB_ADJ_DROP) != 0 ? own | glean : own,
                                own,
                                glean,
                                UFIB_ADJ_ATTACHED | glean,
                                UFIB_ADJ_DROP | glean,
                                UFIB_ADJ_DROP | UFIB_ADJ_ATTACHED | glean,
                                UFIB_ADJ_DROP,
                                UFIB_ADJ_DROP | UFIB_ADJ_ATTACHED,
                                0};
    for (const uint32_t gateway : {first & UFIB_ADJ_PEER_GW, ~first & UFIB_ADJ_PEER_GW}) {
        for (const uint32_t guess : guesses) {
            adj->flags = rest | guess | gateway;
            if (engine_agrees(adj)) return;
        }
    }
    adj->flags = first;
}

/* Makes the adjacency of a record, or finds it made by a prefix. False: the record is no good. */
static bool adj_recover(const ufib_family &family, ufib_vdc *vdc, uint32_t handle, uint32_t adj_flags) {
    const uint32_t vdc_id = vdc->desc->vdc_id;
    ufib_pss_adj stored;
    ufib_platform_rewrite rewrite = {};
    if (!ufib_pss_get_adj(family, handle, vdc_id, &stored)) return false;
    if (ufib_platform_get_v4_rewrite_info(handle, &rewrite) < 0) return false;
    ufib_adj_key key = {stored.if_index, {}};
    std::memcpy(key.address, stored.address, sizeof key.address);
    ufib_adj *adj = ufib_adj_search(vdc, family, key);
    if (adj == nullptr || adj->obj.handle == 0) {
        const ufib_adj_request request = {
            .rewrite = &rewrite,
            .flags = adj_flags,
            .ha_handle = handle,
            .holder = stored.holders,
            .mpls_info = nullptr,
            .mpls_only = false,
            .update_rewrite = true,
            .check_required = false,
        };
        if (ufib_get_create_adj(vdc, family, key, request) == nullptr) return false;
        adj = ufib_adj_search(vdc, family, key);
    }
    if (adj == nullptr || adj->obj.handle != handle) return false;
    ufib_ha_adj_counts(adj, vdc_id);
    adj_settle(adj);
    return true;
}

/* ---- what only clients hold ---- */

static bool misc_recover(ufib_vdc *vdc, uint32_t handle, const ufib_misc_record &record) {
    switch (record.kind) {
    case LCFWD_PSS_V4ADJ: return adj_recover(ufib_v4, vdc, handle, record.adj_flags);
    case LCFWD_PSS_V6ADJ: return adj_recover(ufib_v6, vdc, handle, record.adj_flags);
    case LCFWD_PSS_V4ECMP: return ufib_ha_recover_ecmp(ufib_v4, vdc, handle, record.adj_flags);
    case LCFWD_PSS_V6ECMP: return ufib_ha_recover_ecmp(ufib_v6, vdc, handle, record.adj_flags);
    default: return false;
    }
}

void ufib_ha_recover_non_prefix_assoc_entries(ufib_vdc *vdc) {
    ufib_ha_walk walk;
    for (bool more = ufib_ha_walk_first(&walk, LCFWD_PSS_MISC, vdc); more; more = ufib_ha_walk_next(&walk)) {
        ufib_misc_record record;
        ufib_errno = 0;
        const bool sound = walk.key_len == sizeof(uint32_t) &&
                           ufib_ha_walk_value(walk, &record, sizeof record) == sizeof record;
        const bool good = sound && misc_recover(vdc, ufib_ha_walk_handle(walk), record);
        if (!good && !ufib_ha_is_shortage(ufib_errno)) ufib_ha_walk_delete(walk, vdc);
    }
}

/* ---- the remaining adjacencies ---- */

bool ufib_ha_is_v6adj_key(const ufib_vdc *vdc, uint32_t handle) {
    pss2_datum value;
    pss2_service *service = lcfwd_pss_service(LCFWD_PSS_V6ADJ, vdc->desc->vdc_id);
    return service != nullptr && lcfwd_pss_fetch(service, {&handle, sizeof handle}, &value);
}

/* Stores an IPv4 adjacency or a group again that a route has brought back under a handle. False: there is none. */
static bool standing_store(ufib_vdc *vdc, uint32_t handle) {
    for (ufib_adj *adj = ufib_adj_get_first(vdc, ufib_v4); adj != nullptr; adj = ufib_adj_get_next(adj)) {
        if (adj->obj.handle != handle) continue;
        ufib_pss_insert_adj(adj);
        return true;
    }
    for (ufib_ecmp *group = ufib_ecmp_get_first(vdc); group != nullptr;
         group = ufib_ecmp_get_next(vdc, group)) {
        if (group->obj.handle != handle) continue;
        ufib_pss_insert_ecmp(group);
        return true;
    }
    return false;
}

/* Of two records under one handle the one is right that a route has brought back already; when neither is, that of the
 * IPv6 adjacency. The other one goes. */
static bool v6adj_key_check(ufib_vdc *vdc, uint32_t handle, bool global) {
    uint32_t others = 0; /* deleted ones; there may be three */
    while (others < 3 && ufib_pss_v6adj_check_key(handle, vdc->desc->vdc_id) == 0) others++;
    if (others == 0 && !global) return true;
    UFIB_ERR("Critical error: ha_hdl %#x is invalid", handle);
    return !global && !standing_store(vdc, handle);
}

/* False: the key cannot be that of an adjacency of this family. */
static bool adj_key_check(const ufib_family &family, ufib_vdc *vdc, uint32_t handle) {
    const bool global = ufib_is_global_adj(handle, vdc);
    if (family.index != 0) return v6adj_key_check(vdc, handle, global);
    if (global) UFIB_ERR("Critical error: ha_hdl %#x is global adj", handle);
    return !global;
}

void ufib_ha_recover_non_prefix_assoc_adj(ufib_vdc *vdc) {
    for (const ufib_family &family : ufib_families) {
        ufib_ha_walk walk;
        for (bool more = ufib_ha_walk_first(&walk, family.pss_adj, vdc); more;
             more = ufib_ha_walk_next(&walk)) {
            const uint32_t handle = ufib_ha_walk_handle(walk);
            ufib_errno = 0;
            if (family.index == 0 && ufib_ha_is_v6adj_key(vdc, handle)) continue;
            const bool good = walk.key_len == sizeof handle && adj_key_check(family, vdc, handle) &&
                              adj_recover(family, vdc, handle, 0);
            if (!good && !ufib_ha_is_shortage(ufib_errno)) ufib_ha_walk_delete(walk, vdc);
        }
    }
}

/* ---- records of records ---- */

/* An interface belongs to a direct route, counts to an adjacency or a group. */
static bool has_owner(const ufib_ha_walk &walk, lcfwd_pss_kind owner, const ufib_vdc *vdc) {
    pss2_datum value;
    pss2_service *service = lcfwd_pss_service(owner, vdc->desc->vdc_id);
    if (service == nullptr || !lcfwd_pss_fetch(service, {walk.key, walk.key_len}, &value)) return false;
    return owner != LCFWD_PSS_PREFIX || (*static_cast<const uint8_t *>(value.p) & ROUTE_DIRECT) != 0;
}

void ufib_ha_drop_orphans(ufib_vdc *vdc) {
    static constexpr struct {
        lcfwd_pss_kind kind, owner;
    } pairs[] = {{LCFWD_PSS_DCSRIF, LCFWD_PSS_PREFIX},
                 {LCFWD_PSS_V4ADJ_TLV, LCFWD_PSS_V4ADJ},
                 {LCFWD_PSS_V6ADJ_TLV, LCFWD_PSS_V6ADJ},
                 {LCFWD_PSS_V4ECMP_TLV, LCFWD_PSS_V4ECMP},
                 {LCFWD_PSS_V6ECMP_TLV, LCFWD_PSS_V6ECMP}};
    for (const auto &pair : pairs) {
        ufib_ha_walk walk;
        for (bool more = ufib_ha_walk_first(&walk, pair.kind, vdc); more; more = ufib_ha_walk_next(&walk))
            if (!has_owner(walk, pair.owner, vdc)) ufib_ha_walk_delete(walk, vdc);
    }
}

/* ---- what nobody needs any more ---- */

/* The one global that goes with its last route. */
static void sweep_recirculate(ufib_vdc *vdc) {
    ufib_adj *adj = ufib_adj_get_global(vdc, UFIB_GLOBAL_RECIRCULATE);
    if (adj != nullptr && ufib_adj_destroy_ok(adj)) (void)ufib_adj_destroy(nullptr, adj, false);
}

static void sweep_adjacencies(ufib_vdc *vdc, const ufib_family &family) {
    for (ufib_adj *adj = ufib_adj_get_first(vdc, family), *next; adj != nullptr; adj = next) {
        next = ufib_adj_get_next(adj);
        if (ufib_adj_destroy_ok(adj)) (void)ufib_adj_destroy(nullptr, adj, false);
    }
}

/* Provisional next hops whose last dependent is gone. */
static void sweep_rnhs(ufib_table *table) {
    for (ufib_pfx *rnh = ufib_prefix_get_first(&table->rnh), *next; rnh != nullptr; rnh = next) {
        next = ufib_prefix_get_next(&table->rnh, ufib_pfx_address(rnh), rnh->mask_len);
        const bool marked = (rnh->flags & UFIB_PFX_FLAG_RNH_DELETE_MARKED) != 0;
        if (marked && rnh->holders == 0 && !ufib_prefix_has_dependents(rnh))
            (void)ufib_prefix_destroy(table, rnh);
    }
}

/* A batch that died half-way, and routes that could not be rebuilt, leave objects without users. */
void ufib_ha_sweep_unused(ufib_vdc *vdc) {
    for (ufib_vobj *vobj = ufib_vobj_get_first(vdc), *next; vobj != nullptr; vobj = next) {
        next = ufib_vobj_get_next(vobj);
        ufib_obj_delete(nullptr, &vobj->obj);
    }
    ravl_iterator at;
    for (ufib_table *table = ufib_table_get_first(vdc->desc->vdc_id, &at); table != nullptr;
         table = ufib_table_get_next(vdc->desc->vdc_id, &at)) {
        sweep_rnhs(table);
        /* It waited for its end when the process died, and has to begin again. */
        const bool kept = ufib_table_is_wildcard(table->table_id);
        if (!kept && ufib_table_is_empty(table)) (void)ufib_table_dpl_queue(table);
    }
    for (ufib_ecmp *group = ufib_ecmp_get_first(vdc), *next; group != nullptr; group = next) {
        next = ufib_ecmp_get_next(vdc, group);
        if (ufib_ecmp_destroy_ok(group)) ufib_obj_delete(nullptr, &group->obj);
    }
    ufib_journal_clear();
    for (const ufib_family &family : ufib_families) sweep_adjacencies(vdc, family);
    sweep_recirculate(vdc);
}
