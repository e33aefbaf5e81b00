#!/usr/bin/env bash
# Starts or stops the one Wine session that a Windows build's tests run in: start|stop BUILD_DIR.
# The session's background services are started here, before ctest, so that none of them inherits
# ctest's pipes (a service holding them would keep the test discovery waiting for ever).
set -euo pipefail
action=$1
build=$(cd "$2" && pwd)
export WINEPREFIX="$build/wineprefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
case "$action" in
  start)
    mkdir -p "$WINEPREFIX"
    wineserver -p
    # wineboot makes the prefix the first time (about 7 s) and starts the session's services.
    "$(dirname "$0")/../cmake/wine-run.sh" wineboot -i </dev/null >/dev/null 2>&1
    ;;
  stop)
    wineserver -k 2>/dev/null || true
    wineserver -w 2>/dev/null || true
    ;;
  *)
    echo "usage: $0 start|stop BUILD_DIR" >&2
    exit 2
    ;;
esac
