#include "core/lcfwd_timer.h"

#include "core/lcfwd_log.h"
#include "core/ufib_trace.h"
#include "host/timer/active_timer.h"

#include <sys/time.h>

int lcfwd_report_timer_setid;
int mfib_stats_timer_setid;
int ufib_stats_timer_setid;
int mfib_pd_timer_setid;
int ufib_idb_dpl_timer_setid;
int ufib_table_dpl_timer_setid;
int ufib_dirty_vobj_timer_setid;
int lfib_adj_update_timer_setid;

static int *const set_ids[LCFWD_TIMER_COUNT] = {
    &lcfwd_report_timer_setid,    &mfib_stats_timer_setid,      &ufib_stats_timer_setid,
    &mfib_pd_timer_setid,         &ufib_idb_dpl_timer_setid,    &ufib_table_dpl_timer_setid,
    &ufib_dirty_vobj_timer_setid, &lfib_adj_update_timer_setid,
};

struct timer_row {
    active_timer *timer; /* null until its owner made it */
    lcfwd_timer_callback callback;
    void *argument;
};
static timer_row timers[LCFWD_TIMER_COUNT];
static active_timer_attr lcfwd_timer_attr;
static uint32_t mfib_pd_seconds;

static constexpr int timer_type = 9;
static constexpr uint32_t report_seconds = 300;
static constexpr uint32_t mfib_stats_seconds = 15;
static constexpr uint32_t ufib_stats_seconds_min = 5;
static constexpr uint32_t delete_pending_seconds = 5;
static constexpr uint32_t dirty_vobj_seconds = 1;
static constexpr uint32_t lfib_adj_nanoseconds = 100000000;

int lcfwd_timer_init() {
    if (active_timer_attr_init(&lcfwd_timer_attr) != 0) return 0;
    lcfwd_timer_attr.monotonic = 1;
    lcfwd_timer_attr.synchronous = 1;
    if (active_timer_init(&lcfwd_timer_attr) != 0) return 0;
    for (int *set : set_ids) {
        *set = active_timer_new_set_init(LCFWD_TIMER_COUNT);
        if (*set <= 0) return 0;
    }
    return 1;
}

static void timer_run(void *argument) {
    const timer_row *row = static_cast<const timer_row *>(argument);
    row->callback(row->argument);
}

int lcfwd_timer_make(lcfwd_timer_id id, lcfwd_timer_callback callback, void *argument) {
    if (id >= LCFWD_TIMER_COUNT || callback == nullptr) return -1;
    timer_row &row = timers[id];
    row.callback = callback;
    row.argument = argument;
    if (row.timer == nullptr) {
        row.timer = active_timer_create(*set_ids[id], timer_type, timer_run, &row);
    }
    return row.timer == nullptr ? -1 : 0;
}

int lcfwd_get_next_expiry_time(timeval *out) {
    timespec left;
    if (!active_timer_get_next_expiry_time(&left)) return 0;
    out->tv_sec = left.tv_sec;
    out->tv_usec = left.tv_nsec / 1000;
    return 1;
}

void lcfwd_process_expired_timers() { active_timer_process_expired_timers(0, 0); }

static int timer_start(lcfwd_timer_id id, uint32_t seconds, uint32_t nanoseconds) {
    if (timers[id].timer == nullptr) return -1;
    return active_timer_start(timers[id].timer, seconds, nanoseconds, 0, 0) == 0 ? 0 : -1;
}

static bool timer_running(lcfwd_timer_id id) {
    return timers[id].timer != nullptr && active_timer_running(timers[id].timer);
}

static void timer_stop(lcfwd_timer_id id) {
    if (timers[id].timer != nullptr) active_timer_stop(timers[id].timer);
}

int lcfwd_report_timer_start() { return timer_start(LCFWD_TIMER_REPORT, report_seconds, 0); }
int mfib_stats_timer_start() { return timer_start(LCFWD_TIMER_MFIB_STATS, mfib_stats_seconds, 0); }

int ufib_stats_timer_start(uint32_t seconds) {
    return timer_start(LCFWD_TIMER_UFIB_STATS,
                       seconds < ufib_stats_seconds_min ? ufib_stats_seconds_min : seconds, 0);
}

int mfib_pd_timer_init(uint32_t seconds, lcfwd_timer_callback callback, void *argument) {
    mfib_pd_seconds = seconds;
    return lcfwd_timer_make(LCFWD_TIMER_MFIB_PD, callback, argument);
}

int mfib_pd_timer_start() { return timer_start(LCFWD_TIMER_MFIB_PD, mfib_pd_seconds, 0); }
int ufib_idb_dpl_timer_start() { return timer_start(LCFWD_TIMER_IDB_DPL, delete_pending_seconds, 0); }

int ufib_table_dpl_timer_start() {
    UFIB_BL(1, UFIB_TR_TABLE_DPL_START);
    return timer_start(LCFWD_TIMER_TABLE_DPL, delete_pending_seconds, 0);
}

/* Each change asks for it: armed anew each time, it would never fire under load. */
int ufib_dirty_vobj_timer_start() {
    if (timer_running(LCFWD_TIMER_DIRTY_VOBJ)) return 0;
    return timer_start(LCFWD_TIMER_DIRTY_VOBJ, dirty_vobj_seconds, 0);
}

int lfib_adj_update_timer_start() { return timer_start(LCFWD_TIMER_LFIB_ADJ, 0, lfib_adj_nanoseconds); }

bool lcfwd_report_timer_running() { return timer_running(LCFWD_TIMER_REPORT); }
bool mfib_stats_timer_running() { return timer_running(LCFWD_TIMER_MFIB_STATS); }
bool ufib_stats_timer_running() { return timer_running(LCFWD_TIMER_UFIB_STATS); }
bool mfib_pd_timer_running() { return timer_running(LCFWD_TIMER_MFIB_PD); }
bool ufib_idb_dpl_timer_running() { return timer_running(LCFWD_TIMER_IDB_DPL); }
bool ufib_table_dpl_timer_running() { return timer_running(LCFWD_TIMER_TABLE_DPL); }
bool ufib_dirty_vobj_timer_running() { return timer_running(LCFWD_TIMER_DIRTY_VOBJ); }
bool lfib_adj_update_timer_running() { return timer_running(LCFWD_TIMER_LFIB_ADJ); }

void lcfwd_report_timer_stop() { timer_stop(LCFWD_TIMER_REPORT); }
void mfib_stats_timer_stop() { timer_stop(LCFWD_TIMER_MFIB_STATS); }
void ufib_stats_timer_stop() { timer_stop(LCFWD_TIMER_UFIB_STATS); }
void mfib_pd_timer_stop() { timer_stop(LCFWD_TIMER_MFIB_PD); }
void ufib_idb_dpl_timer_stop() { timer_stop(LCFWD_TIMER_IDB_DPL); }
void ufib_table_dpl_timer_stop() { timer_stop(LCFWD_TIMER_TABLE_DPL); }
void ufib_dirty_vobj_timer_stop() { timer_stop(LCFWD_TIMER_DIRTY_VOBJ); }
void lfib_adj_update_timer_stop() { timer_stop(LCFWD_TIMER_LFIB_ADJ); }

lcfwd_timer_info lcfwd_timer_info_get(lcfwd_timer_id id) {
    static constexpr const char *names[LCFWD_TIMER_COUNT] = {
        "lcfwd_report_timer", "mfib_stats_timer",     "ufib_stats_timer",      "mfib_pd_timer",
        "ufib_idb_dpl_timer", "ufib_table_dpl_timer", "ufib_dirty_vobj_timer", "lfib_adj_update_timer"};
    const timer_row &row = timers[id];
    return {names[id], row.timer != nullptr, timer_running(id), active_timer_left_ns(row.timer)};
}

void lcfwd_timer_reset() {
    for (timer_row &row : timers) row = {};
    for (int *set : set_ids) *set = 0;
    mfib_pd_seconds = 0;
}
