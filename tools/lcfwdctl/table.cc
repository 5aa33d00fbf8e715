#include "tools/lcfwdctl/table.h"

#include "tools/lcfwdctl/ctl.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

ctl_cell ctl_cell::decimal(double value, int places) {
    char text[64];
    snprintf(text, sizeof text, "%.*f", places, value);
    ctl_cell cell(text);
    cell.number = true;
    return cell;
}

std::string ctl_json_text(const std::string &text) {
    std::string out = "\"";
    for (char byte : text) {
        char escape[8];
        if (byte == '"' || byte == '\\')
            out += {'\\', byte};
        else if (static_cast<unsigned char>(byte) >= 0x20)
            out += byte;
        else {
            snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(byte));
            out += escape;
        }
    }
    return out + "\"";
}

static void print_json(const ctl_table &table) {
    printf("[");
    for (size_t r = 0; r < table.rows.size(); r++) {
        printf("%s\n  {", r == 0 ? "" : ",");
        for (size_t c = 0; c < table.columns.size(); c++) {
            const ctl_cell &cell = table.rows[r][c];
            printf("%s%s: %s", c == 0 ? "" : ", ", ctl_json_text(table.columns[c]).c_str(),
                   cell.number ? cell.text.c_str() : ctl_json_text(cell.text).c_str());
        }
        printf("}");
    }
    printf("%s]\n", table.rows.empty() ? "" : "\n");
}

static void print_text(const ctl_table &table) {
    std::vector<size_t> widths;
    for (size_t c = 0; c < table.columns.size(); c++) {
        size_t width = strlen(table.columns[c]);
        for (const auto &row : table.rows) width = std::max(width, row[c].text.size());
        widths.push_back(width);
    }
    const auto print_cell = [&](size_t c, const char *text, bool right) {
        const bool last = c + 1 == widths.size();
        const auto width = static_cast<int>(last && !right ? 0 : widths[c]);
        printf(right ? "%*s%s" : "%-*s%s", width, text, last ? "\n" : "  ");
    };
    for (size_t c = 0; c < table.columns.size(); c++)
        print_cell(c, table.columns[c], !table.rows.empty() && table.rows[0][c].number);
    for (const auto &row : table.rows)
        for (size_t c = 0; c < row.size(); c++) print_cell(c, row[c].text.c_str(), row[c].number);
}

void ctl_table_print(const ctl_table &table) {
    if (ctl.json)
        print_json(table);
    else
        print_text(table);
}

std::string ctl_grouped(uint64_t value) {
    const std::string digits = std::to_string(value);
    std::string text;
    for (size_t i = 0; i < digits.size(); i++) {
        if (i != 0 && (digits.size() - i) % 3 == 0) text.push_back(',');
        text.push_back(digits[i]);
    }
    return text;
}

std::string ctl_hex(const uint8_t *bytes, size_t size) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (size_t i = 0; i < size; i++) out += {digits[bytes[i] >> 4], digits[bytes[i] & 15]};
    return out;
}

static int hex_digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

bool ctl_hex_parse(const std::string &text, std::vector<uint8_t> *out) {
    std::vector<uint8_t> bytes;
    for (size_t at = 0; at < text.size();) {
        if (text[at] == '#') {
            at = std::min(text.find('\n', at), text.size());
        } else if (strchr(" \t\r\n:", text[at]) != nullptr) {
            at++;
        } else {
            const int high = hex_digit(text[at]), low = at + 1 < text.size() ? hex_digit(text[at + 1]) : -1;
            if (high < 0 || low < 0) return false;
            bytes.push_back(static_cast<uint8_t>(high << 4 | low));
            at += 2;
        }
    }
    *out = bytes;
    return true;
}
