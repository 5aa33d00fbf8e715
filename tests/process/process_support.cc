#include "tests/process/process_support.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

static constexpr int STEP_MS = 5;

static pid_t spawn(const std::vector<std::string> &words, const std::string &out, const std::string &err) {
    std::vector<char *> arguments;
    for (const std::string &word : words) arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    const pid_t pid = fork();
    if (pid != 0) return pid;
    const int in = open("/dev/null", O_RDONLY);
    const int out_fd = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int err_fd = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (in < 0 || out_fd < 0 || err_fd < 0) _exit(126);
    dup2(in, 0);
    dup2(out_fd, 1);
    dup2(err_fd, 2);
    /* The process ends without taking its model down, on purpose: what it holds then is no leak. */
    if (words[0] == LCFWD_BINARY) setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
    execv(arguments[0], arguments.data());
    _exit(127);
}

/* The exit code, or -1 when the time is over. */
static int await(pid_t pid, int seconds) {
    int status = 0;
    for (int waited = 0; waited < seconds * 1000; waited += STEP_MS) {
        if (waitpid(pid, &status, WNOHANG) == pid)
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        std::this_thread::sleep_for(std::chrono::milliseconds(STEP_MS));
    }
    return -1;
}

static void kill_hard(pid_t pid) {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

static std::string read_file(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

static process_result take_result(pid_t pid, const std::string &folder, int seconds) {
    const int code = await(pid, seconds);
    if (code < 0) kill_hard(pid);
    return {code, read_file(folder + "/run.out"), read_file(folder + "/run.err")};
}

pid_t process_begin(const std::vector<std::string> &words, const std::string &folder) {
    return spawn(words, folder + "/run.out", folder + "/run.err");
}

process_result process_end(pid_t pid, const std::string &folder, int seconds) {
    kill(pid, SIGTERM);
    return take_result(pid, folder, seconds);
}

process_result process_run(const std::vector<std::string> &words, const std::string &folder, int seconds) {
    return take_result(process_begin(words, folder), folder, seconds);
}

void process_test::SetUp() {
    folder = base + "/lcfwd_process_XXXXXX";
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    root = folder + "/root";
}

void process_test::TearDown() {
    const bool failed = HasFailure();
    while (!instances.empty()) stop(instances.back().slot);
    if (failed) {
        fprintf(stderr, "kept: %s\n", folder.c_str());
        return;
    }
    std::filesystem::remove_all(folder);
}

void process_test::begin(const std::string &where, int slot, const std::vector<std::string> &more) {
    std::vector<std::string> words = {LCFWD_BINARY, "--slot", std::to_string(slot), "--root", where};
    words.insert(words.end(), more.begin(), more.end());
    const std::string name = folder + "/lcfwd" + std::to_string(slot);
    instances.push_back({slot, spawn(words, name + ".out", name + ".err")});
}

void process_test::start(const std::string &where, int slot, const std::vector<std::string> &more) {
    begin(where, slot, more);
    process_result asked{};
    for (int tries = 0; tries < 20; tries++) {
        asked =
            process_run({LCFWDCTL_BINARY, "status", "--slot", std::to_string(slot), "--root", where}, folder);
        if (asked.code == 0 || !is_running(slot)) break;
    }
    ASSERT_EQ(asked.code, 0) << "lcfwd did not answer\n"
                             << asked.err << read_file(folder + "/lcfwd" + std::to_string(slot) + ".err");
}

bool process_test::is_running(int slot) {
    for (const instance &one : instances) {
        if (one.slot != slot) continue;
        /* A look without taking: the exit code is for stop(). */
        siginfo_t ended{};
        const int error = waitid(P_PID, static_cast<id_t>(one.pid), &ended, WEXITED | WNOHANG | WNOWAIT);
        return error == 0 && ended.si_pid == 0;
    }
    return false;
}

pid_t process_test::pid_of(int slot) {
    for (const instance &one : instances)
        if (one.slot == slot) return one.pid;
    return 0;
}

void process_test::stop(int slot) {
    const auto found = std::find_if(instances.begin(), instances.end(),
                                    [slot](const instance &one) { return one.slot == slot; });
    ASSERT_NE(found, instances.end());
    kill(found->pid, SIGTERM);
    const int code = await(found->pid, 20);
    if (code < 0) kill_hard(found->pid);
    instances.erase(found);
    EXPECT_EQ(code, 0) << "lcfwd of slot " << slot << " ended badly\n"
                       << read_file(folder + "/lcfwd" + std::to_string(slot) + ".err");
}

void process_test::crash(int slot) {
    const auto found = std::find_if(instances.begin(), instances.end(),
                                    [slot](const instance &one) { return one.slot == slot; });
    ASSERT_NE(found, instances.end());
    kill_hard(found->pid);
    instances.erase(found);
}

process_result process_test::ctl(std::vector<std::string> words) {
    words.insert(words.begin(), LCFWDCTL_BINARY);
    words.insert(words.end(), {"--root", root, "--quiet"});
    return process_run(words, folder);
}

process_result process_test::expect_ctl(int code, std::vector<std::string> words) {
    process_result result = ctl(words);
    std::string line;
    for (const std::string &word : words) line += " " + word;
    EXPECT_EQ(result.code, code) << "lcfwdctl" << line << "\n" << result.out << result.err;
    return result;
}

std::string process_test::write(const std::string &name, const std::string &text) {
    const std::string path = folder + "/" + name;
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

std::string process_prefix_list(unsigned first, unsigned count) {
    std::ostringstream text;
    for (unsigned i = first; i < first + count; i++) {
        text << 20 + i / 65536 << '.' << i / 256 % 256 << '.' << i % 256 << ".0/24 " << 64500 + i << '\n';
        text << std::hex << "2001:db8:" << i << "::/48 " << std::dec << 65000 + i << '\n';
    }
    return text.str();
}
