#!/bin/sh
# Sets up, builds the library and runs the example program over a file (default: every file of
# the shared corpus, else a generated one).
set -e
cd "$(dirname "$0")/.."
sh tools/setup.sh
cmake -S . -B build/x86_64 -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build/x86_64 -j "$(nproc 2>/dev/null || echo 2)" >/dev/null
if [ $# -gt 0 ]; then
  files="$*"
elif [ -d ../shared/corpus ]; then
  files=$(ls ../shared/corpus/* 2>/dev/null)
else
  head -c 1000000 /dev/urandom | od -An -tu1 > build/sample.txt
  files=build/sample.txt
fi
for f in $files; do
  build/x86_64/tools/mtf_roundtrip "$f"
done
