#!/usr/bin/env bash
# Decode speed and memory of our wavelet files side by side with OpenJPEG and
# Grok on the same pictures. Builds in Release in its own folder, prints one
# table and writes it with a description of the machine to bench/RESULTS.md.
#
#   scripts/bench.sh [--reps N] [--big 0] [--side N] [--benchmark_filter=...]
#
# Data files are written once into $BENCH_DATA (default build-bench/data) and
# reused. The decoders' progress goes to stderr, the table to stdout.
set -euo pipefail
cd "$(dirname "$0")/.."

build=${BENCH_BUILD:-build-bench}
data=${BENCH_DATA:-$build/data}
results=bench/RESULTS.md
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)

cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release "${launcher[@]}" >&2
cmake --build "$build" -j2 --target orvanetics_compare >&2

load_before=$(cut -d' ' -f1-3 /proc/loadavg)
table=$(mktemp)
trap 'rm -f "$table"' EXIT
"$build/bench/orvanetics_compare" --data "$data" --table "$table" "$@" >&2
load_after=$(cut -d' ' -f1-3 /proc/loadavg)

cat "$table"

# Notes kept by hand (profiles, where the time goes) follow this line.
marker='<!-- Kept by scripts/bench.sh: everything below is written by hand. -->'
notes=$(awk -v m="$marker" 'kept { print } $0 == m { kept = 1 }' "$results" 2>/dev/null || true)
{
    echo "# Decode benchmarks: ours, OpenJPEG and Grok"
    echo
    echo "Written by \`scripts/bench.sh\` on $(date -u '+%Y-%m-%d %H:%M UTC') at commit $(git rev-parse --short HEAD)."
    echo
    echo "## Machine"
    echo
    echo "- CPU: $(lscpu | sed -n 's/^Model name: *//p'), $(nproc) cores available"
    echo "- Memory: $(free -g | awk '/^Mem:/ {print $2}') GiB; kernel $(uname -r)"
    echo "- Compiler: $(${CXX:-g++} --version | head -1), Release build"
    echo "- OpenJPEG $(pkg-config --modversion libopenjp2), Grok $(pkg-config --modversion libgrokj2k 2>/dev/null || echo absent)"
    echo "- Load average (1, 5, 15 min) before: $load_before; after: $load_after." \
         "Other builds share this machine: a load above about 1 makes the times noisy."
    echo
    echo "## Results"
    echo
    cat "$table"
    echo
    echo "$marker"
    echo "$notes"
} > "$results"
echo "wrote $results" >&2
