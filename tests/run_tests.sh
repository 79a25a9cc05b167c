#!/usr/bin/env bash
# usage: tests/run_tests.sh PRESET [ARGUMENT...] | client PRESET [ARGUMENT...]
# Runs a build's tests inside the simulated device; arguments are GoogleTest's. "client PRESET" plays the transcripts
# with the release build's tests, and calls that build's library in a process of its own (tests/client.c).
set -eu
BASH_ARGV0=$(readlink -f "$0")
cd "${0%/*}/.."
. tools/setup.sh
case "${1-} ${2-}" in ' ' | 'client ') refuse "which preset?" ;; esac
preset=$1
shift
if [ "$preset" = client ]; then
    build "$1" tarrow_client
    case $1 in *armhf) emulator="qemu-arm " left_out=:wan.*thernet* ;; esac
    export TARROW_CLIENT="timeout 60 ${emulator-}build/$1/tarrow_client"
    exec device/boot build/release/tarrow_tests --gtest_filter="-*_test.*:memory.*:posted.*${left_out-}" "${@:2}"
fi
case $preset in
i386) # where the kernel runs no such programs, they are emulated, but for what needs the state of a real link
    device/boot build/i386/cfgdb_cmd --help > /dev/null 2>&1 || exec device/boot qemu-i386 build/i386/tarrow_tests \
        --gtest_filter='-wan.*thernet*:network_test.interfaces*:memory.*:posted.*' "$@" ;;&
release | i386) # the long sweeps are made with the sanitizers
    exec device/boot --build "build/$preset" "build/$preset/tarrow_tests" --gtest_filter='-memory.*:posted.*' "$@"
    ;;
*) exec device/boot --build "build/$preset" "build/$preset/tarrow_tests" "$@" ;;
esac
