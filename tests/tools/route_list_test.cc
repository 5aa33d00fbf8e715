/* Prefix lists from files of every kind, and the covering routes. */
#include "tools/lcfwdctl/longest_match.h"
#include "tools/lcfwdctl/route_list.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <unistd.h>

struct line_case {
    const char *name, *line;
    int status;
    const char *prefix;
    uint32_t hop;
};
static const line_case line_cases[] = {
    {"ipv4", "10.1.2.0/24 13335\n", 1, "10.1.2.0/24", 13335 % 64},
    {"ipv6", "2001:db8::/32 64\r\n", 1, "2001:db8::/32", 0},
    {"host_bits_are_cleared", "10.1.2.255/23 1", 1, "10.1.2.0/23", 1},
    {"largest_as", "0.0.0.0/0 4294967295", 1, "0.0.0.0/0", 63},
    {"blanks", " \t1.2.3.4/32 \t 5 \t\n", 1, "1.2.3.4/32", 5},
    {"comment", "# 10.0.0.0/8 1\n", 0, "", 0},
    {"empty", "\n", 0, "", 0},
    {"no_length", "10.1.2.0 5\n", -1, "", 0},
    {"no_origin", "10.1.2.0/24\n", -1, "", 0},
    {"long_mask", "10.1.2.0/33 5\n", -1, "", 0},
    {"long_mask_v6", "2001::/129 5\n", -1, "", 0},
    {"no_number", "10.1.2.0/24 AS5\n", -1, "", 0},
    {"negative", "10.1.2.0/24 -5\n", -1, "", 0},
    {"two_numbers", "10.1.2.0/24 5 6\n", -1, "", 0},
    {"as_too_large", "10.1.2.0/24 4294967296\n", -1, "", 0},
    {"no_address", "ten/8 5\n", -1, "", 0},
};
class route_line : public testing::TestWithParam<line_case> {};

TEST_P(route_line, gives_route_or_refusal) {
    const line_case &row = GetParam();
    ctl_route route{};
    ASSERT_EQ(ctl_route_parse(row.line, {64, 0}, &route), row.status);
    if (row.status != 1) return;
    EXPECT_EQ(ctl_prefix_text(route), row.prefix);
    EXPECT_EQ(route.hop, row.hop);
}
INSTANTIATE_TEST_SUITE_P(rows, route_line, testing::ValuesIn(line_cases),
                         [](const auto &row) { return std::string(row.param.name); });

class route_file : public testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/route_list_XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        folder = pattern;
    }
    void TearDown() override {
        const std::string command = "rm -r " + folder;
        EXPECT_EQ(system(command.c_str()), 0);
    }
    std::string write(const char *name, const std::string &text) {
        const std::string path = folder + "/" + name;
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }
    std::string folder;
};

TEST_F(route_file, plain_and_packed_give_the_same) {
    const std::string plain = write("list", "10.0.0.0/8 1\n# note\n\n2001:db8::/32 2\n");
    ASSERT_EQ(system(("xz -k " + plain).c_str()), 0);
    for (const std::string &path : {plain, plain + ".xz"}) {
        std::vector<ctl_route> routes;
        std::string error;
        ASSERT_EQ(ctl_routes_read(path.c_str(), {64, 0}, &routes, &error), 0) << error;
        ASSERT_EQ(routes.size(), 2u) << path;
        EXPECT_EQ(ctl_prefix_text(routes[1]), "2001:db8::/32");
    }
}

TEST_F(route_file, that_is_bad_is_told_by_file_and_line) {
    const struct {
        std::string path, reason;
    } cases[] = {{write("bad", "10.0.0.0/8 1\nrubbish\n"), "line 2"},
                 {write("cut.xz", std::string("\xfd"
                                              "7zXZ\0rubbish",
                                              13)),
                  "xz could not unpack"},
                 {folder + "/missing", "No such file"}};
    for (const auto &row : cases) {
        std::vector<ctl_route> routes;
        std::string error;
        EXPECT_EQ(ctl_routes_read(row.path.c_str(), {64, 0}, &routes, &error), -1);
        EXPECT_NE(error.find(row.path), std::string::npos) << error;
        EXPECT_NE(error.find(row.reason), std::string::npos) << error;
    }
}

TEST(route_data, is_whole_and_flat) {
    const ctl_route_shape shape{64, 0};
    std::vector<ctl_route> routes;
    ASSERT_EQ(ctl_routes_load({DATA_FOLDER "/internet-v4.txt.xz", DATA_FOLDER "/internet-v6.txt.xz"}, shape,
                              &routes),
              0);
    EXPECT_EQ(routes.size(), 564579u + 167903u);
    size_t overlaps = 0;
    for (size_t i = 1; i < routes.size(); i++)
        if (routes[i].family == routes[i - 1].family)
            overlaps += ctl_route_range(routes[i - 1]).last >= ctl_route_range(routes[i]).first;
    EXPECT_EQ(overlaps, 0u);
}

static std::vector<ctl_route> list_of(std::initializer_list<const char *> lines,
                                      const ctl_route_shape &shape) {
    std::vector<ctl_route> routes;
    for (const char *line : lines) {
        ctl_route route{};
        EXPECT_EQ(ctl_route_parse(line, shape, &route), 1) << line;
        routes.push_back(route);
    }
    ctl_routes_finish(shape, &routes);
    return routes;
}

TEST(route_list, is_sorted_and_the_last_of_equal_prefixes_counts) {
    const auto routes = list_of({"2001:db8::/32 1", "10.0.0.0/8 2", "10.0.0.0/8 3", "10.0.0.0/7 4"}, {64, 0});
    ASSERT_EQ(routes.size(), 3u);
    EXPECT_EQ(ctl_prefix_text(routes[0]), "10.0.0.0/7");
    EXPECT_EQ(routes[1].hop, 3u);
    EXPECT_EQ(routes[2].family, 6u);
}

TEST(route_list, aggregates_cover_have_hops_of_their_own_and_replace_nothing) {
    const ctl_route_shape shape{8, 200};
    std::vector<ctl_route> routes;
    for (uint32_t i = 0; i < 2000; i++) {
        ctl_route route{};
        ASSERT_EQ(ctl_route_parse(
                      (std::to_string(1 + i / 256) + "." + std::to_string(i % 256) + ".0.0/16 3").c_str(),
                      shape, &route),
                  1);
        routes.push_back(route);
    }
    std::vector<ctl_route> again = routes;
    ctl_routes_finish(shape, &routes);
    ctl_routes_finish(shape, &again);
    ASSERT_EQ(routes.size(), again.size());
    EXPECT_TRUE(
        std::equal(routes.begin(), routes.end(), again.begin(), [](const ctl_route &a, const ctl_route &b) {
            return a.hop == b.hop && !ctl_route_less(a, b) && !ctl_route_less(b, a);
        }));

    size_t own = 0, lengths[33] = {};
    for (const ctl_route &route : routes) {
        if (route.hop < shape.next_hops) continue;
        own++;
        lengths[route.bits]++;
        EXPECT_LT(route.hop, ctl_hop_count(shape));
    }
    EXPECT_EQ(routes.size() - own, 2000u) << "an aggregate took the place of a route";
    EXPECT_EQ(own, 201u);
    EXPECT_EQ(lengths[0], 1u);
    EXPECT_GE(std::count_if(lengths, lengths + 33, [](size_t count) { return count != 0; }), 5);
    for (size_t i = 1; i < routes.size(); i++) EXPECT_TRUE(ctl_route_less(routes[i - 1], routes[i]));
}

TEST(route_list, a_shuffle_loses_nothing_and_depends_on_its_seed) {
    std::vector<ctl_route> routes(1000);
    for (uint32_t i = 0; i < 1000; i++) routes[i].hop = i;
    std::vector<ctl_route> one = routes, same = routes, other = routes;
    ctl_routes_shuffle(1, &one);
    ctl_routes_shuffle(1, &same);
    ctl_routes_shuffle(2, &other);
    const auto equal = [](const ctl_route &a, const ctl_route &b) { return a.hop == b.hop; };
    EXPECT_TRUE(std::equal(one.begin(), one.end(), same.begin(), equal));
    EXPECT_FALSE(std::equal(one.begin(), one.end(), other.begin(), equal));
    EXPECT_TRUE(std::is_permutation(one.begin(), one.end(), routes.begin(), equal));
}
