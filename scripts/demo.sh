#!/usr/bin/env bash
# Sets up the machine, builds the plugin, the RMLIB simulator and the
# framework host, and drives the plugin end to end against a simulated array.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
build=${BUILD_DIR:-$root/build}

bash scripts/setup.sh
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
ninja -C "$build" -j "$(nproc)" hitachifi fihost

work=$(mktemp -d /tmp/hitachifi-demo.XXXXXX)
trap 'rm -rf "$work"' EXIT
export HITACHIFI_TRACE_DIR="$work/log"
export HITACHIFI_CACHE_DIR="$work/cache"

echo "== framework host driving libhitachifi.so (work dir $work)"
"$build/tools/fihost/fihost" "$build/providers/hitachi/libhitachifi.so"
