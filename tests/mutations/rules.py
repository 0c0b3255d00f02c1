"""Draws mutations by rule from the sources: a condition forced, an operator exchanged, a constant changed, a statement
removed. Each changes one line, so a mutation names its file, line number and the two texts."""
import random
import re

FOLDERS = ["src/engine", "src/host", "src/platform/common", "src/platform/posix", "src/services"]
OPERATORS = {"==": "!=", "!=": "==", "<=": "<", ">=": ">", "&&": "||", "||": "&&", " < ": " <= ", " > ": " >= ",
             " + ": " - ", " - ": " + ", "++": "--", "--": "++", "+=": "-=", "-=": "+="}
CONSTANTS = {"true": "false", "false": "true"}
# Lines whose change the compiler refuses, or that make no code: declarations, assertions, texts for people.
NO_CODE = re.compile(r"^\s*(//|#|\}|template\b|using\b|namespace\b|class\b|struct\b|enum\b|static_assert\b|QUARNEX_ASSERT\b"
                     r"|public:|private:|protected:|case\b|default:|break;|\{)")


def without_texts(line):
    """Blanks out texts, characters and comments, so that positions stay."""
    return re.sub(r'"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])*\'|//.*', lambda found: " " * len(found[0]), line)


def closing(plain, opening):
    """The position of the parenthesis that closes the one at `opening`, or -1."""
    depth = 0
    for position in range(opening, len(plain)):
        depth += {"(": 1, ")": -1}.get(plain[position], 0)
        if depth == 0:
            return position
    return -1


def condition(line):
    plain = without_texts(line)
    found = re.match(r"^\s*(?:\} else )?(if|while) \(", plain)
    end = closing(plain, found.end() - 1) if found else -1
    if end < 0 or ";" in plain[found.end():end]:
        return
    head, whole, tail = line[:found.end()], line[found.end():end], line[end:]
    yield f"{head}false && ({whole}){tail}"
    if found[1] == "if":
        yield f"{head}true || ({whole}){tail}"


def exchanged(line):
    plain = without_texts(line)
    for old, new in OPERATORS.items():
        for found in re.finditer(re.escape(old), plain):
            around = plain[max(0, found.start() - 1):found.end() + 1]
            if old.strip() in ("==", "!=", "<=", ">=", "+=", "-=") and re.search(r"[<>=!+-]{3}", around):
                continue
            if old in (" < ", " > ") and "template" in plain:
                continue
            yield line[:found.start()] + new + line[found.end():]


def changed_constant(line):
    plain = without_texts(line)
    for found in re.finditer(r"(?<![\w.'])(\d+)(?![\w.'])|\b(true|false)\b", plain):
        new = CONSTANTS.get(found[0]) or str(int(found[0]) + 1)
        yield line[:found.start()] + new + line[found.end():]


def removed(line):
    """Statements of one line that neither declare nor return anything."""
    statement = line.strip()
    if statement.endswith(";") and re.match(r"^(trap\(|[\w.\->\[\]():]+(\(.*\)| [-+|^]?= .+|\+\+|--);|\+\+|--)", statement) \
            and not re.match(r"^(return|throw|const|auto|std::\w+ \w+;)", statement):
        yield line[:len(line) - len(line.lstrip())] + ";"


def candidates(root, files):
    for file in sorted(file for file in files if file.startswith(tuple(FOLDERS)) and file.endswith((".cpp", ".h"))):
        for number, line in enumerate((root / file).read_text().splitlines(), 1):
            if NO_CODE.match(line):
                continue
            for rule in (condition, exchanged, changed_constant, removed):
                for new in rule(line):
                    if new != line:
                        yield file, number, line, new


def draw(root, files, seed):
    """Every mutation of every line in an order that the seed determines; no line twice."""
    everything = list(candidates(root, files))
    random.Random(seed).shuffle(everything)
    lines = set()
    for file, number, line, new in everything:
        if (file, number) not in lines:
            lines.add((file, number))
            yield file, number, line, new
