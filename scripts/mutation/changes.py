"""The changes that are planted, each of a few characters."""

import pathlib
import random
import re
from typing import NamedTuple

from mutation.cxx import HEADS, Structure

BOUNDARIES = {"<": "<=", "<=": "<", ">": ">=", ">=": ">"}
NEGATIONS = {"==": "!=", "!=": "==", "&&": "||", "||": "&&"}
ARITHMETIC = {"+": "-", "-": "+", "+=": "-=", "-=": "+=", "&": "|", "|": "&"}
KEPT_STATEMENTS = HEADS | {"return", "case", "default", "using", "typedef", "static_assert", "goto", "else", "do",
                           "try"}
PARAMETER = re.compile(r"[\w>&*:]\s*[&*]*\s+[&*]*\w+$")


class Change(NamedTuple):
    file: str
    line: int
    kind: str
    before: str  # the lines that it concerns, blanks folded
    after: str
    start: int
    end: int
    replacement: str

    def text(self):
        return f"{self.file}:{self.line}: {self.kind}\n- {self.before}\n+ {self.after}"

    def applied(self, code):
        return code[:self.start] + self.replacement + code[self.end:]


def sources(tree):
    return sorted(str(path.relative_to(tree)) for path in (tree / "src").rglob("*") if path.suffix in (".cpp", ".h"))


def changes_of(tree, source):
    code = (tree / source).read_text(encoding="utf-8")
    structure = Structure(code)
    found = {}
    for kind, start, end, replacement in sorted({*_of_tokens(code, structure), *_of_statements(structure),
                                                 *_of_lists(code, structure)}, key=lambda edit: edit[1:]):
        first, last = code.rfind("\n", 0, start) + 1, code.find("\n", end)
        before = " ".join(code[first:last].split())
        after = " ".join((code[first:start] + replacement + code[end:last]).split())
        if before != after:
            found.setdefault((code[:start].count("\n") + 1, before, after), Change(
                source, code[:start].count("\n") + 1, kind, before, after, start, end, replacement))
    return list(found.values())


def _of_tokens(code, structure):
    for index, token in enumerate(structure.tokens):
        previous = structure.tokens[index - 1].text if index else ""
        if _is_fixed(code, token):
            continue
        spaced = code[token.start - 1:token.start].isspace() and code[token.end:token.end + 1].isspace()
        for kind, table in (("boundary", BOUNDARIES), ("negation", NEGATIONS), ("arithmetic", ARITHMETIC)):
            if token.text in table and spaced and previous != "operator" and not _joins_texts(structure, index):
                yield kind, token.start, token.end, table[token.text]
        if token.text == "!" and not spaced:
            yield "negation", token.start, token.end, ""
        if token.text in ("true", "false"):
            yield "constant", token.start, token.end, "false" if token.text == "true" else "true"
        if token.kind == "number" and not (previous == "=" and structure.tokens[index - 2].text in (
                ")", "const", "noexcept", "override")):
            for replacement in _other_numbers(token.text):
                yield "constant", token.start, token.end, replacement


def _joins_texts(structure, index):
    around = structure.tokens[index - 1:index + 2]
    return structure.tokens[index].text == "+" and "text" in {token.kind for token in around}


def _is_fixed(code, token):
    line = code[code.rfind("\n", 0, token.start) + 1:code.find("\n", token.end)].strip()
    return line.startswith(("static_assert", "template", "extern "))


def _other_numbers(text):
    match = re.fullmatch(r"(\d+)([uUlL]*)", text)
    if match and (text[0] != "0" or match[1] == "0"):
        value = int(match[1])
        return [f"{other}{match[2]}" for other in (value + 1, value - 1) if other >= 0]
    return [f"({text} + 1)"]


def _of_statements(structure):
    for first, last in structure.statements:
        head, second = structure.tokens[first], structure.tokens[first + 1]
        if first == last or head.text in KEPT_STATEMENTS and not (head.text == "return" and second.text == ";"):
            continue
        if _is_declaration(structure.tokens[first:last + 1]):
            continue
        yield "removed statement", head.start, structure.tokens[last].end, ";"


def _is_declaration(statement):
    """Of a value that later statements use. What is built from arguments alone may be a guard."""
    for before, name, after in zip(statement, statement[1:], statement[2:]):
        is_named = name.kind == "word" and (before.kind == "word" or before.text in (">", "*", "&"))
        if after.text in ("=", ";") and is_named:
            return before.text not in ("return", "throw", "delete", "goto")
        if after.text == "(" and before.text != "::":
            break
    return False


def _of_lists(code, structure):
    for first, last in structure.lists:
        before = structure.tokens[first - 1] if first else None
        if not structure.in_body[first] or not before:
            continue
        if before.text == "if":
            yield from _negated(code, structure, first, last)
        elif before.text not in HEADS:
            yield from _swapped(code, structure, first, last)


def _negated(code, structure, first, last):
    """Conditions that changes of single tokens do not turn into their opposite."""
    inner = [token.text for token in structure.tokens[first + 1:last]]
    if ";" in inner or "=" in inner or {"==", "!="} & set(inner) or inner[0] == "!" and not {"&&", "||"} & set(inner):
        return
    start, end = structure.tokens[first].end, structure.tokens[last].start
    yield "negation", start, end, f"!({code[start:end]})"


def _swapped(code, structure, first, last):
    items, depth, start = [], 0, structure.tokens[first].end
    for token in structure.tokens[first + 1:last + 1]:
        if depth == 0 and (token.text == "," or token.start == structure.tokens[last].start):
            items.append((start, token.start))
            start = token.end
        depth += (token.text in "([{") - (token.text in ")]}")
    spans = [(begin + len(code[begin:end]) - len(code[begin:end].lstrip()), begin + len(code[begin:end].rstrip()))
             for begin, end in items]
    if any(PARAMETER.search(code[begin:end]) for begin, end in spans):
        return
    for (a, b), (c, d) in zip(spans, spans[1:]):
        if code[a:b] != code[c:d] and (code[a] == '"') == (code[c] == '"'):
            yield "swapped arguments", a, d, code[c:d] + code[b:c] + code[a:b]


def sample(found, size, seed):
    """So many changes, spread over the folders: large folders get more of them, small ones more than their share.

    In an order that is as good a sample when a run is ended early."""
    chance = random.Random(seed)
    folders = {}
    for change in found:
        folders.setdefault(str(pathlib.PurePath(change.file).parent), []).append(change)
    for changes in folders.values():
        chance.shuffle(changes)
    chosen, taken = [], dict.fromkeys(folders, 0)
    while len(chosen) < min(size, len(found)):
        folder = min((name for name in folders if taken[name] < len(folders[name])),
                     key=lambda name: ((taken[name] + 1) / len(folders[name]) ** 0.5, name))
        chosen.append(folders[folder][taken[folder]])
        taken[folder] += 1
    chance.shuffle(chosen)
    return chosen
