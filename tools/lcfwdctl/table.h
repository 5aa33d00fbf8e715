/* tools/lcfwdctl/table.h: output that is a table: aligned text, or with --json an array of objects. */
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

/* A cell: a text or a number. Numbers are aligned to the right and stand bare in JSON. */
struct ctl_cell {
    std::string text;
    bool number = false;

    ctl_cell(std::string value) : text(std::move(value)) {}
    ctl_cell(const char *value) : text(value) {}
    ctl_cell(uint64_t value) : text(std::to_string(value)), number(true) {}
    ctl_cell(uint32_t value) : ctl_cell(static_cast<uint64_t>(value)) {}
    ctl_cell(bool value) : text(value ? "yes" : "no") {}
    static ctl_cell decimal(double value, int places);
};

struct ctl_table {
    std::vector<const char *> columns; /* also the keys of the objects */
    std::vector<std::vector<ctl_cell>> rows;
};

/* Prints the whole table; an empty one prints its columns, or [] in JSON. */
void ctl_table_print(const ctl_table &table);

/* Text in quotes with everything escaped that JSON wants escaped. */
[[nodiscard]] std::string ctl_json_text(const std::string &text);

/* 1234567 as "1,234,567". */
[[nodiscard]] std::string ctl_grouped(uint64_t value);

/* Bytes as hex digits, and back: blanks, line ends and ':' between pairs are skipped, '#' starts a comment. False: no
 * hex text. */
[[nodiscard]] std::string ctl_hex(const uint8_t *bytes, size_t size);
[[nodiscard]] bool ctl_hex_parse(const std::string &text, std::vector<uint8_t> *out);
