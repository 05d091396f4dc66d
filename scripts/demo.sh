#!/usr/bin/env bash
# The main job, on the simulator: for each of the four snapshot methods,
# write data to a source device, check it, take a snapshot, change the
# source, restore it from the snapshot in another process, and show that
# the source holds the snapshot's data again. Then three generations of one
# device kept as restore points, and the middle one restored by its id.
# Ends with a summary table.
#   bash scripts/demo.sh            set up, build what is needed, run
#   BUILD_DIR=... bash scripts/demo.sh
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
build=${BUILD_DIR:-$root/build}

bash scripts/setup.sh
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
ninja -C "$build" -j "$(nproc)" hitachifi fihost rmsim svrrm_sim >/dev/null

work=$(mktemp -d /tmp/hitachifi-demo.XXXXXX)
trap 'rm -rf "$work"' EXIT
export RMSIM_DB="$work/rmsim.db"          # the simulated arrays and their data
export FRIM_DLOPEN_ROOT="$build/simroot"  # /usr/lib/libsvrrm.so -> the simulator
export HITACHIFI_SYSFS_ROOT="$work/sys"   # the host's disks
export HITACHIFI_CACHE_DIR="$work/cache"  # instance-number files
export HITACHIFI_TRACE_DIR="$work/log"
export HITACHIFI_HOSTNAME=demo-host       # the host groups are named after it
mkdir -p -m 0755 "$HITACHIFI_CACHE_DIR" "$HITACHIFI_TRACE_DIR"  # the plugin refuses folders others may write
rmsim="$build/sim/rmsim"
fihost="$build/tools/fihost/fihost"
started=$(date +%s)

say() { printf '\n\033[1m$ %s\033[0m\n' "$*"; }
run() { say "$*"; "$@"; }

"$rmsim" init demo-host >/dev/null
"$rmsim" sysfs "$HITACHIFI_SYSFS_ROOT" >/dev/null
run "$fihost" devices
if ! { "$rmsim" 2>&1 || true; } | grep -q '^ *write '; then
  echo "note: this simulator keeps no LDEV data (no 'rmsim write'); the round trips below cannot run" >&2
fi

# device, method, array serial, source LDEV
rows=(
  "/dev/sdc Hitachi_ShadowImage 410001 256"
  "/dev/sdo Hitachi_CopyOnWrite 410001 259"
  "/dev/sdj HPXP_BusinessCopy 520002 300"
  "/dev/sdk HPXP_Snapshot 520002 301"
)
summary=()
failed=0
for row in "${rows[@]}"; do
  read -r device method serial ldev <<<"$row"
  state="$work/$method.json"
  data="payroll of $(date -u +%F) on $device"
  result="FAILED"
  snapshot="-"
  restored="-"
  echo
  echo "=== $method on $device (array $serial, LDEV $ldev)"
  if run "$rmsim" write "$serial" "$ldev" "$data" &&
    run "$fihost" check --method "$method" "$device" &&
    run "$fihost" snapshot --method "$method" --interval 0.2 --state "$state" "$device" | tee "$work/out" &&
    snapshot=$(awk -v d="$device" '$2 == d { print $5 }' "$work/out") &&
    run "$rmsim" write "$serial" "$ldev" "overwritten by mistake" &&
    run "$rmsim" read "$serial" "$ldev" &&
    run "$fihost" restore --yes --state "$state" &&
    restored=$("$rmsim" read "$serial" "$ldev") &&
    say "$rmsim read $serial $ldev" && echo "$restored"; then
    if [ "$restored" = "$data" ]; then result="ok"; else result="WRONG DATA"; fi
  fi
  [ "$result" = "ok" ] || failed=1
  summary+=("$method|$device|${snapshot##*##}|$result")
done

# Restore points: three generations of one device kept on its three
# ShadowImage partners, the source overwritten, generation 2 restored by its
# id from the catalogue of snapshots.
generations() {
  local device=/dev/sdc serial=410001 ldev=256 g
  echo
  echo "=== restore points: three generations of $device, kept with --keep 3"
  for g in 1 2 3; do
    run "$rmsim" write "$serial" "$ldev" "generation $g" || return 1
    run "$fihost" snapshot --keep 3 --interval 0.2 "$device" || return 1
  done
  run "$rmsim" write "$serial" "$ldev" "overwritten by mistake" || return 1
  run "$fihost" snapshots "$device" | tee "$work/points" || return 1
  # Newest first: the second restore point listed is generation 2.
  read -r point_id _ _ _ point_partner _ < <(awk '$1 ~ /^[0-9]+$/ && ++n == 2' "$work/points")
  run "$fihost" restore --yes --snapshot "$point_id" || return 1
  run "$fihost" snapshots "$device" || return 1
  generation=$("$rmsim" read "$serial" "$ldev") || return 1
  say "$rmsim read $serial $ldev" && echo "$generation"
}
point_id="" point_partner="-" generation=""
result="FAILED"
if generations; then
  if [ "$generation" = "generation 2" ]; then result="ok"; else result="WRONG DATA"; fi
fi
[ "$result" = "ok" ] || failed=1
summary+=("generation 2, id $point_id|/dev/sdc|${point_partner##*##}|$result")

echo
echo "=== summary ($(($(date +%s) - started)) s)"
printf '%-20s %-9s %-15s %s\n' METHOD DEVICE "SNAPSHOT LDEV" "SOURCE RESTORED"
for line in "${summary[@]}"; do
  IFS='|' read -r method device target result <<<"$line"
  printf '%-20s %-9s %-15s %s\n' "$method" "$device" "$target" "$result"
done
exit "$failed"
