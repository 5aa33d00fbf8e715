/* Routes with many paths: what a group of 64 costs on the whole path, and what choosing a member costs a packet. */
#include "bench/bench.h"
#include "bench/bench_served.h"
#include "softfwd/softfwd.h"
#include "softfwd/softfwd_reader.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>

constexpr uint32_t PATHS = 64;
constexpr size_t ROUTES = 40000; /* the batches lie in memory: 2.8 kB a route */
constexpr int RUNS = 3;
constexpr uint32_t FLOWS = 1u << 18;

/* Flows to the routes' addresses, each with another source port. */
static double flow_lookups_per_s(const std::vector<ctl_route> &routes) {
    softfwd_reader *reader = nullptr;
    if (softfwd_reader_attach(BENCH_SERVED_SLOT, false, &reader) != 0) return 0;
    softfwd_flow flow = {};
    flow.source[0] = 192, flow.source[2] = 2, flow.destination_port = 443, flow.protocol = 6;
    int status = 0;
    const auto begin = std::chrono::steady_clock::now();
    for (uint32_t n = 0; n < FLOWS && status == 0; n++) {
        const ctl_route &route = routes[n * 2654435761u % routes.size()];
        memcpy(flow.destination, route.address, sizeof flow.destination);
        flow.source_port = static_cast<uint16_t>(n);
        softfwd_result result;
        status = softfwd_lookup_flow(reader, ADDRESS_FAMILY_V4, 1, 1, &flow, &result);
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    softfwd_reader_detach(reader);
    return status == 0 ? FLOWS / took.count() : 0;
}

struct ecmp_figures {
    double routes_per_s = 0;
    double lookups_per_s = 0;
};

static ecmp_figures ecmp_run(const std::vector<ctl_route> &routes, const ctl_stream_plan &plan) {
    ecmp_figures figures;
    bench_served process;
    if (bench_served_start(softfwd_library(), &process)) {
        std::atomic<uint64_t> progress = 0;
        const ctl_stream_result result = ctl_stream_run(&process.session, plan, &progress);
        if (result.status == CTL_GOOD && result.routes_refused == 0) {
            figures.routes_per_s =
                static_cast<double>(plan.routes) * 1e9 / static_cast<double>(result.elapsed_ns);
            figures.lookups_per_s = flow_lookups_per_s(routes);
        }
    }
    bench_served_stop(&process);
    return figures;
}

void bench_ecmp_figures() {
    std::signal(SIGPIPE, SIG_IGN);
    std::vector<ctl_route> routes = bench_routes_read(4);
    if (routes.size() > ROUTES) routes.resize(ROUTES);
    if (routes.empty()) return;
    const ctl_stream_plan plan = bench_load_plan(4, routes, PATHS);
    ecmp_figures runs[RUNS];
    for (ecmp_figures &run : runs) run = ecmp_run(routes, plan);
    std::sort(runs, runs + RUNS, [](auto &a, auto &b) { return a.routes_per_s < b.routes_per_s; });
    std::printf("ecmp64.routes_per_s %.0f\n", runs[RUNS / 2].routes_per_s);
    std::printf("ecmp64.lookups_per_s %.0f\n", runs[RUNS / 2].lookups_per_s);
}
