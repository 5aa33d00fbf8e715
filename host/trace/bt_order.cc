/* The records of several binary histories in one list by arrival. */
#include "host/trace/bt_private.h"

#include <cstring>

/* A reference: row, entry, place, and 1, so that 0 is none. */
constexpr uint32_t PLACE_BITS = 8, NUMBER_BITS = 19;
static_assert(BT_ENTRIES_MAX == 1u << NUMBER_BITS &&
              BT_ORDER_ROWS_MAX < 1u << (32 - PLACE_BITS - NUMBER_BITS));

static uint32_t reference(const bt_order_row *row, uint32_t number, uint32_t place) {
    const auto index = static_cast<uint32_t>(row - row->queue->row);
    return (index << (NUMBER_BITS + PLACE_BITS) | number << PLACE_BITS | place) + 1;
}
static uint32_t row_of(uint32_t ref) { return (ref - 1) >> (NUMBER_BITS + PLACE_BITS); }
static uint32_t number_of(uint32_t ref) { return (ref - 1) >> PLACE_BITS & (BT_ENTRIES_MAX - 1); }
static uint32_t place_of(uint32_t ref) { return (ref - 1) & ((1u << PLACE_BITS) - 1); }
static bt_order_node *node_of(const bt_order_q *queue, uint32_t ref) {
    return bt_node_at(queue->row[row_of(ref)].pool, number_of(ref), place_of(ref));
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

void bt_order_remove(const bt_order_row *row, uint32_t number, uint32_t place) {
    bt_order_q *queue = row->queue;
    const bt_order_node *node = bt_node_at(row->pool, number, place);
    (node->older == 0 ? queue->first : node_of(queue, node->older)->newer) = node->newer;
    (node->newer == 0 ? queue->last : node_of(queue, node->newer)->older) = node->older;
}

void bt_order_append(const bt_order_row *row, uint32_t number, uint32_t place) {
    bt_order_q *queue = row->queue;
    const uint32_t ref = reference(row, number, place);
    *bt_node_at(row->pool, number, place) = {++queue->sequence, queue->last, 0};
    (queue->last == 0 ? queue->first : node_of(queue, queue->last)->newer) = ref;
    queue->last = ref;
}

/* ---- walk ---- */

static bool visit(const bt_order_q *queue, uint32_t ref, bt_pos *pos, bt_ordered_rec *out) {
    if (ref == 0) return false;
    const bt_order_row *row = &queue->row[row_of(ref)];
    const bt_entry *entry = bt_entry_at(row->pool, number_of(ref));
    *out = {row->desc, entry, bt_record_at(row->pool, number_of(ref), place_of(ref))};
    pos->sequence = node_of(queue, ref)->sequence;
    pos->row = row_of(ref);
    pos->key_len = static_cast<uint16_t>(row->desc->key_len);
    std::memcpy(pos->key, bt_entry_key(entry), row->desc->key_len);
    return true;
}

/* The reference of the record at 'pos' while it exists; else 0. */
static uint32_t find(const bt_order_q *queue, const bt_pos *pos) {
    const bt_order_row *row = &queue->row[pos->row];
    const bt_entry *entry = bt_get_entry(row->desc, pos->key);
    for (uint32_t place = 0; entry != nullptr && place < entry->count; place++)
        if (bt_node_at(row->pool, entry->number, place)->sequence == pos->sequence)
            return reference(row, entry->number, place);
    return 0;
}

bool bt_get_first_rec_queue(bt_order_q *queue, bt_pos *pos, bt_ordered_rec *out) {
    bt_flush_queue(queue);
    return visit(queue, queue->first, pos, out);
}

bool bt_get_newest_rec_queue(bt_order_q *queue, uint32_t count, bt_pos *pos, bt_ordered_rec *out) {
    bt_flush_queue(queue);
    uint32_t ref = queue->last;
    for (uint32_t i = 1; i < count && ref != queue->first; i++) ref = node_of(queue, ref)->older;
    return visit(queue, ref, pos, out);
}

/* The oldest record that came after a sequence, from the nearer end of the queue; 0: none. */
static uint32_t first_after(const bt_order_q *queue, uint64_t sequence) {
    uint32_t ref = queue->first, after = 0;
    const uint64_t oldest = ref == 0 ? 0 : node_of(queue, ref)->sequence;
    if (sequence < oldest || sequence - oldest < queue->sequence - sequence) {
        while (ref != 0 && node_of(queue, ref)->sequence <= sequence) ref = node_of(queue, ref)->newer;
        return ref;
    }
    for (ref = queue->last; ref != 0 && node_of(queue, ref)->sequence > sequence;
         ref = node_of(queue, ref)->older)
        after = ref;
    return after;
}

bool bt_get_next_rec_queue(bt_order_q *queue, bt_pos *pos, bt_ordered_rec *out) {
    bt_flush_queue(queue);
    if (!bt_pos_in_queue(queue, pos) || pos->sequence > queue->sequence) return false;
    const uint32_t here = find(queue, pos);
    return visit(queue, here != 0 ? node_of(queue, here)->newer : first_after(queue, pos->sequence), pos,
                 out);
}

bool bt_pos_in_queue(const bt_order_q *queue, const bt_pos *pos) {
    return pos->row < queue->rows && pos->sequence != 0 && queue->row[pos->row].desc != nullptr &&
           bt_pos_ok(queue->row[pos->row].desc, pos);
}
