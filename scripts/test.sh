#!/usr/bin/env bash
# Sets up, builds and runs the tests. Ends with a non-zero status at the first failure.
#   scripts/test.sh [PRESET]     debug (the default), release, asan, tsan, clang or libcxx
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-debug}

case "$preset" in
asan | clang) scripts/setup.sh clang ;;
libcxx) scripts/setup.sh libcxx ;;
*) scripts/setup.sh test ;;
esac
echo "test: building ($preset)"
# Removes the restrictions that other scripts have set in the same build directory.
cmake --preset "$preset" -U QOR_TEST_AREAS -U QOR_TEST_BY_AREA -U QOR_BUILD_TOOLS \
    -D QOR_PRECOMPILE=tests >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset" -j "$(nproc)"
