/* Whole tries: tearing down, measuring, and finding out after a crash which blocks are live. */
#include "host/containers/lpm_trie_private.h"

#include <cerrno>
#include <cstdlib>

/* A walk over all blocks of a trie, each after what it refers to. 'visit' gets each block once; false stops it. */
struct block_walk {
    const void *base;
    bool (*enter)(void *ctx, uint32_t slot, unsigned depth); /* before its slots are read */
    bool (*leave)(void *ctx, uint32_t slot, unsigned depth);
    void *ctx;
};

/* Depth is bounded by LPM_LEVELS_MAX: enter() refuses a block that does not lead further down. */
static bool walk_blocks(const block_walk &walk, uint32_t slot, unsigned depth) {
    if (slot == 0) return true;
    if (!walk.enter(walk.ctx, slot, depth)) return false;
    if (lpm_slot_kind(slot) == LPM_SKIP) {
        const auto *tail = lpm_at<lpm_tail>(walk.base, slot);
        if (!walk_blocks(walk, tail->word, lpm_tail_length(tail))) return false;
    } else if (lpm_slot_kind(slot) == LPM_NODE) {
        const auto *node = lpm_at<lpm_node>(walk.base, slot);
        const unsigned count = lpm_child_count(node);
        for (unsigned i = 0; i < count; i++)
            if (!walk_blocks(walk, lpm_slots(node)[i], depth + LPM_STRIDE)) return false;
    } else if (lpm_slot_kind(slot) == LPM_FAN) {
        const auto *fan = lpm_at<lpm_fan>(walk.base, slot);
        if (!walk_blocks(walk, fan->shorter, 0)) return false;
        for (uint32_t i = 0; i < LPM_FAN_SLOTS; i++)
            if (!walk_blocks(walk, lpm_fan_slots(fan)[i], LPM_FAN_BITS)) return false;
    }
    return walk.leave(walk.ctx, slot, depth);
}

static bool nothing_to_do(void *, uint32_t, unsigned) { return true; }

static bool retire_block(void *ctx, uint32_t slot, unsigned depth) {
    auto *arena = static_cast<lpm_arena *>(ctx);
    lpm_arena_retire(arena, lpm_slot_block(slot), lpm_block_units(arena->base, slot, depth));
    return true;
}

void lpm_clear(lpm_arena *arena, lpm_trie *trie) {
    const uint32_t root = trie->root;
    lpm_publish(&trie->root, 0);
    trie->route_count = 0;
    (void)walk_blocks({arena->base, nothing_to_do, retire_block, arena}, root, 0);
    arena->change_count++;
}

struct size_count {
    const void *base;
    uint64_t units;
};

static bool count_block(void *ctx, uint32_t slot, unsigned depth) {
    auto *count = static_cast<size_count *>(ctx);
    count->units += lpm_block_units(count->base, slot, depth);
    return true;
}

uint64_t lpm_trie_bytes(const void *base, const lpm_trie *trie) {
    size_count count{base, 0};
    (void)walk_blocks({base, nothing_to_do, count_block, &count}, trie->root, 0);
    return count.units * LPM_UNIT_BYTES;
}

/* --- recovery --- */

struct marking {
    lpm_rebuild *rebuild;
    uint32_t root; /* of the trie: only it may be a fan */
    uint32_t routes;
};

static bool marked(const lpm_rebuild *rebuild, uint32_t unit) {
    return (rebuild->marks[unit / 64] >> (unit % 64) & 1) != 0;
}

/* Claims the units of a block. False when they are not the trie's to use, or another block's already. */
static bool mark_units(lpm_rebuild *rebuild, uint32_t unit, uint32_t units) {
    const lpm_arena_head *head = rebuild->arena->head;
    if (unit < head->first || unit > head->bump || units > head->bump - unit) return false;
    for (uint32_t i = unit; i < unit + units; i++) {
        if (marked(rebuild, i)) return false;
        rebuild->marks[i / 64] |= lpm_bit(i % 64);
    }
    rebuild->live_units += units;
    return true;
}

static bool tail_is_sound(const lpm_tail *tail, lpm_kind kind, unsigned depth) {
    const unsigned length = lpm_tail_length(tail);
    if (tail->word == 0 || length > LPM_BITS_MAX) return false;
    if (kind == LPM_LEAF) return length > depth || depth == 0;
    return length > depth && length % LPM_STRIDE == 0 && lpm_slot_kind(tail->word) == LPM_NODE;
}

static bool node_is_sound(const lpm_node *node, unsigned depth) {
    const uint64_t possible_upper = depth == 0 ? ~uint64_t{1} : ~uint64_t{3};
    return depth < LPM_BITS_MAX && (node->upper & ~possible_upper) == 0 &&
           lpm_child_count(node) + lpm_value_count(node) >= 2;
}

static bool values_are_sound(const lpm_node *node) {
    const unsigned children = lpm_child_count(node), all = children + lpm_value_count(node);
    for (unsigned i = 0; i < all; i++)
        if (lpm_slots(node)[i] == 0) return false;
    return true;
}

/* A block is measured only after its head was seen to lie in the arena. */
static bool mark_block(void *ctx, uint32_t slot, unsigned depth) {
    auto *mark = static_cast<marking *>(ctx);
    const lpm_arena *arena = mark->rebuild->arena;
    const lpm_kind kind = lpm_slot_kind(slot);
    const uint32_t unit = lpm_slot_block(slot), least = kind == LPM_NODE ? lpm_node_units(2) : 1;
    if (unit < arena->head->first || unit >= arena->head->bump) return false;
    if (kind == LPM_FAN) return slot == mark->root && mark_units(mark->rebuild, unit, LPM_FAN_UNITS);
    if (least > arena->head->bump - unit) return false;
    if (kind == LPM_NODE) {
        const auto *node = lpm_at<lpm_node>(arena->base, slot);
        if (!node_is_sound(node, depth)) return false;
        if (!mark_units(mark->rebuild, unit, lpm_block_units(arena->base, slot, depth))) return false;
        mark->routes += lpm_value_count(node);
        return values_are_sound(node);
    }
    if (!tail_is_sound(lpm_at<lpm_tail>(arena->base, slot), kind, depth)) return false;
    mark->routes += kind == LPM_LEAF ? 1 : 0;
    return mark_units(mark->rebuild, unit, lpm_block_units(arena->base, slot, depth));
}

int lpm_rebuild_begin(lpm_rebuild *rebuild, lpm_arena *arena) {
    *rebuild = {};
    rebuild->arena = arena;
    rebuild->mark_words = uint64_t{arena->head->bump} / 64 + 1;
    rebuild->marks = static_cast<uint64_t *>(std::calloc(rebuild->mark_words, sizeof(uint64_t)));
    return rebuild->marks == nullptr ? ENOMEM : 0;
}

int lpm_rebuild_mark(lpm_rebuild *rebuild, lpm_trie *trie) {
    marking mark{rebuild, trie->root, 0};
    if (!walk_blocks({rebuild->arena->base, mark_block, nothing_to_do, &mark}, trie->root, 0)) return EBADMSG;
    if (mark.routes == 0 && trie->root != 0) return EBADMSG;
    trie->route_count = mark.routes;
    return 0;
}

/* The first unit at or behind 'unit' that is marked as 'wanted'; 'end' when there is none. */
static uint32_t next_mark(const lpm_rebuild *rebuild, uint32_t unit, uint32_t end, bool wanted) {
    while (unit < end) {
        uint64_t word = rebuild->marks[unit / 64];
        if (!wanted) word = ~word;
        word >>= unit % 64;
        if (word != 0) {
            unit += static_cast<uint32_t>(__builtin_ctzll(word));
            return unit < end ? unit : end;
        }
        unit += 64 - unit % 64;
    }
    return end;
}

void lpm_rebuild_end(lpm_rebuild *rebuild) {
    lpm_arena *arena = rebuild->arena;
    const uint32_t end = arena->head->bump;
    uint32_t live_end = arena->head->first;
    lpm_arena_restart(arena, end);
    for (uint32_t unit = arena->head->first; unit < end;) {
        const uint32_t live = next_mark(rebuild, unit, end, true);
        if (live == end) break;
        lpm_arena_give_gap(arena, unit, live - unit);
        live_end = unit = next_mark(rebuild, live, end, false);
    }
    arena->head->bump = live_end;
    lpm_rebuild_cancel(rebuild);
}

void lpm_rebuild_cancel(lpm_rebuild *rebuild) {
    std::free(rebuild->marks);
    *rebuild = {};
}
