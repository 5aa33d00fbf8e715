/* Counters and checks against a real process: packets are seen, and damage is found by each check that can see it. */
#include "tests/process/process_support.h"

struct check_life : process_test {
    bool says(int code, const std::vector<std::string> &words, const std::string &part) {
        return expect_ctl(code, words).out.find(part) != std::string::npos;
    }
};

TEST_F(check_life, packets_are_counted_and_damage_is_found) {
    start(root);
    expect_ctl(0, {"vdc", "create", "1"});
    const std::string list = write("list", "20.0.0.0/24 2\n2001:db8::/48 2\n");
    const std::vector<std::string> routes = {"check", "routes", list, "--next-hops", "2"};
    expect_ctl(1, {"stats"}); /* nothing was loaded: the context is not active */
    expect_ctl(0, {"load", list, "--next-hops", "2"});
    expect_ctl(0, {"resolve", "--next-hops", "2"});
    expect_ctl(0, {"lookup", "20.0.0.1", "2001:db8::1", "--count"});
    EXPECT_TRUE(says(0, {"stats", "--json"}, "\"next_hop\": \"fe80::1\", \"packets\": 1, \"bytes\": 64"));
    expect_ctl(0, {"engine", "count", "9", "1000", "64000"});
    EXPECT_TRUE(says(0, {"stats", "0x1a000001", "10.0.0.1", "--json"}, "\"packets\": 1001"));
    expect_ctl(1, {"stats", "0x1a000001", "10.0.0.9"});

    expect_ctl(0, routes);
    expect_ctl(0, {"check", "routes", list, "--next-hops", "2", "--format", "0"});
    expect_ctl(0, {"check", "neighbours", "--next-hops", "2"});
    EXPECT_TRUE(says(0, {"check", "model"}, "all agree"));
    EXPECT_TRUE(says(1, {"check", "neighbours", "--next-hops", "1"}, "10.0.0.2  not among the neighbours"));
    const std::string other = write("other", "20.0.0.0/24 2\n20.0.9.0/24 2\n2001:db8::/48 1\n");
    const std::string out = expect_ctl(1, {"check", "routes", other, "--next-hops", "2", "--json"}).out;
    EXPECT_NE(out.find("\"prefix\": \"20.0.9.0/24\", \"flags\": \"0x80\", \"what\": \"not here\""),
              std::string::npos)
        << out;
    EXPECT_NE(out.find("\"prefix\": \"2001:db8::/48\", \"flags\": \"0x40\", \"what\": \"other next hops\""),
              std::string::npos)
        << out;

    const struct {
        std::vector<std::string> damage, seen_by;
        const char *row;
    } damages[] = {
        {{"engine", "corrupt", "next", "1"}, routes, "the engine differs"},
        {{"engine", "corrupt", "address", "2"}, routes, "the engine differs"},
        {{"engine", "corrupt", "mac", "9"}, {"check", "neighbours", "--next-hops", "2"}, "differs"}};
    for (const auto &each : damages) {
        std::vector<std::string> meant = each.damage;
        expect_ctl(2, meant); /* not without being told that it is meant */
        meant.push_back("--damage-forwarding");
        expect_ctl(0, meant);
        EXPECT_TRUE(says(1, each.seen_by, each.row)) << each.damage[2];
        EXPECT_TRUE(says(1, {"check", "model"}, " disagreements")) << each.damage[2];
        expect_ctl(0, meant);
    }
    EXPECT_TRUE(says(0, {"show", "ip", "consistency", "20.0.0.0/24"}, "all agree"));
    expect_ctl(1, {"engine", "corrupt", "mac", "4000000", "--damage-forwarding"});
    expect_ctl(2, {"check", "routes"});
}

/* The report has every VDC, the store's routes too, and no name twice; refusals are JSON as well. */
TEST_F(check_life, a_report_tells_everything_once) {
    start(root);
    const std::string list = write("list", "20.0.0.0/24 2\n");
    for (const char *vdc : {"1", "2"}) {
        expect_ctl(0, {"vdc", "create", vdc});
        expect_ctl(0, {"load", list, "--next-hops", "2", "--vdc", vdc});
    }
    const std::string report = expect_ctl(0, {"show", "tech", "--json"}).out;
    for (const char *name : {"\n\"show ip stored-route\": ", "\n\"vdc 2 show ip route\": ",
                             "\n\"show process\": ", "\n\"show ip adjacency --statistics\": "}) {
        const size_t at = report.find(name);
        ASSERT_NE(at, std::string::npos) << name;
        EXPECT_EQ(report.find(name, at + 1), std::string::npos) << name;
    }
    EXPECT_EQ(expect_ctl(1, {"show", "ip", "route", "9.9.9.9", "--json"}).out,
              "{\"error\":\"no match in table 0x1\"}\n");
    EXPECT_NE(expect_ctl(0, {"show", "ip", "route", "--vdc", "3"}).err.find("not active"), std::string::npos);
}
