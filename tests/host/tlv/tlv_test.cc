#include "host/tlv/tlv.h"

#include "tests/host/tlv/tlv_hex.h"

#include <gtest/gtest.h>

/* An exact heap copy, so that the address sanitizer sees a read of one byte too many. */
static std::string walk(const bytes &array, uint32_t room, uint32_t align) {
    const bytes exact(array.begin(), array.begin() + std::min<ptrdiff_t>(room, std::ssize(array)));
    std::string seen;
    const tlv *cursor = nullptr;
    int status;
    while ((status = tlv_aligned_array_get_next_tlv(exact.data(), room, &cursor, align)) == TLV_OK) {
        seen += std::to_string(tlv_type(cursor)) + ":" + std::to_string(tlv_length(cursor));
        for (uint16_t i = 0; i < tlv_length(cursor); i++) seen += "." + std::to_string(tlv_data(cursor)[i]);
        seen += " ";
    }
    return seen + (status == TLV_END ? "end" : "bad");
}

struct walk_case {
    const char *name;
    const char *array;
    uint32_t align;
    const char *want;
};

static const walk_case walk_cases[] = {
    {"no_elements", "0000 0004", 1, "end"},
    {"two_elements", "0002 000f 0001 0002 aabb 0002 0001 cc", 1, "1:2.170.187 2:1.204 end"},
    {"padding_is_stepped_over", "0002 0014 0001 0001 aa000000 0002 0004 01020304", 4,
     "1:1.170 2:4.1.2.3.4 end"},
    {"last_padding_may_be_missing", "0001 0009 0001 0001 aa", 4, "1:1.170 end"},
    {"element_without_data", "0001 0008 0007 0000", 1, "7:0 end"},
    {"total_past_the_room", "0001 0010 0001 0002 aabb", 1, "bad"},
    {"total_below_its_own_head", "0001 0003 0001 0002 aabb", 1, "bad"},
    {"element_head_cut", "0002 000d 0001 0002 aabb 0002 00", 1, "1:2.170.187 bad"},
    {"element_past_the_total", "0001 000a 0001 0003 aabb cc", 1, "bad"},
    {"element_of_65535_bytes", "0001 000a 0001 ffff aabb", 1, "bad"},
    {"count_lies_walk_does_not_care", "00ff 000a 0001 0002 aabb", 1, "1:2.170.187 end"},
};

class tlv_walk : public testing::TestWithParam<walk_case> {};

TEST_P(tlv_walk, stays_inside_and_says_how_it_ended) {
    const bytes array = from_hex(GetParam().array);
    EXPECT_EQ(walk(array, static_cast<uint32_t>(array.size()), GetParam().align), GetParam().want);
}

TEST_P(tlv_walk, a_smaller_room_never_gives_a_good_end_of_a_longer_array) {
    const bytes array = from_hex(GetParam().array);
    const uint32_t total = static_cast<uint32_t>(array[2] << 8 | array[3]);
    for (uint32_t room = 0; room < array.size(); room++) {
        if (room >= total) continue;
        EXPECT_EQ(walk(array, room, GetParam().align), "bad") << "room " << room;
    }
}

INSTANTIATE_TEST_SUITE_P(cases, tlv_walk, testing::ValuesIn(walk_cases),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(tlv_build, bytes_are_exact) {
    uint8_t out[32];
    std::memset(out, 0xee, sizeof out);
    tlv_aligned_array array;
    ASSERT_EQ(tlv_aligned_array_init(&array, out, sizeof out, 4), TLV_OK);
    const uint8_t data[] = {1, 2, 3, 4, 5};
    ASSERT_EQ(tlv_aligned_array_add_tlv(&array, 0x0102, 5, data), TLV_OK);
    ASSERT_EQ(tlv_aligned_array_add_tlv(&array, 9, 0, nullptr), TLV_OK);
    EXPECT_EQ(bytes(out, out + 20), from_hex("0002 0014 0102 0005 0102030405000000 0009 0000"));
    EXPECT_EQ(out[20], 0xee);
    EXPECT_EQ(tlv_aligned_array_size_get(out), 20u);
    EXPECT_EQ(tlv_aligned_array_get_num_tlvs(out, 20), 2u);
    EXPECT_EQ(tlv_aligned_array_get_num_tlvs(out, 3), 0u);
    EXPECT_EQ(tlv_aligned_data_size_get(5, 4), 12u);
    EXPECT_EQ(tlv_size_get(5), 9u);
}

TEST(tlv_build, an_element_that_does_not_fit_leaves_the_array_as_it_was) {
    uint8_t out[11];
    const uint8_t data[8] = {};
    tlv_aligned_array array;
    ASSERT_EQ(tlv_array_init(&array, out, sizeof out), TLV_OK);
    ASSERT_EQ(tlv_array_add_tlv(&array, 1, 2, data), TLV_OK);
    EXPECT_EQ(tlv_array_add_tlv(&array, 2, 0, data), TLV_FULL);
    EXPECT_EQ(walk(bytes(out, out + 10), 10, 1), "1:2.0.0 end");

    tlv_aligned_array tiny;
    EXPECT_EQ(tlv_array_init(&tiny, out, 3), TLV_FULL);
    EXPECT_EQ(tlv_array_add_tlv(&tiny, 1, 0, nullptr), TLV_FULL);
}

TEST(tlv_build, the_total_never_passes_its_sixteen_bits) {
    bytes out(70000);
    const bytes data(60000);
    tlv_aligned_array array;
    ASSERT_EQ(tlv_array_init(&array, out.data(), 70000), TLV_OK);
    ASSERT_EQ(tlv_array_add_tlv(&array, 1, 60000, data.data()), TLV_OK);
    EXPECT_EQ(tlv_array_add_tlv(&array, 2, 5528, data.data()), TLV_FULL);
    EXPECT_EQ(tlv_array_add_tlv(&array, 2, 5523, data.data()), TLV_OK);
    EXPECT_EQ(tlv_aligned_array_size_get(out.data()), 65535u);
}

TEST(tlv_find, finds_the_first_of_a_type_but_none_behind_a_lie) {
    const bytes array = from_hex("0003 0016 0001 0002 aabb 0002 0001 cc 0001 0001 dd 0007");
    EXPECT_EQ(tlv_length(tlv_array_find_tlv(array.data(), 22, 1)), 2);
    EXPECT_NE(tlv_array_find_tlv(array.data(), 22, 2), nullptr);
    EXPECT_EQ(tlv_array_find_tlv(array.data(), 22, 7), nullptr);
    EXPECT_EQ(tlv_array_find_tlv(array.data(), 21, 1), nullptr);
}
