#!/usr/bin/env python3
"""Runs the commands that measure the project and keeps their output in docs/measurements.md.

    measurements.py            prints the names of the measurements with their commands
    measurements.py NAME...    runs the named measurements one after another and replaces their sections
    measurements.py missing    runs those that the page does not hold yet
    measurements.py all        runs all of them, which takes hours

Run it on a machine without other work. Exit status 1 if a command failed; its section then shows the failure.
"""
import datetime
import os
import pathlib
import re
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
PAGE = ROOT / "docs" / "measurements.md"
# A clean build without a compiler cache, timed.
CLEAN_BUILD = ("export CMAKE_CXX_COMPILER_LAUNCHER= && rm -rf build/clean && cmake --preset {0} -B build/clean && "
               "time -p cmake --build build/clean")
# The command of each measurement, and how many of the last lines of its output the page shows. The order is that of
# docs/reliability.md.
MEASUREMENTS = {
    "tests": ("scripts/test.sh", 40),
    "replay": ("cmake --preset release && cmake --build --preset release --target quarn && "
               "build/release/bin/quarn replay tests/data/recordings/*.jsonl", 3),
    "fuzzing": ("scripts/fuzz.sh 60", 5),
    "model": ("scripts/check_model.sh", 1),
    "demo": ("scripts/demo.sh", 5),
    "kills": ("scripts/endurance.sh kills", 12),
    "attacks": ("scripts/endurance.sh attacks", 8),
    "clock": ("scripts/endurance.sh clock", 8),
    "reconnections": ("scripts/endurance.sh reconnections", 6),
    "threads": ("scripts/endurance.sh threads", 4),
    "simulation": ("scripts/simulate.sh 25", 18),
    "recording": ("scripts/endurance.sh recording", 12),
    "recording-sizes": ("cmake --preset release -B build/bench -DQUARNEX_BENCH=ON -DQUARNEX_TESTS=OFF -DQUARNEX_TOOLS=OFF && "
                        "cmake --build build/bench --target quarnex_recording_sizes && "
                        "build/bench/bin/quarnex_recording_sizes 4", 8),
    "benchmarks": ("scripts/bench.sh", 50),
    "mutations": ("tests/mutations/check_tests.py", 72),
    "rule-mutations": ("tests/mutations/check_tests.py --rule 150", 12),
    "coverage": ("scripts/coverage.sh", 10),
    "clean-build": (CLEAN_BUILD.format("release"), 3),
    "clean-build-of-the-tool": (CLEAN_BUILD.format("tool"), 3),
}
# Lines that only builds print.
NOISE = re.compile(r"\[\d+/\d+\]|ninja: |-- |Preset CMake variables|Installing |Building |\s*$")
INTRODUCTION = """# Latest measurements

`scripts/measurements.py` writes this page; do not edit it. Each section shows the last lines of one command's output.
Times depend on the machine. [reliability.md](reliability.md) states the promises that these commands check.
"""


def output_of(*command):
    return subprocess.run(command, cwd=ROOT, capture_output=True, text=True).stdout.strip()


def machine():
    model = re.search(r"^model name\s*: (.*)$", pathlib.Path("/proc/cpuinfo").read_text(), re.M)
    compiler = output_of("c++", "--version").split("\n")[0]
    return f"{len(os.sched_getaffinity(0))} cores of {model[1] if model else os.uname().machine}, {compiler}"


def commit():
    status = output_of("git", "status", "--porcelain", "--untracked-files=no", "--", ".", f":!{PAGE.relative_to(ROOT)}")
    return output_of("git", "rev-parse", "--short", "HEAD") + (" with local changes" if status else "")


def measure(name):
    """Returns the section of one measurement, and its exit status."""
    start = time.monotonic()
    command, lines = MEASUREMENTS[name]
    done = subprocess.run(["bash", "-c", command], cwd=ROOT, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, errors="replace")
    seconds = time.monotonic() - start
    shown = [line.rstrip() for line in done.stdout.split("\n") if not NOISE.match(line)][-lines:]
    day = datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d %H:%M UTC")
    about = [f"- Command: `{command}`", f"- Ended: {day}, after {seconds:.0f} s, with exit status {done.returncode}",
             f"- Commit: {commit()}", f"- Machine: {machine()}"]
    return "\n".join([f"## {name}", "", *about, "", "```text", *shown, "```", ""]), done.returncode


def sections():
    """Returns the sections of the present page by name."""
    text = PAGE.read_text() if PAGE.exists() else ""
    return {part.split("\n", 1)[0]: f"## {part}" for part in re.split(r"^## ", text, flags=re.M)[1:]}


def write(kept):
    ordered = [kept[name].rstrip() + "\n" for name in MEASUREMENTS if name in kept]
    PAGE.write_text("\n".join([INTRODUCTION, *ordered]))


def main(names):
    if not names:
        print("\n".join(f"{name:24} {command}" for name, (command, _) in MEASUREMENTS.items()))
        return 0
    if names in (["all"], ["missing"]):
        kept = sections() if names == ["missing"] else {}
        names = [name for name in MEASUREMENTS if name not in kept]
    if unknown := [name for name in names if name not in MEASUREMENTS]:
        print(f"No measurement {', '.join(unknown)}; run measurements.py without arguments for the names", file=sys.stderr)
        return 2
    failed = 0
    for name in names:
        print(f"{name}: {MEASUREMENTS[name][0]}", flush=True)
        section, status = measure(name)
        write({**sections(), name: section})
        failed |= status != 0
    return failed


sys.exit(main(sys.argv[1:]))
