#!/usr/bin/env bash
# usage: ./run fuzz [SECONDS [PROGRAM]]
# Lets each fuzz program, or one of lists, requests and calls, look for faults that many seconds, 60 by default.
# What a program finds is reported and kept in build/fuzz/found, new inputs in build/fuzz/corpus. "fuzz/campaign.sh
# replay", a part of the check, runs each program on its corpus and on what was found before.
set -uo pipefail
BASH_ARGV0=$(readlink -f "$0")
cd "${0%/*}/.."
. tools/setup.sh
[ $# -le 2 ] || refuse "too many words"
[ "${1-}" = replay ] || { is_number "${1-60}" && ((10#${1-60} > 0)); } || refuse "no number of seconds: '$1'"
[ -d "fuzz/corpus/${2-}" ] || refuse "no fuzz program '$2'; there are" fuzz/corpus/*
need_build_tools
need clang libclang-rt-dev binutils
[ "${1-}" = replay ] || need llvm # names the lines of what is found
build fuzz || exit 1
export ASAN_OPTIONS=detect_stack_use_after_return=1 UBSAN_OPTIONS=print_stacktrace=1
failed=0
limits=(- -timeout=5 -rss_limit_mb=2048 -max_len=8192 -close_fd_mask=3 -print_final_stats=1)

# Calls that would reach the machine are redirected; one that nobody has thought of must not slip in.
unknown=$(nm -u build/fuzz/CMakeFiles/tarrow_objects.dir/src/{*.o,support/*.o,modules/*/*.o} |
    awk 'NF == 2 { print $2 }' | grep -Ev '^(__asan|__ubsan|__sanit|__sancov|_Z|__start|__stop|(mxml|cfgdb|dl_|__cfgdb)[A-Za-z_]*$)' |
    sort -u | grep -vxFf <(tr ' ' '\n' < fuzz/harmless.txt; grep -A 2 '^set(redirected' fuzz/CMakeLists.txt | tr -s ' ()' '\n'
        nm --defined-only build/fuzz/CMakeFiles/tarrow_objects.dir/src/{*.o,support/*.o,modules/*/*.o} | awk '{ print $3 }'))
[ -z "$unknown" ] || { echo "neither redirected (fuzz/CMakeLists.txt) nor in fuzz/harmless.txt:" $unknown; failed=1; }

# The words of the library's source, as whole texts, part names and elements, and what means something to a shell.
{
    grep -rhoE '"[A-Za-z_/.*+][A-Za-z0-9_/.*+:(-]+"' src --include='*.cpp' | tr -d '"' | sort -u |
        awk '{ printf "\"%s\"\n\"\\x0a==== %s\\x0a\"\n\"<%s>\"\n", $0, $0, $0 }'
    printf '"%s"\n' "'" ';' '$(x)' '`' '|' '&#10;' '&amp;' '\x0a==== *\x0a' ' Delete=\"\"'
} > build/fuzz/words.txt

campaign() {
    local seeds name program inputs output found
    for seeds in fuzz/corpus/*; do
        name=${seeds##*/} program=build/fuzz/fuzz_${seeds##*/} seeds=("$seeds")
        [ -d "fuzz/regressions/$name" ] && seeds+=("fuzz/regressions/$name")
        mkdir -p "build/fuzz/corpus/$name" build/fuzz/found
        limits[0]=-artifact_prefix="build/fuzz/found/$name-"
        if [ "${1-}" = replay ]; then
            inputs=$(find "${seeds[@]}" -type f | wc -l)
            if [ "$inputs" = 0 ] || ! output=$("$program" "${limits[@]}" -runs=0 "${seeds[@]}" 2>&1); then
                printf '%s\n' "$output" "fuzz: $name fails on its corpus"
                failed=1
            fi
        elif [ -z "${2-}" ] || [ "$name" = "$2" ]; then
            say "$name, ${1:-60} seconds"
            "$program" "${limits[@]}" -max_total_time="${1:-60}" -dict=build/fuzz/words.txt -use_value_profile=1 \
                "build/fuzz/corpus/$name" "${seeds[@]}" > "build/fuzz/$name.log" 2>&1 ||
                failed=1
            for found in build/fuzz/found/"$name"-*; do
                [ ! -e "$found" ] || echo "$found:" "$("$program" -timeout=5 "$found" 2>&1 | grep -aE -m 1 '^not so|ERROR|runtime error')"
            done
            echo "fuzz: $name: $(grep -oE 'cov: [0-9]+ ft: [0-9]+' "build/fuzz/$name.log" | tail -1)," \
                "$(sed -n 's/^stat::number_of_executed_units: *\([0-9]*\).*/\1/p' "build/fuzz/$name.log") executions"
        fi
    done
    return $failed
}
together campaign "$@" < /dev/null
