#include "tools/lcfwdctl/wire_batch.h"

#include "tools/lcfwdctl/wire_append.h"

#include "host/bus/bus.h"

#include <algorithm>
#include <cstring>

static constexpr uint8_t OPCODE_ADD = 1, OPCODE_DELETE = 2; /* IPv6: two more */
static constexpr uint16_t NACK_MASK = 0x7fff;

static uint8_t route_opcode(const ctl_batch_form &form) {
    return static_cast<uint8_t>((form.add ? OPCODE_ADD : OPCODE_DELETE) + (form.family == 6 ? 2 : 0));
}

/* A next hop with an empty array of its own, as an element of the route's array. */
static constexpr size_t HOP_V1_BYTES = sizeof(ctl_hop_v1) + sizeof(ctl_tlv_array);

/* A route with so many paths. */
static size_t route_bytes(const ctl_batch_form &form, uint32_t paths) {
    if (form.format != 0)
        return sizeof(ctl_route_v1) + sizeof(ctl_tlv_array) + paths * (sizeof(ctl_tlv_head) + HOP_V1_BYTES);
    return form.family == 4 ? sizeof(ctl_route_v0_v4) + paths * sizeof(ctl_hop_v0_v4)
                            : sizeof(ctl_route_v0_v6) + paths * sizeof(ctl_hop_v0_v6);
}

uint32_t ctl_batch_routes_max(const ctl_batch_form &form) {
    const size_t head = form.format != 0 ? sizeof(ctl_batch_v1) : sizeof(ctl_batch_v0);
    const size_t route = route_bytes(form, form.shape.paths);
    return static_cast<uint32_t>(std::min<size_t>((MTS_PAYLOAD_MAX - head) / route, UINT16_MAX));
}

static void put_hop_v1(std::vector<uint8_t> *out, const ctl_batch_form &form, uint32_t number,
                       bool recursive) {
    const ctl_next_hop hop = ctl_next_hop_make(form.family, number);
    ctl_append(out,
               ctl_tlv_head{wire_put(ROUTE_TLV_NEXT_HOP), wire_put(static_cast<uint16_t>(HOP_V1_BYTES))});
    ctl_hop_v1 next{};
    if (recursive) {
        next.flags = NH_RNH;
        ctl_recursive_hop(form.family, number, next.nh_address);
    } else {
        next.if_index = wire_put(hop.if_index);
        memcpy(next.nh_address, hop.address, sizeof next.nh_address);
    }
    next.table_id = wire_put(form.table_id);
    next.nh_len = form.family == 4 ? 32 : 128;
    next.nexthop_len = wire_put(static_cast<uint16_t>(HOP_V1_BYTES));
    ctl_append(out, next);
    ctl_append(out,
               ctl_tlv_array{wire_put<uint16_t>(0), wire_put(static_cast<uint16_t>(sizeof(ctl_tlv_array)))});
}

static void put_route_v1(std::vector<uint8_t> *out, const ctl_batch_form &form, const ctl_route &route) {
    const uint32_t paths = ctl_path_count(form.shape, route);
    const size_t bytes = route_bytes(form, paths);
    ctl_route_v1 record{};
    record.opcode = route_opcode(form);
    record.flags = static_cast<uint8_t>(route.recursive_hop ? ROUTE_RNH : 0);
    record.nh_count = static_cast<uint8_t>(paths);
    record.prefix_len = route.bits;
    memcpy(record.prefix, route.address, sizeof record.prefix);
    record.route_len = wire_put(static_cast<uint16_t>(bytes));
    record.table_id = wire_put(form.table_id);
    ctl_append(out, record);
    ctl_append(out, ctl_tlv_array{wire_put(static_cast<uint16_t>(paths)),
                                  wire_put(static_cast<uint16_t>(bytes - sizeof(ctl_route_v1)))});
    for (uint32_t path = 0; path < paths; path++)
        put_hop_v1(out, form, ctl_path_hop(form.shape, route, path),
                   form.shape.recursive && !route.recursive_hop);
}

template <typename record, typename hop_record>
static void put_route_v0(std::vector<uint8_t> *out, const ctl_batch_form &form, const ctl_route &route) {
    const uint32_t paths = ctl_path_count(form.shape, route);
    record head{};
    head.opcode = route_opcode(form);
    head.nh_count = static_cast<uint8_t>(paths);
    head.prefix_len = route.bits;
    memcpy(head.prefix, route.address, sizeof head.prefix);
    head.route_len = wire_put(static_cast<uint16_t>(route_bytes(form, paths)));
    ctl_append(out, head);
    for (uint32_t path = 0; path < paths; path++) {
        const ctl_next_hop hop = ctl_next_hop_make(form.family, ctl_path_hop(form.shape, route, path));
        hop_record next{};
        next.if_index = wire_put(hop.if_index);
        memcpy(next.address, hop.address, sizeof next.address);
        ctl_append(out, next);
    }
}

static void put_head(std::vector<uint8_t> *out, const ctl_batch_form &form, uint32_t bytes, uint16_t count,
                     uint32_t xid, uint8_t flags) {
    if (form.format != 0) {
        ctl_batch_v1 head{};
        head.len = wire_put(static_cast<uint32_t>(bytes + sizeof head));
        head.batch_size = wire_put(bytes);
        head.count = wire_put(count);
        head.flags = flags;
        head.xid = wire_put(xid);
        head.epoch = form.epoch;
        head.client_id = form.client_id;
        ctl_append(out, head);
        return;
    }
    ctl_batch_v0 head{};
    head.epoch = form.epoch;
    head.table_id = wire_put(form.table_id);
    head.batch_size = wire_put(bytes);
    head.count = wire_put(count);
    head.flags = flags;
    head.client_id = form.client_id;
    head.xid = wire_put(xid);
    ctl_append(out, head);
}

std::vector<uint8_t> ctl_batch_make(const ctl_batch_form &form, std::span<const ctl_route> routes,
                                    uint32_t xid, uint8_t flags) {
    std::vector<uint8_t> out;
    size_t bytes = 0;
    for (const ctl_route &route : routes) bytes += route_bytes(form, ctl_path_count(form.shape, route));
    out.reserve(sizeof(ctl_batch_v0) + bytes);
    put_head(&out, form, static_cast<uint32_t>(bytes), static_cast<uint16_t>(routes.size()), xid, flags);
    for (const ctl_route &route : routes) {
        if (form.format != 0)
            put_route_v1(&out, form, route);
        else if (form.family == 4)
            put_route_v0<ctl_route_v0_v4, ctl_hop_v0_v4>(&out, form, route);
        else
            put_route_v0<ctl_route_v0_v6, ctl_hop_v0_v6>(&out, form, route);
    }
    return out;
}

/* The parts that a good answer of either format repeats. */
template <typename head, typename answer_head>
static const char *find_difference(const head &sent, const answer_head &came) {
    if (wire_get(sent.xid) != wire_get(came.xid)) return "the transaction number differs";
    if (wire_get(sent.count) != wire_get(came.count)) return "the count differs";
    if (sent.epoch != came.epoch) return "the epoch differs";
    if (sent.client_id != came.client_id) return "the client id differs";
    if (((sent.flags ^ came.flags) & ~CTL_ANSWER_GOOD) != 0) return "the flags differ beyond the result";
    if ((wire_get(came.nack_count) & ~NACK_MASK) == 0) return "bit 15 of the refused count is not set";
    return nullptr;
}

static const char *find_difference_own(const ctl_batch_v1 &sent, const ctl_answer_v1 &came) {
    return wire_get(sent.len) != wire_get(came.len) ? "the length differs" : nullptr;
}
static const char *find_difference_own(const ctl_batch_v0 &sent, const ctl_answer_v0 &came) {
    return wire_get(sent.table_id) != wire_get(came.table_id) ? "the table differs" : nullptr;
}

template <typename head, typename answer_head>
static const char *read_answer(std::span<const uint8_t> batch, std::span<const uint8_t> answer,
                               ctl_batch_verdict *out) {
    wire_cursor sent_cursor{batch.data(), batch.size()}, came_cursor{answer.data(), answer.size()};
    head sent{};
    answer_head came{};
    if (wire_take(&sent_cursor, &sent) != 0) return "the batch has no header";
    if (wire_take(&came_cursor, &came) != 0 || came_cursor.left != 0) return "the answer has a wrong size";
    if (const char *why = find_difference(sent, came); why != nullptr) return why;
    if (const char *why = find_difference_own(sent, came); why != nullptr) return why;
    out->good = (came.flags & CTL_ANSWER_GOOD) != 0;
    out->refused = wire_get(came.nack_count) & NACK_MASK;
    if (!out->good && out->refused == 0) out->refused = 1;
    out->xid = wire_get(came.xid);
    return nullptr;
}

int ctl_answer_read(uint32_t format, std::span<const uint8_t> batch, std::span<const uint8_t> answer,
                    ctl_batch_verdict *out, const char **why) {
    *why = format != 0 ? read_answer<ctl_batch_v1, ctl_answer_v1>(batch, answer, out)
                       : read_answer<ctl_batch_v0, ctl_answer_v0>(batch, answer, out);
    return *why == nullptr ? 0 : -1;
}

uint32_t ctl_batch_xid(uint32_t format, std::span<const uint8_t> message) {
    const wire_cursor cursor{message.data(), message.size()};
    if (format != 0) {
        const auto *head = wire_peek<ctl_batch_v1>(cursor);
        return head == nullptr ? 0 : wire_get(head->xid);
    }
    const auto *head = wire_peek<ctl_batch_v0>(cursor);
    return head == nullptr ? 0 : wire_get(head->xid);
}
