#!/usr/bin/env bash
# The Debian packages as an administrator gets them, one step per CTest test:
#   build      cpack in the built tree, both packages unpacked into $SCRATCH/root
#   contents   every file in its place and nothing else, control fields, no RPATH
#   lintian    no errors on either package
#   check      fihost check on the simulator, from the unpacked files only
#   roundtrip  a snapshot and a restore on the simulator, from the unpacked files only
# CMake passes the paths (see CMakeLists.txt).
set -euo pipefail
step=$1
debs=$SCRATCH/debs
root=$SCRATCH/root

fail() { echo "FAIL: $*" >&2; exit 1; }
deb_of() { ls "$debs"/"$1"_"$VERSION"-1_*.deb; }

build() {
  rm -rf "$SCRATCH"
  mkdir -p "$debs" "$root"
  cpack --config "$BUILD_DIR/CPackConfig.cmake" -B "$debs" >"$SCRATCH/cpack.log" 2>&1 ||
    { cat "$SCRATCH/cpack.log"; fail "cpack failed"; }
  for package in hitachifi hitachifi-sim; do
    local deb
    deb=$(deb_of "$package") || fail "cpack made no $package package: $(ls "$debs")"
    dpkg-deb -x "$deb" "$root"
    echo "$(basename "$deb"): $(dpkg-deb -c "$deb" | wc -l) entries"
  done
}

# The regular files and links of a package, as absolute paths, sorted.
files_of() { dpkg-deb -c "$(deb_of "$1")" | awk '$1 !~ /^d/ { sub(/^\./, "", $6); print $6 }' | sort; }

expect_files() {
  local package=$1; shift
  local expected actual
  expected=$(printf '%s\n' "$@" | sort)
  actual=$(files_of "$package")
  [ "$expected" = "$actual" ] ||
    fail "$package holds other files than expected:"$'\n'"$(diff <(echo "$expected") <(echo "$actual"))"
}

field() { dpkg-deb -f "$(deb_of "$1")" "$2"; }

declare -A owners  # soname -> the package that has it here

# Every shared library an ELF file of the package needs comes from a package in Depends.
expect_depends_cover_needed() {
  local package=$1 depends file soname path owner dynamic
  depends=$(field "$package" Depends)
  [ -n "$depends" ] || fail "$package has no Depends"
  while read -r file; do
    [[ "$(file -b "$root$file")" == ELF* ]] || continue
    dynamic=$(objdump -p "$root$file")
    if grep -Eq '^ +(RPATH|RUNPATH) ' <<<"$dynamic"; then fail "$file carries an RPATH"; fi
    for soname in $(awk '$1 == "NEEDED" { print $2 }' <<<"$dynamic"); do
      owner=${owners[$soname]:-}
      if [ -z "$owner" ]; then
        path=$(ldconfig -p | awk -v n="$soname" '$1 == n && !found++ { print $NF }')
        [ -n "$path" ] || fail "$soname (needed by $file) is not installed here"
        owner=$(dpkg -S "$path" 2>/dev/null || dpkg -S "$(realpath "$path")" 2>/dev/null ||
                dpkg -S "${path#/usr}" 2>/dev/null) || fail "no package owns $path"
        owner=${owner%%:*}
        owners[$soname]=$owner
      fi
      sed 's/([^)]*)//g' <<<"$depends" | tr ',|' '\n\n' | tr -d ' ' | grep -Fxq "$owner" ||
        fail "$package: $file needs $soname from $owner, which Depends lacks: $depends"
    done
  done < <(files_of "$package")
  echo "$package Depends: $depends"
}

contents() {
  local arch
  arch=$(dpkg --print-architecture)
  expect_files hitachifi \
    "$BINDIR/fihost" \
    "$PLUGINDIR/libhitachifi.so" \
    "$MANDIR/man1/fihost.1.gz" \
    /usr/share/doc/hitachifi/README.md \
    /usr/share/doc/hitachifi/README-config.md \
    /usr/share/doc/hitachifi/copyright \
    /usr/share/doc/hitachifi/changelog.Debian.gz \
    /usr/share/lintian/overrides/hitachifi
  expect_files hitachifi-sim \
    "$BINDIR/rmsim" \
    "$SIMROOT/usr/lib/libsvrrm.so" \
    "$MANDIR/man1/rmsim.1.gz" \
    "$DATADIR/hitachifi-sim/default.model" \
    /usr/share/doc/hitachifi-sim/README.md \
    /usr/share/doc/hitachifi-sim/copyright \
    /usr/share/doc/hitachifi-sim/changelog.Debian.gz \
    /usr/share/lintian/overrides/hitachifi-sim
  # Where a real RAID Manager library lives, no package may put one.
  if grep -Eq '^(/usr)?/lib(/[^/]*-linux-gnu)?/libsvrrm\.so' <<<"$(files_of hitachifi-sim)"; then
    fail "the simulator would shadow /usr/lib/libsvrrm.so"
  fi

  local dir listing
  listing=$(dpkg-deb -c "$(deb_of hitachifi)")
  for dir in "$TRACE_DIR" "$CACHE_DIR" "$CACHE_DIR/hitachi" "$CACHE_DIR/fihost"; do
    grep -Eq "^drwxr-xr-x root/root +0 .* \.$dir/\$" <<<"$listing" ||
      fail "$dir is not in hitachifi as a root-owned 0755 folder"
  done

  for package in hitachifi hitachifi-sim; do
    [ "$(field $package Package)" = "$package" ] || fail "Package field of $package"
    [ "$(field $package Version)" = "$VERSION-1" ] || fail "$package Version $(field $package Version)"
    [ "$(field $package Architecture)" = "$arch" ] || fail "$package Architecture"
    [ -n "$(field $package Description)" ] || fail "$package has no Description"
    expect_depends_cover_needed "$package"
  done
  [ "$(field hitachifi-sim Enhances)" = hitachifi ] || fail "hitachifi-sim should enhance hitachifi"

  # fihost finds the installed plugin without --plugin.
  grep -q "default: $PLUGINDIR/libhitachifi.so when installed" <<<"$("$root$BINDIR/fihost" --help)" ||
    fail "fihost's default plugin is not $PLUGINDIR/libhitachifi.so: $("$root$BINDIR/fihost" --help | grep default)"
  grep -q '^\.SS restore' <<<"$(zcat "$root$MANDIR/man1/fihost.1.gz")" || fail "fihost.1 lacks the restore section"
  grep -q "FRIM_DLOPEN_ROOT=$SIMROOT" <<<"$(zcat "$root$MANDIR/man1/rmsim.1.gz")" ||
    fail "rmsim.1 does not tell where the simulator's root is"
  cmp -s "$root$DATADIR/hitachifi-sim/default.model" <("$root$BINDIR/rmsim" model) ||
    fail "default.model is not the model rmsim init loads"
  echo "contents ok"
}

lintian_step() {
  command -v lintian >/dev/null || fail "lintian is not installed (bash scripts/setup.sh)"
  local out
  for package in hitachifi hitachifi-sim; do
    out=$(lintian --fail-on error --display-info "$(deb_of $package)" 2>&1) ||
      { echo "$out"; fail "lintian reports errors on $package"; }
    echo "lintian $package: $(grep -c '^E: ' <<<"$out") errors, $(grep -c '^W: ' <<<"$out") warnings," \
         "$(grep -c '^I: ' <<<"$out") notes"
    [ -z "$out" ] || echo "$out"
  done
}

# A host of its own for each step: simulated arrays, sysfs, cache and trace in scratch folders.
sim_host() {
  work=$SCRATCH/$step
  rm -rf "$work"
  mkdir -p "$work/cache" "$work/log"
  export FRIM_DLOPEN_ROOT=$root$SIMROOT
  export RMSIM_DB=$work/rmsim.db
  export HITACHIFI_SYSFS_ROOT=$work/sys
  export HITACHIFI_CACHE_DIR=$work/cache
  export HITACHIFI_TRACE_DIR=$work/log
  export HITACHIFI_TRACE_LEVEL=3
  export RMSIM_HOSTNAME=pkgtest-host HITACHIFI_HOSTNAME=pkgtest-host
  unset LD_LIBRARY_PATH LD_PRELOAD
  rmsim=$root$BINDIR/rmsim
  fihost=("$root$BINDIR/fihost" --plugin "$root$PLUGINDIR/libhitachifi.so")
  "$rmsim" init >/dev/null
  "$rmsim" sysfs "$HITACHIFI_SYSFS_ROOT" >/dev/null
}

check() {
  sim_host
  local out
  out=$("${fihost[@]}" check 2>&1) || { echo "$out"; fail "fihost check exited $?"; }
  echo "$out"
  grep -Eq "^ *ok +plugin +$root$PLUGINDIR/libhitachifi.so" <<<"$out" || fail "plugin not the unpacked one"
  grep -Eq "^ *ok +library +$root$SIMROOT/usr/lib/libsvrrm.so" <<<"$out" || fail "library not the unpacked simulator"
  for serial in 410001 520002; do
    grep -Eq "^ *ok +command device +/dev/sd. of array $serial answers" <<<"$out" ||
      fail "command device of $serial not attached"
  done
  grep -Eq '^ *FAIL' <<<"$out" && fail "check found problems"
  grep -q 'hitachifi: CHitachiPlugin::init : Library RMLIB version' "$work/log/hitachifi.log" ||
    fail "the plugin's trace is not in the scratch trace folder"
  [ -n "$(ls "$work/cache/hitachi")" ] || fail "no instance-number file in the scratch cache"
  echo "check ok"
}

# A pair's row in rmsim show, e.g. "410001 256 0 512 si PSUS".
pair_status() { "$rmsim" show | awk -v s="$1" -v p="$2" -v m="$3" '$1 == s && $2 == p && $3 == m && !found++ { print $6 }'; }

# The main job on the default model's ShadowImage source (410001 LDEV 256, /dev/sdc, target 512):
# data written, snapshot in one process, source changed, restore in another.
roundtrip() {
  sim_host
  local state=$work/state.json out before changed
  "$rmsim" write 410001 256 "data at the time of the snapshot"
  before=$("$rmsim" checksum 410001 256)
  out=$("${fihost[@]}" check /dev/sdc 2>&1) || { echo "$out"; fail "fihost check /dev/sdc exited $?"; }
  out=$("${fihost[@]}" snapshot --interval 0 --state "$state" /dev/sdc 2>&1) ||
    { echo "$out"; fail "fihost snapshot failed"; }
  echo "$out"
  grep -q 'UDID##HITACHI##HDS##410001##512' <<<"$out" || fail "the snapshot is not LDEV 512"
  [ "$(pair_status 410001 256 0)" = PSUS ] || fail "pair 256/0 is $(pair_status 410001 256 0) after the snapshot"
  [ "$("$rmsim" checksum 410001 512)" = "$before" ] || fail "the snapshot does not hold the source's data"

  "$rmsim" write 410001 256 "changed after the snapshot"
  changed=$("$rmsim" checksum 410001 256)
  [ "$changed" != "$before" ] || fail "rmsim write changed nothing"
  out=$("${fihost[@]}" restore --yes --state "$state" 2>&1) || { echo "$out"; fail "fihost restore failed"; }
  echo "$out"
  [ "$(pair_status 410001 256 0)" = PSUS ] || fail "pair 256/0 is $(pair_status 410001 256 0) after the restore"
  [ "$("$rmsim" checksum 410001 256)" = "$before" ] || fail "the restore did not bring the source's data back"
  [ "$("$rmsim" read 410001 256)" = "data at the time of the snapshot" ] || fail "the source reads back otherwise"
  echo "roundtrip ok"
}

case $step in
  build) build ;;
  contents) contents ;;
  lintian) lintian_step ;;
  check) check ;;
  roundtrip) roundtrip ;;
  *) fail "unknown step $step" ;;
esac
