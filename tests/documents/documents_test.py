"""Compares the documents with the project: examples, frames, links, names, commands, tables and numbers."""
import ast
import json
import pathlib
import re
import sys
import xml.etree.ElementTree

ROOT = pathlib.Path(__file__).parents[2]
DOCUMENTS = [*ROOT.glob("*.md"), *ROOT.glob("docs/*.md")]
README_LINES_MAX = 150
complaints = []


def complain(document, text):
    complaints.append(f"{document.relative_to(ROOT)}: {text}")


def read(path):
    return (ROOT / path).read_text()


def section(text, heading):
    return text.split(f"\n## {heading}\n")[1].split("\n## ")[0]


def rows(text):
    """Returns the rows of the tables in a text, without their headings, as lists of cells."""
    tables = re.findall(r"^\|.*\|\n\|[-|]+\|\n((?:\|.*\|\n)*)", text, re.M)
    cells = [re.split(r"(?<!\\)\|", line)[1:-1] for table in tables for line in table.split("\n") if line]
    return [[cell.strip() for cell in row] for row in cells]


def code_spans(text):
    return re.findall(r"`([^`\n]+)`", text)


def commands(text):
    """Returns the code of a document that may be a command: its code spans and the lines of its code blocks."""
    blocks = re.findall(r"^    (\S.*)$", text, re.M)
    return [*code_spans(text), *(re.split(r" {3,}#| {8,}", line.removeprefix("$ "))[0] for line in blocks)]


def compare(path, what, shown, true):
    """Complains about the first difference between the rows of a document and those of the source."""
    for one, other in zip([*shown, "nothing"], [*true, "nothing"]):
        if one != other:
            return complain(ROOT / path, f"{what}: {one} where the source has {other}")
    return None


def check_examples(document, text):
    """A block behind "<!-- same as FILE -->" is that file."""
    for path, block in re.findall(r"<!-- same as (\S+) -->\n```\w*\n(.*?)```\n", text, re.S):
        if block != read(path):
            complain(document, f"the block differs from {path}")


def check_frames(document, text):
    """A frame shown as STX ... ETX carries its checksum, and its message its number of fields."""
    for frame in re.findall(r"STX (9999\S+) ETX", text.replace("\\|", "|")):
        body, checksum = frame[:-2], frame[-2:]
        k = 0
        for character in body.encode("latin-1"):
            k ^= character
        if checksum != chr(64 + k // 16) + chr(64 + k % 16):
            complain(document, f"wrong checksum in {frame}")
        if ord(body[10]) - 48 != body.count("|") - 1:
            complain(document, f"wrong number of fields in {frame}")


def anchors(document):
    headings = re.findall(r"^#+ (.*)$", document.read_text(), re.M)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


def check_links(document, text):
    for path, anchor in re.findall(r"\]\(([^)#:]*)(?:#([^)]*))?\)", text):
        target = (document.parent / path) if path else document
        if not target.exists():
            complain(document, f"no {path}")
        elif anchor and anchor not in anchors(target):
            complain(document, f"no heading #{anchor} in {target.name}")


def check_paths(document, text):
    """A path in code, such as `src/engine/tick/tick.h`, exists; * stands for anything."""
    for code in commands(text):
        for path in re.findall(r"(?<![\w/.-])((?:src|include|apps|bindings|tests|bench|fuzz|docs|examples|scripts)/[\w./*-]*)", code):
            if not any(ROOT.glob(path.rstrip("/."))):
                complain(document, f"no {path}")


def check_commands(document, text):
    """The commands and options of the tool, the presets and the tests that a document names exist."""
    tool = "".join(path.read_text() for path in (ROOT / "apps/quarn").rglob("*.cpp"))
    presets = {preset["name"] for preset in json.loads(read("CMakePresets.json"))["configurePresets"]}
    tests = "".join(path.read_text() for folder in ("tests", "fuzz", "examples") for path in (ROOT / folder).rglob("*.[ct]*"))
    for code in commands(text):
        if command := re.match(r"quarn ([a-z]+)", code):
            if f'"{command[1]}"' not in tool:
                complain(document, f"the tool has no command {command[1]}")
            for option in re.findall(r" (--[a-z-]+)", code):
                if f'"{option}"' not in tool:
                    complain(document, f"quarn has no option {option}")
        for preset in re.findall(r"--preset ([\w-]+)", code):
            if preset not in presets:
                complain(document, f"no preset {preset}")
        for test in re.findall(r"ctest .*-R (\w+)|--gtest_filter='(\w+)", code):
            if not re.search(rf"(TEST\w*\(|TEST_SUITE_P\(\w*, |NAME |class )\w*{test[0] or test[1]}", tests):
                complain(document, f"no test {test[0] or test[1]}")


def check_glossary(path):
    """Each name of the glossary's tables occurs in the files of its last column, which lie below src or include. Each
    name of the library with one of the Italian words in it is in a table, without the prefix of the C interface."""
    text = read(path)
    for names, files in re.findall(r"^\| (`[^|]*) \|[^\n]*\| ([^|\n]*) \|$", text, re.M):
        sources = "".join(p.read_text() for f in code_spans(files) for p in ROOT.glob(f"src/{f}*"))
        for name in code_spans(names):
            if not re.search(rf"\b{re.escape(name)}\b", sources):
                complain(ROOT / path, f"{name} is not in {files}")
    italian = set(" ".join(re.findall(r"\*([a-z ]+)\*", text)).split()) - {"da", "in"}
    for source in (p for folder in ("include", "src/engine", "src/host") for p in (ROOT / folder).rglob("*.*")):
        code = re.sub(r'//.*|"(?:\\.|[^"\\\n])*"', "", source.read_text())
        names = (name.removeprefix("quarnex_") for name in re.findall(r"[A-Za-z]\w+", code))
        for name in set(names) - set(code_spans(text)):
            if italian & {word.lower() for word in re.findall(r"[A-Z]?[a-z]+", name)}:
                complain(ROOT / path, f"no {name}, which is in {source.name}")


# The constants behind each row of the table of times, as the row writes them.
TIMES = {
    "tick; frames taken": "{kTickMilliseconds} ms; 1",
    "first listen or call": "{kActivationSeconds} s",
    "a listen without a caller": "{kListenSeconds} s|{kCallSeconds} s",
    "next call after the peer": "{kCallAgainSeconds} s",
    "listening again after the caller": "at once, for {kListenSeconds} s",
    "listening again after the connection": "{kListenAgainSeconds} s",
    "answer overdue": "{kReplySeconds} s",
    "overdue answer in a row": "about {(kOverdueAnswersTolerated + 1) * (kReplySeconds + 1)} s",
    "silence until a probe": "{kClientAliveSeconds} s (client), {kServerAliveSeconds} s (server)",
    "silence until the link": "{(kSilentPeriodsTolerated + 1) * kClientAliveSeconds} s (client), "
                              "{(kSilentPeriodsTolerated + 1) * kServerAliveSeconds} s (server)",
}
ORDINALS = {6: "sixth"}


def check_times(path):
    """The table of times shows the constants of the header, and in the header's order."""
    document, text = ROOT / path, read(path)
    constants = {name: int(value) for name, value in
                 re.findall(r"(k\w+) = (\d+);", read("include/quarnex/times_and_limits.h"))}
    used = []
    for (event, time), (key, expected) in zip(rows(section(text, "Times")), TIMES.items()):
        used += re.findall(r"k\w+", expected)
        texts = {re.sub(r"\{([^}]*)\}", lambda each: str(eval(each[1], {}, constants)), part)
                 for part in expected.split("|")}
        if key not in event or texts != {time}:
            complain(document, f"the time of \"{event}\" is {' and '.join(sorted(texts))} in the header, not {time}")
    if ORDINALS.get(constants["kOverdueAnswersTolerated"] + 1, "-") not in text:
        complain(document, "the number of overdue answers differs from the header")
    used = list(dict.fromkeys(used))
    if used != [name for name in constants if name in used]:
        complain(document, f"the header lists {', '.join(used)} in another order")


def check_methods(path):
    """The table of methods lists those of the header, in their order."""
    header = read("include/quarnex/quarn_socket.h").split("\n public:\n")[1].split("snapshot(")[0]
    declared = re.findall(r"^  (?:std::\w+|void|bool) (\w+)\(", header, re.M)
    compare(path, "method", [code_spans(row[0])[0] for row in rows(section(read(path), "The methods"))], declared)


def check_error_numbers(path):
    """The table of error numbers is that of the adapter, and the kinds of failures are those of the header."""
    words = dict(re.findall(r'\{(\d+), "([^"]+)"', read("src/services/socket_errors.cpp")))
    source = read("src/platform/posix/error_numbers.cpp")
    known = [[number, f"`{error}`", own or words[number]]
             for error, number, own in re.findall(r'\{(E\w+), (\d+)(?:, "([^"]+)")?\}', source)]
    unknown = re.search(r'kUnknown = \{-1, (\d+)\}', source)[1]
    text = read(path)
    compare(path, "error number", [row for row in rows(section(text, "Error numbers")) if len(row) == 3],
            [*known, [unknown, "any other", words[unknown]]])
    header = read("include/quarnex/link_snapshot.h").split("enum class FailureKind")[1].split("nameOf(FailureKind")[0]
    kinds = [*zip(re.findall(r"^  (\w+),? +///<", header, re.M), re.findall(r'"([a-z-]+)"', header))]
    compare(path, "kind of failure", [tuple(code_spans(" ".join(row[:2]))) for row in rows(section(text, "Reasons of failures"))],
            kinds)


def check_words(path):
    """The page on texts names each word of the protocol."""
    text = read(path)
    for word in re.findall(r'\{"(9[^"]+)", Match::', read("src/engine/message/service_words.cpp")):
        if f"`{word}`" not in text:
            complain(ROOT / path, f"no {word}")


def check_ports(path):
    """The tables of ports show those of the header."""
    ports = [(f"`{name}`", port) for name, port in re.findall(r'\{"([\w-]+)", (\d{5})\}', read("include/quarnex/ports.h"))]
    compare(path, "port", [tuple(row) for row in rows(section(read(path), "Ports")) if row[1].isdigit()], ports)


def check_layers(path):
    """The include table is that of the test that enforces it."""
    layers = {}
    for part in ast.parse(read("tests/structure/structure_test.py")).body:
        if isinstance(part, ast.Assign) and part.targets[0].id in ("ENGINE", "LAYERS"):
            exec(compile(ast.Module([part], []), "layers", "exec"), layers)
    shown = [(code_spans(row[0])[0], code_spans(row[1])) for row in rows(section(read(path), "Include table"))]
    compare(path, "includes", shown, layers["LAYERS"].items())


def check_pictures():
    for path in ROOT.glob("docs/images/*.svg"):
        tags = [element.tag.split("}")[-1] for element in xml.etree.ElementTree.parse(path).getroot()]
        if "title" not in tags or "desc" not in tags:
            complain(path, "a picture has a title and a description")


for each in DOCUMENTS:
    content = each.read_text()
    for check in (check_examples, check_frames, check_links, check_paths, check_commands):
        check(each, content)
if read("README.md").count("\n") > README_LINES_MAX:
    complain(ROOT / "README.md", f"more than {README_LINES_MAX} lines")
check_glossary("docs/glossary.md")
check_times("docs/protocol.md")
check_methods("docs/guide.md")
check_error_numbers("docs/reports.md")
check_words("docs/texts.md")
check_ports("docs/operations.md")
check_layers("docs/architecture.md")
check_pictures()
sys.exit("\n".join(complaints) or 0)
