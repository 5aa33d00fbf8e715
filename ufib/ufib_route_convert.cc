/* Version 0 route records become version 1 records. */
#include "core/lcfwd_log.h"
#include "host/tlv/tlv.h"
#include "ufib/ufib_channel.h"

#include <cstring>

constexpr uint32_t CONVERT_ARRAY_MAX = 2048; /* bytes of each TLV array */

static uint8_t convert_scratch[sizeof(route_rec) + CONVERT_ARRAY_MAX];
static uint8_t hop_scratch[sizeof(nh_rec) + CONVERT_ARRAY_MAX];

uint32_t ufib_route_v0_fixed(const ufib_family &family) {
    return family.index == UFIB_STATS_V4 ? sizeof(route_v0_v4) : sizeof(route_v0_v6);
}

template <typename record> static uint32_t v0_len(const uint8_t *bytes) {
    record fixed;
    std::memcpy(&fixed, bytes, sizeof fixed);
    return wire_get(fixed.route_len);
}

uint32_t ufib_route_v0_len(const ufib_family &family, const uint8_t *record) {
    return family.index == UFIB_STATS_V4 ? v0_len<route_v0_v4>(record) : v0_len<route_v0_v6>(record);
}

/* The next hop's own array: the extra block, if there is one. 0 or -1. */
template <typename extra> static int convert_extra(wire_cursor *block, tlv_aligned_array *array) {
    if (block->left == 0) return 0;
    extra from;
    if (wire_take(block, &from) != 0) return -1;
    nh_xri xri = {};
    std::memcpy(xri.address, from.address, sizeof from.address);
    std::memcpy(xri.word1, from.word1, sizeof xri.word1);
    std::memcpy(xri.word2, from.word2, sizeof xri.word2);
    return tlv_aligned_array_add_tlv(array, NH_TLV_XRI, sizeof xri, &xri);
}

/* One entry into the route's array. 0 or -1. */
template <typename entry, typename extra>
static int convert_hop(const ufib_family &family, wire_cursor *entries, uint32_t table_id,
                       tlv_aligned_array *route_array) {
    entry from;
    if (wire_take(entries, &from) != 0) return -1;
    const uint32_t extra_len = wire_get(from.extra_len);
    if (extra_len > entries->left) return -1;
    wire_cursor block = {entries->next, extra_len};
    entries->next += extra_len;
    entries->left -= extra_len;

    nh_rec hop = {};
    hop.if_index = from.if_index;
    std::memcpy(hop.nh_address, from.address, sizeof from.address);
    hop.nh_len = static_cast<uint8_t>(family.max_len);
    hop.table_id = wire_put(table_id);
    tlv_aligned_array array;
    (void)tlv_aligned_array_init(&array, hop_scratch + sizeof hop, CONVERT_ARRAY_MAX, 1);
    if (convert_extra<extra>(&block, &array) != 0) return -1;
    const uint32_t len =
        tlv_aligned_array_size_get(hop_scratch + sizeof hop) + static_cast<uint32_t>(sizeof hop);
    hop.nexthop_len = wire_put(static_cast<uint16_t>(len));
    std::memcpy(hop_scratch, &hop, sizeof hop);
    return tlv_aligned_array_add_tlv(route_array, ROUTE_TLV_NEXT_HOP, static_cast<uint16_t>(len),
                                     hop_scratch);
}

template <typename record, typename entry, typename extra>
static const route_rec *convert(const ufib_family &family, wire_cursor from, uint32_t table_id) {
    record fixed;
    if (wire_take(&from, &fixed) != 0) return nullptr;
    route_rec route = {};
    route.opcode = fixed.opcode;
    route.flags = fixed.flags;
    route.prefix_len = fixed.prefix_len;
    std::memcpy(route.prefix, fixed.prefix, sizeof fixed.prefix);
    route.table_id = wire_put(table_id);
    tlv_aligned_array array;
    (void)tlv_aligned_array_init(&array, convert_scratch + sizeof route, CONVERT_ARRAY_MAX, 1);
    for (; route.nh_count < fixed.nh_count; route.nh_count++)
        if (convert_hop<entry, extra>(family, &from, table_id, &array) != 0) return nullptr;
    const uint32_t len =
        tlv_aligned_array_size_get(convert_scratch + sizeof route) + static_cast<uint32_t>(sizeof route);
    route.route_len = wire_put(static_cast<uint16_t>(len));
    std::memcpy(convert_scratch, &route, sizeof route);
    return reinterpret_cast<const route_rec *>(convert_scratch);
}

const route_rec *ufib_route_convert(const ufib_family &family, const uint8_t *record, uint32_t route_len,
                                    uint32_t table_id) {
    const wire_cursor from = {record, route_len};
    const route_rec *route = family.index == UFIB_STATS_V4
                                 ? convert<route_v0_v4, nh_v0_v4, nh_extra_v0_v4>(family, from, table_id)
                                 : convert<route_v0_v6, nh_v0_v6, nh_extra_v0_v6>(family, from, table_id);
    if (route == nullptr) ufib_err_raise(UFIB_ERR_ITEM, E_ROUTE_NHINFO_INVALID);
    return route;
}
