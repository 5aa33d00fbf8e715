#include "host/bus/bus_local.h"
#include "host/engine/engine.h"
#include "host/engine/engine_private.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <map>
#include <string>

/* Queues of the in-process bus with the weights of a card: SAP 100 + id. */
struct weighted_selector : testing::Test {
    static constexpr int weights[] = {2, -1, 7, 4, 10, 1, 7};
    fu_sel selector = {};
    fu_cq timer_queue = {};
    std::map<int, uint32_t> handles;

    void SetUp() override {
        mts_config config;
        config.transport = MTS_TRANSPORT_LOCAL;
        ASSERT_EQ(mts_start(&config), 0);
        ASSERT_EQ(fu_priority_select_init(&selector, 0), 0);
        ASSERT_EQ(fu_cq_init(&timer_queue, 0), 0);
        ASSERT_EQ(fu_priority_select_add_queue(&selector, FU_SOURCE_CONDITION, 5, 0, &timer_queue,
                                               fu_cq_eval_to_true, 8),
                  0);
        for (int id = 1; id <= 7; id++) {
            const uint32_t options[3] = {1, 4096, 378};
            const int64_t handle = mts_bind(4, 100 + static_cast<uint32_t>(id), options, "test");
            ASSERT_GT(handle, 0);
            handles[id] = static_cast<uint32_t>(handle);
            ASSERT_EQ(fu_priority_select_add_queue(&selector, FU_SOURCE_MTS, weights[id - 1], handles[id],
                                                   nullptr, nullptr, id),
                      0);
        }
    }
    void TearDown() override {
        fu_reset();
        mts_reset();
    }
    void fill(int id, int messages) {
        mts_msg message = {};
        message.destination.sap = 100 + static_cast<uint32_t>(id);
        for (int i = 0; i < messages; i++) ASSERT_EQ(mts_local_inject(&message), 0);
    }
    /* One turn: the id that was served, 0 for none. */
    int turn() {
        const timeval none = {0, 0};
        uint32_t error = 1;
        const fu_src *source = fu_priority_select(&selector, &none, &error);
        EXPECT_EQ(error, 0u);
        if (source == nullptr) return 0;
        mts_msg *message = nullptr;
        if (source->type == FU_SOURCE_MTS) {
            EXPECT_EQ(mts_queue_receive(source->handle, &message), 0);
        } else {
            fu_cq_take(source->cq);
        }
        mts_drop(message);
        return source->id;
    }
    std::map<int, int> turns(int count) {
        std::map<int, int> served;
        for (int i = 0; i < count; i++) served[turn()]++;
        return served;
    }
};

TEST_F(weighted_selector, a_round_gives_each_busy_source_its_weight) {
    for (int id = 1; id <= 7; id++) fill(id, 200);
    for (int i = 0; i < 200; i++) fu_cq_add(&timer_queue);
    const std::map<int, int> want = {{1, 20}, {3, 70}, {4, 40}, {5, 100}, {6, 10}, {7, 70}, {8, 50}};
    EXPECT_EQ(turns(360), want) << "ten rounds of 36 turns, none for the source of negative weight";
}

TEST_F(weighted_selector, a_light_source_waits_at_most_one_round_under_overload) {
    fill(5, 4000);
    fill(3, 4000);
    turns(17 + 9);
    fill(6, 1);
    int waited = 0;
    while (turn() != 6) ASSERT_LT(++waited, 18);
}

TEST_F(weighted_selector, idle_sources_leave_their_turns_to_the_others) {
    fill(6, 30);
    EXPECT_EQ(turns(30), (std::map<int, int>{{6, 30}}));
}

TEST_F(weighted_selector, negative_weight_is_served_when_nothing_else_is_ready) {
    fill(2, 2);
    fill(6, 3);
    std::string order;
    for (int i = 0; i < 5; i++) order += static_cast<char>('0' + turn());
    EXPECT_EQ(order, "66622");
    EXPECT_EQ(turn(), 0);
}

TEST_F(weighted_selector, a_condition_queue_without_entry_is_never_ready) {
    EXPECT_EQ(turn(), 0);
    fu_cq_add(&timer_queue);
    EXPECT_EQ(turn(), 8);
    EXPECT_EQ(turn(), 0);
}

TEST_F(weighted_selector, an_endless_wait_inside_one_process_is_an_error_and_no_hang) {
    uint32_t error = 0;
    EXPECT_EQ(fu_priority_select(&selector, nullptr, &error), nullptr);
    EXPECT_EQ(error & 0xfff, static_cast<uint32_t>(EDEADLK));
    fu_fsm_stop();
    EXPECT_EQ(fu_priority_select(&selector, nullptr, &error), nullptr);
    EXPECT_EQ(error & 0xfff, static_cast<uint32_t>(EINTR));
}

TEST_F(weighted_selector, refuses_bad_sources) {
    EXPECT_NE(fu_priority_select_add_queue(&selector, FU_SOURCE_MTS, 0, 1, nullptr, nullptr, 9), 0);
    EXPECT_NE(fu_priority_select_add_queue(&selector, FU_SOURCE_CONDITION, 5, 0, nullptr, nullptr, 9), 0);
    EXPECT_NE(fu_priority_select_add_queue(&selector, 1, 5, 1, nullptr, nullptr, 9), 0);
    int added = 8;
    while (fu_priority_select_add_queue(&selector, FU_SOURCE_MTS, 1, 1, nullptr, nullptr, 9) == 0) added++;
    EXPECT_EQ(added, static_cast<int>(FU_SOURCES_MAX));
}
