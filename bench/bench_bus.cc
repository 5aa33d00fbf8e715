/* Messages over the bus: a client and a process that answers each request with 17 bytes, as a route batch is
 * answered; over real sockets between two processes, and over the queues inside one. */
#include "host/bus/bus_client.h"
#include "host/bus/bus_local.h"
#include "host/engine/engine.h"
#include "host/system/root.h"

#include <benchmark/benchmark.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

constexpr uint32_t SAP = 200;
constexpr int WINDOW = 64; /* requests under way */
constexpr size_t ANSWER = 17;

static fu_sel selector;

/* The least that a process does for a message, so that the bus is what is measured. */
[[noreturn]] static void serve() {
    const mts_config config;
    const uint32_t options[3] = {1, 4096, 378};
    if (mts_start(&config) != 0 || fu_priority_select_init(&selector, 0) != 0) _exit(1);
    const auto queue = static_cast<uint32_t>(mts_bind(4, SAP, options, "bench"));
    if (fu_priority_select_add_queue(&selector, FU_SOURCE_MTS, 7, queue, nullptr, nullptr, 3) != 0) _exit(1);
    for (;;) {
        uint32_t error = 0;
        mts_msg *message = nullptr;
        const fu_src *source = fu_priority_select(&selector, nullptr, &error);
        if (source == nullptr || fu_mts_recv(source->handle, &message, 1, 0) != 0) _exit(1);
        const uint8_t answer[ANSWER] = {};
        (void)fu_mts_send_response(queue, answer, sizeof answer, message, 0);
        fu_mts_drop(message);
    }
}

/* A serving process in a root directory of its own, and a client of it. */
struct pair_of_processes {
    std::string root;
    std::string old_root;
    pid_t child = -1;
    bus_client *client = nullptr;

    pair_of_processes() {
        char folder[] = "/tmp/lcfwd-bench-XXXXXX";
        if (mkdtemp(folder) == nullptr) return;
        root = folder;
        old_root = host_root_get();
        host_root_set(folder);
        child = fork();
        if (child == 0) serve();
        const bus_client_config config;
        if (bus_client_open(&config, &client) != 0) client = nullptr;
        if (client != nullptr && bus_client_connect(client, SAP, 5000) != 0) {
            bus_client_close(client);
            client = nullptr;
        }
    }
    ~pair_of_processes() {
        bus_client_close(client);
        if (child > 0) {
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
        host_root_set(old_root.c_str());
        if (!root.empty()) std::filesystem::remove_all(root);
    }
    pair_of_processes(const pair_of_processes &) = delete;
    pair_of_processes &operator=(const pair_of_processes &) = delete;
};

/* Sends 'count' requests, WINDOW of them under way, and takes all answers. False on any failure. */
static bool exchange(bus_client *client, int count, const std::vector<uint8_t> &payload) {
    const bus_client_message message = {SAP, 74767, 1, 1, payload.data(), payload.size()};
    for (int sent = 0, answered = 0; answered < count;) {
        uint32_t token = 0;
        while (sent < count && sent - answered < WINDOW) {
            if (bus_client_request(client, &message, 5000, &token) != 0) return false;
            sent++;
        }
        mts_msg answer;
        if (bus_client_receive(client, &answer, 5000) != 0 || answer.payload_size != ANSWER) return false;
        answered++;
    }
    return true;
}

static void bus_sockets(benchmark::State &state) {
    const pair_of_processes pair;
    const std::vector<uint8_t> payload(static_cast<size_t>(state.range(0)));
    constexpr int batch = 1000;
    for (auto _ : state) {
        if (pair.client == nullptr || !exchange(pair.client, batch, payload)) {
            state.SkipWithError("exchange failed");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * batch);
    state.SetBytesProcessed(state.iterations() * batch * state.range(0));
}
BENCHMARK(bus_sockets)->Arg(64)->Arg(4096)->Arg(65536)->UseRealTime();

static void bus_inside_process(benchmark::State &state) {
    mts_config config;
    config.transport = MTS_TRANSPORT_LOCAL;
    const uint32_t options[3] = {1, 4096, 378};
    if (mts_start(&config) != 0) return;
    const auto queue = static_cast<uint32_t>(mts_bind(4, SAP, options, "bench"));
    std::vector<uint8_t> payload(static_cast<size_t>(state.range(0)));
    mts_msg request = {};
    request.destination.sap = SAP;
    request.payload = payload.data();
    request.payload_size = static_cast<uint32_t>(payload.size());
    for (auto _ : state) {
        mts_msg *message = nullptr;
        if (mts_local_inject(&request) != 0 || fu_mts_recv(queue, &message, 1, 0) != 0) abort();
        (void)fu_mts_send_response(queue, payload.data(), ANSWER, message, 0);
        fu_mts_drop(message);
        mts_local_sent_clear();
    }
    state.SetItemsProcessed(state.iterations());
    mts_reset();
}
BENCHMARK(bus_inside_process)->Arg(64)->Arg(65536);

/* Requests of 64 bytes, each answered, over sockets between two processes; the best of three runs. */
void bench_bus_figures();
void bench_bus_figures() {
    const pair_of_processes pair;
    const std::vector<uint8_t> payload(64);
    constexpr int count = 100'000;
    double best = 0;
    for (int run = 0; run < 3; run++) {
        const auto begin = std::chrono::steady_clock::now();
        if (pair.client == nullptr || !exchange(pair.client, count, payload)) {
            fprintf(stderr, "bench_bus: no exchange with the serving process\n");
            return;
        }
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
        best = std::max(best, count / took.count());
    }
    printf("bus.messages_per_s %.0f\n", best);
}
