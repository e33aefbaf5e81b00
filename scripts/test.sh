#!/usr/bin/env bash
# Builds and runs the whole test suite: a normal build (with the install test and the benchmarks compiled),
# an AddressSanitizer + UndefinedBehaviorSanitizer build, a ThreadSanitizer build of the threaded suites,
# a bounded libFuzzer run, and the Windows build (mingw-w64) with its suite and the demonstration under
# Wine. Any failure or sanitizer report fails the run.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
bash scripts/check-layering.sh

jobs=$(nproc)
passed=0
failed=0
summary=()

# run_suite NAME BUILD_DIR CTEST_ARGS... : configures nothing; runs ctest and adds its counts.
run_suite() {
  local name=$1 dir=$2
  shift 2
  local log="$dir/ctest.log" status=0
  ctest --test-dir "$dir" --output-on-failure -j"$jobs" "$@" 2>&1 | tee "$log" || status=1
  local line total bad
  line=$(grep -E 'tests passed, [0-9]+ tests failed out of [0-9]+' "$log" | tail -n 1 || true)
  total=$(sed -nE 's/.*out of ([0-9]+).*/\1/p' <<<"$line")
  bad=$(sed -nE 's/.* ([0-9]+) tests failed out of.*/\1/p' <<<"$line")
  [ -n "$total" ] || { total=0; bad=1; status=1; }
  passed=$((passed + total - bad))
  failed=$((failed + bad))
  summary+=("$name: $((total - bad)) of $total passed")
  [ "$status" -eq 0 ] || failed=$((failed > 0 ? failed : 1))
}

# build BUILD_DIR [--target T] CMAKE_ARGS... : configures and builds (everything, or target T only).
build() {
  local dir=$1 target=()
  shift
  if [ "${1:-}" = --target ]; then
    target=(--target "$2")
    shift 2
  fi
  cmake -S . -B "$dir" "$@" >/dev/null
  cmake --build "$dir" -j"$jobs" "${target[@]}"
}

echo "== normal build"
build build/test -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELTRANE_BUILD_BENCH=ON
run_suite normal build/test

echo "== AddressSanitizer + UndefinedBehaviorSanitizer build"
build build/asan -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS=-O1 "-DVELTRANE_SANITIZE=address;undefined"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1 \
UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  run_suite asan-ubsan build/asan

echo "== ThreadSanitizer build (threads, sockets, log hub)"
build build/tsan --target veltrane_tsan_suites -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS=-O1 -DVELTRANE_SANITIZE=thread
TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 run_suite tsan build/tsan -L tsan

if [ -f fuzz/CMakeLists.txt ] && [ -n "$(ls fuzz/*.cpp 2>/dev/null)" ]; then
  echo "== libFuzzer (bounded)"
  CXX=clang++ build build/fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELTRANE_BUILD_FUZZ=ON -DVELTRANE_BUILD_TESTS=OFF -DVELTRANE_BUILD_TOOLS=OFF
  bash scripts/run-fuzzers.sh build/fuzz 45 && { passed=$((passed + 1)); summary+=("fuzz: clean"); } ||
    { failed=$((failed + 1)); summary+=("fuzz: FAILED"); }
fi

echo "== Windows build (mingw-w64), suite and demonstration under Wine"
build build/windows -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake -DCMAKE_BUILD_TYPE=Release
# One Wine session for the whole stage, stopped on every way out.
trap 'bash scripts/wine-session.sh stop build/windows' EXIT
bash scripts/wine-session.sh start build/windows
# Wine now and then fails to start a program at all (no output, a few milliseconds); such a test is run
# once more, and a test that fails twice fails the run.
run_suite windows build/windows --repeat until-pass:2
if cmake/wine-run.sh build/windows/bin/veltrane.exe >build/windows/demo.log 2>&1; then
  passed=$((passed + 1)); summary+=("windows demonstration: ran")
else
  failed=$((failed + 1)); summary+=("windows demonstration: FAILED (build/windows/demo.log)")
fi
bash scripts/wine-session.sh stop build/windows
trap - EXIT

echo
printf '%s\n' "${summary[@]}"
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
