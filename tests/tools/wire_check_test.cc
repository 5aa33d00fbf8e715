/* Polls of statistics and reports of checks, byte by byte; answers that tell lies. */
#include "tools/lcfwdctl/table.h"
#include "tools/lcfwdctl/wire_check.h"

#include <cerrno>
#include <gtest/gtest.h>

static std::string hex(const std::vector<uint8_t> &bytes) { return ctl_hex(bytes.data(), bytes.size()); }
static std::vector<uint8_t> unhex(const std::string &text) {
    std::vector<uint8_t> out;
    EXPECT_TRUE(ctl_hex_parse(text, &out));
    return out;
}

TEST(check_bytes, polls_and_notices_are_as_written_by_hand) {
    const uint8_t address[16] = {10, 0, 0, 1};
    EXPECT_EQ(hex(ctl_stats_make(1, 0, 0, nullptr)), "0000000001000000");
    EXPECT_EQ(hex(ctl_stats_make(3, 6, 7, nullptr)), "0000000003020000"
                                                     "00000007" +
                                                         std::string(32, '0'));
    EXPECT_EQ(hex(ctl_stats_make(1, 4, 7, address)), "0000000001010000"
                                                     "00000007"
                                                     "0a000001" +
                                                         std::string(24, '0'));
    const ctl_next_hop hop = {0x1a000001, 4, {10, 0, 0, 1}, {2, 0, 0, 0, 0, 9}};
    const std::string entry = "002001081a0000010a000001000000000000000000000000020000000009"
                              "0000";
    EXPECT_EQ(hex(ctl_check_neighbours_make({&hop, 1}, false, 0)), "0000000100000000" + entry);
    EXPECT_EQ(hex(ctl_check_neighbours_make({&hop, 1}, true, 0)), "0000000111000000" + entry);
    EXPECT_EQ(hex(ctl_check_neighbours_make({&hop, 1}, true, 6)), "0000000110000000" + entry);
}

TEST(check_bytes, answers_are_read_and_lies_found_out) {
    bool started, last;
    EXPECT_EQ(ctl_stats_started(unhex("000000000100000100000007"), &started), 0);
    EXPECT_TRUE(started);
    EXPECT_EQ(ctl_stats_started(unhex("0000000001000002000000"), &started), EBADMSG);
    const std::string counters = "0500000000000007" + std::string(32, '0') + std::string(63, '0') + "9";
    const std::string row = counters.substr(0, 48 + 64);
    std::vector<ufib_stats_row> rows;
    EXPECT_EQ(ctl_stats_read(unhex("00000048"
                                   "01000000"
                                   "0001"
                                   "0103"
                                   "00000001" +
                                   row),
                             &rows, &last),
              0);
    EXPECT_TRUE(last);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(wire_get(rows[0].if_index), 7u);
    EXPECT_EQ(wire_get(rows[0].bytes_since_clear), 9u);
    for (const char *head :
         {"00000049010000000001010300000001", "00000048010000000002010300000001", "00000010"})
        EXPECT_EQ(ctl_stats_read(unhex(head + row), &rows, &last), EBADMSG) << head;
}

TEST(check_reports, are_read_and_joined_to_one_row_a_route) {
    const std::string head = "00010002"
                             "00000001"
                             "0301";
    std::vector<ctl_check_row> rows;
    bool last = false;
    const std::string report = head + "10100000"
                                      "0a010000"
                                      "0c100000"
                                      "0a010000"
                                      "08180000"
                                      "0a020300";
    EXPECT_EQ(ctl_check_routes_read(unhex(report), 4, &rows, &last), 0);
    EXPECT_TRUE(last);
    EXPECT_EQ(rows.size(), 3u);
    ctl_check_rows_join(&rows);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].flags, 0x10) << "named and wrong, so it counts as not named, too";
    EXPECT_EQ(rows[1].flags, 0x08);
    EXPECT_EQ(rows[1].mask_len, 24);
    const std::string empty = "000000000000000103"; /* a byte short */
    for (const std::string &bad : {report + "00", report.substr(0, report.size() - 2), head, empty})
        EXPECT_EQ(ctl_check_routes_read(unhex(bad), 4, &rows, &last), EBADMSG) << bad;
    EXPECT_EQ(ctl_check_routes_read(unhex(report), 6, &rows, &last), EBADMSG) << "rows of the other family";

    rows.clear();
    EXPECT_EQ(ctl_check_adjs_read(unhex("00010001"
                                        "00000000"
                                        "0300"
                                        "00000007"
                                        "0a000001"
                                        "00000008"
                                        "0a000002"),
                                  &rows, &last),
              0);
    EXPECT_FALSE(last);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].family, 4);
    EXPECT_EQ(rows[0].flags, UFIB_CC_NEXT_HOPS);
    EXPECT_EQ(rows[1].if_index, 8u);
    EXPECT_EQ(rows[1].flags, UFIB_CC_NOT_NAMED) << "those come last";
    EXPECT_EQ(ctl_check_adjs_read(unhex("00010001"
                                        "00000000"
                                        "0300"
                                        "00000007"
                                        "0a000001"
                                        "00000008"),
                                  &rows, &last),
              EBADMSG);
}
