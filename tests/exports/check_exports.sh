#!/usr/bin/env bash
# The plugin exports exactly its C ABI: 77 entry points and 15 bounded
# string functions, and no C++ symbol.
set -euo pipefail
lib=$1
symbols=$(nm -D --defined-only "$lib" | awk '{print $3}')
entries=$(grep -c '^hitachifi_fi_pgn_' <<<"$symbols" || true)
strings=$(grep -c '^V_' <<<"$symbols" || true)
others=$(grep -v -E '^(hitachifi_fi_pgn_|V_)' <<<"$symbols" || true)
echo "entry points: $entries, V_ functions: $strings"
[ "$entries" -eq 77 ] || { echo "expected 77 entry points"; exit 1; }
[ "$strings" -eq 15 ] || { echo "expected 15 V_ functions"; exit 1; }
[ -z "$others" ] || { echo "unexpected exports:"; echo "$others"; exit 1; }
echo "1 passed, 0 failed"
