#!/usr/bin/env bash
# Builds the library, the demonstration program (tools/veltrane) and the log viewer
# (build/demo/tools/veltrane-logviewer), and runs the demonstration with the arguments given
# (--viewer-wait MS: time for a viewer to attach before the ping).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build/demo -DCMAKE_BUILD_TYPE=Release -DVELTRANE_BUILD_TESTS=OFF -DVELTRANE_BUILD_TOOLS=ON >/dev/null
cmake --build build/demo -j"$(nproc)" --target veltrane veltrane-logviewer
build/demo/tools/veltrane "$@"
