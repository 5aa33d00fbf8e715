/* tools/lcfwdctl/wire_batch.h: route batches and their answers, in both formats, as they lie in messages. All numbers
 * are big-endian. Format 0 has one table for the batch and short records; format 1 has a table for each route and
 * next hops as TLV elements. */
#pragma once

#include "tools/lcfwdctl/next_hop.h"
#include "tools/lcfwdctl/route_list.h"

#include "core/wire.h"

#include <span>
#include <vector>

constexpr uint32_t CTL_OPC_ROUTES_V4 = 74767;
constexpr uint32_t CTL_OPC_ROUTES_V6 = 74768;

struct ctl_batch_v1 { /* then the records */
    wire_be<uint32_t> len;
    wire_be<uint32_t> batch_size;
    wire_be<uint16_t> count;
    uint8_t flags;
    wire_be<uint32_t> xid;
    uint8_t epoch;
    uint8_t client_id;
};
static_assert(sizeof(ctl_batch_v1) == 17);

struct ctl_answer_v1 {
    wire_be<uint32_t> len;
    wire_be<uint16_t> nack_count; /* bit 15 is always set */
    wire_be<uint16_t> ack_count;
    wire_be<uint16_t> count;
    uint8_t flags;
    wire_be<uint32_t> xid;
    uint8_t epoch;
    uint8_t client_id;
};
static_assert(sizeof(ctl_answer_v1) == 17);

struct ctl_batch_v0 { /* then the records */
    uint8_t reserved0[2];
    uint8_t epoch;
    uint8_t reserved3;
    wire_be<uint32_t> table_id;
    wire_be<uint32_t> batch_size;
    wire_be<uint16_t> count;
    uint8_t flags;
    uint8_t client_id;
    wire_be<uint32_t> xid;
};
static_assert(sizeof(ctl_batch_v0) == 20);

struct ctl_answer_v0 {
    uint8_t reserved0[2];
    uint8_t epoch;
    uint8_t reserved3;
    wire_be<uint32_t> table_id;
    wire_be<uint16_t> nack_count; /* bit 15 is always set */
    wire_be<uint16_t> ack_count;
    wire_be<uint16_t> count;
    uint8_t flags;
    uint8_t client_id;
    wire_be<uint32_t> xid;
};
static_assert(sizeof(ctl_answer_v0) == 20);

struct ctl_route_v1 { /* then a TLV array with the next hops */
    uint8_t opcode;
    uint8_t flags;
    uint8_t reserved2;
    uint8_t nh_count;
    uint8_t prefix_len;
    uint8_t prefix[16];
    wire_be<uint16_t> route_len; /* the whole record */
    wire_be<uint32_t> table_id;
};
static_assert(sizeof(ctl_route_v1) == 27);

struct ctl_hop_v1 { /* then a TLV array of its own */
    wire_be<uint32_t> if_index;
    uint8_t address[16];
    wire_be<uint32_t> table_id;
    uint8_t nh_len;
    uint8_t flags;
    uint8_t label_count;
    uint8_t label_op;
    uint8_t reserved28[5];
    wire_be<uint16_t> nexthop_len; /* the whole record */
};
static_assert(sizeof(ctl_hop_v1) == 35);

struct ctl_tlv_array {
    wire_be<uint16_t> count;
    wire_be<uint16_t> bytes; /* these four included */
};
struct ctl_tlv_head {
    wire_be<uint16_t> type;
    wire_be<uint16_t> length;
};
static_assert(sizeof(ctl_tlv_array) == 4 && sizeof(ctl_tlv_head) == 4);

struct ctl_route_v0_v4 { /* then the next hops */
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
static_assert(sizeof(ctl_route_v0_v4) == 16);

struct ctl_route_v0_v6 { /* then the next hops */
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
static_assert(sizeof(ctl_route_v0_v6) == 28);

struct ctl_hop_v0_v4 {
    wire_be<uint32_t> if_index;
    uint8_t address[4];
    wire_be<uint16_t> extra_len;
    uint8_t reserved10[2];
};
struct ctl_hop_v0_v6 {
    wire_be<uint32_t> if_index;
    uint8_t address[16];
    wire_be<uint16_t> extra_len;
    uint8_t reserved22[2];
};
static_assert(sizeof(ctl_hop_v0_v4) == 12 && sizeof(ctl_hop_v0_v6) == 24);

constexpr uint8_t CTL_BATCH_TABLE_END = 0x2; /* the last batch of a load */
constexpr uint8_t CTL_ANSWER_GOOD = 0x1;

/* What all routes of a batch have in common. */
struct ctl_batch_form {
    uint32_t format = 1;
    bool add = true; /* false: delete */
    uint8_t family = 4;
    uint32_t table_id = 1;
    uint8_t epoch = 1;
    uint8_t client_id = 1;
};

/* How many routes fit in one message. */
[[nodiscard]] uint32_t ctl_batch_routes_max(const ctl_batch_form &form);

/* The payload of one batch: 1 to ctl_batch_routes_max() routes, all of the form's family. */
[[nodiscard]] std::vector<uint8_t>
ctl_batch_make(const ctl_batch_form &form, std::span<const ctl_route> routes, uint32_t xid, uint8_t flags);

/* What an answer says. 'refused' is what it counts; format 1 counts only the routes of batches that were not looked
 * at, so a batch that is not good has at least one refused route. */
struct ctl_batch_verdict {
    bool good;
    uint32_t refused;
    uint32_t xid;
};

/* Reads the answer to 'batch' and checks all that must come back unchanged. 0, or -1: no answer to this batch, with
 * the reason in '*why' (a constant). */
[[nodiscard]] int ctl_answer_read(uint32_t format, std::span<const uint8_t> batch,
                                  std::span<const uint8_t> answer, ctl_batch_verdict *out, const char **why);

/* The transaction number of a batch or an answer, 0 if it is too short. */
[[nodiscard]] uint32_t ctl_batch_xid(uint32_t format, std::span<const uint8_t> message);
