/* tests/process/process_support.h: real processes of lcfwd and lcfwdctl below a root directory of the test's own. */
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <sys/types.h>
#include <vector>

struct process_result {
    int code; /* exit code, or 128 + signal; -1 when it had to be killed after the time-out */
    std::string out, err;
};

/* Runs a program to its end, at most for so many seconds; its output goes through files in 'folder'. */
process_result process_run(const std::vector<std::string> &words, const std::string &folder,
                           int seconds = 60);

/* The same for a program that runs on meanwhile; process_end() asks it to end, by SIGTERM, and waits for it. */
[[nodiscard]] pid_t process_begin(const std::vector<std::string> &words, const std::string &folder);
process_result process_end(pid_t pid, const std::string &folder, int seconds = 60);

/* A folder for one test, with everything below it removed at the end, and the processes that the test started. */
class process_test : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override; /* stops what still runs and wants it to end well */

    /* Starts lcfwd for a slot on 'root' and waits until it answers. */
    void start(const std::string &root, int slot = 1, const std::vector<std::string> &more = {});
    void stop(int slot = 1);  /* SIGTERM; the exit code must be 0 */
    void crash(int slot = 1); /* SIGKILL */
    /* lcfwd is started and nobody waits for its answer. */
    void begin(const std::string &root, int slot = 1, const std::vector<std::string> &more = {});
    [[nodiscard]] bool is_running(int slot = 1);
    [[nodiscard]] pid_t pid_of(int slot = 1); /* 0: none was started */

    /* lcfwdctl with the root of this test and quiet. */
    process_result ctl(std::vector<std::string> words);
    /* The same, and its exit code must be 'code'. */
    process_result expect_ctl(int code, std::vector<std::string> words);

    std::string write(const std::string &name, const std::string &text);

    std::string base = "/tmp"; /* of the test's folder */
    std::string folder, root;

private:
    struct instance {
        int slot;
        pid_t pid;
    };
    std::vector<instance> instances;
};

/* A prefix list: 'count' IPv4 /24s and as many IPv6 /48s, from number 'first'. */
std::string process_prefix_list(unsigned first, unsigned count);
