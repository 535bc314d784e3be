#!/bin/sh
# Sets up, builds and runs the benchmarks beside the peers; arguments go to Google Benchmark.
set -e
cd "$(dirname "$0")/.."
sh tools/setup.sh bench
cmake -S . -B build/bench -DCMAKE_BUILD_TYPE=Release -DZEBDC_BUILD_BENCH=ON \
  -DZEBDC_BUILD_TESTS=OFF -DZEBDC_BUILD_TOOLS=OFF >/dev/null
cmake --build build/bench -j "$(nproc 2>/dev/null || echo 2)" >/dev/null
exec build/bench/bench/zebdc_bench "$@"
