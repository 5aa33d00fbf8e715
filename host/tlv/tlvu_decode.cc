#include "host/tlv/tlv.h"
#include "host/tlv/tlvu_private.h"

#include <cstring>

/* Unread elements. */
struct tlvu_in {
    const uint8_t *next;
    uint32_t left;
};

struct tlvu_element {
    uint32_t tag, length;
    const uint8_t *data;
};

/* What a message says and holds of its list. */
struct tlvu_tally {
    uint32_t count, members;
};

/* False at the end and at an element that passes it; then 'left' tells which: 0 only at the end. */
static bool take_element(tlvu_in *in, tlvu_element *element) {
    if (in->left < TLV_ELEMENT_HEAD) return false;
    const uint32_t length = tlv_read_u16(in->next + 2);
    if (length > in->left - TLV_ELEMENT_HEAD) return false;
    *element = {tlv_read_u16(in->next), length, in->next + TLV_ELEMENT_HEAD};
    in->next += TLV_ELEMENT_HEAD + length;
    in->left -= TLV_ELEMENT_HEAD + length;
    return true;
}

/* The first row of the tag from 'hint' on, wrapping round; null if there is none. Messages of our own making
 * have their fields in the order of the table, so the row after the last hit is nearly always the right one.
 */
static const tlvu_row *row_find(const tlvu_tbl *table, uint32_t tag, const tlvu_row *hint) {
    const auto wanted = static_cast<int32_t>(tag);
    for (const tlvu_row *row = hint; row->tag != TLVU_CLOSING; row++)
        if (row->tag == wanted) return row;
    for (const tlvu_row *row = table->rows; row != hint; row++)
        if (row->tag == wanted) return row;
    return nullptr;
}

static uint32_t read_u32(const uint8_t *data) {
    return static_cast<uint32_t>(tlv_read_u16(data)) << 16 | tlv_read_u16(data + 2);
}

static bool is_list_count(const tlvu_row *row) {
    return row->offset == 0 && row->kind == TLVU_VALUE && row->nested == nullptr &&
           row->width == sizeof(uint32_t);
}

static uint32_t field_width(const tlvu_row *row) {
    return row->kind == TLVU_LIST ? tlvu_member_size(row) : row->width;
}

static int check_elements(const tlvu_tbl *table, tlvu_in in, tlvu_tally *tally);

static int check_element(const tlvu_row *row, const tlvu_element &element) {
    if (row->nested == nullptr) return element.length == field_width(row) ? TLVU_OK : TLVU_WIDTH;
    tlvu_tally nested = {0, 0};
    return check_elements(row->nested, {element.data, element.length}, &nested);
}

/* Checks all elements of one structure and of those nested in it, so that storing them cannot fail any more.
 */
static int check_elements(const tlvu_tbl *table, tlvu_in in, tlvu_tally *tally) {
    const tlvu_row *hint = table->rows;
    tlvu_element element;
    while (take_element(&in, &element)) {
        const tlvu_row *row = row_find(table, element.tag, hint);
        if (row == nullptr) continue;
        const int status = check_element(row, element);
        if (status != TLVU_OK) return status;
        if (row->kind == TLVU_LIST)
            tally->members++;
        else if (is_list_count(row))
            tally->count = read_u32(element.data);
        hint = row->kind == TLVU_LIST ? row : row + 1;
    }
    return in.left == 0 ? TLVU_OK : TLVU_BAD;
}

static const tlvu_row *list_row(const tlvu_tbl *table) {
    for (const tlvu_row *row = table->rows; row->tag != TLVU_CLOSING; row++)
        if (row->kind == TLVU_LIST) return row;
    return nullptr;
}

/* Checks a whole message; '*size' becomes what its structure and members take. */
static int check_message(const tlvu_tbl *table, const uint8_t *in, uint32_t length, uint64_t *size) {
    if (table == nullptr || (in == nullptr && length != 0)) return TLVU_ARGUMENT;
    tlvu_tally tally = {0, 0};
    const int status = check_elements(table, {in, length}, &tally);
    if (status != TLVU_OK) return status;
    const tlvu_row *list = list_row(table);
    *size = table->struct_size;
    if (list == nullptr) return TLVU_OK;
    if (tally.count != tally.members) return TLVU_COUNT;
    *size = tlvu_member_offset(list, tally.members);
    return TLVU_OK;
}

static void store_numbers(const uint8_t *data, uint32_t elem_size, uint32_t width, uint8_t *to) {
    if (elem_size == 1) std::memcpy(to, data, width);
    for (uint32_t at = 0; elem_size == 2 && at < width; at += elem_size) {
        const uint16_t value = tlv_read_u16(data + at);
        std::memcpy(to + at, &value, sizeof value);
    }
    for (uint32_t at = 0; elem_size == 4 && at < width; at += elem_size) {
        const uint32_t value = read_u32(data + at);
        std::memcpy(to + at, &value, sizeof value);
    }
}

static void store_elements(const tlvu_tbl *table, tlvu_in in, uint8_t *object);

/* One checked element to where the field lies. A nested structure is cleared first, also when it comes again.
 */
static void store_field(const tlvu_row *row, const tlvu_element &element, uint8_t *to) {
    if (row->nested == nullptr) {
        store_numbers(element.data, row->elem_size, field_width(row), to);
        return;
    }
    tlvu_clear(row->nested, to);
    store_elements(row->nested, {element.data, element.length}, to);
}

static void store_elements(const tlvu_tbl *table, tlvu_in in, uint8_t *object) {
    const tlvu_row *hint = table->rows;
    uint32_t members = 0;
    tlvu_element element;
    while (take_element(&in, &element)) {
        const tlvu_row *row = row_find(table, element.tag, hint);
        if (row == nullptr) continue;
        const bool member = row->kind == TLVU_LIST;
        store_field(row, element, object + (member ? tlvu_member_offset(row, members++) : row->offset));
        hint = member ? row : row + 1;
    }
}

int tlvu_table_convert_tlv_to_struct(const tlvu_tbl *table, const uint8_t *in, uint32_t length, void *object,
                                     uint32_t room) {
    if (object == nullptr) return TLVU_ARGUMENT;
    uint64_t size = 0;
    const int status = check_message(table, in, length, &size);
    if (status != TLVU_OK) return status;
    if (size > room) return TLVU_ROOM;
    tlvu_clear(table, object);
    store_elements(table, {in, length}, static_cast<uint8_t *>(object));
    return TLVU_OK;
}

uint32_t tlvu_table_get_struct_size_from_tlv(const tlvu_tbl *table, const uint8_t *in, uint32_t length) {
    uint64_t size = 0;
    if (check_message(table, in, length, &size) != TLVU_OK || size > UINT32_MAX) return 0;
    return static_cast<uint32_t>(size);
}

int tlvu_get_field(const tlvu_tbl *table, const uint8_t *in, uint32_t length, uint32_t tag, void *out,
                   uint32_t room) {
    if (table == nullptr || out == nullptr || (in == nullptr && length != 0)) return TLVU_ARGUMENT;
    const tlvu_row *row = tag > UINT16_MAX ? nullptr : row_find(table, tag, table->rows);
    if (row == nullptr) return TLVU_ABSENT;
    tlvu_in cursor = {in, length};
    tlvu_element element;
    do {
        if (!take_element(&cursor, &element)) return cursor.left == 0 ? TLVU_ABSENT : TLVU_BAD;
    } while (element.tag != tag);
    const int status = check_element(row, element);
    if (status != TLVU_OK) return status;
    if (room < field_width(row)) return TLVU_ROOM;
    store_field(row, element, static_cast<uint8_t *>(out));
    return TLVU_OK;
}

void tlvu_field_itr_init(tlvu_itr *itr, const tlvu_tbl *table, const uint8_t *in, uint32_t length) {
    *itr = {table, in, table == nullptr || in == nullptr ? 0 : length, TLVU_OK};
}

bool tlvu_field_itr_get_next(tlvu_itr *itr, uint32_t *tag, const uint8_t **data, uint32_t *length) {
    tlvu_in in = {itr->next, itr->left};
    tlvu_element element;
    while (take_element(&in, &element)) {
        if (row_find(itr->table, element.tag, itr->table->rows) == nullptr) continue;
        itr->next = in.next;
        itr->left = in.left;
        *tag = element.tag;
        *data = element.data;
        *length = element.length;
        return true;
    }
    itr->status = in.left == 0 ? TLVU_OK : TLVU_BAD;
    itr->next = in.next;
    itr->left = in.left;
    return false;
}
