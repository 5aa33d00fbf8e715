#include "softfwd/softfwd_pool.h"

#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_engine.h"

/* Fresh indexes in a row, with memory under them: the lowest. */
static uint32_t fresh_run(uint32_t *bump, uint32_t count, uint32_t room, softfwd_region_id region,
                          uint32_t element) {
    const uint32_t index = *bump;
    if (index >= room || count > room - index) return 0;
    softfwd_region *where = &softfwd_state.head->regions[region];
    const uint64_t end = (uint64_t{index} + count) * element;
    if (end > where->a_committed && softfwd_region_ensure(&softfwd_state.tables, where, end) != 0) return 0;
    softfwd_store(bump, index + count);
    return index;
}

static uint32_t fresh(uint32_t *bump, uint32_t room, softfwd_region_id region, uint32_t element) {
    return fresh_run(bump, 1, room, region, element);
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

/* --- runs: several indexes in a row --- */

/* Takes a run off its free list, or the start of a longer one, whose rest becomes a shorter run. Fresh indexes are
 * preferred to cutting: runs grow together again only at a take-over. */
template <typename Run> static uint32_t run_reuse(uint32_t count) {
    for (uint32_t length = count; length <= Run::LENGTH_MAX; length++) {
        const uint32_t first = Run::free_list()[length];
        if (first == 0) continue;
        Run::free_list()[length] = Run::next_get(first);
        if (length != count) Run::release(first + count, length - count);
        return first;
    }
    return 0;
}

template <typename Run> static uint32_t run_take(uint32_t count) {
    if (Run::free_list()[count] != 0) return run_reuse<Run>(count);
    const uint32_t first = fresh_run(Run::bump(), count, Run::ROOM, Run::REGION, Run::ELEMENT);
    return first != 0 ? first : run_reuse<Run>(count);
}

struct handle_run {
    static constexpr uint32_t LENGTH_MAX = SOFTFWD_MEMBERS_MAX, ROOM = SOFTFWD_ADJS_ROOM;
    static constexpr uint32_t ELEMENT = sizeof(uint32_t);
    static constexpr softfwd_region_id REGION = SOFTFWD_REGION_DIRECTORY;
    static uint32_t *free_list() { return softfwd_state.free_handles; }
    static uint32_t *bump() { return &softfwd_state.head->adj_bump; }
    static uint32_t next_get(uint32_t at) { return softfwd_place_index(softfwd_state.directory[at]); }
    static void release(uint32_t at, uint32_t count) { softfwd_handles_release(at, count); }
};

struct group_unit_run {
    static constexpr uint32_t LENGTH_MAX = SOFTFWD_GROUP_UNITS_MAX;
    /* No record begins so near the end that a reader could not check it. */
    static constexpr uint32_t ROOM = SOFTFWD_GROUP_UNITS_ROOM - SOFTFWD_GROUP_UNITS_MAX;
    static constexpr uint32_t ELEMENT = SOFTFWD_GROUP_UNIT;
    static constexpr softfwd_region_id REGION = SOFTFWD_REGION_GROUPS;
    static uint32_t *free_list() { return softfwd_state.free_group_units; }
    static uint32_t *bump() { return &softfwd_state.head->group_bump; }
    static uint32_t next_get(uint32_t at) { return softfwd_group_record(at)->handle; }
    static void release(uint32_t at, uint32_t count) { softfwd_group_record_release(at, count); }
};

/* --- handles of next objects --- */

static uint32_t handles_take(uint32_t count) {
    const uint32_t first = run_take<handle_run>(count);
    for (uint32_t i = 0; first != 0 && i < count; i++) {
        softfwd_store(&softfwd_state.directory[first + i], softfwd_place(SOFTFWD_KIND_NONE, 0));
        if (counter_clear(first + i)) continue;
        softfwd_handles_release(first, count);
        return 0;
    }
    return first;
}

void softfwd_handles_release(uint32_t handle, uint32_t count) {
    softfwd_engine *engine = &softfwd_state;
    const bool reuse = !softfwd_config_get()->never_reuse_handles;
    for (uint32_t i = 1; i < count; i++)
        softfwd_store(&engine->directory[handle + i], softfwd_place(SOFTFWD_KIND_NONE, 0));
    softfwd_store(&engine->directory[handle],
                  reuse ? softfwd_place(SOFTFWD_KIND_FREE, engine->free_handles[count])
                        : softfwd_place(SOFTFWD_KIND_NONE, 0));
    if (reuse) engine->free_handles[count] = handle;
}

uint32_t softfwd_adj_take() { return handles_take(1); }

void softfwd_adj_release(uint32_t handle) {
    const uint32_t place = softfwd_state.directory[handle];
    if (softfwd_place_kind(place) == SOFTFWD_KIND_ADJ_LEAVING)
        softfwd_record_release(softfwd_place_index(place));
    softfwd_handles_release(handle, 1);
}

uint32_t softfwd_group_handles_take(uint32_t size) { return handles_take(size); }

void softfwd_group_handles_release(uint32_t handle) {
    const uint32_t unit = softfwd_place_index(softfwd_state.directory[handle]);
    const uint32_t size = softfwd_group_record(unit)->size;
    softfwd_group_record_release(unit, softfwd_group_units(size));
    softfwd_handles_release(handle, size);
}

/* --- records of groups --- */

softfwd_group *softfwd_group_record(uint32_t unit) {
    return reinterpret_cast<softfwd_group *>(softfwd_state.group_units + uint64_t{unit} * SOFTFWD_GROUP_UNIT);
}

uint32_t softfwd_group_record_take(uint32_t units) { return run_take<group_unit_run>(units); }

void softfwd_group_record_release(uint32_t unit, uint32_t units) {
    softfwd_group_record(unit)->handle = softfwd_state.free_group_units[units];
    softfwd_state.free_group_units[units] = unit;
}

/* --- records of adjacencies --- */

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
