/* ufib/ufib_consistency_wire.h: what a consistency check reports. A check itself is a route batch, or a notice of the
 * adjacency manager. Network order, packed. */
#pragma once

#include "core/wire.h"

#include <cstdint>

struct ufib_cc_hdr {                /* then rows */
    wire_be<uint16_t> inconsistent; /* rows of this report about what the sender named */
    wire_be<uint16_t> missing;      /* rows about what it did not name; they come last */
    wire_be<uint32_t> table_id;     /* 0 in reports about adjacencies */
    uint8_t slot;
    uint8_t flags; /* UFIB_CC_LAST */
};
static_assert(sizeof(ufib_cc_hdr) == 10);
constexpr uint8_t UFIB_CC_LAST = 0x01; /* nothing more comes of this check */

/* A route; 8 bytes of it for IPv4, all for IPv6. */
struct ufib_cc_row {
    uint8_t flags; /* UFIB_CC_* */
    uint8_t mask_len;
    uint8_t reserved2[2];
    uint8_t address[16];
};
static_assert(sizeof(ufib_cc_row) == 20);
constexpr uint8_t UFIB_CC_RNH = 0x02;         /* a recursive next hop */
constexpr uint8_t UFIB_CC_IN_HARDWARE = 0x04; /* with UFIB_CC_NOT_NAMED: and it has a hardware handle */
constexpr uint8_t UFIB_CC_NOT_NAMED = 0x08; /* here, but the sender did not name it (or named it otherwise) */
constexpr uint8_t UFIB_CC_HARDWARE = 0x10;  /* hardware disagrees */
constexpr uint8_t UFIB_CC_NEXT_HOPS = 0x40; /* no handle, other next hops, or another number of them */
constexpr uint8_t UFIB_CC_NO_PREFIX = 0x80; /* not here, or what the sender says cannot be read */

/* An adjacency; as long as a route's row. */
struct ufib_cc_adj_row {
    wire_be<uint32_t> if_index;
    uint8_t address[16];
};
static_assert(sizeof(ufib_cc_adj_row) == sizeof(ufib_cc_row));

constexpr uint32_t UFIB_CC_ROW_HEAD = 4;              /* bytes before a row's address */
constexpr uint32_t v4_inconsistent_route_count = 150; /* rows of one report */
constexpr uint32_t v6_inconsistent_route_count = 150;
