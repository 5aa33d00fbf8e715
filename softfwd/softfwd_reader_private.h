/* softfwd/softfwd_reader_private.h: a reader's state and its way through the tables. For the readers of softfwd/ only. */
#pragma once

#include "softfwd/softfwd_file.h"
#include "softfwd/softfwd_layout.h"

#include <atomic>

struct softfwd_reader {
    softfwd_file tables; /* read-only */
    softfwd_file readers;
    softfwd_file counters; /* open only when counting or when there are any to show */
    bool counting;
    uint32_t packet_bytes;
    uint64_t identity; /* of the file of places that we are registered in */

    const softfwd_header *head;
    const uint32_t *buckets;
    const softfwd_table *table;
    const softfwd_prefix *prefix;
    const uint32_t *directory;
    const softfwd_adj *record;
    const uint8_t *group_units;
    const softfwd_log_entry *log;
    const uint64_t *rpf;
    const void *arena;
    uint64_t *epoch; /* of all */
    softfwd_reader_place *place;
    softfwd_counter_header *counter_head; /* null: none */
    uint64_t *hits;
    softfwd_adj_counter *counts;
};

inline void softfwd_tunnel_fill(const softfwd_adj &record, softfwd_tunnel *out) {
    *out = {record.tunnel_source, record.tunnel_destination, record.tunnel_type,
            record.tunnel_df,     record.tunnel_tos,         record.tunnel_ttl};
}

/* Begins and ends a stay in the tables; what was found is good only in between. False: these tables are dead. */
[[nodiscard]] inline bool softfwd_enter(softfwd_reader *reader) {
    __atomic_store_n(&reader->place->a_epoch, softfwd_load(reader->epoch), __ATOMIC_RELAXED);
    /* Pairs with the writer's fence: it sees that we are inside, or we see what it took out. */
    std::atomic_thread_fence(std::memory_order_seq_cst);
    return softfwd_load(&reader->head->a_replaced) == 0 &&
           softfwd_load(&reader->head->a_readers_identity) == reader->identity;
}
inline void softfwd_leave(softfwd_reader *reader) { softfwd_store(&reader->place->a_epoch, uint64_t{0}); }

/* All below inside a stay. Null and 0: not there. */
[[nodiscard]] const softfwd_table *softfwd_reader_table(const softfwd_reader *reader, uint32_t family,
                                                        uint32_t vdc_id, uint32_t table_id);

/* The entry of a handle that a trie gave; null when the handle is out of bounds. */
[[nodiscard]] inline const softfwd_prefix *softfwd_reader_entry(const softfwd_reader *reader,
                                                                uint32_t handle) {
    return handle != 0 && handle < SOFTFWD_PREFIXES_ROOM ? &reader->prefix[handle] : nullptr;
}
/* The record that a next-object handle names, one that is leaving included. */
[[nodiscard]] inline const softfwd_adj *softfwd_reader_record(const softfwd_reader *reader, uint32_t handle) {
    if (handle == 0 || handle >= SOFTFWD_ADJS_ROOM) return nullptr;
    const uint32_t place = softfwd_load(&reader->directory[handle]);
    const softfwd_kind kind = softfwd_place_kind(place);
    if (kind != SOFTFWD_KIND_ADJ && kind != SOFTFWD_KIND_ADJ_LEAVING) return nullptr;
    const uint32_t index = softfwd_place_index(place);
    return index < SOFTFWD_RECORDS_ROOM ? &reader->record[index] : nullptr;
}

/* The group that a handle names, one that is leaving included; null when it names none, or one out of bounds. */
[[nodiscard]] inline const softfwd_group *softfwd_reader_group(const softfwd_reader *reader,
                                                               uint32_t handle) {
    if (handle == 0 || handle >= SOFTFWD_ADJS_ROOM) return nullptr;
    const uint32_t place = softfwd_load(&reader->directory[handle]);
    const softfwd_kind kind = softfwd_place_kind(place);
    if (kind != SOFTFWD_KIND_GROUP && kind != SOFTFWD_KIND_GROUP_LEAVING) return nullptr;
    const uint32_t unit = softfwd_place_index(place);
    if (unit > SOFTFWD_GROUP_UNITS_ROOM - SOFTFWD_GROUP_UNITS_MAX) return nullptr;
    const auto *group =
        reinterpret_cast<const softfwd_group *>(reader->group_units + uint64_t{unit} * SOFTFWD_GROUP_UNIT);
    return group->size <= SOFTFWD_MEMBERS_MAX && group->count <= group->size ? group : nullptr;
}

/* Counts a packet, where counters and hit bits have memory. */
void softfwd_reader_count(softfwd_reader *reader, uint32_t prefix_handle, uint32_t adj_handle);
void softfwd_reader_count_next(softfwd_reader *reader, uint32_t handle); /* of an adjacency or a member */
