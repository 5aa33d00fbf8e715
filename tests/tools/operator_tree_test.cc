/* Operators' words to command numbers and attribute bytes. */
#include "tools/lcfwdctl/operator_request.h"

#include <gtest/gtest.h>

using words = std::vector<const char *>;

static const operator_row *find(const char *verb, const words &line, std::string *why, size_t *used) {
    why->clear();
    return operator_find(verb, line, used, why);
}

TEST(operator_tree, words_may_be_shortened_while_they_stay_clear) {
    struct {
        const char *verb;
        words line;
        uint32_t command; /* 0: none */
        size_t used;
        const char *why;
    } const rows[] = {
        {"show", {"ip", "route"}, CMD_SHOW_V4_ROUTES, 2, ""},
        {"show", {"ip", "ro", "10.0.0.0/8"}, CMD_SHOW_V4_ROUTES, 2, ""},
        {"show", {"ipv6", "route", "sum"}, CMD_SHOW_V6_ROUTES, 3, ""},
        {"show", {"hist", "v4-p", "10.0.0.0/8"}, CMD_HISTORY_SHOW(CMD_HISTORY_V4_PFX), 2, ""},
        {"show", {"history", "ecmp", "settings"}, CMD_HISTORY_CONF(CMD_HISTORY_ECMP), 3, ""},
        {"clear", {"history", "ecmp"}, CMD_HISTORY_ECMP, 2, ""},
        {"debug", {"history", "vobj", "no-filter"}, CMD_SET_HISTORY_FILTER, 3, ""},
        {"show", {"ip"}, 0, 1, "what may follow: adjacency"},
        {"show", {"history", "v4"}, 0, 2, "could be: history v4-adjacency"},
        {"show", {"nonsense"}, 0, 0, "what may follow: consistency"},
    };
    for (const auto &row : rows) {
        std::string why;
        size_t used = 0;
        const operator_row *found = find(row.verb, row.line, &why, &used);
        ASSERT_EQ(found != nullptr, row.command != 0) << why;
        if (found != nullptr) {
            EXPECT_EQ(found->command, row.command);
            EXPECT_EQ(used, row.used);
        }
        EXPECT_EQ(why.compare(0, strlen(row.why), row.why), 0) << why;
    }
    EXPECT_EQ(operator_follow("show", words{"history", "ecmp"}),
              (std::vector<std::string>{"<KEY>", "settings"}));
}

TEST(operator_tree, every_row_is_found_by_its_own_words) {
    for (const operator_row &row : operator_rows()) {
        std::vector<std::string> parts(1);
        for (char c : row.words) c == ' ' ? parts.emplace_back() : (parts.back() += c, parts.back());
        words line;
        for (const std::string &part : parts) line.push_back(part.c_str());
        std::string why;
        size_t used = 0;
        EXPECT_EQ(find(row.verb, line, &why, &used), &row) << row.verb << " " << row.words << ": " << why;
    }
}

static std::vector<uint8_t> attributes(const char *verb, const words &line, const operator_options &options,
                                       const char *operand, int status = CTL_GOOD) {
    std::string why;
    size_t used = 0;
    std::vector<uint8_t> bytes;
    EXPECT_EQ(operator_attributes(*find(verb, line, &why, &used), options, operand, &bytes), status);
    return bytes;
}

TEST(operator_tree, an_interface_is_a_name_or_an_index) {
    operator_options options;
    options.interface_given = true;
    const std::vector<uint8_t> bytes = {0, 1, 0, 12, 0, 8, 0, 4, 0x1a, 0, 0, 4};
    for (const char *text : {"Ethernet0/4", "0x1a000004"}) {
        options.interface = text;
        EXPECT_EQ(attributes("show", {"ip", "adjacency"}, options, nullptr), bytes) << text;
    }
    options.interface = "Nowhere1";
    EXPECT_TRUE(attributes("show", {"ip", "adjacency"}, options, nullptr, CTL_USAGE).empty());
}

TEST(operator_tree, attributes_are_these_bytes) {
    operator_options options;
    options.table_given = options.limit_given = options.longer = true;
    options.table = 7;
    options.limit = 5;
    EXPECT_EQ(attributes("show", {"ip", "route"}, options, "10.1.0.0/16"),
              (std::vector<uint8_t>{0, 5,  0, 37,              /* five, and all their bytes */
                                    0, 4,  0, 4,  10, 1, 0, 0, /* prefix */
                                    0, 5,  0, 1,  16,          /* mask length */
                                    0, 3,  0, 4,  0,  0, 0, 7, /* table */
                                    0, 11, 0, 4,  0,  0, 0, 5, /* limit */
                                    0, 6,  0, 0}));            /* longer */
    EXPECT_EQ(attributes("show", {"history", "v4-rnh"}, {}, "192.0.2.1/32"),
              (std::vector<uint8_t>{0, 2,  0, 25, 0, 23, 0, 9,   32, 0, 0, 0, 1, 192, 0, 2, 1, /* key */
                                    0, 25, 0, 4,  0, 1,  0, 0xb1})); /* which history */
    EXPECT_EQ(attributes("debug", {"functions"}, {}, "on"),
              (std::vector<uint8_t>{0, 1, 0, 12, 0, 22, 0, 4, 0, 0, 0, 1}));
    EXPECT_EQ(attributes("show", {"ip", "route"}, {}, "10.1.0.1"), /* the route that it takes */
              (std::vector<uint8_t>{0, 3, 0, 21, 0, 4, 0, 4, 10, 1, 0, 1, 0, 5, 0, 1, 32, 0, 7, 0, 0}));
    attributes("show", {"ecmp"}, options, nullptr, CTL_USAGE);                  /* takes no table */
    attributes("show", {"ip", "route"}, {}, "2001:db8::/32", CTL_USAGE);        /* the other family */
    attributes("debug", {"history", "ecmp", "filter"}, {}, nullptr, CTL_USAGE); /* which? */
    attributes("show", {"history", "vobj"}, {}, "twelve", CTL_USAGE);
}
