#include "host/command/command_json.h"

#include "host/command/command_render.h"
#include "host/command/print_format.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>

static constexpr size_t JSON_DEPTH_MAX = 64;

/* ---- strings ---- */

/* The length of the UTF-8 character at 'text', or 0 when it is none. */
static size_t utf8_length(const unsigned char *text, size_t size) {
    const unsigned char first = text[0];
    if (first < 0x80) return 1;
    const size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    if (first < 0xc2 || first > 0xf4 || length > size) return 0;
    for (size_t i = 1; i < length; i++)
        if ((text[i] & 0xc0) != 0x80) return 0;
    const bool overlong = (first == 0xe0 && text[1] < 0xa0) || (first == 0xf0 && text[1] < 0x90);
    const bool surrogate = first == 0xed && text[1] > 0x9f;
    const bool too_large = first == 0xf4 && text[1] > 0x8f;
    return overlong || surrogate || too_large ? 0 : length;
}

static void put_ascii(char c, std::string *out) {
    if (c == '"' || c == '\\') {
        out->push_back('\\');
        out->push_back(c);
    } else if (c == '\n') {
        *out += "\\n";
    } else if (c == '\t') {
        *out += "\\t";
    } else if (c == '\r') {
        *out += "\\r";
    } else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
        *out += escape;
    } else {
        out->push_back(c);
    }
}

void cmd_render_json_string(const char *text, size_t size, std::string *out) {
    out->push_back('"');
    for (size_t i = 0; i < size;) {
        const size_t length = utf8_length(reinterpret_cast<const unsigned char *>(text) + i, size - i);
        if (length == 0)
            *out += "\xef\xbf\xbd";
        else if (length == 1)
            put_ascii(text[i], out);
        else
            out->append(text + i, length);
        i += length == 0 ? 1 : length;
    }
    out->push_back('"');
}

static void put_string(std::string_view text, std::string *out) {
    cmd_render_json_string(text.data(), text.size(), out);
}

static void put_value(const cmd_value *value, std::string *out) {
    if (value_is_number(value))
        *out += value_text(value);
    else if (value->type == CMD_ARG_BOOL)
        *out += value->data[0] != 0 ? "true" : "false";
    else if (value->type == CMD_ARG_DOUBLE && std::isfinite(value_double(value)))
        *out += value_text(value);
    else if (value->type == CMD_ARG_DOUBLE)
        *out += "null";
    else
        put_string(value_text(value), out);
}

/* ---- structure ---- */

static void end_late(json_writer *writer) {
    json_frame *top = &writer->frames.back();
    if (top->late_end) *writer->out += ']';
    top->late_end = false;
}

static void put_comma(json_writer *writer) {
    end_late(writer);
    json_frame *top = &writer->frames.back();
    if (!top->empty) *writer->out += ',';
    top->empty = false;
}

/* Writes the key of a new member, made different from those that the object has. */
static void put_key(json_writer *writer, const std::string &wanted) {
    put_comma(writer);
    auto &keys = writer->frames.back().keys;
    std::string key = wanted;
    while (!keys.emplace(key, 2).second) key = wanted + "_" + std::to_string(keys[wanted]++);
    put_string(key, writer->out);
    *writer->out += ':';
}

static void push(json_writer *writer, bool list) {
    *writer->out += list ? '[' : '{';
    json_frame frame{};
    frame.list = list;
    frame.empty = true;
    writer->frames.push_back(std::move(frame));
}

static void put_texts(json_writer *writer) {
    json_frame *top = &writer->frames.back();
    if (top->texts.empty()) return;
    const std::vector<std::string> texts = std::move(top->texts);
    top->texts.clear();
    put_key(writer, "text");
    char before = '[';
    for (const std::string &text : texts) {
        *writer->out += before;
        put_string(text, writer->out);
        before = ',';
    }
    *writer->out += ']';
}

static void end_object(json_writer *writer) {
    put_texts(writer);
    end_late(writer);
    *writer->out += '}';
    writer->frames.pop_back();
}

/* An object inside a list is an element, in an object it is a member. */
static void begin_member(json_writer *writer, const std::string &name) {
    if (writer->frames.back().list)
        put_comma(writer);
    else
        put_key(writer, name);
}

static void begin_list(json_writer *writer, const std::string &name, bool implied) {
    json_frame *top = &writer->frames.back();
    if (top->late_end && top->late_name == name) {
        json_frame frame{};
        frame.list = true;
        frame.empty = top->late_empty;
        top->late_end = false;
        writer->frames.push_back(std::move(frame));
    } else {
        begin_member(writer, name);
        push(writer, true);
    }
    writer->frames.back().implied = implied;
    writer->frames.back().name = name;
}

/* A list inside a list has no name by which it could go on, so its end is written at once. */
static void end_list(json_writer *writer) {
    const std::string name = writer->frames.back().name;
    const bool empty = writer->frames.back().empty;
    writer->frames.pop_back();
    json_frame *top = &writer->frames.back();
    if (top->list) {
        *writer->out += ']';
        return;
    }
    top->late_end = true;
    top->late_empty = empty;
    top->late_name = name;
}

static void begin_row(json_writer *writer) {
    if (!writer->frames.back().list) begin_list(writer, "rows", true);
    put_comma(writer);
    push(writer, false);
}

static void end_row(json_writer *writer) {
    end_object(writer);
    if (writer->frames.back().implied) end_list(writer);
}

/* ---- prints ---- */

static std::string key_of_text(std::string_view text) {
    std::string key;
    for (const char c : text) {
        const auto letter = static_cast<unsigned char>(c);
        if (std::isalnum(letter) != 0)
            key.push_back(static_cast<char>(std::tolower(letter)));
        else if (!key.empty() && key.back() != '_')
            key.push_back('_');
    }
    while (!key.empty() && key.back() == '_') key.pop_back();
    return key.empty() ? "value" : key;
}

static std::string trimmed(const std::string &text) {
    const size_t begin = text.find_first_not_of(" \t\r\n");
    if (begin == std::string::npos) return "";
    return text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1);
}

static void put_text(json_writer *writer, const cmd_piece *piece) {
    std::string text;
    cmd_render_print(piece, &text);
    text = trimmed(text);
    if (text.empty()) return;
    json_frame *top = &writer->frames.back();
    if (!top->list) {
        top->texts.push_back(text);
        return;
    }
    put_comma(writer);
    put_string(text, writer->out);
}

static void print(json_writer *writer, const cmd_piece *piece) {
    if (piece->count == 0 || writer->frames.back().list) {
        put_text(writer, piece);
        return;
    }
    std::string_view format{piece->text, piece->text_length};
    const uint8_t *values = piece->values;
    size_t left = piece->values_size;
    cmd_value value;
    while (cmd_value_read(&values, &left, &value) == 0) {
        format_part part{};
        /* Literal text that no conversion follows has no value either. */
        while (format_next(&format, &part) && !part.conversion) part = {};
        if (value.type == CMD_ARG_TEXT && value.length == 0) continue;
        put_key(writer,
                value.key_length != 0 ? std::string(value.key, value.key_length) : key_of_text(part.literal));
        put_value(&value, writer->out);
    }
}

void json_begin(json_writer *writer, std::string *out) {
    writer->out = out;
    push(writer, false);
}

void json_end(json_writer *writer) {
    while (writer->frames.size() > 1)
        if (writer->frames.back().list)
            end_list(writer);
        else
            end_object(writer);
    end_object(writer);
    *writer->out += '\n';
}

static int json_end_piece(json_writer *writer, cmd_piece_kind kind) {
    const json_frame *top = &writer->frames.back();
    if (writer->frames.size() == 1 || top->list != (kind == CMD_PIECE_LIST_END)) return EBADMSG;
    if (kind == CMD_PIECE_LIST_END)
        end_list(writer);
    else if (kind == CMD_PIECE_ROW_END)
        end_row(writer);
    else
        end_object(writer);
    return 0;
}

int json_piece(json_writer *writer, const cmd_piece *piece) {
    const std::string name(piece->text, piece->text_length);
    const bool begins = piece->kind == CMD_PIECE_LIST_BEGIN || piece->kind == CMD_PIECE_ROW_BEGIN ||
                        piece->kind == CMD_PIECE_OBJECT_BEGIN;
    if (begins && writer->frames.size() >= JSON_DEPTH_MAX) return EBADMSG;
    switch (piece->kind) {
    case CMD_PIECE_PRINT: print(writer, piece); return 0;
    case CMD_PIECE_DECORATION: return 0;
    case CMD_PIECE_LIST_BEGIN: begin_list(writer, name, false); return 0;
    case CMD_PIECE_ROW_BEGIN: begin_row(writer); return 0;
    case CMD_PIECE_OBJECT_BEGIN:
        begin_member(writer, name);
        push(writer, false);
        return 0;
    default: return json_end_piece(writer, piece->kind);
    }
}
