#!/bin/sh
# Builds and runs a program with the flags of pkg-config alone:
#   pkg_config.sh COMPILER PKGCONFIG_DIR LIB_DIR SOURCE OUTPUT
set -eu
compiler=$1
export PKG_CONFIG_PATH="$2"
export LD_LIBRARY_PATH="$3"
source=$4
output=$5

# eval, since pkg-config escapes blanks for the shell.
flags=$(pkg-config --cflags --libs qor)
eval "set -- $flags"
"$compiler" -std=c++20 "$source" -o "$output" "$@"
"$output"
