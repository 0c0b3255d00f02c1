#!/usr/bin/env bash
# Endurance on the real system: processes killed at random moments of their exchange, thousands of reconnections under
# valgrind, and ThreadSanitizer on what has a thread. With --quick in some two minutes, else in about half an hour.
# Recordings of real links that have to replay take an hour alone, a minute with --quick: only if they are named.
# Exit status 0 only if all is well.
set -euo pipefail
cd "$(dirname "$0")/.."

usage() {
    echo "usage: scripts/endurance.sh [--quick] [kills] [reconnections] [threads] [recording]:" \
        "those that are named, or all but recording" >&2
    exit 2
}

kill_options=(--kills 1000 --pairs 50) rounds=100 repetitions=50 recorded_seconds=3600
if [[ ${1:-} == --quick ]]; then
    kill_options=(--kills 20 --pairs 20) repetitions=3 recorded_seconds=60
    shift
fi
for name in "$@"; do
    [[ $name =~ ^(kills|reconnections|threads|recording)$ ]] || usage
done
[[ $# -gt 0 ]] || set -- reconnections threads kills

scripts/packages.sh endurance
export PYTHONDONTWRITEBYTECODE=1
if command -v ccache >/dev/null; then export CMAKE_CXX_COMPILER_LAUNCHER=ccache; fi
jobs=$(nproc)

# build FOLDER TARGET: shows what the compiler said only if it failed.
build() {
    local log="$1/$2.log"
    cmake --build "$1" -j "$jobs" --target "$2" >"$log" 2>&1 || { cat "$log"; return 1; }
}

# between_hosts SCRIPT OPTION...: real processes over loopback TCP.
between_hosts() {
    cmake --preset release -DQUARNEX_TOOLS=ON >/dev/null
    build build/release quarn
    local own_network=()
    # Where the system lets us, on a loopback of our own, whose ports nobody else uses.
    if unshare --net --map-root-user true 2>/dev/null; then
        own_network=(unshare --net --map-root-user sh -c 'ip link set lo up && exec "$@"' sh)
    fi
    "${own_network[@]}" python3 "tests/endurance/$1" build/release/bin/quarn "${@:2}"
}

# Every loss and every doubled text needs a cause.
kills() {
    between_hosts killed_hosts.py "${kill_options[@]}"
}

# Whatever the hosts recorded has to play without a difference.
recording() {
    between_hosts recorded_hosts.py --seconds "$recorded_seconds"
}

# Two hosts with 100 links each; descriptors and memory have to stay as they are.
reconnections() {
    cmake --preset release -B build/bench -DQUARNEX_BENCH=ON -DQUARNEX_TESTS=OFF -DQUARNEX_TOOLS=OFF >/dev/null
    build build/bench quarnex_reconnections
    build/bench/bin/quarnex_reconnections 100 "$rounds"
    valgrind -q --leak-check=full --show-leak-kinds=all --errors-for-leak-kinds=all --error-exitcode=1 \
        build/bench/bin/quarnex_reconnections 100 "$rounds"
}

threads() {
    cmake --preset tsan -DQUARNEX_TESTS=ON >/dev/null
    build build/tsan quarnex_thread_tests
    TSAN_OPTIONS=halt_on_error=1 build/tsan/bin/quarnex_thread_tests --gtest_brief=1 --gtest_repeat="$repetitions"
}

for part in "$@"; do
    echo "== $part"
    start=$SECONDS
    "$part"
    echo "$part: well, $((SECONDS - start)) s"
done
