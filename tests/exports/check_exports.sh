#!/usr/bin/env bash
# The plugin exports exactly its C ABI: 77 entry points and 15 bounded
# string functions, and no C++ symbol; the public header declares exactly
# those names and compiles as C99. (That each declaration matches its
# definition is checked when the plugin compiles: its entry points include
# the header.)
#   check_exports.sh LIBRARY HEADER C_COMPILER
set -euo pipefail
lib=$1 header=$2 cc=$3
symbols=$(nm -D --defined-only "$lib" | awk '{print $3}')
entries=$(grep -c '^hitachifi_fi_pgn_' <<<"$symbols" || true)
strings=$(grep -c '^V_' <<<"$symbols" || true)
others=$(grep -v -E '^(hitachifi_fi_pgn_|V_)' <<<"$symbols" || true)
echo "entry points: $entries, V_ functions: $strings"
[ "$entries" -eq 77 ] || { echo "expected 77 entry points"; exit 1; }
[ "$strings" -eq 15 ] || { echo "expected 15 V_ functions"; exit 1; }
[ -z "$others" ] || { echo "unexpected exports:"; echo "$others"; exit 1; }

"$cc" -std=c99 -pedantic -Wall -Wextra -Werror -fsyntax-only -x c "$header" ||
  { echo "the header does not compile as C99"; exit 1; }
# Comments gone, the names that stand before an argument list.
declared=$("$cc" -std=c99 -E -P -x c "$header" | grep -oE '\b(hitachifi_fi_pgn_[A-Za-z_]+|V_[a-z_]+) *\(' |
           tr -d ' (' | sort -u)
difference=$(diff <(sort <<<"$symbols") <(echo "$declared") || true)
[ -z "$difference" ] || { echo "header (>) and library (<) differ:"; echo "$difference"; exit 1; }
echo "1 passed, 0 failed"
