"""Compares the binary interface in C with the description of the last release: symbols, parameters and structs.

    c_abi_test.py EXPORTS_MAP [--update]

Compiles the header with every compiler of this system. Additions are no difference; everything else is, even what a host
of the last release would not notice: then --update writes the description anew. Exit status 77 without abidiff, or if the
description is that of another processor.
"""
import pathlib
import platform
import re
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
DESCRIPTION = ROOT / "bindings/c/abi/quarnex-1.0.xml"


def empty_library():
    """Returns a source with an empty body for each function of the header."""
    header = (ROOT / "include/quarnex/quarnex.h").read_text()
    functions = re.findall(r"^QUARNEX_C_API ([^;]*);", header, re.M)
    bodies = [f"{function} {{{'' if function.startswith('void') else ' return 0;'} }}" for function in functions]
    return "\n".join(['#include "quarnex/quarnex.h"', *bodies])


def describe(compiler, folder):
    library, description = folder / "libquarnex.so", folder / f"{compiler}.xml"
    subprocess.run([compiler, "-std=c99", "-g", "-shared", "-fPIC", "-I", ROOT / "include", "-xc", "-", "-o", library,
                    f"-Wl,--version-script={sys.argv[1]},-soname,libquarnex.so.1"], input=empty_library(), text=True, check=True)
    subprocess.run(["abidw", "--no-show-locs", "--no-corpus-path", "--no-comp-dir-path", "--type-id-style", "hash",
                    "--out-file", description, library], check=True)
    return description


if not shutil.which("abidiff") or platform.machine() != "x86_64":
    print("abidiff is not installed, or the description is that of another processor")
    sys.exit(77)
with tempfile.TemporaryDirectory() as name:
    found = [describe(compiler, pathlib.Path(name)) for compiler in ("gcc", "clang") if shutil.which(compiler)]
    if "--update" in sys.argv:
        shutil.copy(found[0], DESCRIPTION)
    results = [subprocess.run(["abidiff", "--no-added-syms", DESCRIPTION, each]).returncode for each in found]
sys.exit(max(results))
