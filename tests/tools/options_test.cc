/* Command lines that people type, and the mistakes in them. */
#include "tools/lcfwdctl/options.h"

#include <gtest/gtest.h>

struct line_result {
    int status;
    uint32_t number = 5;
    std::string text;
    bool flag = false, given = false;
    std::vector<const char *> arguments;
};

static line_result parse(std::vector<const char *> words) {
    words.insert(words.begin(), "command");
    ctl = {};
    line_result result{};
    const ctl_option rows[] = {ctl_number("--number", &result.number, 2, 100, &result.given),
                               ctl_text("--text", &result.text), ctl_flag("--flag", &result.flag)};
    result.status = ctl_options_parse(rows, static_cast<int>(words.size()), const_cast<char **>(words.data()),
                                      &result.arguments);
    return result;
}

TEST(options, are_read_in_both_forms_and_in_any_place) {
    const line_result result = parse(
        {"a", "--number", "0x10", "--text=b=c", "d", "--flag", "--slot", "3", "--root=/x", "--", "--number"});
    EXPECT_EQ(result.status, CTL_GOOD);
    EXPECT_EQ(result.number, 16u);
    EXPECT_TRUE(result.given && result.flag);
    EXPECT_EQ(result.text, "b=c");
    ASSERT_EQ(result.arguments.size(), 3u);
    EXPECT_STREQ(result.arguments[2], "--number");
    EXPECT_EQ(ctl.slots, std::vector<uint32_t>{3});
    EXPECT_EQ(ctl_root_text(3), "/x");
}

TEST(options, mistakes_are_usage_errors) {
    const std::vector<std::vector<const char *>> lines = {
        {"--unknown"},      {"--number"},     {"--number", "1"},  {"--number", "101"}, {"--number", "7x"},
        {"--number", "-3"}, {"--number="},    {"--flag=yes"},     {"--slot", "4-2"},   {"--slot", "1,"},
        {"--slot", "x"},    {"--numb", "10"}, {"--number", "0x"}, {"--slot", "5000"},  {"--vdc", "65536"},
        {"--timeout", "0"}, {"--text"},       {"--number", " 5"}, {"--number", ""},
    };
    testing::internal::CaptureStderr();
    for (const auto &line : lines)
        EXPECT_EQ(parse(line).status, CTL_USAGE) << line[0] << " " << (line.size() > 1 ? line[1] : "");
    testing::internal::GetCapturedStderr();
}

TEST(options, slots_add_up_without_repetition) {
    EXPECT_EQ(parse({}).status, CTL_GOOD);
    EXPECT_EQ(ctl.slots, std::vector<uint32_t>{1});
    EXPECT_EQ(parse({"--slot", "2-4,3", "--slot=9"}).status, CTL_GOOD);
    EXPECT_EQ(ctl.slots, (std::vector<uint32_t>{2, 3, 4, 9}));
}

TEST(root, has_the_slot_where_the_braces_stand) {
    ctl = {};
    EXPECT_EQ(ctl_root_text(7), "/");
    ctl.root = "/chassis/{slot}/card{slot}";
    EXPECT_EQ(ctl_root_text(7), "/chassis/7/card7");
}
