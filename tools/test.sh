#!/bin/sh
# Sets up and runs every test: native x86_64, 32-bit x86 (-m32 -msse2; under qemu-i386 where the
# kernel cannot run 32-bit programs) and native with AddressSanitizer + UBSan; then a short
# libFuzzer run of every fuzz target (ZEBDC_FUZZ_SECONDS each, default 10) and a build of the
# benchmarks, so that neither rots. The test legs build with ZEBDC_TEST_CPU_MASK, so that the
# checksum tests also run with CPU features masked (the portable and the SSE kernels).
set -e
cd "$(dirname "$0")/.."
sh tools/setup.sh
jobs=$(nproc 2>/dev/null || echo 2)
start=$(date +%s)

# Does this kernel run 32-bit programs? If so, no emulator is needed.
probe=$(mktemp -d)
echo 'int main(void){return 0;}' > "$probe/t.c"
emulator="qemu-i386"
if gcc -m32 "$probe/t.c" -o "$probe/t" 2>/dev/null && "$probe/t" 2>/dev/null; then
  emulator=""
fi
rm -rf "$probe"

run_leg() { # name, cmake arguments...
  name=$1
  shift
  echo "== $name =="
  cmake -S . -B "build/$name" -DCMAKE_BUILD_TYPE=Release -DZEBDC_TEST_CPU_MASK=ON "$@" >/dev/null
  cmake --build "build/$name" -j "$jobs" >/dev/null
  log="build/$name/ctest.log"
  if (cd "build/$name" && ctest -j "$jobs" --output-on-failure --timeout 900) > "$log" 2>&1; then
    grep -E 'tests passed|Total Test time' "$log"
  else
    cat "$log"
    echo "tests FAILED in the $name leg"
    exit 1
  fi
}

run_leg x86_64
run_leg i386 -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-i386.cmake "-DCMAKE_CROSSCOMPILING_EMULATOR=$emulator"
run_leg asan-ubsan -DZEBDC_SANITIZE=address,undefined -DCMAKE_BUILD_TYPE=RelWithDebInfo
echo "== libFuzzer =="
sh tools/fuzz.sh "${ZEBDC_FUZZ_SECONDS:-10}"
echo "== benchmarks build =="
sh tools/setup.sh bench
cmake -S . -B build/bench -DCMAKE_BUILD_TYPE=Release -DZEBDC_BUILD_BENCH=ON \
  -DZEBDC_BUILD_TESTS=OFF -DZEBDC_BUILD_TOOLS=OFF >/dev/null
cmake --build build/bench -j "$jobs" >/dev/null
echo "all legs passed in $(( $(date +%s) - start )) s"
