#!/usr/bin/env bash
# Installs the built library into a scratch prefix, then builds and runs clients as the README tells a
# user to: find_package(Veltrane CONFIG), pkg-config veltrane (the README's own example and command), and
# add_subdirectory of the source tree. Each client runs without LD_LIBRARY_PATH, finding libVeltrane.so.1
# the way the README says; every installed header compiles on its own under <veltrane/...>.
set -euo pipefail
build=$1
source=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
prefix=$scratch/prefix

cmake --install "$build" --prefix "$prefix" >/dev/null
libdir=$(dirname "$(find "$prefix" -name 'libVeltrane.so' | head -n 1)")
test -n "$libdir"
test -f "$prefix/include/veltrane/Veltrane.h"
readelf -d "$libdir/libVeltrane.so" | grep -q 'SONAME.*libVeltrane\.so\.1'
# The headers send their readers to the documents, which must be there too.
for document in README.md codepages.md decisions.md logviewer.md windows.md; do
  test -f "$prefix/share/doc/Veltrane/$document" || { echo "install: $document is not installed" >&2; exit 1; }
done

echo "== every installed header alone, as <veltrane/...>, with only the include root on the path"
(cd "$prefix/include" && find veltrane -name '*.h' ! -name VeltraneExport.h) | sort | while read -r header; do
  printf '#include <%s>\n' "$header" > "$scratch/one-header.cpp"
  g++ -std=c++17 -fsyntax-only -Wall -Wextra -I"$prefix/include" "$scratch/one-header.cpp" ||
    { echo "install: <$header> does not compile on its own" >&2; exit 1; }
done

echo "== find_package (C++20 client, <veltrane/Veltrane.h>)"
cmake -S "$source/tests/install/client" -B "$scratch/package" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$scratch/package" >/dev/null
"$scratch/package/veltrane_client"

echo "== pkg-config (C++20 client, <Veltrane.h>)"
export PKG_CONFIG_PATH=$libdir/pkgconfig
pkg-config --exists veltrane
if pkg-config --cflags veltrane | grep -q -- '-std='; then
  echo "install: veltrane.pc sets a C++ standard: $(pkg-config --cflags veltrane)" >&2
  exit 1
fi
# shellcheck disable=SC2046
g++ -std=c++20 -DVELTRANE_CLIENT_STANDARD=202002L -o "$scratch/pc_client" "$source/tests/install/client/client.cpp" \
    $(pkg-config --cflags --libs veltrane) -Wl,-rpath,"$(pkg-config --variable=libdir veltrane)"
"$scratch/pc_client"

echo "== the README's example, built with the README's command"
awk '/^```cpp$/ { inside = 1; next } /^```$/ && inside { exit } inside' "$source/README.md" > "$scratch/hello.cpp"
grep -q 'int main' "$scratch/hello.cpp"
# shellcheck disable=SC2046
g++ -std=c++17 "$scratch/hello.cpp" $(pkg-config --cflags --libs veltrane) \
    -Wl,-rpath,$(pkg-config --variable=libdir veltrane) -o "$scratch/hello"
greeting=$("$scratch/hello")
if ! [[ $greeting =~ ^GUID\ [0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}$ ]]; then
  echo "install: the README's example printed '$greeting', not a whole GUID" >&2
  exit 1
fi
echo "$greeting"

echo "== add_subdirectory (C++20 client without a build type, <veltrane/Veltrane.h>)"
cmake -S "$source/tests/install/client" -B "$scratch/subdir" -DVELTRANE_SOURCE_DIR="$source" >/dev/null
buildType=$(sed -n 's/^CMAKE_BUILD_TYPE:[A-Z]*=//p' "$scratch/subdir/CMakeCache.txt")
if [ -n "$buildType" ]; then
  echo "install: add_subdirectory wrote the build type '$buildType' into the client's cache" >&2
  exit 1
fi
cmake --build "$scratch/subdir" -j2 >/dev/null
"$scratch/subdir/veltrane_client"
