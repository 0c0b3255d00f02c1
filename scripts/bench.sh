#!/usr/bin/env bash
# Builds the benchmarks and prints a table: each figure with its measured value, a floor measured in the same run, and its
# target. Takes about five minutes, or two with --quick. Run it on a machine without other work.
set -euo pipefail
cd "$(dirname "$0")/.."
if [[ $# -gt 1 || ( $# -eq 1 && $1 != --quick ) ]]; then
    echo "usage: scripts/bench.sh [--quick]" >&2
    exit 2
fi
scripts/packages.sh bench
cmake --preset release -B build/bench -DQUARNEX_BENCH=ON -DQUARNEX_TESTS=OFF -DQUARNEX_TOOLS=OFF >/dev/null
cmake --build build/bench -j "$(nproc)" --target quarnex_benchmarks quarnex_links quarnex_floor quarnex_shared
python3 bench/compare.py build/bench/bin "$@"
