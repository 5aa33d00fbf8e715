/* The store: records a second in batches of 500, the size of a bus message's worth of routes, against copying the
 * same bytes, over a full table of 730,000 records of a 4-byte key and a 21-byte value. */
#include "host/store/store.h"
#include "host/store/store_admin.h"
#include "host/system/root.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

constexpr uint32_t RECORDS = 730000;
constexpr uint32_t BATCH = 500;
constexpr uint32_t VALUE = 21;

struct bench_record {
    uint32_t key;
    char value[VALUE];
};

/* A store in a folder of its own on shared memory, with one database. */
struct store_folder {
    std::string root, old_root;
    pss2_service *service = nullptr;
    alignas(8) char area[40960];

    store_folder() {
        char name[] = "/dev/shm/lcstore-bench-XXXXXX";
        if (mkdtemp(name) == nullptr) return;
        root = name;
        old_root = host_root_get();
        store_reset();
        host_root_set(root.c_str());
        open();
    }
    void open() {
        fu_pss_service_arg arg;
        fu_global_pss_service_default_arg(&arg);
        arg.id = 41;
        if (fu_pss_service_arg_uri_set(&arg, "volatile:/dev/shm/lcfwd_prefix_vdc_1") != 0) return;
        if (fu_pss_entry_install(nullptr, 1, &arg) == 0 && fu_pss_service_get(41, &service) != 0)
            service = nullptr;
    }
    ~store_folder() {
        store_reset();
        host_root_set(old_root.c_str());
        if (!root.empty()) std::filesystem::remove_all(root);
    }
    store_folder(const store_folder &) = delete;
    store_folder &operator=(const store_folder &) = delete;
};

static std::vector<bench_record> make_records(bool shuffled) {
    std::vector<bench_record> records(RECORDS);
    for (uint32_t i = 0; i < RECORDS; i++) {
        records[i].key = i + 1;
        std::memset(records[i].value, static_cast<int>(i), VALUE);
    }
    if (shuffled) std::shuffle(records.begin(), records.end(), std::mt19937(20240611));
    return records;
}

/* Stores all, a batch at a time, from a staging area that keys and values are copied to first. False on a failure. */
static bool store_all(store_folder *folder, const std::vector<bench_record> &records) {
    static char staging[BATCH * sizeof(bench_record)];
    for (size_t done = 0; done < records.size();) {
        int status = 0;
        pss2_ops *ops = pss2_ops_init(folder->area, sizeof folder->area, &status);
        if (status != 0 || pss2_ops_add_db(ops, folder->service) != 0) return false;
        const size_t end = std::min(done + BATCH, records.size());
        for (char *at = staging; done < end; done++, at += sizeof(bench_record)) {
            std::memcpy(at, &records[done], sizeof(bench_record));
            const pss2_datum key{at, 4};
            const pss2_datum value{at + 4, VALUE};
            if (pss2_ops_add(ops, PSS2_OP_STORE, &key, &value) != 0) return false;
        }
        if (pss2_ops_exec(ops) != 0) return false;
    }
    return true;
}

static void run_stores(benchmark::State &state, bool shuffled, bool again) {
    const std::vector<bench_record> records = make_records(shuffled);
    uint64_t bytes = 0;
    for (auto _ : state) {
        state.PauseTiming();
        auto folder = std::make_unique<store_folder>();
        if (folder->service == nullptr || (again && !store_all(folder.get(), records))) {
            state.SkipWithError("the store cannot be opened");
            return;
        }
        state.ResumeTiming();
        if (!store_all(folder.get(), records)) state.SkipWithError("a batch failed");
        state.PauseTiming();
        store_memory memory{};
        if (store_memory_get(41, &memory) == 0) bytes = memory.file_bytes + memory.private_bytes;
        folder.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * RECORDS);
    state.counters["bytes_per_record"] = static_cast<double>(bytes) / RECORDS;
}

static void store_new_in_order(benchmark::State &state) { run_stores(state, false, false); }
static void store_new_shuffled(benchmark::State &state) { run_stores(state, true, false); }
static void store_again_in_order(benchmark::State &state) { run_stores(state, false, true); }
static void store_again_shuffled(benchmark::State &state) { run_stores(state, true, true); }
BENCHMARK(store_new_in_order)->Unit(benchmark::kMillisecond);
BENCHMARK(store_new_shuffled)->Unit(benchmark::kMillisecond);
BENCHMARK(store_again_in_order)->Unit(benchmark::kMillisecond);
BENCHMARK(store_again_shuffled)->Unit(benchmark::kMillisecond);

/* The same records to memory that was never touched, as the files of the store are not. */
static void store_plain_copy(benchmark::State &state) {
    const std::vector<bench_record> records = make_records(false);
    for (auto _ : state) {
        auto *copy = static_cast<bench_record *>(std::malloc(RECORDS * sizeof(bench_record)));
        for (uint32_t i = 0; i < RECORDS; i++) std::memcpy(&copy[i], &records[i], sizeof(bench_record));
        benchmark::DoNotOptimize(copy);
        benchmark::ClobberMemory();
        std::free(copy);
    }
    state.SetItemsProcessed(state.iterations() * RECORDS);
}
BENCHMARK(store_plain_copy)->Unit(benchmark::kMillisecond);

static void store_fetch_shuffled(benchmark::State &state) {
    store_folder folder;
    std::vector<bench_record> records = make_records(true);
    if (folder.service == nullptr || !store_all(&folder, records))
        state.SkipWithError("the store cannot be opened");
    size_t at = 0;
    for (auto _ : state) {
        const pss2_datum key{&records[at].key, 4};
        pss2_datum value{};
        if (pss2_fetch(folder.service, &key, &value) != 0) state.SkipWithError("a record is missing");
        benchmark::DoNotOptimize(value);
        at = at + 1 == records.size() ? 0 : at + 1;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(store_fetch_shuffled);

/* What a restart pays: opening (every byte is checked) and an ordered walk over all records. */
static void store_open_and_walk(benchmark::State &state) {
    store_folder folder;
    if (folder.service == nullptr || !store_all(&folder, make_records(true)))
        state.SkipWithError("the store cannot be opened");
    uint32_t seen = 0;
    for (auto _ : state) {
        store_reset();
        host_root_set(folder.root.c_str());
        folder.open();
        pss2_datum value{};
        for (int code = pss2_move2location(folder.service, 1, PSS2_FIRST); code == 0;
             code = pss2_move2location(folder.service, 1, PSS2_NEXT))
            seen += pss2_getvalue(folder.service, &value) == 0;
    }
    state.SetItemsProcessed(seen);
}
BENCHMARK(store_open_and_walk)->Unit(benchmark::kMillisecond);

static double seconds_of(store_folder *folder, const std::vector<bench_record> &records) {
    const auto begin = std::chrono::steady_clock::now();
    if (!store_all(folder, records)) return 0;
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/* Prints "store.records_per_s <value>": new records, in key order, batches of 500; the best of three runs. */
void bench_store_figures();
void bench_store_figures() {
    const std::vector<bench_record> records = make_records(false);
    double best = 0;
    for (int run = 0; run < 3; run++) {
        store_folder folder;
        const double seconds = folder.service == nullptr ? 0 : seconds_of(&folder, records);
        if (seconds > 0) best = std::max(best, RECORDS / seconds);
    }
    std::printf("store.records_per_s %.0f\n", best);
}
