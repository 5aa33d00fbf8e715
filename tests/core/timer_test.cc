#include "core/lcfwd_timer.h"
#include "core/ufib_trace.h"
#include "host/timer/active_timer.h"
#include "host/trace/bl.h"
#include "tests/core/core_rig.h"

#include <sys/time.h>

struct shared_timers : core_test {
    shared_timers() {
        EXPECT_EQ(rig.start(), 0);
        lcfwd_report_timer_stop();
        fired = 0;
        EXPECT_EQ(bl_reg_trace_formats(1, ufib_trace_formats, UFIB_TR_COUNT), 0);
        EXPECT_EQ(bl_open(1, 1, 1, ufib_trace_levels, UFIB_TRACE_LEVELS), 0);
    }
    static int fired;
};
int shared_timers::fired;

static void fire(void *by) { shared_timers::fired += by == nullptr ? 1 : *static_cast<int *>(by); }

static int start_stats_7() { return ufib_stats_timer_start(7); }
static int start_stats_1() { return ufib_stats_timer_start(1); }

TEST_F(shared_timers, run_once_after_their_period) {
    const struct {
        const char *name;
        lcfwd_timer_id id;
        int (*start)();
        bool (*running)();
        void (*stop)();
        uint32_t period_ms;
    } cases[] = {
        {"report", LCFWD_TIMER_REPORT, lcfwd_report_timer_start, lcfwd_report_timer_running,
         lcfwd_report_timer_stop, 300000},
        {"mfib_stats", LCFWD_TIMER_MFIB_STATS, mfib_stats_timer_start, mfib_stats_timer_running,
         mfib_stats_timer_stop, 15000},
        {"ufib_stats", LCFWD_TIMER_UFIB_STATS, start_stats_7, ufib_stats_timer_running, ufib_stats_timer_stop,
         7000},
        {"ufib_stats_short", LCFWD_TIMER_UFIB_STATS, start_stats_1, ufib_stats_timer_running,
         ufib_stats_timer_stop, 5000},
        {"idb_dpl", LCFWD_TIMER_IDB_DPL, ufib_idb_dpl_timer_start, ufib_idb_dpl_timer_running,
         ufib_idb_dpl_timer_stop, 5000},
        {"table_dpl", LCFWD_TIMER_TABLE_DPL, ufib_table_dpl_timer_start, ufib_table_dpl_timer_running,
         ufib_table_dpl_timer_stop, 5000},
        {"dirty_vobj", LCFWD_TIMER_DIRTY_VOBJ, ufib_dirty_vobj_timer_start, ufib_dirty_vobj_timer_running,
         ufib_dirty_vobj_timer_stop, 1000},
        {"lfib_adj", LCFWD_TIMER_LFIB_ADJ, lfib_adj_update_timer_start, lfib_adj_update_timer_running,
         lfib_adj_update_timer_stop, 100},
    };
    for (const auto &c : cases) {
        fired = 0;
        ASSERT_EQ(lcfwd_timer_make(c.id, fire, nullptr), 0) << c.name;
        EXPECT_FALSE(c.running()) << c.name;
        ASSERT_EQ(c.start(), 0) << c.name;
        EXPECT_TRUE(c.running()) << c.name;
        rig.advance_ms(c.period_ms - 1);
        EXPECT_EQ(fired, 0) << c.name;
        rig.advance_ms(1);
        EXPECT_EQ(fired, 1) << c.name;
        EXPECT_FALSE(c.running()) << c.name;
        rig.advance_ms(c.period_ms * 2);
        EXPECT_EQ(fired, 1) << c.name << ": one shot";
        ASSERT_EQ(c.start(), 0) << c.name;
        c.stop();
        rig.advance_ms(c.period_ms);
        EXPECT_EQ(fired, 1) << c.name << ": stopped";
    }
    EXPECT_EQ(rig.traces(1, "started table").size(), 2u);
}

TEST_F(shared_timers, dirty_timer_is_not_armed_anew_while_it_runs) {
    ASSERT_EQ(lcfwd_timer_make(LCFWD_TIMER_DIRTY_VOBJ, fire, nullptr), 0);
    ASSERT_EQ(ufib_dirty_vobj_timer_start(), 0);
    rig.advance_ms(900);
    ASSERT_EQ(ufib_dirty_vobj_timer_start(), 0);
    rig.advance_ms(100);
    EXPECT_EQ(fired, 1);
    ASSERT_EQ(lcfwd_timer_make(LCFWD_TIMER_IDB_DPL, fire, nullptr), 0);
    ASSERT_EQ(ufib_idb_dpl_timer_start(), 0);
    rig.advance_ms(4900);
    ASSERT_EQ(ufib_idb_dpl_timer_start(), 0);
    rig.advance_ms(4999);
    EXPECT_EQ(fired, 1) << "the others are";
    rig.advance_ms(1);
    EXPECT_EQ(fired, 2);
}

TEST_F(shared_timers, platform_timer_has_the_period_of_its_maker) {
    static int by = 10;
    ASSERT_EQ(mfib_pd_timer_init(42, fire, &by), 0);
    ASSERT_EQ(mfib_pd_timer_start(), 0);
    rig.advance_seconds(41);
    EXPECT_TRUE(mfib_pd_timer_running());
    rig.advance_seconds(1);
    EXPECT_EQ(fired, 10);
    ASSERT_EQ(mfib_pd_timer_start(), 0);
    mfib_pd_timer_stop();
    EXPECT_FALSE(mfib_pd_timer_running());
}

TEST_F(shared_timers, one_without_an_owner_cannot_be_started) {
    EXPECT_EQ(lfib_adj_update_timer_start(), -1);
    EXPECT_FALSE(lfib_adj_update_timer_running());
    lfib_adj_update_timer_stop();
    EXPECT_EQ(lcfwd_timer_make(LCFWD_TIMER_LFIB_ADJ, nullptr, nullptr), -1);
    active_timer_fail_nth(1);
    EXPECT_EQ(lcfwd_timer_make(LCFWD_TIMER_LFIB_ADJ, fire, nullptr), -1);
}

TEST_F(shared_timers, next_expiry_is_told_in_seconds_and_microseconds) {
    timeval left = {};
    EXPECT_EQ(lcfwd_get_next_expiry_time(&left), 0) << "none runs";
    ASSERT_EQ(lcfwd_timer_make(LCFWD_TIMER_DIRTY_VOBJ, fire, nullptr), 0);
    ASSERT_EQ(ufib_dirty_vobj_timer_start(), 0);
    host_manual_clock_advance(&rig.clock, 1500);
    EXPECT_EQ(lcfwd_get_next_expiry_time(&left), 1);
    EXPECT_EQ(left.tv_sec, 0);
    EXPECT_EQ(left.tv_usec, 999998) << "999998500 ns";
    host_manual_clock_advance(&rig.clock, 9000000000);
    EXPECT_EQ(lcfwd_get_next_expiry_time(&left), 1) << "overdue still counts as running";
    EXPECT_EQ(left.tv_sec + left.tv_usec, 0);
}
