/* tools/lcfwdctl/wire_batch.h: route batches and their answers, in both formats, as they lie in messages. All numbers
 * are big-endian. Format 0 has one table for the batch and short records; format 1 has a table for each route and
 * next hops as TLV elements. */
#pragma once

#include "tools/lcfwdctl/next_hop.h"
#include "tools/lcfwdctl/route_list.h"

#include "core/wire.h"
#include "ufib/ufib_route_wire.h"

#include <span>
#include <vector>

constexpr uint32_t CTL_OPC_ROUTES_V4 = 74767;
constexpr uint32_t CTL_OPC_ROUTES_V6 = 74768;

/* The layouts are the process's own: one definition for both ends. */
using ctl_batch_v1 = route_update_v1_hdr;
using ctl_answer_v1 = route_update_v1_rsp;
using ctl_batch_v0 = route_update_hdr;
using ctl_answer_v0 = route_update_rsp;
using ctl_route_v1 = route_rec;
using ctl_hop_v1 = nh_rec;
using ctl_route_v0_v4 = route_v0_v4;
using ctl_route_v0_v6 = route_v0_v6;
using ctl_hop_v0_v4 = nh_v0_v4;
using ctl_hop_v0_v6 = nh_v0_v6;

struct ctl_tlv_array {
    wire_be<uint16_t> count;
    wire_be<uint16_t> bytes; /* these four included */
};
struct ctl_tlv_head {
    wire_be<uint16_t> type;
    wire_be<uint16_t> length;
};
static_assert(sizeof(ctl_tlv_array) == 4 && sizeof(ctl_tlv_head) == 4);

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
    ctl_route_shape shape = {}; /* how many paths routes have */
};

/* How many routes fit in one message, whatever their paths. */
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
