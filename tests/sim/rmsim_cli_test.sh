#!/usr/bin/env bash
# rmsim creates the default model, shows it, writes its sysfs tree, and
# names the line of a bad model file.
set -euo pipefail
rmsim=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
db="$work/state.db"
failures=0
check() { if eval "$2"; then echo "ok: $1"; else echo "FAILED: $1"; failures=$((failures + 1)); fi; }

RMSIM_HOSTNAME=db1 "$rmsim" --db "$db" init >/dev/null
show=$("$rmsim" --db "$db" show)
check "default model has a HITACHI and an HP array" 'grep -q "410001 HITACHI" <<<"$show" && grep -q "520002 HP" <<<"$show"'
check "host group named after this host" 'grep -q "410001 0 0 db1" <<<"$show"'
check "pairs are listed with their states" 'grep -q "410001 257 0 513 si PAIR" <<<"$show"'
"$rmsim" --db "$db" sysfs "$work/sys" >/dev/null
check "command device in the sysfs tree" 'grep -q "OPEN-V-CM" "$work/sys/block/sdb/device/model"'
check "vendor padded with blanks" '[ "$(head -c 8 "$work/sys/block/sdi/device/vendor")" = "HP      " ]'
"$rmsim" --db "$db" pair 410001 257 0 PSUE
check "pair state can be set" '"$rmsim" --db "$db" show | grep -q "410001 257 0 513 si PSUE"'
printf 'array 1\nport 1 0 copper\n' > "$work/bad.model"
if out=$("$rmsim" --db "$db" load "$work/bad.model" 2>&1); then status=0; else status=$?; fi
check "bad model is refused naming the line" '[ $status -ne 0 ] && grep -q "model line 2" <<<"$out"'
echo "$((7 - failures)) passed, $failures failed"
[ $failures -eq 0 ]
