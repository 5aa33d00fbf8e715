/* ufib/ufib_am.h: notices of the supervisor's adjacency manager (AM), which learns neighbours: which next hops are
 * resolved and with which MAC, and which interfaces went down. Network order; one thread. */
#pragma once

#include "core/wire.h"
#include "ufib/ufib_adj.h"

#include <cstdint>

struct mts_msg;

struct ufib_am_hdr { /* then entries */
    uint8_t reserved0[2];
    wire_be<uint16_t> count;
    uint8_t flags; /* UFIB_AM_LAST_* */
    uint8_t reserved5[3];
};
static_assert(sizeof(ufib_am_hdr) == 8);
constexpr uint8_t UFIB_AM_LAST_V4_CHECK = 0x01;
constexpr uint8_t UFIB_AM_LAST_V6_CHECK = 0x10;

struct ufib_am_entry { /* as long as 'len' says: the step to the next */
    wire_be<uint16_t> len;
    uint8_t afi;
    uint8_t flags; /* UFIB_AM_* */
    wire_be<uint32_t> if_index;
    uint8_t address[16]; /* IPv4: the first four */
    uint8_t mac[6];      /* all zero: unresolved */
};
static_assert(sizeof(ufib_am_entry) == 30);
constexpr uint8_t UFIB_AM_PEER_GATEWAY = 0x04;
constexpr uint8_t UFIB_AM_CHECK = 0x08;     /* a consistency entry */
constexpr uint8_t UFIB_AM_IF_DELETE = 0x10; /* the interface goes down and is deleted */
constexpr uint8_t UFIB_AM_IF_DOWN = 0x80;

/* Works the entries of a notice; its header has been checked to be there. 'message' is what reports of consistency
 * entries answer. */
void ufib_am_bulk_notification(ufib_vdc *vdc, wire_cursor payload, const mts_msg *message);

/* AM leaves an adjacency: destroyed when nobody else needs it, else glean (or drop) under its handle. */
void ufib_am_adj_destroy(ufib_adj *adj, bool set_drop);
