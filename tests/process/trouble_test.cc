/* What people and peers do wrong: clear words, the right exit codes, and a process that goes on. */
#include "tests/process/process_support.h"

#include "tools/lcfwdctl/random.h"
#include "tools/lcfwdctl/wire_batch.h"

#include "host/bus/bus_client.h"
#include "host/system/root.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using trouble = process_test;

static void expect_words(const process_result &result, std::initializer_list<std::string> words) {
    for (const std::string &word : words)
        EXPECT_NE(result.err.find(word), std::string::npos) << "missing: " << word << "\nin: " << result.err;
}

/* A file stands where a folder should be: that stops root too, which permissions would not. */
TEST_F(trouble, unusable_folders_end_the_start_with_their_code) {
    const struct {
        const char *path;
        int code;
        bool told; /* on the error output; else in the log */
    } cases[] = {{"", 64, true}, {"/var/run", 64, true}, {"/dev/shm", 69, false}};
    for (const auto &row : cases) {
        const std::string where =
            folder + "/blocked" + std::to_string(row.code) + std::to_string(strlen(row.path));
        const std::string blocked = where + row.path;
        std::filesystem::create_directories(std::filesystem::path(blocked).parent_path());
        write(blocked.substr(folder.size() + 1), "no folder");
        const process_result result = process_run({LCFWD_BINARY, "--slot", "1", "--root", where}, folder, 10);
        EXPECT_EQ(result.code, row.code) << blocked << "\n" << result.err;
        if (row.told) expect_words(result, {where});
    }
}

TEST_F(trouble, a_blocked_log_is_told_and_the_work_goes_on) {
    std::filesystem::create_directories(root + "/var");
    write("root/var/sysmgr", "no folder");
    const std::string list = write("list", process_prefix_list(0, 10));
    start(root);
    expect_ctl(0, {"vdc", "create", "1"});
    expect_ctl(0, {"load", list});
    expect_words(expect_ctl(3, {"log"}), {"no log"});
    std::ifstream words(folder + "/lcfwd1.err");
    std::string first;
    std::getline(words, first);
    EXPECT_NE(first.find("/var/sysmgr/tmp_logs/lcfwd_log.txt"), std::string::npos) << first;
}

TEST_F(trouble, a_second_process_for_a_slot_is_refused_and_the_first_goes_on) {
    start(root);
    const process_result second = process_run({LCFWD_BINARY, "--slot", "1", "--root", root}, folder);
    EXPECT_EQ(second.code, 64) << second.err;
    EXPECT_FALSE(second.err.empty());
    expect_ctl(0, {"vdc", "create", "1"});
}

TEST_F(trouble, a_second_slot_on_the_same_root_is_refused_and_the_first_goes_on) {
    start(root);
    const process_result second = process_run({LCFWD_BINARY, "--slot", "2", "--root", root}, folder);
    EXPECT_EQ(second.code, 69) << second.err;
    expect_words(second, {"another instance runs on the root directory " + root, "--root"});
    expect_ctl(0, {"vdc", "create", "1"});
}

TEST_F(trouble, bad_command_lines_of_the_process_are_usage_errors) {
    for (const std::vector<std::string> &line :
         {std::vector<std::string>{"--slot", "x"}, {"--unknown"}, {"--root"}}) {
        std::vector<std::string> words = {LCFWD_BINARY};
        words.insert(words.end(), line.begin(), line.end());
        const process_result result = process_run(words, folder, 10);
        EXPECT_EQ(result.code, 2) << line[0] << result.err;
        EXPECT_FALSE(result.err.empty()) << line[0];
    }
    const process_result help = process_run({LCFWD_BINARY, "--help"}, folder, 10);
    EXPECT_EQ(help.code, 0);
    EXPECT_NE(help.out.find("--slot"), std::string::npos);
}

TEST_F(trouble, the_client_says_what_to_do) {
    expect_words(expect_ctl(3, {"vdc", "create", "1"}),
                 {"is lcfwd running", "lcfwd --slot 1 --root " + root});
    expect_words(expect_ctl(3, {"lookup", "10.0.0.1"}), {"no forwarding engine"});
    expect_words(expect_ctl(2, {"vdc", "create", "6"}), {"1 to 5"});
    expect_words(expect_ctl(2, {"load"}), {"usage"});
    expect_words(expect_ctl(2, {"load", folder + "/missing"}), {"No such file"});
    expect_words(expect_ctl(2, {"load", write("bad", "10.0.0.0/8\n")}), {"line 1"});
    expect_words(expect_ctl(2, {"frobnicate"}), {"--help"});
    start(root);
    const std::string list = write("list", process_prefix_list(0, 5));
    expect_words(expect_ctl(1, {"load", list}), {"lcfwdctl vdc create 1"});
    expect_words(expect_ctl(1, {"vdc", "delete", "1"}), {"there is no VDC 1"});
    for (const char *command : {"vdc", "load", "delete", "resolve", "unresolve", "stale", "lookup", "verify",
                                "status", "engine", "store", "send", "trace", "log"})
        EXPECT_NE(expect_ctl(0, {command, "--help"}).out.find("Examples:"), std::string::npos) << command;
}

TEST_F(trouble, raw_messages_are_answered_or_rejected) {
    start(root);
    expect_ctl(0, {"vdc", "create", "1"});
    expect_ctl(1, {"send", "4242", "--sap", "200"}); /* an opcode that nobody serves */
    /* Version 1 with no routes: refused, and the answer says so. */
    const process_result empty = expect_ctl(0, {"send", "74767", "--version", "1", "--json", "--hex",
                                                "00000011 00000000 0000 00 00000007 01 02"});
    EXPECT_NE(empty.out.find("\"00000011"
                             "8000"
                             "0000"
                             "0000"
                             "00"
                             "00000007"
                             "01"
                             "02\""),
              std::string::npos)
        << empty.out;
}

/* Every opcode that the route queue serves, with bytes that mean nothing. */
TEST_F(trouble, garbage_in_messages_harms_nobody) {
    const std::string list = write("list", process_prefix_list(0, 100));
    start(root);
    expect_ctl(0, {"vdc", "create", "1"});
    expect_ctl(0, {"load", list});
    expect_ctl(0, {"resolve"});
    host_root_set(root.c_str());
    bus_client *client = nullptr;
    const bus_client_config config;
    ASSERT_EQ(bus_client_open(&config, &client), 0);
    uint32_t state = 20250;
    std::vector<uint8_t> bytes(4096);
    const uint32_t opcodes[] = {74767, 74768, 74766, 74762, 74765, 75787, 75783,
                                62488, 31747, 7679,  575,   1530,  8931};
    for (int round = 0; round < 400; round++) {
        const uint32_t opcode = opcodes[ctl_random(&state) % std::size(opcodes)];
        for (uint8_t &byte : bytes)
            byte = static_cast<uint8_t>(ctl_random(&state) % 3 == 0 ? ctl_random(&state)
                                                                    : ctl_random(&state) % 4);
        const bus_client_message message = {mts_opc_sap_get(opcode),
                                            opcode,
                                            ctl_random(&state) % 3,
                                            1 + ctl_random(&state) % 6,
                                            bytes.data(),
                                            ctl_random(&state) % 2 ? ctl_random(&state) % 64
                                                                   : ctl_random(&state) % bytes.size()};
        uint32_t token = 0;
        ASSERT_EQ(bus_client_request(client, &message, 5000, &token), 0) << "round " << round;
        mts_msg answer{};
        while (bus_client_receive(client, &answer, 0) == 0) {
        }
    }
    bus_client_close(client);
    ASSERT_TRUE(is_running());
    /* Whatever the bytes happened to say goes with their context; a new one works. */
    expect_ctl(0, {"vdc", "delete", "1"});
    expect_ctl(0, {"vdc", "create", "1"});
    expect_ctl(0, {"load", list});
    expect_ctl(0, {"resolve"});
    expect_ctl(0, {"verify", list});
}

static std::vector<uint8_t> damaged_batch(uint32_t round, uint32_t *state) {
    ctl_batch_form form;
    form.format = round % 2;
    form.family = round / 2 % 2 != 0 ? 6 : 4;
    form.table_id = form.family == 6 ? 0x80000001 : 1;
    std::vector<ctl_route> routes;
    for (uint32_t i = 0; i < 20; i++) {
        ctl_route route{};
        const std::string line = form.family == 4 ? "30.0." + std::to_string(i) + ".0/24 5"
                                                  : "2001:db8:" + std::to_string(i) + "::/48 5";
        EXPECT_EQ(ctl_route_parse(line.c_str(), {64, 0}, &route), 1);
        routes.push_back(route);
    }
    std::vector<uint8_t> bytes = ctl_batch_make(form, routes, round, 0);
    for (uint32_t hits = 1 + ctl_random(state) % 8; hits > 0; hits--)
        bytes[ctl_random(state) % bytes.size()] =
            static_cast<uint8_t>(ctl_random(state) % 2 ? ctl_random(state) : ctl_random(state) % 4);
    if (ctl_random(state) % 4 == 0) bytes.resize(ctl_random(state) % bytes.size());
    return bytes;
}

/* Good batches with some bytes changed or cut off reach much deeper than random bytes. */
TEST_F(trouble, damaged_batches_are_answered_and_harm_nobody) {
    const std::string list = write("list", process_prefix_list(0, 100));
    start(root);
    expect_ctl(0, {"vdc", "create", "1"});
    host_root_set(root.c_str());
    bus_client *client = nullptr;
    const bus_client_config config;
    ASSERT_EQ(bus_client_open(&config, &client), 0);
    uint32_t state = 77;
    for (uint32_t round = 0; round < 1000; round++) {
        const std::vector<uint8_t> bytes = damaged_batch(round, &state);
        const bus_client_message message = {
            200,          round / 2 % 2 != 0 ? CTL_OPC_ROUTES_V6 : CTL_OPC_ROUTES_V4,
            round % 2,    1,
            bytes.data(), bytes.size()};
        uint32_t token = 0;
        mts_msg answer{};
        ASSERT_EQ(bus_client_request(client, &message, 5000, &token), 0) << "round " << round;
        /* Without a whole header there is nothing to answer with. */
        const bool has_header = bytes.size() >= (round % 2 ? sizeof(ctl_batch_v1) : sizeof(ctl_batch_v0));
        const int error = bus_client_answer(client, token, has_header ? 5000 : 20, nullptr, nullptr, &answer);
        ASSERT_EQ(error == 0, has_header) << "round " << round << ", " << bytes.size() << " bytes";
    }
    bus_client_close(client);
    /* What the damage has left behind goes with its context; a new one works. */
    expect_ctl(0, {"vdc", "delete", "1"});
    expect_ctl(0, {"vdc", "create", "1"});
    expect_ctl(0, {"load", list});
    expect_ctl(0, {"resolve"});
    expect_ctl(0, {"verify", list});
}

static std::vector<std::string> sockets_below(const std::string &root) {
    std::vector<std::string> paths;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(root)) {
        struct stat status {};
        if (stat(entry.path().c_str(), &status) == 0 && S_ISSOCK(status.st_mode))
            paths.push_back(entry.path());
    }
    return paths;
}

TEST_F(trouble, bytes_that_are_no_frames_harm_nobody) {
    start(root);
    const std::vector<std::string> paths = sockets_below(root);
    ASSERT_FALSE(paths.empty());
    uint32_t state = 4;
    std::vector<uint8_t> bytes(8192);
    for (const std::string &path : paths) {
        const int fd = socket(AF_UNIX, SOCK_SEQPACKET, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        ASSERT_LT(path.size(), sizeof address.sun_path);
        path.copy(address.sun_path, path.size());
        ASSERT_EQ(connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0) << path;
        for (int round = 0; round < 50; round++) {
            for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(ctl_random(&state));
            if (send(fd, bytes.data(), ctl_random(&state) % bytes.size(), MSG_NOSIGNAL) < 0)
                break; /* thrown out: good */
        }
        close(fd);
    }
    ASSERT_TRUE(is_running());
    expect_ctl(0, {"vdc", "create", "1"});
}

TEST_F(trouble, a_client_that_reads_no_answers_stalls_nobody) {
    const std::string list = write("list", process_prefix_list(0, 500));
    start(root);
    expect_ctl(0, {"vdc", "create", "1"});
    host_root_set(root.c_str());
    bus_client *deaf = nullptr;
    const bus_client_config config;
    ASSERT_EQ(bus_client_open(&config, &deaf), 0);
    const std::vector<uint8_t> payload(64, 0);
    const bus_client_message message = {200, 4242, 0, 1, payload.data(), payload.size()};
    uint32_t token = 0, sent = 0;
    for (int tries = 0; tries < 20000; tries++) sent += bus_client_request(deaf, &message, 1, &token) == 0;
    EXPECT_GT(sent, 1000u);
    expect_ctl(0, {"load", list, "--timeout", "5000"});
    expect_ctl(0, {"resolve"});
    expect_ctl(0, {"verify", list});
    bus_client_close(deaf);
}
