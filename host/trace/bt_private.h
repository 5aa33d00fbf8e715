/* host/trace/bt_private.h: the inside of binary histories. Inside host/trace only.
 *
 * An instance is a set of arrays, by the number of the entry: what a download fills is the heads, and the first record
 * of each entry, which lie together; the other records of the rings come behind them. So a new entry touches little
 * memory, and in order.
 *
 * Look-ups go by hash, since most records of a download are of keys that were never seen: such an entry enters the tree
 * when somebody first walks in key order, and many are taken away before that. */
#pragma once

#include "host/trace/bt.h"

enum bt_slot_state : uint32_t { BT_SLOT_FREE, BT_SLOT_LISTED, BT_SLOT_STICKY };

struct bt_slot {
    bt_slot *newer; /* listed: on the list of the descriptor */
    bt_slot **link; /* what points at it there */
    bt_slot_state state;
};

struct bt_entry {
    ravl_node by_key;
    uint32_t number;
    uint8_t first;  /* of the ring: the oldest record */
    uint8_t count;  /* records */
    uint8_t key[2]; /* as long as the instance's keys */
};
static_assert(offsetof(bt_entry, key) == BT_ENTRY_HEAD);

/* How an entry lies in its bucket; small, so that it stays in the cache: most entries that a search meets are not what is
 * looked for. */
struct bt_link {
    uint32_t hash;
    uint32_t next; /* number + 1 of the next entry of the bucket, or of the free ones; 0: none */
};

/* A record's place in the order queue. References to nodes name row, entry and place in the ring, so that they need half
 * of a pointer; 0 is none. */
struct bt_order_node {
    uint64_t sequence;
    uint32_t older, newer;
};

struct bt_pool {
    uint32_t used;  /* numbers that were ever given out since the last clear */
    uint32_t free;  /* number + 1 of one that came back; 0: none */
    uint32_t loose; /* entries that are not in the tree yet */
    uint32_t bucket_mask;
    uint32_t entries_max;
    uint32_t entry_stride; /* bytes */
    uint32_t rec_len;
    uint32_t *buckets; /* number + 1 of their first entry; 0: none */
    bt_link *links;
    bt_slot *slots;
    bt_order_node *nodes; /* by place, then by number; null without an order queue */
    uint8_t *entries;
    uint8_t *records; /* by place, then by number */
};

struct bt_filter_set {
    uint32_t count;
    uint8_t keys[1]; /* room for BT_FILTERS_MAX */
};

inline bt_entry *bt_entry_at(const bt_pool *pool, uint32_t number) {
    return reinterpret_cast<bt_entry *>(pool->entries + size_t{number} * pool->entry_stride);
}
inline uint32_t bt_slot_number(const bt_pool *pool, const bt_slot *slot) {
    return static_cast<uint32_t>(slot - pool->slots);
}
inline bt_order_node *bt_node_at(const bt_pool *pool, uint32_t number, uint32_t place) {
    return &pool->nodes[size_t{place} * pool->entries_max + number];
}
inline uint8_t *bt_record_at(const bt_pool *pool, uint32_t number, uint32_t place) {
    return pool->records + (size_t{place} * pool->entries_max + number) * pool->rec_len;
}

[[nodiscard]] uint32_t bt_key_hash(const void *key, uint32_t len);
/* The slot of a key; null: none. */
[[nodiscard]] bt_slot *bt_slot_find(const bt_desc *desc, const void *key);
/* Found or made, without records and newest of all. Null: no memory, or all are sticky. */
[[nodiscard]] bt_slot *bt_slot_get_create(bt_desc *desc, const void *key, uint32_t hash);
void bt_slot_list(bt_desc *desc, bt_slot *slot);   /* as the newest */
void bt_slot_unlist(bt_desc *desc, bt_slot *slot); /* off the list; it keeps its state */
void bt_slot_free(bt_desc *desc, bt_slot *slot);   /* the entry and its records are gone */

[[nodiscard]] bool bt_filters_pass(const bt_desc *desc, const void *key);

/* A record that need not wait. As bt_add_rec(). */
int bt_add_now(bt_desc *desc, const void *key, uint32_t hash, const void *rec);
/* Keeps the records that wait; called before anything is read or steered. */
void bt_flush_queue(bt_order_q *queue);
inline void bt_flush(const bt_desc *desc) {
    if (desc->order != nullptr) bt_flush_queue(desc->order->queue);
}

/* Gives a record the newest place in the queue; takes one out that is in it. */
void bt_order_append(const bt_order_row *row, uint32_t number, uint32_t place);
void bt_order_remove(const bt_order_row *row, uint32_t number, uint32_t place);
