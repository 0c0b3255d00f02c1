#!/usr/bin/env bash
# Installs the Debian packages that are missing: those that build the project and its tests, with "check" also those
# that check it, and with "coverage" a compiler that counts decisions too.
set -euo pipefail

packages=(cmake ninja-build g++ libcli11-dev nlohmann-json3-dev libgtest-dev libgmock-dev)
[[ $# -eq 0 || $* =~ ^(check|coverage)$ ]] || { echo "usage: scripts/install_packages.sh [check | coverage]" >&2; exit 2; }
if [[ ${1:-} == check || ${1:-} == coverage ]]; then
    packages+=(clang libclang-rt-dev clang-format clang-tidy llvm libbenchmark-dev python3 shellcheck spin git valgrind iproute2)
fi

if [[ ${1:-} == coverage ]]; then
    packages+=(clang-19 llvm-19 libclang-rt-19-dev)
fi

if ! command -v apt-get >/dev/null; then
    echo "No apt-get here: please install the equivalents of these Debian packages yourself, where they are missing:"
    echo "  ${packages[*]}"
    exit 0
fi

missing=()
for package in "${packages[@]}"; do
    status=$(dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null || true)
    [[ $status == installed ]] || missing+=("$package")
done
[[ ${#missing[@]} -gt 0 ]] || exit 0

as_root=()
if [[ $(id -u) -ne 0 ]]; then
    if ! command -v sudo >/dev/null; then
        echo "Missing: ${missing[*]}. Please run as root: apt-get install ${missing[*]}" >&2
        exit 1
    fi
    as_root=(sudo)
fi
echo "Installing ${missing[*]}"
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
