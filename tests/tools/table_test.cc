/* Output for people and for scripts. */
#include "tools/lcfwdctl/ctl.h"
#include "tools/lcfwdctl/table.h"

#include <gtest/gtest.h>

static std::string printed(const ctl_table &table, bool json) {
    ctl = {};
    ctl.json = json;
    testing::internal::CaptureStdout();
    ctl_table_print(table);
    return testing::internal::GetCapturedStdout();
}

TEST(table, is_aligned_text_or_json) {
    ctl_table table;
    table.columns = {"slot", "name"};
    table.rows = {{1u, "a"}, {uint64_t{12345}, "quote\" back\\slash\nline\x01"}};
    EXPECT_EQ(printed(table, false), " slot  name\n    1  a\n12345  quote\" back\\slash\nline\x01\n");
    EXPECT_EQ(printed(table, true),
              "[\n  {\"slot\": 1, \"name\": \"a\"},\n"
              "  {\"slot\": 12345, \"name\": \"quote\\\" back\\\\slash\\u000aline\\u0001\"}\n]\n");
    table.rows.clear();
    EXPECT_EQ(printed(table, false), "slot  name\n");
    EXPECT_EQ(printed(table, true), "[]\n");
}

TEST(numbers, are_grouped) {
    EXPECT_EQ(ctl_grouped(0), "0");
    EXPECT_EQ(ctl_grouped(999), "999");
    EXPECT_EQ(ctl_grouped(1000), "1,000");
    EXPECT_EQ(ctl_grouped(1234567), "1,234,567");
}

TEST(hex_text, is_read_with_blanks_and_comments_and_refused_otherwise) {
    std::vector<uint8_t> bytes;
    ASSERT_TRUE(ctl_hex_parse("01 aB:ff # head\n00", &bytes));
    EXPECT_EQ(ctl_hex(bytes.data(), bytes.size()), "01abff00");
    ASSERT_TRUE(ctl_hex_parse("", &bytes));
    EXPECT_TRUE(bytes.empty());
    for (const char *bad : {"0", "0g", "0 1", "0x01", "012"}) EXPECT_FALSE(ctl_hex_parse(bad, &bytes)) << bad;
}
