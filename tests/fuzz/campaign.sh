#!/usr/bin/env bash
# usage: ./run fuzz [SECONDS]
# Runs the fuzz program for that time, 60 seconds by default. It reports faults and keeps their inputs in
# build/fuzz/found. build/fuzz/corpus keeps the inputs that reach new code. "campaign.sh replay", a step of ./check, runs
# the same few thousand inputs each time.
set -uo pipefail
BASH_ARGV0=$(readlink -f "$0")
cd "${0%/*}/../.."
. tools/setup.sh
[ $# -le 1 ] || refuse "too many words"
[ "${1-}" = replay ] || { is_number "${1-60}" && ((10#${1-60} > 0)); } || refuse "no number of seconds: '$1'"
need_build_tools clang libclang-rt-dev llvm # which names the lines of what is found
build release && build fuzz fuzz_requests || exit 1 # the one has the device's stand-ins
mkdir -p build/fuzz/{corpus,found}
# The words of the library's source, and what means something to a shell.
{ grep -rhoE '"[A-Za-z_/.*+][A-Za-z0-9_/.*+:(-]+"' src --include='*.cpp' | sort -u
    printf '"%s"\n' "'" ';' '$(x)' '`' '|' '\x0a' '-' '#'; } > build/fuzz/words.txt
# The files that the library reads: those that it names, and some that it composes.
{ grep -rhoE '"/(tmp|proc|var)/[a-z0-9_/.]*[a-z0-9]"' src --include='*.cpp' | grep -v fifo | tr -d '"'
    printf '%s\n' /etc/resolv.conf /sys/class/net/usb/statistics/rx_packets /tmp/telephony/{.tmpinfo,mep_category} \
        /tmp/telephony/sms/{.list_dev,.capacity_sim,.save}; } > build/fuzz/files.txt

campaign() {
    local log=build/fuzz/log options=(-timeout=20 -rss_limit_mb=2048 -print_funcs=0 -dict=build/fuzz/words.txt
        -max_len=2048 -print_final_stats=1 -artifact_prefix=/var/fuzz/found/)
    if [ "${1-}" = replay ]; then options+=(-runs=10000 -seed=1); else options+=(-max_total_time="${1:-60}" -use_value_profile=1); fi
    # The device cannot write to this machine: the new inputs come out as an archive. Standard error reports the progress.
    device/boot sh -c 'mkdir -p /var/fuzz/corpus /var/fuzz/found
        "$@" /var/fuzz/corpus build/fuzz/corpus build/fuzz/found > /var/fuzz/log 2>&1 &
        progress() {
            sed -n "s/^#\([0-9]*\).* cov: \([0-9]*\) .*/\1 executions, coverage \2/p" /var/fuzz/log | tail -n 1
            echo ", $(ls /var/fuzz/found | wc -l) found"
        }
        until timeout 10 tail --pid=$! -f /dev/null; do echo "run: $(progress | tr -d "\n")" >&2; done
        wait $!
        echo $? > /var/fuzz/status
        tar -C /var/fuzz -c .' fuzz build/fuzz/fuzz_requests "${options[@]}" | tar -C build/fuzz -x
    [ "${1-}" = replay ] || say "$(sed -n 's/^stat::number_of_executed_units: *//p' $log) executions," \
        "$(grep -aoE 'cov: [0-9]+' $log | tail -n 1 | sed 's/cov:/coverage/'), $(ls build/fuzz/found | wc -l) kept in build/fuzz/found"
    [ "$(< build/fuzz/status)" = 0 ] || { grep -aE -A 5 'ERROR|runtime error|: Failure|found/' $log; return 1; }
}
together campaign "$@" < /dev/null
