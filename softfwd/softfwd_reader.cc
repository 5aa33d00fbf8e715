#include "softfwd/softfwd_reader_private.h"

#include <cerrno>
#include <cstring>
#include <iterator>
#include <new>
#include <unistd.h>

/* One stay in the tables covers so many look-ups: the writer waits that long at most for its memory. */
static constexpr size_t STAY_MAX = 64;
static constexpr uint32_t PACKET_BYTES = 64;

static const char *const action_names[] = {"no route", "drop", "punt", "glean", "forward"};
static_assert(std::size(action_names) == SOFTFWD_FORWARD + 1);

const char *softfwd_action_name(uint8_t action) {
    return action <= SOFTFWD_FORWARD ? action_names[action] : "?";
}

const char *softfwd_group_origin_name(uint8_t origin) {
    return origin == SOFTFWD_GROUP_ECMP ? "ecmp" : origin == SOFTFWD_GROUP_VOBJ ? "vobj" : "?";
}

/* --- attaching --- */

static int header_check(const softfwd_reader *reader) {
    const auto *head = reinterpret_cast<const softfwd_header *>(reader->tables.base);
    if (head->magic != SOFTFWD_TABLES_MAGIC || head->layout != SOFTFWD_LAYOUT) return EPROTO;
    if (head->header_bytes != sizeof *head || head->file_bytes != reader->tables.bytes) return EPROTO;
    for (const softfwd_region &region : head->regions)
        if (region.offset > reader->tables.bytes || region.bytes > reader->tables.bytes - region.offset)
            return EPROTO;
    const softfwd_region *regions = head->regions;
    const bool roomy =
        regions[SOFTFWD_REGION_BUCKETS].bytes >= SOFTFWD_BUCKETS * sizeof(uint32_t) &&
        regions[SOFTFWD_REGION_TABLES].bytes >= SOFTFWD_TABLES_ROOM * sizeof(softfwd_table) &&
        regions[SOFTFWD_REGION_PREFIXES].bytes >= SOFTFWD_PREFIXES_ROOM * sizeof(softfwd_prefix) &&
        regions[SOFTFWD_REGION_DIRECTORY].bytes >= SOFTFWD_ADJS_ROOM * sizeof(uint32_t) &&
        regions[SOFTFWD_REGION_RECORDS].bytes >= SOFTFWD_RECORDS_ROOM * sizeof(softfwd_adj) &&
        regions[SOFTFWD_REGION_GROUPS].bytes >= SOFTFWD_GROUP_UNITS_ROOM * SOFTFWD_GROUP_UNIT &&
        regions[SOFTFWD_REGION_ARENA].bytes >= SOFTFWD_ARENA_ROOM &&
        regions[SOFTFWD_REGION_LOG].bytes >= SOFTFWD_LOG_ENTRIES * sizeof(softfwd_log_entry) &&
        regions[SOFTFWD_REGION_RPF].bytes >= SOFTFWD_RPF_ROOM * sizeof(uint64_t);
    return roomy ? 0 : EPROTO;
}

template <typename element>
static const element *region_at(const softfwd_reader *reader, softfwd_region_id id) {
    const auto *head = reinterpret_cast<const softfwd_header *>(reader->tables.base);
    return reinterpret_cast<const element *>(reader->tables.base + head->regions[id].offset);
}

static void reader_bind(softfwd_reader *reader) {
    reader->head = reinterpret_cast<const softfwd_header *>(reader->tables.base);
    reader->buckets = region_at<uint32_t>(reader, SOFTFWD_REGION_BUCKETS);
    reader->table = region_at<softfwd_table>(reader, SOFTFWD_REGION_TABLES);
    reader->prefix = region_at<softfwd_prefix>(reader, SOFTFWD_REGION_PREFIXES);
    reader->directory = region_at<uint32_t>(reader, SOFTFWD_REGION_DIRECTORY);
    reader->record = region_at<softfwd_adj>(reader, SOFTFWD_REGION_RECORDS);
    reader->group_units = region_at<uint8_t>(reader, SOFTFWD_REGION_GROUPS);
    reader->log = region_at<softfwd_log_entry>(reader, SOFTFWD_REGION_LOG);
    reader->rpf = region_at<uint64_t>(reader, SOFTFWD_REGION_RPF);
    reader->arena = region_at<uint8_t>(reader, SOFTFWD_REGION_ARENA);
}

/* Takes a place whose lock is free. */
static int place_take(softfwd_reader *reader) {
    auto *readers = reinterpret_cast<softfwd_readers *>(reader->readers.base);
    if (readers->magic != SOFTFWD_READERS_MAGIC || readers->layout != SOFTFWD_LAYOUT) return EPROTO;
    reader->identity = readers->identity;
    reader->epoch = &readers->a_epoch;
    for (softfwd_reader_place &place : readers->places) {
        const auto byte =
            static_cast<uint64_t>(reinterpret_cast<const uint8_t *>(&place) - reader->readers.base);
        if (!softfwd_file_lock(reader->readers.fd, byte)) continue;
        softfwd_store(&place.a_epoch, uint64_t{0});
        softfwd_store(&place.a_pid, static_cast<uint32_t>(getpid()));
        reader->place = &place;
        return 0;
    }
    return EAGAIN;
}

static int counters_bind(softfwd_reader *reader, uint32_t slot, bool counting) {
    char path[SOFTFWD_PATH_MAX];
    int status = softfwd_path(slot, "_counters", path);
    if (status == 0) status = softfwd_file_open(&reader->counters, path, counting, SOFTFWD_COUNTERS_BYTES);
    if (status != 0) return counting ? status : 0;
    auto *head = reinterpret_cast<softfwd_counter_header *>(reader->counters.base);
    const bool good = head->magic == SOFTFWD_COUNTERS_MAGIC && head->layout == SOFTFWD_LAYOUT &&
                      head->hits.offset == SOFTFWD_COUNTER_HEADER_ROOM &&
                      head->adjs.offset == SOFTFWD_COUNTER_HEADER_ROOM + SOFTFWD_HITS_BYTES;
    if (!good) {
        softfwd_file_close(&reader->counters);
        return counting ? EPROTO : 0;
    }
    reader->counter_head = head;
    reader->hits = reinterpret_cast<uint64_t *>(reader->counters.base + head->hits.offset);
    reader->counts = reinterpret_cast<softfwd_adj_counter *>(reader->counters.base + head->adjs.offset);
    reader->counting = counting;
    return 0;
}

static int reader_open(softfwd_reader *reader, uint32_t slot, bool counting) {
    char path[SOFTFWD_PATH_MAX];
    int status = softfwd_path(slot, "", path);
    if (status == 0) status = softfwd_file_open(&reader->tables, path, false, sizeof(softfwd_header));
    if (status == 0) status = header_check(reader);
    if (status == 0) status = softfwd_path(slot, "_readers", path);
    if (status == 0) status = softfwd_file_open(&reader->readers, path, true, sizeof(softfwd_readers));
    if (status == 0) status = place_take(reader);
    if (status == 0) status = counters_bind(reader, slot, counting);
    if (status == 0) reader_bind(reader);
    return status;
}

int softfwd_reader_attach(uint32_t slot, bool counting, softfwd_reader **out) {
    *out = nullptr;
    auto *reader = new (std::nothrow) softfwd_reader{};
    if (reader == nullptr) return ENOMEM;
    reader->packet_bytes = PACKET_BYTES;
    const int status = reader_open(reader, slot, counting);
    if (status != 0)
        softfwd_reader_detach(reader);
    else
        *out = reader;
    return status;
}

void softfwd_reader_detach(softfwd_reader *reader) {
    if (reader == nullptr) return;
    if (reader->place != nullptr) softfwd_store(&reader->place->a_epoch, uint64_t{0});
    softfwd_file_close(&reader->counters);
    softfwd_file_close(&reader->readers); /* drops the lock of the place */
    softfwd_file_close(&reader->tables);
    delete reader;
}

void softfwd_reader_packet_bytes(softfwd_reader *reader, uint32_t bytes) { reader->packet_bytes = bytes; }

/* --- look-ups --- */

static const softfwd_table *table_find(const softfwd_reader *reader, uint32_t family, uint32_t vdc_id,
                                       uint32_t table_id) {
    uint32_t index = softfwd_load(&reader->buckets[softfwd_bucket(vdc_id, table_id, family)]);
    while (index != 0 && index < SOFTFWD_TABLES_ROOM) {
        const softfwd_table *table = &reader->table[index];
        if (table->table_id == table_id && table->vdc_id == vdc_id && table->family == family) return table;
        index = softfwd_load(&table->a_chain);
    }
    return nullptr;
}

const softfwd_table *softfwd_reader_table(const softfwd_reader *reader, uint32_t family, uint32_t vdc_id,
                                          uint32_t table_id) {
    const softfwd_table *table = table_find(reader, family, vdc_id, table_id);
    /* Wildcard tables may stand once for all VDCs. */
    if (table == nullptr && softfwd_load(&reader->head->a_shared_wildcard) != 0)
        table = table_find(reader, family, 0, table_id);
    return table;
}

static void counter_add(softfwd_reader *reader, uint32_t handle, uint64_t packets, uint64_t bytes) {
    const softfwd_counter_header *head = reader->counter_head;
    if (handle == 0 ||
        (uint64_t{handle} + 1) * sizeof(softfwd_adj_counter) > softfwd_load(&head->adjs.a_committed))
        return;
    __atomic_fetch_add(&reader->counts[handle].a_packets, packets, __ATOMIC_RELAXED);
    __atomic_fetch_add(&reader->counts[handle].a_bytes, bytes, __ATOMIC_RELAXED);
}

void softfwd_reader_count_next(softfwd_reader *reader, uint32_t handle) {
    counter_add(reader, handle, 1, reader->packet_bytes);
}

int softfwd_reader_count_add(softfwd_reader *reader, uint32_t adj_handle, uint64_t packets, uint64_t bytes) {
    softfwd_adj_info adj;
    if (!reader->counting) return EBADF;
    if (const int status = softfwd_reader_adj_get(reader, adj_handle, &adj); status != 0) return status;
    counter_add(reader, adj_handle, packets, bytes);
    return 0;
}

void softfwd_reader_count(softfwd_reader *reader, uint32_t prefix_handle, uint32_t adj_handle) {
    const softfwd_counter_header *head = reader->counter_head;
    if ((uint64_t{prefix_handle} / 64 + 1) * sizeof(uint64_t) <= softfwd_load(&head->hits.a_committed))
        softfwd_hit_set(reader->hits, prefix_handle);
    softfwd_reader_count_next(reader, adj_handle);
}

/* --- flows --- */

static uint64_t mix64(uint64_t word) {
    word = (word ^ word >> 32) * 0xd6e8feb86659fd93ull;
    return word ^ word >> 32;
}

static uint32_t flow_number(uint32_t address) { return static_cast<uint32_t>(mix64(address)); }
static uint32_t flow_number(const lpm_key &address) {
    return static_cast<uint32_t>(mix64(mix64(address.hi) + address.lo));
}
static uint32_t flow_number(const uint8_t (&address)[16]) { return flow_number(lpm_key_load(address, 128)); }
static uint32_t flow_number(const softfwd_flow &flow) {
    uint64_t words[4];
    memcpy(words, flow.source, 16);
    memcpy(words + 2, flow.destination, 16);
    uint64_t mixed = uint64_t{flow.source_port} << 32 | uint64_t{flow.destination_port} << 8 | flow.protocol;
    for (const uint64_t word : words) mixed = mix64(mixed + word);
    return static_cast<uint32_t>(mixed);
}

/* --- from the prefix to what happens to the packet --- */

struct hop_way {
    const softfwd_adj *record; /* null when nothing is known but the action */
    uint32_t next;             /* what the prefix refers to */
    uint32_t counted;          /* handle of the member beside the adjacency; 0: none */
    uint32_t label;
};

/* The member that a flow takes; the adjacency's handle. */
static uint32_t member_take(const softfwd_group *group, uint32_t flow, softfwd_hop *hop, hop_way *way) {
    if (group->count == 0) return 0;
    const uint32_t member = softfwd_group_choose(group, flow);
    hop->members = group->count;
    hop->member = static_cast<uint8_t>(member);
    way->counted = way->next + member;
    way->label = softfwd_group_labels(group)[member];
    return softfwd_group_adjs(group)[member];
}

/* 'flow' is what tells one flow from another; it is mixed only where there is something to choose. */
template <typename flow_type>
static void hop_fill(const softfwd_reader *reader, uint32_t handle, const flow_type &flow, softfwd_hop *hop,
                     hop_way *way) {
    *hop = {};
    *way = {};
    if (softfwd_load(&reader->head->a_bypass) != 0) [[unlikely]] {
        hop->action = SOFTFWD_PUNT;
        return;
    }
    const softfwd_prefix *entry = softfwd_reader_entry(reader, handle);
    if (entry == nullptr) return;
    hop->prefix_handle = handle;
    hop->mask_len = entry->mask_len;
    hop->action = SOFTFWD_DROP; /* a prefix without a next object */
    way->next = softfwd_word_next(softfwd_load(&entry->a_word));
    uint32_t adj = way->next;
    way->record = softfwd_reader_record(reader, adj);
    if (way->record == nullptr) {
        const softfwd_group *group = softfwd_reader_group(reader, way->next);
        if (group == nullptr) return;
        adj = member_take(group, flow_number(flow), hop, way);
        way->record = softfwd_reader_record(reader, adj);
        if (way->record == nullptr) return;
    }
    hop->adj_handle = adj;
    hop->if_index = way->record->if_index;
    hop->action = way->record->action;
}

static void hop_count(softfwd_reader *reader, const softfwd_hop &hop, const hop_way &way) {
    if (!reader->counting || hop.prefix_handle == 0) return;
    softfwd_reader_count(reader, hop.prefix_handle, hop.adj_handle);
    if (way.counted != 0) softfwd_reader_count_next(reader, way.counted);
}

template <typename flow_type>
static void result_fill(softfwd_reader *reader, uint32_t handle, const flow_type &flow, softfwd_result *out) {
    hop_way way;
    hop_fill(reader, handle, flow, &out->hop, &way);
    out->next_handle = way.next;
    out->label = way.label;
    if (out->hop.prefix_handle != 0) {
        const softfwd_prefix *entry = &reader->prefix[handle];
        lpm_key_store(entry->key, out->prefix, entry->family == ADDRESS_FAMILY_V4 ? 4 : 16);
    }
    if (const softfwd_adj *record = way.record; record != nullptr) {
        out->next_hop_family = record->family;
        memcpy(out->next_hop, record->next_hop, sizeof out->next_hop);
        memcpy(out->dmac, record->dmac, sizeof out->dmac);
        memcpy(out->smac, record->smac, sizeof out->smac);
        softfwd_tunnel_fill(*record, &out->tunnel);
    }
    hop_count(reader, out->hop, way);
}

static uint32_t match(const softfwd_reader *reader, const softfwd_table *table, uint32_t address) {
    return lpm_match_v4(reader->arena, &table->trie, address);
}
static uint32_t match(const softfwd_reader *reader, const softfwd_table *table, const lpm_key &address) {
    return lpm_match(reader->arena, &table->trie, address, nullptr);
}

template <typename address_type, typename flow_type>
static int lookup_one(softfwd_reader *reader, uint32_t family, uint32_t vdc_id, uint32_t table_id,
                      const address_type &address, const flow_type &flow, softfwd_result *out) {
    *out = {};
    const bool good = softfwd_enter(reader);
    if (good) {
        const softfwd_table *table = softfwd_reader_table(reader, family, vdc_id, table_id);
        if (table != nullptr) result_fill(reader, match(reader, table, address), flow, out);
    }
    softfwd_leave(reader);
    return good ? 0 : ESTALE;
}

int softfwd_lookup_v4(softfwd_reader *reader, uint32_t vdc_id, uint32_t table_id, uint32_t address,
                      softfwd_result *out) {
    return lookup_one(reader, ADDRESS_FAMILY_V4, vdc_id, table_id, address, address, out);
}

int softfwd_lookup_v6(softfwd_reader *reader, uint32_t vdc_id, uint32_t table_id, const uint8_t address[16],
                      softfwd_result *out) {
    const lpm_key key = lpm_key_load(address, 128);
    return lookup_one(reader, ADDRESS_FAMILY_V6, vdc_id, table_id, key, key, out);
}

int softfwd_lookup(softfwd_reader *reader, address_family family, uint32_t vdc_id, uint32_t table_id,
                   const uint8_t *address, softfwd_result *out) {
    if (family == ADDRESS_FAMILY_V6) return softfwd_lookup_v6(reader, vdc_id, table_id, address, out);
    uint32_t word;
    memcpy(&word, address, sizeof word);
    return softfwd_lookup_v4(reader, vdc_id, table_id, __builtin_bswap32(word), out);
}

int softfwd_lookup_flow(softfwd_reader *reader, address_family family, uint32_t vdc_id, uint32_t table_id,
                        const softfwd_flow *flow, softfwd_result *out) {
    if (family == ADDRESS_FAMILY_V6)
        return lookup_one(reader, ADDRESS_FAMILY_V6, vdc_id, table_id, lpm_key_load(flow->destination, 128),
                          *flow, out);
    uint32_t word;
    memcpy(&word, flow->destination, sizeof word);
    softfwd_flow v4 = *flow; /* what lies behind the addresses is no part of the flow */
    memset(v4.source + 4, 0, 12);
    memset(v4.destination + 4, 0, 12);
    return lookup_one(reader, ADDRESS_FAMILY_V4, vdc_id, table_id, __builtin_bswap32(word), v4, out);
}

/* --- many at once --- */

static void match_many(const softfwd_reader *reader, const softfwd_table *table, const uint32_t *addresses,
                       uint32_t *handles, size_t count) {
    lpm_match_v4_many(reader->arena, &table->trie, addresses, handles, count);
}

static void match_many(const softfwd_reader *reader, const softfwd_table *table,
                       const uint8_t (*addresses)[16], uint32_t *handles, size_t count) {
    lpm_key keys[STAY_MAX];
    for (size_t i = 0; i < count; i++) keys[i] = lpm_key_load(addresses[i], 128);
    lpm_match_many(reader->arena, &table->trie, keys, handles, count);
}

/* The entries of a stay are asked for together, so their misses overlap; the few adjacencies stay in the cache. */
template <typename address_type>
static void hops_fill(softfwd_reader *reader, const uint32_t *handles, const address_type *addresses,
                      softfwd_hop *hops, size_t count) {
    for (size_t i = 0; i < count; i++) __builtin_prefetch(&reader->prefix[handles[i]]);
    for (size_t i = 0; i < count; i++) {
        hop_way way;
        hop_fill(reader, handles[i], addresses[i], &hops[i], &way);
        hop_count(reader, hops[i], way);
    }
}

template <typename address_type>
static int lookup_many(softfwd_reader *reader, uint32_t family, uint32_t vdc_id, uint32_t table_id,
                       const address_type *addresses, softfwd_hop *hops, size_t count) {
    uint32_t handles[STAY_MAX];
    for (size_t done = 0; done < count;) {
        const size_t step = count - done < STAY_MAX ? count - done : STAY_MAX;
        const bool good = softfwd_enter(reader);
        const softfwd_table *table = good ? softfwd_reader_table(reader, family, vdc_id, table_id) : nullptr;
        if (table != nullptr)
            match_many(reader, table, addresses + done, handles, step);
        else
            memset(handles, 0, sizeof handles);
        if (good) hops_fill(reader, handles, addresses + done, hops + done, step);
        softfwd_leave(reader);
        if (!good) return ESTALE;
        done += step;
    }
    return 0;
}

int softfwd_lookup_v4_many(softfwd_reader *reader, uint32_t vdc_id, uint32_t table_id,
                           const uint32_t *addresses, softfwd_hop *hops, size_t count) {
    return lookup_many(reader, ADDRESS_FAMILY_V4, vdc_id, table_id, addresses, hops, count);
}

int softfwd_lookup_v6_many(softfwd_reader *reader, uint32_t vdc_id, uint32_t table_id,
                           const uint8_t (*addresses)[16], softfwd_hop *hops, size_t count) {
    return lookup_many(reader, ADDRESS_FAMILY_V6, vdc_id, table_id, addresses, hops, count);
}
