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
static const uint32_t *best_route(const passed_node *passed, unsigned count, word key, unsigned *bits) {
    while (count-- > 0) {
        unsigned length;
        const uint32_t *value = node_match(passed[count].node, lpm_branch(key, passed[count].depth), &length);
        if (value == nullptr) continue;
        *bits = passed[count].depth + length;
        return value;
    }
    return nullptr;
}

template <typename word>
static uint32_t match_below(const void *base, uint32_t slot, unsigned depth, word key, unsigned *bits) {
    passed_node passed[levels_max<word>];
    unsigned count = 0;
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
    const uint32_t *value = best_route(passed, count, key, bits);
    return value == nullptr ? 0 : lpm_load(value);
}

/* By far the most frequent case below a fan: a node that holds the route and leads no further. Null: any other. */
template <typename word>
static const uint32_t *fan_node_match(const void *base, uint32_t slot, word key, unsigned *length) {
    if (slot == 0 || lpm_slot_kind(slot) != LPM_NODE) return nullptr;
    const auto *node = lpm_at<lpm_node>(base, slot);
    const unsigned branch = lpm_branch(key, LPM_FAN_BITS);
    return (node->children >> branch & 1) != 0 ? nullptr : node_match(node, branch, length);
}

template <typename word> static uint32_t match(const void *base, uint32_t slot, word key, unsigned *bits) {
    if (lpm_slot_kind(slot) != LPM_FAN) return match_below(base, slot, 0, key, bits);
    const auto *fan = lpm_at<lpm_fan>(base, slot);
    const uint32_t below = lpm_load(lpm_fan_slot(fan, key));
    unsigned length;
    const uint32_t *found = fan_node_match(base, below, key, &length);
    if (found != nullptr) {
        *bits = LPM_FAN_BITS + length;
        return lpm_load(found);
    }
    const uint32_t value = match_below(base, below, LPM_FAN_BITS, key, bits);
    return value != 0 ? value : match_below(base, lpm_load(&fan->shorter), 0, key, bits);
}

uint32_t lpm_match(const void *base, const lpm_trie *trie, const lpm_key &address, unsigned *bits) {
    unsigned ignored;
    return match(base, lpm_load(&trie->root), lpm_join(address), bits == nullptr ? &ignored : bits);
}

uint32_t lpm_match_v4(const void *base, const lpm_trie *trie, uint32_t address) {
    unsigned ignored;
    return match(base, lpm_load(&trie->root), uint64_t{address} << 32, &ignored);
}

/* Many look-ups side by side: each goes one block further a turn, and asks for the memory of its next step while the
 * others work. */
static constexpr unsigned LANES = 32;

template <typename word> struct lane {
    word key;
    const uint32_t *found; /* the value of a leaf */
    uint32_t slot;
    unsigned depth, count;
    passed_node passed[levels_max<word>];
};

/* True while there is a next block. */
template <typename word> static bool lane_follow(const void *base, lane<word> *at, uint32_t slot) {
    if (slot == 0 || at->depth >= lpm_width<word> || at->count >= levels_max<word>) return false;
    at->slot = slot;
    __builtin_prefetch(lpm_at<uint8_t>(base, slot));
    return true;
}

template <typename word> static bool lane_step(const void *base, lane<word> *at) {
    if (lpm_slot_kind(at->slot) == LPM_NODE) {
        const auto *node = lpm_at<lpm_node>(base, at->slot);
        const unsigned branch = lpm_branch(at->key, at->depth);
        at->passed[at->count++] = {node, at->depth};
        if ((node->children >> branch & 1) == 0) return false;
        at->depth += LPM_STRIDE;
        return lane_follow(base, at, lpm_load(lpm_slots(node) + lpm_child_place(node, branch)));
    }
    const auto *tail = lpm_at<lpm_tail>(base, at->slot);
    if (!lpm_tail_covers(tail, at->depth, at->key)) return false;
    if (lpm_slot_kind(at->slot) == LPM_LEAF) {
        at->found = &tail->word;
        return false;
    }
    at->depth = lpm_tail_length(tail);
    return lane_follow(base, at, lpm_load(&tail->word));
}

template <typename word>
static void lanes_run(const void *base, uint32_t root, lane<word> *lanes, unsigned count) {
    uint8_t busy[LANES];
    unsigned busy_count = 0;
    const auto *fan = lpm_slot_kind(root) == LPM_FAN ? lpm_at<lpm_fan>(base, root) : nullptr;
    for (unsigned i = 0; i < count; i++) {
        lanes[i].found = nullptr;
        lanes[i].count = 0;
        lanes[i].depth = fan != nullptr ? LPM_FAN_BITS : 0;
        const uint32_t first = fan != nullptr ? lpm_load(lpm_fan_slot(fan, lanes[i].key)) : root;
        busy[busy_count] = static_cast<uint8_t>(i);
        busy_count += lane_follow(base, &lanes[i], first) ? 1 : 0;
    }
    while (busy_count > 0) {
        unsigned left = 0;
        for (unsigned i = 0; i < busy_count; i++) {
            const uint8_t n = busy[i];
            busy[left] = n;
            left += lane_step(base, &lanes[n]) ? 1 : 0;
        }
        busy_count = left;
    }
}

template <typename word, typename address>
static void match_group(const void *base, const lpm_trie *trie, const address *addresses, uint32_t *values,
                        unsigned count, word (*key_of)(const address &)) {
    lane<word> lanes[LANES];
    const uint32_t root = lpm_load(&trie->root);
    for (unsigned i = 0; i < count; i++) lanes[i].key = key_of(addresses[i]);
    lanes_run(base, root, lanes, count);
    for (unsigned i = 0; i < count; i++) {
        unsigned ignored;
        if (lanes[i].found == nullptr)
            lanes[i].found = best_route(lanes[i].passed, lanes[i].count, lanes[i].key, &ignored);
        __builtin_prefetch(lanes[i].found);
    }
    for (unsigned i = 0; i < count; i++) {
        unsigned ignored;
        values[i] = lanes[i].found == nullptr ? 0 : lpm_load(lanes[i].found);
        if (lanes[i].found == nullptr && lpm_slot_kind(root) == LPM_FAN)
            values[i] =
                match_below(base, lpm_load(&lpm_at<lpm_fan>(base, root)->shorter), 0, lanes[i].key, &ignored);
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

static uint32_t match_prefix_below(const void *base, uint32_t slot, unsigned depth, lpm_bits key,
                                   unsigned max_bits, unsigned *bits) {
    const uint32_t *best = nullptr;
    while (slot != 0 && depth <= max_bits && depth < LPM_BITS_MAX) {
        if (lpm_slot_kind(slot) == LPM_NODE) {
            const auto *node = lpm_at<lpm_node>(base, slot);
            const unsigned branch = lpm_branch(key, depth);
            unsigned length;
            const uint32_t *value = node_longest(node, depth, key, max_bits, &length);
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
        if (lpm_tail_length(tail) > max_bits || !lpm_tail_covers(tail, depth, key)) break;
        depth = lpm_tail_length(tail);
        if (lpm_slot_kind(slot) == LPM_LEAF) {
            *bits = depth;
            return lpm_load(&tail->word);
        }
        slot = lpm_load(&tail->word);
    }
    return best == nullptr ? 0 : lpm_load(best);
}

uint32_t lpm_match_prefix(const void *base, const lpm_trie *trie, const lpm_key &key, unsigned max_bits,
                          unsigned *bits) {
    unsigned ignored;
    if (bits == nullptr) bits = &ignored;
    const lpm_bits whole = lpm_join(key);
    uint32_t slot = lpm_load(&trie->root);
    if (lpm_slot_kind(slot) == LPM_FAN) {
        const auto *fan = lpm_at<lpm_fan>(base, slot);
        slot = lpm_load(&fan->shorter);
        if (max_bits > LPM_FAN_BITS) {
            const uint32_t longer = lpm_load(lpm_fan_slot(fan, whole));
            const uint32_t value = match_prefix_below(base, longer, LPM_FAN_BITS, whole, max_bits, bits);
            if (value != 0) return value;
        }
    }
    return match_prefix_below(base, slot, 0, whole, max_bits, bits);
}

uint32_t lpm_exact(const void *base, const lpm_trie *trie, const lpm_key &key, unsigned bits) {
    if (bits > LPM_BITS_MAX) return 0;
    const lpm_bits whole = lpm_join(key);
    unsigned depth;
    uint32_t slot = lpm_load(lpm_start(base, const_cast<uint32_t *>(&trie->root), whole, bits, &depth));
    while (slot != 0 && depth <= bits) {
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
