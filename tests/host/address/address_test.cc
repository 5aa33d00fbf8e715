#include "host/address/address.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <set>
#include <string>

static const struct text_case {
    const char *name, *text, *canonical;
} text_cases[] = {
    {"unspecified", "0:0:0:0:0:0:0:0", "::"},
    {"loopback", "0:0:0:0:0:0:0:1", "::1"},
    {"zeros_at_the_end", "2001:db8:0:0:0:0:0:0", "2001:db8::"},
    {"zeros_at_the_front", "0:0:0:0:0:0:abcd:1", "::abcd:1"},
    {"leading_zeros_go", "2001:0db8:0001:0001:0001:0001:0001:0001", "2001:db8:1:1:1:1:1:1"},
    {"one_zero_stays", "2001:db8:0:1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},
    {"longest_run", "2001:0:0:1:0:0:0:1", "2001:0:0:1::1"},
    {"first_of_equal_runs", "2001:db8:0:0:1:0:0:1", "2001:db8::1:0:0:1"},
    {"lower_case", "2001:DB8::ABCD", "2001:db8::abcd"},
    {"mapped", "::ffff:192.0.2.1", "::ffff:192.0.2.1"},
    {"not_mapped", "::fffe:c000:201", "::fffe:c000:201"},
    {"full", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
    {"v4_zero", "0.0.0.0", "0.0.0.0"},
    {"v4_digits", "9.10.99.100", "9.10.99.100"},
    {"v4_ones", "255.255.255.255", "255.255.255.255"},
};
class address_text : public testing::TestWithParam<text_case> {};
INSTANTIATE_TEST_SUITE_P(cases, address_text, testing::ValuesIn(text_cases),
                         [](const auto &row) { return std::string(row.param.name); });

TEST_P(address_text, is_read_and_written_in_its_one_form) {
    address_family family = ADDRESS_FAMILY_NONE;
    uint8_t bytes[16];
    ASSERT_EQ(address_parse(GetParam().text, &family, bytes), 0);
    if (family == ADDRESS_FAMILY_V6) {
        EXPECT_STREQ(ipv6_addr_str(bytes), GetParam().canonical);
        ipv6_addr address;
        std::memcpy(address.bytes, bytes, 16);
        EXPECT_EQ(std::string(ipv6_prefix_str(&address, 128)), std::string(GetParam().canonical) + "/128");
        return;
    }
    uint32_t host = 0;
    ASSERT_EQ(ip_address_parse(GetParam().text, &host), 0);
    EXPECT_STREQ(ip_address_str(host), GetParam().canonical);
    EXPECT_EQ(std::string(ip_prefix_str(host, 0)), std::string(GetParam().canonical) + "/0");
}

TEST(prefix_text, gives_family_and_length_or_is_refused) {
    address_family family;
    uint8_t bytes[16], bits;
    const std::pair<const char *, unsigned> good[] = {{"10.1.2.0/24", 24},  {"10.1.2.3", 32},
                                                      {"0.0.0.0/0", 0},     {"::/0", 0},
                                                      {"2001:db8::1", 128}, {"2001:db8::/128", 128}};
    for (const auto &[text, length] : good) {
        EXPECT_EQ(prefix_parse(text, &family, bytes, &bits), 0) << text;
        EXPECT_EQ(family, std::strchr(text, ':') != nullptr ? ADDRESS_FAMILY_V6 : ADDRESS_FAMILY_V4) << text;
        EXPECT_EQ(bits, length) << text;
    }
    for (const char *text : {"10.1.2.0/33", "::/129", "10.1.2.0/", "10.1.2.0/-1", "10.1.2.0/24x",
                             "10.1.2.0/0024", "10.1.2/24", "10.1.2.256/24", " 10.1.2.0/24", "",
                             "1:2:3:4:5:6:7:8:9:10:11:12:13:14:15:16:17:18:19:20:21:22:23/8"}) {
        family = ADDRESS_FAMILY_NONE, bytes[2] = 3, bits = 0;
        EXPECT_EQ(prefix_parse(text, &family, bytes, &bits), EINVAL) << text;
        EXPECT_TRUE(family == ADDRESS_FAMILY_NONE && bytes[2] == 3 && bits == 0) << "touched: " << text;
    }
}

TEST(masks, of_every_length_are_leading_ones) {
    uint32_t mask = 0;
    for (unsigned bits = 0; bits <= 32; bits++) {
        EXPECT_EQ(ip_bitstomask(static_cast<uint8_t>(bits)), mask);
        EXPECT_EQ(ip_masktobits(mask), static_cast<int>(bits));
        mask = mask >> 1 | 0x80000000u;
    }
    EXPECT_EQ(ip_bitstomask(200), 0xffffffffu);
    EXPECT_EQ(ip_masktobits(0xff00ff00u), -1);
    EXPECT_EQ(ip_masktobits(1), -1);
    for (unsigned bits = 0; bits <= 255; bits++) {
        uint8_t got[16], want[16] = {};
        for (unsigned i = 0; i < bits && i < 128; i++)
            want[i / 8] = static_cast<uint8_t>(want[i / 8] | 0x80u >> (i % 8));
        ipv6_mask(got, static_cast<uint8_t>(bits));
        EXPECT_EQ(std::memcmp(got, want, 16), 0) << bits;
        ipv6_addr address;
        std::memset(address.bytes, 0xff, 16);
        ipv6_addr_mask(&address, static_cast<uint8_t>(bits));
        EXPECT_EQ(std::memcmp(address.bytes, want, 16), 0) << bits;
    }
}

TEST(address_buffers, many_texts_of_one_log_line_stand_side_by_side) {
    std::set<const char *> places;
    const char *first = ip_address_str(0x01020304);
    places.insert(first);
    for (unsigned i = 1; i < ADDRESS_STR_BUFFERS; i++) places.insert(ip_prefix_str(i, 32));
    EXPECT_EQ(places.size(), ADDRESS_STR_BUFFERS);
    EXPECT_STREQ(first, "1.2.3.4");
}

TEST(mac_text, is_written_with_colons_and_read_in_three_forms) {
    const uint8_t mac[6] = {0x0a, 0x1b, 0x2c, 0x3d, 0x4e, 0xff};
    EXPECT_STREQ(mac_addr_str(mac), "0a:1b:2c:3d:4e:ff");
    for (const char *text : {"0a:1b:2c:3d:4e:ff", "0A-1B-2C-3D-4E-FF", "0a1b.2c3d.4eff"}) {
        uint8_t got[6] = {};
        EXPECT_EQ(mac_parse(text, got), 0) << text;
        EXPECT_EQ(std::memcmp(got, mac, 6), 0) << text;
    }
    uint8_t kept[6] = {7};
    for (const char *text : {"", "0a:1b:2c:3d:4e", "0a:1b:2c:3d:4e:fg", "0a:1b-2c:3d:4e:ff", "0a1b:2c3d:4eff",
                             "0a 1b 2c 3d 4e ff"})
        EXPECT_EQ(mac_parse(text, kept), EINVAL) << text;
    EXPECT_EQ(kept[0], 7);
}

TEST(ipv6_addresses, compare_as_bytes_and_copy_onto_themselves) {
    ipv6_addr a{}, b{};
    EXPECT_TRUE(ipv6_addr_is_zero(&a));
    b.bytes[15] = 0x80;
    EXPECT_LT(ipv6_addr_compare(&a, &b), 0);
    ipv6_addr_copy(&a, &b);
    ipv6_addr_copy(&a, &a);
    EXPECT_EQ(ipv6_addr_compare(&a, &b), 0);
    EXPECT_FALSE(ipv6_addr_is_zero(&a));
}
