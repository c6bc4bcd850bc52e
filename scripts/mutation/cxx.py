"""C++ as far as changing it needs: tokens, and the statements that they form."""

import re
from typing import NamedTuple

TOKEN = re.compile(
    r"""(?P<skip>//[^\n]*|/\*.*?\*/|^[ \t]*\#(?:\\\n|[^\n])*|\s+)
      |(?P<text>(?:u8|[uUL])?R"(?P<mark>[^()\s\\]*)\(.*?\)(?P=mark)"|(?:u8|[uUL])?"(?:\\.|[^"\\\n])*"
               |'(?:\\.|[^'\\\n])+')
      |(?P<number>\.?\d(?:'?[\w.])*)
      |(?P<word>\w+)
      |(?P<sign><<=|>>=|->\*|\.\.\.|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|.)""",
    re.VERBOSE | re.MULTILINE | re.DOTALL)

HEADS = {"if", "for", "while", "switch", "catch"}
SCOPES = {"namespace", "class", "struct", "enum", "union", "extern"}
BEFORE_A_BODY = {")", "const", "noexcept", "override", "final", "else", "do", "try", "mutable", "]"}


class Token(NamedTuple):
    kind: str
    text: str
    start: int
    end: int


class Opening:
    """An open bracket: a "body" of statements, a "scope" of declarations, "values" in braces, or ( or [."""

    def __init__(self, kind, index, is_lambda=False):
        self.kind, self.index, self.is_lambda = kind, index, is_lambda
        self.statement = None  # the index at which its current statement begins


def tokens(code):
    found = []
    for match in TOKEN.finditer(code):
        if match.lastgroup != "skip" and not match.group("skip"):
            kind = next(name for name in ("text", "number", "word", "sign") if match.group(name))
            found.append(Token(kind, match.group(), match.start(), match.end()))
    return found


class Structure:
    """Statements (first and last token), lists in parentheses or braces (their brackets), and what is in bodies."""

    def __init__(self, code):
        self.tokens = tokens(code)
        self.statements, self.lists = [], []
        self.in_body = [False] * len(self.tokens)
        self._open = []
        self._declared = 0  # where the current declaration of a scope begins
        self._closed_values = False
        for index, token in enumerate(self.tokens):
            self._visit(index, token.text)

    def _top(self):
        return self._open[-1].kind if self._open else "scope"

    def _visit(self, index, text):
        self.in_body[index] = any(opening.kind == "body" for opening in self._open)
        if self._top() == "body" and self._open[-1].statement is None and text != "}":
            self._open[-1].statement = index
        if text in ("(", "["):
            self._open.append(Opening(text, index))
        elif text == "{":
            self._open_brace(index)
        elif text in (")", "]", "}"):
            self._close(index)
        elif text == ";":
            self._end_statement(index)
        elif text in ("else", "do", "try") or text == ":" and self._is_label(index):
            self._next_statement()
        self._closed_values = text == "}" and self._closed_values

    def _open_brace(self, index):
        before = self.tokens[index - 1].text if index else ""
        since = {token.text for token in self.tokens[self._declared:index]}
        if self._top() == "scope" and since & SCOPES and "(" not in since:
            kind = "scope"
        elif before in BEFORE_A_BODY or before in (";", "{", "}", ":") and (
                self._top() == "body" or self._closed_values):
            kind = "body"
        elif not index or before in (";", "}"):
            kind = "scope"
        else:
            kind = "values"
        opening = Opening(kind, index)
        if kind == "body" and self._top() == "body":
            start = self._open[-1].statement
            opening.is_lambda = start is not None and start < index
        self._open.append(opening)
        if kind == "scope":
            self._declared = index + 1

    def _close(self, index):
        opening = self._open.pop() if self._open else Opening("scope", index)
        if opening.kind in ("(", "values"):
            self.lists.append((opening.index, index))
        self._closed_values = opening.kind == "values"
        if opening.kind in ("scope", "body") and self._top() == "scope":
            self._declared = index + 1
        if self._top() != "body":
            return
        start = self._open[-1].statement
        if opening.kind == "(" and self.tokens[opening.index - 1].text in HEADS | {"constexpr"}:
            self._next_statement()
        elif opening.kind == "body" and not (opening.is_lambda and start is not None and start < opening.index):
            self._next_statement()

    def _end_statement(self, index):
        if self._top() == "body":
            self.statements.append((self._open[-1].statement, index))
            self._next_statement()
        elif self._top() == "scope":
            self._declared = index + 1

    def _next_statement(self):
        if self._top() == "body":
            self._open[-1].statement = None

    def _is_label(self, index):
        start = self._open[-1].statement if self._top() == "body" else None
        return start is not None and self.tokens[start].text in ("case", "default") and "?" not in {
            token.text for token in self.tokens[start:index]}
