# SPDX-License-Identifier: MIT
"""Reads a C++ source and names every small change that its tests should notice."""

import dataclasses
import re

OPERATORS = {
    "==": "!=",
    "!=": "==",
    "<": "<=",
    "<=": "<",
    ">": ">=",
    ">=": ">",
    "&&": "||",
    "||": "&&",
    "+": "-",
    "-": "+",
    "*": "/",
    "/": "*",
    "&": "|",
    "|": "&",
    "+=": "-=",
    "-=": "+=",
    "|=": "&=",
    "&=": "|=",
}
# A binary operator has blanks on both sides; a template's bracket, a reference and a pointer have not.
OPERATOR = re.compile(r"(?<=\s)(==|!=|<=|>=|&&|\|\||\+=|-=|\|=|&=|<|>|\+|-|\*|/|&|\|)(?=\s)")
STEP = re.compile(r"(?<![\w+-])(\+\+|--)(?=\w)")
NEGATION = re.compile(r"(?<![\w!])!(?=[\w(])")
NUMBER = re.compile(r"(?<![\w.'])(0[xX][0-9a-fA-F']+|\d[\d']*)(?![\w.'])")
TRUTH = re.compile(r"\b(true|false)\b")
CONDITION = re.compile(r"\b(?:if|while) \(")
RETURN = re.compile(r"\breturn ")

CONTROL = re.compile(r"(?:else\b\s*|do\b\s*|case [^:?]+(?:::[^:?]+)*:(?!:)\s*|default:\s*)")
GUARDED = re.compile(r"(?:if|while|for|switch)(?: constexpr)? \(")
CALL = re.compile(r"(?:Q_EMIT |delete )?[A-Za-z_~*(][\w:.>\-\[\]()*]*\(|delete \w+|Q_EMIT \w")
ASSIGNMENT = re.compile(r"[A-Za-z_*][\w:.>\-\[\]()]*\s(?:=|\+=|-=|\|=|&=)\s")
SCOPE = re.compile(r"\s*(?:inline |static )*(?:namespace|class|struct|enum|union|extern)\b")
# What these say, people read; no program acts on it.
SILENT = re.compile(r"(?:log\(|QtAppLoggerTextStream\(|Q_ASSERT\(|Q_UNUSED\(|static_assert\()")
# Without it the same comes about, later.
ROOM_MAKING = re.compile(r"[\w.>-]+(?:\.|->)reserve\(")
TEXTS = re.compile(
    r"//[^\n]*|/\*.*?\*/"
    r'|(?:u8|u|U|L)?R"(?P<fence>[^()\\ ]{0,16})\(.*?\)(?P=fence)"'
    r'|"(?:\\.|[^"\\\n])*"'
    r"|(?<![\w])(?:u8|u|U|L)?'(?:\\.|[^'\\\n])+'"
    r"|^[ \t]*#(?:[^\n\\]|\\\n|\\.)*",
    re.DOTALL | re.MULTILINE,
)


@dataclasses.dataclass(frozen=True)
class Mutant:
    """One change of one place: the text between `start` and `end` becomes `after`."""

    file: str
    start: int
    end: int
    line: int
    kind: str
    before: str
    after: str

    def applied(self, text):
        return text[: self.start] + self.after + text[self.end :]

    def words(self):
        def one_line(text):
            text = " ".join(text.split())
            return text if len(text) <= 70 else text[:67] + "…"

        return f"{self.kind}: {one_line(self.before)} → {one_line(self.after) or 'nothing'}"

    def place(self):
        return f"{self.file}:{self.line}"


def masked(text):
    """The same text with blanks for comments, strings, characters and directives; no place moves."""

    def blanks(match):
        return re.sub(r"[^\n]", " ", match.group())

    return TEXTS.sub(blanks, text)


def closing(code, opening):
    """Where the bracket that opens there closes."""
    depth = 0
    for at in range(opening, len(code)):
        if code[at] in "([{":
            depth += 1
        elif code[at] in ")]}":
            depth -= 1
            if depth == 0:
                return at
    return len(code)


def opens_block(before):
    """Whether a brace behind that text opens a block, and not a list of values."""
    if SCOPE.match(before):
        return True
    before = before.rstrip()
    if not before or before[-1] in ");{}]":
        return True
    return re.search(r"\b(else|do|try|const|override|noexcept|mutable)$|->\s*[\w:<>*& ]+$", before) is not None


def statements(code):
    """Start and end of every statement that a semicolon ends, at whatever depth."""
    found = []
    # Kinds: "block" holds statements, "list" is part of one, "round" is part of one too.
    levels = [["block", 0]]
    for at, char in enumerate(code):
        top = levels[-1]
        if char in "([":
            levels.append(["round", at + 1])
        elif char == "{":
            kind = "block" if opens_block(code[top[1] : at]) else "list"
            levels.append([kind, at + 1])
        elif char in ")]}" and len(levels) > 1:
            kind = levels.pop()[0]
            if kind == "block" and levels[-1][0] == "block":
                levels[-1][1] = at + 1
        elif char == ";" and top[0] == "block":
            found.append((top[1], at))
            top[1] = at + 1
    return found


def bare(code, start, end):
    """Where the statement begins behind its conditions and labels."""
    while True:
        while start < end and code[start].isspace():
            start += 1
        control = CONTROL.match(code, start, end)
        if control:
            start = control.end()
            continue
        guarded = GUARDED.match(code, start, end)
        if not guarded:
            return start
        start = closing(code, guarded.end() - 1) + 1


def silent_spans(code, found):
    spans = []
    for start, end in found:
        begin = bare(code, start, end)
        if SILENT.match(code, begin):
            spans.append((begin, end))
    return spans


def removals(code, found):
    for start, end in found:
        begin = bare(code, start, end)
        text = code[begin:end]
        if ROOM_MAKING.match(text):
            continue
        if ASSIGNMENT.match(text):
            yield begin, end, "assignment removed", ""
        elif CALL.match(text) and not re.match(r"(?:return|using|throw)\b", text):
            yield begin, end, "call removed", ""


def conditions(code):
    for match in CONDITION.finditer(code):
        opening = match.end() - 1
        end = closing(code, opening)
        begin = max(opening, last_semicolon(code, opening + 1, end)) + 1
        if not turns_by_one_token(code[begin:end].strip()):
            yield begin, end, "condition", "!({})"


def turns_by_one_token(condition):
    """Whether another change of the same place turns the whole condition round."""
    if "&&" in condition or "||" in condition:
        return False
    return condition.startswith("!") or len(re.findall(r" (?:==|!=) ", condition)) == 1


def last_semicolon(code, start, end):
    """The one that parts a condition from what is declared before it; -1 without."""
    depth = 0
    for at in range(end - 1, start - 1, -1):
        if code[at] in ")]}":
            depth += 1
        elif code[at] in "([{":
            depth -= 1
        elif code[at] == ";" and depth == 0:
            return at
    return -1


def returns(code):
    for match in RETURN.finditer(code):
        end = match.end()
        depth = 0
        while end < len(code) and (code[end] != ";" or depth):
            depth += (code[end] in "([{") - (code[end] in ")]}")
            end += 1
        value = code[match.end() : end].strip()
        if value not in ("{}", "true", "false", "-1", "0", "*this"):
            yield match.end(), end, "return", "{{}}"


def tokens(code):
    for match in OPERATOR.finditer(code):
        yield match.start(), match.end(), "operator", OPERATORS[match.group()]
    for match in STEP.finditer(code):
        yield match.start(), match.end(), "step", {"++": "--", "--": "++"}[match.group()]
    for match in NEGATION.finditer(code):
        yield match.start(), match.end(), "negation", ""
    for match in NUMBER.finditer(code):
        number = match.group().replace("'", "")
        yield match.start(), match.end(), "constant", str(int(number, 0 if number[1:2] in "xX" else 10) + 1)
    for match in TRUTH.finditer(code):
        yield match.start(), match.end(), "constant", {"true": "false", "false": "true"}[match.group()]


def mutants_of(file, text):
    """All changes of that source, in the order of their places."""
    code = masked(text)
    found = statements(code)
    silent = silent_spans(code, found)
    made = []
    for source in (tokens(code), conditions(code), returns(code), removals(code, found)):
        for start, end, kind, after in source:
            if any(begin <= start < stop for begin, stop in silent):
                continue
            before = text[start:end]
            after = after.format(before) if "{" in after else after
            line = text.count("\n", 0, start) + 1
            made.append(Mutant(file, start, end, line, kind, before, after))
    return sorted(made, key=lambda mutant: (mutant.start, mutant.end, mutant.kind))
