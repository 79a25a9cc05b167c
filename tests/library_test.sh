#!/usr/bin/env bash
# The shared library as a device's linker sees it: library_test.sh BUILD-FOLDER
set -u
cd "$(dirname "$0")/.."
library=$1/libtarrow_modules.so
failed=0
fail() { echo "$*"; failed=1; }

wanted=$(sed -n 's/^    \([a-z_][a-z0-9_]*\);$/\1/p' src/libtarrow_modules.map | sort)
exported=$(nm -D --defined-only "$library" | awk '{ print $3 }' | sort)
[ -n "$exported" ] && [ "$wanted" = "$exported" ] ||
    fail "exports differ from src/libtarrow_modules.map:" "$(diff <(echo "$wanted") <(echo "$exported"))"

needed=$(readelf -d "$library" | sed -n 's/.*NEEDED.*\[\(.*\)\.so.*/\1/p' | sort | tr '\n' ' ')
[ "$needed" = "libc libcfgdb libmxml " ] || fail "needs $needed"

imports=$(nm -D --undefined-only "$library" | awk '{ print $NF }' | sed 's/@.*//')
cxx=$(grep -E '^_Z|^__cxa_|^__gxx|^_Unwind' <<< "$imports" | grep -v '^__cxa_finalize$')
[ -z "$cxx" ] || fail "imports of the C++ runtime: $cxx"

stripped=$(mktemp)
strip -o "$stripped" "$library"
bytes=$(stat -c %s "$stripped")
rm -f "$stripped"
[ "$bytes" -le 65536 ] || fail "stripped size is $bytes bytes, more than 65536"
exit $failed
