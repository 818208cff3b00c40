#!/usr/bin/env bash
# Builds the fuzz targets with clang in the build directory given and runs
# each for SECONDS (default 90) over a copy of its seed corpus (the fuzzer
# adds what it finds to the copy, never to the seeds), two runs at a time.
# The text targets run once in C.UTF-8 and once in C. Exits non-zero on any
# crash, sanitizer report, timeout or oversized allocation, after printing
# the report.
set -euo pipefail

if [ $# -lt 1 ]; then
    echo "usage: $0 BUILD_DIR [SECONDS]" >&2
    exit 2
fi
build=$(mkdir -p "$1" && cd "$1" && pwd)
seconds=${2:-90}
here=$(cd "$(dirname "$0")" && pwd)
root=$(dirname "$here")

# target:locale; the data reader switches between C and C.UTF-8 itself and
# the file reader does no conversion.
runs=(text:C.UTF-8 string:C.UTF-8 text:C string:C dataformater:own file:C)

cmake -S "$root" -B "$build" -DQRIX_FUZZ=ON -DQRIX_WERROR=ON -DQRIX_BUILD_TESTS=OFF -DQRIX_BUILD_EXAMPLES=OFF \
    -DCMAKE_CXX_COMPILER=clang++ >/dev/null
targets=()
for run in "${runs[@]}"; do targets+=("fuzz_${run%%:*}"); done
cmake --build "$build" --target $(printf '%s\n' "${targets[@]}" | sort -u) -j2

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-halt_on_error=1:print_stacktrace=1}

# Input beyond a few kilobytes adds nothing the parsers have not seen; a count
# in the data must never turn into work or memory beyond what the data holds,
# so a few seconds or 64 MB for one input is already a finding.
start_run() {
    local target=$1 locale=$2 work=$3
    rm -rf "$work"
    mkdir -p "$work/corpus" "$work/artifacts" "$work/tmp"
    cp "$here/corpus/$target"/* "$work/corpus/"
    [ "$locale" != own ] || locale=C
    TMPDIR="$work/tmp" LC_ALL="$locale" "$build/fuzz/fuzz_$target" \
        -max_total_time="$seconds" \
        -max_len=4096 \
        -timeout=10 \
        -rss_limit_mb=1024 \
        -malloc_limit_mb=64 \
        -print_final_stats=1 \
        -artifact_prefix="$work/artifacts/" \
        "$work/corpus" >"$work/log" 2>&1
}

report() {
    local name=$1 work=$2 status=$3
    local execs speed
    execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$work/log")
    speed=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$work/log")
    if [ "$status" -eq 0 ]; then
        printf '%-24s ok      %10s runs  %7s/s\n' "$name" "${execs:-?}" "${speed:-?}"
    else
        printf '%-24s FAILED  (exit %d), artifacts in %s\n' "$name" "$status" "$work/artifacts"
        tail -n 60 "$work/log"
    fi
}

failed=0
for ((i = 0; i < ${#runs[@]}; i += 2)); do
    pids=()
    names=()
    for run in "${runs[@]:i:2}"; do
        target=${run%%:*}
        locale=${run#*:}
        name="$target ($locale)"
        start_run "$target" "$locale" "$build/fuzz-work/$target-$locale" &
        pids+=($!)
        names+=("$name")
    done
    for j in "${!pids[@]}"; do
        status=0
        wait "${pids[$j]}" || status=$?
        run=${runs[i + j]}
        report "${names[$j]}" "$build/fuzz-work/${run%%:*}-${run#*:}" "$status"
        [ "$status" -eq 0 ] || failed=1
    done
done
exit $failed
