"""Small faults that could stand in a source file, found on clang's syntax tree."""

import hashlib
import json
import re
import shlex
from dataclasses import dataclass
from pathlib import Path

from clang import cindex
from clang.cindex import CursorKind

# A fault that is compiled in beside the right code carries its number here.
NUMBER = "@NUMBER@"
LEFT_OUT = "the statement is left out"

OPERATORS = {
    "<": ("<=", "Less"), "<=": ("<", "LessEqual"), ">": (">=", "Greater"), ">=": (">", "GreaterEqual"),
    "==": ("!=", "Equal"), "!=": ("==", "Unequal"),
    "+": ("-", "Plus"), "-": ("+", "Minus"), "*": ("/", "Times"), "/": ("*", "Over"), "%": ("*", "Modulo"),
    "<<": (">>", "Left"), ">>": ("<<", "Right"), "&": ("|", "And"), "|": ("&", "Or"), "^": ("|", "Xor"),
}
RELATIONS = ("<", "<=", ">", ">=", "==", "!=")
LOGICAL = {"&&": "||", "||": "&&"}
ASSIGNMENTS = {"+=": "-=", "-=": "+=", "*=": "+=", "/=": "*=", "<<=": ">>=", ">>=": "<<=", "|=": "&=", "&=": "|="}
CONDITIONS = (CursorKind.IF_STMT, CursorKind.WHILE_STMT, CursorKind.FOR_STMT, CursorKind.DO_STMT,
              CursorKind.CONDITIONAL_OPERATOR)
BODIES = (CursorKind.COMPOUND_STMT, CursorKind.IF_STMT, CursorKind.WHILE_STMT, CursorKind.DO_STMT,
          CursorKind.CASE_STMT, CursorKind.DEFAULT_STMT, CursorKind.CXX_FOR_RANGE_STMT)
DROPPED = (CursorKind.CALL_EXPR, CursorKind.BINARY_OPERATOR, CursorKind.COMPOUND_ASSIGNMENT_OPERATOR,
           CursorKind.UNARY_OPERATOR, CursorKind.UNEXPOSED_EXPR, CursorKind.CXX_DELETE_EXPR,
           CursorKind.CXX_THROW_EXPR, CursorKind.BREAK_STMT, CursorKind.CONTINUE_STMT, CursorKind.RETURN_STMT)
CONSTANT = (CursorKind.STATIC_ASSERT, CursorKind.ENUM_CONSTANT_DECL, CursorKind.CXX_BASE_SPECIFIER)
SIZED = re.compile(rb"\b(array|span|bitset)<[^;{}()]*,\s*$")
INTEGER = re.compile(r"(0[xX][0-9A-Fa-f']+|[0-9][0-9']*)([uUlLzZ]*)$")


@dataclass
class Fault:
    """`pieces` are what stands in place of the bytes from `start` to `end`: texts, and pairs that are ranges of the
    file. With `switched` the right code is still in there and a number decides; else the fault alone is."""

    file: str
    start: int
    end: int
    line: int
    line_text: str
    what: str
    pieces: list
    switched: bool
    occurrence: int = 0

    @property
    def key(self):
        text = f"{self.file}|{self.line_text}|{self.what}|{self.occurrence}"
        return hashlib.sha256(text.encode()).hexdigest()[:16]


class Finder:
    """Walks one translation unit; knows the files of ours by their names in the copied tree."""

    def __init__(self, tree):
        self.tree = Path(tree).resolve()
        self.sources = {}
        self.seen = set()
        self.faults = []

    def text_of(self, name):
        if name not in self.sources:
            self.sources[name] = (self.tree / name).read_bytes()
        return self.sources[name]

    def scan(self, source, arguments):
        unit = cindex.Index.create().parse(str(source), args=arguments)
        for cursor in unit.cursor.get_children():
            if cursor.location.file is None:
                continue
            path = Path(cursor.location.file.name).resolve()
            if not path.is_relative_to(self.tree / "src"):
                continue
            name = str(path.relative_to(self.tree))
            if "platform/windows/" not in name:
                self.walk(name, cursor, None, False)

    def walk(self, name, cursor, parent, constant):
        try:
            kind = cursor.kind
        except ValueError:
            kind = CursorKind.UNEXPOSED_EXPR
        children = list(cursor.get_children())
        constant = constant or kind in CONSTANT or self.is_constant(name, cursor, kind)
        self.expression(name, cursor, kind, children, parent, constant)
        if kind in CONDITIONS and not constant:
            self.conditions(name, cursor, kind, children)
        if kind in BODIES:
            for child in children:
                self.statement(name, cursor, child)
        for index, child in enumerate(children):
            self.walk(name, child, cursor, constant or (kind == CursorKind.CASE_STMT and index == 0))

    def is_constant(self, name, cursor, kind):
        """Whether what is below is computed by the compiler, where no number can switch anything."""
        if kind == CursorKind.VAR_DECL:
            source = self.text_of(name)
            line = source.rfind(b"\n", 0, cursor.extent.start.offset) + 1
            head = source[line:cursor.location.offset]
            return b"constexpr" in head
        return False

    def expression(self, name, cursor, kind, children, parent, constant):
        start, end = extent(cursor)
        source = self.text_of(name)
        text = source[start:end].decode(errors="replace")
        if kind == CursorKind.INTEGER_LITERAL:
            self.integer(name, start, end, text, parent, constant)
        elif kind == CursorKind.CXX_BOOL_LITERAL_EXPR and text in ("true", "false"):
            self.replace(name, start, end, f"{text} is turned", "false" if text == "true" else "true", constant)
        elif kind == CursorKind.UNARY_OPERATOR and text.startswith("!") and not constant:
            self.add(name, start, end, "the ! is left out",
                     [f"(!::mutants::On({NUMBER}) != static_cast<bool>(", (start + 1, end), "))"])
        elif kind == CursorKind.UNARY_OPERATOR and text[:2] in ("++", "--") and not constant:
            if parent is None or parent.kind != CursorKind.FOR_STMT:
                other = "--" if text[:2] == "++" else "++"
                self.add(name, start, end, f"{text[:2]} becomes {other}",
                         [f"(::mutants::On({NUMBER}) ? {other}", (start + 2, end), " : ", (start, end), ")"])
        elif kind == CursorKind.CALL_EXPR and re.match(r"std::(min|max)\b", text) and not constant:
            other = "std::max" if text.startswith("std::min") else "std::min"
            self.add(name, start, end, f"{text[:8]} becomes {other}",
                     [f"(::mutants::On({NUMBER}) ? {other}", (start + 8, end), " : ", (start, end), ")"])
        elif kind == CursorKind.RETURN_STMT and children and not constant:
            self.returned(name, children[0])
        operands = children
        if kind == CursorKind.CALL_EXPR and cursor.spelling.startswith("operator") and len(children) == 3:
            operands = [children[0], children[2]]
        if len(operands) == 2 and kind in (CursorKind.BINARY_OPERATOR, CursorKind.COMPOUND_ASSIGNMENT_OPERATOR,
                                           CursorKind.CALL_EXPR):
            self.operation(name, start, end, operands, kind == CursorKind.CALL_EXPR, constant)

    def operation(self, name, start, end, operands, overloaded, constant):
        first, second = extent(operands[0]), extent(operands[1])
        if not start <= first[0] <= first[1] <= second[0] <= second[1] <= end:
            return
        operator = self.text_of(name)[first[1]:second[0]].decode(errors="replace").strip()
        if operator in LOGICAL and not overloaded:
            what = f"{operator} becomes {LOGICAL[operator]}"
            if constant:
                self.add(name, start, end, what, [first, LOGICAL[operator], second], False)
                return
            # Either is the other one with all three sides negated.
            on = f"::mutants::On({NUMBER})"
            self.add(name, start, end, what,
                     [f"({on} != ((static_cast<bool>(", first, f") != {on}) {operator} (static_cast<bool>(", second,
                      f") != {on})))"])
        elif operator in OPERATORS and (not overloaded or operator in RELATIONS):
            other, function = OPERATORS[operator]
            what = f"{operator} becomes {other}"
            if constant:
                self.add(name, start, end, what, [first, other, second], False)
            else:
                self.add(name, start, end, what,
                         [f"::mutants::{function}({NUMBER}, (", first, "), (", second, "))"])
        elif operator in ASSIGNMENTS and not overloaded and not constant:
            other = ASSIGNMENTS[operator]
            self.add(name, start, end, f"{operator} becomes {other}",
                     [f"(::mutants::On({NUMBER}) ? ", first, f" {other} ", second, " : ", (start, end), ")"])

    def conditions(self, name, cursor, kind, children):
        """The condition is told from what else a statement has by what stands around it."""
        source = self.text_of(name)
        statement = source[cursor.extent.start.offset:cursor.extent.end.offset]
        if re.match(rb"if\s+constexpr\b", statement):
            return
        for index, child in enumerate(children):
            if not is_expression(child):
                continue
            start, end = extent(child)
            before = source[:start].rstrip()[-1:]
            after = source[end:].lstrip()[:1]
            if kind == CursorKind.CONDITIONAL_OPERATOR:
                fits = index == 0
            elif kind == CursorKind.FOR_STMT:
                fits = before == b";" and after == b";"
            else:
                fits = before in (b"(", b";") and after == b")"
            if fits:
                self.add(name, start, end, "the condition is turned",
                         [f"(::mutants::On({NUMBER}) != static_cast<bool>(", (start, end), "))"])
                return

    def returned(self, name, value):
        start, end = extent(value)
        if value.type.kind == cindex.TypeKind.BOOL and value.kind != CursorKind.CXX_BOOL_LITERAL_EXPR:
            self.add(name, start, end, "the result is turned",
                     [f"(::mutants::On({NUMBER}) != static_cast<bool>(", (start, end), "))"])

    def statement(self, name, parent, child):
        try:
            kind = child.kind
        except ValueError:
            return
        if kind not in DROPPED or (kind == CursorKind.RETURN_STMT and list(child.get_children())):
            return
        start, end = extent(child)
        source = self.text_of(name)
        if source[end:].lstrip()[:1] != b";" or source[:start].rstrip()[-1:] not in (b"{", b"}", b";", b")", b":", b"e"):
            return
        if parent.kind in CONDITIONS and source[:start].rstrip()[-1:] == b"(":
            return
        self.add(name, start, end, LEFT_OUT,
                 [f"if (::mutants::On({NUMBER})) {{}} else ", (start, end)])

    def integer(self, name, start, end, text, parent, constant):
        match = INTEGER.match(text)
        if not match:
            return
        digits, suffix = match.groups()
        digits = digits.replace("'", "")
        if len(digits) > 1 and digits[0] == "0" and digits[1] not in "xX":
            return
        value = int(digits, 0)
        before = self.text_of(name)[:start].rstrip()[-1:]
        line = self.text_of(name)[self.text_of(name).rfind(b"\n", 0, start) + 1:start]
        # Sizes of arrays and arguments of templates.
        if parent is not None and (parent.kind == CursorKind.DECL_REF_EXPR or
                                   (parent.kind.is_declaration() and before in (b"[", b"<", b","))):
            constant = True
        constant = constant or SIZED.search(line) is not None
        for other in (value + 1, value - 1):
            if other >= 0:
                self.replace(name, start, end, f"{text} becomes {other}", f"{other}{suffix}", constant)

    def replace(self, name, start, end, what, other, constant):
        pieces = [other] if constant else [f"(::mutants::On({NUMBER}) ? {other} : ", (start, end), ")"]
        self.add(name, start, end, what, pieces, not constant)

    def add(self, name, start, end, what, pieces, switched=True):
        if (name, start, end, what) in self.seen or end <= start:
            return
        self.seen.add((name, start, end, what))
        source = self.text_of(name)
        first = source.rfind(b"\n", 0, start) + 1
        last = source.find(b"\n", start)
        self.faults.append(Fault(name, start, end, source.count(b"\n", 0, start) + 1,
                                 source[first:last].decode(errors="replace").strip(), what, pieces, switched))


def extent(cursor):
    return cursor.extent.start.offset, cursor.extent.end.offset


def is_expression(cursor):
    try:
        return cursor.kind.is_expression()
    except ValueError:
        return True


def find(tree, commands):
    """All faults of the files below src/, in the order of files and places."""
    finder = Finder(tree)
    for command in commands:
        source = Path(command["file"])
        if source.resolve().is_relative_to(Path(tree).resolve() / "src"):
            words = shlex.split(command["command"])[1:]
            words = [word for word in words if word not in ("-c", "-o") and not word.endswith((".o", ".cpp"))]
            words = [f"-I{Path(command['directory'], word[2:])}" if word.startswith("-I") else word for word in words]
            finder.scan(source, words)
    finder.faults.sort(key=lambda fault: (fault.file, fault.start, -fault.end, fault.what))
    counts = {}
    for fault in finder.faults:
        same = (fault.file, fault.line_text, fault.what)
        fault.occurrence = counts[same] = counts.get(same, 0) + 1
    return finder.faults


def save(faults, path):
    path.write_text(json.dumps([vars(fault) for fault in faults]))


def load(path):
    return [Fault(**{**entry, "pieces": [tuple(piece) if isinstance(piece, list) else piece
                                         for piece in entry["pieces"]]}) for entry in json.loads(path.read_text())]
