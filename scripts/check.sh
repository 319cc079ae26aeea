#!/usr/bin/env bash
# Runs the checks beyond scripts/test.sh: all files are formatted, qor.h includes all headers, there
# is no warning, the tests pass with the address and undefined-behaviour sanitizers, the manual
# is built without a warning or a dead link, and the messenger runs for a minute with these sanitizers.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh check
echo "check: format"
find bench examples fuzz include src tests tools utility \( -name '*.h' -o -name '*.cpp' \) -print0 |
    xargs -0 clang-format --dry-run -Werror

echo "check: qor.h has every header"
# Except qor/interop/fmt.h, which needs a library that qor itself does not need.
(cd include && ls qor/*/*.h) | grep -vx qor/interop/fmt.h | while read -r header; do
    grep -q "#include \"$header\"" include/qor/qor.h || {
        echo "check: qor.h lacks $header" >&2
        exit 1
    }
done

echo "check: warnings are errors, and the tests under sanitizers"
# To save time, without the areas tools and machines: "scripts/test.sh asan" runs all tests.
areas=$(find tests -name '*_test.cpp' | cut -d/ -f2 | sort -u |
    grep -vxE 'machines|tools' | paste -sd';')
cmake --preset asan -U QOR_TEST_BY_AREA -U QOR_BUILD_EXAMPLES -D QOR_WERROR=ON -D QOR_PRECOMPILE=all \
    -D QOR_TEST_AREAS="$areas;fuzz" -D QOR_BUILD_TOOLS=OFF >/dev/null
cmake --build --preset asan
ctest --preset asan -j "$(nproc)"

echo "check: the manual, and every link in it"
cmake --build --preset asan --target docs
tests/docs/site.py build/asan/docs/html

echo "check: the messenger under load"
scripts/soak.sh 60 asan
