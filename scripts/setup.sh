#!/usr/bin/env bash
# Installs every Debian package the project needs (idempotent), then configures
# and builds the library, tools and tests in ./build.
set -euo pipefail

cd "$(dirname "$0")/.."

PACKAGES=(
  build-essential cmake pkg-config git
  libtbb-dev
  libgdal-dev gdal-bin gdal-data
  libgeotiff-dev libtiff-dev
  libjpeg-dev libpng-dev zlib1g-dev
  libopenjp2-7-dev libgrokj2k1-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  pngcheck python3
  clang libclang-rt-14-dev
)

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi

missing=()
for p in "${PACKAGES[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ "${#missing[@]}" -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

if [ "${SKIP_BUILD:-0}" != "1" ]; then
  cmake -S . -B build -DCMAKE_BUILD_TYPE="${BUILD_TYPE:-RelWithDebInfo}"
  cmake --build build -j "$(nproc)"
fi
