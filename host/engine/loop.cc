/* The loop, its end, and the watch over it. */
#include "host/engine/engine_private.h"
#include "host/timer/active_timer.h"
#include "host/timer/clock.h"

#include <csignal>
#include <cstdio>
#include <cstring>

static fu_engine &engine = fu_engine_state;
static volatile sig_atomic_t stop_requested;

/* One failing status, and how often it came in a row. */
struct failure_run {
    int status;
    uint64_t repeats;
};
static failure_run dequeue_run, demux_run;

void fu_fsm_event_init(fu_event *event) { *event = {}; }

mts_msg *fu_event_message(const fu_event *event) {
    if (event->category == FU_EVENT_CAT_MTS || event->category == FU_EVENT_CAT_STDBY_MTS)
        return event->message;
    if (event->category == FU_EVENT_CAT_STDBY_WRAP && event->wrapper != nullptr)
        return event->wrapper->message;
    return nullptr;
}

void fu_fsm_stop() {
    stop_requested = 1;
    mts_wake();
}

bool fu_fsm_stop_requested() { return stop_requested != 0; }

static void failure_log(const char *what, failure_run *run, int status) {
    run->repeats = run->status == status ? run->repeats + 1 : 1;
    run->status = status;
    const bool power_of_two = (run->repeats & (run->repeats - 1)) == 0;
    if (engine.log == nullptr || !power_of_two) return;
    char line[128];
    snprintf(line, sizeof line, "%s failed, status 0x%x, %llu in a row", what, static_cast<unsigned>(status),
             static_cast<unsigned long long>(run->repeats));
    engine.log(line);
}

static void event_end(const fu_event *event, fu_event_node *out) {
    if (out != nullptr) engine.global.arg.free_demux_list(out);
    mts_msg *message = fu_event_message(event);
    if (message != nullptr && !message->held) fu_mts_drop(message);
}

static void turn() {
    fu_event event;
    fu_event_node *out = nullptr;
    fu_fsm_event_init(&event);
    engine.counters.turns++;
    fu_watchdog_turn();
    int status = engine.global.arg.dequeue(&event);
    if (status != 0) {
        if (fu_fsm_stop_requested()) return;
        engine.counters.dequeue_failures++;
        failure_log("dequeue", &dequeue_run, status);
        return;
    }
    dequeue_run = {};
    fu_watchdog_turn();
    status = engine.global.arg.demux(&event, &out);
    fu_watchdog_check();
    if (status != 0) {
        engine.counters.demux_failures++;
        failure_log("demux", &demux_run, status);
    } else {
        demux_run = {};
    }
    event_end(&event, out);
}

void fu_fsm_engine() {
    if (engine.global.arg.dequeue == nullptr) return;
    while (!fu_fsm_stop_requested()) turn();
}

static bool timer_is_due() {
    timespec left = {};
    return active_timer_get_next_expiry_time(&left) && left.tv_sec == 0 && left.tv_nsec == 0;
}

bool fu_fsm_step() {
    if (engine.global.arg.dequeue == nullptr || engine.selector == nullptr || fu_fsm_stop_requested())
        return false;
    if (fu_priority_select_ready(engine.selector)) {
        turn();
        return true;
    }
    if (!timer_is_due()) return false;
    active_timer_process_expired_timers(0, 0);
    return true;
}

int fu_fsm_context_set_out_flag(void *, int flag, mts_msg *message) {
    return flag == 1 ? mts_hold(message) : 0;
}

void fu_watchdog_set(uint64_t limit_ns) {
    engine.watchdog.limit_ns = limit_ns;
    fu_watchdog_turn();
}

void fu_watchdog_turn() {
    if (engine.watchdog.limit_ns != 0) engine.watchdog.last_beat_ns = host_clock_monotonic_ns();
}

void fu_watchdog_check() {
    if (engine.watchdog.limit_ns == 0) return;
    const uint64_t busy = host_clock_monotonic_ns() - engine.watchdog.last_beat_ns;
    if (busy > engine.counters.longest_busy_ns) engine.counters.longest_busy_ns = busy;
    if (busy > engine.watchdog.limit_ns) engine.counters.watchdog_late++;
    fu_watchdog_turn();
}

void fu_sysmgr_update_and_send_heartbeat(int) {
    engine.counters.heartbeats++;
    fu_watchdog_check();
}

void fu_reset() {
    fu_hash_free(&engine.opcodes);
    engine = {};
    dequeue_run = demux_run = {};
    stop_requested = 0;
}
