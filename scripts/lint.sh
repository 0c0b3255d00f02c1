#!/usr/bin/env bash
# Runs clang-tidy on all sources, on those below PATH, or on those changed last:
#   scripts/lint.sh [PATH | --recent]
# A changed header counts as a change of the source with the same name.
set -euo pipefail
cd "$(dirname "$0")/.."
[[ $# -le 1 ]] || { echo "usage: scripts/lint.sh [PATH | --recent]" >&2; exit 2; }
scripts/packages.sh test
readonly recent_max=16 build=build/lint
cmake --preset debug -B "$build" -DQUARNEX_BENCH=ON >/dev/null

# Prints the sources that a build compiles, one per line.
compiled() { sed -nE "s|^ *\"file\": \"$PWD/(.*)\",?$|\1|p" "$build/compile_commands.json" | sort -u; }

# Prints the sources by the time of their last change or that of their header, the latest first: changes in the working tree,
# then commits.
changed() {
    { git diff --name-only HEAD; git log --name-only --format=; } | sed -nE 's/\.(cpp|h)$/.cpp/p' | awk '!seen[$0]++'
}

chosen() {
    if [[ ${1:-} == --recent ]]; then
        changed | grep -Fxf <(compiled) | head -n "$recent_max" || true
    else
        compiled | grep -E "^${1:-}"
    fi
}

chosen "$@" | xargs -r -P "$(nproc)" -n 1 clang-tidy -quiet -p "$build" 2> >(grep -v ' warnings\? generated' >&2)
