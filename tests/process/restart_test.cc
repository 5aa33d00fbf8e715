/* A process that is killed and started again: forwarding goes on, nothing is written, and the next download finds the
 * routes of before. */
#include "tests/process/process_support.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <random>
#include <sstream>
#include <thread>

class restart : public process_test {
protected:
    /* A figure of the engine by name. */
    uint64_t figure(const std::string &name) {
        std::istringstream rows(expect_ctl(0, {"engine"}).out);
        for (std::string line; std::getline(rows, line);) {
            std::istringstream words(line);
            std::string slot, key;
            uint64_t value = 0;
            if (words >> slot >> key >> value && key == name) return value;
        }
        ADD_FAILURE() << "no figure " << name;
        return 0;
    }
    void again() {
        crash();
        start(root);
    }
};

TEST_F(restart, routes_survive_a_kill_and_the_next_download_replaces_them) {
    const std::string old_list = write("old", process_prefix_list(0, 2500));
    const std::string new_list = write("new", process_prefix_list(250, 2500));
    const std::string gone = write("gone", process_prefix_list(0, 250));
    start(root);
    expect_ctl(0, {"vdc", "create", "1"});
    expect_ctl(0, {"load", old_list, "--next-hops", "9", "--epoch", "1"});
    expect_ctl(0, {"resolve", "--next-hops", "9"});
    const uint64_t writes = figure("writes"), prefixes = figure("v4_prefixes");
    again();
    expect_ctl(0, {"verify", old_list, "--next-hops", "9"});
    EXPECT_EQ(figure("writes"), writes);
    EXPECT_EQ(figure("key_differences") + figure("content_differences") + figure("failures"), 0u);
    EXPECT_EQ(figure("v4_prefixes"), prefixes);
    EXPECT_NE(expect_ctl(0, {"status"}).out.find("ACTIVE"), std::string::npos);
    again();
    EXPECT_EQ(figure("writes"), writes);
    expect_ctl(0, {"load", new_list, "--next-hops", "9", "--epoch", "2"});
    expect_ctl(0, {"stale", "--epoch", "2"});
    expect_ctl(0, {"verify", new_list, "--next-hops", "9"});
    expect_ctl(0, {"verify", gone, "--absent"});
    again();
    expect_ctl(0, {"verify", new_list, "--next-hops", "9"});
    expect_ctl(0, {"verify", gone, "--absent"});
}

TEST_F(restart, damaged_databases_are_said_and_the_rest_is_used) {
    const std::string list = write("list", process_prefix_list(0, 400));
    start(root);
    expect_ctl(0, {"vdc", "create", "1"});
    expect_ctl(0, {"load", list, "--next-hops", "3"});
    expect_ctl(0, {"resolve", "--next-hops", "3"});
    crash();
    for (const char *name : {"v4adj", "prefix", "gladj"}) {
        const std::string path = root + "/dev/shm/lcfwd_" + name + "_vdc_1";
        ASSERT_TRUE(std::filesystem::exists(path)) << path;
        std::filesystem::resize_file(path, std::filesystem::file_size(path) / 3);
        start(root);
        expect_ctl(0, {"load", list, "--next-hops", "3"});
        expect_ctl(0, {"resolve", "--next-hops", "3"});
        expect_ctl(0, {"verify", list, "--next-hops", "3"});
        crash();
    }
    std::filesystem::remove(root + "/dev/shm/softfwd_1"); /* hardware without tables, a store full of them */
    start(root);
    expect_ctl(0, {"verify", list, "--absent"});
    expect_ctl(0, {"load", list, "--next-hops", "3"});
    expect_ctl(0, {"resolve", "--next-hops", "3"});
    expect_ctl(0, {"verify", list, "--next-hops", "3"});
}

TEST_F(restart, a_probe_sees_nothing_wrong_while_the_process_dies_under_churn) {
    constexpr int DEATHS = 10;
    const std::string list = write("list", process_prefix_list(0, 1000));
    const std::string churn = write("churn", process_prefix_list(5000, 500));
    start(root);
    expect_ctl(0, {"vdc", "create", "1"});
    expect_ctl(0, {"load", list, "--next-hops", "7"});
    expect_ctl(0, {"resolve", "--next-hops", "7"});
    std::atomic<bool> stop = false;
    process_result probed{};
    std::thread probe([&] {
        std::filesystem::create_directory(folder + "/probe");
        probed = process_run({LCFWDCTL_BINARY, "probe", list, "--next-hops", "7", "--or-next-hops", "5",
                              "--churn", churn, "--changes", "0", "--seconds", "15", "--root", root},
                             folder + "/probe", 60);
    });
    std::thread supervisor([&] {
        const std::string out = folder + "/churn_runs";
        std::filesystem::create_directory(out);
        const auto run = [&](std::vector<std::string> words) {
            words.insert(words.begin(), LCFWDCTL_BINARY);
            words.insert(words.end(), {"--root", root, "--quiet", "--timeout", "2000"});
            process_run(words, out, 10); /* it may fail: the process may be away */
        };
        while (!stop) {
            run({"load", list, "--next-hops", "5", "--batch", "40"});
            run({"load", churn, "--next-hops", "7", "--batch", "40"});
            run({"load", list, "--next-hops", "7", "--batch", "40"});
            run({"delete", churn, "--batch", "40"});
        }
    });
    std::minstd_rand random(7);
    for (int death = 0; death < DEATHS && !HasFailure(); death++) {
        std::this_thread::sleep_for(std::chrono::milliseconds(150 + random() % 400));
        again();
    }
    stop = true;
    supervisor.join();
    expect_ctl(0, {"load", list, "--next-hops", "7"});
    (void)ctl({"load", churn, "--next-hops", "7"});
    (void)ctl({"delete", churn});
    expect_ctl(0, {"verify", list, "--next-hops", "7"});
    expect_ctl(0, {"verify", churn, "--absent"});
    EXPECT_EQ(figure("key_differences"), 0u);
    probe.join();
    EXPECT_EQ(probed.code, 0) << probed.out << probed.err;
    EXPECT_NE(probed.out.find(" 0 wrong, 0 of them missing"), std::string::npos) << probed.out << probed.err;
    printf("%s", probed.out.c_str());
}
