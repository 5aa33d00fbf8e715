#include "ufib/ufib_prefix.h"

#include "core/lcfwd_log.h"
#include "host/containers/heap.h"
#include "host/containers/slab.h"
#include "host/timer/clock.h"
#include "platform/ufib_platform.h"
#include "ufib/ufib_adj.h"
#include "ufib/ufib_bintrace.h"
#include "ufib/ufib_cookie.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_journal.h"
#include "ufib/ufib_pss.h"
#include "ufib/ufib_vdc.h"
#include "ufib/ufib_xpi.h"

#include <cstdlib>
#include <cstring>

constexpr uint32_t PREFIX_PER_SLAB = 2048;

uint32_t total_prefix_count;
static slab *prefix_slabs[2]; /* by family */

const char *ufib_pfx_str(const ufib_pfx *pfx) {
    return ufib_prefix_str(ufib_prefix_family(pfx), ufib_pfx_address(pfx), pfx->mask_len);
}

void *ufib_prefix_platform_space(ufib_pfx *pfx) {
    const ufib_family &family = ufib_prefix_family(pfx);
    const uint32_t space =
        family.index == 0 ? ufib_platform_v4prefix_space_len() : ufib_platform_v6prefix_space_len();
    return space == 0 ? nullptr
                      : reinterpret_cast<uint8_t *>(pfx) + ufib_prefix_tail_offset(family.addr_bytes);
}

static ufib_pfx *ufib_prefix_alloc(const ufib_family &family) {
    slab *&pool = prefix_slabs[family.index];
    if (pool == nullptr)
        pool = slab_create(family.index == 0 ? "ufib v4prefix" : "ufib v6prefix",
                           ufib_obj_get_size(family.prefix_type), PREFIX_PER_SLAB);
    auto *pfx = pool == nullptr ? nullptr : static_cast<ufib_pfx *>(slab_calloc(pool));
    if (pfx == nullptr) return nullptr;
    pfx->obj.type_refs = family.prefix_type;
    pfx->flags = family.pfx_flags;
    return pfx;
}

void ufib_prefix_free(ufib_pfx *pfx) {
    const ufib_family &family = ufib_prefix_family(pfx);
    if (prefix_slabs[family.index] == nullptr) {
        UFIB_ERR("deleting prefix %s with missing slab hdr", ufib_pfx_str(pfx));
        return;
    }
    ufib_cookie_forget(family, pfx);
    ufib_journal_forget(&pfx->obj);
    std::free(pfx->rnh);
    slab_free(prefix_slabs[family.index], pfx);
}

ufib_pfx *ufib_prefix_search(ufib_table *table, const uint8_t *address, uint32_t mask_len, bool rnh) {
    ufib_table_side &side = rnh ? table->rnh : table->main;
    return static_cast<ufib_pfx *>(pt_lookup(table->attr, &side.trie, address, mask_len, true));
}

ufib_pfx *ufib_prefix_search_l(ufib_table *table, const uint8_t *address) {
    const uint32_t bits = ufib_table_family(table).max_len;
    return static_cast<ufib_pfx *>(pt_lookup(table->attr, &table->main.trie, address, bits, false));
}

ufib_pfx *ufib_prefix_get_first(const ufib_table_side *side) {
    pt_node node;
    return pt_get_first_node(&side->trie, &node) ? static_cast<ufib_pfx *>(node.record) : nullptr;
}

ufib_pfx *ufib_prefix_get_next(const ufib_table_side *side, const uint8_t *address, uint32_t mask_len) {
    pt_node node;
    return pt_get_next_node(&side->trie, address, mask_len, &node) ? static_cast<ufib_pfx *>(node.record)
                                                                   : nullptr;
}

uint8_t ufib_effective_nh_count(const ufib_family &family, const ufib_prefix_update &update) {
    if (ufib_route_is_loopback(family, update.hops)) return 1;
    const bool rnh = (update.route_flags & ROUTE_RNH) != 0;
    if (!rnh && update.route->prefix_len == family.max_len && !ufib_platform_host_ecmp_supported()) return 1;
    return static_cast<uint8_t>(update.hops->count);
}

/* A direct route with one next hop remembers the interface it is attached to. */
static void prefix_store_attached(ufib_pfx *pfx, const ufib_prefix_update &update) {
    if ((update.route_flags & ROUTE_DIRECT) == 0 || pfx->nh_count != 1) return;
    if (const nh_rec *hop = ufib_nh_first(update.hops); hop != nullptr)
        pfx->attached_if_index = wire_get(hop->if_index);
}

static void ufib_prefix_init(ufib_pfx *pfx, ufib_table *table, const uint8_t *address, uint32_t mask_len) {
    pfx->table = table;
    pfx->mask_len = static_cast<uint8_t>(mask_len);
    std::memcpy(ufib_pfx_address(pfx), address, ufib_table_family(table).addr_bytes);
}

/* Into the trie that its flag names, and into all counters. False, logged, when the trie has no memory. */
static bool ufib_prefix_insert(ufib_table *table, ufib_pfx *pfx) {
    ufib_table_side *side = ufib_prefix_side(pfx);
    const int status = pt_add(table->attr, &side->trie, ufib_pfx_address(pfx), pfx->mask_len, pfx);
    if (status != 0) {
        UFIB_ERR("pt_add failed for %s prefix %s, %d", ufib_table_family(table).name, ufib_pfx_str(pfx),
                 status);
        return false;
    }
    total_prefix_count++;
    if (ufib_vdc *vdc = ufib_vdc_get(table->vdc_id); vdc != nullptr) vdc->prefix_count++;
    side->prefix_count++;
    side->per_length[pfx->mask_len]++;
    side->nh_count += pfx->nh_count;
    ufib_journal_log(UFIB_JOURNAL_INSERTED, &pfx->obj, nullptr);
    return true;
}

void ufib_prefix_uncount(ufib_pfx *pfx) {
    ufib_table *table = pfx->table;
    ufib_table_side *side = ufib_prefix_side(pfx);
    total_prefix_count--;
    if (ufib_vdc *vdc = ufib_vdc_get(table->vdc_id); vdc != nullptr) vdc->prefix_count--;
    side->prefix_count--;
    side->per_length[pfx->mask_len]--;
    side->nh_count -= pfx->nh_count;
    if (side->nh_count >= 0) return;
    ufib_err_raise(UFIB_ERR_ITEM, E_INTERNAL_TBL_NHCNT);
    if (ufib_prefix_is_rnh(pfx))
        UFIB_ERR("%d RNH nh_count for table %#x", side->nh_count, table->table_id);
    else
        UFIB_ERR("%d nh_count for table %#x", side->nh_count, table->table_id);
}

/* A prefix that the trie has no room for is given back at once: left allocated but in no trie, nobody would ever
 * find it again. */
static ufib_pfx *prefix_make(ufib_table *table, const uint8_t *address, uint32_t mask_len, uint8_t nh_count,
                             bool rnh) {
    ufib_pfx *pfx = ufib_prefix_alloc(ufib_table_family(table));
    if (pfx == nullptr) return nullptr;
    ufib_prefix_init(pfx, table, address, mask_len);
    pfx->nh_count = nh_count;
    if (rnh) {
        pfx->flags |= UFIB_PFX_FLAG_RNH;
        pfx->rnh = static_cast<ufib_rnh *>(heap_calloc(1, sizeof(ufib_rnh)));
        if (pfx->rnh != nullptr) pfx->rnh->prefix = pfx;
    }
    if ((rnh && pfx->rnh == nullptr) || !ufib_prefix_insert(table, pfx)) {
        ufib_prefix_free(pfx);
        return nullptr;
    }
    return pfx;
}

ufib_pfx *ufib_prefix_create(ufib_table *table, const ufib_prefix_update &update, bool rnh) {
    const route_rec *route = update.route;
    ufib_pfx *pfx = prefix_make(table, route->prefix, route->prefix_len,
                                ufib_effective_nh_count(ufib_table_family(table), update), rnh);
    if (pfx == nullptr) {
        ufib_err_raise(UFIB_ERR_ITEM, E_PFX_NOMEM);
        UFIB_ERR("failed to create prefix - no mem");
        return nullptr;
    }
    pfx->epoch = update.epoch;
    prefix_store_attached(pfx, update);
    return pfx;
}

static void prefix_update_counts(ufib_pfx *pfx, const ufib_prefix_update &update) {
    const uint8_t count = ufib_effective_nh_count(ufib_prefix_family(pfx), update);
    ufib_prefix_side(pfx)->nh_count += count - pfx->nh_count;
    pfx->nh_count = count;
    pfx->map_cache = 0;
    pfx->epoch = update.epoch;
}

/* What a client brings beside the route: the binding of a host, the tag of a group. */
static void ufib_prefix_set_xpi(ufib_pfx *pfx, const ufib_xpi &xpi, uint8_t holder) {
    if ((holder & UFIB_HOLDER_IPSG) != 0 && ufib_hook.ipsg_create != nullptr)
        ufib_hook.ipsg_create(pfx, &xpi);
    if ((holder & UFIB_HOLDER_SGRP) == 0 || (xpi.flags & UFIB_XPI_TAG) == 0) return;
    pfx->sgt = xpi.tag;
    pfx->tag_flags |= UFIB_TAG_VALID;
}

ufib_pfx *ufib_get_create_prefix(ufib_table *table, const ufib_prefix_update &update, bool *existed) {
    const bool rnh = (update.route_flags & ROUTE_RNH) != 0;
    ufib_pfx *pfx = ufib_prefix_search(table, update.route->prefix, update.route->prefix_len, rnh);
    *existed = pfx != nullptr;
    if (pfx != nullptr)
        prefix_update_counts(pfx, update);
    else if ((pfx = ufib_prefix_create(table, update, rnh)) == nullptr)
        return nullptr;
    pfx->flags &= static_cast<uint8_t>(~UFIB_PFX_FLAG_RNH_DELETE_MARKED);
    if (update.record != nullptr && (update.record->family_flags & UFIB_HA_RNH_DELETE_MARKED) != 0)
        pfx->flags |= UFIB_PFX_FLAG_RNH_DELETE_MARKED;
    pfx->last_update = host_clock_wall_seconds();
    if ((pfx->route_flags & ~update.route_flags & ROUTE_DIRECT) != 0) ufib_pss_delete_dcsrif(pfx);
    pfx->route_flags = update.route_flags;
    if (*existed) prefix_store_attached(pfx, update);
    if (update.xpi != nullptr) ufib_prefix_set_xpi(pfx, *update.xpi, update.holder);
    pfx->holders |= update.holder;
    return pfx;
}

ufib_pfx *ufib_rnh_create(ufib_table *table, const uint8_t *address, uint32_t mask_len, const nh_rec *hop) {
    ufib_pfx *pfx = prefix_make(table, address, mask_len, 1, true);
    if (pfx == nullptr) {
        ufib_err_raise(UFIB_ERR_ITEM, E_PFX_NOMEM);
        return nullptr;
    }
    pfx->route_flags = ROUTE_RNH;
    pfx->flags |= UFIB_PFX_FLAG_RNH_DELETE_MARKED;
    const ufib_family &family = ufib_table_family(table);
    ufib_vdc *vdc = ufib_vdc_get(table->vdc_id);
    ufib_obj *next = hop == nullptr ? nullptr : ufib_get_create_adj_from_nh(vdc, family, hop, 0, nullptr, 0);
    if (next == nullptr) {
        pfx->route_flags |= ROUTE_DROP;
        if (ufib_adj *drop = ufib_adj_get_global(vdc, family.global_drop); drop != nullptr) next = &drop->obj;
    }
    ufib_obj_link_objects(&pfx->obj.next, next);
    ufib_pss_insert_prefix(pfx);
    ufib_bt_prefix(pfx, UFIB_BT_CREATE);
    return pfx;
}

void ufib_prefix_reset() {
    for (slab *&pool : prefix_slabs) pool = nullptr;
    total_prefix_count = 0;
}
