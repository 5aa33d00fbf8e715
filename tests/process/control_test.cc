/* What operators and the supervisor tell a real process besides routes, each seen in the engine's answers. */
#include "tests/process/process_support.h"

struct control_life : process_test {
    /* The row of a table that holds 'word'. */
    std::string row(const std::vector<std::string> &words, const std::string &word, int code = 0) {
        const std::string out = expect_ctl(code, words).out;
        const size_t at = out.find(word);
        if (at == std::string::npos) return "";
        return out.substr(out.rfind('\n', at) + 1, out.find('\n', at) - out.rfind('\n', at) - 1);
    }
    std::string lookup(const std::string &address, const std::vector<std::string> &more = {}, int code = 0) {
        std::vector<std::string> words = {"lookup", address};
        words.insert(words.end(), more.begin(), more.end());
        return row(words, address, code);
    }
    static bool has(const std::string &text, const std::string &part) {
        return text.find(part) != std::string::npos;
    }
};

TEST_F(control_life, interfaces_macs_tunnels_clears_and_ageing) {
    start(root);
    expect_ctl(0, {"vdc", "create", "1"});
    const std::string list = write("list", "20.0.0.0/24 2\n20.0.1.0/24 1\n2001:db8::/48 2\n");
    expect_ctl(0, {"load", list, "--next-hops", "2"});
    expect_ctl(0, {"resolve", "--next-hops", "2"});
    const std::string near = "0x1a000001"; /* next hop 0: AS 2 */
    struct step {
        std::vector<std::string> command;
        const char *v4, *v6; /* what look-ups behind the interface give then */
    };
    for (const step &s : {step{{"interface", "down", near}, "drop", "drop"},
                          {{"interface", "up", near}, "forward", "forward"},
                          {{"interface", "delete", near}, "drop", "drop"},
                          {{"resolve", "--next-hops", "2"}, "forward", "forward"}}) {
        expect_ctl(0, s.command);
        EXPECT_TRUE(has(lookup("20.0.0.1"), s.v4)) << s.command[1];
        EXPECT_TRUE(has(lookup("2001:db8::1"), s.v6)) << s.command[1];
        EXPECT_TRUE(has(lookup("20.0.1.1"), "forward")) << "another interface";
    }
    const std::vector<std::string> strange = {"--flow", "20.0.1.9,1,2,tcp", "--in", near};
    EXPECT_TRUE(has(lookup("20.0.0.1", strange), "forward"));
    expect_ctl(0, {"interface", "rpf", near, "strict"});
    EXPECT_TRUE(has(lookup("20.0.0.1", strange), "rpf drop"));
    expect_ctl(0, {"interface", "rpf", near, "loose"});
    EXPECT_TRUE(has(lookup("20.0.0.1", strange), "forward"));

    expect_ctl(0, {"mac", "router", "02:00:00:00:00:aa"});
    expect_ctl(0, {"mac", "static", near, "02:00:00:00:00:bb"});
    EXPECT_TRUE(has(row({"engine", "adjacencies"}, "10.0.0.1"), "02:00:00:00:00:bb"));
    EXPECT_TRUE(has(row({"engine", "adjacencies"}, "10.0.0.2"), "02:00:00:00:00:aa"));
    expect_ctl(0, {"mac", "static", near, "none"});
    EXPECT_TRUE(has(row({"engine", "adjacencies"}, "10.0.0.1"), "02:00:00:00:00:aa"));

    expect_ctl(0, {"tunnel", "add", "0x22000001", "10.9.9.1", "gre", "192.0.2.1", "198.51.100.1", "--mac",
                   "02:00:00:00:00:07"});
    EXPECT_TRUE(has(row({"engine", "adjacencies"}, "10.9.9.1"), "gre 192.0.2.1 to 198.51.100.1"));
    expect_ctl(0, {"tunnel", "delete", "0x22000001", "10.9.9.1"});
    EXPECT_EQ(row({"engine", "adjacencies"}, "10.9.9.1"), "") << "nobody else needs it";
    expect_ctl(2, {"tunnel", "add", "0x22000001", "10.9.9.1", "gre", "2001:db8::1", "198.51.100.1"});

    (void)expect_ctl(0, {"aged"}); /* begins a new age */
    EXPECT_TRUE(has(lookup("20.0.0.1", {"--count"}), "forward"));
    EXPECT_EQ(row({"aged"}, "20.0.0.0/24"), "");
    EXPECT_NE(row({"aged"}, "20.0.1.0/24"), "");
    EXPECT_NE(row({"aged", "--family", "6"}, "2001:db8::/48"), "");

    expect_ctl(0, {"clear", "route", "20.0.0.0/24"});
    EXPECT_TRUE(has(lookup("20.0.0.1", {}, 1), "no route"));
    expect_ctl(1, {"clear", "route", "20.0.0.0/24"});
    expect_ctl(0, {"clear", "route", "--all", "--family", "6"});
    EXPECT_TRUE(has(lookup("2001:db8::1", {}, 1), "no route"));
    expect_ctl(0, {"clear", "adjacency", near, "10.0.0.1", "--delete"});
    EXPECT_EQ(row({"engine", "adjacencies"}, "10.0.0.1"), "") << "no route uses it";
}
