#!/usr/bin/env python3
"""Puts one fault after another into a copy of the code and shows which detectors notice.

    check_tests.py                      all mutations
    check_tests.py --draw 10 --seed 7   ten of them, drawn by that seed (without one: a fresh seed, printed)
    check_tests.py --only NAME...

Exit status 0 if at least 95 % of those tried are noticed by a detector.
"""
import argparse
import pathlib
import random
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
COPY = ROOT / "build" / "mutants" / "source"
BUILD = ROOT / "build" / "mutants" / "build"
TARGETS = ["quarnex_tests", "quarn", "fuzz_received", "fuzz_message"]
SECONDS_MAX = 120

TESTS = [str(BUILD / "bin" / "quarnex_tests"), "--gtest_brief=1"]
SIMULATED = "Trouble*:FailingOperations*:Nesting*:TwoHosts*:Recorder*"
ADAPTERS = "*SocketContract*:Posix*:ErrorNumbers*:ProcessLibrary*"
PLAYED = "Player*:RecordingReader*:RecordingPrinter*:*Shrink*"
DETECTORS = {
    "tables": TESTS + [f"--gtest_filter=-{SIMULATED}:{ADAPTERS}:{PLAYED}"],
    "replay": [str(BUILD / "bin" / "quarn"), "replay",
               *(str(file) for file in sorted((COPY / "tests/data/recordings").glob("*.jsonl")))],
    "simulation": TESTS + [f"--gtest_filter={SIMULATED}"],
    "adapters": TESTS + [f"--gtest_filter={ADAPTERS}"],
    "corpora": ["sh", "-c", " && ".join(f"{BUILD}/bin/fuzz_{name} {COPY}/fuzz/corpus/{name}"
                                       for name in ("received", "message"))],
}


class Mutation:
    def __init__(self, block):
        lines = [line for line in block.splitlines() if not line.startswith("#")]
        self.name = lines[0]
        self.changes = []  # (file, old, new)
        for line in lines[1:]:
            if line.startswith("-"):
                self.changes[-1][1].append(line[1:])
            elif line.startswith("+"):
                self.changes[-1][2].append(line[1:])
            else:
                self.changes.append((line, [], []))

    def apply(self):
        for file, old, new in self.changes:
            path = COPY / file
            text = path.read_text()
            if text.count("\n".join(old)) < 1:
                sys.exit(f"{self.name}: {file} does not hold the lines that are to go")
            path.write_text(text.replace("\n".join(old), "\n".join(new), 1))

    def revert(self):
        for file, _, _ in self.changes:
            (COPY / file).write_text((ROOT / file).read_text())


def read_mutations():
    blocks = (ROOT / "tests/mutations/mutations.txt").read_text().split("\n\n")
    return [Mutation(block) for block in blocks[1:]]


def copy_sources():
    shutil.rmtree(COPY, ignore_errors=True)
    files = subprocess.run(["git", "ls-files"], cwd=ROOT, capture_output=True, text=True, check=True).stdout.split("\n")
    for file in filter(None, files):
        (COPY / file).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(ROOT / file, COPY / file)


def build():
    return subprocess.run(["cmake", "--build", BUILD, "--target", *TARGETS], capture_output=True).returncode == 0


def notices(command):
    try:
        return subprocess.run(command, capture_output=True, timeout=SECONDS_MAX).returncode != 0
    except subprocess.TimeoutExpired:
        return True


def prepare():
    copy_sources()
    subprocess.run(["cmake", "-G", "Ninja", "-S", COPY, "-B", BUILD, "-DCMAKE_BUILD_TYPE=Debug"], check=True,
                   stdout=subprocess.DEVNULL)
    if not build():
        sys.exit("the code does not build as it is")
    wrong = [name for name, command in DETECTORS.items() if notices(command)]
    if wrong:
        sys.exit(f"already failing without any mutation: {', '.join(wrong)}")


def chosen(arguments, mutations):
    if arguments.only:
        return [mutation for mutation in mutations if mutation.name in arguments.only]
    if arguments.draw is None:
        return mutations
    seed = random.randrange(10**6) if arguments.seed is None else arguments.seed
    print(f"drawn by seed {seed}")
    return random.Random(seed).sample(mutations, min(arguments.draw, len(mutations)))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--draw", type=int)
    parser.add_argument("--seed", type=int)
    parser.add_argument("--only", nargs="+")
    arguments = parser.parse_args()
    mutations = chosen(arguments, read_mutations())
    if not mutations:
        parser.error("no such mutation")
    prepare()
    print(f"{'mutation':58}" + "".join(f"{name:>12}" for name in DETECTORS))
    survivors, alone = [], 0
    for mutation in mutations:
        mutation.apply()
        # A fault that the compiler refuses is noticed before any test.
        noticed = [notices(command) for command in DETECTORS.values()] if build() else None
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
