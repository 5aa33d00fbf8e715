#include "host/containers/slab.h"

#include "host/containers/heap.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <sys/mman.h>

#if defined(__SANITIZE_ADDRESS__)
#define SLAB_POISONS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SLAB_POISONS 1
#endif
#endif
#ifdef SLAB_POISONS
#include <sanitizer/asan_interface.h>
static void poison(void *at, size_t bytes) { __asan_poison_memory_region(at, bytes); }
static void unpoison(void *at, size_t bytes) { __asan_unpoison_memory_region(at, bytes); }
#else
static void poison(void *, size_t) {}
static void unpoison(void *, size_t) {}
#endif

static constexpr uint64_t RANGE_BYTES = 1ull << 34; /* 2^31 numbers of 8 bytes */
static constexpr uint64_t RANGE_BYTES_MIN = 64ull << 20;
static constexpr uint64_t STEP_BYTES = 1ull << 20;
static constexpr uint64_t STEP_BYTES_MAX = 32ull << 20;
static constexpr unsigned KNOBS_MAX = 16;

struct slab_chunk {
    slab_chunk *next;
    uint64_t bytes;
};

/* A fault that waits for a slab of that name. */
struct slab_knob {
    char name[sizeof slab::name];
    uint32_t nth;
};

struct slab_state {
    uint8_t *range; /* reserved once and never given back: numbers hold for the life of the process */
    uint64_t range_bytes;
    uint64_t usable; /* bytes of the range that may be touched */
    uint64_t used;
    slab *first;
    slab_knob knobs[KNOBS_MAX];
    bool keep_failing;
};
static slab_state state;

static bool range_reserve() {
    for (uint64_t bytes = RANGE_BYTES; bytes >= RANGE_BYTES_MIN; bytes /= 2) {
        void *range = mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (range == MAP_FAILED) continue;
        state.range = static_cast<uint8_t *>(range);
        state.range_bytes = bytes;
        state.used = 8; /* number 0 is no object */
        return true;
    }
    return false;
}

/* Makes the range usable up to 'end' and some way further, so that a load of routes asks the system seldom. */
static bool range_open(uint64_t end) {
    const uint64_t step = state.usable < STEP_BYTES       ? STEP_BYTES
                          : state.usable > STEP_BYTES_MAX ? STEP_BYTES_MAX
                                                          : state.usable;
    uint64_t usable = (end + step - 1) / step * step;
    if (usable > state.range_bytes) usable = state.range_bytes;
    if (mprotect(state.range + state.usable, usable - state.usable, PROT_READ | PROT_WRITE) != 0)
        return false;
    state.usable = usable;
    return true;
}

static void *range_take(uint64_t bytes) {
    if (state.range == nullptr && !range_reserve()) return nullptr;
    if (bytes > state.range_bytes - state.used) return nullptr;
    const uint64_t end = state.used + bytes;
    if (end > state.usable && !range_open(end)) return nullptr;
    void *at = state.range + state.used;
    state.used = end;
    return at;
}

static uint32_t knob_take(const char *name) {
    for (slab_knob &knob : state.knobs) {
        if (knob.nth == 0 || std::strcmp(knob.name, name) != 0) continue;
        const uint32_t nth = knob.nth;
        knob.nth = 0;
        return nth;
    }
    return 0;
}

slab *slab_create(const char *name, size_t element_bytes, uint32_t per_slab) {
    if (element_bytes == 0 || element_bytes > (1u << 30) || per_slab == 0) return nullptr;
    auto *pool = static_cast<slab *>(heap_calloc(1, sizeof(slab)));
    if (pool == nullptr) return nullptr;
    (void)std::snprintf(pool->name, sizeof pool->name, "%s", name);
    pool->element_bytes = static_cast<uint32_t>((element_bytes + 7) / 8 * 8);
    pool->per_slab = per_slab;
    pool->fail_countdown = knob_take(pool->name);
    pool->next = state.first;
    state.first = pool;
    return pool;
}

static bool chunk_add(slab *pool) {
    const uint64_t bytes = uint64_t{pool->element_bytes} * pool->per_slab;
    auto *chunk = static_cast<slab_chunk *>(heap_calloc(1, sizeof(slab_chunk)));
    if (chunk == nullptr) return false;
    auto *objects = static_cast<uint8_t *>(range_take(bytes));
    if (objects == nullptr) {
        std::free(chunk);
        return false;
    }
    *chunk = {pool->chunks, bytes};
    pool->chunks = chunk;
    pool->fresh = objects;
    pool->fresh_end = objects + bytes;
    pool->capacity += pool->per_slab;
    poison(objects, bytes);
    return true;
}

/* A test's fault; counted down by each call while it is armed. */
static bool fault_strikes(slab *pool) {
    if (pool->fail_countdown == 0 || --pool->fail_countdown != 0) return false;
    if (state.keep_failing) pool->fail_countdown = 1;
    return true;
}

void *slab_calloc(slab *pool) {
    pool->calloc_count++;
    void *object = pool->free_head;
    const bool reuse = object != nullptr;
    if (fault_strikes(pool) || (!reuse && pool->fresh == pool->fresh_end && !chunk_add(pool))) {
        pool->failures++;
        return nullptr;
    }
    if (!reuse) {
        object = pool->fresh;
        pool->fresh += pool->element_bytes;
    }
    unpoison(object, pool->element_bytes);
    if (reuse) std::memcpy(&pool->free_head, object, sizeof(void *));
    std::memset(object, 0, pool->element_bytes);
    pool->in_use++;
    return object;
}

void slab_free(slab *pool, void *object) {
    if (object == nullptr) return;
    std::memcpy(object, &pool->free_head, sizeof(void *));
    pool->free_head = object;
    pool->in_use--;
    poison(object, pool->element_bytes);
}

uint64_t slab_bytes(const slab *pool) {
    uint64_t bytes = sizeof *pool;
    for (const slab_chunk *chunk = pool->chunks; chunk != nullptr; chunk = chunk->next)
        bytes += chunk->bytes + sizeof *chunk;
    return bytes;
}

slab *slab_first() { return state.first; }

slab *slab_find(const char *name) {
    for (slab *pool = state.first; pool != nullptr; pool = pool->next)
        if (std::strcmp(pool->name, name) == 0) return pool;
    return nullptr;
}

uint64_t slab_total_bytes() {
    uint64_t bytes = 0;
    for (const slab *pool = state.first; pool != nullptr; pool = pool->next) bytes += slab_bytes(pool);
    return bytes;
}

uint64_t slab_total_in_use() {
    uint64_t objects = 0;
    for (const slab *pool = state.first; pool != nullptr; pool = pool->next) objects += pool->in_use;
    return objects;
}

int slab_fail_nth(const char *name, uint32_t nth, bool keep_failing) {
    state.keep_failing = keep_failing;
    slab *pool = slab_find(name);
    if (pool != nullptr) {
        pool->fail_countdown = nth;
        return 0;
    }
    (void)knob_take(name);
    if (nth == 0) return 0;
    for (slab_knob &knob : state.knobs) {
        if (knob.nth != 0) continue;
        (void)std::snprintf(knob.name, sizeof knob.name, "%s", name);
        knob.nth = nth;
        return 0;
    }
    return ENOSPC;
}

static void pool_forget(slab *pool) {
    while (pool->chunks != nullptr) {
        slab_chunk *chunk = pool->chunks;
        pool->chunks = chunk->next;
        std::free(chunk);
    }
    std::free(pool);
}

void slab_release_all() {
    while (state.first != nullptr) {
        slab *pool = state.first;
        state.first = pool->next;
        pool_forget(pool);
    }
    if (state.usable != 0) {
        unpoison(state.range, state.usable);
        /* The pages go back to the system and read as zero when they are used again. */
        (void)madvise(state.range, state.usable, MADV_DONTNEED);
        state.used = 8;
    }
    std::memset(state.knobs, 0, sizeof state.knobs);
    state.keep_failing = false;
}

uint32_t slab_number(const void *object) {
    const auto at = reinterpret_cast<uintptr_t>(object);
    const auto range = reinterpret_cast<uintptr_t>(state.range);
    if (state.range == nullptr || at < range || at - range >= state.used || (at - range) % 8 != 0) return 0;
    return static_cast<uint32_t>((at - range) / 8);
}

void *slab_address(uint32_t number) { return state.range + uint64_t{number} * 8; }
