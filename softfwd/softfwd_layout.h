/* softfwd/softfwd_layout.h: what lies in the engine's shared files. For softfwd/ and its tests only.
 *
 * Three files of one slot: the tables (written by the engine alone, mapped read-only by readers), the readers' places,
 * and the counters. All references are indexes. An object exists when it can be reached: a table from its hash
 * bucket, a prefix entry from the trie of its table, an adjacency or a group from its place in the directory. Each comes and
 * goes by one store, so there is no instant at which a killed writer leaves half of it. Free lists, bump marks and counts
 * are conveniences of the writer, made anew by whoever takes over.
 *
 * Host byte order: the files never leave the machine. Members named 'a_' are read and written by several processes
 * through softfwd_load() and softfwd_store(). */
#pragma once

#include "host/containers/lpm_arena.h"
#include "host/containers/lpm_trie.h"
#include "softfwd/softfwd_log.h"
#include "softfwd/softfwd_reader.h"

#include <atomic>
#include <cstdint>

template <typename word> inline word softfwd_load(const word *at) {
    return __atomic_load_n(at, __ATOMIC_ACQUIRE);
}
template <typename word> inline void softfwd_store(word *at, word value) {
    __atomic_store_n(at, value, __ATOMIC_RELEASE);
}

inline constexpr uint64_t SOFTFWD_TABLES_MAGIC = 0x3130647766746673ull;
inline constexpr uint64_t SOFTFWD_READERS_MAGIC = 0x3172647766746673ull;
inline constexpr uint64_t SOFTFWD_COUNTERS_MAGIC = 0x3163647766746673ull;
inline constexpr uint32_t SOFTFWD_LAYOUT = 5; /* raised with each change of this page */

/* Room that is reserved, as addresses and file length; memory is taken as it is used. Indexes start at 1. */
inline constexpr uint32_t SOFTFWD_TABLES_ROOM = 1u << 16;
inline constexpr uint32_t SOFTFWD_PREFIXES_ROOM = 1u << 24;
inline constexpr uint32_t SOFTFWD_ADJS_ROOM = 1u << 22;    /* handles of all next objects, members included */
inline constexpr uint32_t SOFTFWD_RECORDS_ROOM = 1u << 21; /* a rewrite needs a second record for a moment */
inline constexpr uint32_t SOFTFWD_GROUP_UNITS_ROOM = 1u << 21;
inline constexpr uint32_t SOFTFWD_BUCKETS = 1u << 14;
inline constexpr uint64_t SOFTFWD_ARENA_ROOM = 1ull << 31;

/* --- tables --- */

struct softfwd_table {
    uint32_t a_chain; /* next table of the bucket, 0 at the end; of a free table: the next free one */
    uint32_t vdc_id;
    uint32_t table_id;
    uint32_t family; /* address_family */
    lpm_trie trie;   /* values are prefix handles */
    uint32_t state;  /* softfwd_state, the writer's note */
    uint32_t pad;
};
static_assert(sizeof(softfwd_table) == 32);

enum softfwd_state : uint32_t {
    SOFTFWD_FREE = 0,
    SOFTFWD_LIVE,
    SOFTFWD_PENDING, /* of a prefix: its write has not completed; not in the trie */
    SOFTFWD_LEAVING  /* removed; readers may still look at it */
};

inline uint32_t softfwd_bucket(uint32_t vdc_id, uint32_t table_id, uint32_t family) {
    const uint64_t mixed = (table_id * 0x9e3779b97f4a7c15ull) ^ (vdc_id * 0xc2b2ae3d27d4eb4full) ^ family;
    return static_cast<uint32_t>((mixed * 0x9e3779b97f4a7c15ull) >> 50);
}
static_assert(SOFTFWD_BUCKETS == 1u << (64 - 50));

/* --- prefixes --- */

/* Next object, flags and tag change together by one store of 'a_word'; all else stands still while the entry is
 * reachable. */
struct softfwd_prefix {
    lpm_key key;
    uint64_t a_word;
    uint32_t table; /* of a free entry: the next free one */
    uint8_t mask_len;
    uint8_t family;
    uint8_t state;    /* softfwd_state, the writer's note */
    uint8_t doubtful; /* of the writer, too: the store may not know it (softfwd_commit.h) */
};
static_assert(sizeof(softfwd_prefix) == 32);

constexpr uint64_t softfwd_word(uint32_t next, uint16_t flags, uint16_t tag) {
    return (uint64_t{next} << 32) | (uint64_t{flags} << 16) | tag;
}
constexpr uint32_t softfwd_word_next(uint64_t word) { return static_cast<uint32_t>(word >> 32); }
constexpr uint16_t softfwd_word_flags(uint64_t word) { return static_cast<uint16_t>(word >> 16); }
constexpr uint16_t softfwd_word_tag(uint64_t word) { return static_cast<uint16_t>(word); }

/* --- adjacencies --- */

/* A place of the directory: what the handle names, and where it lies. Handles of all next objects are drawn from this
 * directory, so later kinds of object are further values of the kind. */
enum softfwd_kind : uint32_t {
    SOFTFWD_KIND_NONE = 0,
    SOFTFWD_KIND_ADJ = 1,
    SOFTFWD_KIND_ADJ_LEAVING = 2, /* removed; a reader that came by a removed prefix may still follow it */
    SOFTFWD_KIND_GROUP = 3,       /* the index is the first unit of its record */
    SOFTFWD_KIND_GROUP_LEAVING = 4,
    SOFTFWD_KIND_MEMBER = 5, /* of the group whose handle is the index; the group itself is its member 0 */
    SOFTFWD_KIND_FREE = 15   /* the index is the next free run of handles */
};
constexpr uint32_t softfwd_place(softfwd_kind kind, uint32_t index) {
    return static_cast<uint32_t>(kind) << 28 | index;
}
constexpr softfwd_kind softfwd_place_kind(uint32_t place) { return static_cast<softfwd_kind>(place >> 28); }
constexpr uint32_t softfwd_place_index(uint32_t place) { return place & 0x0fffffffu; }

/* Never changed once its place is published: a rewrite fills another record and publishes that. */
struct softfwd_adj {
    uint32_t handle; /* of a free record: the next free one */
    uint32_t vdc_id;
    uint32_t if_index;
    uint8_t next_hop[16];
    uint8_t dmac[6];
    uint8_t smac[6];
    uint16_t flags; /* SOFTFWD_ADJ_* */
    uint8_t action; /* softfwd_action */
    uint8_t family; /* address_family */
    uint8_t format;
    uint8_t holder;
    uint8_t tunnel_type; /* softfwd_tunnel_type; 0: no tunnel, or not told yet */
    uint8_t tunnel_df;
    uint32_t tunnel_source; /* IPv4, host order */
    uint32_t tunnel_destination;
    uint8_t tunnel_tos;
    uint8_t tunnel_ttl;
    uint8_t doubtful; /* as of a prefix */
    uint8_t pad[5];
};
static_assert(sizeof(softfwd_adj) == 64);

/* --- groups --- */

/* A group shares the load of its packets among members. It has as many handles in a row as it has places for members
 * ('size'): handle + i is member i. Its record, too, is never changed once it is published. The arrays follow the
 * head: 'size' words each. */
struct softfwd_group {
    uint32_t handle; /* of a free record: the next free one of its length */
    uint32_t vdc_id;
    uint64_t id;    /* what made it: the number of a virtual object, or 0 */
    uint8_t count;  /* members in use, 1 to size */
    uint8_t size;   /* 1 to SOFTFWD_MEMBERS_MAX */
    uint8_t origin; /* softfwd_group_origin */
    uint8_t family; /* address_family of the first member */
    uint8_t holder;
    uint8_t doubtful; /* as of a prefix */
    uint8_t pad[10];
};
static_assert(sizeof(softfwd_group) == 32);
inline constexpr uint32_t SOFTFWD_GROUP_UNIT = 32; /* bytes in which records are measured */

constexpr uint32_t softfwd_group_units(uint32_t size) {
    const uint32_t bytes = static_cast<uint32_t>(sizeof(softfwd_group)) + 3 * 4 * size;
    return (bytes + SOFTFWD_GROUP_UNIT - 1) / SOFTFWD_GROUP_UNIT;
}
inline constexpr uint32_t SOFTFWD_GROUP_UNITS_MAX = softfwd_group_units(SOFTFWD_MEMBERS_MAX);

/* By member: the handle of its adjacency; the number that flows are weighed with; its label or 0. */
[[nodiscard]] inline const uint32_t *softfwd_group_adjs(const softfwd_group *group) {
    return reinterpret_cast<const uint32_t *>(group + 1);
}
[[nodiscard]] inline const uint32_t *softfwd_group_weights(const softfwd_group *group) {
    return softfwd_group_adjs(group) + group->size;
}
[[nodiscard]] inline const uint32_t *softfwd_group_labels(const softfwd_group *group) {
    return softfwd_group_adjs(group) + 2u * group->size;
}

/* Which member a flow takes: the one whose number mixed with the flow's is the highest. When a member comes, goes or
 * is replaced, only the flows that it gains or loses move, whatever the order of the members. */
[[nodiscard]] inline uint32_t softfwd_group_choose(const softfwd_group *group, uint32_t flow) {
    const uint32_t *weights = softfwd_group_weights(group);
    uint32_t best = 0, best_mix = 0;
    for (uint32_t i = 0; i < group->count; i++) {
        uint32_t mix = (flow ^ weights[i]) * 0x85ebca6bu;
        mix = (mix ^ mix >> 13) * 0xc2b2ae35u;
        mix ^= mix >> 16;
        if (mix > best_mix) best_mix = mix, best = i;
    }
    return best;
}

/* --- reverse-path checks --- */

/* An open hash of words, each changed by one store: the modes of an interface, or the interface that a direct prefix is
 * attached to. A word that says "none" still ends no search, but may be taken for another key; zero was never used and
 * ends one. */
inline constexpr uint32_t SOFTFWD_RPF_ROOM = 1u << 15;
inline constexpr uint64_t SOFTFWD_RPF_PREFIX = 1ull << 63; /* else an interface */
constexpr uint64_t softfwd_rpf_if_key(uint32_t vdc_id, uint32_t if_index) {
    return uint64_t{if_index} << 16 | uint64_t{vdc_id & 0xff} << 8;
}
inline constexpr uint64_t SOFTFWD_RPF_DOUBTFUL = 1ull << 62; /* the store may not know an interface's modes */
constexpr uint64_t softfwd_rpf_if_word(uint64_t key, uint32_t v4_mode, uint32_t v6_mode) {
    return key | (v4_mode & 15) << 4 | (v6_mode & 15);
}
constexpr uint64_t softfwd_rpf_prefix_key(uint32_t handle) {
    return SOFTFWD_RPF_PREFIX | uint64_t{handle & 0xffffff} << 32;
}
static_assert(SOFTFWD_PREFIXES_ROOM <= 1u << 24);
/* The part of a word that tells whose it is, and the part that says something. */
constexpr uint64_t softfwd_rpf_key_of(uint64_t word) {
    return (word & SOFTFWD_RPF_PREFIX) != 0 ? word & ~uint64_t{0xffffffff} : word & 0xffffffffff00;
}
constexpr uint32_t softfwd_rpf_value_of(uint64_t word) {
    return static_cast<uint32_t>((word & SOFTFWD_RPF_PREFIX) != 0 ? word & 0xffffffff : word & 0xff);
}
constexpr uint32_t softfwd_rpf_place(uint64_t key) {
    return static_cast<uint32_t>((key * 0x9e3779b97f4a7c15ull) >> (64 - 15));
}

/* --- the file of tables --- */

enum softfwd_region_id {
    SOFTFWD_REGION_BUCKETS,
    SOFTFWD_REGION_TABLES,
    SOFTFWD_REGION_PREFIXES,
    SOFTFWD_REGION_DIRECTORY,
    SOFTFWD_REGION_RECORDS,
    SOFTFWD_REGION_GROUPS,
    SOFTFWD_REGION_ARENA,
    SOFTFWD_REGION_LOG,
    SOFTFWD_REGION_RPF,
    SOFTFWD_REGION_COUNT
};

struct softfwd_region {
    uint64_t offset;      /* from the start of the file; page-aligned */
    uint64_t bytes;       /* reserved */
    uint64_t a_committed; /* from the start of the region: has memory, may be touched */
};

/* The members up to 'a_replaced' keep their places in every layout: a newer writer sends older readers away. */
struct softfwd_header {
    uint64_t magic;
    uint32_t layout;
    uint32_t header_bytes;
    uint64_t file_bytes;
    uint64_t a_readers_identity; /* of the file where readers of these tables have their places */
    uint32_t a_replaced;         /* non-zero: other tables took the place of these */
    uint32_t a_shared_wildcard;  /* there are wildcard tables under VDC 0, for all */
    uint32_t writer_pid;
    uint32_t generation;
    uint32_t active_vdcs; /* bit n for id n */
    uint32_t a_bracket;
    uint32_t table_bump; /* the first index that was never used; so are the next four */
    uint32_t prefix_bump;
    uint32_t adj_bump;
    uint32_t record_bump;
    uint32_t group_bump; /* of units of groups' records */
    uint32_t table_count;
    uint32_t prefix_count[2]; /* IPv4, IPv6 */
    uint32_t adj_count;
    uint32_t group_count;
    uint32_t a_log_sequence;
    uint32_t a_committed_log; /* newest operation that the store has committed; 0: there is no store */
    uint32_t a_bypass;        /* not 0: packets go to the processor, whatever the tables say */
    uint32_t pad;
    softfwd_region regions[SOFTFWD_REGION_COUNT];
    softfwd_counters counters;
    lpm_arena_head arena;
};
inline constexpr uint64_t SOFTFWD_HEADER_ROOM = 8192;
static_assert(sizeof(softfwd_header) <= SOFTFWD_HEADER_ROOM);

/* --- the file of readers' places --- */

/* 'a_epoch' is 0 outside a look-up, else the epoch at its begin. Whether the owner lives is told by the lock that it
 * holds on the place's first byte: the system drops it when the process ends, however it ends. */
struct softfwd_reader_place {
    uint64_t a_epoch;
    uint32_t a_pid;
    uint32_t pad[13];
};
static_assert(sizeof(softfwd_reader_place) == 64);

struct softfwd_readers {
    uint64_t magic;
    uint32_t layout;
    uint32_t pad0;
    uint64_t identity;
    uint64_t a_epoch; /* from 1 */
    uint64_t pad1[4];
    softfwd_reader_place places[SOFTFWD_READERS_MAX];
};

/* --- the file of counters --- */

struct softfwd_adj_counter {
    uint64_t a_packets, a_bytes;
    uint64_t read_packets, read_bytes; /* what the process was told already */
};
static_assert(sizeof(softfwd_adj_counter) == 32);

struct softfwd_counter_header {
    uint64_t magic;
    uint32_t layout;
    uint32_t pad;
    softfwd_region hits; /* one bit a prefix handle, in u64 words */
    softfwd_region adjs; /* softfwd_adj_counter by handle */
};
inline constexpr uint64_t SOFTFWD_COUNTER_HEADER_ROOM = 4096;
inline constexpr uint64_t SOFTFWD_HITS_BYTES = SOFTFWD_PREFIXES_ROOM / 8;
inline constexpr uint64_t SOFTFWD_COUNTERS_BYTES =
    SOFTFWD_COUNTER_HEADER_ROOM + SOFTFWD_HITS_BYTES + SOFTFWD_ADJS_ROOM * sizeof(softfwd_adj_counter);

/* Hit bits: 'hits' has one bit a prefix handle. */
[[nodiscard]] inline bool softfwd_hit_get(const uint64_t *hits, uint32_t handle) {
    return (__atomic_load_n(&hits[handle / 64], __ATOMIC_RELAXED) >> (handle % 64) & 1) != 0;
}
inline void softfwd_hit_set(uint64_t *hits, uint32_t handle) {
    if (!softfwd_hit_get(hits, handle))
        __atomic_fetch_or(&hits[handle / 64], uint64_t{1} << (handle % 64), __ATOMIC_RELAXED);
}
