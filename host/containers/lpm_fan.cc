/* The change of a trie's root from a node to a fan. What hangs at 18 bits stays where it is; only the nodes above it,
 * and leaves and skips that reach across, are built anew: beside the old ones, published by the one store of the
 * root, and then the old ones are retired. */
#include "host/containers/lpm_trie_private.h"

#include <cstring>

/* A fan is worth its megabyte for this many routes, and when this many of its slots would be used. */
static constexpr uint32_t FAN_ROUTES_MIN = 65536;
static constexpr uint32_t FAN_USED_MIN = LPM_FAN_SLOTS / 32;

/* What is left above 18 bits of a part of the trie: nothing, a node or one route. */
struct short_part {
    enum { none, node, route } kind;
    lpm_bits key;
    unsigned length;
    uint32_t word; /* slot of the node, which lies at depth 'length'; value of the route */
};

struct fan_build {
    lpm_update update; /* reused for each block: room for all was made sure before */
    lpm_fan *fan;
};

static lpm_bits branch_key(lpm_bits key, unsigned depth, unsigned branch) {
    return key | static_cast<lpm_bits>(branch) << (LPM_BITS_MAX - LPM_STRIDE) >> depth;
}

/* --- is it worth it, and what does it take --- */

struct fan_count {
    uint32_t used_slots;
    uint32_t units; /* no more than this is built above the slots */
};

static void count_part(const void *base, uint32_t slot, unsigned depth, fan_count *count) {
    count->units += 3; /* a leaf or skip may be built in its place */
    if (depth == LPM_FAN_BITS) {
        count->used_slots++;
        return;
    }
    if (lpm_slot_kind(slot) == LPM_NODE) {
        const auto *node = lpm_at<lpm_node>(base, slot);
        const unsigned children = lpm_child_count(node);
        count->units += lpm_block_units(base, slot, depth) + 3;
        for (unsigned i = 0; i < children; i++)
            count_part(base, lpm_slots(node)[i], depth + LPM_STRIDE, count);
        return;
    }
    const auto *tail = lpm_at<lpm_tail>(base, slot);
    if (lpm_slot_kind(slot) == LPM_LEAF || lpm_tail_length(tail) > LPM_FAN_BITS)
        count->used_slots++;
    else
        count_part(base, tail->word, lpm_tail_length(tail), count);
}

/* --- building --- */

static uint32_t tail_build(fan_build *build, lpm_kind kind, unsigned depth, lpm_bits key, unsigned length,
                           uint32_t word) {
    build->update.planned = 0;
    lpm_plan(&build->update, lpm_tail_units(length - depth));
    if (lpm_plan_take(&build->update, false) != 0) return 0;
    return lpm_tail_write(&build->update, kind, depth, key, length, word);
}

/* The slot of a part that hangs at 'depth'. */
static uint32_t part_slot(fan_build *build, const short_part &part, unsigned depth) {
    if (part.kind == short_part::none) return 0;
    if (part.kind == short_part::route)
        return tail_build(build, LPM_LEAF, depth, part.key, part.length, part.word);
    if (part.length == depth) return part.word;
    return tail_build(build, LPM_SKIP, depth, part.key, part.length, part.word);
}

static void fan_put(fan_build *build, lpm_bits key, uint32_t slot) { *lpm_fan_slot(build->fan, key) = slot; }

static short_part split_part(fan_build *build, uint32_t slot, unsigned depth, lpm_bits key);

static short_part split_tail(fan_build *build, uint32_t slot, unsigned depth, lpm_bits key) {
    const lpm_kind kind = lpm_slot_kind(slot);
    const auto *tail = lpm_at<lpm_tail>(build->update.arena->base, slot);
    const lpm_bits whole = lpm_tail_key(tail, depth, key);
    const unsigned length = lpm_tail_length(tail);
    if (kind == LPM_LEAF && length <= LPM_FAN_BITS) return {short_part::route, whole, length, tail->word};
    if (kind == LPM_SKIP && length < LPM_FAN_BITS) return split_part(build, tail->word, length, whole);
    if (kind == LPM_SKIP && length == LPM_FAN_BITS)
        fan_put(build, whole, tail->word);
    else
        fan_put(build, whole, tail_build(build, kind, LPM_FAN_BITS, whole, length, tail->word));
    return {short_part::none, 0, 0, 0};
}

/* The one route of a node without children. */
static short_part single_route(const lpm_node *node, unsigned depth, lpm_bits key) {
    unsigned length = LPM_STRIDE;
    unsigned branch = 0;
    if (node->sixth != 0) {
        branch = static_cast<unsigned>(__builtin_ctzll(node->sixth));
    } else {
        const auto heap = static_cast<unsigned>(__builtin_ctzll(node->upper));
        length = 31 - static_cast<unsigned>(__builtin_clz(heap));
        branch = (heap - (1u << length)) << (LPM_STRIDE - length);
    }
    const uint32_t value = lpm_slots(node)[lpm_child_count(node)];
    return {short_part::route, branch_key(key, depth, branch), depth + length, value};
}

static short_part node_build(fan_build *build, const lpm_node *from, unsigned depth, lpm_bits key,
                             const short_part *parts, uint64_t children) {
    const unsigned values = lpm_value_count(from), child_count = lpm_popcount(children);
    build->update.planned = 0;
    lpm_plan(&build->update, lpm_node_units(values + child_count));
    if (lpm_plan_take(&build->update, false) != 0) return {short_part::none, 0, 0, 0};
    uint32_t slot;
    lpm_node *to = lpm_node_new(&build->update, &slot);
    *to = {from->upper, from->sixth, children};
    for (unsigned i = 0; i < child_count; i++)
        lpm_slots(to)[i] = part_slot(build, parts[i], depth + LPM_STRIDE);
    std::memcpy(lpm_slots(to) + child_count, lpm_slots(from) + lpm_child_count(from),
                values * sizeof(uint32_t));
    return {short_part::node, key, depth, slot};
}

static short_part split_node(fan_build *build, const lpm_node *node, unsigned depth, lpm_bits key) {
    short_part parts[64];
    unsigned count = 0, place = 0;
    uint64_t children = 0;
    for (uint64_t map = node->children; map != 0; map &= map - 1) {
        const auto branch = static_cast<unsigned>(__builtin_ctzll(map));
        const uint32_t child = lpm_slots(node)[place++];
        parts[count] = split_part(build, child, depth + LPM_STRIDE, branch_key(key, depth, branch));
        if (parts[count].kind == short_part::none) continue;
        children |= lpm_bit(branch);
        count++;
    }
    const unsigned values = lpm_value_count(node);
    if (values + count == 0) return {short_part::none, 0, 0, 0};
    if (values + count > 1) return node_build(build, node, depth, key, parts, children);
    return count == 1 ? parts[0] : single_route(node, depth, key);
}

/* Puts what is longer than 18 bits below the fan and gives back the rest. */
static short_part split_part(fan_build *build, uint32_t slot, unsigned depth, lpm_bits key) {
    if (depth == LPM_FAN_BITS) {
        fan_put(build, key, slot);
        return {short_part::none, 0, 0, 0};
    }
    if (lpm_slot_kind(slot) != LPM_NODE) return split_tail(build, slot, depth, key);
    return split_node(build, lpm_at<lpm_node>(build->update.arena->base, slot), depth, key);
}

/* --- what was replaced --- */

static void retire_part(lpm_arena *arena, uint32_t slot, unsigned depth) {
    if (depth == LPM_FAN_BITS) return;
    if (lpm_slot_kind(slot) == LPM_NODE) {
        const auto *node = lpm_at<lpm_node>(arena->base, slot);
        const unsigned children = lpm_child_count(node);
        for (unsigned i = 0; i < children; i++) retire_part(arena, lpm_slots(node)[i], depth + LPM_STRIDE);
    } else if (lpm_slot_kind(slot) == LPM_SKIP) {
        const auto *tail = lpm_at<lpm_tail>(arena->base, slot);
        if (lpm_tail_length(tail) < LPM_FAN_BITS) retire_part(arena, tail->word, lpm_tail_length(tail));
    }
    lpm_retire_slot(arena, slot, depth);
}

static bool fan_is_due(const lpm_trie *trie) {
    const uint32_t count = trie->route_count;
    return count >= FAN_ROUTES_MIN && (count & (count - 1)) == 0 && lpm_slot_kind(trie->root) != LPM_FAN;
}

void lpm_fan_consider(lpm_arena *arena, lpm_trie *trie) {
    if (!fan_is_due(trie)) return;
    const uint32_t old = trie->root;
    fan_count count{0, LPM_FAN_UNITS};
    count_part(arena->base, old, 0, &count);
    if (count.used_slots < FAN_USED_MIN || !lpm_arena_has_room(arena, count.units)) return;
    fan_build build{};
    build.update.arena = arena;
    lpm_plan(&build.update, LPM_FAN_UNITS);
    if (lpm_plan_take(&build.update, false) != 0) return;
    const uint32_t root = lpm_slot(build.update.blocks[0], LPM_FAN);
    build.fan = lpm_at<lpm_fan>(arena->base, root);
    std::memset(build.fan, 0, LPM_FAN_UNITS * LPM_UNIT_BYTES);
    build.fan->shorter = part_slot(&build, split_part(&build, old, 0, 0), 0);
    lpm_publish(&trie->root, root);
    retire_part(arena, old, 0);
    arena->change_count++;
}
