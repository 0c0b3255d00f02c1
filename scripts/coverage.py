#!/usr/bin/env python3
"""Prints the branches that no test takes: coverage.py COVERAGE.json EXCLUSIONS.txt

An exclusion is a line "FILE: CODE: true|false": the condition CODE need not take that way, and need not decide alone. The
comment above it gives the reason. Exit status 0 if all other branches of the engine are taken, each condition of its
decisions has decided alone (MC/DC), and 95 % of the adapters' branches are taken.
"""
import collections
import json
import os
import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
ENGINE = ["src/services", "src/engine", "src/host"]
ADAPTERS = ["src/platform/common", "src/platform/posix", "src/platform/simulated"]
ADAPTERS_MIN = 0.95


def branches(coverage):
    """Maps (file, condition, place, way) to the number of times that way was taken, over all instances of a template."""
    counts = collections.Counter()
    for file in json.loads(coverage.read_text())["data"][0]["files"]:
        path = pathlib.Path(file["filename"])
        if ROOT not in path.parents:
            continue
        name, lines = str(path.relative_to(ROOT)), path.read_text().split("\n")
        for line, column, end_line, end_column, taken, not_taken, *_ in file["branches"]:
            if lines[line - 1].lstrip().startswith(("assert(", "QUARNEX_ASSERT(")):
                continue
            code = " ".join(part.strip() for part in lines[line - 1:end_line])
            if line == end_line:
                code = lines[line - 1][column - 1:end_column - 1]
            for way, count in (("true", taken), ("false", not_taken)):
                counts[name, code, (line, column), way] += count
    return counts


def idle_conditions(coverage, counts):
    """Returns (file, condition, line) of each condition that never decided alone in any instance of its template, and the
    number of all conditions."""
    decided_alone = collections.defaultdict(bool)
    for file in json.loads(coverage.read_text())["data"][0]["files"]:
        name = os.path.relpath(file["filename"], ROOT)
        if not name.startswith(tuple(folder + "/" for folder in ENGINE)):
            continue
        places = sorted((place, code) for other, code, place, way in counts if other == name and way == "true")
        for line, column, end_line, end_column, *_, decided in file.get("mcdc_records", []):
            inside = [(place, code) for place, code in places if (line, column) <= place < (end_line, end_column)]
            for (place, code), alone in zip(inside, decided):
                decided_alone[name, code, place] |= alone
    return [(name, code, line) for (name, code, (line, _)), alone in decided_alone.items() if not alone], len(decided_alone)


def excluded(file):
    lines = [line for line in file.read_text().splitlines() if line and not line.startswith("#")]
    return {tuple([line.split(": ", 1)[0], *line.split(": ", 1)[1].rsplit(": ", 1)]) for line in lines}


def main():
    counts, exclusions = branches(pathlib.Path(sys.argv[1])), excluded(pathlib.Path(sys.argv[2]))
    well, used = True, set()
    for folder in ENGINE + ADAPTERS:
        ours = [branch for branch in counts if branch[0].startswith(folder + "/")]
        open_ones = []
        for branch in sorted(branch for branch in ours if counts[branch] == 0):
            name, code, (line, _), way = branch
            if (name, code, way) in exclusions:
                used.add((name, code, way))
            else:
                open_ones.append(f"  {name}:{line}: never {way}: {code}")
        named = sum(1 for name, code, _, way in ours if (name, code, way) in exclusions)
        share = 1 - len(open_ones) / max(1, len(ours) - named)
        print(f"{folder:24} {len(ours):5} branches, {named:3} excluded, {100 * share:6.2f} % of the others taken")
        print("".join(line + "\n" for line in open_ones), end="")
        well = well and (not open_ones if folder in ENGINE else share >= ADAPTERS_MIN)
    idle, total = idle_conditions(pathlib.Path(sys.argv[1]), counts)
    named = {(name, code) for name, code, _ in exclusions}
    open_ones = [condition for condition in idle if condition[:2] not in named]
    print(f"of the engine's {total} conditions in decisions of several, {len(idle) - len(open_ones)} excluded, "
          f"{len(open_ones)} never decided alone")
    for name, code, line in open_ones:
        print(f"  {name}:{line}: {code}")
    well = well and not open_ones
    for exclusion in sorted(exclusions - used):
        print(f"exclusion without a branch that needs it: {': '.join(exclusion)}")
        well = False
    sys.exit(0 if well else 1)


if __name__ == "__main__":
    main()
