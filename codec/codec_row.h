/* codec/codec_row.h: how the tables of this folder write their rows. Sizes and offsets are bytes. */
#pragma once

#include "host/tlv/tlvu.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>

/* A number of 1, 2 or 4 bytes. */
constexpr tlvu_row codec_value(int32_t tag, uint32_t size, uint32_t offset) {
    return {tag, size, offset, TLVU_VALUE, {}, nullptr, 0, size, -1, nullptr};
}

/* A structure inside the structure. */
constexpr tlvu_row codec_nested(int32_t tag, uint32_t size, uint32_t offset, const tlvu_tbl *nested) {
    return {tag, size, offset, TLVU_VALUE, {}, nullptr, 0, size, -1, nested};
}

/* Numbers of 'elem_size' bytes, 'bytes' in all. */
constexpr tlvu_row codec_array(int32_t tag, uint32_t elem_size, uint32_t offset, uint32_t bytes) {
    return {tag, elem_size, offset, TLVU_ARRAY, {}, nullptr, 0, bytes, -1, nullptr};
}

/* Members of 'elem_size' bytes behind the structure, as many as its first word says; 'nested' is null for
 * numbers. */
constexpr tlvu_row codec_list(int32_t tag, uint32_t elem_size, uint32_t offset, uint32_t (*elem_sz)(),
                              const tlvu_tbl *nested) {
    return {tag, elem_size, offset, TLVU_LIST, {}, elem_sz, 0, 0, -1, nested};
}

inline constexpr tlvu_row codec_closing = {-1, 0, 0, 0, {}, nullptr, 0, 0, 0, nullptr};

/* Whether the table is that of the structure: its size, the offsets of the members in the order of the rows,
 * all fields inside it. */
template <typename object>
constexpr bool codec_layout_is(const tlvu_tbl &table, std::initializer_list<size_t> offsets) {
    if (table.struct_size != sizeof(object)) return false;
    const size_t *offset = offsets.begin();
    for (const tlvu_row *row = table.rows; row->tag != -1; row++) {
        if (row->kind == TLVU_LIST) continue;
        if (offset == offsets.end() || row->offset != *offset++) return false;
        if (row->offset + row->width > sizeof(object)) return false;
    }
    return offset == offsets.end();
}

/* Whether the table is that of a wrapper: a word that counts, and a list of such members directly behind the
 * structure. */
template <typename member> constexpr bool codec_members_are(const tlvu_tbl &table) {
    const tlvu_row *row = table.rows;
    if (row->offset != 0 || row->width != sizeof(uint32_t)) return false;
    while (row->kind != TLVU_LIST) row++;
    return row->offset == table.struct_size && row->elem_size == sizeof(member) && row[1].tag == -1;
}
