"""A C++ file as tokens, with what can be told of its structure without a compiler: scopes, members, parameters."""

import hashlib
import re
from typing import NamedTuple

TOKEN = re.compile(
    r"""(?P<skip>//[^\n]*|/\*.*?\*/|^[ \t]*\#(?:[^\n\\]|\\.|\\\n)*|"(?:[^"\\\n]|\\.)*"|'(?:[^'\\\n]|\\.)*')
      |(?P<number>\b(?:0[xX][0-9a-fA-F']+|\d[\d']*)(?:[uUlL]*)\b(?![.\d]))
      |(?P<name>[A-Za-z_]\w*)
      |(?P<operator><<=|>>=|<=>|->|::|\+\+|--|&&|\|\||[=!<>+\-*/%&|^]=|<<|>>|[-+*/%&|^!<>=~?:;,.(){}\[\]])""",
    re.VERBOSE | re.MULTILINE | re.DOTALL)

CLOSING = {"(": ")", "{": "}", "[": "]"}
# Words in front of a name that do not make it a declaration.
NO_TYPE = {"return", "else", "case", "throw", "sizeof", "new", "delete", "goto", "do", "co_return", "operator", "not"}


class Token(NamedTuple):
    group: str
    text: str
    begin: int
    end: int


class Scope(NamedTuple):
    """A pair of braces: of a namespace, class, enum, function, block (lambdas too) or initializer."""
    kind: str
    head: int  # the first token of what stands in front of the brace
    open: int
    close: int
    parent: "Scope | None"


class Variable(NamedTuple):
    name: str
    type: str


class Fault:
    """One change of a file's text. Its number is a hash of what it changes."""

    def __init__(self, source, begin, end, replacement, kind, seen):
        text = source.text
        self.path, self.begin, self.end, self.replacement, self.kind = source.path, begin, end, replacement, kind
        line_begin = text.rfind("\n", 0, begin) + 1
        line_end = text.find("\n", end)
        self.line = text.count("\n", 0, begin) + 1
        before = " ".join(text[line_begin:line_end].split())
        after = " ".join((text[line_begin:begin] + replacement + text[end:line_end]).split())
        self.change = f"{kind}: {before}  =>  {after}"
        key = f"{self.path.name}\0{self.change}"
        seen[key] = seen.get(key, 0) + 1
        self.id = hashlib.sha1(f"{key}\0{seen[key]}".encode()).hexdigest()[:12]
        self.edit = (self.path.name, begin, end, replacement)


class Source:
    """A file. `others` are the files that it includes, of which the classes are known as well."""

    def __init__(self, path, text, others=()):
        self.path, self.text, self.others = path, text, others
        self.tokens = [Token(m.lastgroup, m.group(), m.start(), m.end())
                       for m in TOKEN.finditer(text) if m.lastgroup != "skip"]
        self.partner = self._partners()
        self.assertions = [(t.begin, self.tokens[self.partner[i + 1]].end)
                           for i, t in enumerate(self.tokens) if t.text in ("assert", "static_assert")]
        self._mentioned = None
        self.scopes = sorted(self._scopes(), key=lambda s: s.open)
        self.const_functions = set(re.findall(r"(\w+)\([^()]*\) const\b", text)).union(
            *(other.const_functions for other in others))
        self.classes = {name: members for other in others for name, members in other.classes.items()}
        self.classes.update(self._classes())

    def word(self, i):
        return self.tokens[i].text if 0 <= i < len(self.tokens) else ""

    def text_of(self, first, last):
        """The text of the tokens from first to last, both included."""
        return self.text[self.tokens[first].begin:self.tokens[last].end]

    def line_at(self, position):
        return self.text[self.text.rfind("\n", 0, position) + 1:self.text.find("\n", position)]

    # ---- brackets and scopes

    def _partners(self):
        partner, open_at = {}, []
        for i, token in enumerate(self.tokens):
            if token.text in CLOSING:
                open_at.append(i)
            elif token.text in CLOSING.values() and open_at:
                j = open_at.pop()
                partner[i], partner[j] = j, i
        return partner

    def _scopes(self):
        found, stack, head = [], [], 0
        for i, token in enumerate(self.tokens):
            while stack and i == stack[-1].close:
                scope = stack.pop()
                if scope.kind != "initializer":
                    head = i + 1
            if token.text == "{" and i in self.partner:
                parent = stack[-1] if stack else None
                scope = Scope(self._kind_of(head, i, parent), head, i, self.partner[i], parent)
                found.append(scope)
                stack.append(scope)
                if scope.kind != "initializer":
                    head = i + 1
            elif token.text == ";" and not self._inside_parentheses(head, i):
                head = i + 1
            elif token.text == ":" and self.word(i - 1) in ("public", "private", "protected"):
                head = i + 1
        return found

    def _inside_parentheses(self, head, i):
        return any(self.tokens[j].text in "([" and self.partner.get(j, -1) > i for j in range(head, i))

    def _kind_of(self, head, brace, parent):
        if parent is not None and parent.kind == "initializer":
            return "initializer"
        before = self.word(brace - 1)
        if parent is not None and parent.kind in ("function", "block"):
            starts = brace == head or before in (")", "else", "do", "mutable", "noexcept", ":", "try", "constexpr")
            words = {self.word(j) for j in range(head, brace)}
            if words & {"struct", "class", "enum"} and "(" not in words:
                return "class"
            return "block" if starts else "initializer"
        words = [self.word(j) for j in self._outside_brackets(head, brace)]
        if "namespace" in words:
            return "namespace"
        if "enum" in words:
            return "enum"
        if {"class", "struct", "union"} & set(words) and "(" not in words:
            return "class"
        if "(" not in words:
            return "initializer"
        if "=" in words and "operator" not in words:
            return "function" if before in (")", "noexcept", "mutable") else "initializer"
        return "initializer" if self._in_member_list(head, brace) else "function"

    def _outside_brackets(self, first, last):
        """The tokens that stand in no parentheses and no list of template parameters."""
        j = first
        while j < last:
            if self.word(j) == "template" and self.word(j + 1) == "<":
                j = self._end_of_angles(j + 1, last) + 1
                continue
            yield j
            j = self.partner.get(j, j) if self.word(j) in ("(", "[") else j
            j += 1

    def _end_of_angles(self, first, last):
        depth = 0
        for j in range(first, last):
            depth += {"<": 1, ">": -1, ">>": -2}.get(self.word(j), 0)
            if depth <= 0:
                return j
        return last

    def _in_member_list(self, head, brace):
        """Whether the brace belongs to a member in the list of a constructor."""
        listed = any(self.word(j) == ":" and self.word(j - 1) in (")", "noexcept")
                     for j in self._outside_brackets(head, brace))
        return listed and self.tokens[brace - 1].group == "name" and self.word(brace - 1) != "noexcept"

    def functions(self):
        return [s for s in self.scopes if s.kind == "function"]

    # ---- classes and functions

    def _classes(self):
        """The data members of each class, in their order."""
        return {self._class_name(scope): [v for s in self._declarations_in(scope) for v in self._variables(s)]
                for scope in self.scopes if scope.kind == "class"}

    def _class_name(self, scope):
        """`B` of `class API A::B final : C`, `B` of `struct B<C>`; a number where there is none."""
        name = str(scope.open)
        for j in self._outside_brackets(scope.head, scope.open):
            if self.word(j) in (":", "<", "final"):
                break
            if self.tokens[j].group == "name" and self.word(j) not in ("class", "struct", "union"):
                name = self.word(j)
        return name

    def _declarations_in(self, scope):
        """The statements of a class without those of its functions, each as its text."""
        first, j = scope.open + 1, scope.open + 1
        inner = {s.open: s for s in self.scopes if s.kind != "initializer"}
        while j < scope.close:
            if j in inner:
                j = first = inner[j].close + 1
                continue
            if self.word(j) in CLOSING:
                j = self.partner[j]
            elif self.word(j) == ":" and self.word(j - 1) in ("public", "private", "protected"):
                first = j + 1
            elif self.word(j) == ";":
                if j > first:
                    yield " ".join(self.word(k) for k in range(first, j))
                first = j + 1
            j += 1

    @staticmethod
    def _variables(statement):
        """The variable that a statement or a parameter declares; none for whatever else it is."""
        plain = re.sub(r"\b(mutable|static|inline) ", "", statement)
        plain = re.split(r" (?:=|\{)", plain)[0].strip()
        match = re.fullmatch(r"(?P<type>[\w:<>,*& ]+?) (?P<name>\w+)(?P<array>(?: \[ ?\w* ?\])?)", plain)
        other = re.match(r"(using|friend|typedef|template|enum|constexpr|struct|class|return)\b", plain)
        if not match or other or match["name"] == "operator":
            return []
        return [Variable(match["name"], re.sub(r" ", "", match["type"] + match["array"]))]

    def name_of(self, function):
        """The index of the name of a function, and of the parenthesis of its parameters; None for lambdas."""
        for j in self._outside_brackets(function.head, function.open):
            if self.word(j) != "(" or j == function.head:
                continue
            if self.word(j - 1) == "operator":
                return j - 1, self.partner[j] + 1
            if self.word(j - 1) != "noexcept" and self.tokens[j - 1].group != "number":
                return (j - 1, j) if self.word(j - 1) != "]" else None
        return None

    def parameters(self, function):
        named = self.name_of(function)
        if named is None or self.word(named[1]) != "(":
            return []
        found = []
        for first, last in self.arguments(named[1], angles=True):
            found += self._variables(" ".join(self.word(j) for j in range(first, last)))
        return found

    def arguments(self, parenthesis, angles=False):
        """The ranges of tokens between the commas of a list."""
        first, j, close, depth = parenthesis + 1, parenthesis + 1, self.partner[parenthesis], 0
        while j < close:
            if self.word(j) in CLOSING:
                j = self.partner[j]
            elif angles and self.word(j) in ("<", ">", ">>"):
                depth += {"<": 1, ">": -1, ">>": -2}[self.word(j)]
            elif self.word(j) == "," and depth == 0:
                yield first, j
                first = j + 1
            j += 1
        if close > first:
            yield first, close

    def class_of(self, function):
        """The name of the class that a function belongs to, or an empty string."""
        named = self.name_of(function)
        if named and self.word(named[0] - 1) == "::":
            return self.word(named[0] - 2)
        scope = function.parent
        if scope is None or scope.kind != "class":
            return ""
        return self._class_name(scope)

    def members_in(self, name):
        """The members that the functions of that name in this file speak of, without an object in front."""
        if self._mentioned is None:
            members = {v.name for variables in self.classes.values() for v in variables}
            self._mentioned = {}
            for function in self.functions():
                if named := self.name_of(function):
                    own = members - self.locals_of(function)
                    used = {self.word(j) for j in range(function.open, function.close)
                            if self.word(j - 1) not in (".", "->", "::")}
                    self._mentioned.setdefault(self.word(named[0]), set()).update(own & used)
        return self._mentioned.get(name, set())

    def locals_of(self, function):
        """The names that a function declares, its parameters included."""
        declared = {p.name for p in self.parameters(function)}
        return declared | {self.word(j) for j in range(function.open, function.close) if self.declares(j)}

    def declares(self, i):
        """Whether token i is a name in its own declaration: a type stands in front of it."""
        if self.tokens[i].group != "name" or i == 0:
            return False
        before, token = self.tokens[i - 1], self.tokens[i]
        if before.group == "name":
            return before.text not in NO_TYPE
        if before.text in ("&", "*", "&&", ">"):  # as in `Type& name`; operators have blanks on both sides
            return not self.text[before.begin - 1].isspace() and token.begin > before.end
        return before.text in ("[", ",") and self._in_binding(i)

    def _in_binding(self, i):
        """Whether token i is a name of a structured binding."""
        j = i - 1
        while self.word(j) == "," or self.tokens[j].group == "name":
            j -= 1
        binds = self.word(j) == "[" and self.word(j - 1) in ("auto", "&")
        return binds and self.word(self.partner[j] + 1) in (":", "=")

    # ---- expressions and statements

    def chain_start(self, i):
        """The first token of a chain such as `a.b[c]->d()` that ends with token i."""
        while True:
            if self.word(i) in (")", "]"):
                opened = self.partner[i]
                if self.tokens[opened - 1].group != "name" and self.word(opened - 1) not in (")", "]"):
                    return opened
                i = opened - 1
                continue
            if self.word(i - 1) in (".", "->", "::"):
                if self.tokens[i - 2].group != "name" and self.word(i - 2) not in (")", "]"):
                    return i
                i -= 2
                continue
            return i

    def statement_end(self, i):
        """The last token of the statement that starts with token i; None if it is cut off."""
        word = self.word(i)
        if word == "{":
            return self.partner[i]
        if word in ("if", "for", "while", "switch"):
            opened = i + 2 if self.word(i + 1) == "constexpr" else i + 1
            if self.word(opened) != "(":
                return None
            end = self.statement_end(self.partner[opened] + 1)
            if word == "if" and end is not None and self.word(end + 1) == "else":
                return self.statement_end(end + 2)
            return end
        while i < len(self.tokens) and self.word(i) != ";":
            if self.word(i) in CLOSING:
                if i not in self.partner:
                    return None
                i = self.partner[i]
            elif self.word(i) in CLOSING.values():
                return None
            i += 1
        return i if i < len(self.tokens) else None

    def statements(self, scope):
        """The statements of a block, in runs that no label divides, each as its first and last token."""
        run, i = [], scope.open + 1
        while i < scope.close:
            if self.word(i) in ("case", "default"):
                yield run
                run = []
                while self.word(i) != ":":
                    i += 1
                i += 1
                continue
            end = self.statement_end(i)
            if end is None:
                break
            run.append((i, end))
            i = end + 1
        yield run
