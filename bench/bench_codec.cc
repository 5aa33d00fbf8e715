/* The codec: the largest message structure to its elements and back. */
#include "bench/bench.h"
#include "codec/codec.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>

static constexpr uint32_t MESSAGE_ROOM = 2048;
static constexpr int TRIPS = 20000, ROUNDS = 5;

/* One trip; false when anything but the same object comes back. */
static bool codec_trip(const eltmcd_port_create_req &sent, eltmcd_port_create_req *received) {
    uint8_t message[MESSAGE_ROOM];
    uint32_t used = 0;
    if (tlvu_table_convert_struct_to_tlv(&eltmcd_port_create_req_tbl, &sent, message, sizeof message,
                                         &used) != 0)
        return false;
    return tlvu_table_convert_tlv_to_struct(&eltmcd_port_create_req_tbl, message, used, received,
                                            sizeof *received) == 0;
}

static eltmcd_port_create_req codec_bench_object() {
    eltmcd_port_create_req object = {};
    object.if_index = 0x1a000007;
    object.tag33.size = 4096;
    std::memset(object.tag33.bits, 0x5a, sizeof object.tag33.bits);
    object.tag34.if_index = 0x1a000008;
    std::fill(std::begin(object.tag78), std::end(object.tag78), 0x01020304u);
    return object;
}

static void codec_roundtrip(benchmark::State &state) {
    const eltmcd_port_create_req sent = codec_bench_object();
    eltmcd_port_create_req received = {};
    for (auto _ : state) benchmark::DoNotOptimize(codec_trip(sent, &received));
}
BENCHMARK(codec_roundtrip);

void bench_codec_figures() {
    const eltmcd_port_create_req sent = codec_bench_object();
    eltmcd_port_create_req received = {};
    double best = 0;
    bool good = true;
    for (int round = 0; round < ROUNDS; round++) {
        const auto start = std::chrono::steady_clock::now();
        for (int trip = 0; trip < TRIPS; trip++) good = codec_trip(sent, &received) && good;
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        best = std::max(best, TRIPS / taken.count());
    }
    good = good && received.tag34.if_index == sent.tag34.if_index &&
           std::memcmp(&received.tag33, &sent.tag33, sizeof sent.tag33) == 0;
    if (good) std::printf("codec.roundtrips_per_s %.0f\n", best);
}
