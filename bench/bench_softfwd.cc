#include "bench/bench_softfwd.h"

#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

using address_v6 = std::array<uint8_t, 16>;

template <typename Lookup> static double rate_of(size_t count, Lookup lookup) {
    const auto start = std::chrono::steady_clock::now();
    if (lookup() != 0) return 0;
    const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
    return static_cast<double>(count) / spent.count();
}

double bench_softfwd_v4(softfwd_reader *reader, uint32_t vdc_id, uint32_t table_id, const uint32_t *addresses,
                        softfwd_hop *hops, size_t count) {
    return rate_of(count,
                   [&] { return softfwd_lookup_v4_many(reader, vdc_id, table_id, addresses, hops, count); });
}

double bench_softfwd_v6(softfwd_reader *reader, uint32_t vdc_id, uint32_t table_id,
                        const uint8_t (*addresses)[16], softfwd_hop *hops, size_t count) {
    return rate_of(count,
                   [&] { return softfwd_lookup_v6_many(reader, vdc_id, table_id, addresses, hops, count); });
}

/* The largest table of a family; handle 0 for none. */
static softfwd_table_info largest_table(softfwd_reader *reader, uint32_t family) {
    softfwd_table_info at = {}, largest = {};
    while (softfwd_reader_table_next(reader, &at) == 0)
        if (at.family == family && at.route_count > largest.route_count) largest = at;
    return largest;
}

/* The first address of every prefix, shuffled. */
static std::vector<address_v6> addresses_of(softfwd_reader *reader, const softfwd_table_info &table) {
    std::vector<address_v6> addresses;
    softfwd_prefix_info at = {};
    while (softfwd_reader_prefix_next(reader, table.handle, &at) == 0) {
        address_v6 address;
        memcpy(address.data(), at.address, address.size());
        addresses.push_back(address);
    }
    std::shuffle(addresses.begin(), addresses.end(), std::mt19937(1));
    return addresses;
}

static double table_rate(softfwd_reader *reader, const softfwd_table_info &table) {
    const std::vector<address_v6> addresses = addresses_of(reader, table);
    std::vector<softfwd_hop> hops(addresses.size());
    if (table.family == ADDRESS_FAMILY_V6)
        return bench_softfwd_v6(reader, table.vdc_id, table.table_id,
                                reinterpret_cast<const uint8_t(*)[16]>(addresses.data()), hops.data(),
                                hops.size());
    std::vector<uint32_t> words;
    for (const address_v6 &address : addresses) {
        uint32_t word;
        memcpy(&word, address.data(), sizeof word);
        words.push_back(__builtin_bswap32(word));
    }
    return bench_softfwd_v4(reader, table.vdc_id, table.table_id, words.data(), hops.data(), hops.size());
}

void bench_softfwd_figures(uint32_t slot) {
    softfwd_reader *reader = nullptr;
    if (softfwd_reader_attach(slot, false, &reader) != 0) return;
    for (const uint32_t family : {ADDRESS_FAMILY_V4, ADDRESS_FAMILY_V6}) {
        const softfwd_table_info table = largest_table(reader, family);
        if (table.handle != 0)
            std::printf("engine.v%d.lookups_per_s %.0f\n", family == ADDRESS_FAMILY_V4 ? 4 : 6,
                        table_rate(reader, table));
    }
    softfwd_reader_detach(reader);
}

/* Over the tables of a running (or killed) lcfwd of this machine: the slot comes from LCFWD_SLOT, 0 without it. */
static void softfwd_lookups(benchmark::State &state) {
    const char *slot = std::getenv("LCFWD_SLOT");
    softfwd_reader *reader = nullptr;
    if (softfwd_reader_attach(slot != nullptr ? static_cast<uint32_t>(atoi(slot)) : 0, false, &reader) != 0) {
        state.SkipWithError("no engine ran on this slot: start lcfwd and load a table");
        return;
    }
    const softfwd_table_info table = largest_table(reader, ADDRESS_FAMILY_V4);
    size_t next = 0;
    const std::vector<address_v6> addresses = addresses_of(reader, table);
    for (auto _ : state) {
        if (addresses.empty()) break;
        softfwd_result result;
        const address_v6 &address = addresses[next++ % addresses.size()];
        benchmark::DoNotOptimize(
            softfwd_lookup(reader, ADDRESS_FAMILY_V4, table.vdc_id, table.table_id, address.data(), &result));
    }
    state.SetItemsProcessed(state.iterations());
    softfwd_reader_detach(reader);
}
BENCHMARK(softfwd_lookups);
