"""Finds what can be mutated in a source, in the syntax tree that Clang makes of it."""
import bisect
import dataclasses
import json
import os
import re
import subprocess

# Kinds of node that only stand around an expression.
WRAPPERS = {"ImplicitCastExpr", "ExprWithCleanups", "CXXBindTemporaryExpr", "MaterializeTemporaryExpr", "ParenExpr", "ConstantExpr"}
CALLS = {"CallExpr", "CXXMemberCallExpr", "CXXOperatorCallExpr"}
CONSTRUCTIONS = {"CXXConstructExpr", "CXXTemporaryObjectExpr"}
# What a compiler computes cannot be switched at run time; golden numbers, array bounds and the like.
CONSTANT_PLACES = {"ConstantExpr", "StaticAssertDecl", "EnumConstantDecl", "TemplateArgument", "RequiresExpr", "ConceptDecl"}
BORDERS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">"}
EQUALITY = {"==": "!=", "!=": "=="}
LOGIC = {"&&": "||", "||": "&&"}
# Dropped or with other arguments, these change at most how fast it goes.
WITHOUT_EFFECT = re.compile(r"(?:\.|->)(?:reserve|shrink_to_fit)\(")
SYMMETRIC = re.compile(r"(?:^|[:.>])(?:min|max|minmax|swap|iter_swap|equals?\w*)(?:<[^()]*>)?$")


@dataclasses.dataclass
class Mutant:
    file: str
    kind: str
    start: int
    end: int
    replacement: str   # of the text from start to end
    line: int = 0
    before: str = ""
    after: str = ""
    number: int = 0
    edit: tuple = ()   # how it is written beside the original: (order, pieces); pieces are texts and ranges
    also: tuple = ()   # a further replacement that makes the edit possible: (start, end, text)


class Finder:
    def __init__(self, wanted, text_of):
        self.wanted = wanted      # from the compiler's name of a file to ours, for files that are to be mutated
        self.text_of = text_of    # bytes, as offsets count bytes
        self.file = None
        self.found = {}

    # Clang names a file only where it differs from the location before, so locations are read in their order.
    def resolve(self, node):
        """Writes its file into every location below."""
        stack = [node]
        while stack:
            item = stack.pop()
            if isinstance(item, list):
                stack.extend(reversed(item))
            elif isinstance(item, dict):
                if "offset" in item:
                    self.file = os.path.normpath(item["file"]) if "file" in item else self.file
                    item["in"] = self.file
                stack.extend(value for value in reversed(list(item.values())) if isinstance(value, (dict, list)))

    def extent(self, node):
        """The node's range as (start, end), or nothing when it is not plain text of a wanted file."""
        bounds = node.get("range", {})
        begin, end = bounds.get("begin", {}), bounds.get("end", {})
        if "offset" not in begin or "offset" not in end or begin.get("in") != end.get("in") or begin.get("in") not in self.wanted:
            return None
        return begin["offset"], end["offset"] + end["tokLen"]

    def text(self, extent):
        return self.source[extent[0]:extent[1]].decode()

    def add(self, kind, extent, replacement, order, pieces, also=()):
        key = (self.name, *extent, kind, replacement)
        if key not in self.found:
            self.found[key] = Mutant(self.name, kind, *extent, replacement, edit=(order, pieces), also=also)

    def walk(self, node, parents=(), constant=False, is_constexpr=False, variable=None):
        kind = node.get("kind")
        if kind is None or node.get("isImplicit") or kind in CONSTANT_PLACES or node.get("explicitlyDefaulted") or kind == "DefinitionData":
            return
        if kind == "FunctionDecl" or kind.startswith("CXX") and kind.endswith(("MethodDecl", "ConstructorDecl", "ConversionDecl")):
            is_constexpr = bool(node.get("constexpr"))
        if kind == "VarDecl":
            variable = node if node.get("constexpr") else None
            if variable is not None and is_constexpr:
                return
        extent = self.extent(node)
        if extent:
            self.name = self.wanted[node["range"]["begin"]["in"]]
            self.source = self.text_of(self.name)
            self.switch = "::mutate::isNowOrNever" if is_constexpr else "::mutate::is"
            self.plus = "::mutate::plusNowOrNever" if is_constexpr else "::mutate::plus"
            self.examine(node, kind, extent, variable)
        children = [child for child in node.get("inner", []) if isinstance(child, dict)]
        if kind == "CXXForRangeStmt":  # the rest of its parts is written nowhere
            children = [child for child in children if child.get("kind") == "DeclStmt"][:1] + children[-1:] if len(children) > 2 else children
        if kind == "IfStmt" and node.get("isConstexpr"):
            children = children[1:]
        for child in children:
            self.walk(child, (*parents, node), constant, is_constexpr, variable)

    def examine(self, node, kind, extent, variable):
        inner = node.get("inner", [])
        if kind in ("IfStmt", "WhileStmt", "DoStmt", "ForStmt", "ConditionalOperator"):
            self.condition_of(node, kind, inner)
        if kind == "ReturnStmt" and inner and self.type_of(inner[0]) == "bool":
            self.negate("return", inner[0])
        operator = node.get("opcode")
        if kind == "BinaryOperator" and operator in (*BORDERS, *EQUALITY, *LOGIC):
            self.binary(operator, extent, inner[0], inner[1])
        if kind == "CXXOperatorCallExpr" and len(inner) == 3:
            self.overloaded(extent, inner)
        if kind == "CXXRewrittenBinaryOperator":
            call = first(node, "CXXOperatorCallExpr")
            if call and len(call.get("inner", [])) == 3:
                self.overloaded(extent, call["inner"])
        if kind in ("IntegerLiteral", "FloatingLiteral"):
            self.literal(node, kind, extent, variable)
        if kind == "CXXBoolLiteralExpr" and variable is None:
            opposite = "false" if self.text(extent) == "true" else "true"
            self.add("true and false", extent, opposite, 5, (f"({self.switch}(@) != ", extent, ")"))
        if kind in ("CompoundStmt", "IfStmt", "ForStmt", "WhileStmt", "DoStmt", "CXXForRangeStmt", "CaseStmt", "DefaultStmt"):
            self.statements(kind, node, inner)
        if kind in CALLS | CONSTRUCTIONS and kind != "CXXOperatorCallExpr":
            self.arguments(kind, node, inner)

    def condition_of(self, node, kind, inner):
        if node.get("isConstexpr") or kind == "IfStmt" and node.get("hasInit") and node.get("hasVar"):
            return
        if node.get("hasVar"):
            if kind != "IfStmt":
                return
            variable = inner[0].get("inner", [{}])[0]
            extent = self.extent(variable)
            if extent:
                name = variable["name"]
                self.add("condition", extent, f"{self.text(extent)}; !{name}", 1,
                         (extent, f"; ({self.switch}(@) != bool({name}))"))
            return
        position = {"IfStmt": 1 if node.get("hasInit") else 0, "WhileStmt": 0, "DoStmt": 1, "ForStmt": 2, "ConditionalOperator": 0}[kind]
        if position < len(inner) and inner[position].get("kind"):
            self.negate("condition", inner[position])

    def negate(self, kind, node):
        """Each operand of && and || by itself; equality has its opposite already, and so has a literal."""
        core = peel(node)
        if core.get("opcode") in LOGIC and core["kind"] == "BinaryOperator":
            for operand in core["inner"]:
                self.negate(kind, operand)
            return
        extent = self.extent(node)
        if not extent or core.get("opcode") in EQUALITY or core["kind"] in ("CXXBoolLiteralExpr", "CXXRewrittenBinaryOperator"):
            return
        if core["kind"] == "CXXOperatorCallExpr" and re.search(r"operator[=!]=", json.dumps(core["inner"][0])):
            return
        text = self.text(extent)
        plain = text[1:] if core["kind"] == "UnaryOperator" and text.startswith("!") else f"!({text})"
        self.add(kind, extent, plain, 1, (f"({self.switch}(@) != bool(", extent, "))"))

    def binary(self, operator, extent, left, right):
        a, b = self.extent(left), self.extent(right)
        if not a or not b or not extent[0] <= a[0] <= a[1] <= b[0] <= b[1] <= extent[1]:
            return
        between = self.text((a[1], b[0]))
        if between.strip() != operator:
            return
        other = {**BORDERS, **EQUALITY, **LOGIC}[operator]
        plain = self.text((extent[0], a[1])) + between.replace(operator, other) + self.text((b[0], extent[1]))
        if operator in LOGIC:
            pieces = (f"({self.switch}(@) != (({self.switch}(@) != bool(", a, f")) {operator} ({self.switch}(@) != bool(", b, "))))")
            self.add("logic", extent, plain, 2, pieces)
        elif operator in EQUALITY:
            self.add("condition", extent, plain, 2, (f"({self.switch}(@) != bool(", a, between, b, "))"))
        else:
            self.add("border", extent, plain, 3, (f"({self.switch}(@) ? (", (*a, "copy"), f" {other} ", (*b, "copy"), ") : (", a, between, b, "))"))

    def overloaded(self, extent, inner):
        a, b = self.extent(inner[1]), self.extent(inner[2])
        if a and b:
            if a[0] > b[0]:
                a, b = b, a
            operator = self.source[a[1]:b[0]].decode().strip()
            if operator in (*BORDERS, *EQUALITY):
                self.binary(operator, (a[0], b[1]), {"range": fake(a, self)}, {"range": fake(b, self)})

    def literal(self, node, kind, extent, variable):
        text = self.text(extent)
        if not re.fullmatch(r"[0-9][0-9'a-zA-Z.+-]*", text) or re.search(r"(?<![0-9a-fA-FxX'])(?:h|min|s|ms|us|ns)$", text) and not text.startswith("0x"):
            return
        one = "1.0" if kind == "FloatingLiteral" else "1"
        also = ()
        plus = self.plus
        if variable is not None:
            also = self.without_constexpr(variable)
            plus = "::mutate::plus"
            if not also:
                return
        self.add("constant", extent, f"({text} + {one})", 5, (f"{plus}(@, ", extent, ")"), also)

    def without_constexpr(self, variable):
        extent = self.extent(variable)
        at = variable.get("loc", {}).get("offset")
        if not extent or at is None:
            return ()
        head = self.source[extent[0]:at].decode()
        match = re.search(r"\bconstexpr\b", head)
        if not match:
            return ()
        is_member = variable.get("storageClass") == "static" and "inline" not in head and variable.get("inline")
        return (extent[0] + match.start(), extent[0] + match.end(), "inline const" if is_member else "const")

    def statements(self, kind, node, inner):
        bodies = inner
        if kind != "CompoundStmt":
            bodies = inner[-2:] if kind == "IfStmt" and node.get("hasElse") else inner[:1] if kind == "DoStmt" else inner[-1:]
        for statement in bodies:
            core = peel(statement)
            extent = self.extent(statement)
            if not extent:
                continue
            text = self.text(extent)
            is_assignment = (core["kind"] in ("BinaryOperator", "CompoundAssignOperator") and core.get("opcode", "").endswith("=")
                             or core["kind"] == "UnaryOperator" and core.get("opcode") in ("++", "--"))
            if core["kind"] == "CXXOperatorCallExpr":
                match = re.search(r'"name": "operator(\S+?)"', json.dumps(core["inner"][0]))
                is_assignment = bool(match) and match[1] in ("=", "+=", "-=", "*=", "/=", "|=", "&=", "++", "--")
            if is_assignment or core["kind"] in CALLS and not WITHOUT_EFFECT.search(text):
                self.add("assignment" if is_assignment else "call", extent, "", 0, (f"({self.switch}(@) ? void() : void(", extent, "))"))

    def arguments(self, kind, node, inner):
        given = [child for child in (inner[1:] if kind in CALLS else inner) if child.get("kind") != "CXXDefaultArgExpr"]
        if kind in CALLS and inner:
            callee = self.extent(inner[0])
            if callee and SYMMETRIC.search(self.text(callee)):
                return
        for left, right in zip(given, given[1:]):
            a, b = self.extent(left), self.extent(right)
            if not a or not b or a[1] > b[0] or kind_of(left) != kind_of(right):
                continue
            first_text, second_text, between = self.text(a), self.text(b), self.text((a[1], b[0]))
            if between.strip() != "," or first_text == second_text or "[" in first_text + second_text or "begin()" in first_text:
                continue
            self.add("arguments", (a[0], b[1]), second_text + between + first_text, 4,
                     (f"({self.switch}(@) ? ", (*b, "copy"), " : ", a, ")" + between + f"({self.switch}(@) ? ", (*a, "copy"), " : ", b, ")"))

    @staticmethod
    def type_of(node):
        kind = node.get("type", {})
        return kind.get("desugaredQualType", kind.get("qualType", ""))


def fake(extent, finder):
    name = next(key for key, value in finder.wanted.items() if value == finder.name)
    return {"begin": {"offset": extent[0], "in": name, "tokLen": 0}, "end": {"offset": extent[1], "in": name, "tokLen": 0}}


def kind_of(node):
    """What an argument is passed as: two of one kind can change places."""
    return Finder.type_of(node), node.get("valueCategory")


def peel(node):
    while node.get("kind") in WRAPPERS and len(node.get("inner", [])) == 1:
        node = node["inner"][0]
    return node


def first(node, kind):
    for child in node.get("inner", []):
        if child.get("kind") == kind:
            return child
        if found := first(child, kind):
            return found
    return None


def syntax_trees(command, folder):
    """The top declarations of the project's namespaces as Clang reads them with the flags of `command`."""
    result = subprocess.run(command, cwd=folder, capture_output=True, text=True, timeout=120)
    if result.returncode:
        raise RuntimeError(f"Clang cannot read {command[-1]}:\n{result.stderr[:2000]}")
    decoder, position = json.JSONDecoder(), 0
    while position < len(result.stdout):
        tree, position = decoder.raw_decode(result.stdout, position)
        yield tree
        while position < len(result.stdout) and result.stdout[position].isspace():
            position += 1


def find(command, folder, wanted, text_of):
    """The mutants of those files in `wanted` that the source named by `command` includes, itself among them."""
    finder = Finder(wanted, text_of)
    for tree in syntax_trees(command, folder):
        finder.resolve(tree)
        finder.walk(tree)
    mutants = sorted(finder.found.values(), key=lambda mutant: (mutant.file, mutant.start, -mutant.end, mutant.kind, mutant.replacement))
    for mutant in mutants:
        describe(mutant, text_of(mutant.file))
    return mutants


def describe(mutant, source):
    """Fills in the line, and the line before and after."""
    lines = [0] + [match.end() for match in re.finditer(b"\n", source)]
    mutant.line = bisect.bisect_right(lines, mutant.start)
    start = lines[mutant.line - 1]
    end = source.find(b"\n", mutant.end)
    end = len(source) if end < 0 else end
    mutant.before = one_line(source[start:end])
    mutant.after = one_line(source[start:mutant.start] + mutant.replacement.encode() + source[mutant.end:end])


def one_line(text):
    return " ".join(text.decode().split())
