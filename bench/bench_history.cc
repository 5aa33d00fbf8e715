/* Binary histories: a record of a key that was never seen, which takes the place of another entry, and of a known one. */
#include "host/trace/bt.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>

static constexpr uint32_t ENTRIES = 4096, RECORDS = 8, KEY_BYTES = 9, RECORD_BYTES = 32;

/* Keys and records of the size that prefixes have; the argument is the number of different keys. */
static void history_add(benchmark::State &state) {
    bt_order_q queue;
    bt_desc desc;
    if (bt_init_rec_order_queue(&queue, 1) != 0 ||
        bt_init(&desc, KEY_BYTES, RECORD_BYTES, ENTRIES, RECORDS, std::malloc, std::free) != 0 ||
        bt_set_rec_order(&desc, &queue, 0) != 0)
        return;
    uint8_t key[KEY_BYTES] = {24}, record[RECORD_BYTES] = {};
    uint32_t n = 0;
    for (auto _ : state) {
        const uint32_t number = n++ % static_cast<uint32_t>(state.range(0));
        std::memcpy(key + 5, &number, sizeof number);
        benchmark::DoNotOptimize(bt_add_rec(&desc, key, record));
    }
    bt_reset(&desc);
}
BENCHMARK(history_add)->Arg(1)->Arg(ENTRIES)->Arg(1 << 20);
