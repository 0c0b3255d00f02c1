#!/usr/bin/env bash
# Builds the project as released, and with Clang and the sanitizers, and runs every test with both; simulates 25 link-years,
# puts ten faults into the code, kills processes, plays the model and the fuzz targets for a short time; checks the
# format and the scripts. Prints the totals; exit status 0 only if all is well.
# shellcheck disable=SC2317 # the functions are called through "check"
set -uo pipefail
cd "$(dirname "$0")/.." || exit 1
[[ $# -eq 0 ]] || { echo "usage: scripts/test.sh" >&2; exit 2; }
jobs=$(nproc)
results=()
failed=0
if command -v ccache >/dev/null; then export CMAKE_CXX_COMPILER_LAUNCHER=ccache; fi

# check NAME COMMAND...: runs the command and keeps the outcome for the summary. Fails as the command does.
check() {
    local name=$1 start=$SECONDS outcome=ok
    shift
    printf '\n== %s\n' "$name"
    "$@" || { outcome=FAILED; failed=1; }
    results+=("$(printf '%-36s %-7s %4d s' "$name" "$outcome" $((SECONDS - start)))")
    [[ $outcome == ok ]]
}

# build PRESET FOLDER OPTION...
build() {
    cmake --preset "$1" -B "build/$2" -DQUARNEX_TESTS=ON "${@:3}" && cmake --build "build/$2" -j "$jobs"
}

run_tests() {
    local log="build/$1/test.log" status
    ctest --test-dir "build/$1" --output-on-failure --timeout 300 -j "$jobs" | tee "$log"
    status=${PIPESTATUS[0]}
    results+=("  $1: $(grep -E 'tests passed' "$log" || echo 'no tests were run')")
    return "$status"
}

check_format() {
    git ls-files -z '*.cpp' '*.h' | xargs -0 clang-format --dry-run --Werror
}

scripts/install_packages.sh check || exit 1
check "format" check_format
check "scripts" shellcheck scripts/*.sh .ci/run
check "build: release" build release release && check "tests: release" run_tests release
check "build: sanitizers, Clang" build asan asan-clang -DCMAKE_CXX_COMPILER=clang++ &&
    check "tests: sanitizers, Clang" run_tests asan-clang
check "model of the exchange" scripts/check_model.sh
check "fuzzing, ten seconds a target" scripts/fuzz.sh 10
check "25 simulated link-years" scripts/simulate.sh 25
check "endurance, in short" scripts/endurance.sh --quick
check "ten faults in the code, noticed" tests/mutations/check_tests.py --draw 10

printf '\n== Summary\n'
printf '%s\n' "${results[@]}"
exit "$failed"
