#!/usr/bin/env python3
"""Builds the wheel of the Python binding and installs it into a fresh environment, FOLDER/environment, which the other
tests of the binding use. Checks its types, and its declarations against the header of the C interface."""
import pathlib
import re
import shutil
import subprocess
import sys
import venv

ROOT = pathlib.Path(__file__).parents[3]
FOLDER = pathlib.Path(sys.argv[1]).absolute()
PYTHON = FOLDER / "environment/bin/python3"
HANDLES = ("instance", "test_site")
FROM_INSTALLED = """
import inspect, quarnex
from quarnex import _library, testing
public = [quarnex, testing, *(getattr(quarnex, name) for name in quarnex.__all__), testing.Site, testing.TestHost]
members = [member for each in public if inspect.isclass(each) and each.__module__.startswith("quarnex")
           for name, member in vars(each).items() if inspect.isfunction(member) and not name.startswith("_")]
for each in [*public, *members]:
    assert inspect.getdoc(each), f"no docstring: {each}"
structs, functions = ({**one, **other} for one, other in (
    (_library.STRUCTS, testing.STRUCTS), (_library.FUNCTIONS, testing.FUNCTIONS)))
print(repr((quarnex.__version__, quarnex.__file__, structs, functions)))
"""


def run(*command):
    result = subprocess.run([*map(str, command)], stdout=subprocess.PIPE, text=True)
    if result.returncode != 0:
        sys.exit(f"{command}\n{result.stdout}")
    return result.stdout


def install():
    shutil.rmtree(FOLDER, ignore_errors=True)
    shutil.copytree(ROOT / "bindings/python", FOLDER / "source")
    run(sys.executable, "-m", "pip", "wheel", "-q", "--no-build-isolation", "--no-deps", "--no-index", "-w", FOLDER,
        FOLDER / "source")
    venv.create(FOLDER / "environment", with_pip=True)
    run(PYTHON, "-m", "pip", "install", "-q", "--no-index", *FOLDER.glob("quarnex-*.whl"))


def members(body):
    """The members of a struct, each with its type."""
    return [(kind, name) for kind, names in re.findall(r"([^;]+?) (\w[^; ]*(?:, [^; ]+)*);", body)
            for name in names.split(", ")]


def declared():
    """The structs and functions of the header, in the form of the binding's tables."""
    text = "".join(path.read_text() for path in (ROOT / "include/quarnex").glob("quarnex*.h"))
    header = re.sub(r" +", " ", re.sub(r"//.*|#.*|\s+", " ", text))
    structs = {name: body for body, name in re.findall(r"typedef struct \w+ \{ ([^}]*) \} quarnex_(\w+);", header)}
    functions = {}
    for name, parameters in re.findall(r"QUARNEX_C_API int32_t quarnex_(\w+)\(([^)]*)\);", header):
        parameters = re.sub(r"const char\* \w+, size_t \w*length", "string text", parameters)
        types = [re.fullmatch(r"(?:const )?(?:quarnex_)?(\w+?)(?:_t)?(\**) \w+", each.strip())
                 for each in parameters.split(",")]
        functions[name] = " ".join(each[2][each[1] in HANDLES:] + each[1] for each in types if each[1] != "error")
    return structs, functions


def compare(kind, own, header):
    for name in own.keys() | header.keys():
        if own.get(name) != header.get(name):
            sys.exit(f"{kind} {name}: {own.get(name)} in the binding, {header.get(name)} in the header")


install()
version, place, structs, functions = eval(run(PYTHON, "-I", "-c", FROM_INSTALLED))
assert version == (ROOT / "VERSION").read_text().strip() and f"quarnex-{version}-" in str(*FOLDER.glob("*.whl")), version
assert place.startswith(str(FOLDER)), f"imported from {place}"
header_structs, header_functions = declared()
compare("struct", *({name: members(body) for name, body in each.items()} for each in (structs, header_structs)))
compare("function", functions, header_functions)
for checked in (pathlib.Path(place).parent, ROOT / "examples/embed.py"):
    print(run(sys.executable, "-m", "mypy", "--strict", "--python-executable", PYTHON, "--cache-dir", FOLDER / "types",
              checked))
