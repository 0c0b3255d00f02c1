#!/usr/bin/env bash
# Builds library, tool and tests for 64-bit and 32-bit Windows with the cross-compiler, and runs them under wine: the
# contract suite, all recordings, a simulation that must not differ from the one of this system's quarn, links between both
# systems, whose ends are killed and come back, and the component classes. Needs no display and changes nothing outside the
# build folders, except that it installs missing Debian packages, but not if QUARNEX_NO_INSTALL=1. Exit status 0 only if every
# check passes. docs/windows.md lists the steps on a real Windows.
#   scripts/test-windows.sh [--wine32]
# Never adds an architecture to this system: 32-bit programs run only where wine can run them already. With --wine32 they run
# under the wine of a 32-bit Debian in build/root32, which is made once (850 MB, root only).
set -euo pipefail
cd "$(dirname "$0")/.."
root32=
case "$*" in
    "") ;;
    --wine32) root32=$PWD/build/root32 ;;
    *) echo "usage: scripts/test-windows.sh [--wine32]" >&2; exit 2 ;;
esac
if command -v ccache >/dev/null; then export CMAKE_CXX_COMPILER_LAUNCHER=ccache; fi
jobs=$(nproc)
work=$PWD/build/windows/run
export WINEPREFIX=$PWD/build/wine WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml=

build() {
    echo "== build: $1"
    mkdir -p build
    cmake --preset "$1" >"build/$1.log" || { cat "build/$1.log"; return 1; }
    cmake --build "build/$1" -j "$jobs" "${@:2}" >"build/$1.log" || { grep -v '^\[' "build/$1.log" | tail -50; return 1; }
    tail -1 "build/$1.log"
}

# The name of this system's quarn: of a build that exists, or of one made here.
own_quarn() {
    local preset
    for preset in release debug; do
        if [[ -x build/$preset/bin/quarn ]]; then echo "build/$preset/bin/quarn" && return; fi
    done
    build debug --target quarn >&2
    echo build/debug/bin/quarn
}

# Programs may need the system's own libraries and no others.
check_imports() {
    local system=" advapi32 iphlpapi kernel32 msvcrt ole32 oleaut32 shell32 user32 ws2_32 " file name
    for file in build/windows*/bin/{*.exe,quarnex.dll}; do
        for name in $(x86_64-w64-mingw32-objdump -p "$file" | sed -n 's/.*DLL Name: \(.*\)\.[dD][lL][lL]/\L\1/p'); do
            [[ $system == *" $name "* ]] || { echo "$file needs $name.dll" >&2; return 1; }
        done
    done
}

start_wine() {
    mkdir -p "$WINEPREFIX"
    wineserver -p || true # one may be running already
    trap 'wineserver -k' EXIT
    wine wineboot -i >/dev/null 2>&1
}

make_root32() {
    scripts/packages.sh --install wine32
    [[ -d $root32 ]] && return
    echo "== a 32-bit Debian in build/root32"
    local release mirror
    release=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)
    # shellcheck disable=SC2016 # expanded by apt-get
    mirror=$(apt-get indextargets --format '$(CODENAME) $(REPO_URI)' "Created-By: Packages" | sed -n "s/^$release //p" | sort -u | sed -n 1p)
    rm -rf "$root32.new"
    mmdebstrap --quiet --variant=apt --architectures=i386 --include=wine32 "$release" "$root32.new" "$mirror"
    mkdir -p "$root32.new$PWD"
    mv "$root32.new" "$root32"
}

# Runs a program of 32-bit Windows. The mounts last as long as the program, so nobody finds this folder inside itself.
# shellcheck disable=SC2016 # expanded by the inner shells
wine32() {
    [[ -n $root32 ]] || { wine "$@"; return; }
    WINEPREFIX=${WINEPREFIX}32 WINEARCH=win32 PATH=/usr/lib/wine:/usr/sbin:/usr/bin:/sbin:/bin unshare --mount sh -ec '
        mount --bind "$PWD" "$0$PWD"; mount --bind /dev "$0/dev"; mount -t proc proc "$0/proc"
        exec chroot "$0" sh -c "cd \"\$0\" && exec wine \"\$@\"" "$PWD" "$@"' "$root32" "$@"
}

# A program that is killed must not be the child of a shell, so the tool for Windows gets a name of its own.
name_windows_quarn() {
    windows_quarn=$work/quarn
    printf '#!/bin/sh\nexec wine "%s" "$@"\n' "$PWD/build/windows/bin/quarn.exe" >"$windows_quarn"
    chmod +x "$windows_quarn"
}

# The arguments of the next three functions are the name of a wine and the folder of its programs.
check_adapter() {
    echo "== tests of $2 under $("$1" --version 2>/dev/null)"
    "$1" "$2/quarnex_windows_tests.exe" --gtest_brief=1
}

check_quarn() {
    local files=(tests/data/recordings/*.jsonl)
    "$1" "$2/quarn.exe" replay "${files[@]}" >"$work/replay"
    [[ $(grep -c "no difference" "$work/replay") -eq ${#files[@]} ]]
    echo "all ${#files[@]} recordings replay"
    rm -rf "$work/theirs" "$work/ours"
    mkdir "$work/theirs" "$work/ours"
    "$1" "$2/quarn.exe" simulate --seed 7 --hours 2 --record build/windows/run/theirs >"$work/simulation"
    "$quarn" simulate --seed 7 --hours 2 --record "$work/ours" >/dev/null
    diff -r "$work/theirs" "$work/ours"
    echo "the same seed gives the same recordings"
}

# until_connected FILE: waits until the tool whose reports are in FILE is connected, at most for 60 seconds.
until_connected() {
    local tries
    for ((tries = 0; tries < 300; ++tries)); do
        if grep -qs " connected to" "$1"; then return; fi
        sleep 0.2
    done
    return 1
}

# check_return PLACE KILLED SURVIVOR: the last two name arrays with the commands of both ends. The first is killed while they
# are connected, and comes back with a text. PLACE begins the names of files that do not exist yet.
check_return() {
    local -n killed=$2 survivor=$3
    local surviving victim
    "${survivor[@]}" --receive-only --count 1 >"$1.received" 2>"$1.survivor" &
    surviving=$!
    "${killed[@]}" --receive-only >/dev/null 2>"$1.killed" &
    victim=$!
    until_connected "$1.killed"
    kill -9 "$victim" && ! wait "$victim" 2>/dev/null
    "${killed[@]}" --message "back again" >/dev/null 2>"$1.returned"
    wait "$surviving"
    [[ $(<"$1.received") == "back again" ]]
}

# check_link NAME IDENTIFIER LISTENER CALLER: a link over TCP. Each end is killed once; both close in order.
# shellcheck disable=SC2034 # the arrays are used by their names
check_link() {
    local listen=("$3" listen ABC "$2" --listen-on 127.0.0.1 --timeout 120) call=("$4" call ABC "$2" --timeout 120)
    check_return "$work/$2-call" call listen
    check_return "$work/$2-listen" listen call
    echo "link: $1; each end was killed and came back"
}

# Registers the component classes and holds the conversations of all bindings with them: early bound, by dispatch, and from
# a script. Then takes the registration out, twice, since unregistering what is not registered succeeds.
check_component() {
    local identifier
    identifier=$(PYTHONDONTWRITEBYTECODE=1 PYTHONPATH=tests/conformance python3 -c \
        'import conformance; print(conformance.free_identifier())')
    "$1" regsvr32 /s "$2/quarnex.dll"
    "$1" "$2/quarnex_conformance.exe" "$identifier" >"$work/component" || { cat "$work/component"; return 1; }
    grep -c ": " "$work/component" | sed 's/$/ conversations and checks of the component classes/'
    "$1" "$2/quarnex_component_calls.exe"
    "$1" regsvr32 /s /u "$2/quarnex.dll"
    "$1" regsvr32 /s /u "$2/quarnex.dll"
}

scripts/packages.sh --install windows
build windows
build windows32
check_imports
quarn=$(own_quarn)
rm -rf "$work"
mkdir -p "$work"
name_windows_quarn
start_wine
check_adapter wine build/windows/bin
check_quarn wine build/windows/bin
check_link "Windows listens, this system calls" 717 "$windows_quarn" "$quarn" &
links=$!
check_link "this system listens, Windows calls" 718 "$quarn" "$windows_quarn" &
links+=" $!"
check_component wine build/windows/bin
for link in $links; do wait "$link"; done
if [[ -n $root32 ]]; then make_root32; fi
# A wine without 32-bit programs ends at once with status 0.
if [[ $(wine32 build/windows32/bin/quarnex_windows_tests.exe --gtest_list_tests 2>/dev/null) == *ServicesContract* ]]; then
    check_adapter wine32 build/windows32/bin
    check_quarn wine32 build/windows32/bin
    check_component wine32 build/windows32/bin
else
    echo "The 32-bit programs were built but not run: this wine runs 64-bit programs only. With --wine32 they run."
fi
