#!/usr/bin/env bash
# Runs a build's tests inside the simulated device: run_tests.sh PRESET [ARGUMENT...]
set -eu
cd "$(dirname "$0")/.."
preset=$1
shift
case $preset in
armhf)
    # Emulated; the stand-ins and all else that the tests start are this machine's own. Left out is what
    # needs the state of a real link (the emulator answers SIOCETHTOOL with ENOSYS), and the long run of
    # refused allocations, which the 32-bit build makes as well.
    exec device/boot qemu-arm build/armhf/tarrow_tests --gtest_filter=-network_test.links_follow_the_cable:$(
    )wan_test.ethernet_record_follows_the_cable:wan_test.name_servers:faults_test.* "$@"
    ;;
release)
    # The long run of refused allocations is made with the sanitizers and with 32 bits.
    exec device/boot build/release/tarrow_tests --gtest_filter=-faults_test.\* "$@"
    ;;
*) exec device/boot --build "build/$preset" "build/$preset/tarrow_tests" "$@" ;;
esac
