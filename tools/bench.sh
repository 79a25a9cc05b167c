#!/usr/bin/env bash
# usage: ./run bench [OPTION...], options of Google Benchmark as --benchmark_filter=REGEX
# Runs the benchmarks and their floors in the simulated device. Then measures the size of the library, and the memory
# that it adds to a process. Fails when a benchmark exceeds its bound.
set -euo pipefail
BASH_ARGV0=$(readlink -f "$0")
cd "${0%/*}/.."
. tools/setup.sh
for option; do [[ $option == --benchmark_*=* ]] || refuse "no option of the benchmarks: '$option'"; done
need_build_tools binutils
build release tarrow_bench tarrow_probe cfgdb_cmd tarrow_host stat_server
status=0
together device/boot build/release/tarrow_bench "$@" < /dev/null || status=$?
[ $status != 2 ] || fail "no benchmark was run"

library=build/release/libtarrow_modules.so
row() { printf '%-66s %8d %s\n' "$1" "$2" "${3-bytes}"; }
echo
strip -o build/stripped.so $library
row "libtarrow_modules.so, stripped" "$(stat -c %s build/stripped.so)"
read -r text data bss _ < <(size $library | tail -1)
row "text and constants of size" "$text"
row "  of these, section .text" "$(size -A $library | awk '$1 == ".text" { print $2 }')"
row "writable data (data and bss)" $((data + bss))
together device/boot sh -c 'build/release/tarrow_probe memory bench/requests.txt 3>&1 > /dev/null 2>&1' < /dev/null
exit $status
