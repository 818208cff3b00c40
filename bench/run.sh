#!/usr/bin/env bash
# Builds the benchmarks in Release, runs every row N times and prints, per row,
# the medians of the library and of its raw reference and their ratio.
#
#   bench/run.sh [repetitions] [more --benchmark_* flags]
#
# e.g. bench/run.sh 5 --benchmark_filter='records|mutex'. The library's own
# diagnostics (it prints a line at every write-rename close and exit-code
# wait, whatever PL_DEBUG says) go to /dev/null so that no terminal slows them.
set -euo pipefail
cd "$(dirname "$0")/.."

repetitions=${1:-5}
shift || true
build=${QRIX_BENCH_BUILD:-build-bench}

cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DQRIX_BUILD_BENCHMARKS=ON \
  -DQRIX_BUILD_TESTS=OFF -DQRIX_BUILD_EXAMPLES=OFF >/dev/null
cmake --build "$build" --target qrix_bench -j2 >/dev/null

csv=$(mktemp)
trap 'rm -f "$csv"' EXIT
"$build/bench/qrix_bench" --benchmark_repetitions="$repetitions" \
  --benchmark_report_aggregates_only=true \
  --benchmark_out="$csv" --benchmark_out_format=csv "$@" 2>/dev/null

# Rows that set UseRealTime carry "/real_time" in their names and are compared
# by wall-clock time; the others by CPU time, which other load disturbs less.
echo
awk -F, '
  /^"/ && /_median"/ {
    name = $1; gsub(/"/, "", name); sub(/_median$/, "", name)
    split(name, part, "/")
    row = part[1]; side = part[2]
    t = (name ~ /\/real_time$/) ? $3 : $4
    if (!(row in seen)) { seen[row] = 1; order[++n] = row }
    time[row, side] = t; unit[row] = $5
  }
  END {
    printf "%-10s %14s %14s %8s   (medians of '"$repetitions"' repetitions)\n", "row", "library", "reference", "ratio"
    for (i = 1; i <= n; ++i) {
      r = order[i]
      lib = time[r, "library"]; ref = time[r, "reference"]
      printf "%-10s %11.3f %-2s %11.3f %-2s %8.3f\n", r, lib, unit[r], ref, unit[r], (ref > 0 ? lib / ref : 0)
    }
  }' "$csv"
