#!/usr/bin/env bash
# Configures build/fuzz with clang (libFuzzer, address and undefined-behaviour sanitizers), builds
# every fuzz target (fuzz/*_fuzz.cpp) and runs each for the given number of seconds (default 20).
# The corpus of each target is kept in build/fuzz/corpus/NAME between runs and its output in
# build/fuzz/NAME.log; a crash stops the script, shows the end of that log and leaves the input
# that caused it in the current directory.
#
# Usage: scripts/fuzz.sh [seconds]
# ZUV_FUZZ_BUILD_DIR chooses another build directory; CMAKE_BUILD_PARALLEL_LEVEL limits the jobs.
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
seconds="${1:-20}"
build_dir="${ZUV_FUZZ_BUILD_DIR:-$root/build/fuzz}"

cmake -S "$root" -B "$build_dir" -G Ninja \
  -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DZUV_BUILD_FUZZERS=ON -DZUV_BUILD_TESTS=OFF -DZUV_BUILD_TOOLS=OFF >/dev/null

targets=()
for source in "$root"/fuzz/*_fuzz.cpp; do
  targets+=("$(basename "$source" .cpp)")
done
cmake --build "$build_dir" -j "${CMAKE_BUILD_PARALLEL_LEVEL:-2}" --target "${targets[@]}"

for target in "${targets[@]}"; do
  corpus="$build_dir/corpus/$target"
  mkdir -p "$corpus"
  log="$build_dir/$target.log"
  echo "== $target for ${seconds}s (log: $log)"
  if ! "$build_dir/bin/$target" -max_total_time="$seconds" -print_final_stats=1 "$corpus" \
      >"$log" 2>&1; then
    tail -n 60 "$log"
    exit 1
  fi
  grep -E '^(Done|stat::number_of_executed_units|stat::peak_rss_mb)' "$log"
done
