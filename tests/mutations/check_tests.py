#!/usr/bin/env python3
"""Plants mutations one after another in a copy of the code, and prints which detectors notice each of them.

    check_tests.py                      every mutation of mutations.txt
    check_tests.py --only NAME...       the named ones
    check_tests.py --rule N [--seed S]  N mutations drawn by the rules of rules.py, from a fresh seed without S

Exit status 0 if the detectors notice at least 95 % of the mutations of mutations.txt that were tried; of those drawn by
rule, all but the ones that equivalent.txt lists with the reason why no test can notice them.
"""
import argparse
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
COPY = ROOT / "build" / "mutants" / "source"
BUILD = ROOT / "build" / "mutants" / "build"
TARGETS = ["quarnex_tests", "quarnex_memory_tests", "quarn", "fuzz_received", "fuzz_message"]
SECONDS_MAX = 400
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


class Mutation:
    """Changes of the copy: in each file the first occurrence of `old` from a line on (counted from 0) becomes `new`."""

    def __init__(self, name, changes):
        self.name, self.changes = name, changes  # (file, old, new, line)

    def apply(self):
        for file, old, new, line in self.changes:
            lines = (COPY / file).read_text().splitlines(True)
            (COPY / file).write_text("".join(lines[:line]) + "".join(lines[line:]).replace(old, new, 1))

    def revert(self):
        for file, *_ in self.changes:
            (COPY / file).write_text((ROOT / file).read_text())


def read_mutations():
    mutations = []
    for block in (ROOT / "tests/mutations/mutations.txt").read_text().split("\n\n")[1:]:
        name, *lines = [line for line in block.splitlines() if not line.startswith("#")]
        changes = [(file, *(re.sub("^.", "", part[:-1], flags=re.M) for part in parts), 0) for file, *parts in
                   re.findall(r"^([^-+].*)\n((?:-.*\n)+)((?:\+.*\n)+)", "\n".join([*lines, ""]), re.M)]
        mutations.append(Mutation(name, changes))
        for file, old, *_ in changes:
            if old not in (ROOT / file).read_text():
                sys.exit(f"{name}: {file} does not contain the lines to be replaced")
    return mutations


def tracked_files():
    return subprocess.run(["git", "ls-files"], cwd=ROOT, capture_output=True, text=True, check=True).stdout.splitlines()


def copy_sources():
    """Touches only files that differ, so that the build reuses the objects of the last one."""
    files = tracked_files()
    for old in [path for path in COPY.rglob("*") if path.is_file() and str(path.relative_to(COPY)) not in files]:
        old.unlink()
    for file in files:
        copy = COPY / file
        if not copy.is_file() or copy.read_bytes() != (ROOT / file).read_bytes():
            copy.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(ROOT / file, copy)


def build(*targets):
    return subprocess.run(["cmake", "--build", BUILD, "--target", *(targets or TARGETS)],
                          capture_output=True).returncode == 0


def notices(command):
    """Returns whether a detector reports a fault. A run that exceeds the time limit counts as a report."""
    process = subprocess.Popen(command, shell=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                               start_new_session=True)
    try:
        return process.wait(SECONDS_MAX) != 0
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        return True


def is_noticed():
    """Runs the detectors one after another, the fastest first, up to the first that reports the fault. The tests have
    been built; the other programs are built only for what the tests miss."""
    return notices(DETECTORS["tables"]) or not build() or any(
        notices(DETECTORS[name]) for name in ("replay", "corpora", "adapters", "simulation"))


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
    options = ["-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-O1"]
    if shutil.which("ccache"):
        options.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
    if shutil.which("ld.lld"):
        options.append("-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld")
    subprocess.run(["cmake", "-G", "Ninja", "-S", COPY, "-B", BUILD, *options], check=True, stdout=subprocess.DEVNULL)
    if not build():
        sys.exit("the code does not build as it is")
    require_tests()
    wrong = [name for name, found in zip(DETECTORS, all_notices()) if found]
    if wrong:
        sys.exit(f"already failing without any mutation: {', '.join(wrong)}")


def check_drawn(count, seed):
    """A mutation that does not build is replaced by the next one of the seed."""
    equivalent = (ROOT / "tests/mutations/equivalent.txt").read_text()
    print(f"seed {seed}")
    tried, noticed, listed, survivors = 0, 0, 0, []
    for file, number, old, new in rules.draw(ROOT, tracked_files(), seed):
        if tried == count:
            break
        mutation = Mutation(f"{file}:{number}: {old.strip()}  ->  {new.strip()}", [(file, old, new, number - 1)])
        mutation.apply()
        if build(*TARGETS[:2]):
            tried += 1
            if is_noticed():
                noticed += 1
            elif f"{file}\n-{old.strip()}\n+{new.strip()}" in equivalent:
                listed += 1
            else:
                survivors.append(mutation.name)
                print(f"not noticed, as number {tried}: {mutation.name}", flush=True)
        mutation.revert()
    print(f"{tried} mutations: {noticed} noticed, {listed} listed as equivalent, {len(survivors)} not noticed")
    sys.exit(1 if survivors else 0)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--only", nargs="+")
    parser.add_argument("--rule", type=int, metavar="N")
    parser.add_argument("--seed", type=int, default=random.randrange(1_000_000))
    arguments = parser.parse_args()
    if arguments.rule:
        prepare()
        check_drawn(arguments.rule, arguments.seed)
    mutations = [each for each in read_mutations() if not arguments.only or each.name in arguments.only]
    if not mutations:
        parser.error("no such mutation")
    prepare()
    print(f"{'mutation':58}" + "".join(f"{name:>12}" for name in DETECTORS))
    survivors, alone = [], 0
    for mutation in mutations:
        mutation.apply()
        # A mutation that does not build counts as noticed, by the compiler.
        noticed = all_notices() if build() else None
        mutation.revert()
        row = "".join(f"{'noticed' if one else '-':>12}" for one in noticed) if noticed else "  does not build"
        print(f"{mutation.name:58}{row}", flush=True)
        survivors += [mutation.name] if noticed and not any(noticed) else []
        alone += 1 if noticed and sum(noticed) == 1 else 0
    print(f"{len(mutations) - len(survivors)} of {len(mutations)} noticed, {alone} of them by one detector only")
    for name in survivors:
        print(f"not noticed: {name}")
    sys.exit(0 if len(survivors) <= 0.05 * len(mutations) else 1)


if __name__ == "__main__":
    main()
