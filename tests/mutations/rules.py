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
# Lines in which a question cannot stand.
NO_QUESTION = re.compile(r"\b(constexpr|consteval|static_assert|case|template|for)\b")


def without_texts(line):
    """Blanks out texts, characters and comments, so that positions stay."""
    return re.sub(r'"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])*\'|//.*', lambda found: " " * len(found[0]), line)


def expression_end(plain, position, step):
    """The position where the expression around `position` ends, walking forward or back; None if the line ends before."""
    depth = 0
    while 0 <= position < len(plain):
        char = plain[position]
        depth += {"(": 1, "[": 1, "{": 1, ")": -1, "]": -1, "}": -1}.get(char, 0) * step
        around = plain[max(0, position - 1):position + 2]
        if depth < 0 or depth == 0 and (
                char in ",;?" or char == ":" and "::" not in around or char == "=" and re.search(r"[^<>=!]=[^=]", around)
                or step < 0 and re.search(r"\breturn $", plain[:position + 1])):
            return position
        position += step
    return None


def condition(line, _):
    plain = without_texts(line)
    found = re.match(r"^\s*(?:\} else )?(if|while) \(", plain)
    end = expression_end(plain, found.end(), 1) if found else None
    if end is None or plain[end] != ")":
        return
    head, whole, tail = line[:found.end()], line[found.end():end], line[end:]
    yield f"{head}false && ({whole}){tail}", lambda on: f"{head}!{on} && ({whole}){tail}"
    if found[1] == "if":
        yield f"{head}true || ({whole}){tail}", lambda on: f"{head}{on} || ({whole}){tail}"


def both_expressions(line, before, changed, operator, on):
    """The expression around the operator, a span of the line, both ways; None if it continues on other lines."""
    plain = without_texts(line)
    left, right = expression_end(plain, operator[0] - 1, -1), expression_end(plain, operator[1], 1)
    begins = re.search(r"([({;,=?:]|\breturn)$", without_texts(before).rstrip())
    if left is None and begins and not re.match(r"\s*(\} )?(if|else|while)\b", line):
        left = len(line) - len(line.lstrip()) - 1
    if left is None or right is None:
        return None
    rest = line[right:]
    one, other = changed[left + 1:len(changed) - len(rest)].strip(), line[left + 1:right].strip()
    return f"{line[:left + 1]} ({on} ? ({one}) : ({other})) {rest}"


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
            yield changed, lambda on, place=found.span(), changed=changed, statement=statement: (
                f"{{ if ({on}) {{ {changed.strip()} }} else {{ {line.strip()} }} }}" if statement
                else both_expressions(line, before, changed, place, on))


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
