#!/bin/sh
# Builds and runs the consumer with nothing but pkg-config:
#   pkg_config.sh COMPILER PKGCONFIG_DIR LIB_DIR OUTPUT
set -eu
compiler=$1
export PKG_CONFIG_PATH="$2"
export LD_LIBRARY_PATH="$3"
output=$4

# pkg-config quotes blanks for the shell.
flags=$(pkg-config --cflags --libs qor)
eval "set -- $flags"
"$compiler" -std=c++20 "$(dirname "$0")/consumer/main.cpp" -o "$output" "$@"
"$output"
