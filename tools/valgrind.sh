#!/usr/bin/env bash
# usage: ./run valgrind
# Runs the C++ cases and the sessions in the simulated device under valgrind, which finds invalid accesses, uninitialised
# values and leaks. It does not report memory that is still referenced at the end, and does not check the programs of the
# device.
set -euo pipefail
BASH_ARGV0=$(readlink -f "$0")
cd "${0%/*}/.."
. tools/setup.sh
[ $# = 0 ] || refuse "valgrind has no arguments"
need_build_tools valgrind python3-cram
build debug
leaks=definite,indirect,possible
log=build/valgrind.log
# Valgrind does not pass on a limit of descriptors, so the cases that set one are left out.
limited=$(awk '/^TEST_F/ { gsub(/TEST_F\(|,|\).*/, ""); name = $1 "." $2 } /limit_descriptors\(/ { print name }' tests/*_test.cpp | sort -u | paste -sd :)
together device/boot --build build/debug env GTEST_FILTER="-$limited" BUILD=/project/build/debug WITHOUT= EMULATOR="valgrind --quiet --vgdb=no
    --log-file=/run/valgrind.%p --error-exitcode=99 --leak-check=full --show-leak-kinds=$leaks
    --errors-for-leak-kinds=$leaks --suppressions=/project/tools/valgrind.supp --num-callers=25 --soname-synonyms=somalloc=NONE" \
    sh -c 'tests/run --inside "" $BUILD/tarrow_tests tests/pages/*.t >&2; status=$?; cat /run/valgrind.*; exit $status' \
    < /dev/null > $log || { cat $log; fail "valgrind or a test found a fault"; }
[ ! -s $log ] || { cat $log; fail "valgrind found a fault in a child process"; } # whose status the tests ignore
