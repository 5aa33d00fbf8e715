/* Filters and sticky entries of binary histories. */
#include "host/trace/bt_private.h"

#include <cstring>

/* ---- filters ---- */

static uint8_t *filter_at(const bt_desc *desc, uint32_t index) {
    return desc->filters->keys + size_t{index} * desc->key_len;
}

/* The index of a filter, or the number of filters. */
static uint32_t filter_find(const bt_desc *desc, const void *key) {
    uint32_t index = 0;
    while (index < desc->filters->count && std::memcmp(filter_at(desc, index), key, desc->key_len) != 0)
        index++;
    return index;
}

bool bt_filters_pass(const bt_desc *desc, const void *key) {
    return desc->filters == nullptr || filter_find(desc, key) < desc->filters->count;
}

int bt_filter_add(bt_desc *desc, const void *key) {
    if (desc->filters == nullptr) {
        const size_t bytes = offsetof(bt_filter_set, keys) + size_t{BT_FILTERS_MAX} * desc->key_len;
        auto *set = static_cast<bt_filter_set *>(desc->alloc(bytes));
        if (set == nullptr) return -1;
        set->count = 0;
        desc->filters = set;
    }
    bt_filter_set *set = desc->filters;
    if (filter_find(desc, key) < set->count) return 0;
    if (set->count == BT_FILTERS_MAX) return -1;
    std::memcpy(filter_at(desc, set->count++), key, desc->key_len);
    return 0;
}

/* With the last filter the set goes: without a set every key passes. */
int bt_filter_delete(bt_desc *desc, const void *key) {
    bt_filter_set *set = desc->filters;
    if (set == nullptr) return -1;
    const uint32_t index = filter_find(desc, key);
    if (index == set->count) return -1;
    set->count--;
    std::memmove(filter_at(desc, index), filter_at(desc, index + 1),
                 size_t{set->count - index} * desc->key_len);
    if (set->count == 0) {
        desc->release(set);
        desc->filters = nullptr;
    }
    return 0;
}

static const void *filter_visit(const bt_desc *desc, const bt_pos *pos) {
    if (desc->filters == nullptr || pos->record >= desc->filters->count) return nullptr;
    return filter_at(desc, pos->record);
}

const void *bt_get_first_filter(const bt_desc *desc, bt_pos *pos) {
    pos->record = 0;
    return filter_visit(desc, pos);
}

const void *bt_get_next_filter(const bt_desc *desc, bt_pos *pos) {
    pos->record++;
    return filter_visit(desc, pos);
}

/* ---- sticky entries ---- */

int bt_sticky_add(bt_desc *desc, const void *key) {
    bt_flush(desc);
    bt_slot *slot = bt_slot_get_create(desc, key, bt_key_hash(key, desc->key_len));
    if (slot == nullptr) return -1;
    if (slot->state == BT_SLOT_LISTED) bt_slot_unlist(desc, slot);
    slot->state = BT_SLOT_STICKY;
    return 0;
}

int bt_sticky_delete(bt_desc *desc, const void *key) {
    bt_flush(desc);
    bt_slot *slot = bt_slot_find(desc, key);
    if (slot == nullptr || slot->state != BT_SLOT_STICKY) return -1;
    bt_slot_list(desc, slot);
    slot->state = BT_SLOT_LISTED;
    if (bt_entry_at(desc->pool, bt_slot_number(desc->pool, slot))->count == 0) bt_slot_free(desc, slot);
    return 0;
}

static const void *sticky_from(bt_desc *desc, const bt_entry *entry, bt_pos *pos) {
    while (entry != nullptr && desc->pool->slots[entry->number].state != BT_SLOT_STICKY)
        entry = bt_get_next_entry(desc, pos);
    return entry == nullptr ? nullptr : bt_entry_key(entry);
}

const void *bt_get_first_sticky(bt_desc *desc, bt_pos *pos) {
    return sticky_from(desc, bt_get_first_entry(desc, pos), pos);
}

const void *bt_get_next_sticky(bt_desc *desc, bt_pos *pos) {
    return sticky_from(desc, bt_get_next_entry(desc, pos), pos);
}
