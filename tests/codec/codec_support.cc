#include "tests/codec/codec_support.h"

#include "core/lcfwd_log.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>

static std::string log_text;

/* Stands for the core's log. */
void lcfwd_log_write(uint32_t, uint32_t, const char *, int, const char *format, ...) {
    char line[256];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    log_text += line;
}

std::string codec_log_taken() { return std::exchange(log_text, {}); }

bytes bytes_from_hex(const std::string &hex) {
    std::string digits;
    for (char c : hex)
        if (c != ' ') digits += c;
    bytes out;
    for (size_t i = 0; i < digits.size(); i += 2)
        out.push_back(static_cast<uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    return out;
}

template <typename function> static void find(const std::string &name, function *out) {
    *out = reinterpret_cast<function>(dlsym(RTLD_DEFAULT, name.c_str()));
    EXPECT_NE(*out, nullptr) << name << " is not exported";
}

codec_functions codec_functions_find(const std::string &name) {
    codec_functions found = {};
    found.name = name;
    find(name + "_tbl", &found.table);
    find(name + "_to_tlv", &found.to_tlv);
    find(name + "_to_struct", &found.to_struct);
    find(name + "_get_tlv_sz", &found.get_tlv_sz);
    find(name + "_get_struct_sz", &found.get_struct_sz);
    find(name + "_get_field", &found.get_field);
    find(name + "_field_itr_init", &found.field_itr_init);
    find(name + "_field_get_next", &found.field_get_next);
    find(name + "_default_init", &found.default_init);
    if (codec_member_size(found.table) != 0) find(name + "_info_get_sz", &found.info_get_sz);
    return found;
}

std::vector<codec_functions> codec_functions_all() {
    std::vector<codec_functions> all;
    for (const tlvu_tbl *table : codec_tables) {
        const std::string name = table->name;
        all.push_back(codec_functions_find(name.substr(0, name.size() - 2)));
        EXPECT_EQ(all.back().table, table);
    }
    return all;
}

static void mark(const tlvu_tbl *table, uint32_t members, uint8_t *mask) {
    for (const tlvu_row *row = table->rows; row->tag != -1; row++) {
        if (row->kind != TLVU_LIST && row->nested == nullptr) std::memset(mask + row->offset, 1, row->width);
        if (row->kind != TLVU_LIST && row->nested != nullptr) mark(row->nested, 0, mask + row->offset);
        for (uint32_t i = 0; row->kind == TLVU_LIST && i < members; i++) {
            uint8_t *member = mask + row->offset + i * row->elem_size;
            if (row->nested != nullptr)
                mark(row->nested, 0, member);
            else
                std::memset(member, 1, row->elem_size);
        }
    }
}

bytes codec_field_mask(const tlvu_tbl *table, uint32_t members) {
    bytes mask(table->struct_size + members * codec_member_size(table));
    mark(table, members, mask.data());
    return mask;
}

bytes codec_sample(const tlvu_tbl *table, uint32_t members) {
    bytes object(table->struct_size + members * codec_member_size(table));
    for (size_t i = 0; i < object.size(); i++) object[i] = static_cast<uint8_t>(1 + (i * 37 + i / 251) % 255);
    if (codec_member_size(table) != 0) std::memcpy(object.data(), &members, sizeof members);
    return object;
}

bytes codec_encoded(const codec_functions &functions, const bytes &object) {
    bytes out(functions.get_tlv_sz(object.data()));
    uint32_t used = 0;
    const int status = functions.to_tlv(object.data(), out.data(), static_cast<uint32_t>(out.size()), &used);
    EXPECT_EQ(status, TLVU_OK) << functions.name;
    EXPECT_EQ(used, out.size()) << functions.name;
    return out;
}
