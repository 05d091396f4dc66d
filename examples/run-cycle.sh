#!/usr/bin/env bash
# The whole cycle of hitachifi_cycle against the RAID Manager simulator, on
# the default model's ShadowImage source (array 410001, LDEV 256, target 512):
# data written, a snapshot taken in one process, the data overwritten, the
# snapshot restored in another process, the data compared.
#   examples/run-cycle.sh ./hitachifi_cycle WORKDIR
# Needs rmsim on PATH and FRIM_DLOPEN_ROOT naming the simulator's root
# (/usr/lib/<triplet>/hitachifi/simroot when hitachifi-sim is installed).
set -euo pipefail
cycle=$1
work=$2
mkdir -p "$work/cache" "$work/log"
export RMSIM_DB=$work/rmsim.db
export HITACHIFI_SYSFS_ROOT=$work/sys
export HITACHIFI_CACHE_DIR=$work/cache
export HITACHIFI_TRACE_DIR=$work/log
export RMSIM_HOSTNAME=example-host HITACHIFI_HOSTNAME=example-host
: "${FRIM_DLOPEN_ROOT:?set FRIM_DLOPEN_ROOT to the root of the simulator}"

rmsim init >/dev/null
rmsim sysfs "$HITACHIFI_SYSFS_ROOT" >/dev/null
rmsim write 410001 256 "data at the time of the snapshot"
before=$(rmsim checksum 410001 256)

"$cycle" snapshot "$work/state" UDID##HITACHI##HDS##410001##256 Hitachi_ShadowImage
rmsim write 410001 256 "changed after the snapshot"
[ "$(rmsim checksum 410001 256)" != "$before" ] || { echo "the overwrite changed nothing" >&2; exit 1; }

"$cycle" restore "$work/state"
if [ "$(rmsim checksum 410001 256)" != "$before" ]; then
  echo "FAIL: the source reads '$(rmsim read 410001 256)' after the restore" >&2
  exit 1
fi
echo "cycle ok: the source holds its data of the snapshot again"
