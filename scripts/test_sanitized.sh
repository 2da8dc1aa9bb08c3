#!/usr/bin/env bash
# The whole test suite built with AddressSanitizer and UndefinedBehaviorSanitizer
# (library and tests), in its own build folder ./build-sanitize. Any memory
# error, leak or undefined behaviour fails the test that caused it.
set -euo pipefail
cd "$(dirname "$0")/.."

BUILD_DIR="${SANITIZE_BUILD_DIR:-build-sanitize}"
launcher=()
if command -v ccache >/dev/null; then launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi

SKIP_BUILD=1 scripts/setup.sh
cmake -S . -B "$BUILD_DIR" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORVANETICS_SANITIZE=ON \
  -DORVANETICS_BUILD_BENCH=OFF "${launcher[@]}"
cmake --build "$BUILD_DIR" -j "${JOBS:-$(nproc)}"

export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
ctest --test-dir "$BUILD_DIR" --output-on-failure -j "${JOBS:-$(nproc)}" --timeout 1800
