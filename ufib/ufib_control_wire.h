/* ufib/ufib_control_wire.h: layouts of the small messages of the unicast channel: MACs, reverse-path modes, tunnels,
 * clear requests, aged routes, label base, upgrade. Network order, packed. One thread; messages are read in place. */
#pragma once

#include "core/wire.h"

#include <cstddef>
#include <cstdint>

struct ufib_router_mac_msg { /* the VDC's own router MAC */
    uint8_t mac[6];
};

struct ufib_static_mac_msg {
    wire_be<uint32_t> if_index;
    uint8_t mac[6]; /* all zero, or the VDC's own: the interface has none of its own any more */
};
static_assert(sizeof(ufib_static_mac_msg) == 10);

struct ufib_rpf_msg {      /* then records */
    wire_be<uint32_t> len; /* of the whole message; not read */
    wire_be<uint32_t> operation;
    wire_be<uint32_t> record_bytes; /* of all records together */
};
static_assert(sizeof(ufib_rpf_msg) == 12);
constexpr uint32_t UFIB_RPF_SET = 1;
constexpr uint32_t UFIB_RPF_CLEAR = 2;
struct ufib_rpf_msg_record {
    uint8_t mode; /* 0 off, 1 and 2 loose, 3 strict */
    uint8_t afi;
    uint8_t reserved2[2];
    wire_be<uint32_t> if_index;
};
static_assert(sizeof(ufib_rpf_msg_record) == 8);

struct ufib_tunnel_msg {
    uint8_t operation;
    uint8_t type;  /* 1 to 3: UFIB_TUNNEL_* */
    uint8_t flags; /* bit 0: do not fragment */
    uint8_t tos;
    uint8_t ttl;
    uint8_t reserved5;
    wire_be<uint16_t> word; /* carried to the library as it is */
    wire_be<uint32_t> if_index;
    uint8_t next_hop[4];
    wire_be<uint32_t> source; /* ends of the tunnel */
    wire_be<uint32_t> destination;
    uint8_t mac[6];
};
static_assert(sizeof(ufib_tunnel_msg) == 30);
constexpr uint8_t UFIB_TUNNEL_ADD = 1;
constexpr uint8_t UFIB_TUNNEL_DELETE = 2;

/* Clear requests; the answer is the request, marked when it failed. */
struct ufib_clear_msg {
    wire_be<uint32_t> key; /* table id; for adjacencies the interface */
    uint8_t address[16];   /* IPv4: the first four */
    uint8_t mask_len;
    uint8_t afi;
    uint8_t reserved22[4];
    uint8_t flags; /* UFIB_CLEAR_* */
};
static_assert(sizeof(ufib_clear_msg) == 27 && offsetof(ufib_clear_msg, flags) == 26);
constexpr uint8_t UFIB_CLEAR_ALL = 0x01;
constexpr uint8_t UFIB_CLEAR_DELETE = 0x02;
constexpr uint8_t UFIB_CLEAR_FAILED = 0x08; /* in the answer */

struct ufib_aged_msg {
    wire_be<uint32_t> table_id;
    uint8_t afi;
};
static_assert(sizeof(ufib_aged_msg) == 5);

/* An answer about aged routes; then elements of type, length and value without padding: address and mask length. */
struct ufib_aged_rsp {
    wire_be<uint32_t> table_id;
    wire_be<uint32_t> total_len; /* header included */
    wire_be<uint16_t> count;     /* elements */
    uint8_t flags;               /* UFIB_AGED_* */
    uint8_t slot;
    uint8_t reserved12[12];
};
static_assert(sizeof(ufib_aged_rsp) == 24);
constexpr uint8_t UFIB_AGED_LAST = 0x01;
constexpr uint8_t UFIB_AGED_NO_TABLE = 0x03;
constexpr uint16_t UFIB_AGED_TLV_V4 = 1; /* 5 bytes */
constexpr uint16_t UFIB_AGED_TLV_V6 = 2; /* 17 bytes */
constexpr uint32_t UFIB_AGED_BUFFER = 120808;

struct ufib_ilm_msg { /* where the labels of VPNs begin */
    wire_be<uint32_t> base;
};
static_assert(sizeof(ufib_ilm_msg) == 4);

struct ufib_upgrade_msg { /* versions of the images follow when the message has a version */
    wire_be<uint16_t> operation;
    wire_be<uint16_t> slot;
};
static_assert(sizeof(ufib_upgrade_msg) == 4);
constexpr uint16_t UFIB_UPGRADE_BEGIN = 1;
constexpr uint16_t UFIB_UPGRADE_END = 2;
constexpr uint32_t UFIB_UPGRADE_GOOD = 0; /* in the answer, u32 */
constexpr uint32_t UFIB_UPGRADE_BAD_OPERATION = 5;
