#include "host/timer/clock.h"

#include <ctime>

constexpr uint64_t NS_PER_SECOND = 1'000'000'000;

static uint64_t system_ns(clockid_t id) {
    timespec now{};
    clock_gettime(id, &now);
    return static_cast<uint64_t>(now.tv_sec) * NS_PER_SECOND + static_cast<uint64_t>(now.tv_nsec);
}

static uint64_t system_monotonic_ns(void *) { return system_ns(CLOCK_MONOTONIC); }
static uint64_t system_wall_ns(void *) { return system_ns(CLOCK_REALTIME); }

static constexpr host_clock system_clock = {system_monotonic_ns, system_wall_ns, nullptr};
static host_clock current = system_clock;

void host_clock_set(const host_clock *clock) { current = *clock; }
void host_clock_reset() { current = system_clock; }

uint64_t host_clock_monotonic_ns() { return current.monotonic_ns(current.ctx); }
uint64_t host_clock_wall_ns() { return current.wall_ns(current.ctx); }
/* Whole seconds cost the system a tenth of what nanoseconds do. */
uint32_t host_clock_wall_seconds() {
    if (current.wall_ns == system_wall_ns) return static_cast<uint32_t>(std::time(nullptr));
    return static_cast<uint32_t>(host_clock_wall_ns() / NS_PER_SECOND);
}

static uint64_t manual_monotonic_ns(void *ctx) { return static_cast<host_manual_clock *>(ctx)->monotonic_ns; }
static uint64_t manual_wall_ns(void *ctx) { return static_cast<host_manual_clock *>(ctx)->wall_ns; }

void host_manual_clock_set(host_manual_clock *clock) {
    current = {manual_monotonic_ns, manual_wall_ns, clock};
}

void host_manual_clock_advance(host_manual_clock *clock, uint64_t nanoseconds) {
    clock->monotonic_ns += nanoseconds;
    clock->wall_ns += nanoseconds;
}
