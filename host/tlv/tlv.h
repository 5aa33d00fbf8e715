/* host/tlv/tlv.h: arrays of type-length-value elements, as they lie in messages and in stored records.
 *
 * Bytes, all numbers big-endian:
 *   array    u16 count | u16 total bytes, these four included | elements, one after the other
 *   element  u16 type  | u16 length of the data               | data, zero-padded to the alignment
 *
 * Reading never leaves the room that the caller gives, and never believes the array's own count or total
 * beyond it: an array that lies ends the walk with TLV_BAD. Nothing here allocates. Units: bytes. One thread.
 * Everything is inline, because a route is taken apart and put together with it. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

enum tlv_status { TLV_OK = 0, TLV_END = 1, TLV_BAD = 2, TLV_FULL = 3 };

inline constexpr uint32_t TLV_ARRAY_HEAD = 4;   /* count and total */
inline constexpr uint32_t TLV_ELEMENT_HEAD = 4; /* type and length */

/* The head of an element where it lies in the array; its data follow at once. Alignment 1. */
struct tlv {
    uint8_t type[2];
    uint8_t length[2];
};
static_assert(sizeof(tlv) == TLV_ELEMENT_HEAD && alignof(tlv) == 1);

/* An array under construction: where its bytes lie and how many fit. The bytes are borrowed; they are whole
 * and readable after each call, so the struct may be dropped at any time. */
struct tlv_aligned_array {
    uint8_t *bytes;
    uint32_t capacity; /* at most 65535 are used, the total has 16 bits */
    uint32_t align;    /* a power of two; 1 = no padding */
};

inline uint16_t tlv_read_u16(const uint8_t *bytes) { return static_cast<uint16_t>(bytes[0] << 8 | bytes[1]); }
inline void tlv_write_u16(uint8_t *bytes, uint32_t value) {
    bytes[0] = static_cast<uint8_t>(value >> 8);
    bytes[1] = static_cast<uint8_t>(value);
}
inline uint32_t tlv_padded(uint32_t length, uint32_t align) { return (length + align - 1) & ~(align - 1); }

inline uint16_t tlv_type(const tlv *element) { return tlv_read_u16(element->type); }
inline uint16_t tlv_length(const tlv *element) { return tlv_read_u16(element->length); }
inline const uint8_t *tlv_data(const tlv *element) {
    return reinterpret_cast<const uint8_t *>(element) + TLV_ELEMENT_HEAD;
}

/* What an element with 'length' data bytes takes in the array: its head and the padded data. */
inline uint32_t tlv_aligned_data_size_get(uint32_t length, uint32_t align = 1) {
    return TLV_ELEMENT_HEAD + tlv_padded(length, align);
}

/* Begins an empty array in 'bytes'. TLV_FULL if 'capacity' has no room for the head; nothing is written then
 * and every later add fails. */
inline int tlv_aligned_array_init(tlv_aligned_array *array, void *bytes, uint32_t capacity, uint32_t align) {
    *array = {static_cast<uint8_t *>(bytes), capacity > UINT16_MAX ? UINT16_MAX : capacity, align};
    if (capacity < TLV_ARRAY_HEAD) return TLV_FULL;
    tlv_write_u16(array->bytes, 0);
    tlv_write_u16(array->bytes + 2, TLV_ARRAY_HEAD);
    return TLV_OK;
}

/* Appends an element with a copy of 'data' ('length' bytes, may be null if 0). TLV_FULL when it does not fit;
 * the array is unchanged then. */
[[nodiscard]] inline int tlv_aligned_array_add_tlv(tlv_aligned_array *array, uint16_t type, uint16_t length,
                                                   const void *data) {
    if (array->capacity < TLV_ARRAY_HEAD) return TLV_FULL;
    uint8_t *head = array->bytes;
    const uint32_t total = tlv_read_u16(head + 2);
    const uint32_t step = tlv_aligned_data_size_get(length, array->align);
    if (total > array->capacity || step > array->capacity - total) return TLV_FULL;
    uint8_t *element = head + total;
    tlv_write_u16(element, type);
    tlv_write_u16(element + 2, length);
    if (length != 0) std::memcpy(element + TLV_ELEMENT_HEAD, data, length);
    std::memset(element + TLV_ELEMENT_HEAD + length, 0, step - TLV_ELEMENT_HEAD - length);
    tlv_write_u16(head, tlv_read_u16(head) + 1u);
    tlv_write_u16(head + 2, total + step);
    return TLV_OK;
}

/* Bytes of a finished array, head included. 0 if 'room' has no head. Only for arrays of our own making: the
 * number is the array's own word. */
inline uint32_t tlv_aligned_array_size_get(const void *bytes, uint32_t room = TLV_ARRAY_HEAD) {
    return room < TLV_ARRAY_HEAD ? 0 : tlv_read_u16(static_cast<const uint8_t *>(bytes) + 2);
}

/* The number of elements that the array claims; 0 if 'room' has no head. A loop over it still ends at the
 * first get_next that is not TLV_OK. */
inline uint32_t tlv_aligned_array_get_num_tlvs(const void *bytes, uint32_t room) {
    return room < TLV_ARRAY_HEAD ? 0 : tlv_read_u16(static_cast<const uint8_t *>(bytes));
}

/* Steps '*cursor' to the next element; null starts at the first. 'room' is what the container has left for
 * the array. TLV_OK: the element and all its data lie within room. TLV_END: no more. TLV_BAD: the array has
 * no head, claims more than the room, or its next element passes its end. '*cursor' is unchanged if not
 * TLV_OK. */
[[nodiscard]] inline int tlv_aligned_array_get_next_tlv(const void *bytes, uint32_t room, const tlv **cursor,
                                                        uint32_t align = 1) {
    if (room < TLV_ARRAY_HEAD) return TLV_BAD;
    const auto *head = static_cast<const uint8_t *>(bytes);
    const uint32_t total = tlv_read_u16(head + 2);
    if (total < TLV_ARRAY_HEAD || total > room) return TLV_BAD;
    uint32_t at = TLV_ARRAY_HEAD;
    if (*cursor != nullptr)
        at = static_cast<uint32_t>(tlv_data(*cursor) - head) + tlv_padded(tlv_length(*cursor), align);
    if (at >= total) return TLV_END;
    if (total - at < TLV_ELEMENT_HEAD) return TLV_BAD;
    const auto *next = reinterpret_cast<const tlv *>(head + at);
    if (tlv_length(next) > total - at - TLV_ELEMENT_HEAD) return TLV_BAD;
    *cursor = next;
    return TLV_OK;
}

/* The first element of 'type', or null; also null if the array lies before that element. */
inline const tlv *tlv_aligned_array_find_tlv(const void *bytes, uint32_t room, uint16_t type,
                                             uint32_t align = 1) {
    const tlv *cursor = nullptr;
    while (tlv_aligned_array_get_next_tlv(bytes, room, &cursor, align) == TLV_OK)
        if (tlv_type(cursor) == type) return cursor;
    return nullptr;
}

/* The unaligned form: the same bytes with alignment 1, for stored records. */
inline uint32_t tlv_size_get(uint32_t length) { return tlv_aligned_data_size_get(length); }
inline int tlv_array_init(tlv_aligned_array *array, void *bytes, uint32_t capacity) {
    return tlv_aligned_array_init(array, bytes, capacity, 1);
}
[[nodiscard]] inline int tlv_array_add_tlv(tlv_aligned_array *array, uint16_t type, uint16_t length,
                                           const void *data) {
    return tlv_aligned_array_add_tlv(array, type, length, data);
}
[[nodiscard]] inline int tlv_array_get_next_tlv(const void *bytes, uint32_t room, const tlv **cursor) {
    return tlv_aligned_array_get_next_tlv(bytes, room, cursor);
}
inline const tlv *tlv_array_find_tlv(const void *bytes, uint32_t room, uint16_t type) {
    return tlv_aligned_array_find_tlv(bytes, room, type);
}
