/* persist/lcfwd_pss_record.h: writing one record, as all domains do it: room for key, value and their
 * descriptors in one step, fill in, queue. Never begin a second record before the first is stored: storing
 * may commit, and that empties staging. One thread; tens of nanoseconds. */
#pragma once

#include "persist/lcfwd_pss.h"

#include <cstdint>

struct lcfwd_pss_record {
    uint32_t kind;
    uint32_t vdc_id;
    uint8_t *key; /* zeroed, not aligned: fill with memcpy */
    uint32_t key_size;
    uint8_t *value;
    uint32_t value_size; /* may be made smaller before the record is stored */
};

/* The slow way, for when a block does not fit: says which one, counts E_PSS_NO_MEM. Always 0. */
int lcfwd_pss_record_no_room(uint32_t key_size, uint32_t value_size);

/* Room in staging for a record. 1, or 0 (logged and counted) when there is none. */
[[nodiscard]] inline int lcfwd_pss_record_begin(uint32_t kind, uint32_t vdc_id, uint32_t key_size,
                                                uint32_t value_size, lcfwd_pss_record *record) {
    uint8_t *block = lcfwd_pss_staging_take(key_size + value_size + 2 * LCFWD_PSS_DESCRIPTOR);
    if (block == nullptr) [[unlikely]] {
        lcfwd_pss_record_no_room(key_size, value_size);
        return 0;
    }
    *record = {kind, vdc_id, block, key_size, block + key_size, value_size};
    return 1;
}

/* Queues it: the result of lcfwd_pss_buf_store. */
inline int lcfwd_pss_record_store(const lcfwd_pss_record *record) {
    return lcfwd_pss_buf_store(record->kind, record->vdc_id, {record->key, record->key_size},
                               {record->value, record->value_size});
}

/* Queues the deletion of a key, which may lie anywhere: the result of lcfwd_pss_buf_delete. */
inline int lcfwd_pss_record_delete(uint32_t kind, uint32_t vdc_id, const void *key, uint32_t key_size) {
    return lcfwd_pss_buf_delete(kind, vdc_id, {key, key_size});
}
