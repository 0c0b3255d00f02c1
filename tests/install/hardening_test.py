"""Reads from the installed library and tool which protections they were built with, and prints those that are missing.

    hardening_test.py LIBRARY PROGRAM
"""
import pathlib
import platform
import re
import subprocess
import sys

# Name, option of readelf, and a pattern of its output.
PROTECTIONS = [
    ("position-independent code", "--file-header", r"Type: +DYN"),
    ("relocations read-only after loading", "--program-headers", r"GNU_RELRO"),
    ("all symbols bound at loading", "--dynamic", r"\(FLAGS_1\) +Flags: .*\bNOW\b"),
    ("stack protector", "--dyn-syms", r"__stack_chk_fail"),
    ("checked functions of the C library", "--dyn-syms", r"__\w+_chk\b"),
]
OF_PROGRAMS = [("position-independent program", "--dynamic", r"\(FLAGS_1\) +Flags: .*\bPIE\b")]
BRANCH_TARGET = b"\xf3\x0f\x1e\xfa"  # endbr64, at the start of functions
BRANCH_TARGETS_MIN = 100


def missing(path, protections):
    for name, option, pattern in protections:
        shown = subprocess.run(["readelf", "--wide", option, path], capture_output=True, text=True, check=True).stdout
        if not re.search(pattern, shown):
            yield f"{path}: no {name}"
    if platform.machine() == "x86_64" and pathlib.Path(path).read_bytes().count(BRANCH_TARGET) < BRANCH_TARGETS_MIN:
        yield f"{path}: no control-flow protection"


library, program = sys.argv[1:]
wrong = [*missing(library, PROTECTIONS), *missing(program, PROTECTIONS + OF_PROGRAMS)]
print("\n".join(wrong) or "library and tool have every protection")
sys.exit(1 if wrong else 0)
