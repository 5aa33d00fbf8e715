#include "softfwd/softfwd_pool.h"

#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_engine.h"

/* A fresh index, with memory under it. */
static uint32_t fresh(uint32_t *bump, uint32_t room, softfwd_region_id region, uint32_t element) {
    const uint32_t index = *bump;
    if (index >= room) return 0;
    softfwd_region *where = &softfwd_state.head->regions[region];
    const uint64_t end = (uint64_t{index} + 1) * element;
    if (end > where->a_committed && softfwd_region_ensure(&softfwd_state.tables, where, end) != 0) return 0;
    softfwd_store(bump, index + 1);
    return index;
}

uint32_t softfwd_table_take() {
    softfwd_engine *engine = &softfwd_state;
    const uint32_t index = engine->free_table;
    if (index == 0)
        return fresh(&engine->head->table_bump, SOFTFWD_TABLES_ROOM, SOFTFWD_REGION_TABLES,
                     sizeof(softfwd_table));
    engine->free_table = engine->table[index].a_chain;
    return index;
}

void softfwd_table_release(uint32_t index) {
    softfwd_engine *engine = &softfwd_state;
    softfwd_table *table = &engine->table[index];
    table->state = SOFTFWD_FREE;
    if (softfwd_config_get()->never_reuse_handles) return;
    softfwd_store(&table->a_chain, engine->free_table);
    engine->free_table = index;
}

bool softfwd_hit_take(uint32_t handle) {
    uint64_t *hits = softfwd_state.hits;
    if (!softfwd_hit_get(hits, handle)) return false;
    __atomic_fetch_and(&hits[handle / 64], ~(uint64_t{1} << (handle % 64)), __ATOMIC_RELAXED);
    return true;
}

static bool hits_ensure(uint32_t handle) {
    softfwd_engine *engine = &softfwd_state;
    softfwd_region *region = &engine->counter_head->hits;
    const uint64_t end = (uint64_t{handle} / 64 + 1) * sizeof(uint64_t);
    return end <= region->a_committed || softfwd_region_ensure(&engine->counters, region, end) == 0;
}

uint32_t softfwd_prefix_take() {
    softfwd_engine *engine = &softfwd_state;
    uint32_t handle = engine->free_prefix;
    if (handle != 0) {
        engine->free_prefix = engine->prefix[handle].table;
    } else {
        if (!hits_ensure(engine->head->prefix_bump)) return 0;
        handle = fresh(&engine->head->prefix_bump, SOFTFWD_PREFIXES_ROOM, SOFTFWD_REGION_PREFIXES,
                       sizeof(softfwd_prefix));
    }
    if (handle != 0) (void)softfwd_hit_take(handle);
    return handle;
}

void softfwd_prefix_release(uint32_t handle) {
    softfwd_engine *engine = &softfwd_state;
    softfwd_prefix *entry = &engine->prefix[handle];
    entry->state = SOFTFWD_FREE;
    if (softfwd_config_get()->never_reuse_handles) return;
    entry->table = engine->free_prefix;
    engine->free_prefix = handle;
}

static bool counter_clear(uint32_t handle) {
    softfwd_engine *engine = &softfwd_state;
    softfwd_region *region = &engine->counter_head->adjs;
    if (softfwd_region_ensure(&engine->counters, region,
                              (uint64_t{handle} + 1) * sizeof(softfwd_adj_counter)) != 0)
        return false;
    softfwd_adj_counter *counter = &engine->counts[handle];
    __atomic_store_n(&counter->a_packets, 0, __ATOMIC_RELAXED);
    __atomic_store_n(&counter->a_bytes, 0, __ATOMIC_RELAXED);
    counter->read_packets = counter->read_bytes = 0;
    return true;
}

uint32_t softfwd_adj_take() {
    softfwd_engine *engine = &softfwd_state;
    uint32_t handle = engine->free_adj;
    if (handle != 0)
        engine->free_adj = softfwd_place_index(engine->directory[handle]);
    else
        handle =
            fresh(&engine->head->adj_bump, SOFTFWD_ADJS_ROOM, SOFTFWD_REGION_DIRECTORY, sizeof(uint32_t));
    if (handle == 0) return 0;
    softfwd_store(&engine->directory[handle], softfwd_place(SOFTFWD_KIND_NONE, 0));
    if (counter_clear(handle)) return handle;
    softfwd_adj_release(handle);
    return 0;
}

void softfwd_adj_release(uint32_t handle) {
    softfwd_engine *engine = &softfwd_state;
    const uint32_t record = softfwd_place_index(engine->directory[handle]);
    if (softfwd_place_kind(engine->directory[handle]) == SOFTFWD_KIND_ADJ_LEAVING)
        softfwd_record_release(record);
    if (softfwd_config_get()->never_reuse_handles) {
        softfwd_store(&engine->directory[handle], softfwd_place(SOFTFWD_KIND_NONE, 0));
        return;
    }
    softfwd_store(&engine->directory[handle], softfwd_place(SOFTFWD_KIND_FREE, engine->free_adj));
    engine->free_adj = handle;
}

uint32_t softfwd_record_take() {
    softfwd_engine *engine = &softfwd_state;
    const uint32_t index = engine->free_record;
    if (index == 0)
        return fresh(&engine->head->record_bump, SOFTFWD_RECORDS_ROOM, SOFTFWD_REGION_RECORDS,
                     sizeof(softfwd_adj));
    engine->free_record = engine->record[index].handle;
    return index;
}

void softfwd_record_release(uint32_t index) {
    softfwd_state.record[index].handle = softfwd_state.free_record;
    softfwd_state.free_record = index;
}
