/* lcfwd-bench: the benchmarks. Without arguments it prints the figures that the README shows, one plain line each;
 * with arguments they go to the benchmark library (try --benchmark_filter=trie or --help). */
#include "bench/bench.h"

#include <benchmark/benchmark.h>
#include <cstdio>

int main(int argc, char **argv) {
    if (argc > 1) {
        benchmark::Initialize(&argc, argv);
        benchmark::RunSpecifiedBenchmarks();
        return 0;
    }
    setvbuf(stdout, nullptr, _IOLBF, 0);
    bench_path_figures();
    bench_restart_figures();
    bench_ecmp_figures();
    bench_rnh_figures();
    bench_show_figures();
    bench_containers_figures();
    bench_store_figures();
    bench_bus_figures();
    bench_codec_figures();
    return 0;
}
