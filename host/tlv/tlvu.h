/* host/tlv/tlvu.h: structures to type-length-value elements and back, driven by tables that describe the
 * structures.
 *
 * Bytes: elements one after the other without padding, all numbers big-endian:
 *   element  u16 tag | u16 length of the data | data
 *   value    its 1, 2 or 4 bytes
 *   array    its members, each big-endian by its own size
 *   nested   the elements of the structure
 *   list     one element for each member, which lies behind the structure
 *
 * A structure with a list keeps the number of members as u32 at offset 0; the members follow it at once, at
 * its own size. Lists stand in outermost structures only. Structures are read and written by memcpy, so they
 * may lie anywhere.
 *
 * C linkage, because libraries that are loaded at run time call these by name. Nothing here allocates, and
 * nothing is kept but the sink for errors; all work is bounded by the input and by the tables. Units: bytes.
 * Pointers are borrowed for the call. */
#pragma once

#include <cstdint>

/* What the calls return. */
enum tlvu_status : int {
    TLVU_OK = 0,
    TLVU_ARGUMENT = 1, /* a null table or buffer */
    TLVU_BAD = 2,      /* an element passes the end of what holds it */
    TLVU_ROOM = 3,     /* the result does not fit */
    TLVU_WIDTH = 4,    /* an element has another length than its field */
    TLVU_ABSENT = 5,   /* no such field */
    TLVU_COUNT = 6,    /* the number of members differs from the count */
};

enum tlvu_kind : uint32_t { TLVU_VALUE = 1, TLVU_ARRAY = 3, TLVU_LIST = 5 };

struct tlvu_tbl;

/* One field. */
struct tlvu_row {
    int32_t tag;        /* 0..65535; -1 closes the table */
    uint32_t elem_size; /* of a value, of a member of an array, of a member of a list */
    uint32_t offset;
    uint32_t kind; /* tlvu_kind */
    uint32_t zero[3];
    uint32_t (*elem_sz)(); /* list: gives the size of a member; else null */
    uint32_t zero2;
    uint32_t width; /* of the whole field in the structure; 0 for a list */
    int32_t minus1;
    const tlvu_tbl *nested; /* the structure that the field or member is; null for numbers */
};

/* One structure. */
struct tlvu_tbl {
    uint32_t struct_size; /* without the members of a list */
    const char *name;
    void (*default_init)(
        void *); /* clears the fields and leaves the padding; null: tlvu_default_init does it */
    uint32_t reserved;
    const tlvu_row *rows;
};

/* A position among the outermost elements. 'status' tells how the walk ended: TLVU_OK at the end, else
 * TLVU_BAD. */
struct tlvu_itr {
    const tlvu_tbl *table;
    const uint8_t *next;
    uint32_t left;
    int status;
};

extern "C" {

/* Writes the elements of 'object' to 'out' and their number of bytes to '*used' (may be null). TLVU_ROOM:
 * they do not fit; what 'out' holds then means nothing and '*used' is 0. The members that the object counts
 * must be there. */
[[nodiscard]] int tlvu_table_convert_struct_to_tlv(const tlvu_tbl *table, const void *object, uint8_t *out,
                                                   uint32_t room, uint32_t *used);

/* Fills 'object' ('room' bytes) from elements: first all fields are cleared, the padding is not touched.
 * Elements of tags that the table does not know are skipped, fields without element keep 0, and of a field
 * that comes twice the last stands. Everything is checked first: after any error the object is as before. */
[[nodiscard]] int tlvu_table_convert_tlv_to_struct(const tlvu_tbl *table, const uint8_t *in, uint32_t length,
                                                   void *object, uint32_t room);

/* The exact number of bytes that the first call writes. Reads the count of a list, not its members. 0 if that
 * passes 32 bits. */
[[nodiscard]] uint32_t tlvu_table_size(const tlvu_tbl *table, const void *object);

/* What the second call needs as 'room': the structure and the members. 0 if it would refuse the input. */
[[nodiscard]] uint32_t tlvu_table_get_struct_size_from_tlv(const tlvu_tbl *table, const uint8_t *in,
                                                           uint32_t length);

/* The first outermost field of 'tag', in host order, as it lies in the structure: of a list the first member.
 * TLVU_ROOM: 'room' is below its width. TLVU_ABSENT: the table or the input does not have it. Nothing is
 * written after an error. */
[[nodiscard]] int tlvu_get_field(const tlvu_tbl *table, const uint8_t *in, uint32_t length, uint32_t tag,
                                 void *out, uint32_t room);

/* Walks the outermost fields that the table knows: tag, data as they lie in the input, length of the data.
 * False at the end, and at an element that passes it (see tlvu_itr). The input must stay while the iterator
 * is used. */
void tlvu_field_itr_init(tlvu_itr *itr, const tlvu_tbl *table, const uint8_t *in, uint32_t length);
[[nodiscard]] bool tlvu_field_itr_get_next(tlvu_itr *itr, uint32_t *tag, const uint8_t **data,
                                           uint32_t *length);

/* Clears each field of the table, nested ones by their own initialiser; neither padding nor members of a
 * list. */
void tlvu_default_init(const tlvu_tbl *table, void *object);

/* Writes one line about a failure: 'format' takes the function's name and the code. It goes to the sink, or
 * to standard error while there is none. */
void tlvu_error_print(const char *format, const char *function, uint32_t code);
void tlvu_error_sink_set(void (*sink)(const char *function, const char *line));
}
