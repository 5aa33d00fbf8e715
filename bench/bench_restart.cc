/* A kill and a restart with the whole Internet's routing table: from the start of the process to its first answer, and
 * what the store takes for it. The median of five. */
#include "bench/bench.h"
#include "bench/bench_served.h"
#include "softfwd/softfwd.h"
#include "softfwd/softfwd_reader.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <filesystem>

constexpr size_t RUNS = 5;

static uint64_t engine_writes() {
    softfwd_reader *reader = nullptr;
    softfwd_reader_stats stats = {};
    if (softfwd_reader_attach(BENCH_SERVED_SLOT, false, &reader) != 0) return 0;
    const int status = softfwd_reader_statistics(reader, &stats);
    softfwd_reader_detach(reader);
    return status == 0 ? stats.counters.writes : 0;
}

static double store_bytes(const std::string &root) {
    uintmax_t bytes = 0;
    for (const auto &file : std::filesystem::directory_iterator(root + "/dev/shm"))
        if (file.path().filename().string().rfind("lcfwd_", 0) == 0) bytes += file.file_size();
    return static_cast<double>(bytes);
}

/* Both families; the routes loaded, or 0. */
static uint64_t table_load(bench_served *process) {
    uint64_t routes = 0;
    for (const uint8_t family : {uint8_t{4}, uint8_t{6}}) {
        const ctl_stream_plan plan = bench_load_plan(family, bench_routes_read(family), 1);
        std::atomic<uint64_t> progress = 0;
        const ctl_stream_result result = ctl_stream_run(&process->session, plan, &progress);
        if (result.status != CTL_GOOD || result.routes_refused != 0) return 0;
        routes += plan.routes;
    }
    return routes;
}

void bench_restart_figures() {
    std::signal(SIGPIPE, SIG_IGN);
    bench_served process;
    if (bench_served_start(softfwd_library(), &process)) {
        const uint64_t routes = table_load(&process), before = engine_writes();
        double seconds[RUNS] = {};
        bool good = routes != 0;
        for (double &run : seconds) good = good && bench_served_restart(softfwd_library(), &process, &run);
        std::sort(seconds, seconds + RUNS);
        if (good) {
            std::printf("restart.prefixes %lu\n", static_cast<unsigned long>(routes));
            std::printf("restart.seconds %.3f\n", seconds[RUNS / 2]);
            std::printf("restart.engine_writes %lu\n", static_cast<unsigned long>(engine_writes() - before));
            std::printf("store.bytes_per_route %.1f\n",
                        store_bytes(process.root) / static_cast<double>(routes));
        }
    }
    bench_served_stop(&process);
}
