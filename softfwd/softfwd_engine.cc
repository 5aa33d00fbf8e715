#include "softfwd/softfwd_engine.h"

#include "host/system/root.h"
#include "host/system/system.h"
#include "softfwd/softfwd.h"
#include "softfwd/softfwd_commit.h"
#include "softfwd/softfwd_config.h"
#include "softfwd/softfwd_fault.h"
#include "softfwd/softfwd_pending.h"
#include "softfwd/softfwd_takeover.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

softfwd_engine softfwd_state;

static constexpr uint64_t ARENA_START_BYTES = 64 * 1024;
static constexpr uint64_t WRITER_LOCK_BYTE = 0;

static char last_message[256];

const char *softfwd_last_message() { return last_message; }
bool softfwd_is_open() { return softfwd_state.open; }

void softfwd_say(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(last_message, sizeof last_message, format, arguments);
    va_end(arguments);
    if (softfwd_config_get()->say != nullptr)
        softfwd_config_get()->say(last_message);
    else
        fprintf(stderr, "softfwd: %s\n", last_message);
}

/* --- the layout of the file of tables --- */

static const uint64_t region_bytes[SOFTFWD_REGION_COUNT] = {
    uint64_t{SOFTFWD_BUCKETS} * sizeof(uint32_t),
    uint64_t{SOFTFWD_TABLES_ROOM} * sizeof(softfwd_table),
    uint64_t{SOFTFWD_PREFIXES_ROOM} * sizeof(softfwd_prefix),
    uint64_t{SOFTFWD_ADJS_ROOM} * sizeof(uint32_t),
    uint64_t{SOFTFWD_RECORDS_ROOM} * sizeof(softfwd_adj),
    uint64_t{SOFTFWD_GROUP_UNITS_ROOM} * SOFTFWD_GROUP_UNIT,
    SOFTFWD_ARENA_ROOM,
    uint64_t{SOFTFWD_LOG_ENTRIES} * sizeof(softfwd_log_entry),
    uint64_t{SOFTFWD_RPF_ROOM} * sizeof(uint64_t),
};

uint64_t softfwd_layout_regions(softfwd_region regions[SOFTFWD_REGION_COUNT]) {
    uint64_t offset = SOFTFWD_HEADER_ROOM;
    for (int i = 0; i < SOFTFWD_REGION_COUNT; i++) {
        regions[i] = {offset, region_bytes[i], 0};
        offset += (region_bytes[i] + 4095) / 4096 * 4096;
    }
    return offset;
}

void softfwd_engine_bind() {
    softfwd_engine *engine = &softfwd_state;
    uint8_t *base = engine->tables.base;
    engine->head = reinterpret_cast<softfwd_header *>(base);
    const softfwd_region *regions = engine->head->regions;
    engine->buckets = reinterpret_cast<uint32_t *>(base + regions[SOFTFWD_REGION_BUCKETS].offset);
    engine->table = reinterpret_cast<softfwd_table *>(base + regions[SOFTFWD_REGION_TABLES].offset);
    engine->prefix = reinterpret_cast<softfwd_prefix *>(base + regions[SOFTFWD_REGION_PREFIXES].offset);
    engine->directory = reinterpret_cast<uint32_t *>(base + regions[SOFTFWD_REGION_DIRECTORY].offset);
    engine->record = reinterpret_cast<softfwd_adj *>(base + regions[SOFTFWD_REGION_RECORDS].offset);
    engine->group_units = base + regions[SOFTFWD_REGION_GROUPS].offset;
    engine->log = reinterpret_cast<softfwd_log_entry *>(base + regions[SOFTFWD_REGION_LOG].offset);
    engine->rpf = reinterpret_cast<uint64_t *>(base + regions[SOFTFWD_REGION_RPF].offset);
    engine->places = reinterpret_cast<softfwd_readers *>(engine->readers.base);
    engine->counter_head = reinterpret_cast<softfwd_counter_header *>(engine->counters.base);
    engine->hits = reinterpret_cast<uint64_t *>(engine->counters.base + engine->counter_head->hits.offset);
    engine->counts =
        reinterpret_cast<softfwd_adj_counter *>(engine->counters.base + engine->counter_head->adjs.offset);
}

/* --- the arena's wishes --- */

static uint32_t arena_grow(void *, uint32_t units) {
    softfwd_region *region = &softfwd_state.head->regions[SOFTFWD_REGION_ARENA];
    (void)softfwd_region_ensure(&softfwd_state.tables, region, uint64_t{units} * LPM_UNIT_BYTES);
    return static_cast<uint32_t>(region->a_committed / LPM_UNIT_BYTES);
}

static void arena_retire(void *, uint32_t block, uint32_t units) {
    softfwd_grace_retire(SOFTFWD_GARBAGE_BLOCK, block, units);
}

static const lpm_arena_hooks arena_hooks = {arena_grow, arena_retire, nullptr};

int softfwd_arena_attach() {
    softfwd_engine *engine = &softfwd_state;
    const softfwd_region *region = &engine->head->regions[SOFTFWD_REGION_ARENA];
    return lpm_arena_attach(&engine->arena, &engine->head->arena, engine->tables.base + region->offset,
                            region->a_committed, &arena_hooks);
}

/* --- the readers' places and the counters: kept when they are good, else made anew --- */

static int readers_create(softfwd_file *file, const char *path) {
    int status = softfwd_file_create(file, path, sizeof(softfwd_readers));
    if (status != 0) return status;
    auto *readers = reinterpret_cast<softfwd_readers *>(file->base);
    readers->magic = SOFTFWD_READERS_MAGIC;
    readers->layout = SOFTFWD_LAYOUT;
    readers->identity = softfwd_identity();
    readers->a_epoch = 1;
    status = softfwd_file_publish(path);
    if (status != 0) softfwd_file_close(file);
    return status;
}

static int readers_open(softfwd_file *file, const char *path) {
    if (softfwd_file_open(file, path, true, sizeof(softfwd_readers)) == 0) {
        const auto *readers = reinterpret_cast<const softfwd_readers *>(file->base);
        if (readers->magic == SOFTFWD_READERS_MAGIC && readers->layout == SOFTFWD_LAYOUT &&
            readers->a_epoch != 0)
            return 0;
        softfwd_file_close(file);
    }
    return readers_create(file, path);
}

static constexpr softfwd_region hits_region = {SOFTFWD_COUNTER_HEADER_ROOM, SOFTFWD_HITS_BYTES, 0};
static constexpr softfwd_region counts_region = {SOFTFWD_COUNTER_HEADER_ROOM + SOFTFWD_HITS_BYTES,
                                                 SOFTFWD_ADJS_ROOM * sizeof(softfwd_adj_counter), 0};

static int counters_create(softfwd_file *file, const char *path) {
    int status = softfwd_file_create(file, path, SOFTFWD_COUNTERS_BYTES);
    if (status != 0) return status;
    auto *head = reinterpret_cast<softfwd_counter_header *>(file->base);
    *head = {SOFTFWD_COUNTERS_MAGIC, SOFTFWD_LAYOUT, 0, hits_region, counts_region};
    status = softfwd_file_publish(path);
    if (status != 0) softfwd_file_close(file);
    return status;
}

static bool region_good(const softfwd_region &region, const softfwd_region &want) {
    return region.offset == want.offset && region.bytes == want.bytes && region.a_committed <= want.bytes;
}

/* Whether the counters can be kept. */
static bool counters_open(softfwd_file *file, const char *path) {
    if (softfwd_file_open(file, path, true, SOFTFWD_COUNTERS_BYTES) != 0) return false;
    const auto *head = reinterpret_cast<const softfwd_counter_header *>(file->base);
    if (head->magic == SOFTFWD_COUNTERS_MAGIC && head->layout == SOFTFWD_LAYOUT &&
        region_good(head->hits, hits_region) && region_good(head->adjs, counts_region))
        return true;
    softfwd_file_close(file);
    return false;
}

/* --- opening --- */

struct softfwd_paths {
    char tables[SOFTFWD_PATH_MAX];
    char readers[SOFTFWD_PATH_MAX];
    char counters[SOFTFWD_PATH_MAX];
};

/* As before the opening. */
static void engine_clear() {
    softfwd_engine *engine = &softfwd_state;
    softfwd_grace_reset();
    free(engine->prefix_claims.bits);
    free(engine->table_claims.bits);
    free(engine->adj_claims.bits);
    softfwd_file_close(&engine->counters);
    softfwd_file_close(&engine->readers);
    softfwd_file_close(&engine->tables);
    *engine = softfwd_engine{};
}

static int header_create() {
    softfwd_engine *engine = &softfwd_state;
    softfwd_header *head = engine->head;
    head->layout = SOFTFWD_LAYOUT;
    head->header_bytes = sizeof *head;
    head->file_bytes = engine->tables.bytes;
    head->a_readers_identity = engine->places->identity;
    head->table_bump = head->prefix_bump = head->adj_bump = head->record_bump = head->group_bump = 1;
    const softfwd_region_id whole[] = {SOFTFWD_REGION_BUCKETS, SOFTFWD_REGION_LOG, SOFTFWD_REGION_RPF};
    for (const softfwd_region_id id : whole)
        if (softfwd_region_ensure(&engine->tables, &head->regions[id], head->regions[id].bytes) != 0)
            return ENOSPC;
    softfwd_region *arena = &head->regions[SOFTFWD_REGION_ARENA];
    if (softfwd_region_ensure(&engine->tables, arena, ARENA_START_BYTES) != 0) return ENOSPC;
    const int status = lpm_arena_init(&engine->arena, &head->arena, engine->tables.base + arena->offset,
                                      arena->a_committed, &arena_hooks);
    head->magic = SOFTFWD_TABLES_MAGIC;
    return status;
}

/* Tells readers of the tables that are in the way that others took their place. */
static void mark_replaced(softfwd_file *old) {
    if (old->base == nullptr || old->bytes < sizeof(softfwd_header)) return;
    softfwd_store(&reinterpret_cast<softfwd_header *>(old->base)->a_replaced, uint32_t{1});
}

static int tables_create(const softfwd_paths *paths) {
    softfwd_engine *engine = &softfwd_state;
    softfwd_region regions[SOFTFWD_REGION_COUNT];
    const uint64_t bytes = softfwd_layout_regions(regions);
    int status = softfwd_file_create(&engine->tables, paths->tables, bytes);
    if (status != 0) return status;
    if (!softfwd_file_lock(engine->tables.fd, WRITER_LOCK_BYTE)) return EBUSY;
    memcpy(reinterpret_cast<softfwd_header *>(engine->tables.base)->regions, regions, sizeof regions);
    status = readers_open(&engine->readers, paths->readers);
    if (status == 0) status = counters_create(&engine->counters, paths->counters);
    if (status != 0) return status;
    softfwd_engine_bind();
    status = header_create();
    return status != 0 ? status : softfwd_file_publish(paths->tables);
}

/* Memory under the counters of every handle that was ever given out. */
static bool counters_ensure() {
    softfwd_engine *engine = &softfwd_state;
    const uint64_t hits = (uint64_t{engine->head->prefix_bump} / 64 + 1) * sizeof(uint64_t);
    const uint64_t counts = uint64_t{engine->head->adj_bump} * sizeof(softfwd_adj_counter);
    return softfwd_region_ensure(&engine->counters, &engine->counter_head->hits, hits) == 0 &&
           softfwd_region_ensure(&engine->counters, &engine->counter_head->adjs, counts) == 0;
}

/* Takes over what stands in the file of tables. False when that cannot be used; said. */
static bool tables_adopt(const softfwd_paths *paths) {
    softfwd_engine *engine = &softfwd_state;
    const char *why = softfwd_takeover_header(&engine->tables);
    if (why == nullptr && readers_open(&engine->readers, paths->readers) != 0) why = "no place for readers";
    if (why == nullptr) {
        const bool kept = counters_open(&engine->counters, paths->counters);
        if (!kept && counters_create(&engine->counters, paths->counters) != 0) why = "no counters";
        /* Readers that still count into a lost file attach again. */
        if (why == nullptr && !kept)
            reinterpret_cast<softfwd_readers *>(engine->readers.base)->identity = softfwd_identity();
    }
    if (why == nullptr) {
        softfwd_engine_bind();
        softfwd_store(&engine->head->a_readers_identity, engine->places->identity);
        why = counters_ensure() ? softfwd_takeover() : "no memory for counters";
    }
    if (why == nullptr) return true;
    softfwd_say("the tables in %s cannot be used (%s): starting with empty ones", paths->tables, why);
    engine->tables = softfwd_file{}; /* the caller's */
    engine_clear();
    return false;
}

/* Opens the old file, if there is one, and locks it. False when another process serves it. */
static bool old_open(softfwd_file *old, const char *path) {
    if (softfwd_file_open(old, path, true, 1) != 0) return true;
    if (softfwd_file_lock(old->fd, WRITER_LOCK_BYTE)) return true;
    softfwd_file_close(old);
    return false;
}

static int tables_open(const softfwd_paths *paths, bool restart) {
    softfwd_engine *engine = &softfwd_state;
    softfwd_file old;
    if (!old_open(&old, paths->tables)) return EBUSY;
    if (restart && old.base == nullptr)
        softfwd_say("there are no tables in %s to take over: starting with empty ones", paths->tables);
    if (restart && old.base != nullptr) {
        engine->tables = old;
        if (tables_adopt(paths)) return 0;
    }
    const int status = tables_create(paths);
    if (status == 0) mark_replaced(&old);
    softfwd_file_close(&old);
    return status;
}

void softfwd_engine_open(bool restart) {
    softfwd_engine *engine = &softfwd_state;
    if (engine->open) return;
    const int wanted = softfwd_config_get()->slot;
    const auto slot = static_cast<uint32_t>(wanted >= 0 ? wanted : card_get_slot_num());
    softfwd_paths paths;
    int status = host_make_directories("/dev/shm");
    if (status == 0) status = softfwd_path(slot, "", paths.tables);
    if (status == 0) status = softfwd_path(slot, "_readers", paths.readers);
    if (status == 0) status = softfwd_path(slot, "_counters", paths.counters);
    if (status == 0) status = tables_open(&paths, restart);
    if (status != 0) {
        softfwd_say("cannot open the tables in %s: %s; every entry is refused", paths.tables,
                    status == EBUSY ? "another process serves them" : strerror(status));
        engine_clear();
        return;
    }
    engine->head->writer_pid = static_cast<uint32_t>(getpid());
    engine->head->generation++;
    engine->open = true;
}

void softfwd_reset() {
    softfwd_pending_reset();
    softfwd_fault_clear();
    softfwd_commit_reset();
    engine_clear();
    last_message[0] = '\0';
}
