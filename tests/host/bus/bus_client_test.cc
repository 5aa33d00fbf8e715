#include "host/bus/bus_client.h"
#include "tests/host/bus/socket_rig.h"

#include <poll.h>
#include <sys/wait.h>

#include <atomic>
#include <cerrno>
#include <thread>

/* The process's end runs on a thread of its own here: the client's calls wait for it. Only one of the two
 * threads touches the process's end at any time. */
struct bus_client_pair : socket_rig {
    bus_client *client = nullptr;

    void SetUp() override {
        socket_rig::SetUp();
        const bus_client_config config;
        ASSERT_EQ(bus_client_open(&config, &client), 0);
    }
    void TearDown() override {
        bus_client_close(client);
        socket_rig::TearDown();
    }
    void subscribe(bus_client *who) {
        std::atomic<bool> stop = false;
        std::thread process([&] {
            while (!stop) {
                (void)mts_wait(1'000'000);
                (void)mts_queue_ready(sys);
            }
        });
        EXPECT_EQ(bus_client_subscribe_supervisor(who, 5000), 0);
        stop = true;
        process.join();
    }
    uint32_t request(uint32_t opcode) {
        const bus_client_message message = {UCAST, opcode, 1, 2, "abc", 3};
        uint32_t token = 0;
        EXPECT_EQ(bus_client_request(client, &message, 1000, &token), 0);
        return token;
    }
};

TEST_F(bus_client_pair, answers_come_by_token_whatever_their_order) {
    const uint32_t first = request(1), second = request(2);
    EXPECT_NE(first, second);
    ASSERT_EQ(mts_wait(0), 0);
    mts_msg *message = nullptr;
    ASSERT_EQ(fu_mts_recv(ucast, &message, 1, 0), 0);
    EXPECT_EQ(mts_src_vdc_id_get(message), 2u);
    EXPECT_EQ(mts_payload_size(message), 3u);
    ASSERT_EQ(mts_hold(message), 0);
    mts_msg *later = nullptr;
    ASSERT_EQ(fu_mts_recv(ucast, &later, 1, 0), 0);
    ASSERT_EQ(fu_mts_send_response(ucast, "second", 6, later, 0), 0);
    ASSERT_EQ(fu_mts_respond_reject(ucast, 0, 0, message, 0, 0), 0);
    mts_drop(message);
    mts_drop(later);

    mts_msg answer;
    int others = 0;
    const bus_client_other count = [](void *context, const mts_msg *) { ++*static_cast<int *>(context); };
    ASSERT_EQ(bus_client_answer(client, first, 1000, count, &others, &answer), 0);
    EXPECT_TRUE(mts_is_reject(&answer));
    EXPECT_EQ(others, 1);
    EXPECT_EQ(bus_client_receive(client, &answer, 0), EAGAIN);
}

TEST_F(bus_client_pair, reports_go_to_every_subscriber_and_questions_to_one) {
    bus_client *second = nullptr;
    const bus_client_config config;
    ASSERT_EQ(bus_client_open(&config, &second), 0);
    mts_msg_desc report = {ucast, {0xfe010001, 0}, 77826, 0, 2, "12345678", 8};
    EXPECT_EQ(fu_mts_send(&report, FU_MTS_SEND_NO_REPLY), -1) << "nobody listens yet";
    EXPECT_EQ(errno, EHOSTUNREACH);
    subscribe(client);
    subscribe(second);

    EXPECT_EQ(fu_mts_send(&report, FU_MTS_SEND_NO_REPLY), 0);
    mts_msg got;
    for (bus_client *each : {client, second}) {
        pollfd ready = {bus_client_fd(each), POLLIN, 0};
        EXPECT_EQ(poll(&ready, 1, 1000), 1);
        ASSERT_EQ(bus_client_receive(each, &got, 1000), 0);
        EXPECT_EQ(got.opcode, 77826u);
        EXPECT_EQ(got.destination.node, 0xfe010001u);
        EXPECT_EQ(got.payload_size, 8u);
        EXPECT_EQ(got.flags, 0);
    }
    report.destination = {0xfe000001, 196};
    EXPECT_EQ(fu_mts_send(&report, 0), 0);
    EXPECT_EQ(bus_client_receive(client, &got, 1000), 0);
    EXPECT_EQ(got.flags, MTS_FLAG_REQUEST);
    ASSERT_EQ(bus_client_respond(client, &got, "yes", 3, 1000), 0);
    EXPECT_EQ(bus_client_receive(second, &got, 0), EAGAIN);
    mts_msg *answer = nullptr;
    ASSERT_EQ(mts_recv(ucast, mts_rr_token_get(ucast), &answer), 0);
    EXPECT_EQ(mts_payload_size(answer), 3u);
    mts_drop(answer);
    bus_client_close(second);
}

TEST_F(bus_client_pair, a_question_without_answer_ends_after_its_time) {
    subscribe(client);
    mts_reset();
    mts_config config;
    config.question_timeout_ms = 30;
    ASSERT_EQ(mts_start(&config), 0);
    ucast = bind(UCAST);
    mts_msg *answer = nullptr;
    EXPECT_EQ(mts_recv(ucast, 1, &answer), -1);
    EXPECT_EQ(errno, ETIMEDOUT);
}

TEST_F(bus_client_pair, a_client_waits_for_a_process_that_is_starting_and_survives_its_restart) {
    mts_msg got;
    request(1);
    mts_reset();
    EXPECT_EQ(bus_client_receive(client, &got, 1000), ECONNRESET);
    EXPECT_EQ(got.peer, UCAST);
    EXPECT_EQ(bus_client_connect(client, UCAST, 20), ENOENT);
    const pid_t child = fork();
    if (child == 0) {
        usleep(50'000);
        start();
        while (serve(ucast, 4).empty()) (void)mts_wait(1'000'000'000);
        _exit(0);
    }
    EXPECT_EQ(bus_client_connect(client, UCAST, 10'000), 0);
    EXPECT_EQ(bus_client_answer(client, request(3), 10'000, nullptr, nullptr, &got), 0);
    int status = 1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(bus_client_pair, a_full_connection_makes_the_client_wait_and_loses_nothing) {
    const std::vector<uint8_t> payload(100'000);
    const bus_client_message message = {UCAST, 1, 1, 1, payload.data(), payload.size()};
    uint32_t token = 0, sent = 0;
    int status = 0;
    while ((status = bus_client_request(client, &message, 0, &token)) == 0) ASSERT_LT(++sent, 10'000u);
    EXPECT_EQ(status, EAGAIN);
    EXPECT_EQ(serve(ucast).size(), sent);
    EXPECT_EQ(bus_client_request(client, &message, 0, &token), 0);
}
