#!/usr/bin/env bash
# Checks the shared library: each symbol in abi/libqor.symbols is still exported, no symbol of other
# libraries is exported, and the library is hardened.
#   scripts/abi.sh            compares with abi/libqor.symbols
#   scripts/abi.sh --renew    writes that file again; use it at a release
set -euo pipefail
cd "$(dirname "$0")/.."

fail() {
    echo "abi: $1" >&2
    exit 1
}

scripts/setup.sh abi
cmake --preset release -D QOR_BUILD_TESTS=OFF -D QOR_BUILD_EXAMPLES=OFF -B build/abi >/dev/null
cmake --build build/abi --target qor
library=build/abi/src/qor/libqor.so
version=$(sed -n 's/^project(qor VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
baseline=abi/libqor.symbols
mkdir -p build/abi

# Prints the version, then a line for each exported symbol. Instances of the standard library's
# templates are left out: a program compiles its own ones if the library does not export them.
symbols() {
    abidw --no-corpus-path --exported-interfaces-only "$1" >build/abi/all.abi
    echo "version $version"
    sed -n "s/.*<elf-symbol name='\([^']*\)'.*type='\([a-z]*\)-type'.*/\2 \1/p" build/abi/all.abi |
        grep -v -E '^(func|object) _Z(Z?N?K?S|T[ISV]N?S|NK?9__gnu_cxx)' | LC_ALL=C sort -u
}

symbols "$library" >build/abi/symbols
if [ "${1:-}" = --renew ]; then
    mkdir -p abi
    cp build/abi/symbols "$baseline"
    echo "abi: $baseline is of version $version, with $(($(wc -l <"$baseline") - 1)) symbols"
    exit 0
fi

[ -f "$baseline" ] || fail "there is no $baseline: scripts/abi.sh --renew"
[ "$(head -n 1 "$baseline")" = "version $version" ] ||
    fail "$baseline is of another $(head -n 1 "$baseline"): scripts/abi.sh --renew"
removed=$(LC_ALL=C comm -23 <(tail -n +2 "$baseline") <(tail -n +2 build/abi/symbols))
if [ -n "$removed" ]; then
    echo "$removed" | c++filt -n >&2
    fail "these were exported, and are no longer: $(echo "$removed" | wc -l)"
fi
foreign=$(tail -n +2 build/abi/symbols | cut -d' ' -f2 | c++filt | grep -v -E '(^| |\()(qor(_[0-9]+)?::|nuv_|GZlib|operator (new|delete))' || true)
[ -z "$foreign" ] || fail "exported, and not qor's: $foreign"

has() {
    # Not grep -q: it ends at the first match, and readelf would then fail with SIGPIPE.
    readelf -W "$1" "$library" | grep -E "$2" >/dev/null || fail "the library has no $3"
}
has -l 'GNU_RELRO' 'RELRO'
has -d 'BIND_NOW|FLAGS.*NOW' 'BIND_NOW'
has --dyn-syms ' __stack_chk_fail(@| |$)' 'stack protector'
has --dyn-syms ' __[a-z]+_chk(@| |$)' 'fortified call'
readelf -W -l "$library" | grep 'GNU_STACK.* RW ' >/dev/null || fail "the library has an executable stack"

echo "abi: $(($(wc -l <build/abi/symbols) - 1)) symbols, none of the $(($(wc -l <"$baseline") - 1)) of $version is gone"
