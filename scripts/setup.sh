#!/usr/bin/env bash
# Installs every build and test dependency from Debian's packages.
# Idempotent: when all packages are already present it returns at once.
set -euo pipefail

PACKAGES=(
  build-essential cmake ninja-build pkg-config
  clang libclang-rt-14-dev
  libace-dev
  libicu-dev icu-devtools
  libxerces-c-dev
  libgtest-dev libgmock-dev googletest
  libbenchmark-dev
  libsqlite3-dev sqlite3
  libbsd-dev
  libcli11-dev nlohmann-json3-dev help2man
  dpkg-dev file lintian
)

missing=()
for p in "${PACKAGES[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
echo "setup: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
