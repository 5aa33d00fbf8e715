/* host/command/command_wire.h: the bytes of requests and answers of the command service, for both sides.
 *
 * Request (payload of opcode 7679), numbers big-endian:
 *   u16 VDC id | u8 action (1 get, 2 set) | u8 0 | u32 command number | u32 cookie length | cookie |
 *   attributes
 * The attributes are a TLV array (host/tlv); without any the array may be missing.
 *
 * Answer:
 *   u8 kind | u8 0 | u16 code | u32 cookie length | cookie | pieces
 * Kind 1 ok, 2 refused (code, and one text piece with the reason), 3 output complete, 4 output with a cookie:
 * ask again; 5 a part of the output, more follows by itself. All but 5 end the request.
 *
 * Piece: u8 kind | u8 count of values | u16 bytes of the whole piece | u16 length of the text | text | values
 *   kinds: 1 print (the text is the format), 2 decoration, 3 list begin, 4 list end, 5 row begin, 6 row end,
 *   7 object begin, 8 object end (the text of a begin is the name)
 * Value: u8 type (cmd_arg_type) | u8 length of the key | u16 length of the data | key | data
 *   numbers are big-endian, of 4 bytes for CMD_ARG_U32, else of 8. */
#pragma once

#include "host/command/command.h"

inline constexpr uint32_t CMD_OPC = 7679;

enum cmd_action : uint8_t { CMD_ACTION_GET = 1, CMD_ACTION_SET = 2 };

enum cmd_answer_kind : uint8_t {
    CMD_ANSWER_OK = 1,
    CMD_ANSWER_NOK = 2,
    CMD_ANSWER_DONE = 3,
    CMD_ANSWER_MORE = 4,
    CMD_ANSWER_PART = 5,
};

enum cmd_piece_kind : uint8_t {
    CMD_PIECE_PRINT = 1,
    CMD_PIECE_DECORATION = 2,
    CMD_PIECE_LIST_BEGIN = 3,
    CMD_PIECE_LIST_END = 4,
    CMD_PIECE_ROW_BEGIN = 5,
    CMD_PIECE_ROW_END = 6,
    CMD_PIECE_OBJECT_BEGIN = 7,
    CMD_PIECE_OBJECT_END = 8,
};

inline constexpr uint32_t CMD_REQUEST_HEAD = 12;
inline constexpr uint32_t CMD_ANSWER_HEAD = 8;
inline constexpr uint32_t CMD_PIECE_HEAD = 6;
inline constexpr uint32_t CMD_VALUE_HEAD = 4;
inline constexpr uint32_t CMD_ANSWER_MAX = 65536; /* no answer is longer, head and cookie included */

/* The attribute that names the VRF of a command; its data are the name without NUL. */
inline constexpr uint16_t CMD_ATTR_ROUTE_CONTEXT = 2;

/* Writes a request without attributes; 'attributes' (a finished TLV array, may be null) follows it. The
 * length, or 0 when it does not fit. */
[[nodiscard]] size_t cmd_request_write(void *out, size_t out_size, uint16_t vdc_id, cmd_action action,
                                       uint32_t command, const void *cookie, uint32_t cookie_length,
                                       const void *attributes, uint32_t attributes_size);

/* An answer taken apart; pointers lie in the answer. */
struct cmd_answer {
    cmd_answer_kind kind;
    uint16_t code;
    const uint8_t *cookie;
    uint32_t cookie_length;
    const uint8_t *pieces;
    size_t pieces_size;
};
[[nodiscard]] int cmd_answer_read(const void *bytes, size_t size, cmd_answer *out); /* 0 or EBADMSG */

/* A piece taken apart, and its values one by one. 'text' and 'key' are not NUL-terminated. */
struct cmd_piece {
    cmd_piece_kind kind;
    uint8_t count;
    const char *text;
    uint16_t text_length;
    const uint8_t *values;
    size_t values_size;
};
struct cmd_value {
    cmd_arg_type type;
    const char *key;
    uint8_t key_length;
    const uint8_t *data;
    uint16_t length; /* that of the type, unless it is a text */
};
/* Steps over the next piece or value at '*bytes'. 0; ENOENT at the end; EBADMSG. */
[[nodiscard]] int cmd_piece_read(const uint8_t **bytes, size_t *left, cmd_piece *out);
[[nodiscard]] int cmd_value_read(const uint8_t **bytes, size_t *left, cmd_value *out);
