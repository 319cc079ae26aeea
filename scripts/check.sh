#!/usr/bin/env bash
# The checks beyond the tests: the formatter has nothing to say, qor.h is complete, no warning, and
# the tests are clean under the address and undefined-behaviour sanitizers, as is the messenger for a
# minute; the manual is made without a warning, and no link in it is dead.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh check
echo "check: format"
find bench examples fuzz include src tests tools utility \( -name '*.h' -o -name '*.cpp' \) -print0 |
    xargs -0 clang-format --dry-run -Werror

echo "check: qor.h has every header"
# But for the one that needs a library that qor does not.
(cd include && ls qor/*/*.h) | grep -vx qor/interop/fmt.h | while read -r header; do
    grep -q "#include \"$header\"" include/qor/qor.h || {
        echo "check: qor.h lacks $header" >&2
        exit 1
    }
done

echo "check: warnings are errors, and the tests under sanitizers"
# Without the tools and the exchange of files: "scripts/test.sh asan" has all tests.
areas=$(find tests -name '*_test.cpp' | cut -d/ -f2 | sort -u |
    grep -vxE 'machines|tools' | paste -sd';')
cmake --preset asan -U QOR_TEST_BY_AREA -U QOR_BUILD_EXAMPLES -D QOR_WERROR=ON -D QOR_PRECOMPILE=all \
    -D QOR_TEST_AREAS="$areas" -D QOR_BUILD_TOOLS=OFF >/dev/null
cmake --build --preset asan
ctest --preset asan -j "$(nproc)"

echo "check: the manual, and every link in it"
cmake --build --preset asan --target docs
tests/docs/site.py build/asan/docs/html

echo "check: the messenger under load"
scripts/soak.sh 60 asan
