#!/usr/bin/env bash
# Measures the branch coverage of the tests with Clang 19. The tests must take every branch of the engine both ways, and 95 %
# of the adapters' branches. Each condition of the engine's decisions must decide alone at least once (MC/DC).
# scripts/coverage_exclusions.txt lists the exceptions with their reasons.
set -euo pipefail
cd "$(dirname "$0")/.."
if [[ $# -gt 0 ]]; then
    echo "usage: scripts/coverage.sh" >&2
    exit 2
fi
scripts/packages.sh coverage
if command -v ccache >/dev/null; then export CMAKE_CXX_COMPILER_LAUNCHER=ccache; fi
readonly build=build/coverage

# GCC 12's own std::stable_sort calls a function that Clang 19 reports as deprecated.
cmake --preset debug -B "$build" -DCMAKE_CXX_COMPILER=clang++-19 -DQUARNEX_TESTS=ON -DQUARNEX_ASSERTIONS=OFF \
    -DCMAKE_CXX_FLAGS="-fprofile-instr-generate -fcoverage-mapping -fcoverage-mcdc -Wno-deprecated-declarations" >/dev/null
cmake --build "$build" -j "$(nproc)" --target quarnex_tests quarnex_memory_tests quarn fuzz_received fuzz_message \
    >"$build/build.log" 2>&1 || { cat "$build/build.log"; exit 1; }

rm -f "$build"/*.profraw
export LLVM_PROFILE_FILE="$PWD/$build/%4m.profraw" # all processes of a program write to the same file
status=0
# A process whose files may not grow cannot write its profile either.
skipped="AssertionDeathTest.*:ProcessLibraryDeathTest.StatesAtTheEndWhatIsMissingInTheLog"
for tests in quarnex_tests quarnex_memory_tests; do
    "$build/bin/$tests" --gtest_brief=1 --gtest_filter="-$skipped" || status=1
done
"$build/bin/quarn" replay tests/data/recordings/*.jsonl >/dev/null
for seed in 1 2 3; do "$build/bin/quarn" simulate --seed "$seed" --hours 2 >/dev/null 2>&1; done
"$build/bin/quarn" simulate --seed 7 --hours 24 --links 3 >/dev/null 2>&1
"$build/bin/quarn" simulate --seed 1 --hours 12 --faults large >/dev/null 2>&1
for target in received message; do "$build/bin/fuzz_$target" "fuzz/corpus/$target" >/dev/null; done
QUARN="$PWD/$build/bin/quarn" PYTHONDONTWRITEBYTECODE=1 python3 tests/tool/live_test.py 2>&1 | tail -n 1

llvm-profdata-19 merge -sparse "$build"/*.profraw -o "$build/tests.profdata"
llvm-cov-19 export "$build/bin/quarnex_tests" -object "$build/bin/quarn" -object "$build/bin/fuzz_received" \
    -instr-profile="$build/tests.profdata" -skip-functions src >"$build/coverage.json"
python3 scripts/coverage.py "$build/coverage.json" scripts/coverage_exclusions.txt || status=1
exit "$status"
