#!/usr/bin/env bash
# Rewrites the ABI baseline from the library as built now. Run it on purpose
# only (see the README): at a major version change, or to record additions.
#   abi/update.sh [build-dir]
set -euo pipefail
cd "$(dirname "$0")/.."
source abi/build.sh
# Keep the (short) source locations: abidiff tells a public type from a private
# one by the header it is declared in, and without them it would let every
# layout change pass.
abidw --headers-dir "${headers[0]}" --headers-dir "${headers[1]}" --drop-private-types \
  --no-corpus-path --no-comp-dir-path --short-locs --type-id-style hash \
  --out-file "$baseline" "$library"
echo "$baseline now describes $(basename "$library")"
