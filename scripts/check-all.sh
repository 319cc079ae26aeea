#!/usr/bin/env bash
# What CI has no time for: all tests on every machine, those included that take an emulator minutes;
# clang for each of them, and with libc++ on this one; optimized and under the thread sanitizer;
# and what the library exports.
# Hours on two cores.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/abi.sh
for preset in release tsan clang libcxx; do
    scripts/test.sh "$preset"
done
for machine in i386 arm64 s390x; do
    LONG=on scripts/cross.sh "$machine"
    CXX=clang++ scripts/cross.sh "$machine"
done
