#!/bin/sh
# Checks that the first program of a document prints the indented text below it:
#   readme.sh COMPILER PKGCONFIG_DIR LIB_DIR DOCUMENT OUTPUT
set -eu
here=$(dirname "$0")
document=$4
output=$5

awk '/^```cpp$/ { inside = 1; next } /^```$/ { exit } inside' "$document" >"$output.cpp"
awk '/^prints$/ { inside = 1; next } inside && /^[^ ]/ { exit } inside && sub(/^    /, "")' \
    "$document" >"$output.shown"
"$here/pkg_config.sh" "$1" "$2" "$3" "$output.cpp" "$output" >"$output.printed"
diff "$output.shown" "$output.printed"
