#!/bin/sh
# Builds the Debian packages, checks their dependencies, unpacks them, and builds and runs a program
# against the unpacked files:
#   packages.sh CPACK BUILD_DIR COMPILER SOURCE OUTPUT_DIR
set -eu
cpack=$1
build=$2
compiler=$3
source=$4
out=$5
here=$(dirname "$0")

rm -rf "$out"
mkdir -p "$out"
"$cpack" -G DEB --config "$build/CPackConfig.cmake" -B "$out" >"$out/cpack.log" || {
    cat "$out/cpack.log"
    exit 1
}
packages="libqor libqor-dev"
[ ! -e "$build/tools/qor-inspect" ] || packages="$packages qor-tools"
for package in $packages; do
    deb=$(ls "$out/${package}"_*.deb)
    dpkg-deb -x "$deb" "$out/root"
    dpkg-deb -f "$deb" Depends >"$out/$package.depends"
done
grep -q libace "$out/libqor.depends"
grep -q libstdc++6 "$out/libqor.depends"
grep -q "libqor (=.*libace-dev" "$out/libqor-dev.depends"
libraries=$(dirname "$(find "$out/root" -name libqor.so)")
sh "$here/pkg_config.sh" "$compiler" "$libraries/pkgconfig" "$libraries" "$source" "$out/consumer"
if [ -e "$build/tools/qor-inspect" ]; then
    grep -q "libqor (=" "$out/qor-tools.depends"
    LD_LIBRARY_PATH=$libraries "$out/root/usr/bin/qor-inspect" --version
    printer=$(find "$out/root/usr/share/gdb/auto-load/usr/lib" -name "libqor.so.*-gdb.py")
    test "$(basename "$printer" -gdb.py)" = "$(basename "$(readlink -f "$libraries/libqor.so")")"
    test "$(dirname "${printer#"$out"/root/usr/share/gdb/auto-load}")" = "${libraries#"$out"/root}"
fi
