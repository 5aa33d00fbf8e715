#include "tests/support/wire_build.h"

#include <arpa/inet.h>
#include <cctype>
#include <cstring>
#include <stdexcept>

bytes bytes_from_hex(const std::string &hex) {
    bytes out;
    int high = -1;
    for (char c : hex) {
        if (std::isspace(static_cast<unsigned char>(c))) continue;
        const int digit = std::isdigit(static_cast<unsigned char>(c)) ? c - '0' : (c | 0x20) - 'a' + 10;
        if (high < 0) {
            high = digit;
        } else {
            out.push_back(static_cast<uint8_t>(high << 4 | digit));
            high = -1;
        }
    }
    return out;
}

std::string hex_from_bytes(const bytes &data) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (uint8_t byte : data) {
        out += digits[byte >> 4];
        out += digits[byte & 15];
    }
    return out;
}

void put8(bytes *out, unsigned value) { out->push_back(static_cast<uint8_t>(value)); }
void put16(bytes *out, unsigned value) {
    put8(out, value >> 8);
    put8(out, value & 255);
}
void put32(bytes *out, uint32_t value) {
    put16(out, value >> 16);
    put16(out, value & 0xffff);
}
void put_bytes(bytes *out, const bytes &data) { out->insert(out->end(), data.begin(), data.end()); }
void put_zeros(bytes *out, size_t count) { out->insert(out->end(), count, 0); }
void set16(bytes *out, size_t offset, unsigned value) {
    out->at(offset) = static_cast<uint8_t>(value >> 8);
    out->at(offset + 1) = static_cast<uint8_t>(value);
}

bytes address_bytes(const std::string &text) {
    bytes out(16);
    if (text.find(':') != std::string::npos) {
        if (inet_pton(AF_INET6, text.c_str(), out.data()) == 1) return out;
    } else if (inet_pton(AF_INET, text.c_str(), out.data()) == 1) {
        out.resize(4);
        return out;
    }
    throw std::invalid_argument("no address: " + text);
}

struct prefix_parts {
    bytes address;
    unsigned length;
    bool v6;
};

static prefix_parts prefix_split(const std::string &text) {
    const size_t slash = text.find('/');
    const bytes address = address_bytes(text.substr(0, slash));
    return {address, static_cast<unsigned>(std::stoul(text.substr(slash + 1))), address.size() == 16};
}

static uint8_t route_opcode(const wire_route &route, bool v6) {
    if (route.opcode) return *route.opcode;
    return static_cast<uint8_t>((v6 ? 3 : 1) + (route.remove ? 1 : 0));
}

static void put_tlv(bytes *out, unsigned type, const bytes &data) {
    put16(out, type);
    put16(out, static_cast<unsigned>(data.size()));
    put_bytes(out, data);
}

/* An array: how many elements, how many bytes with this head, the elements. */
static bytes tlv_array(unsigned count, const bytes &elements) {
    bytes out;
    put16(&out, count);
    put16(&out, static_cast<unsigned>(elements.size()) + 4);
    put_bytes(&out, elements);
    return out;
}

static bytes number32(uint32_t value) {
    bytes out;
    put32(&out, value);
    return out;
}

static bytes hop_v1(const wire_hop &hop) {
    bytes elements;
    unsigned count = 0;
    for (uint32_t label : hop.labels) {
        put_tlv(&elements, 0, number32(label));
        count++;
    }
    if (!hop.xri.empty()) {
        put_tlv(&elements, 1, hop.xri);
        count++;
    }
    if (hop.segment) {
        put_tlv(&elements, 2, number32(*hop.segment));
        count++;
    }
    const bytes array = tlv_array(count, elements);
    const bytes address = address_bytes(hop.address);
    bytes out;
    put32(&out, hop.if_index);
    put_bytes(&out, address);
    put_zeros(&out, 16 - address.size());
    put32(&out, hop.table_id);
    put8(&out, address.size() == 16 ? 128 : 32);
    put8(&out, hop.flags);
    put8(&out, static_cast<unsigned>(hop.labels.size()));
    put8(&out, 0);
    put_zeros(&out, 5);
    put16(&out, static_cast<unsigned>(35 + array.size()));
    put_bytes(&out, array);
    return out;
}

bytes wire_route_v1(const wire_route &route) {
    bytes elements;
    unsigned count = 0;
    for (const wire_hop &hop : route.hops) {
        put_tlv(&elements, 1, hop_v1(hop));
        count++;
    }
    if (route.extended) {
        put_tlv(&elements, 2, number32(*route.extended));
        count++;
    }
    const bytes array = tlv_array(count, elements);
    const prefix_parts prefix = prefix_split(route.prefix);
    bytes out;
    put8(&out, route_opcode(route, prefix.v6));
    put8(&out, route.flags);
    put8(&out, 0);
    put8(&out, static_cast<unsigned>(route.hops.size()));
    put8(&out, prefix.length);
    put_bytes(&out, prefix.address);
    put_zeros(&out, 16 - prefix.address.size());
    put16(&out, static_cast<unsigned>(27 + array.size()));
    put32(&out, route.table_id);
    put_bytes(&out, array);
    return out;
}

static bytes hop_v0(const wire_hop &hop) {
    const bytes address = address_bytes(hop.address);
    bytes out;
    put32(&out, hop.if_index);
    put_bytes(&out, address);
    put16(&out, hop.xri.empty() ? 0 : static_cast<unsigned>(12 + address.size()));
    put_zeros(&out, 2);
    if (hop.xri.empty()) return out;
    put_zeros(&out, 4);
    out.insert(out.end(), hop.xri.begin(), hop.xri.begin() + static_cast<long>(address.size()));
    out.insert(out.end(), hop.xri.begin() + 16, hop.xri.end());
    return out;
}

bytes wire_route_v0(const wire_route &route) {
    const prefix_parts prefix = prefix_split(route.prefix);
    bytes out;
    put8(&out, route_opcode(route, prefix.v6));
    put8(&out, 0);
    put8(&out, route.flags);
    put8(&out, 0);
    put8(&out, static_cast<unsigned>(route.hops.size()));
    put8(&out, prefix.length);
    if (!prefix.v6) put_zeros(&out, 2);
    put_bytes(&out, prefix.address);
    const size_t length_at = out.size();
    put16(&out, 0);
    put_zeros(&out, prefix.v6 ? 4 : 2);
    for (const wire_hop &hop : route.hops) put_bytes(&out, hop_v0(hop));
    set16(&out, length_at, static_cast<unsigned>(out.size()));
    return out;
}

static bytes records_build(const wire_batch &batch, bytes (*build)(const wire_route &)) {
    bytes records;
    for (const wire_route &route : batch.routes) put_bytes(&records, build(route));
    return records;
}

bytes wire_batch_v1(const wire_batch &batch) {
    const bytes records = records_build(batch, wire_route_v1);
    bytes out;
    put32(&out, static_cast<uint32_t>(17 + records.size()));
    put32(&out, batch.batch_size.value_or(static_cast<uint32_t>(records.size())));
    put16(&out, batch.count.value_or(static_cast<uint16_t>(batch.routes.size())));
    put8(&out, batch.flags);
    put32(&out, batch.xid);
    put8(&out, batch.epoch);
    put8(&out, batch.client_id);
    put_bytes(&out, records);
    return out;
}

bytes wire_batch_v0(const wire_batch &batch) {
    const bytes records = records_build(batch, wire_route_v0);
    bytes out;
    put16(&out, 0xa1a2); /* reserved bytes must come back as they are */
    put8(&out, batch.epoch);
    put8(&out, 0xa3);
    put32(&out, batch.table_id);
    put32(&out, batch.batch_size.value_or(static_cast<uint32_t>(records.size())));
    put16(&out, batch.count.value_or(static_cast<uint16_t>(batch.routes.size())));
    put8(&out, batch.flags);
    put8(&out, batch.client_id);
    put32(&out, batch.xid);
    put_bytes(&out, records);
    return out;
}

bytes wire_download(uint8_t operation) { return {0, 0, operation}; }
bytes wire_mfdm_download(uint8_t operation) { return {operation}; }
bytes wire_up(uint8_t epoch) { return {0, 0, epoch}; }

bytes wire_stale_delete(uint8_t family, uint32_t table_id, uint8_t epoch) {
    bytes out = {0, 0, family, 0};
    put32(&out, table_id);
    put8(&out, epoch);
    return out;
}

bytes wire_vdc(uint16_t vdc_id) {
    bytes out(sizeof vdc_id);
    std::memcpy(out.data(), &vdc_id, sizeof vdc_id);
    return out;
}

bytes wire_line_card(uint16_t slot, uint16_t vdc_id, uint32_t module_type, uint32_t sw_card_id) {
    bytes out;
    put16(&out, slot);
    put16(&out, vdc_id);
    put32(&out, module_type);
    put32(&out, sw_card_id);
    return out;
}

bytes wire_am_notice(const std::vector<wire_neighbour> &neighbours, uint8_t flags) {
    bytes out;
    put16(&out, 0);
    put16(&out, static_cast<unsigned>(neighbours.size()));
    put8(&out, flags);
    put_zeros(&out, 3);
    for (const wire_neighbour &neighbour : neighbours) {
        const bytes address = address_bytes(neighbour.address);
        put16(&out, 30);
        put8(&out, address.size() == 16 ? 2 : 1);
        put8(&out, neighbour.flags);
        put32(&out, neighbour.if_index);
        put_bytes(&out, address);
        put_zeros(&out, 16 - address.size());
        put_bytes(&out, neighbour.mac.empty() ? bytes(6) : bytes_from_hex(neighbour.mac));
    }
    return out;
}
