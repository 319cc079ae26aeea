#!/bin/sh
# Builds and runs the consumer with nothing but pkg-config:
#   pkg_config.sh COMPILER PKGCONFIG_DIR LIB_DIR OUTPUT
set -eu
PKG_CONFIG_PATH=$2
export PKG_CONFIG_PATH
# shellcheck disable=SC2046  # one word for each flag
"$1" -std=c++20 "$(dirname "$0")/consumer/main.cpp" -o "$4" $(pkg-config --cflags --libs qor)
LD_LIBRARY_PATH=$3 "$4"
