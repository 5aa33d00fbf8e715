/* host/command/print_format.h: printf-like formats that arrive in messages, taken apart. They are never given
 * to printf: each conversion is rebuilt from checked parts. Inside host/command only. */
#pragma once

#include "host/command/command_wire.h"

#include <string>
#include <string_view>

/* A piece of a format: literal text, and the conversion behind it if there is one. */
struct format_part {
    std::string_view literal; /* "%%" is left as it is, see format_literal() */
    bool conversion;
    char flags[6]; /* of "-+ #0", NUL-terminated */
    int width;     /* 0: none; at most FORMAT_WIDTH_MAX */
    int precision; /* -1: none */
    char letter;   /* d i u x X o c f s */
};
inline constexpr int FORMAT_WIDTH_MAX = 512;

/* Takes the next part off 'format'. False when nothing is left. */
[[nodiscard]] bool format_next(std::string_view *format, format_part *out);

/* Adds literal text with "%%" made "%". */
void format_literal(std::string_view literal, std::string *out);

/* Adds a value in the form that the conversion asks for; a type that does not fit the letter takes its own
 * form. */
void format_value(const format_part *part, const cmd_value *value, std::string *out);

/* A value in its own form. */
[[nodiscard]] std::string value_text(const cmd_value *value);
[[nodiscard]] bool value_is_number(const cmd_value *value);  /* U32, U64, I64 */
[[nodiscard]] uint64_t value_number(const cmd_value *value); /* of numbers and truth values */
[[nodiscard]] double value_double(const cmd_value *value);
