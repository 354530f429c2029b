#!/usr/bin/env bash
# Installs the build in BUILD (configured with -DCMAKE_INSTALL_PREFIX=/usr) to /usr under a staging root (DESTDIR), as a distribution package
# would, then builds the example application against it twice, with CMake's find_package and
# with pkg-config, neither naming a language standard, and runs both.
# Usage: check_installed.sh BUILD WORK
set -euo pipefail
build=$1 work=$2
root="$work/root"
rm -rf "$work" && mkdir -p "$work"
DESTDIR="$root" cmake --install "$build" --prefix /usr >/dev/null
libdir=$(dirname "$(find "$root/usr" -name 'libkestrune.so*' -print -quit)")
pcdir="$libdir/pkgconfig"
source_dir=$(cd "$(dirname "$0")/../.." && pwd)

# The installed pkg-config file names the final locations, not the staging root.
grep -qx "includedir=/usr/include" "$pcdir/kestrune.pc"
grep -qx "libdir=${libdir#"$root"}" "$pcdir/kestrune.pc"

cmake -S "$source_dir/tests/install" -B "$work/with-cmake" -G Ninja \
  -DCMAKE_PREFIX_PATH="$root/usr" >/dev/null
cmake --build "$work/with-cmake" >/dev/null

flags=$(PKG_CONFIG_SYSROOT_DIR="$root" PKG_CONFIG_PATH="$pcdir" pkg-config --cflags --libs kestrune)
# shellcheck disable=SC2086
g++ "$source_dir/examples/encode_stream.cpp" $flags -o "$work/with-pkg-config"

for app in "$work/with-cmake/encode_stream" "$work/with-pkg-config"; do
  KESTRUNE_DOCUMENTS_DIR="$work/documents" LD_LIBRARY_PATH="$libdir" "$app"
done
echo "installed-consumer checks passed"
