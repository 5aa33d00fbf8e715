/* Values of output pieces: made here, already in the byte order of the wire. */
#include "host/command/command.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>

static void put_number(cmd_arg *arg, uint64_t number, uint8_t length) {
    arg->length = length;
    for (size_t i = length; i-- > 0; number >>= 8) arg->data[i] = static_cast<uint8_t>(number);
}

static cmd_arg arg_number(cmd_arg_type type, uint64_t number, uint8_t length, const char *key) {
    cmd_arg arg{};
    arg.type = type;
    arg.key = key;
    put_number(&arg, number, length);
    return arg;
}

static cmd_arg arg_bytes(cmd_arg_type type, const void *bytes, uint8_t length, const char *key) {
    cmd_arg arg{};
    arg.type = type;
    arg.key = key;
    arg.length = length;
    std::memcpy(arg.data, bytes, length);
    return arg;
}

cmd_arg cmd_text(const char *text, const char *key) {
    cmd_arg arg{};
    arg.type = CMD_ARG_TEXT;
    arg.key = key;
    arg.text = text == nullptr ? "" : text;
    arg.text_size = static_cast<uint16_t>(std::min<size_t>(std::strlen(arg.text), UINT16_MAX));
    return arg;
}

cmd_arg cmd_u32(uint32_t value, const char *key) { return arg_number(CMD_ARG_U32, value, 4, key); }
cmd_arg cmd_u64(uint64_t value, const char *key) { return arg_number(CMD_ARG_U64, value, 8, key); }
cmd_arg cmd_bool(bool value, const char *key) { return arg_number(CMD_ARG_BOOL, value ? 1 : 0, 1, key); }

cmd_arg cmd_i64(int64_t value, const char *key) {
    return arg_number(CMD_ARG_I64, static_cast<uint64_t>(value), 8, key);
}

cmd_arg cmd_double(double value, const char *key) {
    return arg_number(CMD_ARG_DOUBLE, std::bit_cast<uint64_t>(value), 8, key);
}

cmd_arg cmd_ipv4(uint32_t host_order, const char *key) {
    return arg_number(CMD_ARG_IPV4, host_order, 4, key);
}

cmd_arg cmd_ipv4_net(uint32_t host_order, uint8_t mask, const char *key) {
    return arg_number(CMD_ARG_IPV4_NET, uint64_t{host_order} << 8 | mask, 5, key);
}

cmd_arg cmd_ipv6(const void *bytes16, const char *key) { return arg_bytes(CMD_ARG_IPV6, bytes16, 16, key); }

cmd_arg cmd_ipv6_net(const void *bytes16, uint8_t mask, const char *key) {
    cmd_arg arg = arg_bytes(CMD_ARG_IPV6_NET, bytes16, 16, key);
    arg.data[16] = mask;
    arg.length = 17;
    return arg;
}

cmd_arg cmd_mac(const uint8_t mac[6], const char *key) { return arg_bytes(CMD_ARG_MAC, mac, 6, key); }

template <typename number> static number number_at(const void *data) {
    number value;
    std::memcpy(&value, data, sizeof value);
    return value;
}

/* 0 for a type without a fixed size. */
static size_t size_of_type(cmd_arg_type type) {
    switch (type) {
    case CMD_ARG_U32:
    case CMD_ARG_IPV4: return 4;
    case CMD_ARG_U64:
    case CMD_ARG_I64:
    case CMD_ARG_DOUBLE: return 8;
    case CMD_ARG_IPV6: return 16;
    case CMD_ARG_IPV4_NET: return 5;
    case CMD_ARG_IPV6_NET: return 17;
    case CMD_ARG_MAC: return 6;
    case CMD_ARG_BOOL: return 1;
    default: return 0;
    }
}

int cmd_prt_arg_make(cmd_arg *out, cmd_arg_type type, const void *data, size_t length) {
    if (type == CMD_ARG_TEXT) {
        if (length > UINT16_MAX) return EINVAL;
        *out = {};
        out->type = type;
        out->text = static_cast<const char *>(data);
        out->text_size = static_cast<uint16_t>(length);
        return 0;
    }
    if (length == 0 || length != size_of_type(type)) return EINVAL;
    if (type == CMD_ARG_U32)
        *out = cmd_u32(number_at<uint32_t>(data));
    else if (type == CMD_ARG_U64 || type == CMD_ARG_I64 || type == CMD_ARG_DOUBLE)
        *out = arg_number(type, number_at<uint64_t>(data), 8, nullptr);
    else
        *out = arg_bytes(type, data, static_cast<uint8_t>(length), nullptr);
    return 0;
}
