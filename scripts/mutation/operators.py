"""The faults of single expressions: an exchanged operator, a constant off by one, a negated condition, swapped
arguments, a deleted statement. Each function yields (begin, end, replacement, class) for token i.

The numbers of these faults are hashes of the text they change, so what is planted here, and in which order, is fixed:
the list of equivalents goes by those numbers.
"""

import re

EXCHANGES = {
    "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"], "==": ["!="], "!=": ["=="],
    "&&": ["||"], "||": ["&&"], "+": ["-"], "-": ["+"], "*": ["+"], "/": ["*"], "%": ["/"],
    "+=": ["-="], "-=": ["+="], "<<": [">>"], ">>": ["<<"], "&": ["|"], "|": ["&"], "^": ["&"],
    "&=": ["|="], "|=": ["&="], "^=": ["&="], "<<=": [">>="], ">>=": ["<<="], "++": ["--"], "--": ["++"],
}
# Statements that begin so declare something or decide what a deletion would only repeat.
NOT_DELETED = {"return", "using", "typedef", "static_assert", "static", "constexpr", "const", "auto", "friend",
               "extern", "namespace", "template", "public", "private", "protected", "case", "default", "throw", "goto",
               "else", "if", "for", "while", "switch", "do", "enum", "struct", "class", "union", "explicit", "inline",
               "virtual"}
# Nothing happens when the arguments of these change places; the first ones are not calls.
COMMUTATIVE = r"if|for|while|switch|min|max|_mm_(and|or|xor|add|cmpeq|max|min)_\w+"


def number_of(token):
    """The value of a number and its suffix."""
    digits = token.rstrip("uUlL")
    value = int(digits.replace("'", ""), 0) if digits[:2].lower() == "0x" or not digits.startswith("0") else 0
    return value, token[len(digits):]


def operator(source, i):
    token = source.tokens[i]
    if token.group != "operator" or token.text not in EXCHANGES or source.word(i - 1) == "operator":
        return
    # Blanks on both sides: not a reference, a pointer or a template's <.
    if token.text in ("++", "--") or source.text[token.begin - 1].isspace() and source.text[token.end].isspace():
        for other in EXCHANGES[token.text]:
            yield token.begin, token.end, other, "operator"


def constant(source, i):
    token = source.tokens[i]
    if token.group == "number":
        value, suffix = number_of(token.text)
        yield token.begin, token.end, f"{value + 1}{suffix}", "constant"
        if value > 0:
            yield token.begin, token.end, f"{value - 1}{suffix}", "constant"


def negation(source, i):
    if source.word(i) not in ("if", "while"):
        return
    opened = i + 2 if source.word(i + 1) == "constexpr" else i + 1
    if source.word(opened) == "(":
        begin, end = source.tokens[opened].end, source.tokens[source.partner[opened]].begin
        yield begin, end, f"!({source.text[begin:end]})", "negation"


def swap(source, i):
    token = source.tokens[i]
    if token.group != "name" or source.word(i + 1) != "(" or token.text in ("if", "while"):
        return
    commas, depth, close = [], 0, source.partner[i + 1]
    for j in range(i + 2, close):
        depth += (source.word(j) in "([{") - (source.word(j) in ")]}")
        if source.word(j) == "," and depth == 0:
            commas.append(j)
    bounds = ([source.tokens[i + 1].end] + [source.tokens[c].begin for c in commas] + [source.tokens[close].begin])
    arguments = [source.text[bounds[0]:bounds[1]]] + [source.text[b + 1:e] for b, e in zip(bounds[1:], bounds[2:])]
    arguments = [a.strip() for a in arguments]
    declares = any(re.search(r"\w[&*>]*\s+[&*]*\w+\s*(=|$)", a) and "(" not in a for a in arguments)
    if declares or re.fullmatch(COMMUTATIVE, token.text):
        return
    for a in range(min(len(arguments) - 1, 2)):
        first, second = arguments[a], arguments[a + 1]
        if first != second:
            swapped = ", ".join(arguments[:a] + [second, first] + arguments[a + 2:])
            yield bounds[0], bounds[-1], swapped, "swap"


def deletion(source, i):
    token, before = source.tokens[i], source.word(i - 1)
    if i == 0 or before not in (";", "{", "}", ")", "else", ":") or token.text in NOT_DELETED:
        return
    if token.group != "name" and token.text not in ("++", "--", "*"):
        return
    end = source.statement_end(i)
    if end is None:
        return
    statement = source.text_of(i, end)[:-1]
    declares = re.match(r"[\w:]+(<[^;=]*>)?[\s*&]+\w+\s*([=({;\[,]|$)", statement) or "= default" in statement
    acts = re.search(r"[^=!<>]=[^=]|\(|\+\+|--|^(break|continue)$", statement)
    if statement and acts and not declares and ";" not in statement:
        yield token.begin, source.tokens[end].begin, "", "deletion"


CLASSES = ("operator", "constant", "negation", "swap", "deletion")
AT_TOKEN = (operator, constant, negation, swap, deletion)
