#!/usr/bin/env bash
# Sets up, builds and runs the tests for another machine, without the tools. Runs them in an emulator,
# unless this machine can run the programs of the other one. All files of the other machine are in
# build/cross.
#   scripts/cross.sh ARCH [TEST FILTER]   ARCH is i386, arm64 or s390x; TEST FILTER is a regular
#                                         expression over test names
#   AREAS="base json" scripts/cross.sh …  builds and runs the tests of these areas only
#   CXX=clang++ scripts/cross.sh …        compiles with clang instead of g++
#   LONG=on scripts/cross.sh …            also runs the tests that take long in an emulator
set -euo pipefail
cd "$(dirname "$0")/.."

fail() {
    echo "cross: $1" >&2
    exit 1
}

machine=${1:-}
filter=${2:-}
areas=${AREAS:-}
case "$machine" in
i386 | arm64 | s390x) ;;
*)
    echo "usage: cross.sh i386|arm64|s390x [TEST FILTER]" >&2
    exit 2
    ;;
esac

scripts/setup.sh "$machine" || fail "the compilers for $machine cannot be installed"

# The Debian packages of the other machine are only unpacked, never configured. apt runs with separate
# settings and state, so that it ignores the packages of this machine.
packages="libace-dev zlib1g-dev libgtest-dev libstdc++-12-dev"
root=$PWD/build/cross/$machine
sysroot=$root/sysroot
if [ "$(cat "$sysroot/packages" 2>/dev/null)" != "$packages" ]; then
    echo "cross: fetching Debian's packages of $machine"
    rm -rf "$sysroot" "$root/apt"
    mkdir -p "$sysroot" "$root/apt/state/lists/partial" "$root/apt/cache/archives/partial" \
        "$root/apt/none"
    : >"$root/apt/status"
    keys=/usr/share/keyrings/debian-archive-keyring.gpg
    echo "deb [signed-by=$keys] ${DEBIAN_MIRROR:-http://deb.debian.org/debian} bookworm main" \
        >"$root/apt/sources.list"
    cat >"$root/apt/apt.conf" <<END
APT::Architecture "$machine";
APT::Architectures { "$machine"; };
APT::Install-Recommends "false";
APT::Sandbox::User "";
Acquire::Languages "none";
Acquire::Retries "3";
Dir::State "$root/apt/state";
Dir::State::status "$root/apt/status";
Dir::Cache "$root/apt/cache";
Dir::Etc::sourcelist "$root/apt/sources.list";
Dir::Etc::sourceparts "$root/apt/none";
Dir::Etc::preferences "$root/apt/none/none";
Dir::Etc::preferencesparts "$root/apt/none";
END
    export APT_CONFIG="$root/apt/apt.conf"
    apt-get update -qq || fail "Debian's list of packages for $machine cannot be fetched"
    # shellcheck disable=SC2086  # one word for each package
    apt-get install -qq -y --download-only $packages >/dev/null ||
        fail "Debian's packages of $machine cannot be fetched: $packages"
    unset APT_CONFIG
    for package in "$root"/apt/cache/archives/*.deb; do
        dpkg-deb -x "$package" "$sysroot"
    done
    # Absolute symbolic links must point into the unpacked tree.
    find "$sysroot" -type l -lname '/*' | while read -r link; do
        ln -sfrT "$sysroot$(readlink "$link")" "$link"
    done
    rm -rf "$root/apt"
    echo "$packages" >"$sysroot/packages"
fi

libraries=$(basename "$(dirname "$(echo "$sysroot"/usr/lib/*/libACE.so)")")
case "$machine" in
i386) emulator=qemu-i386-static loader=lib/ld-linux.so.2 ;;
arm64) emulator=qemu-aarch64-static loader=lib/ld-linux-aarch64.so.1 ;;
s390x) emulator=qemu-s390x-static loader=lib/ld64.so.1 ;;
esac
# Some kernels run programs of other machines directly: i386 on amd64, or all through binfmt_misc.
if "$sysroot/$loader" --version >/dev/null 2>&1; then
    emulator=
fi

clang=OFF
build=$root/gcc
if [[ "${CXX:-}" == *clang* ]]; then
    scripts/setup.sh clang || fail "clang cannot be installed"
    clang=ON
    build=$root/clang
fi
unset CXX
echo "cross: building for $machine in ${build#"$PWD"/}"
# Tests that are left out in an emulator; the file has the reasons.
left_out=()
if [ -n "$emulator" ]; then
    kinds=$([ "${LONG:-}" = on ] && echo cannot || echo "cannot|long")
    mapfile -t left_out < <(grep -E "^($kinds) " tests/emulator.txt | cut -d' ' -f2)
fi
# Without optimization and debug information, and with one process for each area: it runs only once.
cmake -G Ninja -S . -B "$build" --toolchain cmake/cross.cmake -D QOR_MACHINE="$machine" \
    -D QOR_SYSROOT="$sysroot" -D QOR_CLANG=$clang -D QOR_EMULATOR="$emulator" \
    -D QOR_WERROR=ON -D QOR_PRECOMPILE=all -D QOR_BUILD_TOOLS=OFF -D QOR_TEST_AREAS="${areas// /;}" \
    -D QOR_TEST_BY_AREA="$([ -z "$filter" ] && echo ON || echo OFF)" \
    -D QOR_TEST_LEFT_OUT="$(IFS=';' && echo "${left_out[*]}")" \
    -D QOR_BUILD_EXAMPLES="$([ -n "$areas" ] && echo OFF || echo ON)" >/dev/null
cmake --build "$build" -- -k 0

# iconv loads its code pages from modules of the other machine.
export GCONV_PATH=$sysroot/usr/lib/$libraries/gconv
names=$(IFS='|' && echo "${left_out[*]//./\\.}")
ctest --test-dir "$build" -j "$(nproc)" --output-on-failure -R "${filter:-.}" -E "^(${names:-none})\$"
if [ -z "$filter" ]; then
    passed=$(sed -n 's/^\[  PASSED  \] \([0-9]*\) tests\?\.$/\1/p' "$build/Testing/Temporary/LastTest.log" |
        paste -sd+)
    echo "cross: $((passed)) tests of the areas passed on $machine, by $(basename "$build")"
fi
