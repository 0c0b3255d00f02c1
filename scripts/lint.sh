#!/usr/bin/env bash
# Runs clang-tidy over all sources, over those below a path, or over the 16 that were changed last:
#   scripts/lint.sh [PATH | --recent]
# A changed header counts as the source of the same name.
set -euo pipefail
cd "$(dirname "$0")/.."
[[ $# -le 1 ]] || { echo "usage: scripts/lint.sh [PATH | --recent]" >&2; exit 2; }
scripts/packages.sh test
readonly recent_max=16 build=build/lint
cmake --preset debug -B "$build" -DQUARNEX_BENCH=ON >/dev/null

# The sources that a build compiles, one per line.
compiled() { sed -nE "s|^ *\"file\": \"$PWD/(.*)\",?$|\1|p" "$build/compile_commands.json" | sort -u; }

# The sources whose file or header was changed last, in the working tree or in a commit; those changed last come first.
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
