/* Route batches byte by byte, written by hand, and every way in which an answer can be wrong. */
#include "tools/lcfwdctl/table.h"
#include "tools/lcfwdctl/wire_batch.h"

#include "host/bus/bus.h"

#include <gtest/gtest.h>

static std::string without_blanks(const char *text) {
    std::string out;
    for (; *text != '\0'; text++)
        if (*text != ' ') out += *text;
    return out;
}

static std::vector<uint8_t> bytes_of(const char *hex) {
    std::vector<uint8_t> out;
    EXPECT_TRUE(ctl_hex_parse(hex, &out));
    return out;
}

static ctl_route route_of(const char *line) {
    ctl_route route{};
    EXPECT_EQ(ctl_route_parse(line, {1000, 0}, &route), 1) << line;
    return route;
}

struct batch_case {
    const char *name;
    ctl_batch_form form;
    const char *route;
    uint8_t flags;
    const char *bytes;
};

static const batch_case batch_cases[] = {
    {"v1_ipv4_add",
     {1, true, 4, 0x01020304, 9, 7},
     "10.1.2.0/24 258",
     0x2,
     /* len      batch    count fl xid      ep client */
     "0000005b 0000004a 0001 02 0a0b0c0d 09 07"
     /* op fl rs n  len prefix                          route_len table */
     " 01 00 00 01 18 0a010200 000000000000000000000000 004a 01020304"
     /* array: one element, 47 bytes; element: type 1, 39 bytes */
     " 0001 002f 0001 0027"
     /* if_index  address                           table    len fl lc lo reserved   nexthop_len, empty array */
     " 1a000103 0a000103 000000000000000000000000 01020304 20 00 00 00 0000000000 0027 0000 0004"},
    {"v1_ipv6_delete",
     {1, false, 6, 0x80000001, 1, 2},
     "2001:db8::/32 0",
     0,
     "0000005b 0000004a 0001 00 0a0b0c0d 01 02"
     " 04 00 00 01 20 20010db8000000000000000000000000 004a 80000001"
     " 0001 002f 0001 0027"
     " 1a000001 fe800000000000000000000000000001 80000001 80 00 00 00 0000000000 0027 0000 0004"},
    {"v0_ipv4_add",
     {0, true, 4, 7, 255, 1},
     "192.0.2.128/25 1",
     0x2,
     /* rs   ep rs table    batch    count fl cl xid */
     "0000 ff 00 00000007 0000001c 0001 02 01 0a0b0c0d"
     /* op rs fl rs n  len rs   prefix   len  rs */
     " 01 00 00 00 01 19 0000 c0000280 001c 0000"
     /* if_index address extra rs */
     " 1a000002 0a000002 0000 0000"},
    {"v0_ipv4_delete",
     {0, false, 4, 7, 0, 1},
     "0.0.0.0/0 1",
     0,
     "0000 00 00 00000007 0000001c 0001 00 01 0a0b0c0d"
     " 02 00 00 00 01 00 0000 00000000 001c 0000 1a000002 0a000002 0000 0000"},
    {"v0_ipv6_add",
     {0, true, 6, 0x80000001, 3, 1},
     "2001:db8:1::/48 2",
     0,
     "0000 03 00 80000001 00000034 0001 00 01 0a0b0c0d"
     " 03 00 00 00 01 30 20010db8000100000000000000000000 0034 00000000"
     " 1a000003 fe800000000000000000000000000003 0000 0000"},
    {"v1_ipv4_two_paths_round_the_end",
     {1, true, 4, 1, 1, 1, {1000, 0, 2}},
     "10.1.2.0/24 999",
     0,
     "00000086 00000075 0001 00 0a0b0c0d 01 01"
     " 01 00 00 02 18 0a010200 000000000000000000000000 0075 00000001"
     " 0002 005a"
     " 0001 0027 1a0003e8 0a0003e8 000000000000000000000000 00000001 20 00 00 00 0000000000 0027 0000 0004"
     " 0001 0027 1a000001 0a000001 000000000000000000000000 00000001 20 00 00 00 0000000000 0027 0000 0004"},
    {"v0_ipv6_three_paths",
     {0, true, 6, 0x80000001, 3, 1, {1000, 0, 3}},
     "2001:db8:1::/48 2",
     0,
     "0000 03 00 80000001 00000064 0001 00 01 0a0b0c0d"
     " 03 00 00 00 03 30 20010db8000100000000000000000000 0064 00000000"
     " 1a000003 fe800000000000000000000000000003 0000 0000"
     " 1a000004 fe800000000000000000000000000004 0000 0000"
     " 1a000005 fe800000000000000000000000000005 0000 0000"},
};

class batch_bytes : public testing::TestWithParam<batch_case> {};

TEST_P(batch_bytes, are_as_written_by_hand) {
    const batch_case &row = GetParam();
    const ctl_route route = route_of(row.route);
    const std::vector<uint8_t> bytes = ctl_batch_make(row.form, {&route, 1}, 0x0a0b0c0d, row.flags);
    EXPECT_EQ(ctl_hex(bytes.data(), bytes.size()), without_blanks(row.bytes));
    EXPECT_EQ(ctl_batch_xid(row.form.format, bytes), 0x0a0b0c0du);
}

/* A recursive next hop is a host route with flag 0x20; routes name its address, with hop flag 1 and no interface. */
TEST(recursive_routes, come_after_the_host_routes_that_they_go_by) {
    ctl_batch_form form{1, true, 4, 1, 1, 1};
    form.shape.next_hops = 2;
    form.shape.recursive = true;
    const std::vector<ctl_route> routes = {route_of("10.1.2.0/24 1")};
    const std::vector<ctl_route> hops = ctl_recursive_routes(form.shape, routes);
    ASSERT_EQ(hops.size(), 2u) << "one family, two next hops";
    const auto hop_bytes = ctl_batch_make(form, {&hops[1], 1}, 1, 0);
    EXPECT_EQ(
        ctl_hex(hop_bytes.data(), hop_bytes.size()),
        without_blanks("0000005b 0000004a 0001 00 00000001 01 01"
                       " 01 20 00 01 20 0a800002 000000000000000000000000 004a 00000001 0001 002f 0001 0027"
                       " 1a000002 0a000002 000000000000000000000000 00000001 20 00 00 00 0000000000 0027 0000"
                       " 0004"));
    const auto route_bytes = ctl_batch_make(form, routes, 1, 0);
    EXPECT_EQ(
        ctl_hex(route_bytes.data(), route_bytes.size()),
        without_blanks("0000005b 0000004a 0001 00 00000001 01 01"
                       " 01 00 00 01 18 0a010200 000000000000000000000000 004a 00000001 0001 002f 0001 0027"
                       " 00000000 0a800002 000000000000000000000000 00000001 20 01 00 00 0000000000 0027 0000"
                       " 0004"));
}

TEST_P(batch_bytes, the_largest_batch_fits_one_message_and_one_more_route_does_not) {
    const batch_case &row = GetParam();
    const uint32_t most = ctl_batch_routes_max(row.form);
    const std::vector<ctl_route> routes(most + 1, route_of(row.route));
    const size_t largest = ctl_batch_make(row.form, {routes.data(), most}, 1, 0).size();
    EXPECT_LE(largest, MTS_PAYLOAD_MAX);
    EXPECT_GT(ctl_batch_make(row.form, routes, 1, 0).size(), MTS_PAYLOAD_MAX);
}

INSTANTIATE_TEST_SUITE_P(rows, batch_bytes, testing::ValuesIn(batch_cases),
                         [](const auto &row) { return std::string(row.param.name); });

struct answer_case {
    const char *name;
    uint32_t format;
    const char *answer;
    bool readable;
    bool good;
    uint32_t refused;
};

/* Answers to the batches "v1_ipv4_add" and "v0_ipv4_add". */
static const answer_case answer_cases[] = {
    {"v1_good", 1, "0000005b 8000 0000 0001 03 0a0b0c0d 09 07", true, true, 0},
    {"v1_worked_with_a_failure", 1, "0000005b 8000 0000 0001 02 0a0b0c0d 09 07", true, false, 1},
    {"v1_refused_whole", 1, "0000005b 8001 0000 0001 02 0a0b0c0d 09 07", true, false, 1},
    {"v1_acked_unworked", 1, "0000005b 8000 0001 0001 03 0a0b0c0d 09 07", true, true, 0},
    {"v1_no_bit_15", 1, "0000005b 0000 0000 0001 03 0a0b0c0d 09 07", false, false, 0},
    {"v1_length_differs", 1, "0000005c 8000 0000 0001 03 0a0b0c0d 09 07", false, false, 0},
    {"v1_count_differs", 1, "0000005b 8000 0000 0002 03 0a0b0c0d 09 07", false, false, 0},
    {"v1_flags_differ", 1, "0000005b 8000 0000 0001 01 0a0b0c0d 09 07", false, false, 0},
    {"v1_xid_differs", 1, "0000005b 8000 0000 0001 03 0a0b0c0e 09 07", false, false, 0},
    {"v1_epoch_differs", 1, "0000005b 8000 0000 0001 03 0a0b0c0d 08 07", false, false, 0},
    {"v1_client_differs", 1, "0000005b 8000 0000 0001 03 0a0b0c0d 09 06", false, false, 0},
    {"v1_short", 1, "0000005b 8000 0000 0001 03 0a0b0c0d 09", false, false, 0},
    {"v1_long", 1, "0000005b 8000 0000 0001 03 0a0b0c0d 09 07 00", false, false, 0},
    {"v1_empty", 1, "", false, false, 0},
    {"v0_good", 0, "0000 ff 00 00000007 8000 0001 0001 03 01 0a0b0c0d", true, true, 0},
    {"v0_refused", 0, "0000 ff 00 00000007 8005 0000 0001 02 01 0a0b0c0d", true, false, 5},
    {"v0_table_differs", 0, "0000 ff 00 00000008 8000 0001 0001 03 01 0a0b0c0d", false, false, 0},
    {"v0_short", 0, "0000 ff 00 00000007 8000 0001 0001 03 01 0a0b0c", false, false, 0},
};

class answer_bytes : public testing::TestWithParam<answer_case> {};

TEST_P(answer_bytes, give_the_verdict) {
    const answer_case &row = GetParam();
    const batch_case &sent = batch_cases[row.format == 1 ? 0 : 2];
    ctl_batch_verdict verdict{};
    const char *why = nullptr;
    const int status =
        ctl_answer_read(row.format, bytes_of(sent.bytes), bytes_of(row.answer), &verdict, &why);
    ASSERT_EQ(status == 0, row.readable) << (why == nullptr ? "" : why);
    if (!row.readable) return;
    EXPECT_EQ(verdict.good, row.good);
    EXPECT_EQ(verdict.refused, row.refused);
}

INSTANTIATE_TEST_SUITE_P(rows, answer_bytes, testing::ValuesIn(answer_cases),
                         [](const auto &row) { return std::string(row.param.name); });
