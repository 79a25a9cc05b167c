#!/usr/bin/env bash
# usage: ./run coverage
# Runs the C++ cases, the sessions and the laws in the simulated device. Prints for each file of src/ how many lines and branches
# they run, and then the lines that none of them runs.
set -euo pipefail
BASH_ARGV0=$(readlink -f "$0")
cd "${0%/*}/.."
. tools/setup.sh
[ $# = 0 ] || refuse "coverage has no arguments"
need_build_tools python3-cram clang llvm libclang-rt-dev
build coverage
log=build/coverage.tests.log
# The device cannot write to this machine, so the counts come through its standard output.
together device/boot --build build/coverage sh -c '
    export LLVM_PROFILE_FILE=/run/counts/%m%c BUILD=/project/build/coverage EMULATOR= WITHOUT=
    mkdir /run/counts
    tests/run --inside "" $BUILD/tarrow_tests tests/pages/*.t $BUILD/law_memory $BUILD/law_null $BUILD/law_hostile 1>&2 || exit
    llvm-profdata merge -o - /run/counts/*
' < /dev/null > build/coverage.profdata 2> $log || { cat $log; exit 1; }
llvm-cov export -format=lcov build/coverage/tarrow_tests $(printf ' -object build/coverage/%s' page law_{memory,null,hostile}) \
    -instr-profile build/coverage.profdata "$PWD/src" | awk -F '[:,]' -v top="$PWD/" '
    function row(name, lines, hit, branches, taken) {
        if (!lines) return
        printf "%-60s %5d of %5d %6.1f %%", name, hit, lines, 100 * hit / lines
        printf "  %5d of %5d %6.1f %%\n", taken, branches, branches ? 100 * taken / branches : 100
    }
    BEGIN { printf "%-60s %23s  %23s\n", "file", "lines run", "branches taken" }
    /^SF:/ { file = substr($0, 4); name = substr(file, length(top) + 1); number = 0 }
    /^DA:/ && $3 == 0 {
        while (number < $2 && (getline text < file) > 0) ++number
        if (text !~ /^ *}$/) missed[++count] = name ":" $2 ":" text
    }
    /^LF:/ { lf = $2; lines += lf }
    /^LH:/ { lh = $2; hit += lh }
    /^BRF:/ { bf = $2; branches += bf }
    /^BRH:/ { bh = $2; taken += bh }
    /^end_of_record/ { row(name, lf, lh, bf, bh); bf = bh = 0 }
    END {
        row("total", lines, hit, branches, taken)
        print "\nlines that no test runs:"
        for (i = 1; i <= count; ++i) print missed[i]
    }'
