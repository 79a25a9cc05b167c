#!/usr/bin/env bash
# Runs the benchmarks in the simulated device, each beside its floor, and measures the library's size and
# what it adds to the memory of a process that loads it. Its arguments go to the benchmarks.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
. tools/setup.sh
need_build_tools
need binutils
build release
device/boot build/release/tarrow_bench "$@"

library=build/release/libtarrow_modules.so
row() { printf '%-66s %8d %s\n' "$1" "$2" "${3-bytes}"; }
echo
strip -o build/stripped.so $library
row "libtarrow_modules.so, stripped" "$(stat -c %s build/stripped.so)"
read -r text data bss _ < <(size $library | tail -1)
row "its text and constants, as size counts them" "$text"
row "  of which the section .text" "$(size -A $library | awk '$1 == ".text" { print $2 }')"
row "its writable data (data and bss)" $((data + bss))
device/boot sh -c 'build/release/tarrow_probe memory bench/requests.txt 3>&1 > /dev/null 2>&1'
