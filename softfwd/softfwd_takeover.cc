#include "softfwd/softfwd_takeover.h"

#include "softfwd/softfwd_adj.h"
#include "softfwd/softfwd_check.h"
#include "softfwd/softfwd_commit.h"
#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_engine.h"
#include "softfwd/softfwd_group.h"
#include "softfwd/softfwd_pool.h"

#include <cstdlib>
#include <cstring>

/* A look-up takes microseconds; a reader that is in one for so long stands still. */
static constexpr uint32_t QUIET_TIMEOUT_MS = 1000;

static bool bump_good(const softfwd_region &region, uint32_t bump, uint64_t element) {
    return bump >= 1 && bump <= region.bytes / element && (bump == 1 || bump * element <= region.a_committed);
}

const char *softfwd_takeover_header(const softfwd_file *file) {
    if (file->bytes < SOFTFWD_HEADER_ROOM) return "too short";
    const auto *head = reinterpret_cast<const softfwd_header *>(file->base);
    if (head->magic != SOFTFWD_TABLES_MAGIC) return "not tables of this engine";
    if (head->layout != SOFTFWD_LAYOUT || head->header_bytes != sizeof *head) return "another version";
    softfwd_region want[SOFTFWD_REGION_COUNT];
    if (softfwd_layout_regions(want) != file->bytes || head->file_bytes != file->bytes) return "another size";
    for (int i = 0; i < SOFTFWD_REGION_COUNT; i++)
        if (head->regions[i].offset != want[i].offset || head->regions[i].bytes != want[i].bytes ||
            head->regions[i].a_committed > want[i].bytes)
            return "another division";
    const softfwd_region *regions = head->regions;
    if (!bump_good(regions[SOFTFWD_REGION_TABLES], head->table_bump, sizeof(softfwd_table)) ||
        !bump_good(regions[SOFTFWD_REGION_PREFIXES], head->prefix_bump, sizeof(softfwd_prefix)) ||
        !bump_good(regions[SOFTFWD_REGION_DIRECTORY], head->adj_bump, sizeof(uint32_t)) ||
        !bump_good(regions[SOFTFWD_REGION_RECORDS], head->record_bump, sizeof(softfwd_adj)) ||
        !bump_good(regions[SOFTFWD_REGION_GROUPS], head->group_bump, SOFTFWD_GROUP_UNIT))
        return "damaged marks";
    return nullptr;
}

/* --- bit sets --- */

static uint64_t *bits_new(uint32_t limit) {
    return static_cast<uint64_t *>(calloc(limit / 64 + 1, sizeof(uint64_t)));
}
static bool bit_test(const uint64_t *bits, uint32_t n) { return (bits[n / 64] >> (n % 64) & 1) != 0; }
static void bit_set(uint64_t *bits, uint32_t n) { bits[n / 64] |= uint64_t{1} << (n % 64); }

/* --- tables and their tries --- */

static bool tables_find() {
    softfwd_engine *engine = &softfwd_state;
    softfwd_header *head = engine->head;
    head->table_count = 0;
    for (uint32_t i = 1; i < head->table_bump; i++) engine->table[i].state = SOFTFWD_FREE;
    for (uint32_t bucket = 0; bucket < SOFTFWD_BUCKETS; bucket++) {
        for (uint32_t i = engine->buckets[bucket]; i != 0; i = engine->table[i].a_chain) {
            if (i >= head->table_bump || engine->table[i].state != SOFTFWD_FREE) return false;
            softfwd_table *table = &engine->table[i];
            if (table->family != ADDRESS_FAMILY_V4 && table->family != ADDRESS_FAMILY_V6) return false;
            if (softfwd_bucket(table->vdc_id, table->table_id, table->family) != bucket) return false;
            table->state = SOFTFWD_LIVE;
            head->table_count++;
        }
    }
    return true;
}

/* When a reader stands still inside a look-up, free blocks are left as they are. */
static bool tries_rebuild(bool quiet) {
    softfwd_engine *engine = &softfwd_state;
    if (softfwd_arena_attach() != 0) return false;
    lpm_rebuild rebuild;
    if (lpm_rebuild_begin(&rebuild, &engine->arena) != 0) return false;
    for (uint32_t i = 1; i < engine->head->table_bump; i++) {
        if (engine->table[i].state != SOFTFWD_LIVE) continue;
        if (lpm_rebuild_mark(&rebuild, &engine->table[i].trie) == 0) continue;
        lpm_rebuild_cancel(&rebuild);
        return false;
    }
    if (quiet) {
        lpm_rebuild_end(&rebuild);
        return true;
    }
    lpm_rebuild_cancel(&rebuild);
    lpm_arena_restart(&engine->arena, engine->head->arena.bump);
    softfwd_say("a reader stands still inside a look-up: freed memory is not reused before the next start");
    return true;
}

/* --- prefixes --- */

static bool table_prefixes_find(uint32_t index) {
    softfwd_engine *engine = &softfwd_state;
    softfwd_table *table = &engine->table[index];
    lpm_entry route;
    for (bool more = lpm_first(engine->arena.base, &table->trie, &route); more;
         more = lpm_next(engine->arena.base, &table->trie, route.key, route.bits, &route)) {
        if (route.value >= engine->head->prefix_bump) return false;
        softfwd_prefix *entry = &engine->prefix[route.value];
        if (entry->state == SOFTFWD_LIVE || entry->table != index || entry->family != table->family ||
            entry->mask_len != route.bits)
            return false;
        entry->state = SOFTFWD_LIVE;
        engine->head->prefix_count[table->family - 1]++;
    }
    return true;
}

static bool prefixes_find() {
    softfwd_engine *engine = &softfwd_state;
    softfwd_header *head = engine->head;
    head->prefix_count[0] = head->prefix_count[1] = 0;
    const bool keep = softfwd_commit_told();
    for (uint32_t i = 1; i < head->prefix_bump; i++) {
        uint8_t *state = &engine->prefix[i].state;
        const bool left = *state == SOFTFWD_LIVE || *state == SOFTFWD_LEAVING;
        *state = keep && left ? SOFTFWD_LEAVING : SOFTFWD_FREE;
    }
    for (uint32_t i = 1; i < head->table_bump; i++)
        if (engine->table[i].state == SOFTFWD_LIVE && !table_prefixes_find(i)) return false;
    return true;
}

/* --- adjacencies --- */

static bool adjs_find(uint64_t *records) {
    softfwd_engine *engine = &softfwd_state;
    softfwd_header *head = engine->head;
    head->adj_count = 0;
    for (uint32_t handle = 1; handle < head->adj_bump; handle++) {
        const uint32_t place = engine->directory[handle];
        if (softfwd_place_kind(place) != SOFTFWD_KIND_ADJ) continue;
        const uint32_t index = softfwd_place_index(place);
        if (index == 0 || index >= head->record_bump || bit_test(records, index)) return false;
        if (engine->record[index].handle != handle) return false;
        bit_set(records, index);
        head->adj_count++;
    }
    return true;
}

/* --- groups --- */

/* The record of a group's place, its units marked as taken; null when the place or the record is damaged. */
static softfwd_group *group_record_claim(uint32_t handle, uint64_t *units) {
    const softfwd_header *head = softfwd_state.head;
    const uint32_t unit = softfwd_place_index(softfwd_state.directory[handle]);
    if (unit == 0 || unit >= head->group_bump) return nullptr;
    softfwd_group *group = softfwd_group_record(unit);
    if (group->handle != handle || group->count == 0 || group->count > group->size ||
        group->size > SOFTFWD_MEMBERS_MAX || group->size > head->adj_bump - handle)
        return nullptr;
    const uint32_t count = softfwd_group_units(group->size);
    if (count > head->group_bump - unit) return nullptr;
    for (uint32_t i = unit; i < unit + count; i++) {
        if (bit_test(units, i)) return nullptr;
        bit_set(units, i);
    }
    return group;
}

/* A writer that was killed while a group left may have left members behind it that are gone already. */
static bool group_members_find(uint32_t handle, softfwd_group *group) {
    for (uint32_t i = 1; i < group->size; i++) {
        uint32_t *place = &softfwd_state.directory[handle + i];
        const softfwd_kind kind = softfwd_place_kind(*place);
        if (kind == SOFTFWD_KIND_ADJ || kind == SOFTFWD_KIND_GROUP) return false;
        softfwd_store(place, softfwd_place(SOFTFWD_KIND_MEMBER, handle));
    }
    auto *adjs = reinterpret_cast<uint32_t *>(group + 1);
    for (uint32_t i = 0; i < group->count; i++)
        if (softfwd_adj_of(adjs[i]) == nullptr) softfwd_store(&adjs[i], uint32_t{0});
    return true;
}

static bool groups_find(uint64_t *units) {
    softfwd_header *head = softfwd_state.head;
    head->group_count = 0;
    for (uint32_t handle = 1; handle < head->adj_bump; handle++) {
        if (softfwd_place_kind(softfwd_state.directory[handle]) != SOFTFWD_KIND_GROUP) continue;
        softfwd_group *group = group_record_claim(handle, units);
        if (group == nullptr || !group_members_find(handle, group)) return false;
        head->group_count++;
    }
    return true;
}

/* --- free lists: downwards, so that the lowest index is used first --- */

static void free_tables_and_prefixes() {
    softfwd_engine *engine = &softfwd_state;
    for (uint32_t i = engine->head->table_bump - 1; i != 0; i--) {
        if (engine->table[i].state != SOFTFWD_FREE) continue;
        engine->table[i].a_chain = engine->free_table;
        engine->free_table = i;
    }
    for (uint32_t i = engine->head->prefix_bump - 1; i != 0; i--) {
        if (engine->prefix[i].state != SOFTFWD_FREE) continue;
        engine->prefix[i].table = engine->free_prefix;
        engine->free_prefix = i;
    }
}

static void free_records(const uint64_t *records) {
    softfwd_engine *engine = &softfwd_state;
    for (uint32_t i = engine->head->record_bump - 1; i != 0; i--) {
        if (bit_test(records, i)) continue;
        engine->record[i].handle = engine->free_record;
        engine->free_record = i;
    }
}

/* Calls release(first, count) for what is free below 'bump', as runs of at most 'longest'. */
template <typename Free, typename Release>
static void free_runs(uint32_t bump, uint32_t longest, Free is_free, Release release) {
    uint32_t count = 0;
    for (uint32_t i = bump - 1; i != 0; i--) {
        if (is_free(i)) count++;
        const bool ends = !is_free(i) || i == 1 || count == longest;
        if (!ends || count == 0) continue;
        release(is_free(i) ? i : i + 1, count);
        count = 0;
    }
}

static bool handle_is_free(uint32_t handle) {
    const uint32_t place = softfwd_state.directory[handle];
    const softfwd_kind kind = softfwd_place_kind(place);
    if (kind == SOFTFWD_KIND_ADJ || kind == SOFTFWD_KIND_GROUP) return false;
    if (kind != SOFTFWD_KIND_MEMBER) return true;
    const uint32_t first = softfwd_place_index(place);
    const softfwd_group *group = first < handle ? softfwd_group_of(first) : nullptr;
    return group == nullptr || handle - first >= group->size;
}

static void free_handles_and_records(const uint64_t *records, const uint64_t *units) {
    free_records(records);
    free_runs(
        softfwd_state.head->group_bump, SOFTFWD_GROUP_UNITS_MAX,
        [units](uint32_t unit) { return !bit_test(units, unit); }, softfwd_group_record_release);
    free_runs(softfwd_state.head->adj_bump, SOFTFWD_MEMBERS_MAX, handle_is_free, softfwd_handles_release);
}

static bool claims_new() {
    softfwd_engine *engine = &softfwd_state;
    engine->prefix_claims = {bits_new(engine->head->prefix_bump), engine->head->prefix_bump};
    engine->adj_claims = {bits_new(engine->head->adj_bump), engine->head->adj_bump};
    engine->table_claims = {bits_new(engine->head->table_bump), engine->head->table_bump};
    return engine->prefix_claims.bits != nullptr && engine->adj_claims.bits != nullptr &&
           engine->table_claims.bits != nullptr;
}

/* What the directory leads to; then what nothing leads to is free, unless a reader may still stand there. */
static const char *next_objects_find(bool quiet, uint64_t *records, uint64_t *units) {
    if (softfwd_commit_told()) softfwd_revive_next_objects();
    if (!adjs_find(records)) return "damaged adjacencies";
    if (!groups_find(units)) return "damaged groups";
    if (quiet) {
        if (!softfwd_config_get()->never_reuse_handles) free_tables_and_prefixes();
        free_handles_and_records(records, units);
        return nullptr;
    }
    lpm_arena_restart(&softfwd_state.arena, softfwd_state.head->arena.bump);
    softfwd_say("a reader stands still inside a look-up: freed memory is not reused before the next start");
    return nullptr;
}

const char *softfwd_takeover() {
    softfwd_engine *engine = &softfwd_state;
    if (!tables_find()) return "damaged list of tables";
    const bool quiet = softfwd_grace_wait(QUIET_TIMEOUT_MS);
    if (!tries_rebuild(quiet)) return "damaged trie";
    if (!prefixes_find()) return "damaged prefixes";
    uint64_t *records = bits_new(engine->head->record_bump);
    uint64_t *units = bits_new(engine->head->group_bump);
    const char *why = "no memory";
    if (records != nullptr && units != nullptr && claims_new())
        why = next_objects_find(quiet, records, units);
    free(records);
    free(units);
    return why;
}

static void claim(softfwd_claims *claims, uint32_t handle) {
    if (claims->bits != nullptr && handle < claims->limit) bit_set(claims->bits, handle);
}

static bool is_claimed(const softfwd_claims *claims, uint32_t handle) {
    return claims->bits != nullptr && handle < claims->limit && bit_test(claims->bits, handle);
}

bool softfwd_prefix_is_claimed(uint32_t handle) { return is_claimed(&softfwd_state.prefix_claims, handle); }
bool softfwd_adj_is_claimed(uint32_t handle) { return is_claimed(&softfwd_state.adj_claims, handle); }

void softfwd_prefix_claim(uint32_t handle) { claim(&softfwd_state.prefix_claims, handle); }
void softfwd_adj_claim(uint32_t handle) { claim(&softfwd_state.adj_claims, handle); }
void softfwd_table_claim(uint32_t handle) { claim(&softfwd_state.table_claims, handle); }

uint32_t softfwd_unclaimed_table_next(uint32_t handle) {
    const softfwd_claims *claims = &softfwd_state.table_claims;
    while (claims->bits != nullptr && ++handle < claims->limit)
        if (softfwd_state.table[handle].state == SOFTFWD_LIVE && !bit_test(claims->bits, handle))
            return handle;
    return 0;
}

size_t softfwd_unclaimed_prefixes(uint32_t *handles, size_t max) {
    const softfwd_claims *claims = &softfwd_state.prefix_claims;
    size_t count = 0;
    for (uint32_t i = 1; claims->bits != nullptr && i < claims->limit; i++) {
        if (softfwd_state.prefix[i].state != SOFTFWD_LIVE || bit_test(claims->bits, i)) continue;
        if (count < max) handles[count] = i;
        count++;
    }
    return count;
}

static size_t unclaimed_of_kind(softfwd_kind kind, uint32_t *handles, size_t max) {
    const softfwd_claims *claims = &softfwd_state.adj_claims;
    size_t count = 0;
    for (uint32_t i = 1; claims->bits != nullptr && i < claims->limit; i++) {
        if (softfwd_place_kind(softfwd_state.directory[i]) != kind || bit_test(claims->bits, i)) continue;
        if (count < max) handles[count] = i;
        count++;
    }
    return count;
}

size_t softfwd_unclaimed_adjacencies(uint32_t *handles, size_t max) {
    return unclaimed_of_kind(SOFTFWD_KIND_ADJ, handles, max);
}
size_t softfwd_unclaimed_groups(uint32_t *handles, size_t max) {
    return unclaimed_of_kind(SOFTFWD_KIND_GROUP, handles, max);
}
