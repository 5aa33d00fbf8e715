/* The whole path: a real process serves its sockets, this program is the supervisor: batches out, answers back,
 * then the tables are read where a data plane would read them. A run is the median of three. */
#include "bench/bench.h"
#include "bench/bench_served.h"
#include "platform/platform_library.h"
#include "platform/ufib_platform_api.h"
#include "softfwd/softfwd.h"
#include "softfwd/softfwd_reader.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <unistd.h>

constexpr int RUNS = 3;

/* ---- a library that gives handles and does nothing: what the product itself costs ---- */

static uint32_t next_handle;
static uint32_t handle_table(uint32_t, uint32_t, const void *, uint32_t) { return ++next_handle; }
static uint32_t handle_prefix(uint32_t, void *, uint32_t, bool) { return ++next_handle; }
static uint32_t handle_adj(void *, uint32_t, uint32_t) { return ++next_handle; }

static void handles_lcfwd_init(lcfwd_platform_api *, int) {}
static void handles_ufib_init(ufib_platform_api *api, ufib_platform_caps *, int) {
    api->insert_v4_table = handle_table;
    api->insert_v6_table = handle_table;
    api->insert_v4_prefix = handle_prefix;
    api->insert_v6_prefix = handle_prefix;
    api->insert_adj = handle_adj;
}
static const platform_library handles_library = {"handles", handles_lcfwd_init, handles_ufib_init, nullptr};

/* Resident bytes, shared tables included. */
static double resident_bytes(pid_t pid) {
    const std::string path = "/proc/" + std::to_string(pid) + "/statm";
    FILE *file = std::fopen(path.c_str(), "r");
    if (file == nullptr) return 0;
    unsigned long total = 0, resident = 0;
    const int fields = std::fscanf(file, "%lu %lu", &total, &resident);
    std::fclose(file);
    return fields == 2 ? static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) : 0;
}

/* ---- figures ---- */

static double lookups_per_s(uint8_t family, const std::vector<ctl_route> &routes) {
    softfwd_reader *reader = nullptr;
    if (softfwd_reader_attach(BENCH_SERVED_SLOT, false, &reader) != 0) return 0;
    constexpr size_t COUNT = 1u << 20;
    std::vector<uint32_t> v4(COUNT);
    std::vector<uint8_t> v6(COUNT * 16);
    std::mt19937 random(1);
    for (size_t i = 0; i < COUNT; i++) {
        const ctl_route &route = routes[random() % routes.size()];
        v4[i] = static_cast<uint32_t>(route.address[0]) << 24 |
                static_cast<uint32_t>(route.address[1]) << 16 | static_cast<uint32_t>(route.address[2]) << 8 |
                route.address[3];
        std::memcpy(&v6[i * 16], route.address, 16);
    }
    std::vector<softfwd_hop> hops(COUNT);
    const auto begin = std::chrono::steady_clock::now();
    const int status = family == 4 ? softfwd_lookup_v4_many(reader, 1, 1, v4.data(), hops.data(), COUNT)
                                   : softfwd_lookup_v6_many(reader, 1, 0x80000001,
                                                            reinterpret_cast<const uint8_t(*)[16]>(v6.data()),
                                                            hops.data(), COUNT);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    softfwd_reader_detach(reader);
    return status == 0 ? static_cast<double>(COUNT) / took.count() : 0;
}

struct path_figures {
    double routes_per_s = 0;
    double bytes_per_route = 0;
    double lookups_per_s = 0;
};

static path_figures path_run(const platform_library *library, uint8_t family,
                             const std::vector<ctl_route> &sorted, const ctl_stream_plan &plan) {
    path_figures figures;
    bench_served process;
    if (bench_served_start(library, &process)) {
        const double before = resident_bytes(process.pid);
        std::atomic<uint64_t> progress = 0;
        const ctl_stream_result result = ctl_stream_run(&process.session, plan, &progress);
        if (result.status == CTL_GOOD && result.routes_refused == 0) {
            const auto routes = static_cast<double>(plan.routes);
            figures.routes_per_s = routes * 1e9 / static_cast<double>(result.elapsed_ns);
            figures.bytes_per_route = (resident_bytes(process.pid) - before) / routes;
            figures.lookups_per_s = lookups_per_s(family, sorted);
        }
    }
    bench_served_stop(&process);
    return figures;
}

static path_figures path_median(const platform_library *library, uint8_t family,
                                const std::vector<ctl_route> &sorted, const ctl_stream_plan &plan) {
    path_figures runs[RUNS];
    for (path_figures &run : runs) run = path_run(library, family, sorted, plan);
    std::sort(runs, runs + RUNS, [](auto &a, auto &b) { return a.routes_per_s < b.routes_per_s; });
    return runs[RUNS / 2];
}

static void figures_of_family(uint8_t family) {
    const std::vector<ctl_route> sorted = bench_routes_read(family);
    if (sorted.empty()) return;
    const ctl_stream_plan in_order = bench_load_plan(family, sorted, 1);
    const path_figures order = path_median(softfwd_library(), family, sorted, in_order);
    std::printf("path.v%d.routes_per_s %.0f\n", family, order.routes_per_s);
    if (family == 4) {
        std::vector<ctl_route> shuffled = sorted;
        ctl_routes_shuffle(1, &shuffled);
        const path_figures mixed =
            path_median(softfwd_library(), family, sorted, bench_load_plan(family, shuffled, 1));
        std::printf("path.v4.shuffled_routes_per_s %.0f\n", mixed.routes_per_s);
        const path_figures bare = path_median(&handles_library, family, sorted, in_order);
        std::printf("path.defaults.routes_per_s %.0f\n", bare.routes_per_s);
    }
    std::printf("engine.v%d.lookups_per_s %.0f\n", family, order.lookups_per_s);
    std::printf("memory.v%d.bytes_per_route %.0f\n", family, order.bytes_per_route);
}

void bench_path_figures() {
    std::signal(SIGPIPE, SIG_IGN);
    for (const uint8_t family : {uint8_t{4}, uint8_t{6}}) figures_of_family(family);
}
