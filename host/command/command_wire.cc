#include "host/command/command_wire.h"

#include <cerrno>
#include <cstring>

static uint16_t read_u16(const uint8_t *bytes) { return static_cast<uint16_t>(bytes[0] << 8 | bytes[1]); }

static uint32_t read_u32(const uint8_t *bytes) {
    return static_cast<uint32_t>(read_u16(bytes)) << 16 | read_u16(bytes + 2);
}

static void write_number(uint8_t *bytes, uint64_t number, size_t length) {
    for (size_t i = length; i-- > 0; number >>= 8) bytes[i] = static_cast<uint8_t>(number);
}

size_t cmd_request_write(void *out, size_t out_size, uint16_t vdc_id, cmd_action action, uint32_t command,
                         const void *cookie, uint32_t cookie_length, const void *attributes,
                         uint32_t attributes_size) {
    const size_t size = size_t{CMD_REQUEST_HEAD} + cookie_length + attributes_size;
    if (size > out_size || cookie_length > CMD_COOKIE_MAX) return 0;
    auto *bytes = static_cast<uint8_t *>(out);
    write_number(bytes, vdc_id, 2);
    write_number(bytes + 2, action, 1);
    write_number(bytes + 3, 0, 1);
    write_number(bytes + 4, command, 4);
    write_number(bytes + 8, cookie_length, 4);
    if (cookie_length != 0) std::memcpy(bytes + CMD_REQUEST_HEAD, cookie, cookie_length);
    if (attributes_size != 0)
        std::memcpy(bytes + CMD_REQUEST_HEAD + cookie_length, attributes, attributes_size);
    return size;
}

int cmd_answer_read(const void *from, size_t size, cmd_answer *out) {
    const auto *bytes = static_cast<const uint8_t *>(from);
    if (size < CMD_ANSWER_HEAD || bytes[0] < CMD_ANSWER_OK || bytes[0] > CMD_ANSWER_PART) return EBADMSG;
    const uint32_t cookie_length = read_u32(bytes + 4);
    if (cookie_length > size - CMD_ANSWER_HEAD) return EBADMSG;
    out->kind = static_cast<cmd_answer_kind>(bytes[0]);
    out->code = read_u16(bytes + 2);
    out->cookie = bytes + CMD_ANSWER_HEAD;
    out->cookie_length = cookie_length;
    out->pieces = bytes + CMD_ANSWER_HEAD + cookie_length;
    out->pieces_size = size - CMD_ANSWER_HEAD - cookie_length;
    return 0;
}

int cmd_piece_read(const uint8_t **bytes, size_t *left, cmd_piece *out) {
    if (*left == 0) return ENOENT;
    const uint8_t *head = *bytes;
    if (*left < CMD_PIECE_HEAD) return EBADMSG;
    const uint16_t size = read_u16(head + 2);
    const uint16_t text_length = read_u16(head + 4);
    if (head[0] < CMD_PIECE_PRINT || head[0] > CMD_PIECE_OBJECT_END || size > *left ||
        size < CMD_PIECE_HEAD || text_length > size - CMD_PIECE_HEAD)
        return EBADMSG;
    out->kind = static_cast<cmd_piece_kind>(head[0]);
    out->count = head[1];
    out->text = reinterpret_cast<const char *>(head + CMD_PIECE_HEAD);
    out->text_length = text_length;
    out->values = head + CMD_PIECE_HEAD + text_length;
    out->values_size = size - CMD_PIECE_HEAD - text_length;
    *bytes += size;
    *left -= size;
    return 0;
}

/* Whether a value of 'type' may have 'length' bytes of data. */
static bool value_length_good(uint8_t type, uint16_t length) {
    switch (type) {
    case CMD_ARG_TEXT: return true;
    case CMD_ARG_U32:
    case CMD_ARG_IPV4: return length == 4;
    case CMD_ARG_U64:
    case CMD_ARG_I64:
    case CMD_ARG_DOUBLE: return length == 8;
    case CMD_ARG_IPV6: return length == 16;
    case CMD_ARG_IPV4_NET: return length == 5;
    case CMD_ARG_IPV6_NET: return length == 17;
    case CMD_ARG_MAC: return length == 6;
    case CMD_ARG_BOOL: return length == 1;
    default: return false;
    }
}

int cmd_value_read(const uint8_t **bytes, size_t *left, cmd_value *out) {
    if (*left == 0) return ENOENT;
    const uint8_t *head = *bytes;
    if (*left < CMD_VALUE_HEAD) return EBADMSG;
    const uint8_t key_length = head[1];
    const uint16_t length = read_u16(head + 2);
    const size_t size = size_t{CMD_VALUE_HEAD} + key_length + length;
    if (size > *left || !value_length_good(head[0], length)) return EBADMSG;
    out->type = static_cast<cmd_arg_type>(head[0]);
    out->key = reinterpret_cast<const char *>(head + CMD_VALUE_HEAD);
    out->key_length = key_length;
    out->data = head + CMD_VALUE_HEAD + key_length;
    out->length = length;
    *bytes += size;
    *left -= size;
    return 0;
}
