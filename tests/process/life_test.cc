/* The life of routes in a real process, seen from outside: by the supervisor's client and by look-ups. */
#include "tests/process/process_support.h"

class route_life : public process_test, public testing::WithParamInterface<const char *> {};

TEST_P(route_life, from_load_to_delete) {
    const std::string format = GetParam();
    const std::string list = write("list", process_prefix_list(0, 1000));
    const std::vector<std::string> shape = {list, "--next-hops", "7", "--aggregates", "50"};
    const auto with = [&shape](std::vector<std::string> words) {
        words.insert(words.end(), shape.begin(), shape.end());
        return words;
    };
    start(root);
    expect_ctl(0, {"vdc", "create", "1"});
    const process_result loaded =
        expect_ctl(0, with({"load", "--format", format, "--batch", "33", "--shuffle", "5"}));
    EXPECT_NE(loaded.out.find(" 0 refused"), std::string::npos) << loaded.out;
    EXPECT_NE(expect_ctl(0, {"status"}).out.find("ACTIVE"), std::string::npos);

    expect_ctl(0, with({"verify", "--unresolved"}));
    expect_ctl(0, {"resolve", "--next-hops", "7", "--aggregates", "50"});
    const process_result verified = expect_ctl(0, with({"verify"}));
    EXPECT_NE(verified.out.find(" 0 wrong"), std::string::npos) << verified.out;

    /* One neighbour goes and comes back: its routes glean meanwhile, all others go on. */
    const std::string hop = "0x1a000007", near = "10.0.0.7",
                      address = "20.0.4.77"; /* AS 64504, 64504 % 7 == 6 */
    EXPECT_NE(expect_ctl(0, {"lookup", address}).out.find("forward"), std::string::npos);
    expect_ctl(0, {"unresolve", hop, near});
    EXPECT_NE(expect_ctl(0, {"lookup", address}).out.find("glean"), std::string::npos);
    expect_ctl(1, with({"verify"}));
    expect_ctl(0, {"resolve", "--next-hops", "7"});
    expect_ctl(0, with({"verify"}));

    expect_ctl(0, with({"delete", "--format", format}));
    expect_ctl(0, with({"verify", "--absent"}));
    expect_ctl(1, with({"delete", "--format", format})); /* nothing is left to delete */
    expect_ctl(0, {"vdc", "delete", "1"});
    expect_ctl(1, {"load", list});
}
INSTANTIATE_TEST_SUITE_P(formats, route_life, testing::Values("0", "1"));

using process_life = process_test;

TEST_F(process_life, a_new_download_replaces_the_old_one) {
    const std::string old_list = write("old", process_prefix_list(0, 300));
    const std::string new_list = write("new", process_prefix_list(200, 300));
    const std::string gone = write("gone", process_prefix_list(0, 200));
    start(root);
    expect_ctl(0, {"vdc", "create", "1"});
    expect_ctl(1, {"stale", "--epoch", "2"}); /* no download yet: refused, and nothing is deleted */
    expect_ctl(0, {"load", old_list, "--epoch", "1"});
    expect_ctl(0, {"load", new_list, "--epoch", "2"});
    expect_ctl(0, {"resolve"});
    expect_ctl(0, {"verify", old_list});
    expect_ctl(0, {"stale", "--epoch", "2"});
    expect_ctl(0, {"verify", new_list});
    expect_ctl(0, {"verify", gone, "--absent"});
}

TEST_F(process_life, contexts_and_tables_are_apart) {
    const std::string list = write("list", process_prefix_list(0, 50));
    start(root);
    expect_ctl(0, {"vdc", "create", "1"});
    expect_ctl(0, {"vdc", "create", "5"});
    expect_ctl(0, {"load", list, "--vdc", "5", "--table", "77"});
    expect_ctl(0, {"resolve", "--vdc", "5"});
    expect_ctl(0, {"verify", list, "--vdc", "5", "--table", "77"});
    expect_ctl(0, {"verify", list, "--vdc", "1", "--table", "77", "--absent"});
    expect_ctl(0, {"verify", list, "--vdc", "5", "--absent"});
    expect_ctl(0, {"vdc", "delete", "5"});
    expect_ctl(0, {"verify", list, "--vdc", "5", "--table", "77", "--absent"});
}

TEST_F(process_life, one_client_serves_two_instances_at_once) {
    root = folder + "/card{slot}";
    const std::string list = write("list", process_prefix_list(0, 500));
    start(folder + "/card1", 1);
    start(folder + "/card2", 2);
    expect_ctl(0, {"vdc", "create", "1", "--slot", "1,2"});
    const process_result loaded = expect_ctl(0, {"load", list, "--slot", "1,2"});
    EXPECT_NE(loaded.out.find("slot 1: loaded 1,000 routes"), std::string::npos) << loaded.out;
    EXPECT_NE(loaded.out.find("slot 2: loaded 1,000 routes"), std::string::npos) << loaded.out;
    expect_ctl(0, {"resolve", "--slot", "1-2"});
    expect_ctl(0, {"delete", list, "--slot", "2"});
    expect_ctl(0, {"verify", list, "--slot", "1"});
    expect_ctl(0, {"verify", list, "--slot", "2", "--absent"});
    stop(2);
    expect_ctl(0, {"verify", list, "--slot", "1"});
    const process_result half = expect_ctl(3, {"delete", list, "--slot", "1,2"});
    EXPECT_NE(half.out.find("slot 1: deleted 1,000 routes"), std::string::npos) << half.out;
}
