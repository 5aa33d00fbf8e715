#include "host/timer/active_timer.h"

#include "host/timer/clock.h"

#include <cerrno>

constexpr uint64_t NS_PER_SECOND = 1'000'000'000;

struct active_timer {
    active_timer_callback callback; /* null = free place */
    void *argument;
    uint64_t expiry_ns;
    uint64_t start_number; /* 0 = not running; else grows with each start */
    int type;
};

/* A process has a few timers, so they lie in a table and the next one is found by looking at all of them. */
struct timer_set {
    active_timer timers[ACTIVE_TIMERS_PER_SET];
    int room; /* 0 = no such set */
    int count;
};

static struct {
    timer_set sets[ACTIVE_TIMER_SETS];
    bool started;
    uint64_t starts;
    int fail_in; /* calls until the injected failure; 0 = none */
} state;

static bool injected_failure() { return state.fail_in > 0 && --state.fail_in == 0; }

int active_timer_attr_init(active_timer_attr *attr) {
    if (attr == nullptr) return EINVAL;
    *attr = {};
    return 0;
}

int active_timer_init(const active_timer_attr *attr) {
    if (injected_failure()) return ENOMEM;
    if (attr == nullptr || attr->monotonic != 1 || attr->synchronous != 1) return EINVAL;
    state.started = true;
    return 0;
}

int active_timer_new_set_init(int timers) {
    if (injected_failure() || !state.started || timers < 1 || timers > ACTIVE_TIMERS_PER_SET) return -1;
    for (int i = 0; i < ACTIVE_TIMER_SETS; i++) {
        if (state.sets[i].room != 0) continue;
        state.sets[i].room = timers;
        return i + 1;
    }
    return -1;
}

active_timer *active_timer_create(int set, int type, active_timer_callback callback, void *argument) {
    if (injected_failure() || set < 1 || set > ACTIVE_TIMER_SETS || callback == nullptr) return nullptr;
    timer_set &home = state.sets[set - 1];
    if (home.count >= home.room) return nullptr;
    active_timer *timer = &home.timers[home.count++];
    *timer = {callback, argument, 0, 0, type};
    return timer;
}

int active_timer_start(active_timer *timer, uint32_t seconds, uint32_t nanoseconds, int, int) {
    if (timer == nullptr || nanoseconds >= NS_PER_SECOND) return EINVAL;
    timer->expiry_ns = host_clock_monotonic_ns() + seconds * NS_PER_SECOND + nanoseconds;
    timer->start_number = ++state.starts;
    return 0;
}

int active_timer_stop(active_timer *timer) {
    if (timer == nullptr) return EINVAL;
    timer->start_number = 0;
    return 0;
}

bool active_timer_running(const active_timer *timer) { return timer != nullptr && timer->start_number != 0; }

static bool sooner(const active_timer *a, const active_timer *b) {
    if (a->expiry_ns != b->expiry_ns) return a->expiry_ns < b->expiry_ns;
    return a->start_number < b->start_number;
}

/* The first running timer of one set (0 = of all) that was started not later than start number 'newest'. */
static active_timer *first_timer(int set, uint64_t newest) {
    active_timer *first = nullptr;
    for (int i = 0; i < ACTIVE_TIMER_SETS; i++) {
        if (set != 0 && set != i + 1) continue;
        for (int k = 0; k < state.sets[i].count; k++) {
            active_timer *timer = &state.sets[i].timers[k];
            if (timer->start_number == 0 || timer->start_number > newest) continue;
            if (first == nullptr || sooner(timer, first)) first = timer;
        }
    }
    return first;
}

uint64_t active_timer_left_ns(const active_timer *timer) {
    const uint64_t now = host_clock_monotonic_ns();
    return active_timer_running(timer) && timer->expiry_ns > now ? timer->expiry_ns - now : 0;
}

bool active_timer_get_next_expiry_time(timespec *left) {
    const active_timer *timer = first_timer(0, UINT64_MAX);
    if (timer == nullptr) return false;
    const uint64_t ns = active_timer_left_ns(timer);
    left->tv_sec = static_cast<time_t>(ns / NS_PER_SECOND);
    left->tv_nsec = static_cast<long>(ns % NS_PER_SECOND);
    return true;
}

void active_timer_process_expired_timers(int set, int most) {
    const uint64_t newest = state.starts;
    const uint64_t now = host_clock_monotonic_ns();
    for (int done = 0; most == 0 || done < most; done++) {
        active_timer *timer = first_timer(set, newest);
        if (timer == nullptr || timer->expiry_ns > now) return;
        timer->start_number = 0;
        timer->callback(timer->argument);
    }
}

void active_timer_fail_nth(int nth) { state.fail_in = nth; }

void active_timer_reset() { state = {}; }
