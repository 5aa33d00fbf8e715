/* host/trace/bt_private.h: the inside of binary histories. Inside host/trace only.
 *
 * An entry is its tree node, ring state, key and records, in one block of bytes; the entries of an instance are an
 * array. Beside each entry stands a slot with what only the library needs. Look-ups go by hash, since most records of
 * a download are of keys that were never seen: such an entry enters the tree when somebody first walks in key order,
 * and many are taken away before that. */
#pragma once

#include "host/trace/bt.h"

struct bt_entry {
    ravl_node by_key;
    uint32_t number; /* in the array */
    uint8_t first;   /* of the ring: the oldest record */
    uint8_t count;   /* records */
    uint8_t key[2];  /* as long as the instance's keys; the records follow */
};
static_assert(offsetof(bt_entry, key) == BT_ENTRY_HEAD);

enum bt_slot_state : uint32_t { BT_SLOT_FREE, BT_SLOT_LISTED, BT_SLOT_STICKY };

struct bt_slot {
    bt_slot *newer; /* listed: on the list of the descriptor */
    bt_slot **link; /* what points at it there */
    uint32_t hash;
    uint32_t chain; /* number + 1 of the next slot of the bucket, or of the free list; 0: none */
    bt_slot_state state;
};

/* A reference to a node names its row and index, so that it needs half of a pointer. */
struct bt_order_node {
    uint64_t sequence; /* 0: there is no such record */
    uint32_t older, newer;
};

struct bt_pool {
    uint32_t used;  /* slots that were ever given out since the last clear */
    uint32_t free;  /* number + 1 of a slot that came back; 0: none */
    uint32_t loose; /* entries that are not in the tree yet */
    uint32_t bucket_mask;
    uint32_t stride; /* bytes of an entry */
    uint32_t *buckets;
    bt_slot *slots;
    bt_order_node *order; /* one for each record; null without an order queue */
    uint8_t *entries;
};

struct bt_filter_set {
    uint32_t count;
    uint8_t keys[1]; /* room for BT_FILTERS_MAX */
};

inline bt_entry *bt_entry_at(const bt_pool *pool, uint32_t number) {
    return reinterpret_cast<bt_entry *>(pool->entries + size_t{number} * pool->stride);
}
inline uint32_t bt_slot_number(const bt_pool *pool, const bt_slot *slot) {
    return static_cast<uint32_t>(slot - pool->slots);
}
inline uint8_t *bt_entry_bytes(bt_entry *entry) { return reinterpret_cast<uint8_t *>(entry); }
inline const uint8_t *bt_entry_bytes(const bt_entry *entry) {
    return reinterpret_cast<const uint8_t *>(entry);
}

/* The slot of a key; null: none. */
[[nodiscard]] bt_slot *bt_slot_find(const bt_desc *desc, const void *key);
/* Found or made, without records and newest of all. Null: no memory, or all are sticky. */
[[nodiscard]] bt_slot *bt_slot_get_create(bt_desc *desc, const void *key);
void bt_slot_list(bt_desc *desc, bt_slot *slot);   /* as the newest */
void bt_slot_unlist(bt_desc *desc, bt_slot *slot); /* off the list; it keeps its state */
void bt_slot_free(bt_desc *desc, bt_slot *slot);   /* the entry and its records are gone */

[[nodiscard]] bool bt_filters_pass(const bt_desc *desc, const void *key);

/* Gives the record at 'index' (entry x records + place in the ring) the newest place in the queue, or takes it out. */
void bt_order_append(const bt_order_row *row, uint32_t index);
void bt_order_remove(const bt_order_row *row, uint32_t index);
