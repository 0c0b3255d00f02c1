"""Holds the documents against the project: examples, frames, links, names and their files."""
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).parents[2]
DOCUMENTS = [*ROOT.glob("*.md"), *ROOT.glob("docs/*.md")]
complaints = []


def complain(document, text):
    complaints.append(f"{document.relative_to(ROOT)}: {text}")


def check_examples(document, text):
    """A block behind "<!-- same as FILE -->" is that file."""
    for path, block in re.findall(r"<!-- same as (\S+) -->\n```\w*\n(.*?)```\n", text, re.S):
        if block != (ROOT / path).read_text():
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
    """A path in backquotes, such as `src/engine/tick/tick.h`, exists; * stands for anything."""
    for path in re.findall(r"`((?:src|include|apps|tests|bench|fuzz|docs|examples|scripts)/[\w./*-]*)`", text):
        if not any(ROOT.glob(path.rstrip("/"))):
            complain(document, f"no {path}")


def check_glossary(document, text):
    """Each name of the glossary's tables occurs in the files of its last column, which lie below src or include."""
    for names, files in re.findall(r"^\| (`[^|]*) \|[^\n]*\| ([^|\n]*) \|$", text, re.M):
        sources = "".join(p.read_text() for f in re.findall(r"`([^`]+)`", files) for p in ROOT.glob(f"src/{f}*"))
        for name in re.findall(r"`([^`]+)`", names):
            if not re.search(rf"\b{re.escape(name)}\b", sources):
                complain(document, f"{name} is not in {files}")


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


def check_times(document, text):
    """The table of times shows the constants of the header, and in the header's order."""
    header = (ROOT / "include/quarnex/times_and_limits.h").read_text()
    constants = {name: int(value) for name, value in re.findall(r"(k\w+) = (\d+);", header)}
    rows = re.findall(r"^\| ([^|]*) \| ([^|]*) \|$", text.split("\n## Times\n")[1].split("\n## ")[0], re.M)
    used = []
    for (event, time), (key, expected) in zip(rows[1:], TIMES.items()):
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


for each in DOCUMENTS:
    content = each.read_text()
    for check in (check_examples, check_frames, check_links, check_paths):
        check(each, content)
check_times(ROOT / "docs/protocol.md", (ROOT / "docs/protocol.md").read_text())
check_glossary(ROOT / "docs/glossary.md", (ROOT / "docs/glossary.md").read_text())
sys.exit("\n".join(complaints) or 0)
