#!/usr/bin/env bash
# Measures which lines and branches of the library run, and lists those that do not.
#   scripts/coverage.sh         with the tests
#   scripts/coverage.sh fuzz    with the corpora of the fuzz targets alone. Shows only the decoders;
#                               fails if less than 98 % of the lines of one of them run
# build/coverage/missed.txt lists the lines that did not run, and the branches of which one outcome is
# missing, as line:column and that outcome.
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
cmake --preset coverage -U QOR_PRECOMPILE >/dev/null
cmake --build --preset coverage --target "${targets[@]}"
rm -rf "$out/profiles"
mkdir -p "$out/profiles"

# %c: counts are written to the file at once, so that killed and forked processes count too.
# %8m: all processes of a program share at most 8 files.
export LLVM_PROFILE_FILE="$PWD/$out/profiles/%c%8m.profraw"
ctest --preset coverage -j "$(nproc)" "${only[@]}" >"$out/ctest.log" || {
    tail -n 40 "$out/ctest.log" >&2
    exit 1
}

find "$out/profiles" -name '*.profraw' >"$out/profiles/list"
llvm-profdata merge -sparse -f "$out/profiles/list" -o "$out/all.profdata"
objects=()
# shellcheck disable=SC2086  # file name patterns
for program in $programs; do
    objects+=(-object "$program")
done
show() {
    llvm-cov export -instr-profile="$out/all.profdata" "$@" "$out/src/qor/libqor.so" "${objects[@]}"
}
show -format=lcov >"$out/lines.lcov"
show -format=text -skip-functions -skip-expansions >"$out/branches.json"
scripts/coverage.py "$out/lines.lcov" "$out/branches.json" "$out/missed.txt" "${files[@]}"
