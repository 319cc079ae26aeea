#!/usr/bin/env bash
# Measures which lines and branches of the library run, and lists those that do not.
#   scripts/coverage.sh         by the tests
#   scripts/coverage.sh fuzz    by the corpora of the fuzz targets alone; only the decoders are
#                               shown, and one with less than 98 % of its lines fails
# build/coverage/missed.txt lists the lines that did not run and the branches that went one way only,
# as line:column and the outcome that there was not.
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

# Counts are written as they are made, so that those of killed and forked processes are there too.
# All processes of a program count in a few files.
export LLVM_PROFILE_FILE="$PWD/$out/profiles/%c%8m.profraw"
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
show() {
    llvm-cov export -instr-profile="$out/all.profdata" "$@" "$out/src/qor/libqor.so" "${objects[@]}"
}
show -format=lcov >"$out/lines.lcov"
show -format=text -skip-functions -skip-expansions >"$out/branches.json"
scripts/coverage.py "$out/lines.lcov" "$out/branches.json" "$out/missed.txt" "${files[@]}"
