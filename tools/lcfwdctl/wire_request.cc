#include "tools/lcfwdctl/wire_request.h"

#include "tools/lcfwdctl/wire_append.h"

#include <cerrno>

static uint8_t family_number(uint8_t family) { return family == 4 ? 1 : 2; }

static void append_bytes(std::vector<uint8_t> *out, const uint8_t *bytes, size_t size) {
    out->insert(out->end(), bytes, bytes + size);
}
static void append32(std::vector<uint8_t> *out, uint32_t value) { ctl_append(out, wire_put(value)); }

std::vector<uint8_t> ctl_router_mac_make(const uint8_t mac[6]) { return {mac, mac + 6}; }

std::vector<uint8_t> ctl_static_mac_make(uint32_t if_index, const uint8_t mac[6]) {
    std::vector<uint8_t> out;
    append32(&out, if_index);
    append_bytes(&out, mac, 6);
    return out;
}

std::vector<uint8_t> ctl_rpf_make(uint32_t if_index, uint8_t family, uint8_t mode) {
    std::vector<uint8_t> out;
    append32(&out, 20);                  /* of the message */
    append32(&out, mode == 0 ? 2u : 1u); /* clear, set */
    append32(&out, 8);                   /* of the one record */
    const uint8_t record[4] = {mode, family_number(family), 0, 0};
    append_bytes(&out, record, sizeof record);
    append32(&out, if_index);
    return out;
}

std::vector<uint8_t> ctl_tunnel_make(const ctl_tunnel_form &form) {
    const uint8_t head[8] = {
        static_cast<uint8_t>(form.add ? 1 : 2), form.type, form.flags, form.tos, form.ttl, 0, 0, 0};
    std::vector<uint8_t> out(head, head + sizeof head);
    append32(&out, form.if_index);
    append_bytes(&out, form.next_hop, 4);
    append_bytes(&out, form.source, 4);
    append_bytes(&out, form.destination, 4);
    append_bytes(&out, form.mac, 6);
    return out;
}

std::vector<uint8_t> ctl_clear_make(uint32_t key, uint8_t family, const uint8_t *address, uint8_t mask_len,
                                    uint8_t flags) {
    std::vector<uint8_t> out;
    append32(&out, key);
    append_bytes(&out, address, 16);
    const uint8_t tail[7] = {mask_len, family_number(family), 0, 0, 0, 0, flags};
    append_bytes(&out, tail, sizeof tail);
    return out;
}

bool ctl_clear_failed(std::span<const uint8_t> answer) { return (answer[CTL_CLEAR_BYTES - 1] & 8) != 0; }

std::vector<uint8_t> ctl_aged_make(uint32_t table_id, uint8_t family) {
    std::vector<uint8_t> out;
    append32(&out, table_id);
    out.push_back(family_number(family));
    return out;
}

struct aged_header {
    wire_be<uint32_t> table_id;
    wire_be<uint32_t> total;
    wire_be<uint16_t> count;
    uint8_t flags;
    uint8_t slot;
    uint8_t zero[12];
};
static_assert(sizeof(aged_header) == CTL_AGED_HEADER);

static int element_read(wire_cursor *cursor, ctl_aged_route *route) {
    wire_be<uint16_t> head[2];
    if (wire_take(cursor, &head) != 0) return EBADMSG;
    const uint32_t type = wire_get(head[0]), length = wire_get(head[1]);
    const uint32_t bytes = type == 1 ? 4 : 16;
    if (type < 1 || type > 2 || length != bytes + 1 || cursor->left < length) return EBADMSG;
    *route = {};
    route->family = type == 1 ? ADDRESS_FAMILY_V4 : ADDRESS_FAMILY_V6;
    memcpy(route->address, cursor->next, bytes);
    route->mask_len = cursor->next[bytes];
    cursor->next += length;
    cursor->left -= length;
    return 0;
}

int ctl_aged_read(std::span<const uint8_t> answer, std::vector<ctl_aged_route> *routes, bool *last) {
    wire_cursor cursor = {answer.data(), answer.size()};
    aged_header header;
    if (wire_take(&cursor, &header) != 0 || wire_get(header.total) != answer.size()) return EBADMSG;
    *last = (header.flags & 1) != 0;
    if (header.flags == 3) return ENOENT;
    for (uint32_t left = wire_get(header.count); left > 0; left--) {
        ctl_aged_route route;
        if (element_read(&cursor, &route) != 0) return EBADMSG;
        routes->push_back(route);
    }
    return cursor.left == 0 ? 0 : EBADMSG;
}
