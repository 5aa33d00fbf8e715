/* host/command/command.h: operators' commands as a process sees them: a request with a number, attributes and
 * maybe a cookie; output in typed pieces; one terminal answer. The bytes stand in command_wire.h, the
 * rendering of the output as text or as JSON in command_render.h.
 *
 * A handle is the service's own; it is good until the next cmd_req_handle_get(). Output is collected in a
 * fixed buffer that goes to the client, as a part of the answer, whenever it is full: output has no limit and
 * needs no allocation. One thread, one request at a time. */
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>

struct mts_msg;
struct cmd_handle;

inline constexpr uint32_t CMD_COOKIE_MAX = 1024;
inline constexpr uint32_t CMD_PIECE_ARGS_MAX = 32;

/* ---- start ---- */
/* The queue on which requests arrive and from which answers leave. 0, or the status of cmd_fail_next_init().
 */
[[nodiscard]] int cmd_backend_init(uint32_t queue);
void cmd_fail_next_init(int status);
void cmd_reset(); /* process teardown */

/* Notes the bounds of an integer that the command parser takes for 'token' (cut at 31 bytes; 32 tokens). */
void cli_set_dynamic_integer_range(const char *token, uint32_t low, uint32_t high);
/* 0, or ENOENT when no bounds were set for 'token'. */
[[nodiscard]] int cli_get_dynamic_integer_range(const char *token, uint32_t *low, uint32_t *high);

/* ---- request ---- */
/* Takes the request out of a message and starts its output anew. 0, or EBADMSG when the message is shorter
 * than it says ('*out' is null; the sender's request is rejected by the caller or stays unanswered). */
[[nodiscard]] int cmd_req_handle_get(mts_msg *message, cmd_handle **out);
[[nodiscard]] uint32_t cmd_req_vdc_get(const cmd_handle *handle);
[[nodiscard]] bool cmd_req_action_is_get(const cmd_handle *handle); /* show, not set or clear */

/* The number of the command, once; 0 from the second call on. */
[[nodiscard]] uint32_t cmd_req_cmdId_getnext(cmd_handle *handle);

/* An attribute; 'data' lies in the request. */
struct cmd_attr {
    uint16_t type;
    uint16_t length;
    const uint8_t *data;
};
/* Attributes in the order of the request. 0; ENOENT at the end; EBADMSG when the rest lies. */
[[nodiscard]] int cmd_req_attr_getnext(cmd_handle *handle, cmd_attr *out);
void cmd_req_attr_rewind(cmd_handle *handle); /* the next one is the first again */
/* The number in an attribute of 1, 2, 4 or 8 bytes (big-endian). 0 or EBADMSG. */
[[nodiscard]] int cmd_attr_number(const cmd_attr *attr, uint64_t *out);

/* The VRF that the request names; "default" when it names none. Always NUL-terminated, cut at 'size'. */
void cmd_req_route_context_get(const cmd_handle *handle, char *name, size_t size);

/* The cookie that the answer before gave, or null and a length of 0. It lies in the request. */
[[nodiscard]] const void *cmd_req_cookie_get(const cmd_handle *handle, uint32_t *length);

/* ---- terminal answers: exactly one for a request; a second one is dropped and counted. 0, or -1 when the
 * bus refused the answer. ---- */
int cmd_rep_send_ok(cmd_handle *handle);
int cmd_rsp_send_ok(cmd_handle *handle); /* another name for it */
/* Refused; output that has not left yet is dropped, the reason stands alone. */
int cmd_rep_send_nok(cmd_handle *handle, int code, const char *text);
int cmd_prt_send(cmd_handle *handle); /* the output is complete */
/* There is more: the client asks again with these bytes. EINVAL for more than CMD_COOKIE_MAX. */
int cmd_prt_send_cookie(cmd_handle *handle, const void *cookie, uint32_t length);
int cmd_prt_send_nok(cmd_handle *handle, int code, const char *format, ...)
    __attribute__((format(printf, 3, 4)));

/* ---- output ---- */
enum cmd_arg_type : uint8_t {
    CMD_ARG_TEXT = 1,
    CMD_ARG_U32 = 2,
    CMD_ARG_U64 = 3,
    CMD_ARG_I64 = 4,
    CMD_ARG_IPV4 = 5,     /* 4 bytes, network order */
    CMD_ARG_IPV6 = 6,     /* 16 bytes */
    CMD_ARG_IPV4_NET = 7, /* 4 bytes and the mask length */
    CMD_ARG_IPV6_NET = 8, /* 16 bytes and the mask length */
    CMD_ARG_MAC = 9,      /* 6 bytes */
    CMD_ARG_BOOL = 10,    /* 1 byte */
    CMD_ARG_DOUBLE = 11,  /* 8 bytes, IEEE 754, big-endian */
};

/* One value of a piece, with the key that it has in JSON (null: made from the text before it). The data are
 * borrowed for the call that prints them. */
struct cmd_arg {
    cmd_arg_type type;
    uint8_t length;     /* of 'data' in use; not for texts */
    uint16_t text_size; /* of 'text' */
    const char *key;
    const char *text;
    uint8_t data[17];
};

/* Wraps 'length' bytes at 'data' (texts: any length up to 65535; others: numbers in host order, addresses in
 * network order, with the size of their type). 0 or EINVAL when the length is not that of the type. */
[[nodiscard]] int cmd_prt_arg_make(cmd_arg *out, cmd_arg_type type, const void *data, size_t length);

[[nodiscard]] cmd_arg cmd_text(const char *text, const char *key = nullptr);
[[nodiscard]] cmd_arg cmd_u32(uint32_t value, const char *key = nullptr);
[[nodiscard]] cmd_arg cmd_u64(uint64_t value, const char *key = nullptr);
[[nodiscard]] cmd_arg cmd_i64(int64_t value, const char *key = nullptr);
[[nodiscard]] cmd_arg cmd_bool(bool value, const char *key = nullptr);
[[nodiscard]] cmd_arg cmd_double(double value, const char *key = nullptr);
[[nodiscard]] cmd_arg cmd_ipv4(uint32_t host_order, const char *key = nullptr);
[[nodiscard]] cmd_arg cmd_ipv4_net(uint32_t host_order, uint8_t mask, const char *key = nullptr);
[[nodiscard]] cmd_arg cmd_ipv6(const void *bytes16, const char *key = nullptr);
[[nodiscard]] cmd_arg cmd_ipv6_net(const void *bytes16, uint8_t mask, const char *key = nullptr);
[[nodiscard]] cmd_arg cmd_mac(const uint8_t mac[6], const char *key = nullptr);

/* Adds a piece: a printf-like format whose conversions (%s %d %i %u %x %X %o %c %f, with flags, width,
 * precision and length letters) take the values in turn; %s takes every type in its own form. 0; EINVAL for
 * more than CMD_PIECE_ARGS_MAX values or a piece that no buffer holds (nothing is added); -1 when a part
 * could not be sent. */
int cmd_prt_args(cmd_handle *handle, const char *format, const cmd_arg *args, uint32_t count);

template <class... types>
requires(std::same_as<types, cmd_arg> &&...) inline int cmd_prt(cmd_handle *handle, const char *format,
                                                                const types &...values) {
    if constexpr (sizeof...(values) == 0) {
        return cmd_prt_args(handle, format, nullptr, 0);
    } else {
        const cmd_arg args[] = {values...};
        return cmd_prt_args(handle, format, args, sizeof...(values));
    }
}

/* Adds text that only people want: heads of columns, ruled lines. JSON leaves it out. */
int cmd_prt_decoration(cmd_handle *handle, const char *text);

/* Structure for JSON, nothing in text: a list of rows in the present object, a row of it, and an object with
 * a name. A list that the continuation of an answer begins again under the same name goes on. */
int cmd_prt_list_begin(cmd_handle *handle, const char *name);
int cmd_prt_list_end(cmd_handle *handle);
int cmd_prt_row_begin(cmd_handle *handle);
int cmd_prt_row_end(cmd_handle *handle);
int cmd_prt_object_begin(cmd_handle *handle, const char *name);
int cmd_prt_object_end(cmd_handle *handle);

struct cmd_counters {
    uint64_t requests; /* one that is taken again before it is answered counts once */
    uint64_t bad_requests;
    uint64_t answers;        /* terminal ones that the bus took */
    uint64_t parts;          /* parts of answers */
    uint64_t second_answers; /* dropped, a terminal answer was already given */
    uint64_t send_failures;
};
[[nodiscard]] const cmd_counters *cmd_counters_get();
