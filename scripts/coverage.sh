#!/usr/bin/env bash
# Measures which lines and branches of the library run, and lists those that do not.
#   scripts/coverage.sh         by the tests
#   scripts/coverage.sh fuzz    by the corpora of the fuzz targets alone; only the decoders are
#                               shown, and one with less than 98 % of its lines fails
# The list of each file is in build/coverage/missed.txt.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh coverage
cmake --preset coverage >/dev/null
cmake --build --preset coverage
out=build/coverage
rm -rf "$out/profiles"
mkdir -p "$out/profiles"

# Programs of the same name add up in a few files.
export LLVM_PROFILE_FILE="$PWD/$out/profiles/%8m.profraw"
only=()
files=(src include utility)
least=0
if [ "${1:-}" = fuzz ]; then
    only=(-R '^fuzz\.')
    files=(src/qor/nbr src/qor/pml src/qor/json/qor_json_parser.cpp
        src/qor/json/structure_index.cpp src/qor/json/escape.cpp src/qor/xml/XMLParser.cpp
        src/qor/xml/xml_escape.cpp src/qor/util/BinaryStream.cpp src/qor/util/base64.cpp
        src/qor/util/gzlib.cpp src/qor/util/zlib.cpp src/qor/string/printf.cpp
        src/qor/platform/codepage.cpp src/qor/platform/utf8.cpp src/qor/tcp/tcp_receiver.cpp)
    least=98
fi
ctest --preset coverage -j "$(nproc)" "${only[@]}" >"$out/ctest.log" || {
    tail -n 40 "$out/ctest.log" >&2
    exit 1
}

find "$out/profiles" -name '*.profraw' >"$out/profiles/list"
llvm-profdata merge -sparse -f "$out/profiles/list" -o "$out/all.profdata"
objects=()
for program in "$out"/tests/qor_*_test "$out"/fuzz/qor_*_fuzz; do
    objects+=(-object "$program")
done
llvm-cov export -format=lcov -instr-profile="$out/all.profdata" "$out/src/qor/libqor.so" \
    "${objects[@]}" "${files[@]}" >"$out/coverage.lcov"
scripts/coverage.py "$out/coverage.lcov" "$out/missed.txt" "$least"
