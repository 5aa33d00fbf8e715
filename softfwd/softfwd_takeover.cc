#include "softfwd/softfwd_takeover.h"

#include "softfwd/softfwd_check.h"
#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_engine.h"

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
        !bump_good(regions[SOFTFWD_REGION_RECORDS], head->record_bump, sizeof(softfwd_adj)))
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
        if (entry->state != SOFTFWD_FREE || entry->table != index || entry->family != table->family ||
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
    for (uint32_t i = 1; i < head->prefix_bump; i++) engine->prefix[i].state = SOFTFWD_FREE;
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

static void free_adjs_and_records(const uint64_t *records, bool handles_too) {
    softfwd_engine *engine = &softfwd_state;
    for (uint32_t i = engine->head->record_bump - 1; i != 0; i--) {
        if (bit_test(records, i)) continue;
        engine->record[i].handle = engine->free_record;
        engine->free_record = i;
    }
    for (uint32_t i = engine->head->adj_bump - 1; i != 0; i--) {
        if (softfwd_place_kind(engine->directory[i]) == SOFTFWD_KIND_ADJ) continue;
        engine->directory[i] = handles_too ? softfwd_place(SOFTFWD_KIND_FREE, engine->free_adj)
                                           : softfwd_place(SOFTFWD_KIND_NONE, 0);
        if (handles_too) engine->free_adj = i;
    }
}

static bool claims_new() {
    softfwd_engine *engine = &softfwd_state;
    engine->prefix_claims = {bits_new(engine->head->prefix_bump), engine->head->prefix_bump};
    engine->adj_claims = {bits_new(engine->head->adj_bump), engine->head->adj_bump};
    return engine->prefix_claims.bits != nullptr && engine->adj_claims.bits != nullptr;
}

const char *softfwd_takeover() {
    softfwd_engine *engine = &softfwd_state;
    if (!tables_find()) return "damaged list of tables";
    const bool quiet = softfwd_grace_wait(QUIET_TIMEOUT_MS);
    if (!tries_rebuild(quiet)) return "damaged trie";
    if (!prefixes_find()) return "damaged prefixes";
    uint64_t *records = bits_new(engine->head->record_bump);
    if (records == nullptr || !claims_new()) {
        free(records);
        return "no memory";
    }
    const bool good = adjs_find(records);
    const bool reuse = !softfwd_config_get()->never_reuse_handles;
    if (good && quiet) {
        if (reuse) free_tables_and_prefixes();
        free_adjs_and_records(records, reuse);
    } else if (good) {
        lpm_arena_restart(&engine->arena, engine->head->arena.bump);
        softfwd_say(
            "a reader stands still inside a look-up: freed memory is not reused before the next start");
    }
    free(records);
    return good ? nullptr : "damaged adjacencies";
}

static void claim(softfwd_claims *claims, uint32_t handle) {
    if (claims->bits != nullptr && handle < claims->limit) bit_set(claims->bits, handle);
}

void softfwd_prefix_claim(uint32_t handle) { claim(&softfwd_state.prefix_claims, handle); }
void softfwd_adj_claim(uint32_t handle) { claim(&softfwd_state.adj_claims, handle); }

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

size_t softfwd_unclaimed_adjacencies(uint32_t *handles, size_t max) {
    const softfwd_claims *claims = &softfwd_state.adj_claims;
    size_t count = 0;
    for (uint32_t i = 1; claims->bits != nullptr && i < claims->limit; i++) {
        if (softfwd_place_kind(softfwd_state.directory[i]) != SOFTFWD_KIND_ADJ || bit_test(claims->bits, i))
            continue;
        if (count < max) handles[count] = i;
        count++;
    }
    return count;
}
