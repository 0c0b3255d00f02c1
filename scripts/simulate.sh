#!/usr/bin/env bash
# Simulates the seeds of tests/simulation/seeds.txt, then sites under faults for LINK-YEARS (default 25), starting with SEED:
#   scripts/simulate.sh [LINK-YEARS [SEED]]
# Without SEED it chooses a fresh one and prints it. With SEED it makes the same runs every time. Exit status 1 if a run has
# a finding; it then prints the folder of the recordings and the command that runs that seed again.
set -euo pipefail
cd "$(dirname "$0")/.."
readonly years=${1:-25} hours=24 links=10
if ! [[ $# -le 2 && $years =~ ^[1-9][0-9]{0,4}$ && ${2:-0} =~ ^[0-9]+$ ]]; then
    echo "usage: scripts/simulate.sh [LINK-YEARS [SEED]]: LINK-YEARS is a whole number from 1 to 99999" >&2
    exit 2
fi

scripts/packages.sh tool
jobs=$(nproc)
cmake --preset release -DQUARNEX_TOOLS=ON >/dev/null
cmake --build --preset release -j "$jobs" --target quarn
quarn=build/release/bin/quarn

# simulate SECONDS OPTION...: runs a simulation, and kills it after SECONDS, far more than it needs.
simulate() {
    local outcome=0
    timeout --foreground "$1" "$quarn" simulate "${@:2}" || outcome=$?
    [[ $outcome -ne 124 ]] || echo "killed after the limit of $1 seconds: run the seeds one by one to find the seed that hangs" >&2
    return "$outcome"
}

status=0
while read -r seed their_hours their_links faults; do
    [[ $seed =~ ^[0-9]+$ ]] || continue
    arguments=(--seed "$seed" --hours "$their_hours" --links "$their_links" --faults "$faults")
    if ! simulate 300 "${arguments[@]}" >/dev/null 2>build/simulate.err; then
        cat build/simulate.err
        echo "again: $quarn simulate ${arguments[*]}"
        status=1
    fi
done <tests/simulation/seeds.txt

# Only a run of this length sees each fault, cause and trace text often enough.
expectations=()
[[ $years -lt 25 ]] || expectations=(--expect-all)
# Fresh seeds end with the link-hours. A fixed run has a fixed number of seeds, which does not depend on the speed.
seed=${2:-$SRANDOM} amount=(--seeds 1000000 --link-hours $((years * 8766)))
[[ $# -lt 2 ]] || amount=(--seeds $((years * 8766 / (4 * links * hours) + 1)))
echo "from seed $seed on"
if ! simulate $((600 + 60 * years)) --seed "$seed" "${amount[@]}" --jobs "$jobs" --hours "$hours" \
    --links "$links" "${expectations[@]}"; then
    echo "again: $quarn simulate --seed THE-SEED-NAMED-ABOVE --hours $hours --links $links"
    status=1
fi
# The faults that are too expensive for every run.
if ! simulate 600 --seed "$seed" --seeds 4 --jobs "$jobs" --hours 12 --links "$links" --faults large; then
    echo "again: $quarn simulate --seed THE-SEED-NAMED-ABOVE --hours 12 --links $links --faults large"
    status=1
fi
exit "$status"
