#!/usr/bin/env bash
# Builds the three Debian packages, hitachifi, hitachifi-sim and hitachifi-dev, from a fresh
# checkout: installs the build dependencies, builds only what the packages
# hold (no tests, benchmarks or fuzzers), runs cpack and lintian.
#   bash scripts/package.sh          packages in build-package/packages/
#   BUILD_DIR=dir bash scripts/package.sh
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
build=${BUILD_DIR:-$root/build-package}

bash scripts/setup.sh
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX=/usr \
      -DHITACHIFI_BUILD_TESTS=OFF -DHITACHIFI_BUILD_BENCH=OFF >/dev/null
ninja -C "$build" -j "$(nproc)" hitachifi fihost rmsim svrrm_sim hitachifi_install_files
cpack --config "$build/CPackConfig.cmake" -B "$build/packages" >"$build/cpack.log" ||
  { cat "$build/cpack.log"; exit 1; }
for deb in "$build"/packages/*.deb; do
  echo "== $deb"
  dpkg-deb -f "$deb" Package Version Architecture Depends
  lintian --fail-on error "$deb"
done
