#include "host/containers/lpm_trie_private.h"

#include <array>
#include <bit>
#include <cstring>

/* The way down to where the walk goes on; each node is entered again behind the branch that was tried. */
struct walk_frame {
    const lpm_node *node;
    unsigned depth, branch;
};

/* What stands next in a node, in order of first address, shorter length first. */
struct node_next {
    unsigned branch; /* the first six bits that it covers; 64: nothing */
    unsigned length; /* 0 to 6: a route; 7: a child */
};
static constexpr unsigned NEXT_CHILD = LPM_STRIDE + 1;

static void next_consider(node_next *next, uint64_t map, unsigned from, unsigned length) {
    if (map == 0) return;
    const unsigned branch = from + static_cast<unsigned>(__builtin_ctzll(map));
    if (branch < next->branch) *next = {branch, length};
}

/* The first entry of the node at branch 'from' (0 to 64) or later. */
static node_next node_next_from(const lpm_node *node, unsigned from) {
    node_next next{64, 0};
    if (from >= 64) return next;
    for (unsigned length = 0; length < LPM_STRIDE && node->upper != 0; length++) {
        const unsigned width = LPM_STRIDE - length;
        const unsigned first = (from + (1u << width) - 1) >> width;
        if (first >= (1u << length)) continue;
        const uint64_t level = (node->upper >> (1u << length)) & lpm_below(1u << length);
        const uint64_t map = level >> first;
        if (map == 0) continue;
        const unsigned branch = (first + static_cast<unsigned>(__builtin_ctzll(map))) << width;
        if (branch < next.branch) next = {branch, length};
    }
    next_consider(&next, node->sixth >> from, from, LPM_STRIDE);
    next_consider(&next, node->children >> from, from, NEXT_CHILD);
    return next;
}

static lpm_bits branch_key(lpm_bits key, unsigned depth, unsigned branch) {
    const lpm_bits six = static_cast<lpm_bits>(branch) << (lpm_width<lpm_bits> - LPM_STRIDE);
    return (key & lpm_lead<lpm_bits>(depth)) | six >> depth;
}

static void entry_fill(lpm_entry *out, lpm_bits key, unsigned bits, uint32_t value) {
    *out = {lpm_split(key), bits, value};
}

/* The first route of a subtree; 'key' holds the bits above it. */
static bool subtree_first(const void *base, uint32_t slot, lpm_bits key, unsigned depth, lpm_entry *out) {
    while (slot != 0 && depth < LPM_BITS_MAX) {
        if (lpm_slot_kind(slot) == LPM_NODE) {
            const auto *node = lpm_at<lpm_node>(base, slot);
            const node_next next = node_next_from(node, 0);
            if (next.branch == 64) return false;
            key = branch_key(key, depth, next.branch);
            if (next.length != NEXT_CHILD) {
                const unsigned bits = depth + next.length;
                entry_fill(out, key, bits, lpm_load(lpm_value_of(node, lpm_place_of(key, depth, bits))));
                return true;
            }
            slot = lpm_load(lpm_slots(node) + lpm_child_place(node, next.branch));
            depth += LPM_STRIDE;
            continue;
        }
        const auto *tail = lpm_at<lpm_tail>(base, slot);
        key = lpm_tail_key(tail, depth, key);
        depth = lpm_tail_length(tail);
        if (lpm_slot_kind(slot) == LPM_LEAF) {
            entry_fill(out, key, depth, lpm_load(&tail->word));
            return true;
        }
        slot = lpm_load(&tail->word);
    }
    return false;
}

/* The routes of 'node' that begin exactly at 'key' and have 'bits' or more. */
static bool node_at_key(const lpm_node *node, unsigned depth, lpm_bits key, unsigned bits, lpm_entry *out) {
    if (depth + LPM_STRIDE < LPM_BITS_MAX && (key << depth) << LPM_STRIDE != 0) return false;
    const unsigned branch = lpm_branch(key, depth);
    for (unsigned length = bits > depth ? bits - depth : 0; length <= LPM_STRIDE; length++) {
        if ((branch & ((1u << (LPM_STRIDE - length)) - 1)) != 0 || depth + length > LPM_BITS_MAX) continue;
        const lpm_position at = lpm_place_of(key, depth, depth + length);
        if (!lpm_has(node, at)) continue;
        entry_fill(out, key & lpm_lead<lpm_bits>(depth + length), depth + length,
                   lpm_load(lpm_value_of(node, at)));
        return true;
    }
    return false;
}

static bool unwind(const void *base, const walk_frame *frames, unsigned count, lpm_bits key, lpm_entry *out) {
    while (count-- > 0) {
        const walk_frame &frame = frames[count];
        const node_next next = node_next_from(frame.node, frame.branch + 1);
        if (next.branch == 64) continue;
        const lpm_bits at = branch_key(key, frame.depth, next.branch);
        if (next.length == NEXT_CHILD) {
            const uint32_t *slot = lpm_slots(frame.node) + lpm_child_place(frame.node, next.branch);
            return subtree_first(base, lpm_load(slot), at, frame.depth + LPM_STRIDE, out);
        }
        const unsigned bits = frame.depth + next.length;
        entry_fill(out, at, bits, lpm_load(lpm_value_of(frame.node, lpm_place_of(at, frame.depth, bits))));
        return true;
    }
    return false;
}

/* The first route at or behind ('key', 'bits'). */
static bool lower_bound(const void *base, uint32_t slot, unsigned depth, lpm_bits key, unsigned bits,
                        lpm_entry *out) {
    std::array<walk_frame, LPM_LEVELS_MAX> frames;
    unsigned count = 0;
    while (slot != 0 && depth < LPM_BITS_MAX) {
        if (lpm_slot_kind(slot) == LPM_NODE) {
            const auto *node = lpm_at<lpm_node>(base, slot);
            const unsigned branch = lpm_branch(key, depth);
            if (node_at_key(node, depth, key, bits, out)) return true;
            frames[count++] = {node, depth, branch};
            if ((node->children >> branch & 1) == 0) break;
            slot = lpm_load(lpm_slots(node) + lpm_child_place(node, branch));
            depth += LPM_STRIDE;
            continue;
        }
        const auto *tail = lpm_at<lpm_tail>(base, slot);
        const unsigned length = lpm_tail_length(tail);
        const lpm_bits at = lpm_tail_key(tail, depth, key);
        if (lpm_slot_kind(slot) == LPM_LEAF) {
            if (at < key || (at == key && length < bits)) break;
            entry_fill(out, at, length, lpm_load(&tail->word));
            return true;
        }
        const lpm_bits mine = key & lpm_lead<lpm_bits>(length);
        if (at < mine) break;
        if (at > mine) return subtree_first(base, slot, key, depth, out);
        slot = lpm_load(&tail->word);
        depth = length;
    }
    return unwind(base, frames.data(), count, key, out);
}

/* The same among the routes below a fan. */
static bool fan_lower_bound(const void *base, const lpm_fan *fan, lpm_bits key, unsigned bits,
                            lpm_entry *out) {
    auto index = static_cast<uint32_t>(key >> (LPM_BITS_MAX - LPM_FAN_BITS));
    if (lower_bound(base, lpm_load(lpm_fan_slots(fan) + index), LPM_FAN_BITS, key, bits, out)) return true;
    while (++index < LPM_FAN_SLOTS) {
        const uint32_t slot = lpm_load(lpm_fan_slots(fan) + index);
        const lpm_bits above = static_cast<lpm_bits>(index) << (LPM_BITS_MAX - LPM_FAN_BITS);
        if (slot != 0 && subtree_first(base, slot, above, LPM_FAN_BITS, out)) return true;
    }
    return false;
}

static bool entry_is_before(const lpm_entry &a, const lpm_entry &b) {
    const lpm_bits left = lpm_join(a.key), right = lpm_join(b.key);
    return left != right ? left < right : a.bits < b.bits;
}

static bool walk_from(const void *base, uint32_t root, lpm_bits key, unsigned bits, lpm_entry *out) {
    if (lpm_slot_kind(root) != LPM_FAN) return lower_bound(base, root, 0, key, bits, out);
    const auto *fan = lpm_at<lpm_fan>(base, root);
    lpm_entry shorter, longer;
    const bool has_shorter = lower_bound(base, lpm_load(&fan->shorter), 0, key, bits, &shorter);
    const bool has_longer = fan_lower_bound(base, fan, key, bits, &longer);
    if (!has_shorter && !has_longer) return false;
    *out = has_shorter && (!has_longer || entry_is_before(shorter, longer)) ? shorter : longer;
    return true;
}

bool lpm_first(const void *base, const lpm_trie *trie, lpm_entry *out) {
    return walk_from(base, lpm_load(&trie->root), 0, 0, out);
}

bool lpm_next(const void *base, const lpm_trie *trie, const lpm_key &key, unsigned bits, lpm_entry *out) {
    return walk_from(base, lpm_load(&trie->root), lpm_join(key) & lpm_lead<lpm_bits>(bits), bits + 1, out);
}

/* --- whole keys --- */

static uint64_t network_order(uint64_t word) {
    return std::endian::native == std::endian::little ? __builtin_bswap64(word) : word;
}

lpm_key lpm_key_load(const uint8_t *bytes, unsigned bits) {
    uint64_t half[2] = {0, 0};
    std::memcpy(half, bytes, bits >= LPM_BITS_MAX ? sizeof half : (bits + 7) / 8);
    const lpm_bits whole = lpm_join({network_order(half[0]), network_order(half[1])});
    return lpm_split(whole & lpm_lead<lpm_bits>(bits));
}

void lpm_key_store(const lpm_key &key, uint8_t *bytes, unsigned byte_count) {
    const uint64_t half[2] = {network_order(key.hi), network_order(key.lo)};
    std::memcpy(bytes, half, byte_count < sizeof half ? byte_count : sizeof half);
}
