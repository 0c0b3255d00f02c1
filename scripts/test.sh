#!/usr/bin/env bash
# Decides whether a change is good, with the same result every time: builds and tests a release with GCC and a sanitized
# build with Clang, fuzzes and simulates with fixed seeds, and checks the model, the packages, the format and the sources
# changed last. Takes about ten minutes on two cores.
# With --long it then runs the checks that are random or take hours: fresh seeds, 25 link-years, every mutation, endurance,
# ThreadSanitizer, coverage, and the linter on all sources.
# Installs missing Debian packages, but not if QUARNEX_NO_INSTALL=1. Exit status 0 only if every check passes.
# shellcheck disable=SC2317 # the functions are called through "check"
set -uo pipefail
cd "$(dirname "$0")/.." || exit 1
[[ $# -eq 0 || ( $# -eq 1 && $1 == --long ) ]] || { echo "usage: scripts/test.sh [--long]" >&2; exit 2; }
long=$#
jobs=$(nproc)
results=() closing=()
failed=0
if command -v ccache >/dev/null; then export CMAKE_CXX_COMPILER_LAUNCHER=ccache; fi

# check NAME COMMAND...: runs the command, keeps the outcome for the summary, and fails if the command fails.
check() {
    local name=$1 start=$SECONDS outcome=ok
    shift
    printf '\n== %s\n' "$name"
    "$@" || { outcome=FAILED; failed=1; }
    results+=("$(printf '%-44s %-7s %4d s' "$name" "$outcome" $((SECONDS - start)))")
    [[ $outcome == ok ]]
}

build() {
    cmake --preset "$1" && cmake --build "build/$1" -j "$jobs"
}

# run_tests PRESET: runs the tests of a build; the summary repeats the last lines of ctest.
run_tests() {
    local log="build/$1/test.log" status
    ctest --test-dir "build/$1" --output-on-failure --timeout 300 -j "$jobs" | tee "$log"
    status=${PIPESTATUS[0]}
    closing+=("" "ctest of build/$1:" "$(sed -n '/tests passed/,$p' "$log")")
    return "$status"
}

build_and_test() {
    check "build: $1" build "$1" && check "tests: $1" run_tests "$1"
}

check_format() {
    git ls-files -z '*.cpp' '*.h' '*.c' | xargs -0 clang-format --dry-run --Werror
}

everywhere_the_same() {
    check "format" check_format
    check "scripts" shellcheck scripts/*.sh .ci/run
    build_and_test release
    build_and_test asan-clang
    check "fuzzing, fixed seed" scripts/fuzz.sh --fixed
    check "4 simulated link-years, fixed seeds" scripts/simulate.sh 4 1
    check "model of the exchange" scripts/check_model.sh
    check "linter on the sources changed last" scripts/lint.sh --recent
    check "packages and their users" scripts/check_install.sh
}

random_or_long() {
    check "fuzzing, fresh seed, a minute per target" scripts/fuzz.sh 60
    check "25 simulated link-years, fresh seeds" scripts/simulate.sh 25
    check "linter on all sources" scripts/lint.sh
    check "coverage" scripts/coverage.sh
    check "endurance and ThreadSanitizer" scripts/endurance.sh
    check "recordings of real links, an hour" scripts/endurance.sh recording
    check "every mutation" tests/mutations/check_tests.py
}

purposes=(test model package)
[[ $long -eq 0 ]] || purposes+=(endurance coverage)
scripts/packages.sh --install "${purposes[@]}" || exit 1
everywhere_the_same
[[ $long -eq 0 ]] || random_or_long

printf '\n== Summary after %d s\n' "$SECONDS"
printf '%s\n' "${results[@]}"
printf '%s\n' "${closing[@]:-no tests were run}"
exit "$failed"
