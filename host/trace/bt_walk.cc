/* Walks over binary histories, in the order of their keys. */
#include "host/trace/bt_private.h"

#include <cstring>

/* Entries that nobody has walked over yet enter the tree. */
static void tree_complete(bt_desc *desc) {
    bt_flush(desc);
    bt_pool *pool = desc->pool;
    for (uint32_t number = 0; pool != nullptr && pool->loose != 0 && number < pool->used; number++) {
        bt_entry *entry = bt_entry_at(pool, number);
        if (pool->slots[number].state == BT_SLOT_FREE || entry->by_key.height != 0) continue;
        (void)!ravl_insert(&desc->keys, &entry->by_key);
        pool->loose--;
    }
}

static const bt_entry *visit(const bt_desc *desc, bt_pos *pos, ravl_node *node) {
    const auto *entry = ravl_object<bt_entry>(node, offsetof(bt_entry, by_key));
    if (entry == nullptr) return nullptr;
    pos->key_len = static_cast<uint16_t>(desc->key_len);
    std::memcpy(pos->key, bt_entry_key(entry), desc->key_len);
    return entry;
}

const bt_entry *bt_get_first_entry(bt_desc *desc, bt_pos *pos) {
    tree_complete(desc);
    return visit(desc, pos, ravl_first(&desc->keys));
}

const bt_entry *bt_get_next_entry(bt_desc *desc, bt_pos *pos) {
    if (!bt_pos_ok(desc, pos)) return nullptr;
    tree_complete(desc);
    return visit(desc, pos, ravl_next_from_key(&desc->keys, pos->key));
}

const bt_entry *bt_get_entry(const bt_desc *desc, const void *key) {
    bt_flush(desc);
    const bt_slot *slot = bt_slot_find(desc, key);
    return slot == nullptr ? nullptr : bt_entry_at(desc->pool, bt_slot_number(desc->pool, slot));
}

const void *bt_entry_key(const bt_entry *entry) {
    return reinterpret_cast<const uint8_t *>(entry) + BT_ENTRY_HEAD;
}

bool bt_pos_ok(const bt_desc *desc, const bt_pos *pos) { return pos->key_len == desc->key_len; }

static const void *record_at(const bt_desc *desc, const bt_entry *entry, uint32_t age) {
    if (age >= entry->count) return nullptr;
    return bt_record_at(desc->pool, entry->number, (entry->first + age) % desc->records_per_entry);
}

const void *bt_get_first_record(const bt_desc *desc, const bt_entry *entry, bt_pos *pos) {
    pos->record = 0;
    return record_at(desc, entry, 0);
}

const void *bt_get_next_record(const bt_desc *desc, const bt_entry *entry, bt_pos *pos) {
    return record_at(desc, entry, ++pos->record);
}
