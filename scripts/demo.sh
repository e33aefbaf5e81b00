#!/usr/bin/env bash
# Builds the library and runs the demonstration program (tools/veltrane).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build/demo -DCMAKE_BUILD_TYPE=Release -DVELTRANE_BUILD_TESTS=OFF -DVELTRANE_BUILD_TOOLS=ON >/dev/null
cmake --build build/demo -j"$(nproc)" --target veltrane
build/demo/tools/veltrane "$@"
