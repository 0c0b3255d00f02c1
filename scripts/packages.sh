#!/usr/bin/env bash
# Prints the Debian packages that are missing for a purpose and fails, or installs them:
#   scripts/packages.sh [--install] tool|test|package|bench|model|endurance|windows|wine32|coverage...
# With --install, which only scripts/demo.sh, scripts/test.sh and scripts/test-windows.sh use, installs the missing packages
# after printing their names, but not if QUARNEX_NO_INSTALL=1.
set -euo pipefail

declare -A packages=(
    [tool]="cmake ninja-build g++ zlib1g-dev libcli11-dev nlohmann-json3-dev"
    [test]="libgtest-dev libgmock-dev python3 python3-pip python3-setuptools python3-wheel python3-venv mypy git clang llvm libclang-rt-dev clang-format clang-tidy shellcheck libbenchmark-dev libuv1-dev abigail-tools lua5.4 liblua5.4-dev"
    [package]="dpkg-dev pkg-config lintian zsh fish"
    [bench]="libbenchmark-dev python3"
    [model]="spin gcc libc6-dev"
    [endurance]="libbenchmark-dev valgrind iproute2 faketime python3"
    [windows]="g++-mingw-w64-x86-64-win32 g++-mingw-w64-i686-win32 mingw-w64-tools libz-mingw-w64-dev wine64 wine libwine-dev libgtest-dev libgmock-dev python3"
    [wine32]="mmdebstrap arch-test"
    [coverage]="clang-19 llvm-19 libclang-rt-19-dev libgtest-dev libgmock-dev python3"
)

usage() {
    echo "usage: scripts/packages.sh [--install] $(printf '%s\n' "${!packages[@]}" | sort | paste -sd '|')..." >&2
    exit 2
}

install=0
if [[ ${1:-} == --install ]]; then
    install=1
    shift
fi
[[ $# -gt 0 ]] || usage
wanted=()
for purpose in tool "$@"; do
    [[ -v packages[$purpose] ]] || usage
    read -ra names <<<"${packages[$purpose]}"
    wanted+=("${names[@]}")
done

if ! command -v dpkg-query >/dev/null; then
    echo "This system is not Debian. Install the equivalents of these packages if they are missing: ${wanted[*]}" >&2
    exit 0
fi

missing=()
for name in "${wanted[@]}"; do
    status=$(dpkg-query --show --showformat='${db:Status-Status}' "$name" 2>/dev/null || true)
    [[ $status == installed || " ${missing[*]} " == *" $name "* ]] || missing+=("$name")
done
[[ ${#missing[@]} -gt 0 ]] || exit 0

echo "Missing packages: ${missing[*]}" >&2
as_root=()
if [[ $(id -u) -ne 0 ]]; then as_root=(sudo); fi
if [[ $install -eq 0 || ${QUARNEX_NO_INSTALL:-0} == 1 ]] || ! command -v "${as_root[@]:-true}" >/dev/null; then
    echo "Install them, for example as root with: apt-get install ${missing[*]}" >&2
    exit 1
fi
echo "Installing them" >&2
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
