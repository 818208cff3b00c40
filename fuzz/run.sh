#!/usr/bin/env bash
# Builds the data-format fuzzer with clang in the build directory given and
# runs it for about a minute over a copy of the seed corpus (the fuzzer adds
# what it finds to the copy, never to the seeds). Exits non-zero on any crash,
# sanitizer report, timeout or oversized allocation.
set -euo pipefail

if [ $# -lt 1 ]; then
    echo "usage: $0 BUILD_DIR [SECONDS]" >&2
    exit 2
fi
build=$1
seconds=${2:-60}
here=$(cd "$(dirname "$0")" && pwd)
root=$(dirname "$here")

cmake -S "$root" -B "$build" -DQRIX_FUZZ=ON -DQRIX_BUILD_TESTS=OFF -DQRIX_BUILD_EXAMPLES=OFF \
    -DCMAKE_CXX_COMPILER=clang++
cmake --build "$build" --target fuzz_dataformater -j2

corpus=$build/fuzz-corpus
artifacts=$build/fuzz-artifacts
rm -rf "$corpus"
mkdir -p "$corpus" "$artifacts"
cp "$here"/corpus/* "$corpus"/

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-halt_on_error=1:print_stacktrace=1}
# A count in the data must never turn into work or memory beyond what the
# data holds: a few seconds or a few megabytes per input is already a finding.
"$build/fuzz/fuzz_dataformater" \
    -max_total_time="$seconds" \
    -timeout=10 \
    -rss_limit_mb=1024 \
    -malloc_limit_mb=64 \
    -print_final_stats=1 \
    -artifact_prefix="$artifacts/" \
    "$corpus"
