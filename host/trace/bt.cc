#include "host/trace/bt.h"

#include "host/trace/bt_private.h"

#include <cstring>

int bt_init(bt_desc *desc, uint32_t key_len, uint32_t rec_len, uint32_t max_entries,
            uint32_t records_per_entry, void *(*alloc)(size_t bytes), void (*release)(void *block)) {
    *desc = {};
    if (rec_len == 0 || max_entries == 0 || records_per_entry == 0 || records_per_entry > UINT8_MAX ||
        max_entries > BT_ENTRIES_MAX || key_len > BT_KEY_MAX)
        return -1;
    if (ravl_init(&desc->keys, key_len, BT_ENTRY_HEAD, nullptr) != 0) return -1;
    desc->enabled = 1;
    desc->max_entries = max_entries;
    desc->records_per_entry = records_per_entry;
    desc->alloc = alloc;
    desc->release = release;
    desc->newest = &desc->oldest;
    desc->key_len = key_len;
    desc->rec_len = rec_len;
    desc->head_len = BT_ENTRY_HEAD + key_len;
    return 0;
}

void bt_reset(bt_desc *desc) {
    (void)bt_delete_all_entries(desc);
    if (desc->filters != nullptr) desc->release(desc->filters);
    if (desc->order != nullptr) *desc->order = {};
    *desc = {};
}

void bt_enable(bt_desc *desc, bool on) { desc->enabled = on ? 1 : 0; }

/* The place in the ring for a new record; the oldest gives way in a full one. */
static uint32_t ring_next(const bt_desc *desc, bt_entry *entry) {
    if (entry->count < desc->records_per_entry) return entry->count++; /* the ring has never turned */
    const uint32_t place = entry->first++;
    if (entry->first == desc->records_per_entry) entry->first = 0;
    if (desc->order != nullptr) bt_order_remove(desc->order, entry->number, place);
    return place;
}

int bt_add_now(bt_desc *desc, const void *key, uint32_t hash, const void *rec) {
    bt_slot *slot = bt_slot_get_create(desc, key, hash);
    if (slot == nullptr) return -1;
    if (slot->state == BT_SLOT_LISTED && desc->newest != &slot->newer) {
        bt_slot_unlist(desc, slot);
        bt_slot_list(desc, slot);
    }
    const uint32_t number = bt_slot_number(desc->pool, slot);
    const uint32_t place = ring_next(desc, bt_entry_at(desc->pool, number));
    std::memcpy(bt_record_at(desc->pool, number, place), rec, desc->rec_len);
    if (desc->order != nullptr) bt_order_append(desc->order, number, place);
    return 0;
}

uint32_t bt_get_num_entries(const bt_desc *desc) {
    bt_flush(desc);
    return desc->entries;
}

int bt_delete_all_entries(bt_desc *desc) {
    bt_flush(desc);
    const auto gone = static_cast<int>(desc->entries);
    if (desc->pool == nullptr) return gone;
    for (uint32_t number = 0; number < desc->pool->used; number++)
        if (bt_slot *slot = &desc->pool->slots[number]; slot->state != BT_SLOT_FREE) bt_slot_free(desc, slot);
    desc->release(desc->pool);
    desc->pool = nullptr;
    if (desc->order != nullptr) desc->order->pool = nullptr;
    return gone;
}
