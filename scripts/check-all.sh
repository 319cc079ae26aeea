#!/usr/bin/env bash
# Runs the checks that CI (.ci/run) has no time for. Takes hours on two cores:
# - the exported symbols;
# - all tests on this machine: optimized, with the address and undefined-behaviour sanitizers, with
#   the thread sanitizer, with clang, and with libc++;
# - all tests in Debian 13, with g++ 14, optimized;
# - the tests for i386, arm64 and s390x, with g++ and with clang; with g++ also those that take long
#   in an emulator.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/abi.sh
for preset in release asan tsan clang libcxx; do
    scripts/test.sh "$preset"
done
scripts/debian.sh trixie release
for machine in i386 arm64 s390x; do
    LONG=on scripts/cross.sh "$machine"
    CXX=clang++ scripts/cross.sh "$machine"
done
