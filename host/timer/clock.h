/* host/timer/clock.h: the one source of time. Nothing in this tree reads a clock but through it, so that a test
 * can run hours of timers in a moment and always the same way. One thread. */
#pragma once

#include <cstdint>

/* A clock: two functions over one context. Units: nanoseconds. */
struct host_clock {
    uint64_t (*monotonic_ns)(void *ctx); /* never goes back; origin unspecified */
    uint64_t (*wall_ns)(void *ctx);      /* since 1970-01-01 00:00:00 UTC */
    void *ctx;
};

/* Makes 'clock' (copied) the clock of the process. Before the first call, and after host_clock_reset(), the
 * operating system's clocks serve. */
void host_clock_set(const host_clock *clock);
void host_clock_reset();

[[nodiscard]] uint64_t host_clock_monotonic_ns();
[[nodiscard]] uint64_t host_clock_wall_ns();
[[nodiscard]] uint32_t host_clock_wall_seconds();

/* A clock that stands still until it is told to go on. Lives as long as it is set. */
struct host_manual_clock {
    uint64_t monotonic_ns;
    uint64_t wall_ns;
};
void host_manual_clock_set(host_manual_clock *clock);
void host_manual_clock_advance(host_manual_clock *clock, uint64_t nanoseconds);
