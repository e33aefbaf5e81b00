#!/usr/bin/env bash
# Installs the built library into a scratch prefix, then builds and runs one client three ways:
# find_package(Veltrane CONFIG), pkg-config veltrane, and add_subdirectory of the source tree.
set -euo pipefail
build=$1
source=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build" --prefix "$scratch/prefix" >/dev/null
libdir=$(dirname "$(find "$scratch/prefix" -name 'libVeltrane.so' | head -n 1)")
test -n "$libdir"
test -f "$scratch/prefix/include/veltrane/Veltrane.h"
readelf -d "$libdir/libVeltrane.so" | grep -q 'SONAME.*libVeltrane\.so\.1'

echo "== find_package"
cmake -S "$source/tests/install/client" -B "$scratch/package" -DCMAKE_PREFIX_PATH="$scratch/prefix" >/dev/null
cmake --build "$scratch/package" >/dev/null
LD_LIBRARY_PATH="$libdir" "$scratch/package/veltrane_client"

echo "== pkg-config"
PKG_CONFIG_PATH="$libdir/pkgconfig" pkg-config --exists veltrane
# shellcheck disable=SC2046
g++ -o "$scratch/pc_client" "$source/tests/install/client/client.cpp" \
    $(PKG_CONFIG_PATH="$libdir/pkgconfig" pkg-config --cflags --libs veltrane)
LD_LIBRARY_PATH="$libdir" "$scratch/pc_client"

echo "== add_subdirectory"
cmake -S "$source/tests/install/client" -B "$scratch/subdir" -DVELTRANE_SOURCE_DIR="$source" >/dev/null
cmake --build "$scratch/subdir" -j2 >/dev/null
"$scratch/subdir/veltrane_client"
