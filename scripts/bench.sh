#!/usr/bin/env bash
# Builds the benchmarks in Release and runs them; `bash scripts/bench.sh FILTER` runs the programs whose
# name contains FILTER. Each program prints its own figures, the library beside the alternative.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build/bench -DCMAKE_BUILD_TYPE=Release -DVELTRANE_BUILD_BENCH=ON -DVELTRANE_BUILD_TESTS=OFF -DVELTRANE_BUILD_TOOLS=OFF >/dev/null
cmake --build build/bench -j"$(nproc)"
for program in build/bench/bench/bench_*; do
  case "$program" in *"${1:-}"*) ;; *) continue ;; esac
  echo "== $program"
  "$program" --benchmark_min_time=0.2
done
