#!/usr/bin/env bash
# Sets up the machine, builds the plugin, the RAID Manager simulator and the
# framework host, and drives the plugin against a simulated HITACHI and HP
# array: the host's disks come from a sysfs tree written from the model.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
build=${BUILD_DIR:-$root/build}

bash scripts/setup.sh
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
ninja -C "$build" -j "$(nproc)" hitachifi fihost rmsim svrrm_sim

work=$(mktemp -d /tmp/hitachifi-demo.XXXXXX)
trap 'rm -rf "$work"' EXIT
export RMSIM_DB="$work/rmsim.db"             # the simulated arrays' state
export FRIM_DLOPEN_ROOT="$build/simroot"     # /usr/lib/libsvrrm.so -> the simulator
export HITACHIFI_SYSFS_ROOT="$work/sys"      # the host's disks
export HITACHIFI_CACHE_DIR="$work/cache"     # instance-number files
export HITACHIFI_TRACE_DIR="$work/log"
export HITACHIFI_TRACE_LEVEL=3
mkdir -p "$HITACHIFI_CACHE_DIR"

echo "== simulated arrays"
"$build/sim/rmsim" init
"$build/sim/rmsim" sysfs "$HITACHIFI_SYSFS_ROOT"
"$build/sim/rmsim" show | sed -n '1,12p'

plugin="$build/providers/hitachi/libhitachifi.so"
echo "== exported entry points of libhitachifi.so"
nm -D --defined-only "$plugin" | awk '$2 == "T" { print $3 }' | sort >"$work/exports"
echo "$(grep -c '_fi_pgn_' "$work/exports") framework entry points, $(grep -c '^V_' "$work/exports") bounded string functions:"
echo "  hitachifi_fi_pgn_<name> for each <name> of:"
grep '_fi_pgn_' "$work/exports" | sed 's/^hitachifi_fi_pgn_//' | fmt -w 100 | sed 's/^/    /'
echo "  and:"
grep '^V_' "$work/exports" | fmt -w 100 | sed 's/^/    /'

echo "== framework host driving libhitachifi.so"
"$build/tools/fihost/fihost" "$plugin"

echo "== command devices the plugin found (trace)"
grep -h '<Device name=' "$HITACHIFI_TRACE_DIR"/*.log | sed 's/^.*hitachifi: //'
