#include "host/containers/lpm_trie_private.h"

#include <array>

/* For the five bits b: the heap numbers of b's leading 0 to 5 bits. */
static constexpr std::array<uint64_t, 32> make_ancestors() {
    std::array<uint64_t, 32> masks{};
    for (unsigned b = 0; b < 32; b++)
        for (unsigned n = 0; n <= 5; n++) masks[b] |= uint64_t{1} << ((1u << n) + (b >> (5 - n)));
    return masks;
}
static constexpr std::array<uint64_t, 32> ancestors = make_ancestors();

/* A node on the way down. */
struct passed_node {
    const lpm_node *node;
    unsigned depth;
};

/* 64: an IPv4 address in the upper half of a word. */
template <typename word> inline constexpr unsigned levels_max = lpm_width<word> == 64 ? 6 : LPM_LEVELS_MAX;

/* The longest route of a node for six bits, or null. */
static const uint32_t *node_match(const lpm_node *node, unsigned branch, unsigned *length) {
    if ((node->sixth >> branch & 1) != 0) {
        *length = LPM_STRIDE;
        return lpm_slots(node) + lpm_sixth_place(node, branch);
    }
    const uint64_t found = node->upper & ancestors[branch >> 1];
    if (found == 0) return nullptr;
    const unsigned heap = 63 - static_cast<unsigned>(__builtin_clzll(found));
    *length = 31 - static_cast<unsigned>(__builtin_clz(heap));
    return lpm_slots(node) + lpm_upper_place(node, heap);
}

/* On the way down only the branches are looked at; the routes are looked for from below, where the longest is. */
template <typename word>
static uint32_t best_value(const passed_node *passed, unsigned count, word key, unsigned *bits) {
    while (count-- > 0) {
        unsigned length;
        const uint32_t *value = node_match(passed[count].node, lpm_branch(key, passed[count].depth), &length);
        if (value == nullptr) continue;
        *bits = passed[count].depth + length;
        return lpm_load(value);
    }
    return 0;
}

template <typename word> static uint32_t match(const void *base, uint32_t slot, word key, unsigned *bits) {
    passed_node passed[levels_max<word>];
    unsigned count = 0, depth = 0;
    while (slot != 0 && depth < lpm_width<word> && count < levels_max<word>) {
        if (lpm_slot_kind(slot) == LPM_NODE) {
            const auto *node = lpm_at<lpm_node>(base, slot);
            const unsigned branch = lpm_branch(key, depth);
            passed[count++] = {node, depth};
            if ((node->children >> branch & 1) == 0) break;
            slot = lpm_load(lpm_slots(node) + lpm_child_place(node, branch));
            depth += LPM_STRIDE;
            continue;
        }
        const auto *tail = lpm_at<lpm_tail>(base, slot);
        if (!lpm_tail_covers(tail, depth, key)) break;
        depth = lpm_tail_length(tail);
        if (lpm_slot_kind(slot) == LPM_LEAF) {
            *bits = depth;
            return lpm_load(&tail->word);
        }
        slot = lpm_load(&tail->word);
    }
    return best_value(passed, count, key, bits);
}

uint32_t lpm_match(const void *base, const lpm_trie *trie, const lpm_key &address, unsigned *bits) {
    unsigned ignored;
    return match(base, lpm_load(&trie->root), lpm_join(address), bits == nullptr ? &ignored : bits);
}

uint32_t lpm_match_v4(const void *base, const lpm_trie *trie, uint32_t address) {
    unsigned ignored;
    return match(base, lpm_load(&trie->root), uint64_t{address} << 32, &ignored);
}

/* Many look-ups side by side: each lane goes one block further a turn, and asks for the memory of its next one while
 * the others work. */
static constexpr unsigned LANES = 8;

template <typename word> struct lane {
    word key;
    uint32_t slot; /* 0: done */
    uint32_t value;
    unsigned depth, count;
    passed_node passed[levels_max<word>];
};

template <typename word> static void lane_follow(const void *base, lane<word> *at, uint32_t slot) {
    at->slot = at->depth < lpm_width<word> && at->count < levels_max<word> ? slot : 0;
    const auto *next = lpm_at<uint8_t>(base, at->slot);
    __builtin_prefetch(next);
    __builtin_prefetch(next + 64);
}

template <typename word> static void lane_step(const void *base, lane<word> *at) {
    if (lpm_slot_kind(at->slot) == LPM_NODE) {
        const auto *node = lpm_at<lpm_node>(base, at->slot);
        const unsigned branch = lpm_branch(at->key, at->depth);
        at->passed[at->count++] = {node, at->depth};
        const bool child = (node->children >> branch & 1) != 0;
        at->depth += LPM_STRIDE;
        lane_follow(base, at, child ? lpm_load(lpm_slots(node) + lpm_child_place(node, branch)) : 0);
        return;
    }
    const auto *tail = lpm_at<lpm_tail>(base, at->slot);
    const bool leaf = lpm_slot_kind(at->slot) == LPM_LEAF;
    const bool covers = lpm_tail_covers(tail, at->depth, at->key);
    at->depth = lpm_tail_length(tail);
    if (leaf && covers) at->value = lpm_load(&tail->word);
    lane_follow(base, at, covers && !leaf ? lpm_load(&tail->word) : 0);
}

template <typename word, typename address>
static void match_group(const void *base, const lpm_trie *trie, const address *addresses, uint32_t *values,
                        unsigned count, word (*key_of)(const address &)) {
    lane<word> lanes[LANES];
    for (unsigned i = 0; i < count; i++) {
        lanes[i].key = key_of(addresses[i]);
        lanes[i].slot = lpm_load(&trie->root);
        lanes[i].value = lanes[i].depth = lanes[i].count = 0;
    }
    for (bool busy = true; busy;) {
        busy = false;
        for (unsigned i = 0; i < count; i++) {
            if (lanes[i].slot == 0) continue;
            lane_step(base, &lanes[i]);
            busy = true;
        }
    }
    for (unsigned i = 0; i < count; i++) {
        unsigned ignored;
        values[i] = lanes[i].value;
        if (values[i] == 0) values[i] = best_value(lanes[i].passed, lanes[i].count, lanes[i].key, &ignored);
    }
}

void lpm_match_v4_many(const void *base, const lpm_trie *trie, const uint32_t *addresses, uint32_t *values,
                       size_t count) {
    for (size_t i = 0; i < count; i += LANES)
        match_group<uint64_t, uint32_t>(base, trie, addresses + i, values + i,
                                        static_cast<unsigned>(count - i < LANES ? count - i : LANES),
                                        [](const uint32_t &address) { return uint64_t{address} << 32; });
}

void lpm_match_many(const void *base, const lpm_trie *trie, const lpm_key *addresses, uint32_t *values,
                    size_t count) {
    for (size_t i = 0; i < count; i += LANES)
        match_group<lpm_bits, lpm_key>(base, trie, addresses + i, values + i,
                                       static_cast<unsigned>(count - i < LANES ? count - i : LANES),
                                       lpm_join);
}

/* The longest route in 'node' for the first 'max_bits' bits of 'key', or null. */
static uint32_t *node_longest(const lpm_node *node, unsigned depth, lpm_bits key, unsigned max_bits,
                              unsigned *bits) {
    unsigned length = max_bits - depth < LPM_STRIDE ? max_bits : depth + LPM_STRIDE;
    for (;; length--) {
        const lpm_position at = lpm_place_of(key, depth, length);
        if (lpm_has(node, at)) {
            *bits = length;
            return lpm_value_of(node, at);
        }
        if (length == depth) return nullptr;
    }
}

uint32_t lpm_match_prefix(const void *base, const lpm_trie *trie, const lpm_key &key, unsigned max_bits,
                          unsigned *bits) {
    unsigned ignored, depth = 0, length = 0;
    if (bits == nullptr) bits = &ignored;
    const lpm_bits whole = lpm_join(key);
    const uint32_t *best = nullptr;
    uint32_t slot = lpm_load(&trie->root);
    while (slot != 0 && depth <= max_bits && depth < LPM_BITS_MAX) {
        if (lpm_slot_kind(slot) == LPM_NODE) {
            const auto *node = lpm_at<lpm_node>(base, slot);
            const unsigned branch = lpm_branch(whole, depth);
            const uint32_t *value = node_longest(node, depth, whole, max_bits, &length);
            if (value != nullptr) {
                best = value;
                *bits = length;
            }
            depth += LPM_STRIDE;
            if ((node->children >> branch & 1) == 0) break;
            slot = lpm_load(lpm_slots(node) + lpm_child_place(node, branch));
            continue;
        }
        const auto *tail = lpm_at<lpm_tail>(base, slot);
        if (lpm_tail_length(tail) > max_bits || !lpm_tail_covers(tail, depth, whole)) break;
        depth = lpm_tail_length(tail);
        if (lpm_slot_kind(slot) == LPM_LEAF) {
            *bits = depth;
            return lpm_load(&tail->word);
        }
        slot = lpm_load(&tail->word);
    }
    return best == nullptr ? 0 : lpm_load(best);
}

uint32_t lpm_exact(const void *base, const lpm_trie *trie, const lpm_key &key, unsigned bits) {
    if (bits > LPM_BITS_MAX) return 0;
    const lpm_bits whole = lpm_join(key);
    uint32_t slot = lpm_load(&trie->root);
    for (unsigned depth = 0; slot != 0 && depth <= bits;) {
        if (lpm_slot_kind(slot) == LPM_NODE) {
            const auto *node = lpm_at<lpm_node>(base, slot);
            if (bits - depth <= LPM_STRIDE) {
                const lpm_position at = lpm_place_of(whole, depth, bits);
                return lpm_has(node, at) ? lpm_load(lpm_value_of(node, at)) : 0;
            }
            const unsigned branch = lpm_branch(whole, depth);
            if ((node->children >> branch & 1) == 0) return 0;
            slot = lpm_load(lpm_slots(node) + lpm_child_place(node, branch));
            depth += LPM_STRIDE;
            continue;
        }
        const auto *tail = lpm_at<lpm_tail>(base, slot);
        const bool leaf = lpm_slot_kind(slot) == LPM_LEAF;
        if (leaf ? lpm_tail_length(tail) != bits : lpm_tail_length(tail) >= bits) return 0;
        if (!lpm_tail_covers(tail, depth, whole)) return 0;
        if (leaf) return lpm_load(&tail->word);
        depth = lpm_tail_length(tail);
        slot = lpm_load(&tail->word);
    }
    return 0;
}
