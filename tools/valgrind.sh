#!/usr/bin/env bash
# usage: ./run valgrind [OPTION...], options of GoogleTest as --gtest_filter=PATTERN
# Runs the tests in the simulated device under valgrind: no invalid access, no value used before it is
# set, nothing lost. What the tests fork is watched with them, but not the
# programs that they start: those of the device are not this project's. Memory that something still
# points to at the end is not counted: it is the test registry's, and the store's waiting connection.
# The tests that refuse memory are left out: they put an allocator of their own where valgrind puts its.
set -euo pipefail
BASH_ARGV0=$(readlink -f "$0")
cd "${0%/*}/.."
. tools/setup.sh
for option; do [[ $option == --gtest_*=* ]] || refuse "no option of the tests: '$option'"; done
need_build_tools valgrind
build debug tarrow_tests
leaks=definite,indirect,possible
log=build/valgrind.log
status=0
together device/boot --build build/debug valgrind --quiet --log-fd=3 --vgdb=no --error-exitcode=99 --leak-check=full \
    --show-leak-kinds=$leaks --errors-for-leak-kinds=$leaks --suppressions=tools/valgrind.supp \
    --num-callers=25 --soname-synonyms=somalloc=NONE \
    build/debug/tarrow_tests --gtest_filter=-memory.\* "$@" 3> $log < /dev/null || status=$?
cat $log
[ ! -s $log ] && exit $status # a child's findings may be in the log alone
echo "valgrind found something"
exit 99
