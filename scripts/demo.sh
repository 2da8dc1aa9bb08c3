#!/usr/bin/env bash
# Runs the demo on a built-in example (builds first if needed).
set -euo pipefail
cd "$(dirname "$0")/.."
[ -x build/tools/qvdemo ] || { cmake -S . -B build && cmake --build build -j "$(nproc)" --target qvdemo; }
exec build/tools/qvdemo "${1:-out/demo}"
