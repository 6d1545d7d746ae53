"""Finds the single changes that can be made to the product's sources, and writes sources in which each is a switch.

A change is an alternative to an expression, or a statement that is left out or comes first. Each gets a number for the
switch, and an identifier that stays the same when other lines change: file, function, kind, text of the place, and a
count where these are the same. What only the compiler sees (declarations, constant expressions, the expansion of
macros) is not changed.
"""

import bisect
import os
import re
import sys

sys.path.append("/usr/lib/python3/dist-packages")  # of Debian's python3-clang, also for another python3
from clang import cindex  # noqa: E402

Kind = cindex.CursorKind
Type = cindex.TypeKind

NUMBERS = {Type.INT, Type.UINT, Type.LONG, Type.ULONG, Type.LONGLONG, Type.ULONGLONG, Type.USHORT, Type.SHORT,
           Type.UCHAR, Type.SCHAR, Type.CHAR_S, Type.CHAR_U}
FUNCTIONS = {Kind.FUNCTION_DECL, Kind.CXX_METHOD, Kind.CONSTRUCTOR, Kind.DESTRUCTOR, Kind.CONVERSION_FUNCTION,
             Kind.FUNCTION_TEMPLATE}
OTHER_COMPARISONS = {"<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"], "==": ["!="],
                     "!=": ["=="]}
OTHER_ARITHMETIC = {"+": "-", "-": "+", "*": "+", "/": "*", "%": "+"}
OTHER_ASSIGNMENT = {"+=": "-=", "-=": "+="}
SYMMETRIC = ("min", "max", "qMin", "qMax")
PLACE_LENGTH, IDENTIFIER_LENGTH = 60, 112  # with a count after it, an identifier still fits a line of 120
OPPOSITE = "opposite"
TEXT_MACROS = {"QStringLiteral": "QString()", "QT_TRANSLATE_NOOP": '""'}


class Change:
    """One change: what stands at a place of a source, and what may stand there instead."""

    def __init__(self, file, function, kind, start, end, line, place, text, is_prefix):
        self.file, self.function, self.kind = file, function, kind
        self.start, self.end, self.line = start, end, line
        self.place, self.text, self.is_prefix = place, text, is_prefix
        self.number = 0
        self.identifier = ""


def on_one_line(text):
    """Without comments and line breaks."""
    text = re.sub(r'"(?:\\.|[^"\\])*"|//[^\n]*|/\*.*?\*/', lambda found: found[0] if found[0][0] == '"' else " ", text,
                  flags=re.DOTALL)
    return re.sub(r"\s+", " ", text).strip()


def shortened(text, length):
    return text if len(text) <= length else text[:length - 3] + "..."


def unwrapped(cursor):
    """The expression below the implicit conversions, which have the same place."""
    while cursor.kind == Kind.UNEXPOSED_EXPR:
        children = list(cursor.get_children())
        if len(children) != 1 or children[0].extent != cursor.extent:
            break
        cursor = children[0]
    return cursor


class Finder:
    """Collects the changes of one translation unit in those files of the project that are still to be read."""

    def __init__(self, project, files, changes):
        self.project, self.files, self.changes = project, files, changes
        self.texts, self.macros, self.scopes, self.seen = {}, {}, [], set()
        self.function, self.result = "", None

    def text_of(self, file):
        if file not in self.texts:
            with open(os.path.join(self.project, file), encoding="latin-1") as source:
                self.texts[file] = source.read()
        return self.texts[file]

    def file_of(self, cursor):
        start = cursor.extent.start
        if start.file is None:
            return None
        file = os.path.relpath(start.file.name, self.project)
        return file if file in self.files else None

    def read(self, unit):
        for cursor in unit.cursor.get_children():
            if cursor.kind == Kind.MACRO_INSTANTIATION and self.file_of(cursor):
                place = (cursor.extent.start.offset, cursor.extent.end.offset, cursor.spelling)
                self.macros.setdefault(self.file_of(cursor), []).append(place)
        for places in self.macros.values():
            places.sort()
        for cursor in unit.cursor.get_children():
            if cursor.kind not in (Kind.MACRO_INSTANTIATION, Kind.MACRO_DEFINITION) and self.file_of(cursor):
                self.walk(cursor)

    def is_in_macro(self, file, start, end):
        places = self.macros.get(file, [])
        at = bisect.bisect_right(places, (start, sys.maxsize, ""))
        return any(place[0] <= start < place[1] or start < place[0] < end < place[1]
                   for place in places[max(0, at - 5):at + 1] if end > place[0])

    def source(self, cursor):
        extent = cursor.extent
        return on_one_line(self.text_of(self.file_of(cursor))[extent.start.offset:extent.end.offset])

    def add(self, cursor, kind, text, is_prefix=False):
        file = self.file_of(cursor)
        start, end = cursor.extent.start.offset, cursor.extent.end.offset
        if file is None or end <= start or self.is_in_macro(file, start, end):
            return
        self.add_place(file, start, end, cursor.extent.start.line, kind, text, is_prefix)

    def add_place(self, file, start, end, line, kind, text, is_prefix=False):
        if (file, start, end, kind) not in self.seen:
            self.seen.add((file, start, end, kind))
            place = on_one_line(self.text_of(file)[start:end])
            self.changes.append(Change(file, self.function, kind, start, end, line, place, text, is_prefix))

    def walk(self, cursor):
        kind = cursor.kind
        if self.file_of(cursor) is None or kind in (Kind.STATIC_ASSERT, Kind.ENUM_DECL, Kind.PARM_DECL,
                                                    Kind.TYPE_ALIAS_DECL, Kind.TYPE_REF):
            return
        before = self.function, self.result
        if kind in FUNCTIONS:
            if not cursor.is_definition() or self.file_of(cursor) is None:
                return
            parent = cursor.semantic_parent
            scope = parent.spelling + "::" if parent.kind in (Kind.CLASS_DECL, Kind.STRUCT_DECL) else ""
            self.function, self.result = scope + cursor.spelling, cursor.result_type
        elif kind == Kind.LAMBDA_EXPR:
            self.result = None
        elif kind in (Kind.VAR_DECL, Kind.FIELD_DECL):
            if cursor.type.kind in (Type.CONSTANTARRAY, Type.INCOMPLETEARRAY) or self.is_constant(cursor):
                return
            self.function = self.function or cursor.spelling
        if self.function != before[0]:
            self.scopes.append((self.file_of(cursor), cursor.extent.start.offset, cursor.extent.end.offset,
                                self.function))
        self.change(cursor, kind)
        children = list(cursor.get_children())
        if kind == Kind.CASE_STMT:
            children = children[1:]
        for child in children:
            if kind in (Kind.COMPOUND_STMT, Kind.CASE_STMT, Kind.DEFAULT_STMT):
                self.change_statement(child)
            self.walk(child)
        self.function, self.result = before

    def is_constant(self, cursor):
        return any(token.spelling == "constexpr" for token in list(cursor.get_tokens())[:4])

    def change(self, cursor, kind):
        if kind in (Kind.BINARY_OPERATOR, Kind.COMPOUND_ASSIGNMENT_OPERATOR, Kind.CALL_EXPR):
            self.change_operator(cursor)
        if kind == Kind.CALL_EXPR:
            self.swap_arguments(cursor)
        elif kind == Kind.IF_STMT:
            children = list(cursor.get_children())
            body = next(i for i, child in enumerate(children) if child.kind == Kind.COMPOUND_STMT)
            self.negate(children[body - 1], children[:body - 1])
        elif kind == Kind.CONDITIONAL_OPERATOR:
            self.negate(list(cursor.get_children())[0])
        elif kind in (Kind.WHILE_STMT, Kind.FOR_STMT):
            children = list(cursor.get_children())[:-1]
            for condition in children:
                if condition.type.get_canonical().kind == Type.BOOL and not self.is_declaration(condition, children):
                    self.add(condition, "never", "false")
        elif kind == Kind.UNARY_OPERATOR and self.source(cursor).startswith("!"):
            self.add(cursor, "not dropped", f"static_cast<bool>({self.source(cursor)[1:]})")
        elif kind == Kind.RETURN_STMT:
            self.change_result(cursor)
        elif kind in (Kind.BREAK_STMT, Kind.CONTINUE_STMT):
            self.add(cursor, "left out", None, True)
        else:
            self.change_literal(cursor, kind)

    def change_literal(self, cursor, kind):
        text = self.source(cursor)
        if kind == Kind.INTEGER_LITERAL:
            self.add(cursor, "one more", text + " + 1")
            self.add(cursor, "one less", text + " - 1")
        elif kind == Kind.CXX_BOOL_LITERAL_EXPR:
            self.add(cursor, "other value", "false" if text == "true" else "true")
        elif kind == Kind.CHARACTER_LITERAL:
            self.add(cursor, "other character", "'#'")
        elif kind == Kind.STRING_LITERAL:
            self.add(cursor, "other text", '"#"' if text == '""' else '""')
            if text.endswith('\\n"') and len(text) > 4:
                self.add(cursor, "no line break", text[:-3] + '"')

    def change_macros(self, file):
        """The texts that are written in macros."""
        text = self.text_of(file)
        for start, end, name in self.macros.get(file, []):
            scopes = [scope[3] for scope in self.scopes if scope[0] == file and scope[1] <= start < scope[2]]
            if name in TEXT_MACROS and scopes:
                self.function = scopes[0]
                self.add_place(file, start, end, text.count("\n", 0, start) + 1, "other text", TEXT_MACROS[name])

    def change_operator(self, cursor):
        children = [child for child in cursor.get_children() if not child.spelling.startswith("operator")
                    or child.kind == Kind.CALL_EXPR]
        file = self.file_of(cursor)
        if len(children) != 2 or file is None:
            return
        left, right = sorted(children, key=lambda child: child.extent.start.offset)
        if self.file_of(left) != file or self.file_of(right) != file:
            return
        operator = on_one_line(self.text_of(file)[left.extent.end.offset:right.extent.start.offset])
        first, second = self.source(left), self.source(right)
        for other in OTHER_COMPARISONS.get(operator, []):
            self.add(cursor, f"{operator} to {other}", f"{first} {other} {second}")
        if operator in ("&&", "||"):
            self.add(cursor, "left side alone", first)
            self.add(cursor, "right side alone", second)
        is_number = cursor.type.get_canonical().kind in NUMBERS
        sides_are_numbers = all(unwrapped(side).type.get_canonical().kind in NUMBERS for side in (left, right))
        if operator in OTHER_ARITHMETIC and is_number and sides_are_numbers:
            other = OTHER_ARITHMETIC[operator]
            self.add(cursor, f"{operator} to {other}", f"{first} {other} {second}")
        if operator in OTHER_ASSIGNMENT and is_number and sides_are_numbers:
            other = OTHER_ASSIGNMENT[operator]
            self.add(cursor, f"{operator} to {other}", f"{first} {other} {second}")

    def swap_arguments(self, cursor):
        function = cursor.referenced
        if function is None or function.kind == Kind.CONSTRUCTOR or function.spelling in SYMMETRIC:
            return
        parameters = [parameter.type.spelling for parameter in function.get_arguments()]
        arguments = list(cursor.get_arguments())
        file = self.file_of(cursor)
        for place, (first, second) in enumerate(zip(arguments, arguments[1:])):
            if not (self.file_of(first) and self.file_of(second)) or len(set(parameters[place:place + 2])) != 1:
                continue
            types = [unwrapped(argument).type.get_canonical().spelling.rstrip(" &") for argument in (first, second)]
            types = [name if name.endswith("*") else name.replace("const ", "") for name in types]
            texts = self.source(first), self.source(second)
            if types[0] != types[1] or texts[0] == texts[1] or "[" in texts[0] + texts[1]:
                continue
            text = self.text_of(file)
            places = [cursor.extent.start.offset, first.extent.start.offset, first.extent.end.offset,
                      second.extent.start.offset, second.extent.end.offset, cursor.extent.end.offset]
            if places == sorted(places) and text[places[2]:places[3]].strip() == ",":
                self.add(cursor, f"swapped: {texts[0]}", on_one_line(
                    text[places[0]:places[1]] + texts[1] + ", " + texts[0] + text[places[4]:places[5]]))

    def is_declaration(self, condition, siblings):
        """Whether the condition is a variable that is declared there."""
        return condition.kind in (Kind.VAR_DECL, Kind.DECL_STMT) or any(
            sibling.kind == Kind.VAR_DECL and sibling.extent.start.offset <= condition.extent.start.offset and
            condition.extent.end.offset <= sibling.extent.end.offset for sibling in siblings)

    def negate(self, condition, siblings=()):
        if self.is_declaration(condition, siblings):
            return
        inner = unwrapped(condition)
        text = self.source(condition)
        # A comparison and a combination have changes of their own, and so has a "!".
        if inner.kind != Kind.BINARY_OPERATOR and not (inner.kind == Kind.UNARY_OPERATOR and text.startswith("!")):
            self.add(condition, OPPOSITE, f"!({text})")

    def change_statement(self, statement):
        if statement.kind.is_expression():
            self.add(statement, "left out", None, True)

    def change_result(self, cursor):
        values = list(cursor.get_children())
        if not values:
            self.add(cursor, "left out", None, True)
            return
        if self.result is None:
            return
        result = self.result.get_canonical()
        value = self.source(values[0])
        if result.kind == Type.BOOL:
            inner = unwrapped(values[0])
            if inner.kind not in (Kind.CXX_BOOL_LITERAL_EXPR, Kind.BINARY_OPERATOR) or re.search(r"&&|\|\|", value):
                self.add(cursor, "other result", f"return !({value})", True)
        elif result.kind in NUMBERS and unwrapped(values[0]).kind != Kind.INTEGER_LITERAL:
            self.add(cursor, "other result", f"return ({value}) + 1", True)
        elif result.kind == Type.POINTER and value != "nullptr":
            self.add(cursor, "other result", "return nullptr", True)
        elif result.spelling == "QString":
            other = 'QStringLiteral("#")' if value in ("NO_ERROR", "QString()") else "QString()"
            self.add(cursor, "other result", f"return {other}", True)
        elif (result.kind not in (Type.LVALUEREFERENCE, Type.INVALID) and not value.startswith("{") and
              value not in ("0", "nullptr", "std::nullopt")):
            self.add(cursor, "other result", "return {}", True)


def find_changes(project, units, files):
    """The changes in `files`, in the order of their places. `units`: (source, compiler arguments) for each of them."""
    index = cindex.Index.create()
    changes, open_files = [], set(files)
    for source, arguments in units:
        unit = index.parse(source, args=arguments,
                           options=cindex.TranslationUnit.PARSE_DETAILED_PROCESSING_RECORD)
        errors = [message for message in unit.diagnostics
                  if message.severity >= cindex.Diagnostic.Error and ".moc'" not in message.spelling]
        if errors:
            sys.exit(f"mutants: cannot read {source}: {errors[0]}")
        finder = Finder(project, open_files, changes)
        finder.read(unit)
        for file in sorted(finder.texts):
            finder.change_macros(file)
        open_files -= set(finder.texts)
    changes.sort(key=lambda change: (change.file, change.start, -change.end, change.kind))
    counts = {}
    for number, change in enumerate(changes, 1):
        place = shortened(change.place, PLACE_LENGTH)
        function = change.function.split("::")[-1]
        identifier = f"{change.file}: {function}: {change.kind}: {place}".encode("latin-1").decode()
        identifier = shortened(identifier, IDENTIFIER_LENGTH)
        counts[identifier] = counts.get(identifier, 0) + 1
        change.number = number
        change.identifier = identifier if counts[identifier] == 1 else f"{identifier} ({counts[identifier]})"
    return changes


def with_switches(text, changes):
    """The source with a switch for each of its changes. No line break is added, so the lines keep their numbers."""
    places = {}
    for change in changes:
        places.setdefault((change.start, -change.end), []).append(change)
    out, at, ends = [], 0, []

    def copy_to(position):
        nonlocal at
        while ends and ends[-1][0] <= position:
            end, closing = ends.pop()
            out.append(text[at:end] + closing)
            at = end
        out.append(text[at:position])
        at = position

    for (start, negative_end), group in sorted(places.items()):
        copy_to(start)
        expressions = [change for change in group if not change.is_prefix]
        for change in group:
            if change.is_prefix:
                switch = f"if (tavrin_mutant({change.number})) {{ {change.text}; }} " if change.text else \
                    f"if (!tavrin_mutant({change.number})) "
                out.append(switch)
        if expressions:
            out.append("(" + "".join(f"tavrin_mutant({c.number}) ? ({c.text}) : " for c in expressions) +
                       ("static_cast<bool>(" if any(c.kind == OPPOSITE for c in expressions) else "("))
            ends.append((-negative_end, "))"))
    copy_to(len(text))
    return "".join(out)
