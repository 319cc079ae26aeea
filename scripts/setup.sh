#!/usr/bin/env bash
# Installs the Debian packages that a purpose needs and that are not installed:
#   scripts/setup.sh build|test|check|manual|package|bench|fuzz|coverage|clang|libcxx|abi|i386|arm64|s390x
set -euo pipefail

build="g++ cmake ninja-build ccache libace-dev zlib1g-dev"
test="$build libgtest-dev pkg-config tzdata python3 dpkg-dev file gdb libfmt-dev"
clang="clang libclang-rt-14-dev"
cross="cmake ninja-build ccache debian-archive-keyring python3 tzdata"
case "${1:-}" in
build) wanted="$build" ;;
test) wanted="$test" ;;
check) wanted="$test $clang clang-format doxygen tshark" ;;
manual) wanted="$build doxygen python3" ;;
package) wanted="$test lintian debootstrap" ;;
bench)
    wanted="$build libbenchmark-dev libprotobuf-dev protobuf-compiler libmsgpack-cxx-dev"
    wanted="$wanted libboost-dev libssl-dev libyaml-cpp-dev libspdlog-dev libfmt-dev"
    wanted="$wanted libevent-dev libzmq3-dev cppzmq-dev nlohmann-json3-dev rapidjson-dev"
    wanted="$wanted libsimdjson-dev libtinyxml2-dev libpugixml-dev"
    ;;
fuzz) wanted="$build $clang llvm" ;;
coverage) wanted="$test $clang llvm" ;;
clang) wanted="$test $clang" ;;
libcxx) wanted="$test clang-19 libc++-19-dev libc++abi-19-dev googletest" ;;
abi) wanted="$build abigail-tools" ;;
i386) wanted="$cross g++-i686-linux-gnu qemu-user-static" ;;
arm64) wanted="$cross g++-aarch64-linux-gnu qemu-user-static" ;;
s390x) wanted="$cross g++-s390x-linux-gnu qemu-user-static" ;;
*)
    echo "usage: setup.sh build|test|check|manual|package|bench|fuzz|coverage|clang|libcxx|abi|i386|arm64|s390x" >&2
    exit 2
    ;;
esac

installed() {
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

missing=""
for package in $wanted; do
    installed "$package" || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

# shellcheck source=scripts/root.sh
. "$(dirname "$0")/root.sh"
echo "setup: installing$missing"
as_root apt-get update -qq
# With Use-Pty=0, dpkg writes failures to the standard error, which is not discarded.
# shellcheck disable=SC2086  # one word for each package
as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
    -o Dpkg::Use-Pty=0 $missing >/dev/null
