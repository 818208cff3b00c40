#!/usr/bin/env bash
# Compares the library as built now with the ABI baseline and fails on any
# change that a program built against the baseline could notice: a removed or
# changed exported function or variable, a changed layout or vtable of a
# class. New functions and variables are fine: they are counted as filtered out.
#   abi/check.sh [build-dir]
set -euo pipefail
cd "$(dirname "$0")/.."
source abi/build.sh
set +e
abidiff --hd2 "${headers[0]}" --hd2 "${headers[1]}" --drop-private-types \
  --no-added-syms "$baseline" "$library"
status=$?
set -e
if [ $status -eq 0 ]; then
  echo "ABI of $(basename "$library") keeps every interface of the baseline"
  exit 0
fi
# abidiff's status is a bit field: 1 error, 2 usage error, 4 change, 8 incompatible.
(( status & 3 )) && echo "abidiff could not compare (status $status)" >&2
(( status & 12 )) && echo "ABI break against $baseline (abidiff status $status)" >&2
exit 1
