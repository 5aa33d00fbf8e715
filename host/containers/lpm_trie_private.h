/* host/containers/lpm_trie_private.h: the blocks of a prefix trie, for the files that read and build them.
 *
 * A slot is a u32: 0 empty, else the block's unit << 2 | its kind. 'depth' is the number of key bits above a block.
 *   node  lpm_node, then one u32 slot for each child in order of its six bits, then one u32 value for each route:
 *         those of 'upper' in order of their bit, then those of 'sixth'.
 *   leaf  lpm_tail: one route; the bits of its key from 'depth' to its length.
 *   skip  lpm_tail: the slot of a node that lies at a depth of 'length'; the bits from 'depth' to there.
 *   fan   lpm_fan, then 2^18 u32 slots: only as the root of a large table. The slot of the first 18 bits of a key holds,
 *         as if at depth 18, what is longer than that; 'shorter' is the root of a trie of its own for the rest.
 * A route of length L lies in the node at the depth D with D < L <= D + 6 (length 0: in the node at depth 0), or in a
 * leaf. A node has two or more entries; below it no branch is missing: the trie of a set of routes has one form. */
#pragma once

#include "host/containers/lpm_trie.h"

#include <cstdint>

__extension__ typedef unsigned __int128 lpm_bits;

enum lpm_kind : uint32_t { LPM_NODE = 0, LPM_LEAF = 1, LPM_SKIP = 2, LPM_FAN = 3 };

struct lpm_node {
    uint64_t upper;    /* bit (1 << n) + b: the route of n bits b (n 0..5) below the node */
    uint64_t sixth;    /* bit b: the route of six bits b */
    uint64_t children; /* bit b: what lies below the six bits b */
};

struct lpm_tail {
    uint32_t word; /* value of a leaf, slot of a skip */
    uint32_t tag;  /* length << 24 | the first 24 bits; then 64 and 64 bits more if the length needs them */
};

struct lpm_fan {
    uint32_t shorter;
    uint32_t spare;
};

inline constexpr unsigned LPM_STRIDE = 6;
inline constexpr unsigned LPM_FAN_BITS = 18;
inline constexpr uint32_t LPM_FAN_SLOTS = 1u << LPM_FAN_BITS;
inline constexpr uint32_t LPM_FAN_UNITS = 1 + LPM_FAN_SLOTS / 2;
inline constexpr unsigned LPM_TAG_BITS = 24;
/* Levels on one way down: 128 bits in strides of six. */
inline constexpr unsigned LPM_LEVELS_MAX = 22;

template <typename word> inline constexpr unsigned lpm_width = sizeof(word) * 8;

inline uint32_t lpm_slot(uint32_t block, lpm_kind kind) { return block << 2 | kind; }
inline lpm_kind lpm_slot_kind(uint32_t slot) { return static_cast<lpm_kind>(slot & 3); }
inline uint32_t lpm_slot_block(uint32_t slot) { return slot >> 2; }

template <typename block> inline block *lpm_at(const void *base, uint32_t slot) {
    const auto *byte = static_cast<const uint8_t *>(base) + uint64_t{slot >> 2} * LPM_UNIT_BYTES;
    return reinterpret_cast<block *>(const_cast<uint8_t *>(byte));
}

/* What is published is read and written as one word; the release store orders the block's content before it. */
inline uint32_t lpm_load(const uint32_t *slot) { return __atomic_load_n(slot, __ATOMIC_ACQUIRE); }
inline void lpm_publish(uint32_t *slot, uint32_t content) {
    __atomic_store_n(slot, content, __ATOMIC_RELEASE);
}

inline unsigned lpm_popcount(uint64_t bits) { return static_cast<unsigned>(__builtin_popcountll(bits)); }
inline uint64_t lpm_bit(unsigned n) { return uint64_t{1} << n; }
inline uint64_t lpm_below(unsigned n) { return lpm_bit(n) - 1; }

inline uint32_t *lpm_slots(const lpm_node *node) {
    return reinterpret_cast<uint32_t *>(const_cast<lpm_node *>(node) + 1);
}
inline unsigned lpm_child_count(const lpm_node *node) { return lpm_popcount(node->children); }
inline unsigned lpm_value_count(const lpm_node *node) {
    return lpm_popcount(node->upper) + lpm_popcount(node->sixth);
}
inline unsigned lpm_child_place(const lpm_node *node, unsigned branch) {
    return lpm_popcount(node->children & lpm_below(branch));
}
inline unsigned lpm_upper_place(const lpm_node *node, unsigned heap) {
    return lpm_child_count(node) + lpm_popcount(node->upper & lpm_below(heap));
}
inline unsigned lpm_sixth_place(const lpm_node *node, unsigned branch) {
    return lpm_child_count(node) + lpm_popcount(node->upper) + lpm_popcount(node->sixth & lpm_below(branch));
}
inline uint32_t *lpm_fan_slots(const lpm_fan *fan) {
    return reinterpret_cast<uint32_t *>(const_cast<lpm_fan *>(fan) + 1);
}
inline uint32_t lpm_node_units(unsigned slots) {
    return static_cast<uint32_t>((sizeof(lpm_node) + slots * sizeof(uint32_t) + LPM_UNIT_BYTES - 1) /
                                 LPM_UNIT_BYTES);
}

inline lpm_bits lpm_join(const lpm_key &key) { return lpm_bits{key.hi} << 64 | key.lo; }
inline lpm_key lpm_split(lpm_bits bits) {
    return {static_cast<uint64_t>(bits >> 64), static_cast<uint64_t>(bits)};
}

/* The leading 'count' bits, 0 to all. */
template <typename word> inline word lpm_lead(unsigned count) {
    if (count == 0) return 0;
    return count >= lpm_width<word> ? ~word{0} : ~word{0} << (lpm_width<word> - count);
}
/* The six bits of 'key' behind 'depth'. */
template <typename word> inline unsigned lpm_branch(word key, unsigned depth) {
    return static_cast<unsigned>((key << depth) >> (lpm_width<word> - LPM_STRIDE));
}

inline unsigned lpm_tail_length(const lpm_tail *tail) { return tail->tag >> LPM_TAG_BITS; }
/* Units of a tail that holds 'count' bits: 24, 64 more, 64 more. */
inline uint32_t lpm_tail_units(unsigned count) {
    return count <= LPM_TAG_BITS ? 1 : count <= LPM_TAG_BITS + 64 ? 2 : 3;
}
/* The bits that a tail at 'depth' holds, left-aligned. */
template <typename word> inline word lpm_tail_bits(const lpm_tail *tail, unsigned depth) {
    word bits = static_cast<word>(tail->tag & 0xffffff) << (lpm_width<word> - LPM_TAG_BITS);
    const unsigned count = lpm_tail_length(tail) - depth;
    if (count <= LPM_TAG_BITS) return bits;
    const auto *more = reinterpret_cast<const uint64_t *>(tail + 1);
    if constexpr (sizeof(word) == 8) {
        return bits | more[0] >> LPM_TAG_BITS;
    } else {
        bits |= static_cast<word>(more[0]) << (lpm_width<word> - LPM_TAG_BITS - 64);
        if (count > LPM_TAG_BITS + 64) bits |= static_cast<word>(more[1]) >> LPM_TAG_BITS;
        return bits;
    }
}
template <typename word> inline bool lpm_tail_covers(const lpm_tail *tail, unsigned depth, word key) {
    const word held = lpm_lead<word>(lpm_tail_length(tail) - depth);
    return (((key << depth) & held) ^ lpm_tail_bits<word>(tail, depth)) == 0;
}
/* Where the way of a route begins: below a fan, or at the root itself. */
template <typename word> inline uint32_t *lpm_fan_slot(const lpm_fan *fan, word key) {
    return lpm_fan_slots(fan) + static_cast<uint32_t>(key >> (lpm_width<word> - LPM_FAN_BITS));
}
inline uint32_t *lpm_start(const void *base, uint32_t *root, lpm_bits key, unsigned bits, unsigned *depth) {
    const uint32_t slot = lpm_load(root);
    *depth = 0;
    if (lpm_slot_kind(slot) != LPM_FAN) return root;
    auto *fan = lpm_at<lpm_fan>(base, slot);
    if (bits <= LPM_FAN_BITS) return &fan->shorter;
    *depth = LPM_FAN_BITS;
    return lpm_fan_slot(fan, key);
}

/* The whole key of a tail at 'depth' that lies on the way of 'key'. */
inline lpm_bits lpm_tail_key(const lpm_tail *tail, unsigned depth, lpm_bits key) {
    return (key & lpm_lead<lpm_bits>(depth)) | lpm_tail_bits<lpm_bits>(tail, depth) >> depth;
}

/* Where a route of 'length' bits stands in the node at 'depth'. */
struct lpm_position {
    bool sixth;
    unsigned bit; /* of 'sixth', or heap number in 'upper' */
};
inline lpm_position lpm_place_of(lpm_bits key, unsigned depth, unsigned length) {
    const unsigned below = length - depth;
    const unsigned branch = lpm_branch(key, depth);
    if (below == LPM_STRIDE) return {true, branch};
    return {false, (1u << below) + (branch >> (LPM_STRIDE - below))};
}
inline bool lpm_has(const lpm_node *node, lpm_position at) {
    return ((at.sixth ? node->sixth : node->upper) >> at.bit & 1) != 0;
}
inline uint32_t *lpm_value_of(const lpm_node *node, lpm_position at) {
    return lpm_slots(node) + (at.sixth ? lpm_sixth_place(node, at.bit) : lpm_upper_place(node, at.bit));
}

/* Building blocks that the files of the writer share: a plan of the blocks that one update takes, all before anything
 * is written, so that it can still be refused. */
struct lpm_update {
    lpm_arena *arena;
    uint32_t units[4], blocks[4];
    unsigned planned, used;
};
void lpm_plan(lpm_update *update, uint32_t units);
[[nodiscard]] int lpm_plan_take(lpm_update *update, bool for_removal);
/* Writes a leaf or skip at 'depth' into the next planned block; its slot. */
uint32_t lpm_tail_write(lpm_update *update, lpm_kind kind, unsigned depth, lpm_bits key, unsigned length,
                        uint32_t word);
/* An empty node in the next planned block. */
lpm_node *lpm_node_new(lpm_update *update, uint32_t *slot);
uint32_t lpm_block_units(const void *base, uint32_t slot, unsigned depth);
void lpm_retire_slot(lpm_arena *arena, uint32_t slot, unsigned depth);

/* Gives a table that has grown large and dense a fan as its root; does nothing when it is not worth it, or when the
 * arena has no room. Called after an addition. */
void lpm_fan_consider(lpm_arena *arena, lpm_trie *trie);
