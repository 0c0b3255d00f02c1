#!/usr/bin/env bash
# Builds quarn and lets two processes, a server host and a client host, exchange texts both ways over TCP on this
# machine. Exit status 0 only if every text arrived in order and both closed their link.
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
    "$quarn" "$2" "$type" "$identifier" --raw <"$work/$1.in" >"$work/$1.out" 2>"$work/$1.err" 8>&- 9>&- &
    process[$1]=$!
    say "$1" "\$ quarn $2 $type $identifier --raw"
}

say() {
    [[ ! -t 1 ]] || printf '\r\033[K'
    printf '%-7s %s\n' "$1" "$2"
}

# Shows the lines that a host has printed and the texts that it has received since the last call. The reports that --raw
# adds are left out: the tool prints them in words, too.
show_news() {
    local host kind line
    for host in server client; do
        for kind in err out; do
            while IFS= read -r line; do
                shown[$host.$kind]=$((shown[$host.$kind] + 1))
                [[ $line != *" X000E"* ]] || continue
                if [[ $kind == out ]]; then line="         receives: $line"; fi
                say "$host" "$line"
            done < <(tail -n "+$((shown[$host.$kind] + 1))" "$work/$host.$kind" 2>/dev/null)
        done
    done
}

# On a terminal the last line counts the seconds; elsewhere there is a line every 4 seconds.
show_wait() {
    if [[ -t 1 ]]; then
        printf '\r\033[K%d s' "$SECONDS"
    elif ((SECONDS >= next_wait_line)); then
        next_wait_line=$((SECONDS + 4))
        echo "        $SECONDS s"
    fi
}

# wait_until CONDITION...: shows the news of both hosts until the command succeeds.
wait_until() {
    until "$@"; do
        show_news
        show_wait
        if ((SECONDS > seconds_max)); then
            say "" "Not done within $seconds_max seconds; giving up"
            exit 1
        fi
        sleep 0.2
    done
    show_news
}

link_opened() { [[ -s $work/$1.err ]]; }
# Report 701 is in each host's inbound queue once the link is connected.
connected() { grep -q ' X000E0701' "$work/server.err" && grep -q ' X000E0701' "$work/client.err"; }
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
echo "A link joins two hosts on this machine over TCP port $port (type $type, identifier $identifier)."
echo "A link waits 10 seconds before it first listens or calls."
echo
start server listen
wait_until link_opened server
sleep 1.2 # so that the server listens before the client calls
start client call
wait_until connected
exchange
wait_until all_received

say "" "All texts have arrived. The client's input ends now, then the server's."
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
