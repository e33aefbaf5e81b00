#!/usr/bin/env bash
# Runs every libFuzzer target of a fuzz build for about SECONDS of wall time in total, shared between the
# targets, as many at once as there are processors:
#   bash scripts/run-fuzzers.sh BUILD_DIR SECONDS
# Each target starts from its committed corpus (fuzz/corpus/<target>/, never written to) and from the
# inputs it found in earlier runs (BUILD_DIR/fuzz-corpus/<target>/). A crash fails the run and its input is
# kept under BUILD_DIR/fuzz-crashes/; everything else the fuzzer writes is removed.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(cd "${1:?usage: run-fuzzers.sh BUILD_DIR SECONDS}" && pwd)
seconds=${2:?usage: run-fuzzers.sh BUILD_DIR SECONDS}

mapfile -t targets < <(find "$build" -type f -name '*_fuzz' -perm -u+x | sort)
if [ "${#targets[@]}" -eq 0 ]; then
  echo "no fuzz targets in $build (configure with CXX=clang++ -DVELTRANE_BUILD_FUZZ=ON)" >&2
  exit 1
fi
# The targets run side by side, one per processor, so SECONDS is the wall time of the whole run.
parallel=$(nproc)
[ "$parallel" -le "${#targets[@]}" ] || parallel=${#targets[@]}
share=$(( seconds * parallel / ${#targets[@]} ))
[ "$share" -ge 1 ] || share=1

# fuzz_one TARGET : runs one target for its share; prints its log's end; fails when the fuzzer found something.
fuzz_one() {
  local target=$1 name found crashes work
  name=$(basename "$target")
  found="$build/fuzz-corpus/$name"
  crashes="$build/fuzz-crashes/$name"
  work=$(mktemp -d)
  mkdir -p "$found" "$crashes"
  local corpusDirs=()
  [ -d "fuzz/corpus/$name" ] && corpusDirs+=("$PWD/fuzz/corpus/$name")
  if ( cd "$work" && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
         "$target" -max_total_time="$share" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
         "$found" "${corpusDirs[@]}" ) >"$work/log" 2>&1; then
    printf '== %s for %ss\n%s\n' "$name" "$share" "$(tail -n 12 "$work/log")"
    rm -rf "$work"
    return 0
  fi
  printf '== %s for %ss\n%s\n' "$name" "$share" "$(tail -n 60 "$work/log")"
  # Keep the inputs that made it fail, and nothing else the fuzzer wrote.
  find "$work" -maxdepth 1 -type f \( -name 'crash-*' -o -name 'leak-*' -o -name 'timeout-*' -o -name 'oom-*' \) \
    -exec mv {} "$crashes"/ \;
  echo "$name FAILED; inputs kept in $crashes" >&2
  rm -rf "$work"
  return 1
}

status=0
running=0
for target in "${targets[@]}"; do
  if [ "$running" -ge "$parallel" ]; then
    wait -n || status=1
    running=$((running - 1))
  fi
  fuzz_one "$target" &
  running=$((running + 1))
done
while [ "$running" -gt 0 ]; do
  wait -n || status=1
  running=$((running - 1))
done
exit "$status"
