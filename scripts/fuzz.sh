#!/usr/bin/env bash
# Fuzzes each target for the given time (default 60 seconds each; ten in the tests), all corpora first, and checks that
# the planted fault is found. A finding stays in build/fuzz/findings and fails the run.
set -euo pipefail
cd "$(dirname "$0")/.."
readonly seconds=${1:-60} build=build/fuzz
if ! [[ $seconds =~ ^[1-9][0-9]*$ ]]; then
    echo "usage: scripts/fuzz.sh [SECONDS]: seconds for each target, 1 or more" >&2
    exit 2
fi

scripts/install_packages.sh check
cmake --preset asan -B "$build" -DCMAKE_CXX_COMPILER=clang++ -DQUARNEX_FUZZ=ON -DQUARNEX_TOOLS=OFF \
    -DCMAKE_CXX_FLAGS=-fsanitize=fuzzer-no-link >/dev/null
cmake --build "$build" -j "$(nproc)" --target fuzz_received fuzz_message fuzz_rpc fuzz_recording fuzz_planted

mkdir -p "$build/findings"
# fuzz TARGET SECONDS CORPUS
fuzz() {
    mkdir -p "$build/corpus/$1"
    "$build/bin/fuzz_$1" -max_total_time="$2" -max_len=4096 -dict=fuzz/words.dict -print_final_stats=1 \
        -artifact_prefix="$build/findings/$1-" "$build/corpus/$1" "$3" >"$build/$1.log" 2>&1
}

status=0
for target in received message rpc recording; do
    if fuzz "$target" "$seconds" "fuzz/corpus/$target"; then
        echo "$target: $(sed -n 's/stat::number_of_executed_units: *//p' "$build/$target.log") runs, no finding"
    else
        tail -n 20 "$build/$target.log"
        echo "$target: FINDING, see $build/findings"
        status=1
    fi
done
if fuzz planted 120 fuzz/corpus/planted; then
    echo "planted: the fault was NOT found"
    status=1
else
    echo "planted: the fault was found, as it must be"
fi
exit "$status"
