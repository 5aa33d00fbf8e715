/* Entries of binary histories: the pool they lie in, finding, making, and taking away the one that waited longest. */
#include "host/trace/bt_private.h"

#include <cstring>

/* ---- pool ---- */

static size_t round_up(size_t bytes) { return (bytes + 7) & ~size_t{7}; }

/* At most half full: chains stay short. */
static uint32_t bucket_count(uint32_t entries) {
    uint32_t count = 16;
    while (count < 2 * entries) count *= 2;
    return count;
}

/* Pool, buckets, slots, nodes and entries in one block; only the buckets are written before they are used. */
static bool pool_make(bt_desc *desc) {
    const uint32_t buckets = bucket_count(desc->max_entries);
    const size_t records = desc->order == nullptr ? 0 : size_t{desc->max_entries} * desc->records_per_entry;
    const size_t stride = round_up(desc->head_len + size_t{desc->records_per_entry} * desc->rec_len);
    const size_t slots_at = sizeof(bt_pool) + round_up(buckets * sizeof(uint32_t));
    const size_t order_at = slots_at + desc->max_entries * sizeof(bt_slot);
    const size_t entries_at = order_at + records * sizeof(bt_order_node);
    auto *bytes = static_cast<uint8_t *>(desc->alloc(entries_at + desc->max_entries * stride));
    if (bytes == nullptr) return false;
    auto *pool = reinterpret_cast<bt_pool *>(bytes);
    *pool = {};
    pool->bucket_mask = buckets - 1;
    pool->stride = static_cast<uint32_t>(stride);
    pool->buckets = reinterpret_cast<uint32_t *>(bytes + sizeof(bt_pool));
    pool->slots = reinterpret_cast<bt_slot *>(bytes + slots_at);
    pool->order = records == 0 ? nullptr : reinterpret_cast<bt_order_node *>(bytes + order_at);
    pool->entries = bytes + entries_at;
    std::memset(pool->buckets, 0, buckets * sizeof(uint32_t));
    desc->pool = pool;
    if (desc->order != nullptr) desc->order->nodes = pool->order;
    return true;
}

/* ---- look-up ---- */

static uint32_t key_hash(const uint8_t *key, uint32_t len) {
    uint64_t hash = len;
    while (len != 0) {
        const uint32_t step = len < 8 ? len : 8;
        uint64_t word = 0;
        std::memcpy(&word, key, step);
        hash = (hash ^ word) * 0x9e3779b97f4a7c15;
        hash ^= hash >> 32;
        key += step;
        len -= step;
    }
    return static_cast<uint32_t>(hash);
}

static bt_slot *find(const bt_desc *desc, const void *key, uint32_t hash) {
    const bt_pool *pool = desc->pool;
    for (uint32_t at = pool->buckets[hash & pool->bucket_mask]; at != 0; at = pool->slots[at - 1].chain) {
        bt_slot *slot = &pool->slots[at - 1];
        if (slot->hash == hash && std::memcmp(bt_entry_at(pool, at - 1)->key, key, desc->key_len) == 0)
            return slot;
    }
    return nullptr;
}

bt_slot *bt_slot_find(const bt_desc *desc, const void *key) {
    if (desc->pool == nullptr) return nullptr;
    return find(desc, key, key_hash(static_cast<const uint8_t *>(key), desc->key_len));
}

/* ---- lists ---- */

void bt_slot_list(bt_desc *desc, bt_slot *slot) {
    slot->newer = nullptr;
    slot->link = desc->newest;
    *desc->newest = slot;
    desc->newest = &slot->newer;
}

void bt_slot_unlist(bt_desc *desc, bt_slot *slot) {
    *slot->link = slot->newer;
    if (slot->newer == nullptr)
        desc->newest = slot->link;
    else
        slot->newer->link = slot->link;
}

static void bucket_leave(bt_pool *pool, const bt_slot *slot) {
    uint32_t *link = &pool->buckets[slot->hash & pool->bucket_mask];
    while (*link != bt_slot_number(pool, slot) + 1) link = &pool->slots[*link - 1].chain;
    *link = slot->chain;
}

/* ---- life ---- */

void bt_slot_free(bt_desc *desc, bt_slot *slot) {
    bt_pool *pool = desc->pool;
    const uint32_t number = bt_slot_number(pool, slot);
    bt_entry *entry = bt_entry_at(pool, number);
    for (uint32_t place = 0; desc->order != nullptr && place < entry->count; place++)
        bt_order_remove(desc->order, number * desc->records_per_entry + place);
    if (entry->by_key.height != 0)
        (void)ravl_delete(&desc->keys, &entry->by_key);
    else
        pool->loose--;
    bucket_leave(pool, slot);
    if (slot->state == BT_SLOT_LISTED) bt_slot_unlist(desc, slot);
    slot->state = BT_SLOT_FREE;
    slot->chain = pool->free;
    pool->free = number + 1;
    desc->entries--;
}

/* In a download every record takes the place of the entry that waited longest, whose memory nobody has touched for
 * thousands of records. Which one comes after the next is known now, so that its memory comes while other work is
 * done. */
static void prefetch_oldest(const bt_desc *desc) {
    const bt_slot *slot = desc->oldest == nullptr ? nullptr : desc->oldest->newer;
    if (slot == nullptr) return;
    const bt_pool *pool = desc->pool;
    const uint32_t number = bt_slot_number(pool, slot);
    const uint8_t *entry = bt_entry_bytes(bt_entry_at(pool, number));
    __builtin_prefetch(entry, 1);
    __builtin_prefetch(entry + 64, 1);
    __builtin_prefetch(&pool->buckets[slot->hash & pool->bucket_mask], 1);
    __builtin_prefetch(slot->newer, 1);
    if (pool->order != nullptr) __builtin_prefetch(&pool->order[number * desc->records_per_entry], 1);
}

/* One that came back, or one that was never used, or that of the entry which waited longest. */
static bt_slot *slot_take(bt_desc *desc) {
    bt_pool *pool = desc->pool;
    if (pool->free == 0 && pool->used < desc->max_entries) {
        const size_t records = desc->records_per_entry;
        if (pool->order != nullptr)
            std::memset(&pool->order[pool->used * records], 0, records * sizeof(bt_order_node));
        return &pool->slots[pool->used++];
    }
    if (pool->free == 0) {
        if (desc->oldest == nullptr) return nullptr;
        bt_slot_free(desc, desc->oldest);
        prefetch_oldest(desc);
    }
    bt_slot *slot = &pool->slots[pool->free - 1];
    pool->free = slot->chain;
    return slot;
}

static bt_slot *slot_make(bt_desc *desc, const void *key, uint32_t hash) {
    bt_slot *slot = slot_take(desc);
    if (slot == nullptr) return nullptr;
    bt_pool *pool = desc->pool;
    const uint32_t number = bt_slot_number(pool, slot);
    uint32_t *bucket = &pool->buckets[hash & pool->bucket_mask];
    *slot = {nullptr, nullptr, hash, *bucket, BT_SLOT_LISTED};
    *bucket = number + 1;
    bt_slot_list(desc, slot);
    bt_entry *entry = bt_entry_at(pool, number);
    entry->by_key = {};
    entry->number = number;
    entry->first = 0;
    entry->count = 0;
    std::memcpy(bt_entry_bytes(entry) + BT_ENTRY_HEAD, key, desc->key_len);
    pool->loose++;
    desc->entries++;
    return slot;
}

bt_slot *bt_slot_get_create(bt_desc *desc, const void *key) {
    if (desc->pool == nullptr && !pool_make(desc)) return nullptr;
    const uint32_t hash = key_hash(static_cast<const uint8_t *>(key), desc->key_len);
    bt_slot *slot = find(desc, key, hash);
    return slot != nullptr ? slot : slot_make(desc, key, hash);
}
