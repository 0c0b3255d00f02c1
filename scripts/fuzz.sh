#!/usr/bin/env bash
# Fuzzes each target, starting with its corpus, and checks that the fault planted in one target is found:
#   scripts/fuzz.sh [SECONDS]    runs each target for SECONDS (default 60) from a fresh seed
#   scripts/fuzz.sh --fixed      makes a fixed number of runs from a fixed seed: the same result every time
# Keeps the input of a finding in build/asan-clang/findings. Exit status 0 only without a finding.
set -euo pipefail
cd "$(dirname "$0")/.."
readonly amount=${1:-60} build=build/asan-clang
if ! [[ $# -le 1 && $amount =~ ^([1-9][0-9]*|--fixed)$ ]]; then
    echo "usage: scripts/fuzz.sh [SECONDS | --fixed]: seconds for each target, 1 or more" >&2
    exit 2
fi

scripts/packages.sh test
cmake --preset asan-clang >/dev/null
cmake --build "$build" -j "$(nproc)" --target fuzz_received fuzz_message fuzz_rpc fuzz_recording fuzz_text fuzz_planted

# fuzz TARGET RUNS: runs one target. With --fixed it ignores the inputs that earlier runs have collected.
fuzz() {
    local limits=(-max_total_time="$amount") corpus=$build/corpus/$1
    if [[ $amount == --fixed ]]; then
        limits=(-seed=1 -runs="$2")
        rm -rf "$corpus"
    fi
    mkdir -p "$build/findings" "$corpus"
    "$build/bin/fuzz_$1" "${limits[@]}" -max_len=4096 -dict=fuzz/words.dict -print_final_stats=1 \
        -artifact_prefix="$build/findings/$1-" "$corpus" "fuzz/corpus/$1" >"$build/$1.log" 2>&1
}

status=0
try() {
    if fuzz "$@"; then
        echo "$1: $(sed -n 's/stat::number_of_executed_units: *//p' "$build/$1.log") runs, no finding"
    else
        tail -n 20 "$build/$1.log"
        echo "$1: FINDING, see $build/findings"
        status=1
    fi
}

try received 50000
try message 50000
try rpc 20000
try recording 20000
try text 200000
if fuzz planted 1000000; then
    echo "planted: the fault was NOT found"
    status=1
else
    echo "planted: the fault was found, as expected"
fi
exit "$status"
