#include "host/command/print_format.h"

#include <algorithm>
#include <arpa/inet.h>
#include <bit>
#include <cinttypes>
#include <cstdio>
#include <cstring>

/* ---- taking a format apart ---- */

static int take_number(std::string_view *text, int most) {
    int number = 0;
    while (!text->empty() && text->front() >= '0' && text->front() <= '9') {
        if (number <= most) number = number * 10 + (text->front() - '0');
        text->remove_prefix(1);
    }
    return number > most ? most : number;
}

/* Reads a conversion behind its '%'. False: this is none, and 'text' is left as it was. */
static bool take_conversion(std::string_view *text, format_part *out) {
    std::string_view rest = *text;
    size_t flags = 0;
    while (!rest.empty() && std::strchr("-+ #0", rest.front()) != nullptr && flags + 1 < sizeof out->flags) {
        out->flags[flags++] = rest.front();
        rest.remove_prefix(1);
    }
    out->flags[flags] = '\0';
    out->width = take_number(&rest, FORMAT_WIDTH_MAX);
    out->precision = -1;
    if (!rest.empty() && rest.front() == '.') {
        rest.remove_prefix(1);
        out->precision = take_number(&rest, FORMAT_WIDTH_MAX);
    }
    while (!rest.empty() && (rest.front() == 'l' || rest.front() == 'h' || rest.front() == 'z'))
        rest.remove_prefix(1);
    if (rest.empty() || std::string_view("diuxXocfs").find(rest.front()) == std::string_view::npos)
        return false;
    out->letter = rest.front();
    rest.remove_prefix(1);
    *text = rest;
    return true;
}

bool format_next(std::string_view *format, format_part *out) {
    if (format->empty()) return false;
    *out = {};
    const char *begin = format->data();
    while (!format->empty()) {
        const size_t percent = format->find('%');
        if (percent == std::string_view::npos) {
            format->remove_prefix(format->size());
            break;
        }
        format->remove_prefix(percent + 1);
        const auto literal = static_cast<size_t>(format->data() - 1 - begin);
        if (!format->empty() && format->front() == '%') {
            format->remove_prefix(1);
        } else if (take_conversion(format, out)) {
            out->literal = {begin, literal};
            out->conversion = true;
            return true;
        }
    }
    out->literal = {begin, static_cast<size_t>(format->data() - begin)};
    return true;
}

void format_literal(std::string_view literal, std::string *out) {
    for (size_t i = 0; i < literal.size(); i++) {
        out->push_back(literal[i]);
        if (literal[i] == '%' && i + 1 < literal.size() && literal[i + 1] == '%') i++;
    }
}

/* ---- values ---- */

static uint64_t read_number(const uint8_t *bytes, size_t length) {
    uint64_t number = 0;
    for (size_t i = 0; i < length; i++) number = number << 8 | bytes[i];
    return number;
}

bool value_is_number(const cmd_value *value) {
    return value->type == CMD_ARG_U32 || value->type == CMD_ARG_U64 || value->type == CMD_ARG_I64;
}

uint64_t value_number(const cmd_value *value) { return read_number(value->data, value->length); }
double value_double(const cmd_value *value) { return std::bit_cast<double>(read_number(value->data, 8)); }

static std::string address_text(int family, const uint8_t *bytes) {
    char text[INET6_ADDRSTRLEN] = "";
    inet_ntop(family, bytes, text, sizeof text);
    return text;
}

static std::string mac_text(const uint8_t *mac) {
    char text[18];
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2], mac[3], mac[4],
                  mac[5]);
    return text;
}

static std::string double_text(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.15g", value);
    return text;
}

std::string value_text(const cmd_value *value) {
    switch (value->type) {
    case CMD_ARG_TEXT: return {reinterpret_cast<const char *>(value->data), value->length};
    case CMD_ARG_U32:
    case CMD_ARG_U64: return std::to_string(value_number(value));
    case CMD_ARG_I64: return std::to_string(static_cast<int64_t>(value_number(value)));
    case CMD_ARG_IPV4: return address_text(AF_INET, value->data);
    case CMD_ARG_IPV6: return address_text(AF_INET6, value->data);
    case CMD_ARG_IPV4_NET: return address_text(AF_INET, value->data) + "/" + std::to_string(value->data[4]);
    case CMD_ARG_IPV6_NET: return address_text(AF_INET6, value->data) + "/" + std::to_string(value->data[16]);
    case CMD_ARG_MAC: return mac_text(value->data);
    case CMD_ARG_BOOL: return value->data[0] != 0 ? "yes" : "no";
    case CMD_ARG_DOUBLE: return double_text(value_double(value));
    }
    return "";
}

static void pad(const format_part *part, std::string text, std::string *out) {
    const auto width = static_cast<size_t>(part->width);
    const bool left = std::strchr(part->flags, '-') != nullptr;
    if (text.size() < width) text.insert(left ? text.size() : 0, width - text.size(), ' ');
    *out += text;
}

/* The checked parts make a format of our own; the flags fit it, there are at most five. */
static void format_number(const format_part *part, const cmd_value *value, std::string *out) {
    char format[64], text[FORMAT_WIDTH_MAX * 2 + 80];
    char precision[16] = "";
    if (part->precision >= 0) std::snprintf(precision, sizeof precision, ".%d", part->precision);
    const bool plain = part->letter == 'd' || part->letter == 'i';
    const char letter[2] = {plain && value->type != CMD_ARG_I64 ? 'u' : part->letter, '\0'};
    const bool is_double = part->letter == 'f';
    std::snprintf(format, sizeof format, "%%%s%.0d%s%s%s", part->flags, part->width, precision,
                  is_double ? "" : "l", letter);
    if (is_double)
        std::snprintf(text, sizeof text, format, value_double(value));
    else
        std::snprintf(text, sizeof text, format, value_number(value));
    *out += text;
}

void format_value(const format_part *part, const cmd_value *value, std::string *out) {
    const bool number = value_is_number(value) || value->type == CMD_ARG_BOOL;
    const bool integer_letter = part->letter != 's' && part->letter != 'f' && part->letter != 'c';
    if ((number && integer_letter) || (value->type == CMD_ARG_DOUBLE && part->letter == 'f')) {
        format_number(part, value, out);
        return;
    }
    std::string text = value_text(value);
    if (number && part->letter == 'c') text = std::string(1, static_cast<char>(value_number(value)));
    if (value->type == CMD_ARG_TEXT && part->precision >= 0)
        text.resize(std::min(text.size(), static_cast<size_t>(part->precision)));
    pad(part, text, out);
}
