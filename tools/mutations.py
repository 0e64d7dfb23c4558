"""The changes that tools/mutate makes in a C++ source: where they are possible, and how all chosen ones
are written into one source, each behind its number.

A change needs a run-time value, so constant expressions (array bounds, `case` labels, `static_assert`,
template arguments, `constexpr` variables and functions) are left alone, and so are macros.
"""
import re
from collections import namedtuple

from clang.cindex import CursorKind, Index, TypeKind

# A change: its bytes [start, end) in the source, its line, what it is, the text that replaces it, and the
# cast of the original, so that both have one type.
Mutation = namedtuple("Mutation", "start end line what text cast")

OPERATORS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&",
             "+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "&": "|", "|": "&", "^": "&",
             "<<": ">>", ">>": "<<", "+=": "-=", "-=": "+=", "*=": "/=", "|=": "&=", "&=": "|="}
COMPARISONS = {"<", "<=", ">", ">=", "==", "!="}
# Whole statements that have a condition, with the position of the condition among their children.
CONDITIONS = {CursorKind.IF_STMT: 0, CursorKind.CONDITIONAL_OPERATOR: 0, CursorKind.WHILE_STMT: 0}
CONSTANT = {CursorKind.STATIC_ASSERT, CursorKind.CASE_STMT, CursorKind.ENUM_CONSTANT_DECL,
            CursorKind.TYPE_REF, CursorKind.TEMPLATE_REF, CursorKind.FIELD_DECL}
NUMBERS = {TypeKind.BOOL, TypeKind.INT, TypeKind.UINT, TypeKind.LONG, TypeKind.ULONG, TypeKind.SHORT,
           TypeKind.USHORT, TypeKind.UCHAR, TypeKind.SCHAR, TypeKind.CHAR_S, TypeKind.CHAR_U,
           TypeKind.LONGLONG, TypeKind.ULONGLONG, TypeKind.FLOAT, TypeKind.DOUBLE, TypeKind.POINTER}
PRELUDE = """// mutated
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <type_traits>
#include <unistd.h>
// Returns whether the environment chooses this change. Makes a file with its number in the folder
// KOVA_MUTANTS_REACHED, if there is one.
static bool kovaMutant(int number) {
    static char const* const folder = std::getenv("KOVA_MUTANTS_REACHED");
    static const int chosen = [] {
        char const* const text = std::getenv("KOVA_MUTANT");
        return text == nullptr ? 0 : std::atoi(text);
    }();
    static char wasReached[%d];
    if (folder != nullptr && wasReached[number] == 0) {
        wasReached[number] = 1;
        char path[4096];
        std::snprintf(path, sizeof path, "%%s/%%d", folder, number);
        const int file = ::open(path, O_CREAT | O_WRONLY | O_CLOEXEC, 0666);
        if (file >= 0) {
            ::close(file);
        }
    }
    return chosen == number;
}
#line 1 "%s"
"""


class Source:
    """A C++ source and its syntax tree."""

    def __init__(self, path, arguments):
        with open(path, "rb") as file:
            self.text = file.read()
        self.path = path
        unit = Index.create().parse(path, arguments)
        errors = [each for each in unit.diagnostics if each.severity >= 3]
        if errors:
            raise ValueError(f"{path}: clang cannot parse it: {errors[0]}")
        self.found = {}
        for cursor in unit.cursor.get_children():
            if self._is_here(cursor):
                self._visit(cursor, False)

    def mutations(self):
        """Returns the possible changes, in the order of the source."""
        return [self.found[key] for key in sorted(self.found)]

    def _is_here(self, cursor):
        file = cursor.location.file
        return file is not None and file.name == self.path

    def _span(self, cursor):
        return cursor.extent.start.offset, cursor.extent.end.offset

    def _of(self, cursor):
        start, end = self._span(cursor)
        return self.text[start:end].decode()

    def _add(self, cursor, what, text, cast=""):
        start, end = self._span(cursor)
        if 0 <= start < end and self._is_here(cursor):
            line = cursor.extent.start.line
            self.found.setdefault((start, end, what), Mutation(start, end, line, what, text, cast))

    def _visit(self, cursor, is_code, statements=False):
        """Collects the changes below a cursor. `is_code` is set inside of functions, `statements` if the
        cursor stands where a statement may stand."""
        kind = cursor.kind
        if kind in CONSTANT or self._is_constant(cursor):
            # The statement below a `case` label is no constant.
            children = list(cursor.get_children())
            if kind == CursorKind.CASE_STMT and children:
                self._visit(children[-1], is_code, True)
            return
        if is_code and kind.is_expression():
            self._expression(cursor, statements)
        children = list(cursor.get_children())
        if is_code and kind in CONDITIONS:
            self._condition(cursor, children)
        for child in children:
            below = is_code or kind in (CursorKind.COMPOUND_STMT, CursorKind.LAMBDA_EXPR)
            self._visit(child, below or child.kind == CursorKind.COMPOUND_STMT,
                        kind in (CursorKind.COMPOUND_STMT, CursorKind.CASE_STMT, CursorKind.DEFAULT_STMT))

    def _is_constant(self, cursor):
        if not cursor.kind.is_declaration():
            return False
        head = self._of(cursor).split("{")[0].split("=")[0]
        return re.search(r"\bconste(xpr|val)\b|\bconstinit\b", head) is not None

    def _condition(self, cursor, children):
        condition = children[CONDITIONS[cursor.kind]] if children else None
        if condition is None or not condition.kind.is_expression():
            return
        if re.match(r"if\s+constexpr", self._of(cursor)):
            return
        if cursor.kind != CursorKind.WHILE_STMT:
            self._add(condition, "always true", "true", "static_cast<bool>")
        self._add(condition, "always false", "false", "static_cast<bool>")

    def _expression(self, cursor, statements):
        kind, text = cursor.kind, self._of(cursor)
        if kind == CursorKind.INTEGER_LITERAL and re.match(r"\d", text):
            self._add(cursor, f"{text} -> {text} + 1", f"({text} + 1)")
        elif kind == CursorKind.FLOATING_LITERAL:
            self._add(cursor, f"{text} -> {text} + 1", f"({text} + 1)")
        elif kind == CursorKind.CXX_BOOL_LITERAL_EXPR and text in ("true", "false"):
            opposite = "false" if text == "true" else "true"
            self._add(cursor, f"{text} -> {opposite}", opposite)
        elif kind in (CursorKind.BINARY_OPERATOR, CursorKind.COMPOUND_ASSIGNMENT_OPERATOR):
            self._operator(cursor, list(cursor.get_children()), OPERATORS)
        elif kind == CursorKind.UNARY_OPERATOR:
            self._unary(cursor, text)
        elif kind == CursorKind.CALL_EXPR:
            self._call(cursor, text, statements)

    def _operator(self, cursor, children, operators):
        if len(children) < 2:
            return
        left, right = self._span(children[0]), self._span(children[-1])
        symbol = self.text[left[1]:right[0]].decode().strip()
        if symbol in operators and left[0] == self._span(cursor)[0]:
            first, second = self._of(children[0]), self._of(children[-1])
            changed = operators[symbol]
            self._add(cursor, f"{symbol} -> {changed}", f"({first}) {changed} ({second})")

    def _unary(self, cursor, text):
        for symbol, changed in (("++", "--"), ("--", "++")):
            if text.startswith(symbol):
                self._add(cursor, f"{symbol} -> {changed}", changed + text[2:])
            elif text.endswith(symbol):
                self._add(cursor, f"{symbol} -> {changed}", text[:-2] + changed)
        if re.match(r"!\s*[\w(]", text):
            self._add(cursor, "! removed", f"static_cast<bool>({text[1:]})")

    def _call(self, cursor, text, statements):
        callee = cursor.spelling
        if callee == "reserve":
            return  # It only saves time.
        if callee.startswith("operator"):
            compared = {each: OPERATORS[each] for each in COMPARISONS}
            self._operator(cursor, list(cursor.get_children()), compared)
        elif not text.endswith(")") or not callee:
            return
        elif statements:
            self._add(cursor, f"call of {callee} removed", "void()", "void")
        elif cursor.type.get_canonical().kind in NUMBERS:
            self._add(cursor, f"{callee}() -> zero", f"std::decay_t<decltype({text})>{{}}")


def written(source, chosen):
    """Returns the text of a source in which each change of `chosen`, a dictionary from numbers to
    changes, is made while the environment variable KOVA_MUTANT is its number."""
    outer_first = sorted(chosen.items(), key=lambda item: (item[1].start, -item[1].end, item[0]))

    def region(start, end, items):
        pieces, at = [], start
        while items:
            number, mutation = items[0]
            inside = [each for each in items[1:] if each[1].end <= mutation.end]
            items = items[1 + len(inside):]
            pieces.append(source.text[at:mutation.start].decode())
            original = region(mutation.start, mutation.end, inside)
            pieces.append(f"(kovaMutant({number}) ? {mutation.text} : {mutation.cast}({original}))")
            at = mutation.end
        pieces.append(source.text[at:end].decode())
        return "".join(pieces)

    return PRELUDE % (max(chosen, default=0) + 1, source.path) + region(0, len(source.text), outer_first)


def changed(source, mutation):
    """Returns the text of a source in which only this change is made. Later lines keep their numbers."""
    text = mutation.text.encode()
    lines = source.text.count(b"\n", mutation.start, mutation.end) - text.count(b"\n")
    return source.text[:mutation.start] + text + b"\n" * lines + source.text[mutation.end:]
