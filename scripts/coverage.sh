#!/usr/bin/env bash
# Line and branch coverage of src/portinglayer under the unit tests.
#
#   scripts/coverage.sh [BUILD_DIR]      (default: build-coverage)
#
# Builds with -DQRIX_COVERAGE=ON, clears the counters, runs every test and
# prints gcovr's summary per file and in total; an HTML report lands in
# BUILD_DIR/coverage/index.html. Diagnostic gates count as branches, as gcovr
# counts them; the exception edges the compiler adds to every call do not
# (the library throws nothing of its own).
#
# Not counted: code that runs in a forked child which then calls execvp (the
# new program image replaces the counters before they are written) or leaves
# through _exit. Children that leave through exit() are counted.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build-coverage}

command -v gcovr >/dev/null || { echo "gcovr is missing (apt-get install gcovr)" >&2; exit 2; }

cmake -S "$root" -B "$build" -DQRIX_COVERAGE=ON -DQRIX_BUILD_EXAMPLES=OFF -DCMAKE_BUILD_TYPE=Debug >/dev/null
cmake --build "$build" -j2
find "$build" -name '*.gcda' -delete
# The installed-package check builds a separate consumer and adds nothing here.
ctest --test-dir "$build" --output-on-failure -j2 -E install_consumer || status=$?

mkdir -p "$build/coverage"
gcovr_args=(--root "$root" --filter "$root/src/portinglayer/" --object-directory "$build" "$build"
    --exclude-throw-branches --exclude-unreachable-branches)
gcovr "${gcovr_args[@]}" --txt                                   # lines per file
gcovr "${gcovr_args[@]}" --txt --branches --print-summary \
    --html-details "$build/coverage/index.html"                  # branches, totals
exit ${status:-0}
