/* core/lcfwd_timer.h: the eight one-shot timers that the domains share. A callback starts its timer again
 * if it wants to. A timer exists once its owner has given a callback; a timer without one neither starts
 * nor runs. One thread: callbacks run from the pump, before the next message is received. */
#pragma once

#include <cstdint>
#include <ctime>

struct timeval;

/* Sets in the order in which they are made. */
enum lcfwd_timer_id : uint32_t {
    LCFWD_TIMER_REPORT,     /* 300 s */
    LCFWD_TIMER_MFIB_STATS, /* 15 s */
    LCFWD_TIMER_UFIB_STATS, /* as the caller says, 5 s at the shortest */
    LCFWD_TIMER_MFIB_PD,    /* as mfib_pd_timer_init says */
    LCFWD_TIMER_IDB_DPL,    /* 5 s */
    LCFWD_TIMER_TABLE_DPL,  /* 5 s */
    LCFWD_TIMER_DIRTY_VOBJ, /* 1 s; a running timer is left running */
    LCFWD_TIMER_LFIB_ADJ,   /* 100 ms */
    LCFWD_TIMER_COUNT
};

using lcfwd_timer_callback = void (*)(void *argument);

/* Prepares the timer library and the eight sets. 1, or 0 on failure. */
[[nodiscard]] int lcfwd_timer_init();

/* The sets' ids, in the order of lcfwd_timer_id; 0 before lcfwd_timer_init(). */
extern int lcfwd_report_timer_setid;
extern int mfib_stats_timer_setid;
extern int ufib_stats_timer_setid;
extern int mfib_pd_timer_setid;
extern int ufib_idb_dpl_timer_setid;
extern int ufib_table_dpl_timer_setid;
extern int ufib_dirty_vobj_timer_setid;
extern int lfib_adj_update_timer_setid;

/* Makes a timer of the set. 0, or -1 when the timer library refuses. A second call replaces the callback. */
[[nodiscard]] int lcfwd_timer_make(lcfwd_timer_id id, lcfwd_timer_callback callback, void *argument);

/* The time to the next expiry. 0 when no timer runs, else 1 with '*out' filled (0/0 for an overdue timer). */
[[nodiscard]] int lcfwd_get_next_expiry_time(timeval *out);
void lcfwd_process_expired_timers();

/* Start functions: 0, or -1 when the timer was not made or the library refuses. */
int lcfwd_report_timer_start();
int mfib_stats_timer_start();
int ufib_stats_timer_start(uint32_t seconds);
int mfib_pd_timer_init(uint32_t seconds, lcfwd_timer_callback callback, void *argument);
int mfib_pd_timer_start();
int ufib_idb_dpl_timer_start();
int ufib_table_dpl_timer_start(); /* leaves trace event 24 */
int ufib_dirty_vobj_timer_start();
int lfib_adj_update_timer_start();

[[nodiscard]] bool lcfwd_report_timer_running();
[[nodiscard]] bool mfib_stats_timer_running();
[[nodiscard]] bool ufib_stats_timer_running();
[[nodiscard]] bool mfib_pd_timer_running();
[[nodiscard]] bool ufib_idb_dpl_timer_running();
[[nodiscard]] bool ufib_table_dpl_timer_running();
[[nodiscard]] bool ufib_dirty_vobj_timer_running();
[[nodiscard]] bool lfib_adj_update_timer_running();

void lcfwd_report_timer_stop();
void mfib_stats_timer_stop();
void ufib_stats_timer_stop();
void mfib_pd_timer_stop();
void ufib_idb_dpl_timer_stop();
void ufib_table_dpl_timer_stop();
void ufib_dirty_vobj_timer_stop();
void lfib_adj_update_timer_stop();

/* A timer as shows tell it. */
struct lcfwd_timer_info {
    const char *name;
    bool made; /* it has a callback */
    bool running;
    uint64_t left_ns; /* until it expires */
};
[[nodiscard]] lcfwd_timer_info lcfwd_timer_info_get(lcfwd_timer_id id);

void lcfwd_timer_reset(); /* process teardown in tests */
