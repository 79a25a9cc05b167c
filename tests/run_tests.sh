#!/usr/bin/env bash
# Runs a build's tests inside the simulated device: run_tests.sh PRESET [ARGUMENT...]
set -eu
cd "$(dirname "$0")/.."
preset=$1
shift
# Emulated; the stand-ins and all else that the tests start are this machine's own. Left out is what needs the
# state of a real link (the emulator answers SIOCETHTOOL with ENOSYS), and the long sweeps.
emulated() {
    exec device/boot "$1" "build/$preset/tarrow_tests" \
        --gtest_filter='-wan.*thernet*:network_test.interfaces*:memory.*:posted.*' "${@:2}"
}
case $preset in
armhf) emulated qemu-arm "$@" ;;
i386) build/i386/cfgdb_cmd --help > /dev/null 2>&1 || emulated qemu-i386 "$@" ;;& # the kernel runs no such programs
release | i386) # the long sweeps are made with the sanitizers
    exec device/boot --build "build/$preset" "build/$preset/tarrow_tests" --gtest_filter='-memory.*:posted.*' "$@"
    ;;
*) exec device/boot --build "build/$preset" "build/$preset/tarrow_tests" "$@" ;;
esac
