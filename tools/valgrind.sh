#!/usr/bin/env bash
# usage: ./run valgrind
# Runs the C++ cases and the sessions in the simulated device under valgrind: no invalid access, no value used before it
# is set, no memory lost. Memory that something still points to at the end does not count. The programs of the device
# are not watched.
set -euo pipefail
BASH_ARGV0=$(readlink -f "$0")
cd "${0%/*}/.."
. tools/setup.sh
[ $# = 0 ] || refuse "valgrind takes no argument"
need_build_tools valgrind python3-cram
build debug
leaks=definite,indirect,possible
log=build/valgrind.log
together device/boot --build build/debug env BUILD=/project/build/debug WITHOUT= EMULATOR="valgrind --quiet --vgdb=no
    --log-file=/run/valgrind.%p --error-exitcode=99 --leak-check=full --show-leak-kinds=$leaks
    --errors-for-leak-kinds=$leaks --suppressions=/project/tools/valgrind.supp --num-callers=25 --soname-synonyms=somalloc=NONE" \
    sh -c 'tests/run --inside "" $BUILD/tarrow_tests tests/pages/*.t >&2; status=$?; cat /run/valgrind.*; exit $status' \
    < /dev/null > $log || { cat $log; fail "valgrind or a test found something"; }
[ ! -s $log ] || { cat $log; fail "valgrind found something in a child"; } # whose status nobody looks at
