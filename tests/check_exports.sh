#!/bin/sh
# Usage: check_exports.sh LIBRARY LIST
# Fails when the library exports a symbol the list lacks, when a listed symbol is missing, or
# when the library needs anything but libc.
lib=$1
list=$2
status=0
exported=$(nm -D --defined-only "$lib" | awk '{print $3}' | sort -u)
expected=$(grep -v '^#' "$list" | awk 'NF {print $1}' | sort -u)

for s in $exported; do
  if ! printf '%s\n' "$expected" | grep -qxF "$s"; then
    echo "exported but not part of the API: $s"
    status=1
  fi
done
for s in $expected; do
  if ! printf '%s\n' "$exported" | grep -qxF "$s"; then
    echo "listed but not exported: $s"
    status=1
  fi
done

needed=$(readelf -d "$lib" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
for n in $needed; do
  case $n in
    libc.so.*) ;;
    *) echo "needs more than libc: $n"; status=1 ;;
  esac
done
soname=$(readelf -d "$lib" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
if [ "$soname" != "libzebdca6.so.5.2" ]; then
  echo "SONAME is '$soname', not libzebdca6.so.5.2"
  status=1
fi
[ $status -eq 0 ] && echo "exports: $(printf '%s\n' "$exported" | wc -l) symbols, all in the API; needs: $needed"
exit $status
