/* ufib/ufib_stats_wire.h: layouts of statistics polls and of what they give. Network order, packed. */
#pragma once

#include "core/wire.h"

#include <cstddef>
#include <cstdint>

/* A poll, in a message of version 3 or above; then, for one object or one interface, its key. */
struct ufib_stats_poll_msg {
    uint8_t reserved0[4];
    uint8_t type;        /* UFIB_STATS_TYPE_* */
    uint8_t afi;         /* 1 IPv4, 2 IPv6; 0: both, of adjacencies only */
    uint8_t sequence[2]; /* the sender's; in everything that comes back */
};
static_assert(sizeof(ufib_stats_poll_msg) == 8);
constexpr uint8_t UFIB_STATS_TYPE_ADJ = 1;
constexpr uint8_t UFIB_STATS_TYPE_TUNNEL = 3; /* the adjacencies of one tunnel interface */
constexpr uint8_t UFIB_STATS_TYPE_LABEL = 4;  /* 4 to 6 */
constexpr uint8_t UFIB_STATS_TYPE_LISP = 7;
constexpr uint8_t UFIB_STATS_TYPE_MAX = 7;

struct ufib_stats_poll_key {
    wire_be<uint32_t> if_index; /* 0: no key */
    uint8_t address[16];        /* IPv4: the first four; all zero: every next hop of the interface */
};
static_assert(sizeof(ufib_stats_poll_key) == 20);

/* The answer that comes at once: the poll's first eight bytes, bit 0 of the last one for "the poll runs, or is done". */
struct ufib_stats_poll_rsp {
    uint8_t poll[8];
    wire_be<uint32_t> objects; /* that the poll will read, as far as is known */
};
static_assert(sizeof(ufib_stats_poll_rsp) == 12);
constexpr uint8_t UFIB_STATS_STARTED = 0x01;

/* What a running poll gives: further answers to the same message, each this head and then rows. */
struct ufib_stats_hdr {
    wire_be<uint32_t> total_stats_len; /* bytes of this message */
    uint8_t type;                      /* as polled */
    uint8_t afi;
    uint8_t sequence[2];
    wire_be<uint16_t> count; /* rows */
    uint8_t flags;           /* UFIB_STATS_LAST */
    uint8_t slot;
    wire_be<uint32_t>
        objects; /* that the poll has visited so far; a refused read leaves some without a row */
};
static_assert(sizeof(ufib_stats_hdr) == 16);
constexpr uint8_t UFIB_STATS_LAST = 0x01;

struct ufib_stats_row {
    uint8_t object; /* type of object: 5 an IPv4, 6 an IPv6 adjacency; or one of the label or LISP side */
    uint8_t path;   /* of an object with several */
    uint8_t reserved2[2];
    wire_be<uint32_t> if_index;
    uint8_t address[16];
    wire_be<uint64_t> packets; /* since the object was made */
    wire_be<uint64_t> bytes;
    wire_be<uint64_t> packets_since_clear;
    wire_be<uint64_t> bytes_since_clear;
};
static_assert(sizeof(ufib_stats_row) == 56);
constexpr uint32_t UFIB_STATS_REPLY_ROWS = 1000; /* of one message */
