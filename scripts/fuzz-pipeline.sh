#!/usr/bin/env bash
# Fuzzes the raw-frame parser and the colour pipeline for longer than the
# test run does (45 s there), building the fuzzer first.
#
#   scripts/fuzz-pipeline.sh [SECONDS] [BUILD_DIR]     (defaults: 600, build/release)
#
# New inputs collect in BUILD_DIR/tests/fuzz/pipeline-corpus, next to the test
# run's own; a crash is saved as BUILD_DIR/tests/fuzz/pipeline-crash-*. Keep
# every crashing input in tests/fuzz/regressions/ once it is fixed: the
# replay test runs each one on every test run.
set -euo pipefail

seconds=${1:-600}
build_dir=${2:-build/release}
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"

if [ ! -f "$build_dir/build.ninja" ]; then
  scripts/install-deps.sh
  cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
fi
cmake --build "$build_dir" --target tarvelo_pipeline_fuzzer

fuzz_dir=$build_dir/tests/fuzz
mkdir -p "$fuzz_dir/pipeline-corpus"
exec "$fuzz_dir/libfuzzer/tarvelo-pipeline-fuzzer" \
  -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
  -artifact_prefix="$fuzz_dir/pipeline-crash-" \
  "$fuzz_dir/pipeline-corpus" tests/fuzz/corpus tests/fuzz/regressions
