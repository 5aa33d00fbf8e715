#include "tests/codec/codec_support.h"

#include <gtest/gtest.h>

#include <cstring>
#include <dlfcn.h>
#include <random>
#include <set>

static constexpr uint32_t MEMBERS = 3;

static uint32_t length_of(const bytes &message) { return static_cast<uint32_t>(message.size()); }

/* Decodes an exact copy into 0xee bytes; says whether status, size and object agree with each other. */
static int decode(const codec_functions &functions, const bytes &message, bytes *object) {
    const bytes exact(message);
    const bytes before = *object;
    const int status =
        functions.to_struct(exact.data(), length_of(exact), object->data(), length_of(*object));
    const uint32_t size = functions.get_struct_sz(exact.data(), length_of(exact));
    if (status == TLVU_OK) {
        EXPECT_TRUE(size >= functions.table->struct_size && size <= object->size()) << functions.name;
    } else {
        EXPECT_EQ(*object, before) << functions.name << " touched the object and refused";
        EXPECT_EQ(size != 0, status == TLVU_ROOM) << functions.name;
    }
    return status;
}

TEST(codec, every_structure_comes_back_whole_and_its_padding_untouched) {
    std::set<std::string> names;
    for (const codec_functions &functions : codec_functions_all()) {
        names.insert(functions.name);
        const uint32_t members = functions.info_get_sz != nullptr ? MEMBERS : 0;
        const bytes sent = codec_sample(functions.table, members);
        const bytes message = codec_encoded(functions, sent);
        const bytes mask = codec_field_mask(functions.table, members);
        bytes received(sent.size() + 4, 0xee);
        ASSERT_EQ(decode(functions, message, &received), TLVU_OK) << functions.name;
        EXPECT_EQ(functions.get_struct_sz(message.data(), length_of(message)), sent.size()) << functions.name;
        for (size_t i = 0; i < received.size(); i++)
            ASSERT_EQ(received[i], i < mask.size() && mask[i] != 0 ? sent[i] : 0xee)
                << functions.name << " " << i;
    }
    EXPECT_EQ(names.size(), CODEC_TABLES);
}

TEST(codec, initialisers_clear_fields_alone) {
    for (const codec_functions &functions : codec_functions_all()) {
        bytes object(functions.table->struct_size + 4u, 0xee);
        functions.default_init(object.data());
        const bytes mask = codec_field_mask(functions.table, 0);
        for (size_t i = 0; i < object.size(); i++)
            ASSERT_EQ(object[i], i < mask.size() && mask[i] != 0 ? 0 : 0xee) << functions.name << " " << i;
    }
}

/* Bytes by hand: the object's bytes are in host order of a little-endian machine. */
struct golden_case {
    const char *name, *structure, *object, *message;
};

static const golden_case golden_cases[] = {
    {"values_of_each_width", "eltm_otv_feature_info",
     "04030201 08070605 0c0b0a09 100f0e0d 11 12 0000 16151413 1817 0000",
     "0002 0004 01020304 000f 0004 05060708 0012 0004 090a0b0c 000b 0004 0d0e0f10 004f 0001 11 0050 0001 12"
     "0003 0004 13141516 000c 0002 1718"},
    {"words_at_odd_places", "eltmc_logi_intf_state_req",
     "04030201 05 09080706 0d0c0b0a 11100f0e 12 16151413 1a191817",
     "0002 0004 01020304 0038 0001 05 0018 0004 0a0b0c0d 0019 0004 0e0f1011 0024 0004 06070809 0051 0001 12"
     "0068 0004 13141516 0010 0004 1718191a"},
    {"list_of_structures_with_a_structure", "eltmc_intf_delete_req_msg",
     "01000000 04030201 08070605 09 0a 0b 00 0f0e0d0c",
     "0006 0004 00000001 0008 002b 0002 0004 01020304 0003 0004 05060708 0005 0001 09"
     "005d 000a 005e 0001 0a 005f 0001 0b 004c 0004 0c0d0e0f"},
    {"list_of_numbers", "eltmc_frr_bit_set_msg", "02000000 0201 0000 06050403 0a090807",
     "0006 0004 00000002 000b 0002 0102 0008 0004 03040506 0008 0004 0708090a"},
    {"empty_list_with_another_list_tag", "eltmc_mtu_free_rsp_msg", "00000000 04030201",
     "0006 0004 00000000 000f 0004 01020304"},
    {"list_under_its_own_tag", "eltmc_mtu_write_req_msg", "01000000 04030201 08070605",
     "0006 0004 00000001 003e 0004 01020304 003a 0008 0002 0004 05060708"},
};

class codec_golden : public testing::TestWithParam<golden_case> {};

TEST_P(codec_golden, is_written_and_read_byte_for_byte) {
    const codec_functions functions = codec_functions_find(GetParam().structure);
    const bytes object = bytes_from_hex(GetParam().object), message = bytes_from_hex(GetParam().message);
    EXPECT_EQ(codec_encoded(functions, object), message);
    bytes received(object.size(), 0);
    ASSERT_EQ(decode(functions, message, &received), TLVU_OK);
    EXPECT_EQ(received, object);
}
INSTANTIATE_TEST_SUITE_P(cases, codec_golden, testing::ValuesIn(golden_cases),
                         [](const auto &row) { return std::string(row.param.name); });

/* One field of a larger structure, alone in a message and in its place. */
static void expect_field(const char *structure, uint32_t tag, size_t offset, const bytes &in_object,
                         const bytes &data) {
    const codec_functions functions = codec_functions_find(structure);
    bytes message = {static_cast<uint8_t>(tag >> 8), static_cast<uint8_t>(tag),
                     static_cast<uint8_t>(data.size() >> 8), static_cast<uint8_t>(data.size())};
    message.insert(message.end(), data.begin(), data.end());
    bytes want(functions.table->struct_size), received(want);
    std::copy(in_object.begin(), in_object.end(), want.begin() + static_cast<ptrdiff_t>(offset));
    ASSERT_EQ(decode(functions, message, &received), TLVU_OK) << structure << " " << tag;
    EXPECT_EQ(received, want) << structure << " " << tag;
    bytes field(in_object.size());
    ASSERT_EQ(functions.get_field(message.data(), length_of(message), tag, field.data(), length_of(field)),
              0);
    EXPECT_EQ(field, in_object);

    const bytes whole = codec_encoded(functions, want);
    tlvu_itr itr;
    uint32_t seen_tag = 0, length = 0;
    const uint8_t *at = nullptr;
    functions.field_itr_init(&itr, whole.data(), length_of(whole));
    while (functions.field_get_next(&itr, &seen_tag, &at, &length) && seen_tag != tag) {
    }
    ASSERT_EQ(seen_tag, tag);
    EXPECT_EQ(bytes(at, at + length), data);
}

/* Numbers 0x..01, 0x..02 and so on, each of 'size' bytes, in the byte order asked for. */
static bytes numbers(uint32_t count, uint32_t size, bool big_endian) {
    bytes out(static_cast<size_t>(count) * size);
    for (uint32_t i = 0; i < count; i++) {
        out[i * size + (big_endian ? size - 1 : 0)] = static_cast<uint8_t>(i + 1);
        out[i * size + (big_endian ? 0 : size - 1)] = static_cast<uint8_t>(0xf0 - i);
    }
    return out;
}

TEST(codec, arrays_are_thirty_two_or_sixty_four_bytes) {
    expect_field("eltmc_intf_up_req", 38, 544, numbers(8, 4, false), numbers(8, 4, true));
    expect_field("eltmcd_port_create_req", 38, 536, numbers(8, 4, false), numbers(8, 4, true));
    expect_field("eltmcd_port_create_req", 91, 568, numbers(8, 4, false), numbers(8, 4, true));
    expect_field("eltmcd_port_create_req", 78, 604, numbers(16, 4, false), numbers(16, 4, true));
    expect_field("eltmcd_vlan_create_req", 74, 250, numbers(16, 2, false), numbers(16, 2, true));
}

TEST(codec, the_set_of_bits_is_a_word_and_raw_bytes) {
    const bytes bits = numbers(128, 4, false);
    bytes object = bytes_from_hex("00100000"), data = bytes_from_hex("0000 0004 00001000 0001 0200");
    object.insert(object.end(), bits.begin(), bits.end());
    data.insert(data.end(), bits.begin(), bits.end());
    for (const auto &[structure, offset] : {std::pair{"eltmc_intf_up_req", 24},
                                            {"eltmc_intf_down_req", 8},
                                            {"eltmc_intf_update_req", 12},
                                            {"eltmc_pc_mem_upd_req", 32},
                                            {"eltmcd_port_create_req", 16}})
        expect_field(structure, 33, static_cast<size_t>(offset), object, data);
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "bmp4096_tbl"), nullptr);
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "bmp4096_to_tlv"), nullptr);
}

TEST(codec, a_field_that_stands_twice_goes_out_twice_and_the_last_stands) {
    const codec_functions functions = codec_functions_find("eltmcd_port_create_req");
    bytes message = codec_encoded(functions, codec_sample(functions.table, 0));
    tlvu_itr itr;
    uint32_t tag, length, times = 0;
    const uint8_t *data;
    functions.field_itr_init(&itr, message.data(), length_of(message));
    while (functions.field_get_next(&itr, &tag, &data, &length))
        if (tag == 22 && ++times == 2) message[static_cast<size_t>(data - message.data()) + 3] = 0x77;
    ASSERT_EQ(times, 2u);
    eltmcd_port_create_req object = {};
    ASSERT_EQ(functions.to_struct(message.data(), length_of(message), &object, sizeof object), TLVU_OK);
    EXPECT_EQ(object.tag22 & 0xff, 0x77u);
    EXPECT_LT(message.size(), 2048u);
}

TEST(codec, a_message_cut_anywhere_is_refused_or_shorter_by_whole_fields) {
    for (const codec_functions &functions : codec_functions_all()) {
        const bytes sent = codec_sample(functions.table, functions.info_get_sz != nullptr ? MEMBERS : 0);
        const bytes message = codec_encoded(functions, sent);
        for (size_t size = 0; size < message.size(); size++) {
            bytes object(sent.size(), 0xee);
            const bytes cut(message.begin(), message.begin() + static_cast<ptrdiff_t>(size));
            const int status = decode(functions, cut, &object);
            if (functions.info_get_sz != nullptr && size != 0)
                ASSERT_TRUE(status == TLVU_BAD || status == TLVU_COUNT) << functions.name << " " << size;
            else
                ASSERT_TRUE(status == TLVU_BAD || status == TLVU_OK) << functions.name << " " << size;
        }
    }
}

TEST(codec, a_lying_count_is_refused_with_an_error_line) {
    for (const codec_functions &functions : codec_functions_all()) {
        if (functions.info_get_sz == nullptr) continue;
        const bytes sent = codec_sample(functions.table, MEMBERS);
        EXPECT_EQ(functions.info_get_sz(), (sent.size() - functions.table->struct_size) / MEMBERS);
        for (const uint8_t lie : bytes{0, 2, 4, 255}) {
            bytes message = codec_encoded(functions, sent);
            message[7] = lie; /* the count is the first field */
            bytes object(sent.size(), 0xee);
            codec_log_taken();
            EXPECT_EQ(decode(functions, message, &object), TLVU_COUNT) << functions.name;
            EXPECT_EQ(codec_log_taken(), functions.name + "_to_struct: ERR 0x6\n");
        }
    }
}

TEST(codec, too_little_room_is_an_error_line_and_no_more) {
    const codec_functions functions = codec_functions_find("eltmc_intf_create_rsp_msg");
    const bytes sent = codec_sample(functions.table, MEMBERS);
    const bytes message = codec_encoded(functions, sent);
    codec_log_taken();
    for (uint32_t room = 0; room < message.size(); room++) {
        bytes out(room);
        uint32_t used = 1;
        EXPECT_EQ(functions.to_tlv(sent.data(), out.data(), room, &used), TLVU_ROOM);
        EXPECT_EQ(codec_log_taken(), "eltmc_intf_create_rsp_msg_to_tlv: ERR 0x3\n");
    }
    bytes tight(sent.size() - 1, 0xee);
    EXPECT_EQ(decode(functions, message, &tight), TLVU_ROOM);
}

TEST(codec, damaged_messages_never_leave_the_object) {
    std::mt19937 random(20260);
    for (const codec_functions &functions : codec_functions_all()) {
        const bytes sent = codec_sample(functions.table, functions.info_get_sz != nullptr ? MEMBERS : 0);
        const bytes whole = codec_encoded(functions, sent);
        for (int turn = 0; turn < 200; turn++) {
            bytes message = whole, object(sent.size(), 0xee);
            for (int hit = 0; hit <= turn % 3; hit++)
                message[random() % std::min<size_t>(message.size(), 64)] = static_cast<uint8_t>(random());
            (void)decode(functions, message, &object);
        }
    }
    codec_log_taken();
}

TEST(codec, a_library_loaded_at_run_time_finds_and_calls_all_functions) {
    void *library = dlopen(CODEC_PROBE, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    const auto probe = reinterpret_cast<int (*)()>(dlsym(library, "codec_probe"));
    ASSERT_NE(probe, nullptr);
    EXPECT_EQ(probe(), 0);
    dlclose(library);
}
