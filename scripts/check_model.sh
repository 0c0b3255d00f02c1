#!/usr/bin/env bash
# Checks the model of the exchange, docs/model/exchange.pml, with Spin:
#   scripts/check_model.sh [NAME...]    the named checks of docs/model/checks.txt, or all of them
# Prints the expected and the actual result of each check. Exit status 0 only if they agree everywhere, 2 for an unknown
# name. Writes the steps of each counterexample to build/model/NAME.txt, and prints those of named checks.
set -euo pipefail
cd "$(dirname "$0")/.."
readonly model=docs/model/exchange.pml checks=docs/model/checks.txt output=build/model

# list [NAME...]: prints the checks as lines of five fields without blanks around "|".
list() {
    sed -E '/^(#|$)/d; s/ *\| */|/g' "$checks" | awk -F'|' -v wanted=" $* " 'wanted == "  " || index(wanted, " " $1 " ")'
}

require_known() {
    local name
    for name in "$@"; do
        [[ -n $(list "$name") ]] || { echo "No check \"$name\"; the names are in $checks" >&2; exit 2; }
    done
}

# verify DEFINES...: builds the verifier of one check in the current directory and runs it.
# Properties of whole runs need a depth-first search that assumes fair processes. For all others a breadth-first search
# finds the shortest counterexample.
verify() {
    local build=(-DBFS -DSAFETY) run=(-w20)
    if [[ "$*" == *EVENTUALLY_* ]]; then
        build=()
        run=(-a -f -m1000000 -w20)
    fi
    spin -a "$@" exchange.pml && gcc -w -DMEMLIM=4096 "${build[@]}" -o pan pan.c && ./pan "${run[@]}"
}

found() {
    case $(grep -m 1 '^pan:1: ' "$1") in
        *"acceptance cycle"*) echo cycle ;;
        *"invalid end state"*) echo deadlock ;;
        *"assertion violated"*) echo assertion ;;
        *) if grep -q 'errors: 0' "$1" && ! grep -qE 'too small|out of memory|aborted|truncated|Warning' "$1"; then
            echo holds
        else
            echo failed
        fi ;;
    esac
}

# Prints the steps of a counterexample. c1, c2, ... are the client's texts, s1, s2, ... the server's.
print_steps() {
    spin -t "$@" exchange.pml | grep -E 'STEP|START OF CYCLE|trail ends' |
        sed -E 's/<<<<<START OF CYCLE>>>>>/from here on again and again:/; s/.*STEP //; s/^0 and 1/client and server/
                s/^0/client/; s/^1/server/; s/ +/ /g; s/ +$//; s/.*trail ends.*//' |
        awk '{ while (match($0, /TEXT[01][0-9]/)) { side = substr($0, RSTART + 4, 1); number = substr($0, RSTART + 5, 1) + 1
               $0 = substr($0, 1, RSTART - 1) (side == "0" ? "c" : "s") number substr($0, RSTART + RLENGTH) } } NF'
}

# run_check LINE: runs one check and writes its table row to build/model/NAME.row.
run_check() {
    local name property setting expected flags outcome states start work verdict=ok
    IFS='|' read -r name property setting expected flags <<<"$1"
    local defines=() flag
    for flag in $flags; do defines+=("-D$flag"); done
    work=$output/$name
    mkdir -p "$work"
    cp "$model" "$work/exchange.pml"
    start=$(date +%s%N)
    (cd "$work" && verify "${defines[@]}") >"$work/log" 2>&1 || true
    outcome=$(found "$work/log")
    states=$(awk '/states, stored/ { print $1; exit }' "$work/log")
    if [[ -f $work/exchange.pml.trail ]]; then
        (cd "$work" && print_steps "${defines[@]}") >"$output/$name.txt"
    fi
    [[ $outcome == "$expected" ]] || verdict=WRONG
    printf '%-22s | %-58.58s | %-48.48s | %-9s | %-9s | %9s | %5.1f | %s\n' "$name" "$property" "$setting" "$expected" \
        "$outcome" "${states:--}" "$((($(date +%s%N) - start) / 100000000))e-1" "$verdict" >"$output/$name.row"
    [[ $outcome != failed ]] || cat "$work/log" >&2
}

# run_checks [NAME...]: runs as many checks at a time as there are processors.
run_checks() {
    local line
    while IFS= read -r line; do
        while (($(jobs -rp | wc -l) >= $(nproc))); do wait -n; done
        run_check "$line" &
    done < <(list "$@")
    wait
}

main() {
    require_known "$@"
    scripts/packages.sh model
    rm -rf "$output"
    mkdir -p "$output"
    run_checks "$@"
    printf '%-22s | %-58s | %-48s | %-9s | %-9s | %9s | %5s |\n' check property variant expected found states sec
    local name
    list "$@" | while IFS='|' read -r name _; do cat "$output/$name.row"; done
    for name in "$@"; do
        if [[ -f $output/$name.txt ]]; then
            printf '\n%s:\n' "$name"
            sed 's/^/    /' "$output/$name.txt"
        fi
    done
    local wrong total
    total=$(list "$@" | wc -l)
    wrong=$(cat "$output"/*.row | grep -c 'WRONG$' || true)
    printf '\n%d checks, %d not as expected, %d seconds. Counterexamples: %s/*.txt\n' "$total" "$wrong" "$SECONDS" "$output"
    [[ $wrong -eq 0 ]]
}

main "$@"
