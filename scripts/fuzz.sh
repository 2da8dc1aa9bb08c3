#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (ASan + UBSan, in ./build-fuzz),
# writes the seed corpus from the test fixture writers, and runs every
# target for the given number of seconds (default 30), one after the other.
#
#   scripts/fuzz.sh [seconds]
#   FUZZ_TARGETS="ifd container" scripts/fuzz.sh 600   # some targets only
#   FUZZ_RUNS=10000 scripts/fuzz.sh                   # reproducible (CI)
#
# With FUZZ_RUNS each target runs that many inputs from the fixed random
# seed FUZZ_SEED (default 1) on a fresh corpus, so every machine tries the
# same inputs whatever its speed; the seconds then only cap a run that hangs.
#
# Each target keeps the corpus it grows in build-fuzz/corpus/<target>;
# crashes, leaks and timeouts land in build-fuzz/artifacts/<target>/ and
# make the script fail.
set -euo pipefail
cd "$(dirname "$0")/.."

SECONDS_PER_TARGET="${1:-30}"
RUNS="${FUZZ_RUNS:-}"
BUILD_DIR="${FUZZ_BUILD_DIR:-build-fuzz}"
JOBS="${FUZZ_JOBS:-$(nproc)}"

SKIP_BUILD=1 scripts/setup.sh
if [ ! -f "$BUILD_DIR/CMakeCache.txt" ]; then
  launcher=()
  if command -v ccache >/dev/null; then
    launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
  fi
  CC=clang CXX=clang++ cmake -S . -B "$BUILD_DIR" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DORVANETICS_FUZZ=ON -DORVANETICS_BUILD_TOOLS=OFF -DORVANETICS_BUILD_BENCH=OFF "${launcher[@]}"
fi
cmake --build "$BUILD_DIR" -j "$JOBS" --target fuzz_all

SEEDS="$BUILD_DIR/seeds"
rm -rf "$SEEDS"
"$BUILD_DIR/fuzz/fuzz_seeds" "$SEEDS"

if [ -n "${FUZZ_TARGETS:-}" ]; then
  read -r -a targets <<<"$FUZZ_TARGETS"
else
  targets=()
  for exe in "$BUILD_DIR"/fuzz/fuzz_*; do
    name="$(basename "$exe")"
    [ "$name" = fuzz_seeds ] || targets+=("${name#fuzz_}")
  done
fi

# Leaks are reported by ASan at exit of each input batch; UBSan findings abort.
export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:allocator_may_return_null=0}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"

failed=()
budget=(-max_total_time="$SECONDS_PER_TARGET")
corpus_root="$BUILD_DIR/corpus"
if [ -n "$RUNS" ]; then
  budget=(-runs="$RUNS" -seed="${FUZZ_SEED:-1}" -max_total_time="${1:-600}")
  corpus_root="$BUILD_DIR/corpus-reproducible"
  rm -rf "$corpus_root"
fi

for target in "${targets[@]}"; do
  corpus="$corpus_root/$target"
  artifacts="$BUILD_DIR/artifacts/$target"
  mkdir -p "$corpus" "$artifacts" "$SEEDS/$target"
  dict="fuzz/dict/$target.dict"
  [ -f "$dict" ] || dict="fuzz/dict/tavix.dict"
  echo "== fuzz_$target: ${budget[*]}"
  # A file's sizes must not buy allocations out of proportion: 512 MB is far
  # beyond what any 64 kB input may legitimately ask for.
  if ! "$BUILD_DIR/fuzz/fuzz_$target" "${budget[@]}" -max_len=65536 \
      -timeout=20 -rss_limit_mb=2048 -malloc_limit_mb=512 -print_final_stats=1 \
      -dict="$dict" -artifact_prefix="$artifacts/" "$corpus" "$SEEDS/$target" \
      >"$BUILD_DIR/fuzz_$target.log" 2>&1; then
    failed+=("$target")
    tail -n 60 "$BUILD_DIR/fuzz_$target.log"
  fi
  grep -E '^stat::(number_of_executed_units|new_units_added)|^Done' "$BUILD_DIR/fuzz_$target.log" || true
done

if [ "${#failed[@]}" -gt 0 ]; then
  echo "fuzzing found failures in: ${failed[*]} (reproducers in $BUILD_DIR/artifacts/)"
  exit 1
fi
echo "fuzzing: no failures"
