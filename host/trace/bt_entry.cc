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

/* The next array in a block that is measured first ('block' null), then cut. */
template <class element> static void cut(uint8_t *block, size_t *used, size_t count, element **out) {
    *out = block == nullptr ? nullptr : reinterpret_cast<element *>(block + *used);
    *used += round_up(count * sizeof(element));
}

static size_t pool_cut(const bt_desc *desc, uint8_t *block, bt_pool *pool) {
    const size_t entries = desc->max_entries, records = entries * desc->records_per_entry;
    pool->bucket_mask = bucket_count(desc->max_entries) - 1;
    pool->entries_max = desc->max_entries;
    pool->entry_stride = static_cast<uint32_t>(round_up(desc->head_len));
    pool->rec_len = desc->rec_len;
    size_t used = round_up(sizeof *pool);
    cut(block, &used, size_t{pool->bucket_mask} + 1, &pool->buckets);
    cut(block, &used, entries, &pool->links);
    cut(block, &used, entries, &pool->slots);
    cut(block, &used, desc->order == nullptr ? 0 : records, &pool->nodes);
    cut(block, &used, entries * pool->entry_stride, &pool->entries);
    cut(block, &used, records * desc->rec_len, &pool->records);
    return used;
}

/* One block for everything; only the buckets are written before they are used. */
static bool pool_make(bt_desc *desc) {
    bt_pool pool = {};
    auto *block = static_cast<uint8_t *>(desc->alloc(pool_cut(desc, nullptr, &pool)));
    if (block == nullptr) return false;
    (void)pool_cut(desc, block, &pool);
    std::memset(pool.buckets, 0, (size_t{pool.bucket_mask} + 1) * sizeof *pool.buckets);
    desc->pool = reinterpret_cast<bt_pool *>(block);
    *desc->pool = pool;
    if (desc->order != nullptr) desc->order->pool = desc->pool;
    return true;
}

/* ---- look-up ---- */

uint32_t bt_key_hash(const void *bytes, uint32_t len) {
    const auto *key = static_cast<const uint8_t *>(bytes);
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
    for (uint32_t at = pool->buckets[hash & pool->bucket_mask]; at != 0; at = pool->links[at - 1].next) {
        if (pool->links[at - 1].hash != hash) continue;
        if (std::memcmp(bt_entry_at(pool, at - 1)->key, key, desc->key_len) == 0) return &pool->slots[at - 1];
    }
    return nullptr;
}

bt_slot *bt_slot_find(const bt_desc *desc, const void *key) {
    if (desc->pool == nullptr) return nullptr;
    return find(desc, key, bt_key_hash(key, desc->key_len));
}

static void bucket_leave(bt_pool *pool, uint32_t number) {
    uint32_t *link = &pool->buckets[pool->links[number].hash & pool->bucket_mask];
    while (*link != number + 1) link = &pool->links[*link - 1].next;
    *link = pool->links[number].next;
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

/* ---- life ---- */

void bt_slot_free(bt_desc *desc, bt_slot *slot) {
    bt_pool *pool = desc->pool;
    const uint32_t number = bt_slot_number(pool, slot);
    bt_entry *entry = bt_entry_at(pool, number);
    for (uint32_t place = 0; desc->order != nullptr && place < entry->count; place++)
        bt_order_remove(desc->order, number, place);
    if (entry->by_key.height != 0)
        (void)ravl_delete(&desc->keys, &entry->by_key);
    else
        pool->loose--;
    bucket_leave(pool, number);
    if (slot->state == BT_SLOT_LISTED) bt_slot_unlist(desc, slot);
    slot->state = BT_SLOT_FREE;
    pool->links[number].next = pool->free;
    pool->free = number + 1;
    desc->entries--;
}

/* The number of one that came back, or was never used, or of the entry that waited longest. False: there is none. */
static bool number_take(bt_desc *desc, uint32_t *number) {
    bt_pool *pool = desc->pool;
    if (pool->free == 0 && pool->used < desc->max_entries) {
        *number = pool->used++;
        return true;
    }
    if (pool->free == 0) {
        if (desc->oldest == nullptr) return false;
        bt_slot_free(desc, desc->oldest);
    }
    *number = pool->free - 1;
    pool->free = pool->links[*number].next;
    return true;
}

static bt_slot *slot_make(bt_desc *desc, const void *key, uint32_t hash) {
    uint32_t number;
    if (!number_take(desc, &number)) return nullptr;
    bt_pool *pool = desc->pool;
    uint32_t *bucket = &pool->buckets[hash & pool->bucket_mask];
    pool->links[number] = {hash, *bucket};
    *bucket = number + 1;
    bt_slot *slot = &pool->slots[number];
    *slot = {nullptr, nullptr, BT_SLOT_LISTED};
    bt_slot_list(desc, slot);
    bt_entry *entry = bt_entry_at(pool, number);
    *entry = {{}, number, 0, 0, {}};
    std::memcpy(reinterpret_cast<uint8_t *>(entry) + BT_ENTRY_HEAD, key, desc->key_len);
    pool->loose++;
    desc->entries++;
    return slot;
}

bt_slot *bt_slot_get_create(bt_desc *desc, const void *key, uint32_t hash) {
    if (desc->pool == nullptr && !pool_make(desc)) return nullptr;
    bt_slot *slot = find(desc, key, hash);
    return slot != nullptr ? slot : slot_make(desc, key, hash);
}
