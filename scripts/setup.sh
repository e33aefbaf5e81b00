#!/usr/bin/env bash
# Makes sure the tools and libraries the project builds with are installed (Debian 12).
# As root it installs what is missing; otherwise it names the command that would.
set -euo pipefail

# python3 and unicode-data only let the tests check the committed pinyin tables against their generator;
# the mingw-w64 compilers make the PE files that the version resource tests read, and with Wine they build
# and run the Windows suite. Building the library for Linux needs none of them.
packages=(cmake make g++ pkg-config binutils googletest libgtest-dev libbenchmark-dev libicu-dev clang libclang-rt-14-dev iproute2 util-linux procps
          python3 unicode-data gcc-mingw-w64-x86-64-posix gcc-mingw-w64-i686-posix
          g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64 wine wine64)
missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -ne 0 ]; then
  echo "Veltrane needs these Debian packages, which are not installed: ${missing[*]}" >&2
  echo "Install them as root with:  apt-get update && apt-get install -y ${missing[*]}" >&2
  exit 1
fi
echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
