#include "host/command/command_state.h"

#include <cerrno>
#include <cstring>

/* Bytes kept free of prints, so that the ends of all that is open always fit. */
static constexpr uint32_t ENDS_ROOM = CMD_DEPTH_MAX * CMD_PIECE_HEAD;

static uint8_t *put_bytes(uint8_t *to, const void *bytes, size_t length) {
    if (length != 0) std::memcpy(to, bytes, length);
    return to + length;
}

static uint8_t *put_u16(uint8_t *to, size_t number) {
    to[0] = static_cast<uint8_t>(number >> 8);
    to[1] = static_cast<uint8_t>(number);
    return to + 2;
}

static size_t key_length(const cmd_arg *arg) {
    return arg->key == nullptr ? 0 : strnlen(arg->key, UINT8_MAX);
}
static size_t data_length(const cmd_arg *arg) {
    return arg->type == CMD_ARG_TEXT ? arg->text_size : arg->length;
}

static uint8_t *put_value(uint8_t *to, const cmd_arg *arg) {
    *to++ = arg->type;
    *to++ = static_cast<uint8_t>(key_length(arg));
    to = put_u16(to, data_length(arg));
    to = put_bytes(to, arg->key, key_length(arg));
    if (arg->type == CMD_ARG_TEXT) return put_bytes(to, arg->text, arg->text_size);
    return put_bytes(to, arg->data, arg->length);
}

static void put_piece(cmd_handle *handle, cmd_piece_kind kind, const char *text, size_t text_length,
                      const cmd_arg *args, uint32_t count, size_t size) {
    uint8_t *to = handle->out + CMD_PIECES_AT + handle->used;
    *to++ = kind;
    *to++ = static_cast<uint8_t>(count);
    to = put_u16(to, size);
    to = put_u16(to, text_length);
    to = put_bytes(to, text, text_length);
    for (uint32_t i = 0; i < count; i++) to = put_value(to, &args[i]);
    handle->used += static_cast<uint32_t>(size);
}

/* Adds a piece; a full buffer leaves as a part of the answer first. */
static int add_piece(cmd_handle *handle, cmd_piece_kind kind, const char *text, const cmd_arg *args,
                     uint32_t count) {
    if (handle->answered) return -1;
    const size_t text_length = std::strlen(text);
    size_t size = CMD_PIECE_HEAD + text_length;
    for (uint32_t i = 0; i < count; i++)
        size += CMD_VALUE_HEAD + key_length(&args[i]) + data_length(&args[i]);
    if (size > CMD_PIECES_MAX - ENDS_ROOM) return EINVAL;
    int status = 0;
    if (size > CMD_PIECES_MAX - ENDS_ROOM - handle->used)
        status = cmd_send(handle, CMD_ANSWER_PART, 0, nullptr, 0);
    put_piece(handle, kind, text, text_length, args, count, size);
    return status;
}

int cmd_prt_args(cmd_handle *handle, const char *format, const cmd_arg *args, uint32_t count) {
    if (count > CMD_PIECE_ARGS_MAX) return EINVAL;
    return add_piece(handle, CMD_PIECE_PRINT, format, args, count);
}

int cmd_prt_decoration(cmd_handle *handle, const char *text) {
    return add_piece(handle, CMD_PIECE_DECORATION, text, nullptr, 0);
}

static int begin(cmd_handle *handle, cmd_piece_kind kind, cmd_piece_kind end, const char *name) {
    if (handle->depth == CMD_DEPTH_MAX) return EINVAL;
    const int status = add_piece(handle, kind, name, nullptr, 0);
    if (status == EINVAL || handle->answered) return status;
    handle->ends[handle->depth++] = end;
    return status;
}

static int end(cmd_handle *handle, cmd_piece_kind kind) {
    if (handle->depth == 0 || handle->ends[handle->depth - 1] != kind) return EINVAL;
    handle->depth--;
    return add_piece(handle, kind, "", nullptr, 0);
}

int cmd_prt_list_begin(cmd_handle *handle, const char *name) {
    return begin(handle, CMD_PIECE_LIST_BEGIN, CMD_PIECE_LIST_END, name);
}
int cmd_prt_list_end(cmd_handle *handle) { return end(handle, CMD_PIECE_LIST_END); }

int cmd_prt_row_begin(cmd_handle *handle) {
    return begin(handle, CMD_PIECE_ROW_BEGIN, CMD_PIECE_ROW_END, "");
}
int cmd_prt_row_end(cmd_handle *handle) { return end(handle, CMD_PIECE_ROW_END); }

int cmd_prt_object_begin(cmd_handle *handle, const char *name) {
    return begin(handle, CMD_PIECE_OBJECT_BEGIN, CMD_PIECE_OBJECT_END, name);
}
int cmd_prt_object_end(cmd_handle *handle) { return end(handle, CMD_PIECE_OBJECT_END); }

void cmd_close_open(cmd_handle *handle) {
    while (handle->depth != 0)
        put_piece(handle, handle->ends[--handle->depth], "", 0, nullptr, 0, CMD_PIECE_HEAD);
}
