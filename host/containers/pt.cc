#include "host/containers/pt.h"

#include "host/containers/heap.h"
#include "host/containers/slab.h"

#include <cerrno>
#include <cstdlib>

/* Values with this bit name a row of the side table, for records that lie in no slab. */
static constexpr uint32_t SIDE_BIT = 0x80000000u;
static constexpr uint64_t ARENA_BYTES = 1ull << 33;

/* A row of the side table: a record, or the number of the next free row. */
union side_row {
    void *record;
    uint64_t next_free;
};

struct pt_state {
    lpm_arena arena; /* made by the first add */
    lpm_spot spot;   /* of the last exact look-up */
    side_row *rows;
    uint32_t row_count, row_capacity;
    uint32_t row_free; /* row + 1; 0 none */
    uint32_t fail_countdown;
    bool keep_failing;
};
static pt_state state;

pt_attr *pt_attr_create(int, int, uint32_t key_bytes) {
    if (key_bytes == 0 || key_bytes > 16) return nullptr;
    auto *attr = static_cast<pt_attr *>(heap_calloc(1, sizeof(pt_attr)));
    if (attr != nullptr) attr->key_bytes = key_bytes;
    return attr;
}

void pt_attr_destroy(pt_attr *attr) { std::free(attr); }

/* --- records as numbers --- */

static bool side_room() {
    if (state.row_free != 0 || state.row_count < state.row_capacity) return true;
    const uint32_t capacity = state.row_capacity == 0 ? 64 : state.row_capacity * 2;
    if (capacity >= SIDE_BIT) return false;
    void *rows = std::realloc(state.rows, capacity * sizeof(side_row));
    if (rows == nullptr) return false;
    state.rows = static_cast<side_row *>(rows);
    state.row_capacity = capacity;
    return true;
}

static uint32_t side_put(void *record) {
    if (!side_room()) return 0;
    uint32_t row = state.row_free;
    if (row != 0)
        state.row_free = static_cast<uint32_t>(state.rows[--row].next_free);
    else
        row = state.row_count++;
    state.rows[row].record = record;
    return SIDE_BIT | row;
}

static uint32_t value_of(void *record) {
    const uint32_t number = slab_number(record);
    return number != 0 ? number : side_put(record);
}

static void value_drop(uint32_t value) {
    if ((value & SIDE_BIT) == 0) return;
    const uint32_t row = value & ~SIDE_BIT;
    state.rows[row].next_free = state.row_free;
    state.row_free = row + 1;
}

static void *record_of(uint32_t value) {
    return (value & SIDE_BIT) != 0 ? state.rows[value & ~SIDE_BIT].record : slab_address(value);
}

static void node_fill(pt_node *out, const lpm_entry &entry) {
    lpm_key_store(entry.key, out->key, sizeof out->key);
    out->bits = entry.bits;
    out->record = record_of(entry.value);
}

/* --- changes --- */

static bool fault_strikes() {
    if (state.fail_countdown == 0 || --state.fail_countdown != 0) return false;
    if (state.keep_failing) state.fail_countdown = 1;
    return true;
}

static bool arena_ready() {
    return state.arena.base != nullptr || lpm_arena_private_create(&state.arena, ARENA_BYTES) == 0;
}

int pt_add(pt_attr *attr, pt_root *root, const uint8_t *key, uint32_t bits, void *record) {
    if (record == nullptr || bits > attr->key_bytes * 8) return EINVAL;
    if (fault_strikes() || !arena_ready()) return ENOMEM;
    const uint32_t value = value_of(record);
    if (value == 0) return ENOMEM;
    const int status =
        lpm_add(&state.arena, &root->trie, lpm_key_load(key, bits), bits, value, false, &state.spot);
    if (status != 0) value_drop(value);
    return status;
}

int pt_delete(pt_attr *attr, pt_root *root, const uint8_t *key, uint32_t bits) {
    if (bits > attr->key_bytes * 8 || state.arena.base == nullptr) return ENOENT;
    const lpm_key whole = lpm_key_load(key, bits);
    const uint32_t value = lpm_find(&state.arena, &root->trie, whole, bits, &state.spot);
    const int status = lpm_delete(&state.arena, &root->trie, whole, bits, &state.spot);
    if (status == 0) value_drop(value);
    return status;
}

/* --- look-ups --- */

static uint32_t lookup(pt_attr *attr, pt_root *root, const lpm_key &key, uint32_t bits, bool exact,
                       unsigned *length) {
    *length = bits;
    if (bits > attr->key_bytes * 8 || root->trie.root == 0) return 0;
    if (exact) return lpm_find(&state.arena, &root->trie, key, bits, &state.spot);
    if (bits == attr->key_bytes * 8) return lpm_match(state.arena.base, &root->trie, key, length);
    return lpm_match_prefix(state.arena.base, &root->trie, key, bits, length);
}

void *pt_lookup(pt_attr *attr, pt_root *root, const uint8_t *key, uint32_t bits, bool exact) {
    unsigned length;
    const uint32_t value = lookup(attr, root, lpm_key_load(key, bits), bits, exact, &length);
    return value == 0 ? nullptr : record_of(value);
}

bool pt_lookup_node(pt_attr *attr, pt_root *root, const uint8_t *key, uint32_t bits, bool exact,
                    pt_node *out) {
    unsigned length;
    const lpm_key whole = lpm_key_load(key, bits);
    const uint32_t value = lookup(attr, root, whole, bits, exact, &length);
    if (value == 0) return false;
    uint8_t bytes[16];
    lpm_key_store(whole, bytes, sizeof bytes);
    node_fill(out, {lpm_key_load(bytes, length), length, value});
    return true;
}

bool pt_get_first_node(const pt_root *root, pt_node *out) {
    lpm_entry entry;
    if (!lpm_first(state.arena.base, &root->trie, &entry)) return false;
    node_fill(out, entry);
    return true;
}

bool pt_get_next_node(const pt_root *root, const uint8_t *key, uint32_t bits, pt_node *out) {
    lpm_entry entry;
    if (!lpm_next(state.arena.base, &root->trie, lpm_key_load(key, bits), bits, &entry)) return false;
    node_fill(out, entry);
    return true;
}

uint64_t pt_used_bytes() {
    const uint64_t side = uint64_t{state.row_capacity} * sizeof(side_row);
    return side + (state.arena.base == nullptr ? 0 : lpm_arena_touched_bytes(&state.arena));
}

void pt_fail_nth_add(uint32_t nth, bool keep_failing) {
    state.fail_countdown = nth;
    state.keep_failing = keep_failing;
}

void pt_reset() {
    lpm_arena_private_destroy(&state.arena);
    std::free(state.rows);
    state = {};
}
