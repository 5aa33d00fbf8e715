#include "host/tlv/tlvu.h"

#include "host/tlv/tlv.h"
#include "host/tlv/tlvu_private.h"

#include <cstdio>
#include <cstring>

/* Where the next byte goes, and how many more may follow. */
struct tlvu_out {
    uint8_t *next;
    uint32_t left;
};

static int put_table(const tlvu_tbl *table, const uint8_t *object, tlvu_out *out);

static int put_numbers(const uint8_t *from, uint32_t elem_size, uint32_t width, tlvu_out *out) {
    if (out->left < width) return TLVU_ROOM;
    if (elem_size == 1) std::memcpy(out->next, from, width);
    for (uint32_t at = 0; elem_size != 1 && at < width; at += elem_size) {
        uint32_t value = 0;
        if (elem_size == 2) {
            uint16_t half;
            std::memcpy(&half, from + at, sizeof half);
            value = half;
        } else {
            std::memcpy(&value, from + at, sizeof value);
            tlv_write_u16(out->next + at, value >> 16);
        }
        tlv_write_u16(out->next + at + elem_size - 2, value & UINT16_MAX);
    }
    out->next += width;
    out->left -= width;
    return TLVU_OK;
}

/* One element: a field, or a member of a list. The length is known, and written, after the data. */
static int put_element(const tlvu_row *row, const uint8_t *from, uint32_t width, tlvu_out *out) {
    if (out->left < TLV_ELEMENT_HEAD) return TLVU_ROOM;
    uint8_t *head = out->next;
    out->next += TLV_ELEMENT_HEAD;
    out->left -= TLV_ELEMENT_HEAD;
    const int status = row->nested != nullptr ? put_table(row->nested, from, out)
                                              : put_numbers(from, row->elem_size, width, out);
    if (status != TLVU_OK) return status;
    const auto length = static_cast<size_t>(out->next - head) - TLV_ELEMENT_HEAD;
    if (length > UINT16_MAX) return TLVU_ROOM;
    tlv_write_u16(head, static_cast<uint32_t>(row->tag));
    tlv_write_u16(head + 2, static_cast<uint32_t>(length));
    return TLVU_OK;
}

static uint32_t count_get(const uint8_t *object) {
    uint32_t count;
    std::memcpy(&count, object, sizeof count);
    return count;
}

/* A count beyond what is there meets the end of 'out' first as long as the caller's room fits its object. */
static int put_members(const tlvu_row *row, const uint8_t *object, tlvu_out *out) {
    const uint32_t size = tlvu_member_size(row);
    const uint8_t *member = object + row->offset;
    for (uint32_t left = count_get(object); left != 0; left--, member += size) {
        const int status = put_element(row, member, size, out);
        if (status != TLVU_OK) return status;
    }
    return TLVU_OK;
}

static int put_table(const tlvu_tbl *table, const uint8_t *object, tlvu_out *out) {
    for (const tlvu_row *row = table->rows; row->tag != TLVU_CLOSING; row++) {
        const int status = row->kind == TLVU_LIST ? put_members(row, object, out)
                                                  : put_element(row, object + row->offset, row->width, out);
        if (status != TLVU_OK) return status;
    }
    return TLVU_OK;
}

/* Bytes of the elements of a structure without lists: the same for all its objects. */
static uint64_t fixed_size(const tlvu_tbl *table) {
    uint64_t size = 0;
    for (const tlvu_row *row = table->rows; row->tag != TLVU_CLOSING; row++)
        if (row->kind != TLVU_LIST)
            size += TLV_ELEMENT_HEAD + (row->nested != nullptr ? fixed_size(row->nested) : row->width);
    return size;
}

int tlvu_table_convert_struct_to_tlv(const tlvu_tbl *table, const void *object, uint8_t *out, uint32_t room,
                                     uint32_t *used) {
    if (used != nullptr) *used = 0;
    if (table == nullptr || object == nullptr || (out == nullptr && room != 0)) return TLVU_ARGUMENT;
    tlvu_out cursor = {out, room};
    const int status = put_table(table, static_cast<const uint8_t *>(object), &cursor);
    if (status == TLVU_OK && used != nullptr) *used = room - cursor.left;
    return status;
}

uint32_t tlvu_table_size(const tlvu_tbl *table, const void *object) {
    if (table == nullptr || object == nullptr) return 0;
    uint64_t size = fixed_size(table);
    for (const tlvu_row *row = table->rows; row->tag != TLVU_CLOSING; row++) {
        if (row->kind != TLVU_LIST) continue;
        const uint64_t member = row->nested != nullptr ? fixed_size(row->nested) : tlvu_member_size(row);
        size += count_get(static_cast<const uint8_t *>(object)) * (TLV_ELEMENT_HEAD + member);
    }
    return size > UINT32_MAX ? 0 : static_cast<uint32_t>(size);
}

void tlvu_clear(const tlvu_tbl *table, void *object) {
    if (table->default_init != nullptr)
        table->default_init(object);
    else
        tlvu_default_init(table, object);
}

void tlvu_default_init(const tlvu_tbl *table, void *object) {
    for (const tlvu_row *row = table->rows; row->tag != TLVU_CLOSING; row++) {
        uint8_t *field = static_cast<uint8_t *>(object) + row->offset;
        if (row->kind == TLVU_LIST) continue;
        if (row->nested != nullptr)
            tlvu_clear(row->nested, field);
        else
            std::memset(field, 0, row->width);
    }
}

static void (*error_sink)(const char *function, const char *line);

void tlvu_error_sink_set(void (*sink)(const char *function, const char *line)) { error_sink = sink; }

void tlvu_error_print(const char *format, const char *function, uint32_t code) {
    char line[160];
    std::snprintf(line, sizeof line, format, function, code);
    if (error_sink != nullptr)
        error_sink(function, line);
    else
        std::fputs(line, stderr);
}
