#!/bin/sh
# Installs what the build, the tests and the benchmarks need on Debian 12, when it is missing.
# As root it runs apt-get; otherwise it prints the command to run.
#   tools/setup.sh          build and test needs (both targets, sanitizers)
#   tools/setup.sh bench    also the benchmark peers
set -e
packages="cmake g++ g++-multilib make googletest libgtest-dev zlib1g-dev lib32z1-dev libbz2-dev
  qemu-user binutils bzip2 gzip"
[ "${1:-}" = bench ] && packages="$packages libbenchmark-dev libdeflate-dev libdivsufsort-dev libisal-dev"
[ "${1:-}" = fuzz ] && packages="$packages clang libclang-rt-dev"

missing=""
for p in $packages; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing="$missing $p"
done
[ -z "$missing" ] && exit 0
if [ "$(id -u)" -eq 0 ]; then
  echo "setup: installing$missing"
  apt-get update -qq
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq $missing >/dev/null
else
  echo "setup: missing packages; run as root: apt-get install$missing" >&2
  exit 1
fi
