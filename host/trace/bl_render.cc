#include "host/trace/bl_file.h"
#include "host/trace/bl_reader.h"

#include <arpa/inet.h>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>

/* Text under construction; what does not fit is left out. */
struct bl_text {
    char *bytes;
    size_t size;
    size_t used;
};

static void put(bl_text *text, const char *bytes, size_t length) {
    const size_t room = text->size - 1 - text->used;
    if (length > room) length = room;
    std::memcpy(text->bytes + text->used, bytes, length);
    text->used += length;
}

static void __attribute__((format(printf, 2, 3))) print(bl_text *text, const char *format, ...) {
    char bytes[128];
    va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(bytes, sizeof bytes, format, args);
    va_end(args);
    if (length > 0) put(text, bytes, std::strlen(bytes));
}

/* An argument as it lies in a record. */
struct stored_arg {
    uint8_t type;
    uint8_t length;
    const uint8_t *data;
};

struct arg_cursor {
    const uint8_t *next;
    size_t left;
};

static bool take_arg(arg_cursor *cursor, stored_arg *out) {
    if (cursor->left < 2 || cursor->left - 2 < cursor->next[1]) return false;
    *out = {cursor->next[0], cursor->next[1], cursor->next + 2};
    cursor->next += 2u + out->length;
    cursor->left -= 2u + out->length;
    return true;
}

enum class style { plain, hex, real, mask };

static void print_number(bl_text *text, const stored_arg *arg, style how) {
    uint64_t number = 0;
    std::memcpy(&number, arg->data, arg->length);
    if (how == style::hex)
        print(text, "0x%" PRIx64, number);
    else if (how == style::real)
        print(text, "%.3f", static_cast<double>(number));
    else
        print(text, "%" PRIu64, number);
}

static void print_address(bl_text *text, const stored_arg *arg, style how) {
    char name[INET6_ADDRSTRLEN] = "?";
    inet_ntop(arg->length == BL_IPV4_BYTES ? AF_INET : AF_INET6, arg->data + 2, name, sizeof name);
    print(text, "%s", name);
    if (how == style::mask) print(text, "/%u", arg->data[1]);
}

/* Every style takes every type; bytes that are not what their type promises are shown as "?". */
static void print_arg(bl_text *text, const stored_arg *arg, style how) {
    if (arg->type == BL_ARG_TEXT) {
        put(text, reinterpret_cast<const char *>(arg->data), arg->length);
    } else if ((arg->type == BL_ARG_U32 && arg->length == 4) ||
               (arg->type == BL_ARG_U64 && arg->length == 8)) {
        print_number(text, arg, how);
    } else if (arg->type == BL_ARG_FLOAT && arg->length == 8) {
        double real;
        std::memcpy(&real, arg->data, sizeof real);
        print(text, "%.3f", real);
    } else if (arg->type == BL_ARG_ADDRESS &&
               (arg->length == BL_IPV4_BYTES || arg->length == BL_IPV6_BYTES)) {
        print_address(text, arg, how);
    } else {
        put(text, "?", 1);
    }
}

struct placeholder {
    const char *text;
    style how;
};

static constexpr placeholder placeholders[] = {
    {"$s$", style::plain},        {"$i32$", style::plain},  {"$i32x$", style::hex},
    {"$i64$", style::plain},      {"$i64x$", style::hex},   {"$float$", style::real},
    {"$ipv4&mask$", style::mask}, {"$ipv4$", style::plain}, {"$ipv6&mask$", style::mask},
    {"$ipv6$", style::plain},
};

static const placeholder *placeholder_at(const char *format) {
    for (const placeholder &row : placeholders)
        if (std::strncmp(format, row.text, std::strlen(row.text)) == 0) return &row;
    return nullptr;
}

static void render_format(bl_text *text, const char *format, arg_cursor *args) {
    while (*format != '\0') {
        const placeholder *row = *format == '$' ? placeholder_at(format) : nullptr;
        if (row == nullptr) {
            put(text, format++, 1);
            continue;
        }
        stored_arg arg;
        if (take_arg(args, &arg))
            print_arg(text, &arg, row->how);
        else
            put(text, "?", 1);
        format += std::strlen(row->text);
    }
}

size_t bl_render(const char *format, const bl_record *record, char *out, size_t out_size) {
    if (out_size == 0) return 0;
    bl_text text{out, out_size, 0};
    arg_cursor args{record->args, record->size};
    if (*format == '\0')
        print(&text, "event %u", record->event);
    else
        render_format(&text, format, &args);
    for (stored_arg arg; take_arg(&args, &arg);) {
        put(&text, " ", 1);
        print_arg(&text, &arg, style::mask);
    }
    if (record->cut) put(&text, " ...", 4);
    out[text.used] = '\0';
    return text.used;
}
