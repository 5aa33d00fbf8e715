/* The walker over tables of the test's own: one field of each kind, with padding between them. */
#include "host/tlv/tlvu.h"

#include "tests/host/tlv/tlv_hex.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

struct pair {
    uint8_t low;
    uint16_t high; /* a byte of padding before it */
};
struct message {
    uint32_t count;
    uint8_t small;
    uint16_t middle; /* a byte of padding before it */
    uint16_t words[3];
    pair inner;
    uint32_t longs[2]; /* two bytes of padding before it */
};
static_assert(offsetof(message, inner) == 14 && offsetof(message, longs) == 20 && sizeof(message) == 28);

static uint32_t pair_size() { return sizeof(pair); }

static tlvu_row number(int32_t tag, uint32_t size, size_t offset) {
    return {tag, size, static_cast<uint32_t>(offset), TLVU_VALUE, {}, nullptr, 0, size, -1, nullptr};
}
static tlvu_row array(int32_t tag, uint32_t size, size_t offset, uint32_t width) {
    return {tag, size, static_cast<uint32_t>(offset), TLVU_ARRAY, {}, nullptr, 0, width, -1, nullptr};
}
static const tlvu_row closing = {-1, 0, 0, 0, {}, nullptr, 0, 0, 0, nullptr};

static const tlvu_row pair_rows[] = {number(1, 1, 0), number(2, 2, 2), closing};
static const tlvu_tbl pair_tbl = {sizeof(pair), "pair_t", nullptr, 0, pair_rows};
static const tlvu_row message_rows[] = {
    number(6, 4, 0),
    number(0x102, 1, 4),
    number(3, 2, 6),
    array(4, 2, 8, 6),
    {5, sizeof(pair), 14, TLVU_VALUE, {}, nullptr, 0, sizeof(pair), -1, &pair_tbl},
    array(7, 4, 20, 8),
    number(3, 2, 6), /* stands twice */
    {8, sizeof(pair), sizeof(message), TLVU_LIST, {}, pair_size, 0, 0, -1, &pair_tbl},
    closing};
static const tlvu_tbl message_tbl = {sizeof(message), "message_t", nullptr, 0, message_rows};

struct message_with_two {
    message head;
    pair members[2];
};
static const message_with_two sample = {
    {2, 0x11, 0x2233, {0x4455, 0x6677, 0x8899}, {0xaa, 0xbbcc}, {0xddeeff00, 0x1020304}},
    {{0x51, 0x5253}, {0x54, 0x5556}}};
static const char *const sample_hex =
    "0006 0004 00000002  0102 0001 11  0003 0002 2233  0004 0006 4455 6677 8899"
    "  0005 000b 0001 0001 aa 0002 0002 bbcc  0007 0008 ddeeff00 01020304"
    "  0003 0002 2233  0008 000b 0001 0001 51 0002 0002 5253"
    "  0008 000b 0001 0001 54 0002 0002 5556";

/* Decodes from an exact heap copy into 0xee bytes, so that a read too far and an untouched byte both show. */
struct decoded {
    int status;
    bytes object;
};
static decoded decode(const bytes &in, uint32_t room = sizeof(message_with_two)) {
    const bytes exact(in);
    decoded out = {0, bytes(sizeof(message_with_two) + 8, 0xee)};
    const auto length = static_cast<uint32_t>(exact.size());
    out.status =
        tlvu_table_convert_tlv_to_struct(&message_tbl, exact.data(), length, out.object.data(), room);
    const uint32_t size = tlvu_table_get_struct_size_from_tlv(&message_tbl, exact.data(), length);
    EXPECT_EQ(size == 0, out.status != TLVU_OK && out.status != TLVU_ROOM);
    if (out.status != TLVU_OK) {
        EXPECT_EQ(out.object, bytes(out.object.size(), 0xee)) << "touched after an error";
    }
    return out;
}

TEST(tlvu, encodes_each_kind_byte_for_byte) {
    const bytes want = from_hex(sample_hex);
    ASSERT_EQ(tlvu_table_size(&message_tbl, &sample), want.size());
    for (uint32_t room = 0; room <= want.size(); room++) {
        bytes out(room);
        uint32_t used = 99;
        const int status = tlvu_table_convert_struct_to_tlv(&message_tbl, &sample, out.data(), room, &used);
        ASSERT_EQ(status, room < want.size() ? TLVU_ROOM : TLVU_OK) << room;
        ASSERT_EQ(used, room < want.size() ? 0 : room);
        if (room == want.size()) {
            EXPECT_EQ(out, want);
        }
    }
}

TEST(tlvu, decodes_fields_and_leaves_padding) {
    const decoded got = decode(from_hex(sample_hex));
    ASSERT_EQ(got.status, TLVU_OK);
    message_with_two object;
    std::memcpy(&object, got.object.data(), sizeof object);
    EXPECT_EQ(object.head.count, 2u);
    EXPECT_EQ(object.head.small, 0x11);
    EXPECT_EQ(object.head.middle, 0x2233);
    EXPECT_EQ(object.head.words[2], 0x8899);
    EXPECT_EQ(object.head.inner.high, 0xbbcc);
    EXPECT_EQ(object.head.longs[1], 0x1020304u);
    EXPECT_EQ(object.members[1].low, 0x54);
    EXPECT_EQ(object.members[1].high, 0x5556);
    for (const size_t padding : {5u, 15u, 18u, 19u, 29u, 33u})
        EXPECT_EQ(got.object[padding], 0xee) << padding;
    EXPECT_EQ(got.object[sizeof object], 0xee);
}

TEST(tlvu, a_cut_message_never_passes_for_a_whole_one) {
    const bytes whole = from_hex(sample_hex);
    for (size_t size = 0; size < whole.size(); size++) {
        const int status = decode(bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size))).status;
        /* Without any element there is neither count nor member, which agrees. */
        EXPECT_TRUE(size == 0 ? status == TLVU_OK : status == TLVU_BAD || status == TLVU_COUNT) << size;
    }
}

struct decode_case {
    const char *name, *message;
    int want;
    uint32_t count, middle, inner_low, inner_high; /* after success */
};

class tlvu_decode : public testing::TestWithParam<decode_case> {};

TEST_P(tlvu_decode, gives_status_and_fields) {
    const decode_case &row = GetParam();
    const decoded got = decode(from_hex(row.message));
    ASSERT_EQ(got.status, row.want);
    if (row.want != TLVU_OK) return;
    message object;
    std::memcpy(&object, got.object.data(), sizeof object);
    EXPECT_EQ(object.count, row.count);
    EXPECT_EQ(object.middle, row.middle);
    EXPECT_EQ(object.inner.low, row.inner_low);
    EXPECT_EQ(object.inner.high, row.inner_high);
}

static const decode_case decode_cases[] = {
    {"absent_fields_are_cleared", "", TLVU_OK, 0, 0, 0, 0},
    {"unknown_tag_is_skipped", "7777 0003 010203 0003 0002 0005", TLVU_OK, 0, 5, 0, 0},
    {"largest_tag_is_not_the_closing_row", "ffff 0000 0003 0002 0005", TLVU_OK, 0, 5, 0, 0},
    {"fields_out_of_order", "0005 000b 0002 0002 0009 0001 0001 08 0003 0002 0007", TLVU_OK, 0, 7, 8, 9},
    {"last_of_a_repeated_value", "0003 0002 0001 0003 0002 0002", TLVU_OK, 0, 2, 0, 0},
    {"last_of_a_repeated_structure", "0005 0005 0001 0001 08 0005 0006 0002 0002 0009", TLVU_OK, 0, 0, 0, 9},
    {"value_too_short", "0003 0001 01", TLVU_WIDTH, 0, 0, 0, 0},
    {"value_too_long", "0003 0003 010203", TLVU_WIDTH, 0, 0, 0, 0},
    {"value_without_data", "0003 0000", TLVU_WIDTH, 0, 0, 0, 0},
    {"array_of_another_length", "0004 0004 00010002", TLVU_WIDTH, 0, 0, 0, 0},
    {"nested_value_too_long", "0005 0006 0001 0002 0101", TLVU_WIDTH, 0, 0, 0, 0},
    {"nested_element_leaves_its_structure", "0005 0005 0001 0002 01 0203", TLVU_BAD, 0, 0, 0, 0},
    {"element_past_the_message", "0003 ffff 0001", TLVU_BAD, 0, 0, 0, 0},
    {"stray_bytes_behind", "0003 0002 0001 00", TLVU_BAD, 0, 0, 0, 0},
    {"count_without_members", "0006 0004 00000001", TLVU_COUNT, 0, 0, 0, 0},
    {"count_of_billions", "0006 0004 ffffffff 0008 0000", TLVU_COUNT, 0, 0, 0, 0},
    {"member_without_count", "0008 0000", TLVU_COUNT, 0, 0, 0, 0},
    {"count_behind_its_members", "0008 0000 0006 0004 00000001", TLVU_OK, 1, 0, 0, 0},
    {"more_members_than_room", "0006 0004 00000003 0008 0000 0008 0000 0008 0000", TLVU_ROOM, 0, 0, 0, 0},
};
INSTANTIATE_TEST_SUITE_P(cases, tlvu_decode, testing::ValuesIn(decode_cases),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(tlvu, one_field_comes_out_in_host_order_and_only_into_enough_room) {
    const bytes in = from_hex(sample_hex);
    const auto length = static_cast<uint32_t>(in.size());
    const auto get = [&](uint32_t tag, void *out, uint32_t room) {
        return tlvu_get_field(&message_tbl, in.data(), length, tag, out, room);
    };
    uint16_t middle = 0, words[3] = {};
    ASSERT_EQ(get(3, &middle, 2), TLVU_OK);
    EXPECT_EQ(middle, 0x2233);
    ASSERT_EQ(get(4, words, 6), TLVU_OK);
    EXPECT_EQ(words[0], 0x4455);
    pair member = {};
    ASSERT_EQ(get(8, &member, sizeof member), TLVU_OK);
    EXPECT_EQ(member.high, 0x5253); /* the first member */
    uint8_t tight[5] = {0xee, 0xee, 0xee, 0xee, 0xee};
    EXPECT_EQ(get(4, tight, 5), TLVU_ROOM);
    EXPECT_EQ(get(0x777, tight, 5), TLVU_ABSENT);
    EXPECT_EQ(get(0xffffffff, tight, 5), TLVU_ABSENT);
    EXPECT_EQ(tlvu_get_field(&message_tbl, in.data(), 8, 3, tight, 5), TLVU_ABSENT);
    EXPECT_EQ(tlvu_get_field(&message_tbl, in.data(), 18, 3, tight, 5), TLVU_BAD);
    const bytes wide = from_hex("0003 0003 010203");
    EXPECT_EQ(tlvu_get_field(&message_tbl, wide.data(), 7, 3, tight, 5), TLVU_WIDTH);
    EXPECT_EQ(tight[0], 0xee);
}

TEST(tlvu, the_iterator_sees_known_outermost_fields_and_says_how_it_ended) {
    const auto walk = [](const bytes &in) {
        tlvu_itr itr;
        tlvu_field_itr_init(&itr, &message_tbl, in.data(), static_cast<uint32_t>(in.size()));
        std::string seen;
        uint32_t tag, length;
        const uint8_t *data;
        while (tlvu_field_itr_get_next(&itr, &tag, &data, &length))
            seen += std::to_string(tag) + ":" + std::to_string(length) + "." + std::to_string(data[0]) + " ";
        return seen + (itr.status == TLVU_OK ? "end" : "bad");
    };
    EXPECT_EQ(walk(from_hex(sample_hex)),
              "6:4.0 258:1.17 3:2.34 4:6.68 5:11.0 7:8.221 3:2.34 8:11.0 8:11.0 end");
    EXPECT_EQ(walk(from_hex("0777 0001 01 0003 0002 0105")), "3:2.1 end");
    EXPECT_EQ(walk(from_hex("0003 0002 0105 0003 0002 01")), "3:2.1 bad");
    EXPECT_EQ(walk({}), "end");
}

TEST(tlvu, null_arguments_and_counts_past_32_bits_get_an_answer) {
    message object = {};
    uint8_t byte;
    EXPECT_EQ(tlvu_table_convert_struct_to_tlv(nullptr, &object, &byte, 1, nullptr), TLVU_ARGUMENT);
    EXPECT_EQ(tlvu_table_convert_struct_to_tlv(&message_tbl, nullptr, &byte, 1, nullptr), TLVU_ARGUMENT);
    EXPECT_EQ(tlvu_table_convert_struct_to_tlv(&message_tbl, &object, nullptr, 1, nullptr), TLVU_ARGUMENT);
    EXPECT_EQ(tlvu_table_convert_tlv_to_struct(&message_tbl, nullptr, 1, &object, sizeof object),
              TLVU_ARGUMENT);
    EXPECT_EQ(tlvu_table_convert_tlv_to_struct(&message_tbl, &byte, 0, nullptr, 0), TLVU_ARGUMENT);
    EXPECT_EQ(tlvu_table_get_struct_size_from_tlv(nullptr, &byte, 1), 0u);
    object.count = 0xffffffff;
    EXPECT_EQ(tlvu_table_size(&message_tbl, &object), 0u);
}
