#!/usr/bin/env bash
# Builds quarn and lets two processes, a server host and a client host, exchange texts both ways over TCP on this
# machine. Ends by itself; exit status 0 only if every text arrived and both closed their link.
# shellcheck disable=SC2317 # the conditions are called through "wait_until"
set -euo pipefail
cd "$(dirname "$0")/.."
[[ $# -eq 0 ]] || { echo "usage: scripts/demo.sh" >&2; exit 2; }

readonly type=DEMO texts=8 seconds_max=58
quarn=build/tool/bin/quarn

build() {
    scripts/packages.sh --install tool
    echo "Building $quarn (the first time takes about a minute)"
    cmake --preset tool >/dev/null
    cmake --build --preset tool --target quarn -j "$(nproc)"
}

find_free_identifier() {
    local id
    for id in {100..999}; do
        port=$("$quarn" ports "$type" "$id")
        if ! (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; then
            identifier=$id
            return
        fi
    done
    echo "No port from 20200 to 21099 is free" >&2
    exit 1
}

# start NAME COMMAND: a host whose input is a pipe that we hold, and whose output goes to files.
start() {
    mkfifo "$work/$1.in"
    : >"$work/$1.out"
    : >"$work/$1.err"
    # Opened for both directions, since opening a pipe for writing waits for its reader.
    if [[ $1 == server ]]; then exec 8<>"$work/server.in"; else exec 9<>"$work/client.in"; fi
    "$quarn" "$2" "$type" "$identifier" <"$work/$1.in" >"$work/$1.out" 2>"$work/$1.err" 8>&- 9>&- &
    process[$1]=$!
    say "$1" "\$ quarn $2 $type $identifier"
}

say() {
    [[ ! -t 1 ]] || printf '\r\033[K'
    printf '%-7s %s\n' "$1" "$2"
}

# Shows what a host has said and received since the last time.
show_news() {
    local host kind line
    for host in server client; do
        for kind in err out; do
            while IFS= read -r line; do
                if [[ $kind == out ]]; then line="         receives: $line"; fi
                say "$host" "$line"
                shown[$host.$kind]=$((shown[$host.$kind] + 1))
            done < <(tail -n "+$((shown[$host.$kind] + 1))" "$work/$host.$kind" 2>/dev/null)
        done
    done
}

# The last line of a host that waits says for what, and ends with the time of day until which it does.
wait_of() {
    local line what left
    line=$(tail -n 1 "$work/$1.err" 2>/dev/null || true)
    [[ $line =~ \;\ (next|listens|calling|listening)\ .*([0-9]{2}:[0-9]{2}:[0-9]{2})$ ]] || return 0
    case ${BASH_REMATCH[1]} in
    next) what="calls in" ;;
    listens) what="listens in" ;;
    calling) what="gives this call up in" ;;
    listening) what="is listening, for another" ;;
    esac
    left=$(($(date -d "${BASH_REMATCH[2]}" +%s) - $(date +%s)))
    ((left > -43200)) || left=$((left + 86400)) # the other side of midnight
    printf '%s %s %d s   ' "$1" "$what" "$((left > 0 ? left : 0))"
}

show_waits() {
    local waits
    waits="$(wait_of server)$(wait_of client)"
    if [[ -t 1 ]]; then
        printf '\r\033[K%s' "$waits"
    elif [[ -n $waits ]] && ((SECONDS >= next_wait_line)); then
        next_wait_line=$((SECONDS + 4))
        echo "        ${waits%% }"
    fi
}

# wait_until CONDITION...: shows what happens until the command succeeds.
wait_until() {
    until "$@"; do
        show_news
        show_waits
        if ((SECONDS > seconds_max)); then
            say "" "Not done within $seconds_max seconds; giving up"
            exit 1
        fi
        sleep 0.2
    done
    show_news
}

listens_soon() { grep -q 'listens again at' "$work/server.err"; }
connected() { grep -q 'connected to' "$work/server.err" && grep -q 'connected to' "$work/client.err"; }
all_received() { (($(wc -l <"$work/server.out") >= texts && $(wc -l <"$work/client.out") >= texts)); }
ended() { ! kill -0 "${process[$1]}" 2>/dev/null; }

# send NAME DESCRIPTOR TEXT
send() {
    say "$1" "         sends:    $3"
    echo "$3" | tee -a "$work/$1.sent" >&"$2"
}

exchange() {
    local i
    for ((i = 1; i <= texts; i++)); do
        send client 9 "text $i of the client, $RANDOM"
        send server 8 "text $i of the server, $RANDOM"
        sleep 0.5
        show_news
    done
}

# summary FROM TO: how many of the texts of FROM arrived at TO; fails unless all did, in order.
summary() {
    printf '  %s to %s: %d sent, %d received' "$1" "$2" "$(wc -l <"$work/$1.sent")" "$(wc -l <"$work/$2.out")"
    if cmp -s "$work/$1.sent" "$work/$2.out"; then
        echo ", all arrived in order"
    else
        echo ", NOT all as sent"
        return 1
    fi
}

build
SECONDS=0
next_wait_line=0
find_free_identifier
work=$(mktemp -d)
declare -A process shown=([server.err]=0 [server.out]=0 [client.err]=0 [client.out]=0)
trap 'kill "${process[@]}" 2>/dev/null || true; rm -rf "$work"' EXIT

echo
echo "Two hosts on this machine get linked over TCP port $port (type $type, identifier $identifier)."
echo "A link waits 10 seconds before it first listens or calls."
echo
start server listen
wait_until listens_soon
sleep 1.2 # so that the server listens before the client calls
start client call
wait_until connected
exchange
wait_until all_received

say "" "All texts are through; the client's input ends now, then the server's."
exec 9>&-
wait_until ended client
exec 8>&-
wait_until ended server

echo
echo "Summary after $SECONDS seconds:"
status=0
summary client server || status=1
summary server client || status=1
for host in client server; do
    if wait "${process[$host]}"; then
        echo "  $host: closed its link, exit status 0"
    else
        echo "  $host: exit status $?"
        status=1
    fi
done
exit "$status"
