#!/bin/sh
# Builds the libFuzzer targets with clang (ASan + UBSan) and runs each for SECONDS (default 60),
# starting from its seeds in fuzz/corpus/<target>/. Usage: tools/fuzz.sh [SECONDS] [TARGET...]
set -e
cd "$(dirname "$0")/.."
sh tools/setup.sh fuzz
seconds=${1:-60}
[ $# -gt 0 ] && shift
CC=clang CXX=clang++ cmake -S . -B build/fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DZEBDC_BUILD_FUZZ=ON -DZEBDC_BUILD_TESTS=OFF -DZEBDC_BUILD_TOOLS=OFF \
  -DZEBDC_SANITIZE=address,undefined >/dev/null
cmake --build build/fuzz -j "$(nproc 2>/dev/null || echo 2)" >/dev/null
targets=${*:-$(cd fuzz && ls *.cpp | grep -v standalone_runner | sed 's/\.cpp$//')}
for t in $targets; do
  work=build/fuzz/corpus/$t
  mkdir -p "$work"
  [ -d "fuzz/corpus/$t" ] && cp -n fuzz/corpus/"$t"/* "$work"/ 2>/dev/null || true
  build/fuzz/fuzz/fuzz_"$t" -max_total_time="$seconds" -print_final_stats=1 "$work" \
    > "build/fuzz/$t.log" 2>&1 || { tail -n 40 "build/fuzz/$t.log"; echo "fuzz: $t FAILED"; exit 1; }
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "build/fuzz/$t.log")
  echo "fuzz: $t ok, $runs executions in $seconds s"
done
