/* ufib/ufib_route_wire.h: layouts of the unicast update channel: two generations of batches, their answers, and the
 * route and next-hop records. All fields in network order, packed. The version 1 route record is the form that the
 * whole model uses: version 0 records are converted to it, a restart builds it again from the store. */
#pragma once

#include "core/wire.h"

#include <cstddef>
#include <cstdint>

/* Header flags. */
constexpr uint8_t ROUTE_BATCH_OK = 0x01;           /* in the answer */
constexpr uint8_t ROUTE_BATCH_END_OF_TABLE = 0x02; /* this batch ends a table's load */
constexpr uint16_t ROUTE_NACK_MARK = 0x8000;       /* always set in the answer's nack_count */

struct route_update_v1_hdr {      /* then route_rec records */
    wire_be<uint32_t> len;        /* carried into the answer unread */
    wire_be<uint32_t> batch_size; /* not 0 */
    wire_be<uint16_t> count;      /* not 0 */
    uint8_t flags;
    wire_be<uint32_t> xid;
    uint8_t epoch;
    uint8_t client_id;
};
static_assert(sizeof(route_update_v1_hdr) == 17);

struct route_update_v1_rsp {
    wire_be<uint32_t> len;
    wire_be<uint16_t> nack_count;
    wire_be<uint16_t> ack_count;
    wire_be<uint16_t> count;
    uint8_t flags;
    wire_be<uint32_t> xid;
    uint8_t epoch;
    uint8_t client_id;
};
static_assert(sizeof(route_update_v1_rsp) == sizeof(route_update_v1_hdr));

struct route_update_hdr { /* version 0; then version 0 records */
    uint8_t reserved0[2];
    uint8_t epoch;
    uint8_t reserved3;
    wire_be<uint32_t> table_id;   /* of the whole batch; not 0 */
    wire_be<uint32_t> batch_size; /* not 0 unless flags is not 0 */
    wire_be<uint16_t> count;      /* likewise */
    uint8_t flags;
    uint8_t client_id;
    wire_be<uint32_t> xid;
};
static_assert(sizeof(route_update_hdr) == 20);

struct route_update_rsp { /* version 0 */
    uint8_t reserved0[2];
    uint8_t epoch;
    uint8_t reserved3;
    wire_be<uint32_t> table_id;
    wire_be<uint16_t> nack_count;
    wire_be<uint16_t> ack_count;
    wire_be<uint16_t> count;
    uint8_t flags;
    uint8_t client_id;
    wire_be<uint32_t> xid;
};
static_assert(sizeof(route_update_rsp) == sizeof(route_update_hdr));

/* Route flags: one byte on the wire; bits 8 to 10 come from the extended flags, bit 11 arises in the process. */
constexpr uint32_t ROUTE_DIRECT = 0x0001;
constexpr uint32_t ROUTE_LOCAL = 0x0002;
constexpr uint32_t ROUTE_DROP = 0x0004;
constexpr uint32_t ROUTE_ATTACHED = 0x0008;
constexpr uint32_t ROUTE_LDB = 0x0010;
constexpr uint32_t ROUTE_RNH = 0x0020;
constexpr uint32_t ROUTE_NEVER_STALE = 0x0040;
constexpr uint32_t ROUTE_WILDCARD = 0x0080;
constexpr uint32_t ROUTE_MCAST_SRC = 0x0800;

struct route_rec { /* then an array of TLVs: ROUTE_TLV_* */
    uint8_t opcode;
    uint8_t flags;
    uint8_t reserved2;
    uint8_t nh_count; /* an add: 1 to 64 */
    uint8_t prefix_len;
    uint8_t prefix[16];          /* IPv4: the first four bytes */
    wire_be<uint16_t> route_len; /* of the whole record: the step to the next */
    wire_be<uint32_t> table_id;
};
static_assert(sizeof(route_rec) == 27 && offsetof(route_rec, route_len) == 21);
constexpr uint16_t ROUTE_TLV_NEXT_HOP = 1;
constexpr uint16_t ROUTE_TLV_EXTENDED_FLAGS = 2; /* u32 */

struct nh_rec { /* then an array of TLVs: NH_TLV_* */
    wire_be<uint32_t> if_index;
    uint8_t nh_address[16];
    wire_be<uint32_t> table_id; /* in which the next hop resolves */
    uint8_t nh_len;             /* 32 or 128 */
    uint8_t flags;              /* NH_* */
    uint8_t label_count;
    uint8_t label_op;
    uint8_t reserved28[5];
    wire_be<uint16_t> nexthop_len; /* of the whole record */
};
static_assert(sizeof(nh_rec) == 35 && offsetof(nh_rec, nexthop_len) == 33);
constexpr uint8_t NH_RNH = 0x01;          /* recursive: resolves through a route */
constexpr uint8_t NH_BACKUP = 0x04;       /* used only when no other path is active */
constexpr uint8_t NH_SEGMENT = 0x10;      /* carries a segment id */
constexpr uint8_t NH_NVE = 0x20;          /* behind an overlay peer */
constexpr uint16_t NH_TLV_LABEL = 0;      /* u32 */
constexpr uint16_t NH_TLV_XRI = 1;        /* nh_xri */
constexpr uint16_t NH_TLV_SEGMENT_ID = 2; /* u32 */

struct nh_xri {
    uint8_t address[16];
    uint8_t word1[4];
    uint8_t word2[4];
};
static_assert(sizeof(nh_xri) == 24);

/* Version 0 records. 'extra_len' bytes follow an entry: a reserved word, an address, two words. */
struct route_v0_v4 {
    uint8_t opcode;
    uint8_t reserved1;
    uint8_t flags;
    uint8_t reserved3;
    uint8_t nh_count;
    uint8_t prefix_len;
    uint8_t reserved6[2];
    uint8_t prefix[4];
    wire_be<uint16_t> route_len;
    uint8_t reserved14[2];
};
static_assert(sizeof(route_v0_v4) == 16);

struct route_v0_v6 {
    uint8_t opcode;
    uint8_t reserved1;
    uint8_t flags;
    uint8_t reserved3;
    uint8_t nh_count;
    uint8_t prefix_len;
    uint8_t prefix[16];
    wire_be<uint16_t> route_len;
    uint8_t reserved24[4];
};
static_assert(sizeof(route_v0_v6) == 28);

struct nh_v0_v4 {
    wire_be<uint32_t> if_index;
    uint8_t address[4];
    wire_be<uint16_t> extra_len;
    uint8_t reserved10[2];
};
static_assert(sizeof(nh_v0_v4) == 12);
struct nh_extra_v0_v4 {
    uint8_t reserved[4];
    uint8_t address[4];
    uint8_t word1[4];
    uint8_t word2[4];
};
static_assert(sizeof(nh_extra_v0_v4) == 16);

struct nh_v0_v6 {
    wire_be<uint32_t> if_index;
    uint8_t address[16];
    wire_be<uint16_t> extra_len;
    uint8_t reserved22[2];
};
static_assert(sizeof(nh_v0_v6) == 24);
struct nh_extra_v0_v6 {
    uint8_t reserved[4];
    uint8_t address[16];
    uint8_t word1[4];
    uint8_t word2[4];
};
static_assert(sizeof(nh_extra_v0_v6) == 28);

/* Payload of a stale delete. */
struct stale_delete_msg {
    uint8_t reserved0[2];
    uint8_t family; /* 1 IPv4, 2 IPv6 */
    uint8_t reserved3;
    wire_be<uint32_t> table_id; /* 0: every table of the family */
    uint8_t epoch;
};
static_assert(sizeof(stale_delete_msg) == 9);
