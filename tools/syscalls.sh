#!/usr/bin/env bash
# usage: ./run syscalls [--calls]
# Counts the processes that the library starts, and the system calls in its own process, for each request of
# bench/requests.txt. Compares them with the fewest that the request's steps need. Does not count the calls of the settings
# store, only how often it is opened. Fails when a request makes more calls than its steps. --calls prints the calls.
set -euo pipefail
BASH_ARGV0=$(readlink -f "$0")
cd "${0%/*}/.."
. tools/setup.sh
[ $# = 0 ] || [ "$*" = --calls ] || refuse "unknown option '$1'"
need_build_tools strace
build release tarrow_probe cfgdb_cmd tarrow_host stat_server
together device/boot sh -c '
    strace -o /var/calls build/release/tarrow_probe calls bench/requests.txt > /var/out 2>&1 || {
        cat /var/out >&2
        exit 1
    }
    cat /var/calls
' < /dev/null > build/syscalls.log
awk -v is_long="${1-}" '
    FNR == NR { # the steps, and the requests in their order
        if (/^step /) {
            fewest[$2] = $3
            taken[$2] = $4
            name = $2
            sub(/^step +[^ ]+ +[^ ]+ +[^ ]+ +/, "")
            meaning[name] = $0
        } else if (/^[gs]et /) {
            steps[++requests] = $0
            sub(/.*\| */, "", steps[requests])
        }
        next
    }
    function report(  i, count, parts, pair, few, most, starts) {
        count = split(steps[number], parts, ", *")
        for (i = 1; i <= count; ++i) {
            split(parts[i], pair, " ")
            if (!(pair[1] in fewest)) { print "no such step: " pair[1]; is_failed = 1 }
            few += pair[2] * fewest[pair[1]]
            most += pair[2] * taken[pair[1]]
            if (pair[1] == "command" || pair[1] == "pipe") starts += pair[2]
        }
        is_more = calls > most || processes > starts
        if (is_more) is_failed = 1
        printf "%-22s %5d %6d %8d %6d %6d  %s%s\n", name, processes, starts, calls, few, store, steps[number],
            (is_more ? "  MORE: " most " expected" : "")
        if (is_long) for (i in counts) printf "    %5d %s\n", counts[i], i
        delete counts
        calls = processes = store = 0
    }
    /^write\(-1, "/ {
        split($0, mark, "\"")
        if (mark[2] ~ /^request /) {
            if (number++) { --number; report(); ++number }
            name = substr(mark[2], 9)
        } else if (mark[2] ~ /^store/) {
            is_store = 1
            if (mark[2] == "store open") ++store
        } else if (mark[2] == "back") is_store = 0
        else is_library = mark[2] == "library"
        next
    }
    is_library && !is_store && /^[a-z0-9_]+\(/ {
        call = $0
        sub(/\(.*/, "", call)
        ++counts[call]
        ++calls
        if (call ~ /^(clone3?|v?fork)$/) ++processes
    }
    BEGIN { printf "%-22s %5s %6s %8s %6s %6s  %s\n", "request", "procs", "fewest", "syscalls", "fewest", "store", "steps" }
    END {
        report()
        if (number != requests) { print "only " number " of " requests " requests have an answer"; is_failed = 1 }
        print "\nThe library opens the store for each setting that it reads, since a script between two reads can change it."
        print "Steps with more calls than the fewest, and the reason:"
        for (step in taken) if (taken[step] > fewest[step])
            printf "  %-10s %2d, fewest %2d: %s\n", step, taken[step], fewest[step], meaning[step]
        exit is_failed
    }' bench/requests.txt build/syscalls.log
