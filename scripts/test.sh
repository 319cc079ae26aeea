#!/usr/bin/env bash
# Sets up, builds, and runs the tests. Whatever fails ends it with a non-zero status.
#   scripts/test.sh [PRESET]     debug (if none is named), release, asan, tsan, clang or libcxx
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-debug}

case "$preset" in
clang | libcxx) scripts/setup.sh clang ;;
*) scripts/setup.sh test ;;
esac
echo "test: building ($preset)"
# What other scripts have left out is in.
cmake --preset "$preset" -U QOR_TEST_AREAS -U QOR_BUILD_TOOLS >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset" -j "$(nproc)"
