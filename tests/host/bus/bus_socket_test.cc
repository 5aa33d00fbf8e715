#include "tests/host/bus/socket_rig.h"
#include "tests/host/child.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

using opcodes = std::vector<uint32_t>;

struct bus_socket : socket_rig {};

TEST_F(bus_socket, directory_and_sockets_are_private_and_go_with_the_bus) {
    const std::string directory = root + "/var/run/lcfwd/slot1";
    struct stat info;
    ASSERT_EQ(stat(directory.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0700u);
    ASSERT_EQ(stat((directory + "/sap200").c_str(), &info), 0);
    EXPECT_TRUE(S_ISSOCK(info.st_mode));
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    mts_reset();
    EXPECT_NE(stat((directory + "/sap200").c_str(), &info), 0);
}

TEST_F(bus_socket, messages_wait_from_bind_on_also_when_their_sender_has_gone) {
    const int fd = raw_connect(UCAST);
    for (uint32_t i = 1; i <= 100; i++) raw_send(fd, frame_of(i));
    raw_send(fd, frame_of(101, MTS_PAYLOAD_MAX));
    close(fd);
    const opcodes got = serve(ucast, 17);
    ASSERT_EQ(got.size(), 101u);
    EXPECT_EQ(got.front(), 1u);
    EXPECT_EQ(got.back(), 101u);
    EXPECT_EQ(mts_counters_get()->peers, 0u) << "its end was seen";
}

TEST_F(bus_socket, garbage_is_counted_and_survived_by_its_own_connection) {
    const int fd = raw_connect(UCAST);
    std::vector<uint8_t> good = frame_of(7, 10);
    std::vector<uint8_t> magic = good, length = good, kind = good, version = good;
    magic[0] = 'X';
    length[43] ^= 1;
    kind[5] = 9;
    version[4] = 2;
    const std::vector<uint8_t> empty, cut(good.begin(), good.begin() + 47), huge(BUS_FRAME_MAX + 1);
    for (const auto &bad : {magic, length, kind, version, empty, cut, huge}) raw_send(fd, bad);
    raw_send(fd, good);
    EXPECT_EQ(serve(ucast), opcodes{7});
    EXPECT_EQ(mts_counters_get()->bad_frames, 7u);
    EXPECT_EQ(mts_counters_get()->peers, 1u);
    close(fd);
    EXPECT_EQ(serve(ucast), opcodes{});
    EXPECT_EQ(mts_counters_get()->bad_frames, 7u) << "the end of a connection is no frame";
}

TEST_F(bus_socket, a_message_behind_much_garbage_needs_no_further_event_to_be_found) {
    const int fd = raw_connect(UCAST);
    for (int i = 0; i < 200; i++) raw_send(fd, std::vector<uint8_t>(20));
    raw_send(fd, frame_of(7));
    int waits = 0;
    for (; !mts_queue_ready(ucast); waits++) ASSERT_EQ(mts_wait(-1), 0);
    EXPECT_LT(waits, 10);
    EXPECT_EQ(serve(ucast), opcodes{7});
    close(fd);
}

TEST_F(bus_socket, one_connection_in_overload_leaves_the_others_their_turn) {
    const int loud = raw_connect(UCAST), quiet = raw_connect(UCAST);
    for (uint32_t i = 0; i < 100; i++) raw_send(loud, frame_of(1));
    raw_send(quiet, frame_of(2));
    const opcodes got = serve(ucast);
    ASSERT_EQ(got.size(), 101u);
    EXPECT_LE(std::find(got.begin(), got.end(), 2u) - got.begin(), 2);
    close(loud);
    close(quiet);
}

TEST_F(bus_socket, a_client_that_never_reads_costs_itself_its_answers_and_nothing_else) {
    const int deaf = raw_connect(UCAST);
    const int good = raw_connect(UCAST);
    size_t sent = 0;
    for (int round = 0; round < 400; round++) {
        for (int i = 0; i < 20; i++) raw_send(deaf, frame_of(1));
        sent += serve(ucast, 1000).size();
    }
    EXPECT_EQ(sent, 8000u);
    EXPECT_GT(mts_counters_get()->dropped, 0u);
    raw_send(good, frame_of(2));
    EXPECT_EQ(serve(ucast, 3), opcodes{2});
    uint8_t answer[100];
    EXPECT_EQ(recv(good, answer, sizeof answer, MSG_DONTWAIT), 51);
    /* When it begins to read at last, what was kept for it comes whole and in order. */
    uint64_t read = 0;
    std::vector<uint8_t> frame(2000);
    for (int idle = 0; idle < 2;) {
        const ssize_t size = recv(deaf, frame.data(), frame.size(), MSG_DONTWAIT);
        if (size < 0) {
            idle++;
            ASSERT_EQ(mts_wait(0), 0);
            continue;
        }
        ASSERT_EQ(size, 1048);
        read++;
        idle = 0;
    }
    EXPECT_EQ(read, 8000 - mts_counters_get()->dropped);
    close(deaf);
    close(good);
}

TEST_F(bus_socket, answers_to_a_dead_client_are_counted_as_undeliverable) {
    const int fd = raw_connect(UCAST);
    raw_send(fd, frame_of(1));
    ASSERT_EQ(mts_wait(0), 0);
    mts_msg *message = nullptr;
    ASSERT_EQ(fu_mts_recv(ucast, &message, 1, 0), 0);
    close(fd);
    EXPECT_EQ(fu_mts_send_response(ucast, "x", 1, message, 0), -1);
    EXPECT_EQ(errno, EHOSTUNREACH);
    EXPECT_EQ(mts_counters_get()->undeliverable, 1u);
    fu_mts_drop(message);
    EXPECT_EQ(serve(ucast), opcodes{});
    /* The same place taken by another client is another connection. */
    const int next = raw_connect(UCAST);
    raw_send(next, frame_of(2));
    EXPECT_EQ(serve(ucast, 0), opcodes{2});
    close(next);
}

TEST_F(bus_socket, connections_beyond_the_bound_and_without_descriptors_are_refused) {
    std::vector<int> fds;
    for (int i = 0; i < 300; i++) {
        fds.push_back(raw_connect(UCAST));
        ASSERT_EQ(mts_wait(0), 0);
    }
    EXPECT_EQ(mts_counters_get()->peers, 256u);
    EXPECT_EQ(mts_counters_get()->refused_peers, 44u);
    for (const int fd : fds) close(fd);
    EXPECT_EQ(serve(ucast), opcodes{});
    EXPECT_EQ(mts_counters_get()->peers, 0u);

    const int waiting = raw_connect(UCAST);
    const int lowest = open("/dev/null", O_RDONLY);
    rlimit limit, none;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    none = limit;
    none.rlim_cur = static_cast<rlim_t>(lowest);
    close(lowest);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    EXPECT_EQ(mts_wait(1'000'000), 0);
    EXPECT_EQ(mts_wait(0), 0);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    const mts_counters counts = *mts_counters_get();
    EXPECT_EQ(counts.refused_peers + counts.peers, 45u) << "taken or refused, not left to wake us for ever";
    close(waiting);
}

TEST_F(bus_socket, a_second_process_of_the_slot_is_refused_and_a_dead_one_is_replaced) {
    /* The child inherits the lock's descriptor; opening it anew is what must fail. */
    EXPECT_EQ(in_child([] {
                  mts_config config;
                  _exit(mts_start(&config) == EADDRINUSE && strstr(mts_error_text(), "slot 1") ? 0 : 1);
              }),
              0);
    mts_reset();
    in_child([this] { start(), raise(SIGKILL); });
    EXPECT_TRUE(std::filesystem::exists(root + "/var/run/lcfwd/slot1/sap200")) << "left behind";
    start();
    const int fd = raw_connect(UCAST);
    raw_send(fd, frame_of(5));
    EXPECT_EQ(serve(ucast), opcodes{5});
    close(fd);
}

TEST_F(bus_socket, a_sender_of_another_user_is_ignored_and_counted) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
    /* The directory alone keeps others out; opened wide, the credentials must. */
    ASSERT_EQ(chmod(root.c_str(), 0777), 0);
    for (const char *part :
         {"/var", "/var/run", "/var/run/lcfwd", "/var/run/lcfwd/slot1", "/var/run/lcfwd/slot1/sap200"})
        ASSERT_EQ(chmod((root + part).c_str(), 0777), 0);
    const int status = in_child([] {
        if (setgroups(0, nullptr) != 0 || setgid(65534) != 0 || setuid(65534) != 0) _exit(1);
        const int fd = raw_connect(UCAST);
        const std::vector<uint8_t> frame = frame_of(1);
        _exit(send(fd, frame.data(), frame.size(), MSG_NOSIGNAL) > 0 ? 0 : 2);
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(serve(ucast), opcodes{});
    EXPECT_EQ(mts_counters_get()->foreign_senders, 1u);
    EXPECT_EQ(mts_counters_get()->received, 0u);
}

TEST_F(bus_socket, a_run_directory_of_another_user_or_out_of_reach_is_named) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a directory away";
    mts_reset();
    ASSERT_EQ(chown((root + "/var/run/lcfwd/slot1").c_str(), 65534, 65534), 0);
    mts_config config;
    EXPECT_EQ(mts_start(&config), EPERM);
    EXPECT_NE(std::string(mts_error_text()).find("belongs to another user"), std::string::npos);
    std::filesystem::remove_all(root + "/var/run/lcfwd");
    ASSERT_GE(close(creat((root + "/var/run/lcfwd").c_str(), 0600)), 0);
    EXPECT_NE(mts_start(&config), 0);
    EXPECT_NE(std::string(mts_error_text()).find("/var/run/lcfwd/slot1"), std::string::npos)
        << mts_error_text();
}

TEST_F(bus_socket, a_root_longer_than_a_socket_name_works) {
    mts_reset();
    const std::string deep = root + "/" + std::string(100, 'd') + "/" + std::string(100, 'e');
    std::filesystem::create_directories(deep);
    host_root_set(deep.c_str());
    start();
    const int fd = raw_connect(UCAST);
    raw_send(fd, frame_of(9));
    EXPECT_EQ(serve(ucast), opcodes{9});
    close(fd);
}

TEST_F(bus_socket, a_wait_ends_for_a_message_a_wake_and_the_time) {
    EXPECT_EQ(mts_wait(1'000'000), 0) << "time";
    mts_wake();
    EXPECT_EQ(mts_wait(-1), 0) << "wake";
    const int fd = raw_connect(UCAST);
    EXPECT_EQ(mts_wait(-1), 0) << "connection";
    raw_send(fd, frame_of(1));
    EXPECT_EQ(mts_wait(-1), 0) << "message";
    EXPECT_TRUE(mts_queue_ready(ucast));
    EXPECT_FALSE(mts_queue_ready(sys));
    close(fd);
}
