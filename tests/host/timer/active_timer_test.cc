#include "host/timer/active_timer.h"

#include "host/timer/clock.h"

#include <gtest/gtest.h>

#include <string>

static constexpr uint64_t MS = 1'000'000;

/* A timer that writes its name down each time it runs, and may do something more. */
struct named_timer {
    std::string *log;
    char name;
    active_timer *timer;
    void (*then)(named_timer *self);
};

static void run(void *argument) {
    auto *self = static_cast<named_timer *>(argument);
    *self->log += self->name;
    EXPECT_FALSE(active_timer_running(self->timer));
    if (self->then != nullptr) self->then(self);
}

struct active_timers : testing::Test {
    host_manual_clock clock = {5'000 * MS, 0};
    std::string log;
    named_timer timers[3] = {};
    int set = 0;

    void SetUp() override {
        host_manual_clock_set(&clock);
        const active_timer_attr attr = {1, 1};
        ASSERT_EQ(active_timer_init(&attr), 0);
        set = active_timer_new_set_init(3);
        ASSERT_GT(set, 0);
        for (int i = 0; i < 3; i++) {
            timers[i] = {&log, static_cast<char>('a' + i), nullptr, nullptr};
            timers[i].timer = active_timer_create(set, 9, run, &timers[i]);
            ASSERT_NE(timers[i].timer, nullptr);
        }
    }
    void TearDown() override {
        active_timer_reset();
        host_clock_reset();
    }
    void start_ms(int i, uint32_t ms) {
        EXPECT_EQ(active_timer_start(timers[i].timer, ms / 1000, ms % 1000 * 1'000'000u, 0, 0), 0);
    }
    std::string pass_after(uint64_t ms) {
        log.clear();
        host_manual_clock_advance(&clock, ms * MS);
        active_timer_process_expired_timers(0, 0);
        return log;
    }
};

TEST_F(active_timers, run_once_in_order_of_expiry_then_of_start) {
    start_ms(0, 300);
    start_ms(1, 100);
    start_ms(2, 300);
    EXPECT_EQ(pass_after(99), "");
    EXPECT_EQ(pass_after(1), "b");
    EXPECT_EQ(pass_after(1000), "ac");
    EXPECT_EQ(pass_after(100'000), "");
}

TEST_F(active_timers, next_expiry_is_the_nearest_and_zero_when_overdue) {
    timespec left = {-1, -1};
    EXPECT_FALSE(active_timer_get_next_expiry_time(&left));
    EXPECT_EQ(left.tv_sec, -1);
    start_ms(0, 300'000);
    start_ms(1, 1'500);
    ASSERT_TRUE(active_timer_get_next_expiry_time(&left));
    EXPECT_EQ(left.tv_sec, 1);
    EXPECT_EQ(left.tv_nsec, 500'000'000);
    host_manual_clock_advance(&clock, 9'000 * MS);
    ASSERT_TRUE(active_timer_get_next_expiry_time(&left));
    EXPECT_EQ(left.tv_sec, 0);
    EXPECT_EQ(left.tv_nsec, 0);
}

TEST_F(active_timers, starting_again_arms_anew_and_stopping_disarms) {
    start_ms(0, 100);
    start_ms(0, 500);
    EXPECT_EQ(pass_after(100), "");
    EXPECT_TRUE(active_timer_running(timers[0].timer));
    EXPECT_EQ(active_timer_stop(timers[0].timer), 0);
    EXPECT_FALSE(active_timer_running(timers[0].timer));
    EXPECT_EQ(pass_after(1000), "");
}

TEST_F(active_timers, a_callback_may_restart_itself_without_running_twice_in_a_pass) {
    timers[0].then = [](named_timer *self) { EXPECT_EQ(active_timer_start(self->timer, 0, 0, 0, 0), 0); };
    start_ms(0, 10);
    EXPECT_EQ(pass_after(10), "a");
    EXPECT_EQ(pass_after(0), "a");
}

TEST_F(active_timers, a_callback_may_stop_a_timer_that_is_due_in_the_same_pass) {
    timers[0].then = [](named_timer *self) { active_timer_stop(self[1].timer); };
    start_ms(0, 10);
    start_ms(1, 20);
    EXPECT_EQ(pass_after(50), "a");
}

TEST_F(active_timers, one_set_and_a_bound_limit_a_pass) {
    const int other = active_timer_new_set_init(1);
    named_timer alien = {&log, 'x', nullptr, nullptr};
    alien.timer = active_timer_create(other, 9, run, &alien);
    EXPECT_EQ(active_timer_start(alien.timer, 0, 0, 0, 0), 0);
    for (int i = 0; i < 3; i++) start_ms(i, 0);
    active_timer_process_expired_timers(set, 2);
    EXPECT_EQ(log, "ab");
    EXPECT_EQ(pass_after(0), "xc");
}

TEST_F(active_timers, refuse_what_cannot_be) {
    EXPECT_EQ(active_timer_create(set, 9, run, nullptr), nullptr) << "the set has room for three";
    EXPECT_EQ(active_timer_create(set + 1, 9, run, nullptr), nullptr) << "no such set";
    EXPECT_EQ(active_timer_new_set_init(0), -1);
    EXPECT_EQ(active_timer_start(timers[0].timer, 0, 1'000'000'000, 0, 0), EINVAL);
    EXPECT_EQ(active_timer_start(nullptr, 1, 0, 0, 0), EINVAL);
    active_timer_attr attr;
    EXPECT_EQ(active_timer_attr_init(&attr), 0);
    EXPECT_EQ(active_timer_init(&attr), EINVAL) << "the two fields are not set";
    active_timer_fail_nth(2);
    const active_timer_attr good = {1, 1};
    EXPECT_EQ(active_timer_init(&good), 0);
    EXPECT_EQ(active_timer_new_set_init(8), -1) << "told to fail";
    active_timer_reset();
    EXPECT_EQ(active_timer_new_set_init(8), -1) << "not started";
}
