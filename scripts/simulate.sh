#!/usr/bin/env bash
# Simulates sites under faults for so many link-years (default 25) with a fresh seed, which is printed, after the seeds
# of tests/simulation/seeds.txt. Exit status 1 if a run found something; then it names the recordings and says how to
# run that seed again.
set -euo pipefail
cd "$(dirname "$0")/.."
readonly years=${1:-25} hours=24 links=10
# The faults that there were when most of the seeds were found.
thirty=delay,cut,damage,window,partial,hold,half-open,break,refuse,hang,callers,squat,hostile,operations,descriptors
thirty+=,events,raise,nesting,disk,clock-forward,clock-back,clock-speed,clock-strobe,clock-inside,summer,stall,pace
thirty+=,host-calls,restart,deaf
readonly thirty
if ! [[ $years =~ ^[1-9][0-9]{0,4}$ ]]; then
    echo "usage: scripts/simulate.sh [LINK-YEARS]: a whole number from 1 to 99999" >&2
    exit 2
fi

jobs=$(nproc)
cmake --preset release -DQUARNEX_TOOLS=ON >/dev/null
cmake --build --preset release -j "$jobs" --target quarn
quarn=build/release/bin/quarn

# simulate SECONDS OPTION...: a simulation that takes far longer than it can is ended.
simulate() {
    local outcome=0
    timeout --foreground "$1" "$quarn" simulate "${@:2}" || outcome=$?
    [[ $outcome -ne 124 ]] || echo "ended after $1 seconds, far more than it needs: its seeds, run one by one, show why" >&2
    return "$outcome"
}

status=0
while read -r seed their_hours their_links faults; do
    [[ $seed =~ ^[0-9]+$ ]] || continue
    arguments=(--seed "$seed" --hours "$their_hours" --links "$their_links" --faults "${faults/thirty/$thirty}")
    if ! simulate 300 "${arguments[@]}" >/dev/null 2>build/simulate.err; then
        cat build/simulate.err
        echo "again: $quarn simulate ${arguments[*]}"
        status=1
    fi
done <tests/simulation/seeds.txt

# So long a run meets everything there is.
expectations=()
[[ $years -lt 25 ]] || expectations=(--expect-all)
seed=$((SRANDOM))
echo "from seed $seed on"
if ! simulate $((600 + 60 * years)) --seed "$seed" --seeds 1000000 --link-hours $((years * 8766)) --jobs "$jobs" \
    --hours "$hours" --links "$links" "${expectations[@]}"; then
    echo "again: $quarn simulate --seed THE-SEED-NAMED-ABOVE --hours $hours --links $links"
    status=1
fi
# What is too large for every mix.
if ! simulate 600 --seed "$seed" --seeds 4 --jobs "$jobs" --hours 12 --links "$links" --faults endless,backlog; then
    echo "again: $quarn simulate --seed THE-SEED-NAMED-ABOVE --hours 12 --links $links --faults endless,backlog"
    status=1
fi
exit "$status"
