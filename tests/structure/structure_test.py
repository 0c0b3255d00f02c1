"""Holds the sources against the rules of the architecture that can be checked as text, and prints the rule each breaks."""
import collections
import itertools
import pathlib
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]

# Which folders each folder may include, itself aside. The first row that fits a file counts.
ENGINE = [f"src/engine/{folder}" for folder in ("records", "events", "diagnostics", "message", "link", "exchange", "tick")]
LAYERS = {
    "include/quarnex": [],
    "src/services": ["include/quarnex/failure.h"],
    **{folder: ["src/services", "include/quarnex", *ENGINE[:place]] for place, folder in enumerate(ENGINE)},
    "src/host": ["src/services", "src/engine", "include/quarnex"],
    "src/platform/common/process_library.cpp": ["src/services", "src/host", "src/platform/common", "include/quarnex"],
    "src/platform/common": ["src/services", "include/quarnex"],
    "src/platform/posix": ["src/services", "src/platform/common", "include/quarnex"],
    "src/platform/windows": ["src/services", "src/platform/common", "include/quarnex"],
    "src/platform/simulated": ["src/services", "include/quarnex/failure.h"],
    "src/recording": ["src/services", "src/host", "src/engine/records", "include/quarnex"],
    # These know the engine only by its behaviour: no row that they may include reaches a constant of the engine.
    "src/simulation/checks/independent": ["src/simulation/peers/hostile_bytes.h", "src/platform/simulated", "src/services"],
    "src/simulation/peers": ["src/platform/simulated", "src/services", "include/quarnex"],
    "src/simulation": ["src/platform/simulated", "src/recording", "src/host", "src/services", "src/engine/records",
                       "include/quarnex"],
    # The kit shows hosts only public headers, which include nothing of these.
    "src/testing": ["src/simulation/sites", "src/simulation/faults/tampering.h", "src/simulation/faults/faulty_services.h",
                    "src/simulation/peers/wire_format.h",
                    "src/platform/simulated", "src/recording/recorder", "src/recording/format", "src/host", "src/services",
                    "src/engine/records", "include/quarnex"],
    # Programs that call by name iterate over the method table.
    "apps": ["include/quarnex", "src/recording", "src/simulation", "src/services/threads.h", "src/host/method_table.h", "bindings/answers"],
    "bindings/c": ["include/quarnex"],
    "bindings/c_testing": ["include/quarnex", "bindings/c/c_boundary.h"],
    "bindings/lua": ["include/quarnex/quarnex.h"],
    "bindings/component": ["include/quarnex", "src/host/method_table.h", "src/services/process_library.h",
                           "src/engine/records/library.h", "bindings/answers"],
    "bindings/component/windows": ["bindings/component", "bindings/answers", "src/host/method_table.h", "include/quarnex"],
    "bindings/answers": ["include/quarnex", "src/host/method_table.h", "src/recording/format/text_codes.h"],
}
PURE = ("src/engine/", "src/host/")
SYSTEM_HEADERS_IN = ("src/platform/posix/", "src/platform/windows/", "apps/quarn/posix/", "apps/quarn/windows/", "bindings/component/windows/")
MAY_CATCH = {"src/engine/records/trap.h": "the trap helper", "src/host/quarn_socket.cpp": "the host boundary",
             "src/host/host_boundary.h": "the host boundary"}
FILE_LINES_MAX = 450
CHECK_LINES_MAX = 150
C_HEADER = "include/quarnex/quarnex.h"
C_STANDARDS = ("c99", "c17", "c++17", "c++20")
WARNINGS = ("-Wall", "-Wextra", "-Wpedantic", "-Wconversion", "-Werror")
CHECK = re.compile(r"^class \w+(?: final)? : public (?:Record)?Check(, )?", re.M)
SYSTEM_HEADER = re.compile(r"#include <((?:sys|netinet|arpa|linux)/|(?:unistd|fcntl|errno|signal|poll|pthread|windows|"
                           r"winsock2?|ws2tcpip|iphlpapi|sddl)\.h>)")
CLOCK = re.compile(r"\b(?:system_clock|steady_clock|high_resolution_clock|clock_gettime|gettimeofday|std::time)\b")
STATIC_STATE = re.compile(r"^\s*(?:inline\s+)?(?:static|thread_local)\s+(?!_assert|constexpr|inline|const\b[^*;]*[;={])[^()]*[;={]|"
                          r"^\s*(?:inline\s+)?thread_local\b")
# A variable of a namespace begins its line and has no parentheses before its value.
NAMESPACE_STATE = re.compile(r"^(?!(?:inline )?const|using|namespace|struct|class|enum|template|extern|static|return|typename)"
                             r"[A-Za-z_][\w:<>, ]*[ >]\w+(?: = [^()]*| = .*\{.*|\{.*\})?;")
# A line in a file of that name breaks the rule with those words: shows that each rule finds what it is for.
PLANTED = [
    ("src/services/planted.h", '#include "host/engine.h"', "src/services may include only"),
    ("src/engine/link/planted.cpp", '#include "engine/exchange/handler.h"', "src/engine/link may include only"),
    ("src/simulation/checks/independent/planted.h", '#include "engine/records/library.h"', "independent may include only"),
    ("src/simulation/checks/independent/planted.h", '#include "quarnex/times_and_limits.h"', "independent may include only"),
    ("src/simulation/checks/independent/planted.h", '#include "simulation/checks/record_check.h"', "independent may include only"),
    ("src/platform/simulated/planted.h", '#include "quarnex/times_and_limits.h"', "src/platform/simulated may include only"),
    ("src/simulation/checks/planted.h", "class Planted : public Check {", "begins with its rule"),
    ("src/simulation/checks/planted.h", "// Rule: r.\nclass Planted : public Check {" + 150 * "\n", "150 lines at most"),
    ("src/engine/link/planted.cpp", "  static int calls = 0;", "no static state"),
    ("src/engine/link/planted.cpp", "std::vector<int> links;", "no static state"),
    ("src/host/planted.cpp", "thread_local int depth = 0;", "no static state"),
    ("src/engine/tick/planted.cpp", "const auto now = std::chrono::steady_clock::now();", "no clock"),
    ("src/engine/link/planted.cpp", "#include <sys/socket.h>", "system headers"),
    ("src/engine/link/planted.cpp", "} catch (const Failure& failure) {", "catch"),
]
findings = []


def find(file, line, rule):
    findings.append(f"{file}:{line}: {rule}")


def code_lines(path):
    """The numbered lines of a file without its comments."""
    for number, line in enumerate(path.read_text(encoding="latin-1").split("\n"), 1):
        yield number, re.sub(r"//.*", "", line)


def target_of(name):
    for folder in ("include", "src", "apps", "bindings"):
        if (ROOT / folder / name).exists():
            return f"{folder}/{name}"
    return None


def check_includes(file, lines):
    layer = next((row for row in sorted(LAYERS, key=len, reverse=True) if file == row or file.startswith(row + "/")), None)
    if layer is None:
        return
    for number, line in lines:
        included = re.match(r'\s*#include "([^"]+)"', line)
        target = included and target_of(included[1])
        if not target or target.startswith(layer + "/"):
            continue
        if not any(target == allowed or target.startswith(allowed + "/") for allowed in LAYERS[layer]):
            find(file, number, f"{layer} may include only {', '.join(LAYERS[layer]) or 'itself'}, not {target}")


def check_purity(file, lines):
    for number, line in lines:
        if file.startswith(PURE):
            if CLOCK.search(line):
                find(file, number, "the engine reads no clock but the one among its services")
            if STATIC_STATE.search(line) or NAMESPACE_STATE.search(line):
                find(file, number, "the engine has no static state")
            if re.search(r"\bcatch\b", line) and file not in MAY_CATCH:
                find(file, number, f"only {' and '.join(MAY_CATCH.values())} catch")
        if SYSTEM_HEADER.search(line) and file.startswith(("src/", "apps/", "bindings/")) and not file.startswith(SYSTEM_HEADERS_IN):
            find(file, number, f"only {', '.join(SYSTEM_HEADERS_IN)} include system headers")


def check_check(file, text):
    """A check of the simulation is one short file with one base class, whose first line states its rule."""
    for check in CHECK.finditer(text) if file.startswith("src/simulation/checks/") else ():
        first = text.startswith("// Rule: ") and len(CHECK.findall(text)) == 1
        if "RecordCheck : public" not in check[0] and (check[1] or not first or text.count("\n") > CHECK_LINES_MAX):
            find(file, 1, f"a check is one file of {CHECK_LINES_MAX} lines at most that begins with its rule")


def check_public_header(file):
    """A public header compiles alone; the header of the C interface does so with every compiler and language."""
    compilers, standards = [sys.argv[1] if len(sys.argv) > 1 else "c++"], ["c++17"]
    if file == C_HEADER:
        compilers, standards = filter(shutil.which, {*compilers, "g++", "clang++"}), C_STANDARDS
    for compiler, standard in itertools.product(compilers, standards):
        command = [compiler, "-std=" + standard, "-fsyntax-only", *WARNINGS, "-I.", "-xc++" if "+" in standard else "-xc", "-"]
        result = subprocess.run(command, cwd=ROOT / "include", input=f'#include "{file.removeprefix("include/")}"\n',
                                capture_output=True, text=True)
        if result.returncode != 0:
            find(file, 1, f"a public header is self-contained, with {compiler} and {standard} too:\n{result.stderr}")


def check_names(files):
    """No two source files share a name, so that a name finds one place."""
    for name, count in collections.Counter(pathlib.PurePath(file).name for file in files).items():
        if count > 1:
            find(name, 1, "no two source files share a name")


def check_rules():
    """Each planted line is found, and nothing else is."""
    for file, line, words in PLANTED:
        lines = [(1, line)]
        check_includes(file, lines)
        check_purity(file, lines)
        check_check(file, line)
        if len(findings) != 1 or words not in findings[0]:
            sys.exit(f"planted in {file}: {line}\nexpected: {words}\nfound: {findings}")
        findings.clear()


def main():
    check_rules()
    listed = [path for folder in ("include", "src", "apps", "bindings", "tests", "bench", "fuzz", "examples")
              for path in sorted((ROOT / folder).rglob("*")) if path.suffix in (".h", ".cpp", ".c")]
    files = [str(path.relative_to(ROOT)) for path in listed]
    for path, file in zip(listed, files):
        lines = list(code_lines(path))
        check_includes(file, lines)
        check_purity(file, lines)
        if len(lines) > FILE_LINES_MAX + 1:
            find(file, len(lines) - 1, f"no file has more than {FILE_LINES_MAX} lines")
        check_check(file, path.read_text(encoding="latin-1"))
        if file.startswith("include/"):
            check_public_header(file)
    check_names(files)
    print("\n".join(findings) or f"{len(files)} files keep the rules")
    sys.exit(1 if findings else 0)


main()
