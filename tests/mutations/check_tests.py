#!/usr/bin/env python3
"""Plants mutations one after another in a copy of the code, and prints which detectors notice each of them.

    check_tests.py                      every mutation of mutations.txt
    check_tests.py --only NAME...       the named ones
    check_tests.py --rule N [--seed S]  N mutations drawn by the rules of rules.py, from a fresh seed without S

Exit status 0 if the detectors notice at least 95 % of the mutations of mutations.txt that were tried; of those drawn by
rule, all but the ones that equivalent.txt lists with the reason why no test can notice them.
"""
import argparse
import collections
import concurrent.futures
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys

import rules

ROOT = pathlib.Path(__file__).resolve().parents[2]
IS_DRAWN = "--rule" in sys.argv
COPY = ROOT / "build" / "mutants" / ("drawn" if IS_DRAWN else "written") / "source"
BUILD = COPY.parent / "build"
TARGETS = ["quarnex_tests", "quarnex_memory_tests", "quarn", "fuzz_received", "fuzz_message"]
SECONDS_MAX = 400
TABLE_SECONDS_MAX = 150  # ten times what the tables take; a mutation can make a loop endless
SEEDS = range(1, 31)  # of the simulated sites; each takes about 2 seconds

QUARN = f"{BUILD}/bin/quarn"
SUITES = {
    "simulation": "*FailingOperations*:*Nesting*:*StruckFrames*:Recorder*:*SeededRun*:*SimulatedRun*:RecordedRun*:HostileNeighbour*:MemoryLimits*",
    "adapters": "*ServicesContract*:*Posix*:ErrorNumbers*:ProcessLibrary*:BackgroundWriter*:FileSink*",
    "replay": "Player*:RecordingReader*:RecordingPrinter*:*Shrinker*",
}


def tests(chosen):
    return f"{BUILD}/bin/quarnex_tests --gtest_brief=1 --gtest_fail_fast --gtest_filter={chosen}"


DETECTORS = {
    "tables": tests("'-" + ":".join(SUITES.values()) + "'") + f" && {BUILD}/bin/quarnex_memory_tests --gtest_brief=1",
    "replay": f"{QUARN} replay {COPY}/tests/data/recordings/*.jsonl",
    "simulation": " && ".join([tests(f"'{SUITES['simulation']}'")] +
                              [f"{QUARN} simulate --seed {seed} --hours 10 --faults generation-4"
                               for seed in SEEDS]),
    "adapters": tests(f"'{SUITES['adapters']}'"),
    "corpora": " && ".join(f"{BUILD}/bin/fuzz_{name} {COPY}/fuzz/corpus/{name}" for name in ("received", "message")),
}


# Included before every source, so that one build holds many mutations, of which the environment chooses one.
MUTANTS = """#include <cstdlib>
namespace mutants {
inline const int chosen = [] { const char* text = std::getenv("QUARNEX_MUTANT"); return text ? std::atoi(text) : 0; }();
inline bool isOn(int number) { return number == chosen; }
}
"""


def read_mutations():
    """Returns each name with its changes (file, old, new): the first `old` in the file becomes `new`."""
    mutations = []
    for block in (ROOT / "tests/mutations/mutations.txt").read_text().split("\n\n")[1:]:
        name, *lines = [line for line in block.splitlines() if not line.startswith("#")]
        changes = [(file, *(re.sub("^.", "", part[:-1], flags=re.M) for part in parts)) for file, *parts in
                   re.findall(r"^([^-+].*)\n((?:-.*\n)+)((?:\+.*\n)+)", "\n".join([*lines, ""]), re.M)]
        mutations.append((name, changes))
        for file, old, _ in changes:
            if old not in (ROOT / file).read_text():
                sys.exit(f"{name}: {file} does not contain the lines to be replaced")
    return mutations


def tracked_files():
    return subprocess.run(["git", "ls-files"], cwd=ROOT, capture_output=True, text=True, check=True).stdout.splitlines()


def copy_sources():
    """Restores the copy. Touches only files that differ, so that the build reuses the objects of the last one."""
    files = tracked_files()
    for old in [path for path in COPY.rglob("*") if path.is_file() and str(path.relative_to(COPY)) not in files]:
        old.unlink()
    for file in files:
        copy = COPY / file
        if not copy.is_file() or copy.read_bytes() != (ROOT / file).read_bytes():
            copy.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(ROOT / file, copy)


def errors_of_build(*targets, options=()):
    """Returns the messages of the compiler, "" if the targets build, by default all."""
    result = subprocess.run(["cmake", "--build", BUILD, "--target", *(targets or TARGETS), "--", *options],
                            capture_output=True, text=True)
    return result.stdout + result.stderr if result.returncode else ""


def notices(command, chosen=0, seconds=SECONDS_MAX):
    """Returns whether a detector reports a fault. A run that exceeds the time limit counts as a report."""
    process = subprocess.Popen(command, shell=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                               start_new_session=True, env={**os.environ, "QUARNEX_MUTANT": str(chosen)})
    try:
        return process.wait(seconds) != 0
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        return True


def is_noticed(chosen=0):
    """Runs the detectors one after another, the fastest first, up to the first that reports the fault."""
    return notices(DETECTORS["tables"], chosen, TABLE_SECONDS_MAX) or any(
        notices(DETECTORS[name], chosen) for name in ("replay", "corpora", "adapters", "simulation"))


def all_notices():
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        return list(pool.map(notices, DETECTORS.values()))


def require_tests():
    """Every pattern of a suite matches a test, so that renaming tests cannot disarm a detector."""
    for pattern in ":".join(SUITES.values()).split(":"):
        listed = subprocess.run([f"{BUILD}/bin/quarnex_tests", "--gtest_list_tests", f"--gtest_filter={pattern}"],
                                capture_output=True, text=True, check=True).stdout
        if not re.search(r"^  ", listed, re.M):
            sys.exit(f"no test matches the pattern {pattern}")


def prepare():
    copy_sources()
    flags = "-O1"
    if IS_DRAWN:
        (COPY.parent / "mutants.h").write_text(MUTANTS)
        flags += f" -w -include {COPY.parent}/mutants.h"
    options = ["-DCMAKE_BUILD_TYPE=Debug", f"-DCMAKE_CXX_FLAGS_DEBUG={flags}"]
    if shutil.which("ccache"):
        options.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
    if shutil.which("ld.lld"):
        options.append("-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld")
    subprocess.run(["cmake", "-G", "Ninja", "-S", COPY, "-B", BUILD, *options], check=True, stdout=subprocess.DEVNULL)


def require_success():
    """The tree builds, and no detector reports anything."""
    if errors_of_build():
        sys.exit("the code does not build as it is")
    require_tests()
    wrong = [name for name, found in zip(DETECTORS, all_notices()) if found]
    if wrong:
        sys.exit(f"already failing without any mutation: {', '.join(wrong)}")


def write_together(drawn, files):
    """Writes the mutations into the copy so that the environment chooses one by its place from 1 on."""
    for file in files:
        lines = (ROOT / file).read_text().splitlines()
        for place, each in drawn.items():
            if each.file == file:
                lines[each.number - 1] = each.guarded(f"::mutants::isOn({place})")
        text = "\n".join([*lines, ""])
        if (COPY / file).read_text() != text:
            (COPY / file).write_text(text)


def build_together(drawn):
    """Builds the copy with those mutations that can stand in it together, and returns them with their places."""
    together = {place: each for place, each in enumerate(drawn, 1) if each.guarded("true") is not None}
    files = {each.file for each in together.values()}
    while True:
        write_together(together, files)
        output = errors_of_build(options=["-k", "0"])
        if not output:
            return together
        errors = set(re.findall(r"source/(\S+?):(\d+):\d+: error", output))
        refused = {place for place, each in together.items() if (each.file, str(each.number)) in errors}
        if not refused:
            sys.exit("the code does not build as it is:\n" + output)
        together = {place: each for place, each in together.items() if place not in refused}


def is_noticed_alone(each):
    """Like is_noticed, for a mutation that needs a build of its own; None if it does not build."""
    path = COPY / each.file
    before = path.read_text()
    lines = before.splitlines(True)
    lines[each.number - 1] = each.new + "\n"
    path.write_text("".join(lines))
    noticed = None if errors_of_build(*TARGETS[:2]) else bool(errors_of_build()) or is_noticed()
    path.write_text(before)
    return noticed


def outcomes(count, seed):
    """Yields each drawn mutation with its outcome. One that does not build is replaced by the next of the seed."""
    drawn = rules.draw(ROOT, tracked_files(), seed)
    first = [each for _, each in zip(range(count), drawn)]
    together = build_together(first)
    require_success()
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        yield from zip(together.values(), pool.map(is_noticed, together))
    missing = count - len(together)
    for each in [*(each for place, each in enumerate(first, 1) if place not in together), *drawn]:
        if missing == 0:
            return
        noticed = is_noticed_alone(each)
        if noticed is not None:
            missing -= 1
            yield each, noticed


def check_drawn(count, seed):
    equivalent = (ROOT / "tests/mutations/equivalent.txt").read_text()
    print(f"seed {seed}", flush=True)
    fates = collections.Counter()
    for each, was_noticed in outcomes(count, seed):
        is_listed = f"{each.file}\n-{each.old.strip()}\n+{each.new.strip()}" in equivalent
        fate = "noticed" if was_noticed else "listed as equivalent" if is_listed else "not noticed"
        fates[fate] += 1
        if fate == "not noticed":
            print(f"not noticed, as number {fates.total()}: {each.name}", flush=True)
    print(f"{fates.total()} mutations: " + ", ".join(f"{number} {fate}" for fate, number in fates.items()))
    sys.exit(1 if fates["not noticed"] else 0)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--only", nargs="+")
    parser.add_argument("--rule", type=int, metavar="N")
    parser.add_argument("--seed", type=int, default=random.randrange(1_000_000))
    arguments = parser.parse_args()
    if arguments.rule:
        prepare()
        check_drawn(arguments.rule, arguments.seed)
    mutations = [each for each in read_mutations() if not arguments.only or each[0] in arguments.only]
    if not mutations:
        parser.error("no such mutation")
    prepare()
    require_success()
    print(f"{'mutation':58}" + "".join(f"{name:>12}" for name in DETECTORS))
    survivors, alone = [], 0
    for name, changes in mutations:
        for file, old, new in changes:
            (COPY / file).write_text((COPY / file).read_text().replace(old, new, 1))
        # A mutation that does not build counts as noticed, by the compiler.
        noticed = None if errors_of_build() else all_notices()
        copy_sources()
        row = "".join(f"{'noticed' if one else '-':>12}" for one in noticed) if noticed else "  does not build"
        print(f"{name:58}{row}", flush=True)
        survivors += [name] if noticed and not any(noticed) else []
        alone += 1 if noticed and sum(noticed) == 1 else 0
    print(f"{len(mutations) - len(survivors)} of {len(mutations)} noticed, {alone} of them by one detector only")
    for name in survivors:
        print(f"not noticed: {name}")
    sys.exit(0 if len(survivors) <= 0.05 * len(mutations) else 1)


if __name__ == "__main__":
    main()
