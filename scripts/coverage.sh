#!/usr/bin/env bash
# Measures which lines and branches of the library run, and lists those that do not.
#   scripts/coverage.sh         by the tests
#   scripts/coverage.sh fuzz    by the corpora of the fuzz targets alone; only the decoders are
#                               shown, and one with less than 98 % of its lines fails
# The list of each file is in build/coverage/missed.txt.
set -euo pipefail
cd "$(dirname "$0")/.."

out=build/coverage
targets=(all)
only=()
files=(src include utility)
programs="$out/tests/qor_*_test $out/fuzz/qor_*_fuzz"
if [ "${1:-}" = fuzz ]; then
    mapfile -t targets < <(basename -s .cpp fuzz/*_fuzz.cpp | sed 's/^/qor_/')
    only=(-R '^fuzz\.')
    programs="$out/fuzz/qor_*_fuzz"
    files=(--least 98 fuzz/decoders.txt)
fi

scripts/setup.sh coverage
cmake --preset coverage >/dev/null
cmake --build --preset coverage --target "${targets[@]}"
rm -rf "$out/profiles"
mkdir -p "$out/profiles"

# Programs of the same name add up in a few files.
export LLVM_PROFILE_FILE="$PWD/$out/profiles/%8m.profraw"
ctest --preset coverage -j "$(nproc)" "${only[@]}" >"$out/ctest.log" || {
    tail -n 40 "$out/ctest.log" >&2
    exit 1
}

find "$out/profiles" -name '*.profraw' >"$out/profiles/list"
llvm-profdata merge -sparse -f "$out/profiles/list" -o "$out/all.profdata"
objects=()
# shellcheck disable=SC2086  # patterns of what has been built
for program in $programs; do
    objects+=(-object "$program")
done
llvm-cov export -format=lcov -instr-profile="$out/all.profdata" "$out/src/qor/libqor.so" \
    "${objects[@]}" >"$out/coverage.lcov"
scripts/coverage.py "$out/coverage.lcov" "$out/missed.txt" "${files[@]}"
