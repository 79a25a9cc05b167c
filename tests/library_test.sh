#!/usr/bin/env bash
# The shared library as a device's linker sees it: library_test.sh BUILD-FOLDER...
set -u
cd "$(dirname "$0")/.."
failed=0
fail() { echo "$library:" "$@"; failed=1; }

# Imports as tests/imports.txt names them.
imports() {
    nm -D --undefined-only "$library" | while read -r _ import; do
        name=${import%@*} version=${import#"$name"} first=@GLIBC_2.4
        if [ "$(printf '%s\n' $first "$version" | sort -V | tail -1)" = $first ]; then version=; fi
        echo "${name%64}${version/GLIBC_/}"
    done | sort
}

for build in "$@"; do
    library=$build/libtarrow_modules.so
    machine=$(readelf -h "$library" | sed -n 's/.*Machine:.* //p')

    wanted=$(sed -n 's/^    \([a-z_][a-z0-9_]*\);$/\1/p' src/libtarrow_modules.map | sort)
    exported=$(nm -D --defined-only "$library" | awk '{ print $3 }' | sort)
    [ -n "$exported" ] && [ "$wanted" = "$exported" ] ||
        fail "exports differ from src/libtarrow_modules.map:" "$(diff <(echo "$wanted") <(echo "$exported"))"

    needed=$(readelf -d "$library" | sed -n 's/.*NEEDED.*\[\(.*\)\.so.*/\1/p' | sort | tr '\n' ' ')
    [ "$needed" = "libc libcfgdb libmxml " ] || fail "needs $needed"

    listed=$(sed -n "s/ *#.*//; s/^$machine: //; /:/d; /./p" tests/imports.txt | tr ' ' '\n' | sort)
    differences=$(diff <(echo "$listed") <(imports)) ||
        fail "imports (>) differ from tests/imports.txt (<):" "$differences"

    stripped=$(mktemp)
    "$(sed -n 's/^CMAKE_STRIP:.*=//p' "$build/CMakeCache.txt")" -o "$stripped" "$library"
    bytes=$(stat -c %s "$stripped")
    rm -f "$stripped"
    case $machine in *X86-64) most=73728 ;; *) most=65536 ;; esac
    [ "$bytes" -gt 0 ] && [ "$bytes" -le $most ] || fail "stripped size is $bytes bytes, more than $most"
done
exit $failed
