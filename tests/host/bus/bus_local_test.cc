#include "host/bus/bus_local.h"
#include "host/bus/fu_mts.h"

#include <gtest/gtest.h>

#include <cerrno>

static constexpr uint32_t SAP = 200;

struct bus_local : testing::Test {
    uint32_t queue = 0;

    void SetUp() override {
        mts_config config;
        config.transport = MTS_TRANSPORT_LOCAL;
        config.slot = 3;
        ASSERT_EQ(mts_start(&config), 0);
        queue = bind(SAP, 4096);
    }
    void TearDown() override { mts_reset(); }

    static uint32_t bind(uint32_t sap, uint32_t depth) {
        const uint32_t options[3] = {1, depth, 378};
        const int64_t handle = mts_bind(4, sap, options, "test");
        EXPECT_GT(handle, 0);
        return static_cast<uint32_t>(handle);
    }
    static mts_msg request(uint32_t opcode, uint32_t token) {
        mts_msg message = {};
        message.opcode = opcode;
        message.version = 1;
        message.source = {0xfe000000, 11};
        message.destination = {3, SAP};
        message.source_vdc = 2;
        message.flags = MTS_FLAG_REQUEST;
        message.token = token;
        return message;
    }
    static void inject(uint32_t opcode, uint32_t token, uint16_t flags = MTS_FLAG_REQUEST) {
        mts_msg message = request(opcode, token);
        message.flags = flags;
        ASSERT_EQ(mts_local_inject(&message), 0);
    }
    /* Opcodes of the next messages, dropped one by one. */
    std::vector<uint32_t> receive_all() const {
        std::vector<uint32_t> opcodes;
        for (mts_msg *message = nullptr; fu_mts_recv(queue, &message, 1, 0) == 0; fu_mts_drop(message))
            opcodes.push_back(mts_opc_get(message));
        return opcodes;
    }
};

TEST_F(bus_local, message_comes_in_place_and_its_answer_goes_back_with_its_token) {
    uint8_t bytes[] = {1, 2, 3};
    mts_msg sent = request(74767, 42);
    sent.payload = bytes;
    sent.payload_size = sizeof bytes;
    ASSERT_EQ(mts_local_inject(&sent), 0);
    mts_msg *message = nullptr;
    ASSERT_EQ(fu_mts_recv(queue, &message, 1, 0), 0);
    EXPECT_EQ(mts_opc_version_get(message), 1u);
    EXPECT_EQ(mts_src_vdc_id_get(message), 2u);
    EXPECT_FALSE(mts_is_response(message));
    ASSERT_EQ(mts_payload_size(message), 3u);
    mts_payload_get(message)[0] = 9;
    const mts_opts options = {.respond = 1, .copy = 1, .want_reply = 0, .version = 0, .vdc = 0};
    ASSERT_EQ(mts_send(queue, 0xfe000000, 0, 0, mts_payload_get(message), 3, 0, message, &options), 0);
    ASSERT_EQ(fu_mts_respond_reject(queue, 0, 0, message, 0, 0), 0);
    fu_mts_drop(message);

    mts_msg answer;
    std::vector<uint8_t> payload;
    ASSERT_TRUE(mts_local_take(&answer, &payload));
    EXPECT_EQ(payload, (std::vector<uint8_t>{9, 2, 3}));
    EXPECT_EQ(answer.opcode, 74767u);
    EXPECT_EQ(answer.token, 42u);
    EXPECT_EQ(answer.flags, MTS_FLAG_RESPONSE);
    EXPECT_EQ(answer.destination.sap, 11u);
    EXPECT_EQ(answer.source.sap, SAP);
    ASSERT_TRUE(mts_local_take(&answer, &payload));
    EXPECT_EQ(answer.flags, MTS_FLAG_RESPONSE | MTS_FLAG_REJECT);
    EXPECT_EQ(answer.payload, nullptr);
}

TEST_F(bus_local, a_response_is_never_rejected) {
    inject(1, 5, MTS_FLAG_RESPONSE);
    mts_msg *message = nullptr;
    ASSERT_EQ(fu_mts_recv(queue, &message, 1, 0), 0);
    EXPECT_EQ(fu_mts_respond_reject(queue, 0, 0, message, 0, 0), 0);
    EXPECT_EQ(mts_local_sent_count(), 0u);
}

TEST_F(bus_local, a_question_waits_for_its_token_and_leaves_the_others_in_order) {
    mts_local_hook_set(
        [](void *, const mts_msg *question) {
            inject(1, 70);
            inject(2, question->token + 1, MTS_FLAG_RESPONSE);
            inject(461, question->token, MTS_FLAG_RESPONSE);
            inject(3, 71);
            return 0;
        },
        nullptr);
    inject(100, 1);
    mts_msg *working = nullptr;
    ASSERT_EQ(fu_mts_recv(queue, &working, 1, 0), 0);
    const mts_opts options = {.respond = 0, .copy = 1, .want_reply = 1, .version = 0, .vdc = 0};
    ASSERT_EQ(mts_send(queue, 0xfe000001, 196, 461, "12345678", 8, 0, nullptr, &options), 0);
    mts_msg *answer = nullptr;
    ASSERT_EQ(mts_recv(queue, mts_rr_token_get(queue), &answer), 0);
    EXPECT_EQ(mts_opc_get(answer), 461u);
    EXPECT_EQ(mts_opc_get(working), 100u) << "the message in work is untouched";
    mts_msg *second = nullptr;
    EXPECT_EQ(mts_recv(queue, 9, &second), -1);
    EXPECT_EQ(errno, EBUSY);
    mts_drop(answer);
    EXPECT_EQ(mts_recv(queue, mts_rr_token_get(queue), &answer), -1);
    EXPECT_EQ(errno, EDEADLK) << "the answer is given once; nobody else can bring one";
    ASSERT_EQ(mts_recv(queue, mts_rr_token_get(queue) + 1, &answer), 0) << "an answer that came early";
    mts_drop(answer);
    mts_drop(working);
    EXPECT_EQ(receive_all(), (std::vector<uint32_t>{1, 3}));
}

TEST_F(bus_local, what_a_question_cannot_put_aside_stays_where_it_is) {
    const uint32_t small = bind(300, 3);
    mts_msg message = request(1, 1);
    message.destination.sap = 300;
    for (message.opcode = 1; message.opcode <= 3; message.opcode++) ASSERT_EQ(mts_local_inject(&message), 0);
    mts_msg *answer = nullptr;
    EXPECT_EQ(mts_recv(small, 5, &answer), -1);
    EXPECT_EQ(errno, ENOBUFS);
    ASSERT_EQ(mts_local_inject(&message), 0);
    EXPECT_EQ(mts_recv(small, 5, &answer), -1);
    EXPECT_EQ(errno, ENOBUFS);
    for (uint32_t opcode = 1; opcode <= 4; opcode++, mts_drop(answer)) {
        ASSERT_EQ(fu_mts_recv(small, &answer, 1, 0), 0);
        EXPECT_EQ(mts_opc_get(answer), opcode);
    }
}

TEST_F(bus_local, depth_bounds_the_queue) {
    const uint32_t small = bind(300, 4);
    mts_msg message = request(1, 1);
    message.destination.sap = 300;
    for (int i = 0; i < 4; i++) EXPECT_EQ(mts_local_inject(&message), 0);
    EXPECT_EQ(mts_local_inject(&message), ENOBUFS);
    EXPECT_EQ(mts_counters_get()->dropped, 1u);
    EXPECT_TRUE(mts_queue_ready(small));
    EXPECT_FALSE(mts_queue_ready(queue));
}

TEST_F(bus_local, held_messages_are_bounded_and_outlive_the_queue_buffer) {
    std::vector<mts_msg *> held;
    for (uint32_t i = 0; i <= MTS_HELD_MAX; i++) inject(1000 + i, i);
    mts_msg *message = nullptr;
    while (fu_mts_recv(queue, &message, 1, 0) == 0 && mts_hold(message) == 0) held.push_back(message);
    ASSERT_EQ(held.size(), MTS_HELD_MAX);
    for (uint32_t i = 0; i < held.size(); i++) EXPECT_EQ(mts_opc_get(held[i]), 1000 + i);
    EXPECT_EQ(mts_hold(held[0]), EINVAL) << "held already";
    for (mts_msg *each : held) mts_drop(each);
    EXPECT_EQ(mts_hold(message), 0) << "there is room again";
}

TEST_F(bus_local, refusals) {
    mts_msg *message = nullptr;
    const uint32_t options[3] = {1, 4096, 378}, too_deep[3] = {1, 4097, 378};
    EXPECT_EQ(mts_bind(4, SAP, options, "again"), -1);
    EXPECT_EQ(errno, EADDRINUSE);
    EXPECT_EQ(mts_bind(4, 1, too_deep, "deep"), -1);
    EXPECT_EQ(mts_bind(4, 1, nullptr, "none"), -1);
    EXPECT_EQ(fu_mts_recv(queue, &message, 1, 0), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(fu_mts_recv(77, &message, 1, 0), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(mts_options_set(77, 1, 17), -1);
    const std::vector<uint8_t> big(MTS_PAYLOAD_MAX + 1);
    EXPECT_EQ(mts_send(queue, 1, 2, 3, big.data(), big.size(), 0, nullptr, nullptr), -1);
    EXPECT_EQ(errno, EMSGSIZE);
    uint32_t value = 0;
    EXPECT_EQ(mts_options_set(queue, 485, 17), 0);
    EXPECT_TRUE(mts_options_get(queue, 485, &value));
    EXPECT_EQ(value, 17u);
    mts_reset();
    EXPECT_EQ(mts_bind(4, SAP, options, "off"), -1);
    EXPECT_EQ(errno, ENOTCONN);
}

TEST(opcode_names, every_opcode_has_a_name_and_a_card_sap) {
    EXPECT_STREQ(mts_opc_name_get(485), "MTS_OPC_VDC_CREATE");
    EXPECT_EQ(mts_opc_sap_get(485), 199u);
    EXPECT_EQ(mts_opc_sap_get(74767), 200u);
    EXPECT_EQ(mts_opc_sap_get(75794), 201u);
    EXPECT_EQ(mts_opc_sap_get(7679), 203u);
    EXPECT_STREQ(mts_opc_name_get(1), "MTS_OPC_UNKNOWN");
    EXPECT_EQ(mts_opc_sap_get(1), 0u);
}
