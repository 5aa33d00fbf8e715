/* host/timer/active_timer.h: one-shot timers in sets, over the process's clock (host/timer/clock.h). Nothing
 * runs by itself: the owner of the thread asks for the next expiry, waits at most so long, and calls
 * active_timer_process_expired_timers(). One thread; callbacks run on the caller's thread. */
#pragma once

#include <cstdint>
#include <ctime>

struct active_timer; /* opaque; owned by its set, lives until active_timer_reset() */

/* How the library shall work. Both fields must be 1 at active_timer_init(): other ways are not offered. */
struct active_timer_attr {
    uint32_t monotonic;   /* expiry follows the monotonic clock, not the wall clock */
    uint32_t synchronous; /* callbacks run inside active_timer_process_expired_timers() only */
};

/* Zeroes 'attr'. 0, or EINVAL for a null argument. */
[[nodiscard]] int active_timer_attr_init(active_timer_attr *attr);

/* Starts the library. 0; EINVAL when a field of 'attr' is not 1. Sets and timers made before stay. */
[[nodiscard]] int active_timer_init(const active_timer_attr *attr);

/* Makes a set with room for 'timers' timers. Returns its id (above 0), or -1: library not started, 'timers'
 * not in 1..ACTIVE_TIMERS_PER_SET, or all ACTIVE_TIMER_SETS in use. */
constexpr int ACTIVE_TIMER_SETS = 16;
constexpr int ACTIVE_TIMERS_PER_SET = 16;
[[nodiscard]] int active_timer_new_set_init(int timers);

/* Makes a stopped timer of 'set'. 'type' is kept for display. Null when the set is unknown or full, or
 * 'callback' is null. */
using active_timer_callback = void (*)(void *argument);
[[nodiscard]] active_timer *active_timer_create(int set, int type, active_timer_callback callback,
                                                void *argument);

/* Arms the timer to expire once, after the given time from now; a running timer is armed anew. The last two
 * arguments are not used. 0, or EINVAL: null timer, or 'nanoseconds' not below one second. */
int active_timer_start(active_timer *timer, uint32_t seconds, uint32_t nanoseconds, int unused1, int unused2);

/* Disarms. Stopping a timer that does not run is no fault. 0, or EINVAL for null. */
int active_timer_stop(active_timer *timer);

/* False from the moment its callback is called, so that a callback may start its timer again. */
[[nodiscard]] bool active_timer_running(const active_timer *timer);

/* Time from now until this timer expires; 0 for one that is overdue or does not run. */
[[nodiscard]] uint64_t active_timer_left_ns(const active_timer *timer);

/* Time from now to the next expiry in 'left'; 0/0 when a timer is overdue. False, and 'left' untouched, when
 * no timer runs. */
[[nodiscard]] bool active_timer_get_next_expiry_time(timespec *left);

/* Runs the callbacks of all timers that are due, in the order of expiry, equal ones in the order of starting.
 * A timer that a callback starts does not run in the same pass, even if it is due at once. 'set' 0 means all
 * sets; 'most' is the greatest number of callbacks of this pass, 0 = no bound. */
void active_timer_process_expired_timers(int set, int most);

/* For tests: the 'nth' next call (1 = the very next) of init, new_set_init or create fails; 0 = none. */
void active_timer_fail_nth(int nth);

/* Forgets all sets and timers. */
void active_timer_reset();
