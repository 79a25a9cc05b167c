#!/usr/bin/env bash
# The shared library as a device's linker sees it: library_test.sh BUILD-FOLDER...
set -u
cd "$(dirname "$0")/.."
failed=0
fail() { echo "$library:" "$@"; failed=1; }

for build in "$@"; do
    library=$build/libtarrow_modules.so
    needed=$(readelf -d "$library" | sed -n 's/.*NEEDED.*\[\(.*\)\.so.*/\1/p' | sort | tr '\n' ' ')
    [ "$needed" = "libc libcfgdb libmxml " ] || fail "needs $needed"

    stripped=$(mktemp)
    "$(sed -n 's/^CMAKE_STRIP:.*=//p' "$build/CMakeCache.txt")" -o "$stripped" "$library"
    bytes=$(stat -c %s "$stripped")
    rm -f "$stripped"
    if readelf -h "$library" | grep -q X86-64; then most=73728; else most=65536; fi
    [ "$bytes" -gt 0 ] && [ "$bytes" -le $most ] || fail "stripped size is $bytes bytes, more than $most"
done
exit $failed
