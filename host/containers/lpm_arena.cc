#include "host/containers/lpm_arena.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <sys/mman.h>

static constexpr uint64_t ARENA_MAGIC = 0x3161726e65617470ull;
static constexpr uint64_t GROW_BYTES_MIN = 256 * 1024;
static constexpr uint64_t GROW_BYTES_MAX = 16 * 1024 * 1024;

static uint32_t *block_word(const lpm_arena *arena, uint32_t block) {
    return reinterpret_cast<uint32_t *>(arena->base + uint64_t{block} * LPM_UNIT_BYTES);
}

static void list_push(lpm_arena *arena, uint32_t block, uint32_t units) {
    lpm_arena_head *head = arena->head;
    *block_word(arena, block) = head->free_list[units];
    head->free_list[units] = block;
    head->free_map[units / 64] |= uint64_t{1} << (units % 64);
    head->free_units += units;
    arena->freed_since_merge += units;
}

static uint32_t list_pop(lpm_arena *arena, uint32_t units) {
    lpm_arena_head *head = arena->head;
    const uint32_t block = head->free_list[units];
    head->free_list[units] = *block_word(arena, block);
    if (head->free_list[units] == 0) head->free_map[units / 64] &= ~(uint64_t{1} << (units % 64));
    head->free_units -= units;
    return block;
}

/* The smallest size of at least 'units' that has a free block, or 0. */
static uint32_t size_with_free_block(const lpm_arena_head *head, uint32_t units) {
    uint32_t word = units / 64;
    uint64_t map = head->free_map[word] >> (units % 64);
    if (map != 0) return units + static_cast<uint32_t>(__builtin_ctzll(map));
    if (word == 0 && head->free_map[1] != 0)
        return 64 + static_cast<uint32_t>(__builtin_ctzll(head->free_map[1]));
    return 0;
}

static uint32_t cut_larger(lpm_arena *arena, uint32_t units) {
    const uint32_t size = size_with_free_block(arena->head, units);
    if (size == 0) return 0;
    const uint32_t block = list_pop(arena, size);
    if (size > units) list_push(arena, block + units, size - units);
    return block;
}

/* What removals may still have when additions are refused: a removal of each size in turn, from the smallest, frees
 * a block that is too small for the next; together they take this much. */
static constexpr uint32_t RESERVE_UNITS = LPM_BLOCK_UNITS_MAX * (LPM_BLOCK_UNITS_MAX + 1) / 2;
static uint32_t removal_reserve(const lpm_arena_head *head) {
    return head->limit / 8 < RESERVE_UNITS ? head->limit / 8 : RESERVE_UNITS;
}

bool lpm_arena_has_room(lpm_arena *arena, uint32_t units) {
    lpm_arena_head *head = arena->head;
    const uint32_t want = units + removal_reserve(head);
    if (head->limit - head->bump < want && arena->hooks.grow != nullptr)
        head->limit = arena->hooks.grow(arena->hooks.ctx, head->bump + want);
    return head->limit - head->bump >= units + removal_reserve(head);
}

static uint32_t take_fresh(lpm_arena *arena, uint32_t units, bool for_removal) {
    lpm_arena_head *head = arena->head;
    if (!lpm_arena_has_room(arena, units) && (!for_removal || head->limit - head->bump < units)) return 0;
    const uint32_t block = head->bump;
    head->bump += units;
    return block;
}

/* Joins free neighbours. Takes time in proportion to the arena, so an arena that stays full does it again only after
 * much was freed. */
static bool merge_free(lpm_arena *arena, bool for_removal) {
    lpm_arena_head *head = arena->head;
    if (arena->freed_since_merge == 0 || head->free_units == 0) return false;
    if (!for_removal && arena->freed_since_merge < head->limit / 16) return false;
    auto *gaps = static_cast<uint64_t *>(std::calloc(head->bump / 64 + 1, sizeof(uint64_t)));
    if (gaps == nullptr) return false;
    for (uint32_t units = 1; units <= LPM_BLOCK_UNITS_MAX; units++)
        for (uint32_t block = head->free_list[units]; block != 0; block = *block_word(arena, block))
            for (uint32_t i = block; i < block + units; i++) gaps[i / 64] |= uint64_t{1} << (i % 64);
    const uint32_t held = head->held_units, end = head->bump;
    lpm_arena_restart(arena, end);
    head->held_units = held;
    uint32_t gap = 0;
    for (uint32_t i = head->first; i < end; i++) {
        if ((gaps[i / 64] >> (i % 64) & 1) != 0) {
            gap++;
        } else {
            lpm_arena_give_gap(arena, i - gap, gap);
            gap = 0;
        }
    }
    head->bump = end - gap;
    arena->freed_since_merge = 0;
    std::free(gaps);
    return true;
}

static uint32_t take_once(lpm_arena *arena, uint32_t units, bool for_removal) {
    lpm_arena_head *head = arena->head;
    if (head->free_list[units] != 0) return list_pop(arena, units);
    /* A fresh block keeps neighbours together; cutting is for arenas with much waste, and for removals, whose
     * reserve must last. */
    const bool full = head->limit - head->bump < 2 * removal_reserve(head);
    if (head->free_units > head->bump / 8 || (for_removal && full)) {
        const uint32_t cut = cut_larger(arena, units);
        if (cut != 0) return cut;
    }
    const uint32_t fresh = take_fresh(arena, units, for_removal);
    return fresh != 0 ? fresh : cut_larger(arena, units);
}

static uint32_t take_one(lpm_arena *arena, uint32_t units, bool for_removal) {
    if (units > LPM_BLOCK_UNITS_MAX) return take_fresh(arena, units, for_removal);
    const uint32_t block = take_once(arena, units, for_removal);
    if (block != 0 || !merge_free(arena, for_removal)) return block;
    return take_once(arena, units, for_removal);
}

int lpm_arena_take(lpm_arena *arena, const uint32_t *units, unsigned count, bool for_removal,
                   uint32_t *blocks) {
    for (unsigned i = 0; i < count; i++) {
        blocks[i] = take_one(arena, units[i], for_removal);
        if (blocks[i] != 0) continue;
        while (i-- > 0) lpm_arena_give_gap(arena, blocks[i], units[i]);
        return ENOMEM;
    }
    return 0;
}

void lpm_arena_give_gap(lpm_arena *arena, uint32_t unit, uint32_t units) {
    while (units > LPM_BLOCK_UNITS_MAX) {
        list_push(arena, unit, LPM_BLOCK_UNITS_MAX);
        unit += LPM_BLOCK_UNITS_MAX;
        units -= LPM_BLOCK_UNITS_MAX;
    }
    if (units > 0) list_push(arena, unit, units);
}

void lpm_arena_retire(lpm_arena *arena, uint32_t block, uint32_t units) {
    if (arena->hooks.retire == nullptr) {
        lpm_arena_give_gap(arena, block, units);
        return;
    }
    arena->head->held_units += units;
    arena->hooks.retire(arena->hooks.ctx, block, units);
}

void lpm_arena_free(lpm_arena *arena, uint32_t block, uint32_t units) {
    arena->head->held_units -= units;
    lpm_arena_give_gap(arena, block, units);
}

void lpm_arena_restart(lpm_arena *arena, uint32_t bump) {
    lpm_arena_head *head = arena->head;
    head->bump = bump;
    head->free_units = 0;
    head->held_units = 0;
    std::memset(head->free_map, 0, sizeof head->free_map);
    std::memset(head->free_list, 0, sizeof head->free_list);
    arena->change_count++;
}

static void handle_fill(lpm_arena *arena, lpm_arena_head *head, void *base, const lpm_arena_hooks *hooks) {
    *arena = {};
    arena->base = static_cast<uint8_t *>(base);
    arena->head = head;
    if (hooks != nullptr) arena->hooks = *hooks;
    arena->change_count = 1;
}

int lpm_arena_init(lpm_arena *arena, lpm_arena_head *head, void *base, uint64_t bytes,
                   const lpm_arena_hooks *hooks) {
    if (bytes < LPM_ARENA_BYTES_MIN || bytes > LPM_ARENA_BYTES_MAX) return EINVAL;
    if (reinterpret_cast<uintptr_t>(base) % LPM_UNIT_BYTES != 0) return EINVAL;
    handle_fill(arena, head, base, hooks);
    *head = {};
    head->magic = ARENA_MAGIC;
    head->limit = static_cast<uint32_t>(bytes / LPM_UNIT_BYTES);
    head->first = 1; /* 0 is no block */
    lpm_arena_restart(arena, head->first);
    return 0;
}

int lpm_arena_attach(lpm_arena *arena, lpm_arena_head *head, void *base, uint64_t bytes,
                     const lpm_arena_hooks *hooks) {
    if (reinterpret_cast<uintptr_t>(base) % LPM_UNIT_BYTES != 0 || bytes > LPM_ARENA_BYTES_MAX)
        return EBADMSG;
    if (head->magic != ARENA_MAGIC || head->limit > bytes / LPM_UNIT_BYTES) return EBADMSG;
    if (head->first == 0 || head->first > head->bump || head->bump > head->limit) return EBADMSG;
    handle_fill(arena, head, base, hooks);
    return 0;
}

static uint32_t private_grow(void *ctx, uint32_t units) {
    auto *arena = static_cast<lpm_arena *>(ctx);
    const uint64_t now = uint64_t{arena->head->limit} * LPM_UNIT_BYTES;
    uint64_t step = now < GROW_BYTES_MIN ? GROW_BYTES_MIN : now > GROW_BYTES_MAX ? GROW_BYTES_MAX : now;
    while (now + step < uint64_t{units} * LPM_UNIT_BYTES) step += GROW_BYTES_MIN;
    if (now + step > arena->reserved_bytes) step = arena->reserved_bytes - now;
    if (step == 0 || mprotect(arena->base + now, step, PROT_READ | PROT_WRITE) != 0)
        return arena->head->limit;
    return static_cast<uint32_t>((now + step) / LPM_UNIT_BYTES);
}

int lpm_arena_private_create(lpm_arena *arena, uint64_t bytes) {
    if (bytes > LPM_ARENA_BYTES_MAX) bytes = LPM_ARENA_BYTES_MAX;
    void *base = MAP_FAILED;
    for (; bytes >= GROW_BYTES_MIN; bytes /= 2) {
        bytes -= bytes % GROW_BYTES_MIN;
        base = mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (base != MAP_FAILED) break;
    }
    if (base == MAP_FAILED) return ENOMEM;
    if (mprotect(base, GROW_BYTES_MIN, PROT_READ | PROT_WRITE) != 0) {
        munmap(base, bytes);
        return ENOMEM;
    }
    const lpm_arena_hooks hooks{private_grow, nullptr, arena};
    const int status =
        lpm_arena_init(arena, static_cast<lpm_arena_head *>(base), base, GROW_BYTES_MIN, &hooks);
    arena->head->first = (sizeof(lpm_arena_head) + LPM_UNIT_BYTES - 1) / LPM_UNIT_BYTES;
    lpm_arena_restart(arena, arena->head->first);
    arena->reserved_bytes = bytes;
    return status;
}

void lpm_arena_private_destroy(lpm_arena *arena) {
    if (arena->base != nullptr) munmap(arena->base, arena->reserved_bytes);
    *arena = {};
}

uint64_t lpm_arena_used_bytes(const lpm_arena *arena) {
    const lpm_arena_head *head = arena->head;
    return uint64_t{head->bump - head->first - head->free_units - head->held_units} * LPM_UNIT_BYTES;
}

uint64_t lpm_arena_touched_bytes(const lpm_arena *arena) {
    return uint64_t{arena->head->bump} * LPM_UNIT_BYTES;
}
