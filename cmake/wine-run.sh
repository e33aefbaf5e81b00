#!/bin/sh
# Runs a program of the Windows cross build under wine64: in the build's own Wine prefix (beside its bin/,
# unless WINEPREFIX names one), with the mingw-w64 C++ runtime DLLs found through WINEPATH. CMake uses it as
# the cross-compiling emulator.
if [ -z "${WINEPREFIX:-}" ]; then
  WINEPREFIX="$(cd "$(dirname "$1")/.." && pwd)/wineprefix"
fi
runtime=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-file-name=libstdc++-6.dll)")
winpthread=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-file-name=libwinpthread-1.dll)")
export WINEPREFIX WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
export WINEPATH="$runtime;$winpthread"
for wine in /usr/lib/wine/wine64 /usr/lib64/wine/wine64 "$(command -v wine64 || true)" "$(command -v wine || true)"; do
  [ -x "$wine" ] && exec "$wine" "$@"
done
echo "wine64 is not installed" >&2
exit 127
