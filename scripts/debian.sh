#!/usr/bin/env bash
# Sets up, builds and runs the tests in another version of Debian, with its compiler and libraries. All
# its files are below build/debian. Needs the rights of root.
#   scripts/debian.sh SUITE [PRESET]    SUITE is trixie or another name that debootstrap knows; PRESET is
#                                       one of scripts/test.sh
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/root.sh
. scripts/root.sh
[ $# -ge 1 ] || {
    echo "usage: debian.sh SUITE [PRESET]" >&2
    exit 2
}
root=$PWD/build/debian/$1

scripts/setup.sh package
bare_debian "$root" "$1" g++,cmake
as_root mkdir -p "$root/src"
# The build directory there is kept.
as_root find "$root/src" -mindepth 1 -maxdepth 1 ! -name build -exec rm -rf {} +
git ls-files -z | tar -c --null -T - | as_root tar -x --no-same-owner -C "$root/src"
inside "$root" /src/scripts/test.sh "${2:-debug}"
