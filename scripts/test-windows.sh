#!/usr/bin/env bash
# Builds library, tool and tests for 64-bit and 32-bit Windows with the cross-compiler, and runs them under wine: the
# contract suite, all recordings, a simulation that must not differ from the one of this system's quarn, links between both
# systems, and the component classes. Needs no display and changes nothing outside the build folders, except that it installs
# missing Debian packages, but not if QUARNEX_NO_INSTALL=1. Never adds an architecture: 32-bit programs run only where wine can
# run them already. Exit status 0 only if every check passes. docs/windows.md lists the steps on a real Windows.
set -euo pipefail
cd "$(dirname "$0")/.."
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
    wineserver -p
    trap 'wineserver -k' EXIT
    wine wineboot -i >/dev/null 2>&1
}

windows_quarn() {
    wine build/windows/bin/quarn.exe "$@" 2>>"$work/errors"
}

check_recordings() {
    local files=(tests/data/recordings/*.jsonl)
    windows_quarn replay "${files[@]}" >"$work/replay"
    [[ $(grep -c "no difference" "$work/replay") -eq ${#files[@]} ]]
    echo "all ${#files[@]} recordings replay"
}

check_simulation() {
    windows_quarn simulate --seed 7 --hours 2 --record "$work/theirs" >"$work/simulation"
    "$quarn" simulate --seed 7 --hours 2 --record "$work/ours" >/dev/null
    diff -r "$work/theirs" "$work/ours"
    echo "the same seed gives the same recordings"
}

# check_link LISTENER CALLER: sends a line over TCP from the caller to the listener.
check_link() {
    "$1" listen ABC 717 --listen-on 127.0.0.1 --receive-only --count 1 --timeout 60 >"$work/received" 2>>"$work/errors" &
    "$2" call ABC 717 --message "from $2" --timeout 60 >/dev/null 2>>"$work/errors"
    wait $!
    [[ $(<"$work/received") == "from $2" ]]
    echo "link: $2 calls $1"
}

# Registers the component classes and holds the conversations of all bindings with them: early bound, by dispatch, and from
# a script. Then takes the registration out, twice, since unregistering what is not registered succeeds.
check_component() {
    local identifier
    identifier=$(PYTHONDONTWRITEBYTECODE=1 PYTHONPATH=tests/conformance python3 -c \
        'import conformance; print(conformance.free_identifier())')
    wine regsvr32 /s build/windows/bin/quarnex.dll
    wine build/windows/bin/quarnex_conformance.exe "$identifier" >"$work/component" || { cat "$work/component"; return 1; }
    grep -c ": " "$work/component" | sed 's/$/ conversations and checks of the component classes/'
    wine build/windows/bin/quarnex_component_calls.exe
    wine regsvr32 /s /u build/windows/bin/quarnex.dll
    wine regsvr32 /s /u build/windows/bin/quarnex.dll
}

scripts/packages.sh --install windows
build windows
build windows32
check_imports
quarn=$(own_quarn)
rm -rf "$work"
mkdir -p "$work/theirs" "$work/ours"
start_wine
echo "== tests under $(wine --version 2>/dev/null)"
wine build/windows/bin/quarnex_windows_tests.exe --gtest_brief=1
check_recordings
check_simulation
check_link windows_quarn "$quarn"
check_link "$quarn" windows_quarn
check_component
# A wine without 32-bit programs ends at once with status 0.
if [[ $(wine build/windows32/bin/quarnex_windows_tests.exe --gtest_list_tests 2>/dev/null) == *ServicesContract* ]]; then
    wine build/windows32/bin/quarnex_windows_tests.exe --gtest_brief=1
else
    echo "The 32-bit programs were built but not run: this wine runs 64-bit programs only."
fi
