#include "tools/lcfwdctl/batch_stream.h"

#include "host/timer/clock.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <deque>
#include <thread>
#include <unistd.h>

void ctl_stream_fill(ctl_stream_plan *plan, ctl_batch_form form, std::span<const ctl_route> routes,
                     uint32_t batch_size, const uint32_t tables[2]) {
    for (uint8_t family : {uint8_t{4}, uint8_t{6}}) {
        std::vector<ctl_route> chosen;
        std::copy_if(routes.begin(), routes.end(), std::back_inserter(chosen),
                     [family](const ctl_route &route) { return route.family == family; });
        form.family = family;
        form.table_id = tables[family == 6];
        const size_t step = std::min(batch_size, ctl_batch_routes_max(form));
        for (size_t at = 0; at < chosen.size(); at += step) {
            const std::span<const ctl_route> part(chosen.data() + at, std::min(step, chosen.size() - at));
            const uint8_t flags = form.add && at + step >= chosen.size() ? CTL_BATCH_TABLE_END : 0;
            const auto xid = static_cast<uint32_t>(plan->batches.size() + 1);
            plan->batches.push_back({family == 4 ? CTL_OPC_ROUTES_V4 : CTL_OPC_ROUTES_V6,
                                     static_cast<uint32_t>(part.size()),
                                     ctl_batch_make(form, part, xid, flags)});
        }
        plan->routes += chosen.size();
    }
}

/* The state of one run: which batches wait for their answers, by token. */
struct stream {
    ctl_session *session;
    const ctl_stream_plan *plan;
    std::atomic<uint64_t> *progress;
    ctl_stream_result result;
    struct pending {
        uint32_t token;
        size_t batch;
    };
    std::deque<pending> waiting;
    size_t next = 0;
};

/* Sends until the window or the connection is full. */
static int send_some(stream *run) {
    while (run->next < run->plan->batches.size() && run->waiting.size() < run->plan->window) {
        const ctl_batch &batch = run->plan->batches[run->next];
        const bus_client_message message = {
            mts_opc_sap_get(batch.opcode), batch.opcode,        run->plan->format, ctl.vdc,
            batch.payload.data(),          batch.payload.size()};
        /* With answers on their way a full connection is no reason to wait here: taking them makes room. */
        const int wait = run->waiting.empty() ? static_cast<int>(ctl.timeout_ms) : 0;
        uint32_t token = 0;
        const int error = bus_client_request(run->session->client, &message, wait, &token);
        if (error == EAGAIN && !run->waiting.empty()) return CTL_GOOD;
        if (error != 0) return ctl_bus_failure(run->session->slot, "a batch", error);
        run->waiting.push_back({token, run->next++});
    }
    return CTL_GOOD;
}

static void judge(stream *run, const ctl_batch &batch, const mts_msg &message) {
    ctl_batch_verdict verdict{};
    const char *why = "it was rejected";
    bool wrong = (message.flags & MTS_FLAG_REJECT) != 0;
    if (!wrong)
        wrong = ctl_answer_read(run->plan->format, batch.payload, {message.payload, message.payload_size},
                                &verdict, &why) != 0;
    if (wrong && run->result.status == CTL_GOOD) {
        ctl_error("slot %u: bad answer to a batch: %s", run->session->slot, why);
        run->result.status = CTL_REFUSED;
    }
    if (wrong || !verdict.good) run->result.batches_refused++;
    run->result.routes_refused += wrong ? batch.routes : std::min(verdict.refused, batch.routes);
    *run->progress += batch.routes;
}

static int receive_one(stream *run) {
    mts_msg message{};
    const int error = bus_client_receive(run->session->client, &message, static_cast<int>(ctl.timeout_ms));
    if (error != 0) return ctl_bus_failure(run->session->slot, "a batch", error);
    if ((message.flags & MTS_FLAG_RESPONSE) == 0) return CTL_GOOD;
    const auto found = std::find_if(run->waiting.begin(), run->waiting.end(),
                                    [&](const stream::pending &p) { return p.token == message.token; });
    /* Answers to what was sent without waiting, such as the download bracket's, belong to nobody. */
    if (found == run->waiting.end()) return CTL_GOOD;
    judge(run, run->plan->batches[found->batch], message);
    run->waiting.erase(found);
    return CTL_GOOD;
}

static int send_all(stream *run) {
    const uint64_t start = host_clock_monotonic_ns();
    int status = CTL_GOOD;
    while (status == CTL_GOOD && (run->next < run->plan->batches.size() || !run->waiting.empty())) {
        status = send_some(run);
        if (status == CTL_GOOD) status = receive_one(run);
    }
    run->result.elapsed_ns = host_clock_monotonic_ns() - start;
    return status;
}

ctl_stream_result ctl_stream_run(ctl_session *session, const ctl_stream_plan &plan,
                                 std::atomic<uint64_t> *progress) {
    stream run{session, &plan, progress, {}, {}, 0};
    int status = ctl_settle(session);
    if (status == CTL_GOOD && plan.bracket) status = ctl_tell(session, CTL_OPC_UP, ctl_up_make(plan.epoch));
    if (status == CTL_GOOD && plan.bracket)
        status = ctl_tell(session, CTL_OPC_DOWNLOAD, ctl_download_make(CTL_DOWNLOAD_START));
    if (status == CTL_GOOD) status = send_all(&run);
    if (status == CTL_GOOD && plan.bracket) {
        status = ctl_tell(session, CTL_OPC_DOWNLOAD, ctl_download_make(CTL_DOWNLOAD_END));
        if (status == CTL_GOOD) status = ctl_settle(session);
    }
    if (status == CTL_GOOD && run.result.batches_refused != 0) status = CTL_REFUSED;
    run.result.status = ctl_worse(run.result.status, status);
    return run.result;
}

static void draw_progress(const char *verb, uint64_t done, uint64_t total) {
    static const char bar[] = "########################################";
    const auto filled = static_cast<int>(total == 0 ? 40 : done * 40 / total);
    fprintf(stderr, "\r%s [%-40.*s] %3u%%", verb, filled, bar,
            static_cast<unsigned>(total == 0 ? 100 : done * 100 / total));
    fflush(stderr);
}

/* Runs beside the threads until all have ended. */
static void watch_progress(const char *verb, const std::atomic<uint64_t> &progress,
                           const std::atomic<uint32_t> &running, uint64_t total) {
    if (ctl.quiet || !isatty(STDERR_FILENO)) return;
    while (running != 0) {
        draw_progress(verb, progress, total);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    fprintf(stderr, "\r%*s\r", static_cast<int>(60), "");
}

std::vector<ctl_stream_result> ctl_stream_run_all(const ctl_stream_plan &plan, const char *verb) {
    std::vector<ctl_stream_result> results(ctl.slots.size());
    std::vector<ctl_session> sessions(ctl.slots.size());
    std::vector<std::thread> threads;
    std::atomic<uint64_t> progress = 0;
    std::atomic<uint32_t> running = 0;
    /* The root directory is a setting of the whole program: all sessions are opened before any thread starts. */
    for (size_t i = 0; i < sessions.size(); i++)
        results[i].status = ctl_session_open(ctl.slots[i], &sessions[i]);
    for (size_t i = 0; i < sessions.size(); i++) {
        if (results[i].status != CTL_GOOD) continue;
        running++;
        threads.emplace_back([&, i] {
            results[i] = ctl_stream_run(&sessions[i], plan, &progress);
            running--;
        });
    }
    watch_progress(verb, progress, running, plan.routes * threads.size());
    for (std::thread &thread : threads) thread.join();
    for (ctl_session &session : sessions) ctl_session_close(&session);
    return results;
}
