"""Draws mutations by rule from the sources: a condition forced, an operator exchanged, a constant changed, a statement
removed. Each changes one line, so a mutation names its file, line number and the two texts.

Most of them can stand in the code together, each behind a question whether it is on, so that one build serves them all.
A rule yields the changed line and, given that question, the line with both."""
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


NO_QUESTION = re.compile(r"\b(constexpr|consteval|static_assert|case|template|for)\b")
# How tightly operators bind, the loosest first; the operands of one end where a looser one begins.
BINDING = [["||"], ["&&"], ["==", "!="], ["<=", ">=", " < ", " > "], [" + ", " - "]]


def condition(line, _):
    plain = without_texts(line)
    found = re.match(r"^\s*(?:\} else )?(if|while) \(", plain)
    end = closing(plain, found.end() - 1) if found else -1
    if end < 0 or ";" in plain[found.end():end]:
        return
    head, whole, tail = line[:found.end()], line[found.end():end], line[end:]
    yield f"{head}false && ({whole}){tail}", lambda on: f"{head}!{on} && ({whole}){tail}"
    if found[1] == "if":
        yield f"{head}true || ({whole}){tail}", lambda on: f"{head}{on} || ({whole}){tail}"


def operand_end(plain, position, step, loosest):
    """The position where the operand beside an operator ends, walking forward or back; None if the line ends before."""
    depth = 0
    while 0 <= position < len(plain):
        char = plain[position]
        depth += {"(": 1, "[": 1, "{": 1, ")": -1, "]": -1, "}": -1}.get(char, 0) * step
        if depth < 0 or depth == 0 and char in ",;?":
            return position
        if depth == 0 and char == ":" and "::" not in plain[max(0, position - 1):position + 2]:
            return position
        around = plain[max(0, position - 2):position + 3]
        if depth == 0 and (re.search(r"[^<>=!]=[^=]", plain[max(0, position - 1):position + 2]) and char == "="
                           or any(operator.strip() in around and char in operator.strip() for operator in loosest)):
            return position
        if depth == 0 and step < 0 and re.search(r"\breturn $", plain[:position + 1]):
            return position
        position += step
    return None


def with_operands(line, before, start, end, new, on):
    """The operator at start..end with its operands, both ways; None if its operands continue on other lines. Equal
    operators before it belong to its left operand, unless the new one binds tighter; equal ones behind it belong to its
    right operand if the new one binds looser."""
    plain = without_texts(line)
    level = next((level for level, operators in enumerate(BINDING) if line[start:end] in operators), None)
    if level is None:
        return None
    looser, own = sum(BINDING[:level], []), BINDING[level]
    left = operand_end(plain, start - 1, -1, looser + (own if new == "&&" else []))
    if left is None:
        if not re.search(r"([({;,=?:]|\breturn|&&|\|\|)$", without_texts(before).rstrip()):
            return None
        left = len(line) - len(line.lstrip()) - 1
    right = operand_end(plain, end, 1, looser + (own if new != "||" else []))
    if right is None:
        return None
    one, other = line[left + 1:start].strip(), line[end:right].strip()
    pad = " " if plain[left] in "=n&|?:," else ""
    return (f"{line[:left + 1]}{pad}({on} ? ({one} {new.strip()} {other}) : ({one} {line[start:end].strip()} {other}))"
            + (" " if plain[right] in "?:&|=!<>+-" else "") + line[right:])


def exchanged(line, before):
    plain = without_texts(line)
    for old, new in OPERATORS.items():
        for found in re.finditer(re.escape(old), plain):
            around = plain[max(0, found.start() - 1):found.end() + 1]
            if old.strip() in ("==", "!=", "<=", ">=", "+=", "-=") and re.search(r"[<>=!+-]{3}", around):
                continue
            if old in (" < ", " > ") and "template" in plain:
                continue
            changed = line[:found.start()] + new + line[found.end():]
            statement = is_statement(line) and is_statement(changed)
            yield changed, lambda on, place=found.span(), new=new, changed=changed, statement=statement: (
                f"{{ if ({on}) {{ {changed.strip()} }} else {{ {line.strip()} }} }}" if statement
                else with_operands(line, before, *place, new, on))


def changed_constant(line, _):
    plain = without_texts(line)
    for found in re.finditer(r"(?<![\w.'])(\d+)(?![\w.'])|\b(true|false)\b", plain):
        new = CONSTANTS.get(found[0]) or str(int(found[0]) + 1)
        head, tail = line[:found.start()], line[found.end():]
        yield head + new + tail, lambda on, head=head, new=new, old=found[0], tail=tail: (
            f"{head}({on} ? {new} : {old}){tail}")


def is_statement(line):
    """A statement of one line that neither declares nor returns anything."""
    statement = line.strip()
    return statement.endswith(";") and re.match(
        r"^(trap\(|[\w.\->\[\]():]+(\(.*\)| [-+|^]?= .+|\+\+|--);|\+\+|--)", statement) \
        and not re.match(r"^(return|throw|const|auto|std::\w+ \w+;)", statement)


def removed(line, _):
    if is_statement(line):
        indent = line[:len(line) - len(line.lstrip())]
        yield indent + ";", lambda on: f"{indent}{{ if (!{on}) {{ {line.strip()} }} }}"


class Drawn:
    """A mutation: `old`, line `number` of `file`, becomes `new`."""

    def __init__(self, file, number, old, new, guarded):
        self.file, self.number, self.old, self.new, self._guarded = file, number, old, new, guarded
        self.name = f"{file}:{number}: {old.strip()}  ->  {new.strip()}"

    def guarded(self, on):
        """The line with both texts, of which the expression `on` chooses; None if the two cannot stand together."""
        return None if NO_QUESTION.search(self.old) else self._guarded(on)


def candidates(root, files):
    for file in sorted(file for file in files if file.startswith(tuple(FOLDERS)) and file.endswith((".cpp", ".h"))):
        before = ""
        for number, line in enumerate((root / file).read_text().splitlines(), 1):
            for rule in () if NO_CODE.match(line) else (condition, exchanged, changed_constant, removed):
                for new, guarded in rule(line, before):
                    if new != line:
                        yield Drawn(file, number, line, new, guarded)
            before = line


def draw(root, files, seed):
    """Every mutation of every line in an order that the seed determines; no line twice."""
    everything = list(candidates(root, files))
    random.Random(seed).shuffle(everything)
    lines = set()
    for drawn in everything:
        if (drawn.file, drawn.number) not in lines:
            lines.add((drawn.file, drawn.number))
            yield drawn
