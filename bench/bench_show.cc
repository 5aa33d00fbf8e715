/* A show of a million routes while routes change: what it costs those who wait. One client keeps batches in flight and,
 * beside them, the show's next piece; the gaps between answers to batches are what a supervisor feels. */
#include "bench/bench.h"
#include "bench/bench_served.h"

#include "diag/command_numbers.h"
#include "host/command/command_wire.h"
#include "softfwd/softfwd.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <utility>

constexpr uint32_t ROUTES = 1000000, BATCH_ROUTES = 100, WINDOW = 8;
constexpr int RUNS = 3;
constexpr uint32_t QUIET_BATCHES = 20000; /* of the run without a show */

struct show_figures {
    std::vector<double> gaps_us; /* between answers to batches */
    double seconds = 0;
    uint64_t pieces = 0;
    uint64_t bytes = 0;
    bool good = true;
};

struct show_run {
    bench_served *process;
    const ctl_stream_plan *batches;
    size_t next_batch = 0;
    bool show;
    bool done = false; /* the show has come to its end */
    std::vector<uint8_t> cookie;
    show_figures figures;
};

static bool request(show_run *run, uint32_t opcode, uint32_t version, const void *payload, size_t size) {
    const bus_client_message message = {mts_opc_sap_get(opcode), opcode, version, 1, payload, size};
    uint32_t token = 0;
    return bus_client_request(run->process->session.client, &message, 5000, &token) == 0;
}

static bool batch_send(show_run *run) {
    const ctl_batch &batch = run->batches->batches[run->next_batch++ % run->batches->batches.size()];
    return request(run, batch.opcode, run->batches->format, batch.payload.data(), batch.payload.size());
}

static bool piece_ask(show_run *run) {
    uint8_t bytes[CMD_REQUEST_HEAD + CMD_COOKIE_MAX];
    const size_t size =
        cmd_request_write(bytes, sizeof bytes, 1, CMD_ACTION_GET, CMD_SHOW_V4_ROUTES, run->cookie.data(),
                          static_cast<uint32_t>(run->cookie.size()), nullptr, 0);
    return request(run, CMD_OPC, 0, bytes, size);
}

/* Takes a part of the show's answer; asks for the next piece at its end. */
static bool piece_take(show_run *run, const mts_msg &message) {
    cmd_answer answer;
    if (cmd_answer_read(message.payload, message.payload_size, &answer) != 0) return false;
    run->figures.bytes += message.payload_size;
    if (answer.kind == CMD_ANSWER_PART) return true;
    run->figures.pieces++;
    run->done = answer.kind != CMD_ANSWER_MORE;
    run->cookie.assign(answer.cookie, answer.cookie + answer.cookie_length);
    return run->done ? answer.kind == CMD_ANSWER_DONE : piece_ask(run);
}

static show_figures show_measure(bench_served *process, const ctl_stream_plan &batches, bool show) {
    using clock = std::chrono::steady_clock;
    show_run run = {process, &batches, 0, show, false, {}, {}};
    run.figures.gaps_us.reserve(1u << 20);
    bool good = true;
    for (uint32_t i = 0; i < WINDOW; i++) good = good && batch_send(&run);
    if (show) good = good && piece_ask(&run);
    const clock::time_point begin = clock::now();
    clock::time_point last = begin;
    uint32_t waiting = WINDOW;
    mts_msg message;
    while (good && waiting != 0 && bus_client_receive(process->session.client, &message, 5000) == 0) {
        if ((message.flags & MTS_FLAG_RESPONSE) == 0) continue;
        if (message.opcode == CMD_OPC) {
            good = piece_take(&run, message);
            continue;
        }
        const clock::time_point now = clock::now();
        run.figures.gaps_us.push_back(std::chrono::duration<double, std::micro>(now - last).count());
        last = now;
        const bool more = show ? !run.done : run.figures.gaps_us.size() < QUIET_BATCHES;
        if (more)
            good = batch_send(&run);
        else
            waiting--;
    }
    run.figures.seconds = std::chrono::duration<double>(last - begin).count();
    run.figures.good = good && waiting == 0 && (!show || run.done);
    std::sort(run.figures.gaps_us.begin(), run.figures.gaps_us.end());
    return run.figures;
}

/* Of several runs the one with the shortest longest gap: pauses that the machine makes are nobody's here. */
static show_figures show_best(bench_served *process, const ctl_stream_plan &batches, bool show) {
    show_figures best;
    for (int i = 0; i < RUNS; i++) {
        show_figures run = show_measure(process, batches, show);
        if (!run.good) return run;
        if (i == 0 || run.gaps_us.back() < best.gaps_us.back()) best = std::move(run);
    }
    return best;
}

static std::vector<ctl_route> million_routes() {
    std::vector<ctl_route> routes(ROUTES);
    for (uint32_t i = 0; i < ROUTES; i++) {
        ctl_route &route = routes[i];
        const uint32_t address = 0x01000000 + (i << 8);
        route = {};
        for (uint32_t b = 0; b < 4; b++) route.address[b] = static_cast<uint8_t>(address >> (24 - 8 * b));
        route.bits = 24;
        route.family = 4;
        route.hop = i % 64;
    }
    return routes;
}

static double at(const show_figures &figures, double part) {
    const size_t count = figures.gaps_us.size();
    return count == 0
               ? 0
               : figures.gaps_us[std::min(count - 1, static_cast<size_t>(part * static_cast<double>(count)))];
}

static void figures_print(const show_figures &quiet, const show_figures &busy) {
    const auto rate = [](const show_figures &f) {
        return static_cast<double>(f.gaps_us.size()) * BATCH_ROUTES / f.seconds;
    };
    std::printf("show.routes_per_s %.0f\n", ROUTES / busy.seconds);
    std::printf("show.pieces %llu\n", static_cast<unsigned long long>(busy.pieces));
    std::printf("show.bytes_per_route %.0f\n", static_cast<double>(busy.bytes) / ROUTES);
    std::printf("show.gap_us %.0f\n", at(busy, 1));
    std::printf("show.gap_quiet_us %.0f\n", at(quiet, 1));
    std::printf("show.gap_p999_us %.0f\n", at(busy, 0.999));
    std::printf("show.gap_quiet_p999_us %.0f\n", at(quiet, 0.999));
    std::printf("show.gap_median_us %.0f\n", at(busy, 0.5));
    std::printf("show.gap_quiet_median_us %.0f\n", at(quiet, 0.5));
    std::printf("show.updates_per_s %.0f\n", rate(busy));
    std::printf("show.updates_quiet_per_s %.0f\n", rate(quiet));
}

void bench_show_figures() {
    const std::vector<ctl_route> routes = million_routes();
    ctl_stream_plan load = bench_load_plan(4, routes, 1), batches;
    ctl_batch_form form;
    form.family = 4;
    const uint32_t tables[2] = {1, 0x80000001};
    ctl_stream_fill(&batches, form, {routes.data(), 100000}, BATCH_ROUTES, tables);
    bench_served process;
    std::atomic<uint64_t> progress = 0;
    if (bench_served_start(softfwd_library(), &process) &&
        ctl_stream_run(&process.session, load, &progress).status == CTL_GOOD) {
        const show_figures quiet = show_best(&process, batches, false);
        const show_figures busy = show_best(&process, batches, true);
        if (quiet.good && busy.good)
            figures_print(quiet, busy);
        else
            std::fprintf(stderr, "show: the process did not answer\n");
    }
    bench_served_stop(&process);
}
