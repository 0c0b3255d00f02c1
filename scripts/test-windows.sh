#!/usr/bin/env bash
# Builds the library for 64-bit and 32-bit Windows with the cross-compiler, and runs its tests under wine.
# This needs no display and changes nothing outside the build folders, except that it installs missing Debian packages, but
# not if QUARNEX_NO_INSTALL=1. Never adds an architecture: 32-bit programs run only where wine can run them already.
# Exit status 0 only if every check passes. docs/windows.md lists the steps on a real Windows.
set -euo pipefail
cd "$(dirname "$0")/.."
if command -v ccache >/dev/null; then export CMAKE_CXX_COMPILER_LAUNCHER=ccache; fi
jobs=$(nproc)
export WINEPREFIX=$PWD/build/wine WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml=

build() {
    echo "== build: $1"
    cmake --preset "$1" >"build/$1.log" || { cat "build/$1.log"; return 1; }
    cmake --build "build/$1" -j "$jobs" -- --quiet
}

# Programs and components may need the system's own libraries and no others.
check_imports() {
    local system="advapi32 gdi32 iphlpapi kernel32 msvcrt ole32 oleaut32 shell32 shlwapi user32 uuid ws2_32" file name
    for file in "$@"; do
        for name in $("${file%%:*}-w64-mingw32-objdump" -p "${file#*:}" | sed -n 's/.*DLL Name: \(.*\)\.[dD][lL][lL]/\L\1/p'); do
            [[ " $system " == *" $name "* ]] || { echo "${file#*:} needs $name.dll" >&2; return 1; }
        done
    done
}

start_wine() {
    mkdir -p "$WINEPREFIX"
    wineserver -p
    trap 'wineserver -k' EXIT
    wine wineboot -i >/dev/null 2>&1
}

scripts/packages.sh --install windows
mkdir -p build
build windows
build windows32
check_imports x86_64:build/windows/bin/quarnex_windows_tests.exe
start_wine
echo "== tests under $(wine --version)"
wine build/windows/bin/quarnex_windows_tests.exe --gtest_brief=1
if wine build/windows32/bin/quarnex_windows_tests.exe --gtest_list_tests >/dev/null 2>&1; then
    wine build/windows32/bin/quarnex_windows_tests.exe --gtest_brief=1
else
    echo "The 32-bit programs were built and not run: this wine runs 64-bit programs only."
fi
