/* bench/bench.h: the parts of the benchmark program. Each prints plain lines "name value", one a figure. */
#pragma once

void bench_containers_figures();
void bench_store_figures();
void bench_bus_figures();
void bench_path_figures();
void bench_restart_figures();
void bench_codec_figures();
void bench_ecmp_figures();
void bench_rnh_figures();
void bench_show_figures();
