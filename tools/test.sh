#!/bin/sh
# Sets up and runs every test: native x86_64, 32-bit x86 (-m32 -msse2; under qemu-i386 where the
# kernel cannot run 32-bit programs) and native with AddressSanitizer + UBSan.
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
  cmake -S . -B "build/$name" -DCMAKE_BUILD_TYPE=Release "$@" >/dev/null
  cmake --build "build/$name" -j "$jobs" >/dev/null
  (cd "build/$name" && ctest -j "$jobs" --output-on-failure --timeout 900) | tail -n 3
}

run_leg x86_64
run_leg i386 -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-i386.cmake "-DCMAKE_CROSSCOMPILING_EMULATOR=$emulator"
run_leg asan-ubsan -DZEBDC_SANITIZE=address,undefined -DCMAKE_BUILD_TYPE=RelWithDebInfo
echo "all legs passed in $(( $(date +%s) - start )) s"
