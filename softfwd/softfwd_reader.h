/* softfwd/softfwd_reader.h: the data plane's side of the engine: look-ups and inspection from any process of the same
 * user. The tables are mapped read-only; no call blocks, and the writer may come, go and be killed meanwhile. A
 * result is always the table before or after a write, never a mixture.
 *
 * Addresses are in network order but for the _v4 calls, which take host order. Errors are errno numbers:
 * ESTALE from any call: the writer started anew with empty tables; detach and attach again.
 * A reader belongs to one thread; attach once a thread. */
#pragma once

#include "host/address/address.h"
#include "softfwd/softfwd_log.h"

#include <cstddef>
#include <cstdint>

struct softfwd_reader;

enum softfwd_action : uint8_t {
    SOFTFWD_NO_ROUTE, /* no table, or no prefix covers the address */
    SOFTFWD_DROP,
    SOFTFWD_PUNT,  /* to the processor */
    SOFTFWD_GLEAN, /* to the processor, to resolve the neighbour */
    SOFTFWD_FORWARD
};
[[nodiscard]] const char *softfwd_action_name(uint8_t action);

/* softfwd_prefix_info::flags */
inline constexpr uint16_t SOFTFWD_PREFIX_LOCAL = 0x01;
inline constexpr uint16_t SOFTFWD_PREFIX_DIRECT = 0x02;
inline constexpr uint16_t SOFTFWD_PREFIX_ATTACHED = 0x04;
inline constexpr uint16_t SOFTFWD_PREFIX_DROP = 0x08;
inline constexpr uint16_t SOFTFWD_PREFIX_LDB = 0x10;
inline constexpr uint16_t SOFTFWD_PREFIX_TAGGED = 0x20; /* 'tag' holds a security-group tag */

/* softfwd_adj_info::flags */
inline constexpr uint16_t SOFTFWD_ADJ_RESOLVED = 0x01;
inline constexpr uint16_t SOFTFWD_ADJ_ATTACHED = 0x02;
inline constexpr uint16_t SOFTFWD_ADJ_GLOBAL = 0x04;
inline constexpr uint16_t SOFTFWD_ADJ_TUNNEL = 0x08;
inline constexpr uint16_t SOFTFWD_ADJ_MCAST_SRC = 0x10;
inline constexpr uint16_t SOFTFWD_ADJ_RECIRCULATE = 0x20;
inline constexpr uint16_t SOFTFWD_ADJ_NVE = 0x40;
inline constexpr uint16_t SOFTFWD_ADJ_PEER_GATEWAY = 0x80;
inline constexpr uint16_t SOFTFWD_ADJ_SOURCE_MAC = 0x100; /* the source MAC was known */

inline constexpr uint32_t SOFTFWD_MEMBERS_MAX = 64; /* of a group */

enum softfwd_group_origin : uint8_t {
    SOFTFWD_GROUP_ECMP = 1, /* of direct next hops */
    SOFTFWD_GROUP_VOBJ = 2  /* an instance of a virtual object */
};
[[nodiscard]] const char *softfwd_group_origin_name(uint8_t origin);

/* What a packet gets. */
struct softfwd_hop {
    uint32_t prefix_handle;
    uint32_t adj_handle; /* behind a group: of the member chosen */
    uint32_t if_index;
    uint8_t action; /* softfwd_action */
    uint8_t mask_len;
    uint8_t members; /* of the group that the prefix refers to; 0: it refers to an adjacency */
    uint8_t member;  /* which of them the flow takes, from 0 */
};

/* What tells a flow of packets from another: the choice among members goes by all of it. Ports are 0 where the
 * protocol has none. */
struct softfwd_flow {
    uint8_t source[16];      /* network order; IPv4 in the first four */
    uint8_t destination[16]; /* the address that is looked up */
    uint16_t source_port;    /* host order */
    uint16_t destination_port;
    uint8_t protocol;
};

/* The encapsulation that a tunnel's packets get. */
enum softfwd_tunnel_type : uint8_t {
    SOFTFWD_TUNNEL_NONE,
    SOFTFWD_TUNNEL_GRE,
    SOFTFWD_TUNNEL_6TO4,
    SOFTFWD_TUNNEL_ISATAP,
    SOFTFWD_TUNNEL_SGRP
};
[[nodiscard]] const char *softfwd_tunnel_name(uint8_t type);
struct softfwd_tunnel {
    uint32_t source; /* IPv4, host order */
    uint32_t destination;
    uint8_t type; /* softfwd_tunnel_type */
    uint8_t df;
    uint8_t tos;
    uint8_t ttl;
};

/* The same with all that a packet is rewritten with. */
struct softfwd_result {
    softfwd_hop hop;
    uint8_t prefix[16];   /* IPv4 in the first four */
    uint8_t next_hop[16]; /* of the adjacency's family, IPv4 in the first four */
    uint32_t next_hop_family;
    uint8_t dmac[6];
    uint8_t smac[6];
    uint32_t next_handle;  /* what the prefix refers to: an adjacency or a group */
    uint32_t label;        /* of the member chosen; 0: none */
    softfwd_tunnel tunnel; /* type 0: none */
};

/* Attaches to the tables of a slot. 'counting': look-ups count packets (one each, 'softfwd_reader_packet_bytes' bytes)
 * and set hit bits. 0 with '*out' to be given back; ENOENT: no engine ever ran there; EPROTO: another layout;
 * EAGAIN: all SOFTFWD_READERS_MAX places are taken; or another errno. */
inline constexpr uint32_t SOFTFWD_READERS_MAX = 128;
[[nodiscard]] int softfwd_reader_attach(uint32_t slot, bool counting, softfwd_reader **out);
void softfwd_reader_detach(softfwd_reader *reader); /* null: nothing */
void softfwd_reader_packet_bytes(softfwd_reader *reader, uint32_t bytes);

/* Look-ups. 0 with '*out' filled (SOFTFWD_NO_ROUTE too), or ESTALE. Without a flow, all packets to one address are one
 * flow. */
[[nodiscard]] int softfwd_lookup_v4(softfwd_reader *reader, uint32_t vdc_id, uint32_t table_id,
                                    uint32_t address, softfwd_result *out);
[[nodiscard]] int softfwd_lookup_v6(softfwd_reader *reader, uint32_t vdc_id, uint32_t table_id,
                                    const uint8_t address[16], softfwd_result *out);
/* By family, four or sixteen bytes. */
[[nodiscard]] int softfwd_lookup(softfwd_reader *reader, address_family family, uint32_t vdc_id,
                                 uint32_t table_id, const uint8_t *address, softfwd_result *out);
/* Of a flow; its destination is looked up. */
[[nodiscard]] int softfwd_lookup_flow(softfwd_reader *reader, address_family family, uint32_t vdc_id,
                                      uint32_t table_id, const softfwd_flow *flow, softfwd_result *out);

/* Counts packets through an adjacency as so many look-ups would; of a counting reader. 0, ENOENT: no such adjacency, EBADF:
 * it does not count, or ESTALE. */
[[nodiscard]] int softfwd_reader_count_add(softfwd_reader *reader, uint32_t adj_handle, uint64_t packets,
                                           uint64_t bytes);

/* Many addresses of one table at once: the look-ups overlap their cache misses. */
[[nodiscard]] int softfwd_lookup_v4_many(softfwd_reader *reader, uint32_t vdc_id, uint32_t table_id,
                                         const uint32_t *addresses, softfwd_hop *hops, size_t count);
[[nodiscard]] int softfwd_lookup_v6_many(softfwd_reader *reader, uint32_t vdc_id, uint32_t table_id,
                                         const uint8_t (*addresses)[16], softfwd_hop *hops, size_t count);

/* Inspection. Each 'next' gives the first item after the one in '*at' and writes it there; start with a zeroed
 * '*at'. 0, ENOENT at the end ('*at' unchanged), or ESTALE. Items that come or go meanwhile may be missed. */
struct softfwd_table_info {
    uint32_t handle;
    uint32_t vdc_id;
    uint32_t table_id;
    uint32_t family; /* address_family */
    uint32_t route_count;
};
[[nodiscard]] int softfwd_reader_table_next(softfwd_reader *reader, softfwd_table_info *at);
/* Finds a table: 0, ENOENT or ESTALE. */
[[nodiscard]] int softfwd_reader_table_find(softfwd_reader *reader, address_family family, uint32_t vdc_id,
                                            uint32_t table_id, softfwd_table_info *out);

struct softfwd_prefix_info {
    uint32_t handle;
    uint32_t table_handle;
    uint32_t next_handle;
    uint16_t flags;
    uint16_t tag;
    uint8_t family;
    uint8_t mask_len;
    uint8_t hit;
    uint8_t address[16]; /* network order, IPv4 in the first four */
};
/* In order of address, shorter mask first. A start ('handle' 0) begins at the table's first prefix. */
[[nodiscard]] int softfwd_reader_prefix_next(softfwd_reader *reader, uint32_t table_handle,
                                             softfwd_prefix_info *at);

struct softfwd_adj_info {
    uint32_t handle;
    uint32_t vdc_id;
    uint32_t if_index;
    uint8_t next_hop[16]; /* network order, IPv4 in the first four */
    uint8_t family;
    uint8_t action; /* softfwd_action */
    uint8_t format; /* 1 plain, 2 tunnel */
    uint8_t holder; /* holder that asked for the last write */
    uint16_t flags;
    uint8_t dmac[6];
    uint8_t smac[6];
    softfwd_tunnel tunnel;
    uint64_t packets; /* 0 when the counters cannot be read */
    uint64_t bytes;
};
[[nodiscard]] int softfwd_reader_adj_next(softfwd_reader *reader,
                                          softfwd_adj_info *at); /* in order of handle */
[[nodiscard]] int softfwd_reader_adj_get(softfwd_reader *reader, uint32_t handle, softfwd_adj_info *out);

struct softfwd_member_info {
    uint32_t adj_handle;
    uint32_t label;
    uint64_t packets; /* through this member; 0 when the counters cannot be read */
    uint64_t bytes;
};

struct softfwd_group_info {
    uint32_t handle;
    uint32_t vdc_id;
    uint64_t id;    /* of the virtual object, or 0 */
    uint8_t origin; /* softfwd_group_origin */
    uint8_t family;
    uint8_t holder;
    uint8_t size;  /* places */
    uint8_t count; /* of them with a member */
    softfwd_member_info members[SOFTFWD_MEMBERS_MAX];
};
[[nodiscard]] int softfwd_reader_group_next(softfwd_reader *reader,
                                            softfwd_group_info *at); /* in order of handle */
[[nodiscard]] int softfwd_reader_group_get(softfwd_reader *reader, uint32_t handle, softfwd_group_info *out);

struct softfwd_reader_stats {
    uint32_t writer_pid; /* of the last writer */
    uint32_t generation; /* writers that served these tables, from 1 */
    uint32_t bracket;    /* number of the writer's current bracket */
    uint32_t readers;    /* attached now */
    uint32_t tables, v4_prefixes, v6_prefixes, adjacencies, groups;
    uint64_t trie_bytes;  /* live blocks of all tries */
    uint64_t entry_bytes; /* prefix entries in use */
    uint64_t adj_bytes;   /* adjacency records, places and counters in use */
    uint64_t group_bytes; /* records of groups, free ones included */
    uint64_t table_bytes;
    uint64_t memory_bytes; /* memory that the files take, spare room included */
    softfwd_counters counters;
};
[[nodiscard]] int softfwd_reader_statistics(softfwd_reader *reader, softfwd_reader_stats *out);

/* The write log, as softfwd_log_read(). */
[[nodiscard]] size_t softfwd_reader_log(softfwd_reader *reader, uint32_t from, softfwd_log_entry *out,
                                        size_t max);
