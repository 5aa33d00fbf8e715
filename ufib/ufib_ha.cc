#include "ufib/ufib_ha.h"

#include "core/lcfwd_log.h"
#include "core/lcfwd_mts.h"
#include "core/lcfwd_stats.h"
#include "host/engine/engine.h"
#include "host/system/system.h"
#include "host/tlv/tlv.h"
#include "platform/ufib_pi.h"
#include "platform/ufib_platform.h"
#include "platform/ufib_platform_calls.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_cookie.h"
#include "ufib/ufib_ecmp.h"
#include "ufib/ufib_ha_private.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_prefix.h"
#include "ufib/ufib_pss.h"
#include "ufib/ufib_record.h"
#include "ufib/ufib_route.h"
#include "ufib/ufib_vdc.h"
#include "ufib/ufib_vobj.h"

#include <cstddef>
#include <cstring>

uint32_t ufib_pi_ha_recovery_done;

bool ufib_ha_is_recovery_done() {
    if (!fu_is_stateless_restart() || sysmgr_is_upgrade_restart()) return ufib_pi_ha_recovery_done != 0;
    return true;
}

/* Of the VDC that is being recovered: memory was short, or a database does not open, so that some record has to wait for
 * another restart. None is deleted from then on, and what their hardware entries may lead to stays, although nothing in
 * the model leads to it. */
static bool records_wait;

/* ---- walks ---- */

/* A walk that ends for want of memory leaves records unread. */
static bool walk_take(ufib_ha_walk *walk, bool more, const pss2_datum &key) {
    records_wait |= !more && lcfwd_pss_walk_failed();
    if (!more || key.len > sizeof walk->key) return false;
    std::memset(walk->key, 0, sizeof(uint32_t));
    std::memcpy(walk->key, key.p, key.len);
    walk->key_len = key.len;
    return true;
}

bool ufib_ha_walk_first(ufib_ha_walk *walk, lcfwd_pss_kind kind, const ufib_vdc *vdc) {
    *walk = {};
    walk->kind = kind;
    walk->left = UFIB_HA_BUDGET;
    walk->service = lcfwd_pss_service(kind, vdc->desc->vdc_id);
    if (walk->service == nullptr) return false;
    pss2_datum key;
    return walk_take(walk, lcfwd_pss_get_first_key(walk->service, &key), key);
}

/* The process is single-threaded: without a sign of life the system would start it again. */
bool ufib_ha_walk_next(ufib_ha_walk *walk) {
    if (--walk->left == 0) {
        walk->left = UFIB_HA_BUDGET;
        lcfwd_update_and_send_heartbeat(0);
        tsp_sched_yield();
    }
    pss2_datum key;
    return walk_take(walk, lcfwd_pss_get_next_key(walk->service, &key), key);
}

uint32_t ufib_ha_walk_value(const ufib_ha_walk &walk, void *out, uint32_t room) {
    pss2_datum value;
    if (!lcfwd_pss_get_value(walk.service, &value)) return 0;
    const uint32_t len = value.len < room ? value.len : room;
    std::memcpy(out, value.p, len);
    return len;
}

uint32_t ufib_ha_walk_handle(const ufib_ha_walk &walk) {
    uint32_t handle;
    std::memcpy(&handle, walk.key, sizeof handle);
    return handle;
}

void ufib_ha_walk_delete(const ufib_ha_walk &walk, const ufib_vdc *vdc) {
    if (records_wait) return;
    const uint32_t handle = ufib_ha_walk_handle(walk);
    UFIB_ERR("PSS delete for key: %#x", handle);
    const pss2_datum key = {walk.key, walk.key_len};
    const int status = pss2_delete(walk.service, &key);
    const bool route = walk.kind == LCFWD_PSS_PREFIX || walk.kind == LCFWD_PSS_PREFIX_RNH;
    if (status != STORE_OK && route) UFIB_ERR("PSS Cleanup fail: ha-idx: %#x", handle);
    if (status != STORE_OK && !route) UFIB_ERR("PSS Cleanup fail: ha-idx: %#x, err: %#x", handle, status);
    lcfwd_count(vdc->desc->ufib_stats, &ufib_vdc_stats::records_deleted);
}

/* ---- one record ---- */

static const ufib_family &family_of(const ufib_ha_route &record) {
    return ufib_families[(record.family_flags & UFIB_HA_IPV4) != 0 ? 0 : 1];
}

/* Host bits behind the mask would make a key that no update ever finds. */
static void mask_address(ufib_ha_route *record) {
    for (uint32_t byte = 0; byte < sizeof record->address; byte++) {
        const uint32_t first = byte * 8;
        if (record->mask_len >= first + 8) continue;
        const uint32_t keep = record->mask_len > first ? record->mask_len - first : 0;
        record->address[byte] &= static_cast<uint8_t>(0xff00u >> keep);
    }
}

/* False: the hardware does not know the handle, or the table cannot be made. A next hop that no route has told of needs
 * its table in software alone. A shared table that comes back with another VDC drops, as one that moves does. */
static bool record_table(ufib_vdc *vdc, const ufib_family &family, ufib_ha_route *record) {
    const bool in_software = (record->family_flags & UFIB_HA_RNH_DELETE_MARKED) != 0;
    const ufib_table *table =
        ufib_get_create_table(vdc, record->table_id, family.table_type, in_software, record);
    if (table != nullptr && ufib_errno == 0) {
        if (table->vdc_id == record->vdc_id) return true;
        record->route_flags |= ROUTE_DROP;
        record->next_handle = 0;
        return true;
    }
    UFIB_ERR("Failed to get the table id for pfx_hw_idx: %#x, tbl-id: %#x, tbl-type: %d",
             record->prefix_handle, record->table_id, static_cast<int>(family.table_type));
    if (ufib_errno != 0)
        UFIB_ERR("error code %s for get_create_table, table id %#x ", ufib_err_str(ufib_errno & 0xffff),
                 record->table_id);
    return false;
}

bool ufib_ha_is_shortage(uint32_t error) {
    switch (error & 0xffff) {
    case E_NOMEM:
    case E_PFX_NOMEM:
    case E_ADJ_NOMEM:
    case E_IDB_NOMEM:
    case E_TABLE_NOMEM:
    case E_PT_NOMEM:
    case E_ECMP_NOMEM:
    case E_ECMP_SLAB_CREATE:
    case E_ECMP_SLAB_ALLOC:
    case E_VOBJ_NOMEM:
    case E_VOBJ_SLAB_CREATE:
    case E_VOBJ_SLAB_ALLOC: return true;
    default: return false;
    }
}

static void cookies_init() {
    ufib_pi_pfx_cookie_init();
    ufib6_pi_pfx_cookie_init();
}

/* What went wrong was beside the prefix: a path of its group, or a record. */
static bool prefix_stands(ufib_vdc *vdc, const ufib_ha_route &record) {
    ufib_table *table = ufib_table_search(vdc, record.table_id);
    return table != nullptr && ufib_prefix_search(table, record.address, record.mask_len,
                                                  (record.route_flags & ROUTE_RNH) != 0) != nullptr;
}

/* No install cookie may outlive the route that it belongs to. False: the route cannot be built. */
static bool record_install(ufib_vdc *vdc, const ufib_family &family, ufib_ha_route *record, uint8_t epoch) {
    const route_rec *route = ufib_ha_form_route(family, vdc, record);
    if (route == nullptr) return false;
    ufib_xpi xpi;
    const bool has_xpi = ufib_ha_form_xpi(*record, &xpi);
    cookies_init();
    const uint32_t error = ufib_route_add(family, vdc, record->table_id, route, epoch, record,
                                          record->holders, has_xpi ? &xpi : nullptr);
    cookies_init();
    if (error == 0) {
        ufib_count(vdc->desc->ufib_stats, family.index, &ufib_family_stats::routes_recovered);
        return true;
    }
    UFIB_ERR("cannot rebuild %s in table %#x: %s\n",
             ufib_prefix_str(family, record->address, record->mask_len), record->table_id,
             ufib_err_str(error & 0xffff));
    const bool keep = ufib_ha_is_shortage(error) || prefix_stands(vdc, *record);
    records_wait |= keep;
    return keep;
}

/* The hardware entry has no model: it goes too. */
static void hardware_clean(const ufib_family &family, const ufib_ha_route &record) {
    if (record.prefix_handle == 0) return;
    if (family.index == 0)
        ufib_platform_ha_clean_v4_pfx(record.prefix_handle, record.mask_len, ufib_v4_addr(record.address));
    else
        ufib_platform_ha_clean_v6_pfx(record.prefix_handle, record.mask_len, record.address);
    (void)ufib_platform_all_writes_ready();
}

/* A record without hardware entry is of no use, and must not wait: hardware may give its handle to another route, which
 * a later restart would then build from this record. A table that cannot be made says nothing about the record. */
static void replay(ufib_vdc *vdc, const ufib_ha_walk &walk, ufib_ha_route *record, uint8_t epoch) {
    const ufib_family &family = family_of(*record);
    const bool sound = record->mask_len <= family.max_len;
    if (sound && !record_table(vdc, family, record)) {
        if (record->table_id == 0)
            ufib_ha_walk_delete(walk, vdc);
        else
            records_wait = true;
        return;
    }
    if (sound) {
        mask_address(record);
        if (record_install(vdc, family, record, epoch)) return;
    }
    ufib_ha_walk_delete(walk, vdc);
    if (!records_wait) hardware_clean(family, *record);
}

/* ---- "prefix" ---- */

/* Bits of the short form of the route flags that count besides the whole flags. */
static constexpr uint32_t SHORT_FLAGS = 0xcf;

bool ufib_ha_save_pi_prefix_info(ufib_ha_route *record, const pss2_datum &value, uint32_t key) {
    ufib_prefix_record stored;
    if (value.len < sizeof stored) return false;
    std::memcpy(&stored, value.p, sizeof stored);
    if (stored.path_count > sizeof record->adj_holders) return false;
    const auto *array = static_cast<const uint8_t *>(value.p) + sizeof stored;
    const tlv *flags = tlv_aligned_array_find_tlv(array, value.len - static_cast<uint32_t>(sizeof stored),
                                                  UFIB_PREFIX_TLV_FLAGS);
    if (flags != nullptr && tlv_length(flags) >= sizeof record->route_flags)
        std::memcpy(&record->route_flags, tlv_data(flags), sizeof record->route_flags);
    record->route_flags |= stored.route_flags & SHORT_FLAGS;
    record->prefix_handle = key;
    record->next_handle = stored.next_handle;
    record->path_count = stored.path_count;
    record->next_type = stored.next_type;
    record->holders = stored.holders;
    return true;
}

static uint8_t epoch_of(const uint8_t *value) { return value[offsetof(ufib_prefix_record, epoch)]; }

static void replay_route(ufib_vdc *vdc, const ufib_ha_walk &walk, ufib_ha_route *record) {
    uint8_t value[64];
    const uint32_t len = ufib_ha_walk_value(walk, value, sizeof value);
    const bool sound = walk.key_len == sizeof(uint32_t) &&
                       ufib_ha_save_pi_prefix_info(record, {value, len}, ufib_ha_walk_handle(walk));
    if (!sound || (record->route_flags & ROUTE_RNH) != 0) {
        UFIB_ERR("Invalid pfx obj: %p", static_cast<const void *>(walk.key));
        ufib_ha_walk_delete(walk, vdc);
        return;
    }
    ufib_platform_ha_get_route(record->prefix_handle, record);
    replay(vdc, walk, record, epoch_of(value));
}

/* ---- "prefix_rnh" ---- */

static void rnh_key_take(const ufib_ha_walk &walk, ufib_ha_route *record) {
    ufib_rnh_record_key key;
    std::memcpy(&key, walk.key, sizeof key);
    record->table_id = key.table_id;
    record->mask_len = key.mask_len;
    std::memcpy(record->address, key.address, sizeof record->address);
    if ((record->family_flags & UFIB_HA_IPV4) == 0) return;
    uint32_t host;
    std::memcpy(&host, key.address, sizeof host);
    const wire_be<uint32_t> word = wire_put(host);
    std::memcpy(record->address, word.raw, sizeof word.raw);
}

static void replay_rnh(ufib_vdc *vdc, const ufib_ha_walk &walk, ufib_ha_route *record) {
    uint8_t value[sizeof(ufib_rnh_record) + 64];
    const uint32_t len = ufib_ha_walk_value(walk, value, sizeof value);
    constexpr uint32_t head = sizeof(ufib_rnh_record);
    const bool sound = walk.key_len == sizeof(ufib_rnh_record_key) && len > head &&
                       ufib_ha_save_pi_prefix_info(record, {value + head, len - head}, 0);
    if (!sound) {
        UFIB_ERR("Invalid pfx obj: %p", static_cast<const void *>(walk.key));
        ufib_ha_walk_delete(walk, vdc);
        return;
    }
    ufib_rnh_record stored;
    std::memcpy(&stored, value, sizeof stored);
    record->family_flags = stored.flags & (UFIB_HA_IPV4 | UFIB_HA_RNH_PENDING | UFIB_HA_RNH_DELETE_MARKED);
    record->route_flags |= ROUTE_RNH;
    record->next_handle = stored.next_handle;
    std::memcpy(record->adj_handles, stored.adj_handles, sizeof record->adj_handles);
    rnh_key_take(walk, record);
    replay(vdc, walk, record, epoch_of(value + head));
}

void ufib_ha_replay_prefixes(ufib_vdc *vdc) {
    static constexpr struct {
        lcfwd_pss_kind kind;
        void (*one)(ufib_vdc *vdc, const ufib_ha_walk &walk, ufib_ha_route *record);
    } passes[] = {{LCFWD_PSS_PREFIX_RNH, replay_rnh}, {LCFWD_PSS_PREFIX, replay_route}};
    for (const auto &pass : passes) {
        ufib_ha_walk walk;
        for (bool more = ufib_ha_walk_first(&walk, pass.kind, vdc); more; more = ufib_ha_walk_next(&walk)) {
            ufib_ha_route record = {};
            record.vdc_id = vdc->desc->vdc_id;
            lcfwd_pss_make_room();
            pass.one(vdc, walk, &record);
        }
    }
}

static bool engine_agrees(ufib_pfx *pfx) {
    if (ufib_prefix_family(pfx).index == 0)
        return ufib_platform_prefix_check(pfx) && ufib_platform_consistency_check_nh(pfx);
    return ufib_platform_v6prefix_check(pfx) && ufib_platform_v6_consistency_check_nh(pfx);
}

/* A group is rewritten under its handle; one that hardware will not rewrite stays as it is. */
static void group_rewrite(ufib_obj *next) {
    if (ufib_obj_is_vobj(next)) {
        (void)ufib_platform_update_vobj(ufib_obj_to_vobj(next), 0);
    } else if (ufib_obj_type_of(next) == UFIB_OBJ_ECMP) {
        auto *group = reinterpret_cast<ufib_ecmp *>(next);
        (void)ufib_platform_insert_ecmp(group, 0, group->holders);
    }
}

/* The group first: all that share it are right then, and are not touched. */
static bool engine_follows(ufib_pfx *pfx) {
    if (engine_agrees(pfx)) return false;
    group_rewrite(pfx->obj.next);
    if (!engine_agrees(pfx)) ufib_platform_insert_prefix(pfx, 0);
    return true;
}

/* A walk over a group may leave thousands of entries to bring over: a few are named, all are counted. */
static void repair_said(const ufib_pfx *pfx, uint32_t vdc_id) {
    const lcfwd_vdc_desc *vdc = lcfwd_vdc_row(vdc_id);
    if (vdc == nullptr || vdc->ufib_stats == nullptr) return;
    if (vdc->ufib_stats->entries_repaired++ < UFIB_HA_NAMED)
        UFIB_ERR("%s: hardware follows the store\n", ufib_pfx_str(pfx));
}

/* A wildcard table that VDCs share comes back with the first of them, which need not be the one that had it: the records
 * go where they will be looked for. */
static void records_follow(ufib_pfx *pfx, uint16_t vdc_id) {
    ufib_table *table = pfx->table;
    const uint16_t owner = table->vdc_id;
    if (owner == vdc_id) return;
    const bool direct = (pfx->route_flags & ROUTE_DIRECT) != 0 && pfx->obj.handle != 0;
    ufib_pss_insert_prefix(pfx);
    if (direct) ufib_pss_insert_dcsrif(pfx);
    table->vdc_id = vdc_id;
    ufib_pss_delete_prefix(pfx);
    if (direct) ufib_pss_delete_dcsrif(pfx);
    table->vdc_id = owner;
}

/* The store is right: what hardware was told after the last commit belongs to a batch that nobody was answered. */
bool ufib_ha_prefix_stands(ufib_pfx *pfx, const ufib_ha_route &record) {
    uint32_t handle, paths;
    ufib_next_obj_record_info(pfx, &handle, &paths);
    records_follow(pfx, record.vdc_id);
    const bool moved = handle != record.next_handle;
    if (moved) ufib_pss_insert_prefix(pfx);
    if (ufib_prefix_is_rnh(pfx)) return true;
    if (moved) ufib_platform_prefix_update_nh(pfx);
    if (!engine_follows(pfx) && !moved) return true;
    if (pfx->obj.handle == 0) return false;
    repair_said(pfx, record.vdc_id);
    (void)ufib_platform_all_writes_ready();
    return true;
}

/* ---- all of it ---- */

/* Nothing can be said of records that name one which could not be made. */
static bool globals_stand(const ufib_vdc *vdc) {
    for (uint32_t kind = 1; kind <= UFIB_GLOBAL_ADJ_KINDS; kind++)
        if (ufib_adj_get_global(vdc, kind) == nullptr &&
            ufib_pss_get_global_adj(kind, vdc->desc->vdc_id) != 0)
            return false;
    return true;
}

static void vdc_recover(ufib_vdc *vdc) {
    ufib_cur_vdc_id = vdc->desc->vdc_id;
    records_wait = !ufib_pss_all_open(vdc->desc) || !globals_stand(vdc);
    ufib_obj_keep_all(true);
    ufib_ha_restore_rpf_info(vdc);
    if (ufib_hook.ha_recover_te_tunnels != nullptr) ufib_hook.ha_recover_te_tunnels(vdc);
    ufib_ha_restore_table_info(vdc);
    ufib_ha_replay_prefixes(vdc);
    ufib_clear_old_instances_all_vobj(vdc); /* every prefix was attached to the current ones just now */
    ufib_ha_recover_non_prefix_assoc_entries(vdc);
    ufib_ha_recover_non_prefix_assoc_groups(vdc);
    ufib_ha_recover_non_prefix_assoc_adj(vdc);
    ufib_ha_complete_groups(vdc);
    ufib_ha_drop_orphans(vdc);
    ufib_obj_keep_all(false);
    if (!records_wait)
        ufib_ha_sweep_unused(vdc);
    else
        UFIB_ERR("recovery of vdc %d: some records cannot be used now and wait for another restart",
                 vdc->desc->vdc_id);
    if (ufib_hook.ha_restore_services != nullptr) ufib_hook.ha_restore_services(vdc);
    (void)ufib_platform_all_writes_ready();
    const ufib_vdc_stats *stats = vdc->desc->ufib_stats;
    if (stats != nullptr && stats->entries_repaired + stats->records_deleted != 0)
        UFIB_ERR("recovery of vdc %d: %u hardware entries follow the store, %u records deleted",
                 vdc->desc->vdc_id, stats->entries_repaired, stats->records_deleted);
}

void ufib_ha_restart_recovery() {
    ufib_platform_restart_recovery_start();
    for (uint32_t id = LCFWD_VDC_MIN; id <= LCFWD_VDC_MAX; id++) {
        if (lcfwd_vdc_active_row(id) == nullptr) continue;
        if (ufib_vdc *vdc = ufib_vdc_get(id); vdc != nullptr) vdc_recover(vdc);
    }
    ufib_pi_ha_recovery_done = 1;
    ufib_platform_restart_recovery_end();
}

void ufib_ha_reset() { ufib_pi_ha_recovery_done = 0; }
