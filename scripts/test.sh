#!/usr/bin/env bash
# The whole test suite: installs what is missing, builds in ./build and runs
# every test through CTest. Exits non-zero on any failure.
set -euo pipefail
cd "$(dirname "$0")/.."

SKIP_BUILD=1 scripts/setup.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE="${BUILD_TYPE:-RelWithDebInfo}"
cmake --build build -j "$(nproc)"
ctest --test-dir build --output-on-failure -j "$(nproc)" --timeout 900
