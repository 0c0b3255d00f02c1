#!/usr/bin/env bash
# Runs clang-tidy over the sources, or over those whose path matches the argument: scripts/lint.sh src/engine/exchange
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install_packages.sh check
cmake --preset debug >/dev/null
run-clang-tidy -quiet -p build/debug -j "$(nproc)" "$PWD/(${1:-src|apps|tests|bench})/.*" \
    2> >(grep -v ' warnings\? generated' >&2)
