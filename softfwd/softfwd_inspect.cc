#include "softfwd/softfwd_reader_private.h"

#include "softfwd/softfwd_journal.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>

/* --- tables --- */

/* A table that can be found under its own names; one that is leaving cannot. */
static bool table_reachable(const softfwd_reader *reader, const softfwd_table *table) {
    return softfwd_reader_table(reader, table->family, table->vdc_id, table->table_id) == table;
}

static void table_info_fill(const softfwd_reader *reader, const softfwd_table *table,
                            softfwd_table_info *out) {
    const uint32_t handle = static_cast<uint32_t>(table - reader->table);
    *out = {handle, table->vdc_id, table->table_id, table->family, softfwd_load(&table->trie.route_count)};
}

/* The first reachable table from an index on, or null. */
static const softfwd_table *table_from(const softfwd_reader *reader, uint32_t index) {
    const uint32_t bump = softfwd_load(&reader->head->table_bump);
    for (; index < bump && index < SOFTFWD_TABLES_ROOM; index++)
        if (table_reachable(reader, &reader->table[index])) return &reader->table[index];
    return nullptr;
}

int softfwd_reader_table_next(softfwd_reader *reader, softfwd_table_info *at) {
    int status = ESTALE;
    if (softfwd_enter(reader)) {
        const softfwd_table *table = table_from(reader, at->handle + 1);
        if (table != nullptr) table_info_fill(reader, table, at);
        status = table != nullptr ? 0 : ENOENT;
    }
    softfwd_leave(reader);
    return status;
}

int softfwd_reader_table_find(softfwd_reader *reader, address_family family, uint32_t vdc_id,
                              uint32_t table_id, softfwd_table_info *out) {
    int status = ESTALE;
    if (softfwd_enter(reader)) {
        const softfwd_table *table = softfwd_reader_table(reader, family, vdc_id, table_id);
        if (table != nullptr) table_info_fill(reader, table, out);
        status = table != nullptr ? 0 : ENOENT;
    }
    softfwd_leave(reader);
    return status;
}

/* --- prefixes --- */

static bool prefix_info_fill(const softfwd_reader *reader, uint32_t table, const lpm_entry &route,
                             softfwd_prefix_info *out) {
    const softfwd_prefix *entry = softfwd_reader_entry(reader, route.value);
    if (entry == nullptr) return false;
    const uint64_t word = softfwd_load(&entry->a_word);
    *out = {};
    out->handle = route.value;
    out->table_handle = table;
    out->next_handle = softfwd_word_next(word);
    out->flags = softfwd_word_flags(word);
    out->tag = softfwd_word_tag(word);
    out->family = entry->family;
    out->mask_len = static_cast<uint8_t>(route.bits);
    lpm_key_store(route.key, out->address, entry->family == ADDRESS_FAMILY_V4 ? 4 : 16);
    const softfwd_counter_header *counters = reader->counter_head;
    if (counters != nullptr &&
        (uint64_t{route.value} / 64 + 1) * sizeof(uint64_t) <= counters->hits.a_committed)
        out->hit = softfwd_hit_get(reader->hits, route.value);
    return true;
}

static bool prefix_next(const softfwd_reader *reader, uint32_t handle, softfwd_prefix_info *at) {
    if (handle == 0 || handle >= softfwd_load(&reader->head->table_bump)) return false;
    const softfwd_table *table = &reader->table[handle];
    if (!table_reachable(reader, table)) return false;
    const uint32_t bytes = table->family == ADDRESS_FAMILY_V4 ? 4 : 16;
    lpm_entry route;
    const bool more = at->handle == 0 ? lpm_first(reader->arena, &table->trie, &route)
                                      : lpm_next(reader->arena, &table->trie,
                                                 lpm_key_load(at->address, bytes * 8), at->mask_len, &route);
    return more && prefix_info_fill(reader, handle, route, at);
}

int softfwd_reader_prefix_next(softfwd_reader *reader, uint32_t table_handle, softfwd_prefix_info *at) {
    int status = ESTALE;
    if (softfwd_enter(reader)) status = prefix_next(reader, table_handle, at) ? 0 : ENOENT;
    softfwd_leave(reader);
    return status;
}

/* --- adjacencies --- */

static void counts_read(const softfwd_reader *reader, uint32_t handle, uint64_t *packets, uint64_t *bytes) {
    const softfwd_counter_header *counters = reader->counter_head;
    *packets = *bytes = 0;
    if (counters == nullptr ||
        (uint64_t{handle} + 1) * sizeof(softfwd_adj_counter) > counters->adjs.a_committed)
        return;
    *packets = softfwd_load(&reader->counts[handle].a_packets);
    *bytes = softfwd_load(&reader->counts[handle].a_bytes);
}

static bool adj_info_fill(const softfwd_reader *reader, uint32_t handle, softfwd_adj_info *out) {
    if (handle == 0 || handle >= SOFTFWD_ADJS_ROOM) return false;
    if (softfwd_place_kind(softfwd_load(&reader->directory[handle])) != SOFTFWD_KIND_ADJ) return false;
    const softfwd_adj *record = softfwd_reader_record(reader, handle);
    if (record == nullptr) return false;
    *out = {};
    out->handle = handle;
    out->vdc_id = record->vdc_id;
    out->if_index = record->if_index;
    memcpy(out->next_hop, record->next_hop, sizeof out->next_hop);
    memcpy(out->dmac, record->dmac, sizeof out->dmac);
    memcpy(out->smac, record->smac, sizeof out->smac);
    softfwd_tunnel_fill(*record, &out->tunnel);
    out->family = record->family;
    out->action = record->action;
    out->format = record->format;
    out->holder = record->holder;
    out->flags = record->flags;
    counts_read(reader, handle, &out->packets, &out->bytes);
    return true;
}

static bool adj_next(const softfwd_reader *reader, softfwd_adj_info *at) {
    const uint32_t bump = softfwd_load(&reader->head->adj_bump);
    for (uint32_t handle = at->handle + 1; handle < bump; handle++)
        if (adj_info_fill(reader, handle, at)) return true;
    return false;
}

int softfwd_reader_adj_next(softfwd_reader *reader, softfwd_adj_info *at) {
    int status = ESTALE;
    if (softfwd_enter(reader)) status = adj_next(reader, at) ? 0 : ENOENT;
    softfwd_leave(reader);
    return status;
}

int softfwd_reader_adj_get(softfwd_reader *reader, uint32_t handle, softfwd_adj_info *out) {
    int status = ESTALE;
    if (softfwd_enter(reader))
        status =
            handle < softfwd_load(&reader->head->adj_bump) && adj_info_fill(reader, handle, out) ? 0 : ENOENT;
    softfwd_leave(reader);
    return status;
}

/* --- groups --- */

static bool group_info_fill(const softfwd_reader *reader, uint32_t handle, softfwd_group_info *out) {
    if (handle == 0 || handle >= SOFTFWD_ADJS_ROOM) return false;
    if (softfwd_place_kind(softfwd_load(&reader->directory[handle])) != SOFTFWD_KIND_GROUP) return false;
    const softfwd_group *group = softfwd_reader_group(reader, handle);
    if (group == nullptr) return false;
    *out = {handle,      group->vdc_id, group->id, group->origin, group->family, group->holder,
            group->size, group->count,  {}};
    for (uint32_t i = 0; i < group->count; i++) {
        softfwd_member_info *member = &out->members[i];
        member->adj_handle = softfwd_group_adjs(group)[i];
        member->label = softfwd_group_labels(group)[i];
        counts_read(reader, handle + i, &member->packets, &member->bytes);
    }
    return true;
}

static bool group_next(const softfwd_reader *reader, softfwd_group_info *at) {
    const uint32_t bump = softfwd_load(&reader->head->adj_bump);
    for (uint32_t handle = at->handle + 1; handle < bump; handle++)
        if (group_info_fill(reader, handle, at)) return true;
    return false;
}

int softfwd_reader_group_next(softfwd_reader *reader, softfwd_group_info *at) {
    int status = ESTALE;
    if (softfwd_enter(reader)) status = group_next(reader, at) ? 0 : ENOENT;
    softfwd_leave(reader);
    return status;
}

int softfwd_reader_group_get(softfwd_reader *reader, uint32_t handle, softfwd_group_info *out) {
    int status = ESTALE;
    if (softfwd_enter(reader)) status = group_info_fill(reader, handle, out) ? 0 : ENOENT;
    softfwd_leave(reader);
    return status;
}

/* --- statistics --- */

static uint64_t file_memory(const softfwd_file *file) {
    struct stat status;
    if (file->fd < 0 || fstat(file->fd, &status) != 0) return 0;
    return static_cast<uint64_t>(status.st_blocks) * 512;
}

static uint32_t readers_attached(const softfwd_reader *reader) {
    const auto *readers = reinterpret_cast<const softfwd_readers *>(reader->readers.base);
    uint32_t count = 1; /* this one: nobody's own lock is in his way */
    for (const softfwd_reader_place &place : readers->places) {
        const auto byte =
            static_cast<uint64_t>(reinterpret_cast<const uint8_t *>(&place) - reader->readers.base);
        count += softfwd_file_is_locked(reader->readers.fd, byte);
    }
    return count;
}

int softfwd_reader_statistics(softfwd_reader *reader, softfwd_reader_stats *out) {
    const softfwd_header *head = reader->head;
    const bool good = softfwd_enter(reader);
    softfwd_leave(reader);
    if (!good) return ESTALE;
    *out = {};
    out->writer_pid = head->writer_pid;
    out->generation = head->generation;
    out->bracket = softfwd_load(&head->a_bracket);
    out->readers = readers_attached(reader);
    out->tables = head->table_count;
    out->v4_prefixes = head->prefix_count[0];
    out->v6_prefixes = head->prefix_count[1];
    out->adjacencies = head->adj_count;
    out->groups = head->group_count;
    out->group_bytes = uint64_t{head->group_bump} * SOFTFWD_GROUP_UNIT;
    out->trie_bytes =
        (uint64_t{head->arena.bump} - head->arena.first - head->arena.free_units) * LPM_UNIT_BYTES;
    out->entry_bytes = (uint64_t{out->v4_prefixes} + out->v6_prefixes) * sizeof(softfwd_prefix);
    out->adj_bytes =
        uint64_t{out->adjacencies} * (sizeof(softfwd_adj) + sizeof(uint32_t) + sizeof(softfwd_adj_counter));
    out->table_bytes = uint64_t{out->tables} * sizeof(softfwd_table);
    out->memory_bytes =
        file_memory(&reader->tables) + file_memory(&reader->readers) + file_memory(&reader->counters);
    out->counters = head->counters;
    return 0;
}

size_t softfwd_reader_log(softfwd_reader *reader, uint32_t from, softfwd_log_entry *out, size_t max) {
    return softfwd_log_copy(reader->log, softfwd_load(&reader->head->a_log_sequence), from, out, max);
}
