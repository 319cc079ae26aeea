#!/usr/bin/env bash
# Builds the Debian packages, checks them with lintian, and installs them in a bare Debian below
# build/package. There it builds a program against them with CMake and with pkg-config, and runs the
# tools. The bare Debian needs the rights of root. Ends with a non-zero status at the first failure.
#   scripts/package.sh [packages]    with "packages": without the bare Debian
set -euo pipefail
cd "$(dirname "$0")/.."
# shellcheck source=scripts/root.sh
. scripts/root.sh
out=build/package
chroot=$out/chroot

scripts/setup.sh package
echo "package: building"
cmake --preset release -B "$out" -D CMAKE_INSTALL_PREFIX=/usr -D QOR_BUILD_TESTS=OFF \
    -D QOR_BUILD_EXAMPLES=OFF >/dev/null
cmake --build "$out"
rm -rf "$out/debs"
(cd "$out" && cpack -G DEB -B debs >cpack.log) || {
    cat "$out/cpack.log"
    exit 1
}
debs=("$out"/debs/*.deb)
printf 'package: %s\n' "${debs[@]}"

echo "package: lintian"
lintian --fail-on error "${debs[@]}"
[ "${1:-}" != packages ] || exit 0

bare_debian "$chroot" bookworm g++,cmake,make,pkg-config
as_root rm -rf "$chroot/trial"
as_root mkdir "$chroot/trial"
as_root cp "${debs[@]}" tests/install/consumer/* examples/data/message.hex "$chroot/trial"
echo "package: installing there"
inside "$chroot" apt-get update -qq
inside "$chroot" apt-get purge -y -qq libqor libqor-dev qor-tools >/dev/null 2>&1 || true
inside "$chroot" sh -c 'apt-get install -y -qq --no-install-recommends -o Dpkg::Use-Pty=0 /trial/*.deb' >/dev/null

echo "package: a program against them"
inside "$chroot" sh -ec '
    cmake -S /trial -B /trial/by-cmake >/dev/null
    cmake --build /trial/by-cmake >/dev/null
    /trial/by-cmake/consumer
    cd /trial
    g++ -std=c++20 main.cpp $(pkg-config --cflags --libs qor) -o by-pkg-config
    ./by-pkg-config
    for tool in qor-inspect qor-log qor-ping; do "$tool" --version; done
    qor-inspect --compact message.hex
    library=$(readlink -f "$(ldconfig -p | sed -n "s/.*libqor\.so\.[^ ]* .*=> //p" | head -n 1)")
    test -e "/usr/share/gdb/auto-load$library-gdb.py"
'
echo "package: all is well"
