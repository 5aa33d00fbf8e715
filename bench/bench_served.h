/* bench/bench_served.h: a process of its own that serves a forwarding table, with this program as its supervisor. */
#pragma once

#include "tools/lcfwdctl/batch_stream.h"

#include <string>
#include <sys/types.h>
#include <vector>

struct platform_library;

struct bench_served {
    std::string root; /* private; removed at the stop */
    pid_t pid = 0;
    ctl_session session;
};

/* Starts it with VDC 1 on a platform library. False when it does not answer; stop it all the same. */
[[nodiscard]] bool bench_served_start(const platform_library *library, bench_served *out);
void bench_served_stop(bench_served *process);
/* Kills it and starts it again on what it left. '*seconds': from its start to the answer of VDC 1. False as above. */
[[nodiscard]] bool bench_served_restart(const platform_library *library, bench_served *process,
                                        double *seconds);
inline constexpr uint32_t BENCH_SERVED_SLOT = 1;

/* The Internet's routes of a family (4 or 6) with covering prefixes; empty when they cannot be read. */
[[nodiscard]] std::vector<ctl_route> bench_routes_read(uint8_t family);

/* The whole load of such a list, in batches of 500. 'paths': of each route. */
[[nodiscard]] ctl_stream_plan bench_load_plan(uint8_t family, const std::vector<ctl_route> &routes,
                                              uint32_t paths);
