/* host/trace/bl_reader.h: reading the binary trace, from this or from another process, while it is written.
 * Everything read from a file is checked; a record that is overwritten during the reading is left out and
 * counted. Ownership: a reader belongs to its opener until bl_reader_close(). */
#pragma once

#include "host/trace/bl.h"

struct bl_record {
    uint64_t sequence; /* over all levels of the log, from 1 */
    uint64_t wall_ns;  /* since 1970 */
    uint16_t event;
    uint8_t level;
    bool cut;      /* some argument did not fit */
    uint16_t size; /* bytes of 'args' in use */
    uint8_t args[BL_ARGS_BYTES];
};

struct bl_reader;

/* Opens the log of a VDC at its oldest record. 0; ENOENT and other errnos of opening; EBADMSG when the file
 * is no trace file. '*out' is null after an error. */
[[nodiscard]] int bl_reader_open(uint32_t vdc_id, uint32_t log_id, bl_reader **out);
void bl_reader_close(bl_reader *reader); /* null is allowed */

/* Takes the next record in the order of writing over all levels. False: none now; a later call may find more.
 */
[[nodiscard]] bool bl_reader_next(bl_reader *reader, bl_record *out);

/* Records that were overwritten before this reader came to them. */
[[nodiscard]] uint64_t bl_reader_lost(const bl_reader *reader);

/* The format text of an event; "" if none is registered. Valid until bl_reader_close(). */
[[nodiscard]] const char *bl_reader_format(const bl_reader *reader, uint32_t event);

/* Renders a record with a format text: placeholders take the arguments in turn ("?" when there is none left),
 * arguments beyond them follow, separated by blanks; with an empty format the text is "event <number>" and
 * the arguments. Always NUL-terminated, cut at 'out_size'. The length of the text in 'out'. */
size_t bl_render(const char *format, const bl_record *record, char *out, size_t out_size);

/* Visits the logs for which files lie under the root, in order. 0 or an errno of reading the directory. */
[[nodiscard]] int bl_list(void (*visit)(void *ctx, uint32_t vdc_id, uint32_t log_id), void *ctx);
