/* Records of binary histories that wait for others. A download adds a record between thousands of other instructions:
 * alone it finds neither its code nor its memory in the caches; several at once do. */
#include "host/trace/bt_private.h"

#include <cstring>

/* What waits cannot fail any more: the instance has memory, and an entry that may make room. */
static bool may_wait(const bt_desc *desc) {
    return desc->order != nullptr && desc->pool != nullptr &&
           desc->key_len + desc->rec_len <= BT_STAGED_BYTES &&
           (desc->oldest != nullptr || desc->entries < desc->max_entries);
}

void bt_flush_queue(bt_order_q *queue) {
    const uint32_t count = queue->staged_count;
    queue->staged_count = 0;
    for (uint32_t i = 0; i < count; i++) {
        const bt_staged &staged = queue->staged[i];
        (void)bt_add_now(staged.desc, staged.bytes, staged.hash, staged.bytes + staged.desc->key_len);
    }
}

int bt_add_rec(bt_desc *desc, const void *key, const void *rec) {
    if (desc->enabled == 0 || !bt_filters_pass(desc, key)) return 0;
    const uint32_t hash = bt_key_hash(key, desc->key_len);
    if (!may_wait(desc)) {
        bt_flush(desc);
        return bt_add_now(desc, key, hash, rec);
    }
    bt_order_q *queue = desc->order->queue;
    bt_staged *staged = &queue->staged[queue->staged_count];
    staged->desc = desc;
    staged->hash = hash;
    std::memcpy(staged->bytes, key, desc->key_len);
    std::memcpy(staged->bytes + desc->key_len, rec, desc->rec_len);
    __builtin_prefetch(&desc->pool->buckets[hash & desc->pool->bucket_mask]);
    if (++queue->staged_count == BT_STAGED_MAX) bt_flush_queue(queue);
    return 0;
}
