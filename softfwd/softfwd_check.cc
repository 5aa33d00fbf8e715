#include "softfwd/softfwd_check.h"

#include "softfwd/softfwd_adj.h"
#include "softfwd/softfwd_damage_private.h"
#include "softfwd/softfwd_engine.h"
#include "softfwd/softfwd_group.h"
#include "softfwd/softfwd_pool.h"
#include "softfwd/softfwd_prefix.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

/* --- integrity --- */

struct check_report {
    char *text;
    size_t size;
    uint32_t violations;
};

static void __attribute__((format(printf, 2, 3))) violated(check_report *report, const char *format, ...) {
    if (report->violations++ != 0 || report->text == nullptr) return;
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(report->text, report->size, format, arguments);
    va_end(arguments);
}

/* Equal in the first 'bits' bits. */
static bool key_matches(const lpm_key &a, const lpm_key &b, uint32_t bits) {
    const uint64_t hi = bits >= 64 ? ~uint64_t{0} : bits == 0 ? 0 : ~uint64_t{0} << (64 - bits);
    const uint64_t lo = bits >= 128 ? ~uint64_t{0} : bits <= 64 ? 0 : ~uint64_t{0} << (128 - bits);
    return ((a.hi ^ b.hi) & hi) == 0 && ((a.lo ^ b.lo) & lo) == 0;
}

static void check_route(check_report *report, uint32_t table, const lpm_entry &route) {
    const uint32_t handle = route.value;
    const softfwd_prefix *entry = softfwd_prefix_of(handle, softfwd_state.table[table].family, false);
    if (entry == nullptr)
        return violated(report, "table %u leads to prefix %u, which is not live", table, handle);
    if (entry->table != table)
        violated(report, "prefix %u of table %u stands in table %u", handle, entry->table, table);
    if (entry->mask_len != route.bits || !key_matches(entry->key, route.key, route.bits))
        violated(report, "prefix %u stands under another address", handle);
    const uint32_t next = softfwd_word_next(entry->a_word);
    if (next != 0 && !softfwd_next_is_live(next))
        violated(report, "prefix %u refers to object %u, which is removed", handle, next);
}

static void check_tables(check_report *report, uint32_t routes[2]) {
    const softfwd_engine *engine = &softfwd_state;
    for (uint32_t i = 1; i < engine->head->table_bump; i++) {
        const softfwd_table *table = &engine->table[i];
        if (table->state != SOFTFWD_LIVE) continue;
        uint32_t count = 0;
        lpm_entry route;
        for (bool more = lpm_first(engine->arena.base, &table->trie, &route); more;
             more = lpm_next(engine->arena.base, &table->trie, route.key, route.bits, &route)) {
            check_route(report, i, route);
            count++;
        }
        if (count != table->trie.route_count)
            violated(report, "table %u has %u routes and counts %u", i, count, table->trie.route_count);
        routes[table->family - 1] += count;
    }
}

static void check_adjs(check_report *report) {
    const softfwd_engine *engine = &softfwd_state;
    uint32_t count = 0;
    for (uint32_t handle = 1; handle < engine->head->adj_bump; handle++) {
        const softfwd_adj *record = softfwd_adj_of(handle);
        if (record == nullptr) continue;
        count++;
        if (record->handle != handle)
            violated(report, "adjacency %u lies in a record of %u", handle, record->handle);
    }
    if (count != engine->head->adj_count)
        violated(report, "%u adjacencies stand, %u are counted", count, engine->head->adj_count);
}

static void check_group(check_report *report, uint32_t handle, const softfwd_group *group) {
    if (group->handle != handle) violated(report, "group %u lies in a record of %u", handle, group->handle);
    if (group->size > SOFTFWD_MEMBERS_MAX || group->count == 0 || group->count > group->size)
        return violated(report, "group %u has %u members in %u places", handle, group->count, group->size);
    for (uint32_t i = 1; i < group->size; i++)
        if (softfwd_state.directory[handle + i] != softfwd_place(SOFTFWD_KIND_MEMBER, handle))
            violated(report, "place %u of group %u names something else", i, handle);
    for (uint32_t i = 0; i < group->count; i++) {
        const uint32_t adj = softfwd_group_adjs(group)[i];
        /* 0: a take-over found the member removed, and a group that nothing led to any more */
        if (adj != 0 && softfwd_adj_of(adj) == nullptr)
            violated(report, "group %u refers to object %u, which is removed", handle, adj);
    }
}

static void check_groups(check_report *report) {
    const softfwd_engine *engine = &softfwd_state;
    uint32_t count = 0;
    for (uint32_t handle = 1; handle < engine->head->adj_bump; handle++) {
        const softfwd_group *group = softfwd_group_of(handle);
        if (group == nullptr) continue;
        count++;
        check_group(report, handle, group);
    }
    if (count != engine->head->group_count)
        violated(report, "%u groups stand, %u are counted", count, engine->head->group_count);
}

uint32_t softfwd_integrity_check(char *text, size_t text_size) {
    if (text != nullptr && text_size != 0) text[0] = '\0';
    if (!softfwd_state.open) return 0;
    check_report report = {text_size != 0 ? text : nullptr, text_size, 0};
    uint32_t routes[2] = {0, 0};
    check_tables(&report, routes);
    for (int i = 0; i < 2; i++)
        if (routes[i] != softfwd_state.head->prefix_count[i])
            violated(&report, "%u prefixes of family %d stand, %u are counted", routes[i], i + 1,
                     softfwd_state.head->prefix_count[i]);
    check_adjs(&report);
    check_groups(&report);
    return report.violations;
}

/* --- digest --- */

static void digest_add(uint64_t *digest, const void *bytes, size_t size) {
    const auto *at = static_cast<const uint8_t *>(bytes);
    for (size_t i = 0; i < size; i++) *digest = (*digest ^ at[i]) * 0x100000001b3ull;
}

uint64_t softfwd_image_digest() {
    const softfwd_engine *engine = &softfwd_state;
    uint64_t digest = 0xcbf29ce484222325ull;
    if (!engine->open) return 0;
    for (uint32_t i = 1; i < engine->head->table_bump; i++) {
        const softfwd_table *table = &engine->table[i];
        if (table->state != SOFTFWD_LIVE) continue;
        const uint32_t names[] = {i, table->vdc_id, table->table_id, table->family};
        digest_add(&digest, names, sizeof names);
    }
    for (uint32_t i = 1; i < engine->head->prefix_bump; i++) {
        const softfwd_prefix *entry = &engine->prefix[i];
        if (entry->state != SOFTFWD_LIVE) continue;
        digest_add(&digest, &i, sizeof i);
        digest_add(&digest, entry, sizeof *entry);
    }
    for (uint32_t i = 1; i < engine->head->adj_bump; i++) {
        const softfwd_adj *record = softfwd_adj_of(i);
        if (record != nullptr) digest_add(&digest, record, sizeof *record);
        const softfwd_group *group = softfwd_group_of(i);
        if (group != nullptr) digest_add(&digest, group, sizeof *group + 3u * sizeof(uint32_t) * group->size);
    }
    return digest;
}

/* --- counts --- */

uint32_t softfwd_prefix_count(address_family family) {
    if (!softfwd_state.open || family == ADDRESS_FAMILY_NONE) return 0;
    return softfwd_state.head->prefix_count[family - 1];
}
uint32_t softfwd_adjacency_count() { return softfwd_state.open ? softfwd_state.head->adj_count : 0; }
uint32_t softfwd_group_count() { return softfwd_state.open ? softfwd_state.head->group_count : 0; }
uint32_t softfwd_table_count() { return softfwd_state.open ? softfwd_state.head->table_count : 0; }

void softfwd_count_packets(uint32_t prefix_handle, uint32_t adj_handle, uint64_t packets, uint64_t bytes) {
    if (softfwd_prefix_of(prefix_handle, 0, false) != nullptr)
        softfwd_hit_set(softfwd_state.hits, prefix_handle);
    if (!softfwd_state.open || softfwd_adj_of(adj_handle) == nullptr) return;
    __atomic_fetch_add(&softfwd_state.counts[adj_handle].a_packets, packets, __ATOMIC_RELAXED);
    __atomic_fetch_add(&softfwd_state.counts[adj_handle].a_bytes, bytes, __ATOMIC_RELAXED);
}

/* --- damage --- */

bool softfwd_damage_entry(softfwd_damage what, uint32_t handle) {
    if (what == SOFTFWD_DAMAGE_MAC) {
        softfwd_adj *record = softfwd_state.open ? softfwd_adj_of(handle) : nullptr;
        if (record != nullptr) softfwd_damage_adj(record);
        return record != nullptr;
    }
    softfwd_prefix *entry = softfwd_prefix_of(handle, 0, false);
    if (entry != nullptr) softfwd_damage_prefix(what, entry);
    return entry != nullptr;
}
