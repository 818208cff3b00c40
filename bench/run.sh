#!/usr/bin/env bash
# Builds the benchmarks in Release, runs every row N times and prints, per row,
# the medians of the library and of its raw reference, their ratio, and the
# spread (coefficient of variation) of each side.
#
#   bench/run.sh [repetitions] [more --benchmark_* flags]
#
# e.g. bench/run.sh 5 --benchmark_filter='records|mutex'.
# QRIX_BENCH_DIR=/dev/shm runs the file rows on tmpfs instead of /tmp;
# QRIX_BENCH_INTERLEAVE=0 runs the repetitions in order instead of shuffled.
set -euo pipefail
cd "$(dirname "$0")/.."

repetitions=${1:-5}
shift || true
build=${QRIX_BENCH_BUILD:-build-bench}
interleave=true
[ "${QRIX_BENCH_INTERLEAVE:-1}" = 0 ] && interleave=false

cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DQRIX_BUILD_BENCHMARKS=ON \
  -DQRIX_BUILD_TESTS=OFF -DQRIX_BUILD_EXAMPLES=OFF >/dev/null
cmake --build "$build" --target qrix_bench -j2 >/dev/null

csv=$(mktemp)
trap 'rm -f "$csv"' EXIT
# Shuffled repetitions spread the load of a shared machine over both sides of
# a row. The library's own diagnostics (a line at every write-rename close and
# exit-code wait, whatever PL_DEBUG says) go to /dev/null, not a terminal.
"$build/bench/qrix_bench" --benchmark_repetitions="$repetitions" \
  --benchmark_enable_random_interleaving="$interleave" \
  --benchmark_report_aggregates_only=true \
  --benchmark_out="$csv" --benchmark_out_format=csv "$@" 2>/dev/null | { grep -v -E '_(mean|stddev|cv) ' || true; }

# Rows that time themselves (UseManualTime, "/manual_time" in their names) are
# compared by the time they measured, which the CSV gives as real time; the
# others by this process's CPU time, which other load disturbs less.
echo
awk -F, '
  /^"/ && /_(median|mean|stddev)"/ {
    name = $1; gsub(/"/, "", name)
    stat = name; sub(/.*_/, "", stat); sub(/_[a-z]+$/, "", name)
    split(name, part, "/")
    row = part[1]; side = part[2]
    v = (name ~ /\/manual_time$/) ? $3 : $4
    if (!(row in seen)) { seen[row] = 1; order[++n] = row }
    value[row, side, stat] = v
    if (stat == "median") unit[row] = $5
  }
  # The CSV scales its own cv column by the time unit, so it is computed here.
  function cv(r, side) {
    return value[r, side, "mean"] > 0 ? 100 * value[r, side, "stddev"] / value[r, side, "mean"] : 0
  }
  END {
    printf "%-9s %13s %13s %7s %9s %9s   medians of '"$repetitions"' repetitions\n",
           "row", "library", "reference", "ratio", "cv lib", "cv ref"
    for (i = 1; i <= n; ++i) {
      r = order[i]
      lib = value[r, "library", "median"]; ref = value[r, "reference", "median"]
      printf "%-9s %10.3f %-2s %10.3f %-2s %7.3f %8.1f%% %8.1f%%\n", r, lib, unit[r], ref, unit[r],
             (ref > 0 ? lib / ref : 0), cv(r, "library"), cv(r, "reference")
    }
  }' "$csv"
