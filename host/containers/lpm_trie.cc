#include "host/containers/lpm_trie_private.h"

#include <cerrno>
#include <cstring>

void lpm_plan(lpm_update *update, uint32_t units) { update->units[update->planned++] = units; }

int lpm_plan_take(lpm_update *update, bool for_removal) {
    update->used = 0;
    return lpm_arena_take(update->arena, update->units, update->planned, for_removal, update->blocks);
}

static uint32_t plan_next(lpm_update *update) { return update->blocks[update->used++]; }

uint32_t lpm_block_units(const void *base, uint32_t slot, unsigned depth) {
    switch (lpm_slot_kind(slot)) {
    case LPM_FAN: return LPM_FAN_UNITS;
    case LPM_NODE: {
        const auto *node = lpm_at<lpm_node>(base, slot);
        return lpm_node_units(lpm_child_count(node) + lpm_value_count(node));
    }
    default: return lpm_tail_units(lpm_tail_length(lpm_at<lpm_tail>(base, slot)) - depth);
    }
}

void lpm_retire_slot(lpm_arena *arena, uint32_t slot, unsigned depth) {
    lpm_arena_retire(arena, lpm_slot_block(slot), lpm_block_units(arena->base, slot, depth));
}

/* --- building blocks --- */

uint32_t lpm_tail_write(lpm_update *update, lpm_kind kind, unsigned depth, lpm_bits key, unsigned length,
                        uint32_t word) {
    const uint32_t slot = lpm_slot(plan_next(update), kind);
    auto *tail = lpm_at<lpm_tail>(update->arena->base, slot);
    const lpm_bits bits = (key & lpm_lead<lpm_bits>(length)) << depth;
    const uint32_t units = lpm_tail_units(length - depth);
    tail->word = word;
    tail->tag = length << LPM_TAG_BITS | static_cast<uint32_t>(bits >> (LPM_BITS_MAX - LPM_TAG_BITS));
    auto *more = reinterpret_cast<uint64_t *>(tail + 1);
    if (units > 1) more[0] = static_cast<uint64_t>(bits >> (LPM_BITS_MAX - LPM_TAG_BITS - 64));
    if (units > 2) more[1] = static_cast<uint64_t>(bits << LPM_TAG_BITS);
    return slot;
}

lpm_node *lpm_node_new(lpm_update *update, uint32_t *slot) {
    *slot = lpm_slot(plan_next(update), LPM_NODE);
    auto *node = lpm_at<lpm_node>(update->arena->base, *slot);
    *node = {0, 0, 0};
    return node;
}

static void map_flip(lpm_node *node, lpm_position at) {
    if (at.sixth)
        node->sixth ^= lpm_bit(at.bit);
    else
        node->upper ^= lpm_bit(at.bit);
}

static unsigned value_place(const lpm_node *node, lpm_position at) {
    return at.sixth ? lpm_sixth_place(node, at.bit) : lpm_upper_place(node, at.bit);
}

static unsigned slot_count(const lpm_node *node) { return lpm_child_count(node) + lpm_value_count(node); }

static void copy_with(const lpm_node *from, lpm_node *to, unsigned count, unsigned place, uint32_t word) {
    const uint32_t *source = lpm_slots(from);
    uint32_t *target = lpm_slots(to);
    std::memcpy(target, source, place * sizeof *target);
    target[place] = word;
    std::memcpy(target + place + 1, source + place, (count - place) * sizeof *target);
}

static void copy_without(const lpm_node *from, lpm_node *to, unsigned count, unsigned place) {
    const uint32_t *source = lpm_slots(from);
    uint32_t *target = lpm_slots(to);
    std::memcpy(target, source, place * sizeof *target);
    std::memcpy(target + place, source + place + 1, (count - place - 1) * sizeof *target);
}

/* --- finding the place --- */

static void spot_node(const lpm_arena *arena, lpm_spot *spot, uint32_t slot, lpm_bits key, bool *down) {
    const auto *node = lpm_at<lpm_node>(arena->base, slot);
    *down = false;
    if (spot->bits - spot->node_depth <= LPM_STRIDE) {
        const lpm_position at = lpm_place_of(key, spot->node_depth, spot->bits);
        if (lpm_has(node, at)) spot->value = lpm_value_of(node, at);
        return;
    }
    const unsigned branch = lpm_branch(key, spot->node_depth);
    if ((node->children >> branch & 1) == 0) return;
    spot->tail = lpm_slots(node) + lpm_child_place(node, branch);
    spot->tail_depth = spot->node_depth + LPM_STRIDE;
    *down = true;
}

static void spot_descend(const lpm_arena *arena, lpm_spot *spot, lpm_bits key) {
    bool down = true;
    while (down) {
        uint32_t *here = spot->tail;
        unsigned depth = spot->tail_depth;
        uint32_t *outer = here;
        const unsigned outer_depth = depth;
        if (*here == 0) return;
        if (lpm_slot_kind(*here) != LPM_NODE) {
            auto *tail = lpm_at<lpm_tail>(arena->base, *here);
            const unsigned length = lpm_tail_length(tail);
            const bool covers = length <= spot->bits && lpm_tail_covers(tail, depth, key);
            if (lpm_slot_kind(*here) == LPM_LEAF) {
                if (covers && length == spot->bits) spot->value = &tail->word;
                return;
            }
            if (!covers || length == spot->bits) return;
            here = &tail->word;
            depth = length;
        }
        spot->node = here;
        spot->node_depth = depth;
        spot->outer = outer;
        spot->outer_depth = outer_depth;
        spot->tail = nullptr;
        spot_node(arena, spot, *here, key, &down);
    }
}

uint32_t lpm_find(const lpm_arena *arena, lpm_trie *trie, const lpm_key &key, unsigned bits, lpm_spot *spot) {
    *spot = {};
    if (bits > LPM_BITS_MAX) return 0;
    const lpm_bits whole = lpm_join(key) & lpm_lead<lpm_bits>(bits);
    spot->trie = trie;
    spot->change_count = arena->change_count;
    spot->key = lpm_split(whole);
    spot->root = trie->root;
    spot->bits = bits;
    spot->tail = lpm_start(arena->base, &trie->root, whole, bits, &spot->tail_depth);
    spot_descend(arena, spot, whole);
    return spot->value == nullptr ? 0 : *spot->value;
}

static const lpm_spot *spot_for(const lpm_arena *arena, lpm_trie *trie, const lpm_key &key, unsigned bits,
                                lpm_spot *given, lpm_spot *own) {
    if (given != nullptr && given->trie == trie && given->change_count == arena->change_count &&
        given->root == trie->root && given->bits == bits) {
        const lpm_bits whole = lpm_join(key) & lpm_lead<lpm_bits>(bits);
        if (lpm_join(given->key) == whole) return given;
    }
    lpm_spot *spot = given != nullptr ? given : own;
    (void)lpm_find(arena, trie, key, bits, spot);
    return spot;
}

/* --- adding --- */

static int add_value(lpm_arena *arena, const lpm_spot *spot, uint32_t value) {
    const uint32_t old = *spot->node;
    const auto *from = lpm_at<lpm_node>(arena->base, old);
    const unsigned count = slot_count(from);
    lpm_update change{.arena = arena, .units = {}, .blocks = {}, .planned = 0, .used = 0};
    lpm_plan(&change, lpm_node_units(count + 1));
    if (lpm_plan_take(&change, false) != 0) return ENOMEM;
    const lpm_position at = lpm_place_of(lpm_join(spot->key), spot->node_depth, spot->bits);
    uint32_t slot;
    lpm_node *to = lpm_node_new(&change, &slot);
    *to = *from;
    copy_with(from, to, count, value_place(from, at), value);
    map_flip(to, at);
    lpm_publish(spot->node, slot);
    lpm_retire_slot(arena, old, spot->node_depth);
    return 0;
}

static int add_child(lpm_arena *arena, const lpm_spot *spot, uint32_t value) {
    const uint32_t old = *spot->node;
    const auto *from = lpm_at<lpm_node>(arena->base, old);
    const unsigned count = slot_count(from), below = spot->node_depth + LPM_STRIDE;
    const lpm_bits key = lpm_join(spot->key);
    lpm_update change{.arena = arena, .units = {}, .blocks = {}, .planned = 0, .used = 0};
    lpm_plan(&change, lpm_node_units(count + 1));
    lpm_plan(&change, lpm_tail_units(spot->bits - below));
    if (lpm_plan_take(&change, false) != 0) return ENOMEM;
    uint32_t slot;
    lpm_node *to = lpm_node_new(&change, &slot);
    const uint32_t leaf = lpm_tail_write(&change, LPM_LEAF, below, key, spot->bits, value);
    const unsigned branch = lpm_branch(key, spot->node_depth);
    *to = *from;
    copy_with(from, to, count, lpm_child_place(from, branch), leaf);
    to->children |= lpm_bit(branch);
    lpm_publish(spot->node, slot);
    lpm_retire_slot(arena, old, spot->node_depth);
    return 0;
}

/* A leaf or a skip block that stands in the way, beside the new route. */
struct split {
    const lpm_tail *tail;
    lpm_kind kind;
    lpm_bits key, new_key;
    unsigned length, new_length;
    unsigned depth;  /* of both now */
    unsigned branch; /* depth of the node where they part */
};

static split split_measure(const lpm_arena *arena, const lpm_spot *spot) {
    split s{};
    s.kind = lpm_slot_kind(*spot->tail);
    s.tail = lpm_at<lpm_tail>(arena->base, *spot->tail);
    s.depth = spot->tail_depth;
    s.new_key = lpm_join(spot->key);
    s.new_length = spot->bits;
    s.key = lpm_tail_key(s.tail, s.depth, s.new_key);
    s.length = lpm_tail_length(s.tail);
    const lpm_key differ = lpm_split(s.key ^ s.new_key);
    unsigned common = differ.hi != 0   ? static_cast<unsigned>(__builtin_clzll(differ.hi))
                      : differ.lo != 0 ? 64 + static_cast<unsigned>(__builtin_clzll(differ.lo))
                                       : LPM_BITS_MAX;
    /* The node must lie above both; routes below a skip are longer than it. */
    const unsigned shortest = s.kind == LPM_LEAF && s.length < s.new_length ? s.length : s.new_length;
    if (common >= shortest) common = shortest == 0 ? 0 : shortest - 1;
    if (s.kind == LPM_SKIP && common >= s.length) common = s.length - 1;
    s.branch = common - common % LPM_STRIDE;
    return s;
}

/* How one of the two hangs below the node: as a value in it, as the skip's own slot, or as a tail below. */
static bool split_inside(const split &s, bool new_one) {
    const unsigned length = new_one ? s.new_length : s.length;
    return length <= s.branch + LPM_STRIDE && (new_one || s.kind == LPM_LEAF);
}
static bool split_direct(const split &s) { return s.kind == LPM_SKIP && s.length == s.branch + LPM_STRIDE; }

static void split_plan(const split &s, lpm_update *change) {
    const unsigned below = s.branch + LPM_STRIDE;
    lpm_plan(change, lpm_node_units(2));
    if (!split_inside(s, false) && !split_direct(s)) lpm_plan(change, lpm_tail_units(s.length - below));
    if (!split_inside(s, true)) lpm_plan(change, lpm_tail_units(s.new_length - below));
    if (s.branch > s.depth) lpm_plan(change, lpm_tail_units(s.branch - s.depth));
}

struct split_child {
    unsigned branch;
    uint32_t slot;
};

/* Puts the two entries of a new node in their order: children first, then upper, then sixth. */
static void split_fill(const split &s, lpm_update *change, lpm_node *node, uint32_t value) {
    const unsigned below = s.branch + LPM_STRIDE;
    split_child children[2];
    unsigned child_count = 0;
    const bool old_inside = split_inside(s, false), new_inside = split_inside(s, true);
    if (!old_inside)
        children[child_count++] = {
            lpm_branch(s.key, s.branch),
            split_direct(s) ? s.tail->word
                            : lpm_tail_write(change, s.kind, below, s.key, s.length, s.tail->word)};
    if (!new_inside)
        children[child_count++] = {lpm_branch(s.new_key, s.branch),
                                   lpm_tail_write(change, LPM_LEAF, below, s.new_key, s.new_length, value)};
    for (unsigned i = 0; i < child_count; i++) node->children |= lpm_bit(children[i].branch);
    const lpm_position old_at = lpm_place_of(s.key, s.branch, old_inside ? s.length : s.branch);
    const lpm_position new_at = lpm_place_of(s.new_key, s.branch, new_inside ? s.new_length : s.branch);
    if (old_inside) map_flip(node, old_at);
    if (new_inside) map_flip(node, new_at);
    for (unsigned i = 0; i < child_count; i++)
        lpm_slots(node)[lpm_child_place(node, children[i].branch)] = children[i].slot;
    if (old_inside) lpm_slots(node)[value_place(node, old_at)] = s.tail->word;
    if (new_inside) lpm_slots(node)[value_place(node, new_at)] = value;
}

static int add_split(lpm_arena *arena, const lpm_spot *spot, uint32_t value) {
    const uint32_t old = *spot->tail;
    const split s = split_measure(arena, spot);
    lpm_update change{.arena = arena, .units = {}, .blocks = {}, .planned = 0, .used = 0};
    split_plan(s, &change);
    if (lpm_plan_take(&change, false) != 0) return ENOMEM;
    uint32_t slot;
    lpm_node *node = lpm_node_new(&change, &slot);
    split_fill(s, &change, node, value);
    if (s.branch > s.depth) slot = lpm_tail_write(&change, LPM_SKIP, s.depth, s.new_key, s.branch, slot);
    lpm_publish(spot->tail, slot);
    lpm_retire_slot(arena, old, s.depth);
    return 0;
}

static int add_first(lpm_arena *arena, const lpm_spot *spot, uint32_t value) {
    lpm_update change{.arena = arena, .units = {}, .blocks = {}, .planned = 0, .used = 0};
    lpm_plan(&change, lpm_tail_units(spot->bits - spot->tail_depth));
    if (lpm_plan_take(&change, false) != 0) return ENOMEM;
    lpm_publish(spot->tail,
                lpm_tail_write(&change, LPM_LEAF, spot->tail_depth, lpm_join(spot->key), spot->bits, value));
    return 0;
}

int lpm_add(lpm_arena *arena, lpm_trie *trie, const lpm_key &key, unsigned bits, uint32_t value, bool replace,
            lpm_spot *spot) {
    if (value == 0 || bits > LPM_BITS_MAX) return EINVAL;
    lpm_spot own;
    const lpm_spot *at = spot_for(arena, trie, key, bits, spot, &own);
    if (at->value != nullptr) {
        if (!replace) return EEXIST;
        lpm_publish(at->value, value);
        return 0;
    }
    int status;
    if (at->tail != nullptr)
        status = *at->tail == 0 ? add_first(arena, at, value) : add_split(arena, at, value);
    else if (bits - at->node_depth <= LPM_STRIDE)
        status = add_value(arena, at, value);
    else
        status = add_child(arena, at, value);
    if (status != 0) return status;
    trie->route_count++;
    arena->change_count++;
    lpm_fan_consider(arena, trie);
    return 0;
}

/* --- removing --- */

/* The one entry that is left of a node of two. */
struct survivor {
    lpm_kind kind; /* LPM_LEAF: a route; LPM_SKIP: a node with what leads to it */
    lpm_bits key;
    unsigned length;
    uint32_t word;
    uint32_t replaced; /* the leaf or skip block that is merged into the new one, or 0 */
};

static survivor survivor_child(const lpm_arena *arena, const lpm_spot *spot, unsigned branch, uint32_t slot) {
    const unsigned below = spot->node_depth + LPM_STRIDE;
    const lpm_bits six = static_cast<lpm_bits>(branch) << (LPM_BITS_MAX - LPM_STRIDE);
    const lpm_bits key =
        (lpm_join(spot->key) & lpm_lead<lpm_bits>(spot->node_depth)) | six >> spot->node_depth;
    if (lpm_slot_kind(slot) == LPM_NODE) return {LPM_SKIP, key, below, slot, 0};
    const auto *tail = lpm_at<lpm_tail>(arena->base, slot);
    return {lpm_slot_kind(slot), lpm_tail_key(tail, below, key), lpm_tail_length(tail), tail->word, slot};
}

static survivor survivor_value(const lpm_spot *spot, const lpm_node *node, lpm_position gone,
                               bool gone_is_value) {
    uint64_t upper = node->upper, sixth = node->sixth;
    if (gone_is_value) (gone.sixth ? sixth : upper) &= ~lpm_bit(gone.bit);
    unsigned branch, below;
    lpm_position at;
    if (sixth != 0) {
        branch = static_cast<unsigned>(__builtin_ctzll(sixth));
        below = LPM_STRIDE;
        at = {true, branch};
    } else {
        const auto heap = static_cast<unsigned>(__builtin_ctzll(upper));
        below = 31 - static_cast<unsigned>(__builtin_clz(heap));
        branch = (heap - (1u << below)) << (LPM_STRIDE - below);
        at = {false, heap};
    }
    const lpm_bits six = static_cast<lpm_bits>(branch) << (LPM_BITS_MAX - LPM_STRIDE);
    const lpm_bits key =
        (lpm_join(spot->key) & lpm_lead<lpm_bits>(spot->node_depth)) | six >> spot->node_depth;
    return {LPM_LEAF, key, spot->node_depth + below, *lpm_value_of(node, at), 0};
}

/* What goes from a node: a route of its maps, or the leaf below a branch. */
struct removal {
    bool is_value;
    lpm_position value;
    unsigned branch;
    unsigned place;
};

static removal removal_of(const lpm_spot *spot, const lpm_node *node) {
    const lpm_bits key = lpm_join(spot->key);
    if (spot->tail != nullptr) {
        const unsigned branch = lpm_branch(key, spot->node_depth);
        return {false, {false, 0}, branch, lpm_child_place(node, branch)};
    }
    const lpm_position at = lpm_place_of(key, spot->node_depth, spot->bits);
    return {true, at, 0, value_place(node, at)};
}

static survivor survivor_of(const lpm_arena *arena, const lpm_spot *spot, const lpm_node *node,
                            const removal &gone) {
    const uint64_t children = gone.is_value ? node->children : node->children & ~lpm_bit(gone.branch);
    if (children == 0) return survivor_value(spot, node, gone.value, gone.is_value);
    const auto branch = static_cast<unsigned>(__builtin_ctzll(children));
    return survivor_child(arena, spot, branch, lpm_slots(node)[lpm_child_place(node, branch)]);
}

static int remove_collapse(lpm_arena *arena, const lpm_spot *spot, const removal &gone) {
    const uint32_t old_node = *spot->node, old_outer = *spot->outer;
    const survivor left = survivor_of(arena, spot, lpm_at<lpm_node>(arena->base, old_node), gone);
    lpm_update change{.arena = arena, .units = {}, .blocks = {}, .planned = 0, .used = 0};
    lpm_plan(&change, lpm_tail_units(left.length - spot->outer_depth));
    if (lpm_plan_take(&change, true) != 0) return ENOMEM;
    const uint32_t slot =
        lpm_tail_write(&change, left.kind, spot->outer_depth, left.key, left.length, left.word);
    lpm_publish(spot->outer, slot);
    if (spot->outer != spot->node) lpm_retire_slot(arena, old_outer, spot->outer_depth);
    if (left.replaced != 0) lpm_retire_slot(arena, left.replaced, spot->node_depth + LPM_STRIDE);
    lpm_retire_slot(arena, old_node, spot->node_depth);
    return 0;
}

static int remove_shrink(lpm_arena *arena, const lpm_spot *spot, const removal &gone) {
    const uint32_t old = *spot->node;
    const auto *from = lpm_at<lpm_node>(arena->base, old);
    const unsigned count = slot_count(from);
    lpm_update change{.arena = arena, .units = {}, .blocks = {}, .planned = 0, .used = 0};
    lpm_plan(&change, lpm_node_units(count - 1));
    if (lpm_plan_take(&change, true) != 0) return ENOMEM;
    uint32_t slot;
    lpm_node *to = lpm_node_new(&change, &slot);
    *to = *from;
    copy_without(from, to, count, gone.place);
    if (gone.is_value)
        map_flip(to, gone.value);
    else
        to->children &= ~lpm_bit(gone.branch);
    lpm_publish(spot->node, slot);
    lpm_retire_slot(arena, old, spot->node_depth);
    return 0;
}

int lpm_delete(lpm_arena *arena, lpm_trie *trie, const lpm_key &key, unsigned bits, lpm_spot *spot) {
    lpm_spot own;
    const lpm_spot *at = spot_for(arena, trie, key, bits, spot, &own);
    if (at->value == nullptr) return ENOENT;
    const uint32_t leaf = at->tail != nullptr ? *at->tail : 0;
    int status = 0;
    if (trie->route_count == 1) { /* one store, also when the root is a fan */
        lpm_clear(arena, trie);
        return 0;
    }
    if (at->node == nullptr) {
        lpm_publish(at->tail, 0);
    } else {
        const auto *node = lpm_at<lpm_node>(arena->base, *at->node);
        const removal gone = removal_of(at, node);
        status = slot_count(node) > 2 ? remove_shrink(arena, at, gone) : remove_collapse(arena, at, gone);
    }
    if (status != 0) return status;
    if (leaf != 0) lpm_retire_slot(arena, leaf, at->tail_depth);
    trie->route_count--;
    arena->change_count++;
    return 0;
}
