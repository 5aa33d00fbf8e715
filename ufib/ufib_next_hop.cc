#include "ufib/ufib_next_hop.h"

#include "core/lcfwd_log.h"
#include "host/tlv/tlv.h"
#include "ufib/ufib_family.h"

#include <cstring>

constexpr uint32_t IMPLICIT_NULL = 3;

/* Steps to the next TLV; false at the end. An array that lies is said once, here. */
static bool tlv_step(const uint8_t *array, uint32_t room, const tlv **cursor) {
    const int status = tlv_aligned_array_get_next_tlv(array, room, cursor);
    if (status == TLV_OK) return true;
    if (status != TLV_END) UFIB_ERR("Failed to get the next TLV");
    return false;
}

static const uint8_t *route_tlvs(const route_rec *route) {
    return reinterpret_cast<const uint8_t *>(route) + sizeof(route_rec);
}
static uint32_t route_tlv_room(const route_rec *route) {
    const uint32_t len = wire_get(route->route_len);
    return len > sizeof(route_rec) ? len - static_cast<uint32_t>(sizeof(route_rec)) : 0;
}

static uint32_t read_u32(const uint8_t *bytes) {
    wire_be<uint32_t> word;
    std::memcpy(&word, bytes, sizeof word);
    return wire_get(word);
}

/* One next-hop TLV into the list. 0 or -1. */
static int nh_append(ufib_nh_list *list, const tlv *element) {
    if (tlv_length(element) < sizeof(nh_rec)) return -1;
    const auto *hop = reinterpret_cast<const nh_rec *>(tlv_data(element));
    const uint32_t len = wire_get(hop->nexthop_len);
    if (len < sizeof(nh_rec) || len > tlv_length(element) || len > UFIB_NH_BUFFER - list->used) return -1;
    std::memcpy(list->bytes + list->used, hop, len);
    list->used += len;
    list->count++;
    return 0;
}

int ufib_route_get_nh_info(const route_rec *route, ufib_nh_list *list) {
    list->count = 0;
    list->used = 0;
    const uint8_t *array = route_tlvs(route);
    const uint32_t room = route_tlv_room(route);
    const tlv *cursor = nullptr;
    while (list->count < route->nh_count && tlv_step(array, room, &cursor)) {
        if (tlv_type(cursor) == ROUTE_TLV_NEXT_HOP) {
            if (nh_append(list, cursor) != 0) return -1;
        } else if (tlv_type(cursor) != ROUTE_TLV_EXTENDED_FLAGS) {
            UFIB_ERR("Route Unknown TLV type %d", tlv_type(cursor));
        }
    }
    return list->count == route->nh_count ? 0 : -1;
}

const nh_rec *ufib_nh_first(const ufib_nh_list *list) {
    return list->count == 0 ? nullptr : reinterpret_cast<const nh_rec *>(list->bytes);
}

const nh_rec *ufib_nh_next(const ufib_nh_list *list, const nh_rec *hop) {
    const uint8_t *next = reinterpret_cast<const uint8_t *>(hop) + wire_get(hop->nexthop_len);
    return next < list->bytes + list->used ? reinterpret_cast<const nh_rec *>(next) : nullptr;
}

uint32_t ufib_route_get_extended_flgs(const route_rec *route, uint32_t *route_flags) {
    const uint8_t *array = route_tlvs(route);
    const uint32_t room = route_tlv_room(route);
    if (room == 0) return 0; /* a delete needs no array */
    uint32_t value = 0;
    const tlv *cursor = nullptr;
    while (tlv_step(array, room, &cursor)) {
        if (tlv_type(cursor) == ROUTE_TLV_EXTENDED_FLAGS) {
            if (tlv_length(cursor) >= sizeof value) value = read_u32(tlv_data(cursor));
        } else if (tlv_type(cursor) != ROUTE_TLV_NEXT_HOP) {
            UFIB_ERR("unknown tlv type");
        }
    }
    if ((value & 0x4) != 0) *route_flags |= 0x100;
    if ((value & 0x8) != 0) *route_flags |= 0x200;
    if ((value & 0x10) != 0) *route_flags |= 0x400;
    return value;
}

/* Behind an IPv4 address the field is the sender's: it is no part of the next hop. */
bool ufib_route_is_loopback(const ufib_family &family, const ufib_nh_list *list) {
    if (list->count != 2) return false;
    const nh_rec *first = ufib_nh_first(list);
    const nh_rec *second = ufib_nh_next(list, first);
    return second != nullptr && wire_get(first->if_index) == wire_get(second->if_index) &&
           std::memcmp(first->nh_address, second->nh_address, family.addr_bytes) == 0;
}

static bool any_hop_has(const ufib_nh_list *list, uint8_t flag) {
    for (const nh_rec *hop = ufib_nh_first(list); hop != nullptr; hop = ufib_nh_next(list, hop))
        if ((hop->flags & flag) != 0) return true;
    return false;
}

bool ufib_route_has_rnh(const ufib_nh_list *list) { return any_hop_has(list, NH_RNH); }
bool ufib_route_has_nve(const ufib_nh_list *list) { return any_hop_has(list, NH_NVE); }

static const uint8_t *nh_tlvs(const nh_rec *hop) {
    return reinterpret_cast<const uint8_t *>(hop) + sizeof(nh_rec);
}
static uint32_t nh_tlv_room(const nh_rec *hop) {
    return wire_get(hop->nexthop_len) - static_cast<uint32_t>(sizeof(nh_rec));
}

void ufib_nh_get_labels(const nh_rec *hop, ufib_nh_labels *labels) {
    *labels = {};
    const uint32_t room = nh_tlv_room(hop);
    const tlv *cursor = nullptr;
    while (room != 0 && labels->count < UFIB_NH_LABELS_MAX - 1 && tlv_step(nh_tlvs(hop), room, &cursor))
        if (tlv_type(cursor) == NH_TLV_LABEL && tlv_length(cursor) >= sizeof(uint32_t))
            labels->label[labels->count++] = read_u32(tlv_data(cursor));
}

const nh_xri *ufib_nh_get_xri(const nh_rec *hop) {
    const uint32_t room = nh_tlv_room(hop);
    const tlv *cursor = nullptr;
    while (room != 0 && tlv_step(nh_tlvs(hop), room, &cursor))
        if (tlv_type(cursor) == NH_TLV_XRI && tlv_length(cursor) >= sizeof(nh_xri))
            return reinterpret_cast<const nh_xri *>(tlv_data(cursor));
    return nullptr;
}

bool ufib_nh_get_seg_id(const nh_rec *hop, uint32_t *segment_id) {
    const uint32_t room = nh_tlv_room(hop);
    const tlv *cursor = nullptr;
    while (room != 0 && tlv_step(nh_tlvs(hop), room, &cursor)) {
        if (tlv_type(cursor) != NH_TLV_SEGMENT_ID || tlv_length(cursor) < sizeof(uint32_t)) continue;
        *segment_id = read_u32(tlv_data(cursor));
        return true;
    }
    return false;
}

bool ufib_is_implicit_null_present(uint32_t count, const uint32_t *labels) {
    for (uint32_t i = 0; i < count; i++)
        if (labels[i] == IMPLICIT_NULL) return true;
    return false;
}

uint32_t ufib_fixup_labels_for_implicit_null(uint32_t *count, uint32_t *labels) {
    uint32_t leading = 0;
    while (leading < *count && labels[leading] == IMPLICIT_NULL) leading++;
    *count -= leading;
    std::memmove(labels, labels + leading, *count * sizeof *labels);
    static constexpr uint32_t size_codes[] = {0, 1, 4, 5, 6, 7};
    return *count < sizeof size_codes / sizeof size_codes[0] ? size_codes[*count] : 0;
}
