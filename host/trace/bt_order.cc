/* The records of several binary histories in one list by arrival. */
#include "host/trace/bt_private.h"

#include <cstring>

/* A reference: row and index of a node, and 1, so that 0 is none. */
constexpr uint32_t INDEX_BITS = 20;
static_assert(BT_RECORDS_MAX == 1u << INDEX_BITS && BT_ORDER_ROWS_MAX << INDEX_BITS != 0);

static uint32_t reference(const bt_order_row *row, uint32_t index) {
    return (static_cast<uint32_t>(row - row->queue->row) << INDEX_BITS | index) + 1;
}
static uint32_t row_of(uint32_t ref) { return (ref - 1) >> INDEX_BITS; }
static uint32_t index_of(uint32_t ref) { return (ref - 1) & (BT_RECORDS_MAX - 1); }
static bt_order_node *node_of(const bt_order_q *queue, uint32_t ref) {
    return &queue->row[row_of(ref)].nodes[index_of(ref)];
}

int bt_init_rec_order_queue(bt_order_q *queue, uint32_t rows) {
    *queue = {};
    if (rows > BT_ORDER_ROWS_MAX) return -1;
    queue->rows = rows;
    return 0;
}

int bt_set_rec_order(bt_desc *desc, bt_order_q *queue, uint32_t row) {
    if (row >= queue->rows || queue->row[row].desc != nullptr || desc->pool != nullptr) return -1;
    queue->row[row] = {desc, queue, nullptr};
    desc->order = &queue->row[row];
    return 0;
}

void bt_order_remove(const bt_order_row *row, uint32_t index) {
    bt_order_q *queue = row->queue;
    bt_order_node *node = &row->nodes[index];
    if (node->sequence == 0) return;
    (node->older == 0 ? queue->first : node_of(queue, node->older)->newer) = node->newer;
    (node->newer == 0 ? queue->last : node_of(queue, node->newer)->older) = node->older;
    *node = {};
}

void bt_order_append(const bt_order_row *row, uint32_t index) {
    bt_order_remove(row, index);
    bt_order_q *queue = row->queue;
    const uint32_t ref = reference(row, index);
    row->nodes[index] = {++queue->sequence, queue->last, 0};
    (queue->last == 0 ? queue->first : node_of(queue, queue->last)->newer) = ref;
    queue->last = ref;
}

/* ---- walk ---- */

static bool visit(const bt_order_q *queue, uint32_t ref, bt_pos *pos, bt_ordered_rec *out) {
    if (ref == 0) return false;
    const bt_desc *desc = queue->row[row_of(ref)].desc;
    const uint32_t number = index_of(ref) / desc->records_per_entry;
    const uint32_t place = index_of(ref) % desc->records_per_entry;
    const bt_entry *entry = bt_entry_at(desc->pool, number);
    *out = {desc, entry, bt_entry_bytes(entry) + desc->head_len + size_t{place} * desc->rec_len};
    pos->sequence = node_of(queue, ref)->sequence;
    pos->row = row_of(ref);
    pos->key_len = static_cast<uint16_t>(desc->key_len);
    std::memcpy(pos->key, bt_entry_key(entry), desc->key_len);
    return true;
}

/* The reference of the record at 'pos' while it exists; else 0. */
static uint32_t find(const bt_order_q *queue, const bt_pos *pos) {
    const bt_order_row *row = &queue->row[pos->row];
    const bt_slot *slot = bt_slot_find(row->desc, pos->key);
    if (slot == nullptr) return 0;
    const uint32_t first = bt_slot_number(row->desc->pool, slot) * row->desc->records_per_entry;
    for (uint32_t place = 0; place < row->desc->records_per_entry; place++)
        if (row->nodes[first + place].sequence == pos->sequence) return reference(row, first + place);
    return 0;
}

bool bt_get_first_rec_queue(const bt_order_q *queue, bt_pos *pos, bt_ordered_rec *out) {
    return visit(queue, queue->first, pos, out);
}

/* A record that is gone was among the oldest, as a rule: what came after it is found soon from that end. */
bool bt_get_next_rec_queue(const bt_order_q *queue, bt_pos *pos, bt_ordered_rec *out) {
    if (!bt_pos_in_queue(queue, pos)) return false;
    if (const uint32_t here = find(queue, pos); here != 0)
        return visit(queue, node_of(queue, here)->newer, pos, out);
    uint32_t ref = queue->first;
    while (ref != 0 && node_of(queue, ref)->sequence <= pos->sequence) ref = node_of(queue, ref)->newer;
    return visit(queue, ref, pos, out);
}

bool bt_pos_in_queue(const bt_order_q *queue, const bt_pos *pos) {
    return pos->row < queue->rows && pos->sequence != 0 && queue->row[pos->row].desc != nullptr &&
           bt_pos_ok(queue->row[pos->row].desc, pos);
}
