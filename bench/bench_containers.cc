/* The prefix trie beside the standard containers, on a real routing table when it is at hand. */
#include "host/address/address.h"
#include "host/containers/lpm_trie.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

struct bench_route {
    lpm_key key;
    unsigned bits;
};

static bool operator<(const bench_route &a, const bench_route &b) {
    if (a.key.hi != b.key.hi) return a.key.hi < b.key.hi;
    return a.key.lo != b.key.lo ? a.key.lo < b.key.lo : a.bits < b.bits;
}
static bool operator==(const bench_route &a, const bench_route &b) {
    return a.key.hi == b.key.hi && a.key.lo == b.key.lo && a.bits == b.bits;
}
struct route_hash {
    size_t operator()(const bench_route &route) const {
        return (route.key.hi ^ route.key.lo * 0x9e3779b97f4a7c15ull ^ route.bits) * 0xff51afd7ed558ccdull >>
               8;
    }
};

/* --- routes in address order --- */

static std::vector<bench_route> routes_read(FILE *file) {
    std::vector<bench_route> routes;
    char line[128];
    while (std::fgets(line, sizeof line, file) != nullptr) {
        const std::string text(line, std::string(line).find_first_of(" \n"));
        address_family family;
        uint8_t bytes[16], bits;
        if (prefix_parse(text.c_str(), &family, bytes, &bits) == 0)
            routes.push_back({lpm_key_load(bytes, bits), bits});
    }
    return routes;
}

/* Half a million prefixes of the lengths that the Internet has, for a machine without the table. */
static std::vector<bench_route> routes_make(bool v6) {
    std::mt19937_64 random(1);
    std::vector<bench_route> routes;
    lpm_key at{v6 ? 0x2001000000000000ull : 0x0100000000000000ull, 0};
    const uint64_t end = v6 ? 0x2c00000000000000ull : 0xdf00000000000000ull;
    while (at.hi < end) {
        const unsigned dice = static_cast<unsigned>(random() % 100);
        const unsigned bits = (dice < 45 ? 24 : dice < 80 ? 22 + dice % 2 : 17 + dice % 5) + (v6 ? 24 : 0);
        const uint64_t step = 1ull << (64 - bits);
        at.hi = (at.hi + step - 1) / step * step;
        routes.push_back({at, bits});
        at.hi += step * (v6 ? 1 + random() % 4000 : 1 + random() % 10);
    }
    return routes;
}

static std::vector<bench_route> routes_load(bool v6) {
    const char *folder = std::getenv("LCFWD_DATA");
    const std::string file = std::string(v6 ? "internet-v6" : "internet-v4") + ".txt.xz";
    const std::string beside = LCFWD_SOURCE_DIR "/data/" + file;
    for (const std::string &path : {std::string(folder != nullptr ? folder : "data") + "/" + file, beside}) {
        FILE *pipe = popen(("xz -dc '" + path + "' 2>/dev/null").c_str(), "r");
        if (pipe == nullptr) continue;
        std::vector<bench_route> routes = routes_read(pipe);
        pclose(pipe);
        if (!routes.empty()) return routes;
    }
    return routes_make(v6);
}

static const std::vector<bench_route> &routes_in_order(bool v6) {
    static const std::vector<bench_route> tables[2] = {routes_load(false), routes_load(true)};
    return tables[v6 ? 1 : 0];
}

static std::vector<bench_route> routes_of(bool v6, bool shuffled) {
    std::vector<bench_route> routes = routes_in_order(v6);
    std::mt19937 random(7);
    if (shuffled) std::shuffle(routes.begin(), routes.end(), random);
    return routes;
}

/* --- one loaded trie --- */

struct loaded_trie {
    lpm_arena arena{};
    lpm_trie trie{};

    explicit loaded_trie(const std::vector<bench_route> &routes) {
        if (lpm_arena_private_create(&arena, LPM_ARENA_BYTES_MAX) != 0) std::abort();
        load(routes);
    }
    /* As the route path does it: an exact look-up that misses, then the add. */
    void load(const std::vector<bench_route> &routes) {
        lpm_spot spot{};
        uint32_t value = 0;
        for (const bench_route &route : routes) {
            value++;
            if (lpm_find(&arena, &trie, route.key, route.bits, &spot) != 0 ||
                lpm_add(&arena, &trie, route.key, route.bits, value, false, &spot) != 0)
                std::abort();
        }
    }
    ~loaded_trie() { lpm_arena_private_destroy(&arena); }
    loaded_trie(const loaded_trie &) = delete;
    loaded_trie &operator=(const loaded_trie &) = delete;
};

/* First argument: 1 for IPv6. Second: 1 for shuffled order. */
static void trie_insert(benchmark::State &state) {
    const std::vector<bench_route> routes = routes_of(state.range(0) != 0, state.range(1) != 0);
    double bytes = 0;
    for (auto _ : state) {
        const loaded_trie loaded(routes);
        bytes = static_cast<double>(lpm_arena_touched_bytes(&loaded.arena));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(routes.size()));
    state.counters["bytes_per_route"] = bytes / static_cast<double>(routes.size());
}

template <typename container> static void standard_insert(benchmark::State &state) {
    const std::vector<bench_route> routes = routes_of(state.range(0) != 0, state.range(1) != 0);
    for (auto _ : state) {
        container held;
        uint32_t value = 0;
        for (const bench_route &route : routes) held.emplace(route, ++value);
        benchmark::DoNotOptimize(held.size());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(routes.size()));
}

static void trie_exact(benchmark::State &state) {
    const std::vector<bench_route> routes = routes_of(state.range(0) != 0, state.range(1) != 0);
    const loaded_trie loaded(routes);
    for (auto _ : state)
        for (const bench_route &route : routes)
            benchmark::DoNotOptimize(lpm_exact(loaded.arena.base, &loaded.trie, route.key, route.bits));
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(routes.size()));
}

template <typename container> static void standard_exact(benchmark::State &state) {
    const std::vector<bench_route> routes = routes_of(state.range(0) != 0, state.range(1) != 0);
    container held;
    uint32_t value = 0;
    for (const bench_route &route : routes) held.emplace(route, ++value);
    for (auto _ : state)
        for (const bench_route &route : routes) benchmark::DoNotOptimize(held.find(route)->second);
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(routes.size()));
}

/* Addresses inside the routes, in the order of the routes. */
static std::vector<lpm_key> addresses_in(const std::vector<bench_route> &routes, bool v6) {
    std::mt19937_64 random(3);
    std::vector<lpm_key> addresses;
    for (const bench_route &route : routes) {
        lpm_key key = route.key;
        const uint64_t host = route.bits >= 64 ? 0 : random() & ~uint64_t{0} >> route.bits;
        key.hi |= v6 ? host : host & 0xffffffff00000000ull;
        addresses.push_back(key);
    }
    return addresses;
}

static void trie_match(benchmark::State &state) {
    const bool v6 = state.range(0) != 0;
    const std::vector<bench_route> routes = routes_of(v6, state.range(1) != 0);
    const loaded_trie loaded(routes);
    const std::vector<lpm_key> addresses = addresses_in(routes, v6);
    for (auto _ : state)
        for (const lpm_key &address : addresses)
            benchmark::DoNotOptimize(lpm_match(loaded.arena.base, &loaded.trie, address, nullptr));
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(routes.size()));
}

static void trie_match_many(benchmark::State &state) {
    const bool v6 = state.range(0) != 0;
    const std::vector<bench_route> routes = routes_of(v6, state.range(1) != 0);
    const loaded_trie loaded(routes);
    const std::vector<lpm_key> addresses = addresses_in(routes, v6);
    std::vector<uint32_t> v4, values(routes.size());
    for (const lpm_key &address : addresses) v4.push_back(static_cast<uint32_t>(address.hi >> 32));
    for (auto _ : state) {
        if (v6)
            lpm_match_many(loaded.arena.base, &loaded.trie, addresses.data(), values.data(), values.size());
        else
            lpm_match_v4_many(loaded.arena.base, &loaded.trie, v4.data(), values.data(), values.size());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(routes.size()));
}

static void trie_walk(benchmark::State &state) {
    const loaded_trie loaded(routes_of(state.range(0) != 0, state.range(1) != 0));
    for (auto _ : state) {
        lpm_entry entry{};
        for (bool more = lpm_first(loaded.arena.base, &loaded.trie, &entry); more;
             more = lpm_next(loaded.arena.base, &loaded.trie, entry.key, entry.bits, &entry))
            benchmark::DoNotOptimize(entry.value);
    }
    state.SetItemsProcessed(state.iterations() * loaded.trie.route_count);
}

static void standard_walk(benchmark::State &state) {
    const std::vector<bench_route> routes = routes_of(state.range(0) != 0, state.range(1) != 0);
    std::map<bench_route, uint32_t> held;
    for (const bench_route &route : routes) held.emplace(route, 1);
    for (auto _ : state)
        for (const auto &[route, value] : held) benchmark::DoNotOptimize(value);
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(held.size()));
}

using route_map = std::map<bench_route, uint32_t>;
using route_unordered = std::unordered_map<bench_route, uint32_t, route_hash>;
static void families_and_orders(benchmark::internal::Benchmark *bench) {
    bench->ArgNames({"v6", "shuffled"})->ArgsProduct({{0, 1}, {0, 1}})->Unit(benchmark::kMillisecond);
}
BENCHMARK(trie_insert)->Apply(families_and_orders);
BENCHMARK(standard_insert<route_map>)->Apply(families_and_orders);
BENCHMARK(standard_insert<route_unordered>)->Apply(families_and_orders);
BENCHMARK(trie_exact)->Apply(families_and_orders);
BENCHMARK(standard_exact<route_map>)->Apply(families_and_orders);
BENCHMARK(standard_exact<route_unordered>)->Apply(families_and_orders);
BENCHMARK(trie_match)->Apply(families_and_orders);
BENCHMARK(trie_match_many)->Apply(families_and_orders);
BENCHMARK(trie_walk)->Apply(families_and_orders);
BENCHMARK(standard_walk)->Apply(families_and_orders);

/* --- plain figures --- */

/* The best of some runs, in operations a second: the machine's other work only ever slows one down. */
template <typename work> static double best_rate(size_t operations, work run) {
    double best = 0;
    for (int i = 0; i < 5; i++) {
        const auto start = std::chrono::steady_clock::now();
        run();
        const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
        best = std::max(best, static_cast<double>(operations) / seconds.count());
    }
    return best;
}

static double insert_rate(const std::vector<bench_route> &routes) {
    loaded_trie warm({});
    return best_rate(routes.size(), [&] {
        lpm_clear(&warm.arena, &warm.trie);
        warm.load(routes);
    });
}

void bench_containers_figures(); /* called by bench_main.cc */

/* Prints 'name value' lines; look-ups go to addresses inside all routes, in random order, one at a time. */
void bench_containers_figures() {
    const std::vector<bench_route> shuffled = routes_of(false, true);
    std::printf("trie.v4.inserts_per_s %.0f\n", insert_rate(routes_in_order(false)));
    std::printf("trie.v4.shuffled_inserts_per_s %.0f\n", insert_rate(shuffled));
    const loaded_trie loaded(routes_in_order(false));
    std::vector<uint32_t> addresses;
    for (const lpm_key &key : addresses_in(shuffled, false))
        addresses.push_back(static_cast<uint32_t>(key.hi >> 32));
    const double rate = best_rate(addresses.size(), [&] {
        for (const uint32_t address : addresses)
            benchmark::DoNotOptimize(lpm_match_v4(loaded.arena.base, &loaded.trie, address));
    });
    std::printf("trie.v4.lookups_per_s %.0f\n", rate);
}
