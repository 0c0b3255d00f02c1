#!/usr/bin/env bash
# Tests real processes for a long time: kills hosts at random moments of their exchange, attacks a host, sets the clock of
# hosts, reconnects thousands of times and loads the library a thousand times under valgrind, and runs the code with a thread
# under ThreadSanitizer. Takes about 45 minutes, or five with --quick.
# "recording" records real links for an hour (a minute with --quick) and replays the recordings; it runs only if named.
# Exit status 0 only if every part passes.
set -euo pipefail
cd "$(dirname "$0")/.."

usage() {
    echo "usage: scripts/endurance.sh [--quick] [kills] [attacks] [clock] [reconnections] [loads] [threads] [recording]:" \
        "the named parts, or all except recording" >&2
    exit 2
}

kill_options=(--kills 1000 --pairs 50) rounds=100 loads=1000 repetitions=50 recorded_kills=540 attack_options=(--seconds 120)
if [[ ${1:-} == --quick ]]; then
    kill_options=(--kills 20 --pairs 20) loads=50 repetitions=3 recorded_kills=9 attack_options=(--seconds 25 --links 40)
    shift
fi
for name in "$@"; do
    [[ $name =~ ^(kills|attacks|clock|reconnections|loads|threads|recording)$ ]] || usage
done
[[ $# -gt 0 ]] || set -- reconnections loads threads clock attacks kills

scripts/packages.sh endurance
export PYTHONDONTWRITEBYTECODE=1
if command -v ccache >/dev/null; then export CMAKE_CXX_COMPILER_LAUNCHER=ccache; fi
jobs=$(nproc)

# build FOLDER TARGET: prints the compiler's output only if the build fails.
build() {
    local log="$1/$2.log"
    cmake --build "$1" -j "$jobs" --target "$2" >"$log" 2>&1 || { cat "$log"; return 1; }
}

# between_hosts SCRIPT OPTION...: runs real processes over loopback TCP, if possible in a network namespace whose ports no
# other process uses.
between_hosts() {
    cmake --preset release -DQUARNEX_TOOLS=ON >/dev/null
    build build/release quarn
    local own_network=()
    if unshare --net --map-root-user true 2>/dev/null; then
        own_network=(unshare --net --map-root-user sh -c 'ip link set lo up && exec "$@"' sh)
    fi
    "${own_network[@]}" python3 "$1" build/release/bin/quarn "${@:2}"
}

# Every text that is dropped or doubled needs a cause.
kills() {
    between_hosts tests/endurance/killed_hosts.py "${kill_options[@]}"
}

# What strangers can cost has bounds, and another link does not notice them.
attacks() {
    between_hosts bench/attacks.py limits "${attack_options[@]}"
    between_hosts bench/attacks.py refused
}

# A system clock that is set back does not disturb a link.
clock() {
    between_hosts tests/endurance/clock.py
}

# Every recording of the hosts must replay without a difference.
recording() {
    between_hosts tests/endurance/killed_hosts.py --kills "$recorded_kills" --pairs 3 --links 6
}

# Two hosts with 100 links each. The use of descriptors and memory must not grow.
reconnections() {
    cmake --preset release -B build/bench -DQUARNEX_BENCH=ON -DQUARNEX_TESTS=OFF -DQUARNEX_TOOLS=OFF >/dev/null
    build build/bench quarnex_reconnections
    build/bench/bin/quarnex_reconnections 100 "$rounds"
    valgrind -q --leak-check=full --show-leak-kinds=all --errors-for-leak-kinds=all --error-exitcode=1 \
        build/bench/bin/quarnex_reconnections 100 "$rounds"
}

# The library is loaded, used and unloaded. The loader's own memory stays reachable.
loads() {
    cmake --preset release >/dev/null
    build build/release quarnex_shared
    build build/release load_and_unload
    valgrind -q --leak-check=full --errors-for-leak-kinds=definite,indirect,possible --error-exitcode=1 \
        build/release/bin/load_and_unload build/release/libquarnex.so "$loads" build/release/load_and_unload
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
    echo "$part: passed in $((SECONDS - start)) s"
done
