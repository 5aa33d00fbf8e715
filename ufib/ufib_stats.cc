#include "ufib/ufib_stats.h"

#include "core/lcfwd_log.h"
#include "platform/ufib_platform_calls.h"
#include "ufib/ufib_hooks.h"
#include "ufib/ufib_stats_private.h"
#include "ufib/ufib_vdc.h"

#include <algorithm>
#include <cstring>

/* The list of the next hardware read; it may pass UFIB_STATS_READ by the paths of the last object. */
struct stats_block {
    uint32_t count;
    ufib_platform_stats rows[UFIB_STATS_READ + UFIB_STATS_LISP_PATHS];
};
static stats_block block;

static ufib_adj *adj_of(ufib_obj *object) {
    return ufib_obj_is_adj(object) ? reinterpret_cast<ufib_adj *>(object) : nullptr;
}

static void block_add(ufib_obj *object, uint32_t path) {
    ufib_adj *adj = adj_of(object);
    block.rows[block.count++] = {
        object, object->handle + path, path, 0, 0, adj == nullptr ? nullptr : &adj->stats_field};
}

/* An object of another type has no counters. */
static uint32_t rows_of(const ufib_obj *object) {
    switch (ufib_obj_type_of(object)) {
    case UFIB_OBJ_V4ADJ:
    case UFIB_OBJ_V6ADJ:
    case UFIB_OBJ_MPLS_ADJ: return 1;
    case UFIB_OBJ_LISP_ENCAP:
        return ufib_hook.stats_lisp_paths == nullptr
                   ? 0
                   : std::min(ufib_hook.stats_lisp_paths(object), UFIB_STATS_LISP_PATHS);
    default: return 0;
    }
}

static void adj_count(ufib_adj *adj, const ufib_platform_stats &read, ufib_stats_row *out) {
    ufib_adj_totals *totals = &adj->totals;
    totals->packets += read.packets;
    totals->bytes += read.bytes;
    totals->packets_since_clear += read.packets;
    totals->bytes_since_clear += read.bytes;
    out->object = static_cast<uint8_t>(ufib_adj_family(adj).adj_type);
    out->if_index = wire_put(adj->key.if_index);
    std::memcpy(out->address, adj->key.address, sizeof out->address);
    out->packets = wire_put(totals->packets);
    out->bytes = wire_put(totals->bytes);
    out->packets_since_clear = wire_put(totals->packets_since_clear);
    out->bytes_since_clear = wire_put(totals->bytes_since_clear);
}

static void row_count(const ufib_platform_stats &read) {
    auto *object = static_cast<ufib_obj *>(read.object);
    ufib_stats_row row = {};
    if (ufib_adj *adj = adj_of(object); adj != nullptr)
        adj_count(adj, read, &row);
    else if (ufib_hook.stats_count != nullptr)
        ufib_hook.stats_count(object, read.index, read.packets, read.bytes, &row);
    ufib_stats_report(row);
}

static void block_flush() {
    const uint32_t count = block.count;
    block.count = 0;
    if (count == 0) return;
    if (ufib_platform_adj_get_stats(block.rows, count) < 0) {
        UFIB_ERR("fail to read stats from hw");
        return;
    }
    for (uint32_t i = 0; i < count; i++) row_count(block.rows[i]);
}

void ufib_adj_stats_add(ufib_obj *object, bool flush) {
    if (object != nullptr)
        for (uint32_t path = 0, paths = rows_of(object); path < paths; path++) block_add(object, path);
    if (flush || block.count >= UFIB_STATS_READ) block_flush();
}

int ufib_adj_stats_get(ufib_vdc *vdc, const ufib_family &family, const ufib_adj_key &key,
                       ufib_adj_totals *out) {
    ufib_adj *adj = ufib_adj_search(vdc, family, key);
    if (adj == nullptr) return -1;
    ufib_adj_stats_add(&adj->obj, true);
    *out = adj->totals;
    return 0;
}

int ufib_adj_stats_get_next(ufib_vdc *vdc, const ufib_family &family, ufib_adj_key *key,
                            ufib_adj_totals *out) {
    const ufib_adj *adj = ufib_adj_ifindex_get_next_safe(vdc, family, *key);
    if (adj == nullptr) return -1;
    *key = adj->key;
    return ufib_adj_stats_get(vdc, family, *key, out);
}

void ufib_adj_stats_clear(ufib_adj *adj) {
    ufib_adj_stats_add(&adj->obj, true);
    adj->totals.packets_since_clear = 0;
    adj->totals.bytes_since_clear = 0;
}

void ufib_adj_stats_clear_all(ufib_vdc *vdc) {
    ufib_walk_budget budget = {UFIB_WALK_OBJECTS, UFIB_WALK_OBJECTS};
    for (const ufib_family &family : ufib_families)
        for (ufib_adj *adj = ufib_adj_get_first(vdc, family); adj != nullptr; adj = ufib_adj_get_next(adj)) {
            ufib_adj_stats_add(&adj->obj, false);
            ufib_walk_step(&budget);
        }
    ufib_adj_stats_add(nullptr, true);
    for (const ufib_family &family : ufib_families)
        for (ufib_adj *adj = ufib_adj_get_first(vdc, family); adj != nullptr; adj = ufib_adj_get_next(adj)) {
            adj->totals.packets_since_clear = 0;
            adj->totals.bytes_since_clear = 0;
        }
}
