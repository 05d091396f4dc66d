#!/usr/bin/env bash
# Builds every libFuzzer target with clang and runs each for a bounded time
# from its seed corpus (fuzz/<area>/corpus, with fuzz/<area>/*.dict when
# there is one). New inputs go to a scratch folder, never into the
# repository's corpus.
#   scripts/fuzz.sh                     FUZZ_SECONDS (default 15) per target
#   FUZZ_SECONDS=600 scripts/fuzz.sh    longer runs
#   scripts/fuzz.sh fuzz_config         only the named targets
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
if ! command -v clang >/dev/null || ! command -v clang++ >/dev/null; then
  echo "== fuzzing skipped: clang and clang++ are needed (scripts/setup.sh installs them)"
  exit 0
fi

seconds=${FUZZ_SECONDS:-15}
jobs=${JOBS:-$(nproc)}
build="$root/build-fuzz"

cmake -S "$root" -B "$build" -G Ninja -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DHITACHIFI_BUILD_FUZZ=ON -DHITACHIFI_BUILD_TESTS=OFF -DHITACHIFI_BUILD_BENCH=OFF >/dev/null

declare -A folder=()
for list in "$root"/fuzz/*/CMakeLists.txt; do
  area=$(dirname "$list")
  for target in $(sed -n 's/^hitachifi_add_fuzzer(\([A-Za-z0-9_]*\).*/\1/p' "$list"); do
    folder[$target]=$area
  done
done
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=($(printf '%s\n' "${!folder[@]}" | sort))
ninja -C "$build" -j "$jobs" "${targets[@]}"

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
artifacts="$build/artifacts"
mkdir -p "$artifacts"
# One target at a time: two memory-hungry targets side by side on two cores
# each run at a third of their speed alone.
echo "== fuzzing ${#targets[@]} targets for ${seconds}s each"
for target in "${targets[@]}"; do
  area=${folder[$target]}
  options=(-max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=0
           -artifact_prefix="$artifacts/$target-")
  for dict in "$area"/*.dict; do
    [ -e "$dict" ] && options+=(-dict="$dict")
  done
  mkdir -p "$scratch/$target"
  if (cd "$scratch" && "$build/fuzz/$(basename "$area")/$target" "${options[@]}" "$scratch/$target" \
        "$area/corpus") >"$scratch/$target.log" 2>&1; then
    echo "$target: $(grep -E '^Done [0-9]+ runs' "$scratch/$target.log" || tail -n 1 "$scratch/$target.log")"
  else
    tail -n 60 "$scratch/$target.log"
    echo "== $target failed; the input that broke it is in $artifacts (replay: $target <file>)"
    exit 1
  fi
done
