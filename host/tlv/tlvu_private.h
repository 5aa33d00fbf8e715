/* host/tlv/tlvu_private.h: what encoding and decoding share. */
#pragma once

#include "host/tlv/tlvu.h"

inline constexpr int32_t TLVU_CLOSING = -1;

/* The size of one member of a list in the structure. */
inline uint32_t tlvu_member_size(const tlvu_row *row) {
    return row->elem_sz != nullptr ? row->elem_sz() : row->elem_size;
}

/* Where the n-th member lies, from the start of the structure. The caller has made sure that it fits 64 bits.
 */
inline uint64_t tlvu_member_offset(const tlvu_row *row, uint64_t n) {
    return row->offset + n * tlvu_member_size(row);
}

/* Clears one structure by its own initialiser, or field by field. */
void tlvu_clear(const tlvu_tbl *table, void *object);
