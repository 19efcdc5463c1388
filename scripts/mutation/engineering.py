"""The faults of whoever changes or rewrites code: a state that is not set, steps in another order, a wrong width, a
value replaced instead of updated, the member next to the one that is meant.

Each function yields (begin, end, replacement) for a whole file. Left out is what changes nothing by construction.
"""

import re

from .operators import number_of
from .source import NO_TYPE

ASSIGNMENTS = {"=", "+=", "-=", "*=", "/=", "%=", "&=", "|=", "^=", "<<=", ">>="}
COMPOUND = ASSIGNMENTS - {"="}
JUMPS = {"return", "break", "continue", "throw", "goto"}
PAIRS = {"first": "second", "low": "high", "left": "right"}
PAIRS.update({second: first for first, second in PAIRS.items()})
# What these do to their object is no change, and neither is what a function of ours does that is const.
READERS = {"size", "data", "begin", "end", "rbegin", "rend", "empty", "front", "back", "find", "rfind", "compare",
           "substr", "c_str", "capacity", "get", "value", "has_value", "find_first_of", "find_first_not_of"}
WIDTHS = [8, 16, 32, 64, 128]
KEYWORDS = {"if", "for", "while", "switch", "const", "auto", "static_cast", "sizeof", "this", "true", "false", "else",
            "case", "default", "constexpr", "unsigned", "int", "char", "bool", "void", "std", "return", "break"}


# ---- what is a member and what is assigned

def known_members(source):
    return {v.name for members in source.classes.values() for v in members}


def is_member(source, i, local, members):
    """Whether token i names a data member: behind a dot any that is known, elsewhere one that no local hides."""
    word = source.word(i)
    if word not in members or source.word(i + 1) == "(" or source.declares(i):
        return False
    return source.word(i - 1) in (".", "->") or source.word(i - 1) != "::" and word not in local


def in_functions(source):
    """Each function with the names that are local in it."""
    for function in source.functions():
        yield function, source.locals_of(function)


def last_name(source, i):
    """The last name of the chain that ends in front of token i: `c` of `a.b.c[d] =`."""
    i -= 1
    while source.word(i) == "]":
        i = source.partner[i] - 1
    return i


def is_assigned(source, i):
    """Whether the operator at token i assigns to something that stands there already."""
    name = last_name(source, i)
    if source.word(i) not in ASSIGNMENTS or source.tokens[name].group != "name":
        return False
    start = source.chain_start(name)
    if source.word(start - 1) == "*" and source.text[source.tokens[start - 1].end] != " ":
        start -= 1
    return not source.declares(start) and source.word(start - 1) in (
        ";", "{", "}", "(", ")", ":", "=", ",", "else", "return", "*")


def all_statements(source):
    """The simple statements of all functions: the first token and the last, with the names that are local."""
    for function, local in in_functions(source):
        for i in range(function.open + 1, function.close):
            if source.word(i - 1) not in (";", "{", "}", ")", "else", ":") or source.word(i) in "(){}[];:":
                continue
            end = source.statement_end(i)
            if end is not None and source.word(end) == ";" and source.word(i) not in NO_TYPE | {"if", "for", "while"}:
                yield i, end, local


# ---- state: an assignment of a member that does not happen

def state(source):
    members = known_members(source)
    yield from dropped_statements(source, members)
    yield from dropped_initializers(source)
    for function, local in in_functions(source):
        for i in range(function.open + 1, function.close):
            yield from lost_updates(source, i, local, members)


def dropped_statements(source, members):
    for i, end, local in all_statements(source):
        if changes_member(source, i, end, local, members):
            yield source.tokens[i].begin, source.tokens[end].begin, ""


def changes_member(source, i, end, local, members):
    """Whether the statement assigns to a member, steps it, calls a function of it or hands it over to be written."""
    if source.word(i) in ("++", "--"):
        return is_member(source, last_name(source, end), local, members)
    for j in range(i, end):
        if source.declares(j):
            return False
        if is_assigned(source, j):
            return is_member(source, last_name(source, j), local, members)
        if source.word(j) in ("++", "--"):
            return is_member(source, last_name(source, j), local, members)
        if source.word(j) == "(":
            calls = source.word(j - 2) in (".", "->") and is_member(source, j - 3, local, members)
            writes = source.word(j - 1) not in KEYWORDS and is_member(source, j + 1, local, members) and \
                source.word(j + 2) == ","
            return source.partner[j] == end - 1 and (calls or writes)
    return False


def dropped_initializers(source):
    """`: mA(a), mB(b)` without one of them."""
    members = known_members(source)
    for function in source.functions():
        entries = initializers(source, function)
        for n, (first, last) in enumerate(entries):
            if source.word(first) not in members:
                continue
            if n > 0:
                yield source.tokens[entries[n - 1][1]].end, source.tokens[last].end, ""
            elif len(entries) > 1:
                yield source.tokens[first].begin, source.tokens[entries[1][0]].begin, ""
            else:
                yield source.tokens[first - 1].begin, source.tokens[last].end, ""


def initializers(source, function):
    named = source.name_of(function)
    if named is None or source.word(named[1]) != "(":
        return []
    i = source.partner[named[1]] + 1
    while i < function.open and source.word(i) != ":":
        i = source.partner[i] + 1 if source.word(i) == "(" else i + 1
    entries, i = [], i + 1
    while i < function.open and source.word(i + 1) in ("(", "{"):
        entries.append((i, source.partner[i + 1]))
        i = source.partner[i + 1] + 2
    return entries


def lost_updates(source, i, local, members):
    word, token = source.word(i), source.tokens[i]
    if word == "=" and is_assigned(source, i):
        name = last_name(source, i)
        start = source.chain_start(name)
        chained = source.word(start - 1) == "=" or any(
            source.word(j) == "=" and is_assigned(source, j) for j in range(i + 1, source.statement_end(i) or i))
        if chained and is_member(source, name, local, members):
            yield source.tokens[start].begin, source.tokens[i + 1].begin, ""
        if is_member(source, name, local, members) and source.word(i + 1) in ("true", "false"):
            other = "false" if source.word(i + 1) == "true" else "true"
            yield source.tokens[i + 1].begin, source.tokens[i + 1].end, other
    elif word in ("++", "--"):
        before, after = source.word(i - 1), source.word(i + 1)
        is_statement = before in (";", "{", "}", ")", "else") or after == ";"
        prefix = source.tokens[i + 1].group == "name"
        end = i + 1
        while prefix and source.word(end + 1) in (".", "->"):
            end += 2
        if not is_statement and is_member(source, end if prefix else last_name(source, i), local, members):
            yield token.begin, token.end, ""
    elif word == "exchange" and source.word(i + 1) == "(":
        first, last = next(source.arguments(i + 1))
        start = source.chain_start(i)
        yield source.tokens[start].begin, source.tokens[source.partner[i + 1]].end, source.text_of(first, last - 1)


# ---- order: two neighbouring statements the other way round

def order(source):
    for scope in source.scopes:
        if scope.kind not in ("function", "block"):
            continue
        for run in source.statements(scope):
            for (first, first_end), (second, second_end) in zip(run, run[1:]):
                if order_matters(source, (first, first_end), (second, second_end)):
                    one, other = source.text_of(first, first_end), source.text_of(second, second_end)
                    between = source.text[source.tokens[first_end].end:source.tokens[second].begin]
                    if not re.search("//|#", between) and len(one) + len(other) < 600:
                        begin, end = source.tokens[first].begin, source.tokens[second_end].end
                        yield begin, end, other + between + one


def order_matters(source, one, other):
    texts = source.text_of(*one), source.text_of(*other)
    words = [{source.word(j) for j in range(a, b + 1)} for a, b in (one, other)]
    if texts[0] == texts[1] or source.word(other[0]) in JUMPS | {"else"} or source.word(one[0]) in JUMPS:
        return False  # a jump that comes first only deletes the other statement
    if any(w & {"using", "static_assert", "case", "reserve"} for w in words):
        return False
    declared = [declared_by(source, *one), declared_by(source, *other)]
    if declared[0] & words[1] or declared[1] & words[0]:
        return False
    effects = [effects_of(source, *one), effects_of(source, *other)]
    certain = [writes for writes, _, _ in effects]
    if declared[0] or declared[1]:  # what is handed over counts as read
        return overlap(certain[0], effects[1][2]) or overlap(certain[1], effects[0][2])
    guards = [jumps_of(source, *one), jumps_of(source, *other)]
    if exclude_each_other(*texts):
        return False
    if guards[0] and guards[1]:
        return guards[0] != guards[1] or bool(certain[0] | certain[1])
    if any(guards[n] and (certain[1 - n] | effects[1 - n][1]) for n in (0, 1)):
        return True
    if commute(source, one, other):
        return False
    (writes, handed, reads), (other_writes, other_handed, other_reads) = effects
    return overlap(writes | handed, other_reads) or overlap(other_writes | other_handed, reads)


def exclude_each_other(one, other):
    """Whether both statements ask whether one thing has some value, of which it has one at most."""
    asked = [re.match(r"if \(([^=!<>|]+) == [^=!<>|]+?\) ", text) for text in (one, other)]
    return all(asked) and asked[0][1] == asked[1][1]


def declared_by(source, first, last):
    """The names that a statement declares for the statements behind it."""
    if source.word(first) in ("if", "for", "while", "switch", "{"):
        return set()
    head = next((j for j in range(first, last + 1) if source.word(j) in ASSIGNMENTS | set("({;")), last)
    return {source.word(j) for j in range(first, head + 1) if source.declares(j)}


def jumps_of(source, first, last):
    """The texts of the jumps in a statement."""
    return {source.text_of(j, source.statement_end(j) or j) for j in range(first, last) if source.word(j) in JUMPS}


def commute(source, one, other):
    """Whether both update one thing by the same operator, which has no order."""
    heads = []
    for first, last in (one, other):
        at = next((j for j in range(first, last) if source.word(j) in ("|=", "&=", "^=")), None)
        heads.append(source.text_of(first, at) if at else None)
    return heads[0] is not None and heads[0] == heads[1]


def effects_of(source, first, last):
    """What a statement writes, what it hands to functions, which may write it, and what it mentions; as paths."""
    writes, handed, reads = set(), set(), set()
    for i in range(first, last + 1):
        if not starts_path(source, i):
            continue
        path, end = path_from(source, i)
        if source.word(end + 1) == "(":
            if len(path) > 1:
                path, method = path[:-1], path[-1]
                if method not in READERS | source.const_functions:
                    writes.add(path)
            elif not source.declares(i):
                handed.update(path_from(source, j)[0] for j in range(end + 2, source.partner[end + 1])
                              if starts_path(source, j) and source.word(j - 1) != "<")
                reads.update((name,) for name in source.members_in(path[0]))
        elif source.word(end + 1) in ASSIGNMENTS | {"++", "--"} or source.word(i - 1) in ("++", "--"):
            writes.add(path)
        reads.add(path)
    return writes, handed, reads


def starts_path(source, i):
    return (source.tokens[i].group == "name" and source.word(i) not in KEYWORDS
            and source.word(i - 1) not in (".", "->", "::") and source.word(i + 1) != "::")


def path_from(source, i):
    """`a.b[c]` as ("a", "b", "[c]"), and its last token."""
    path = [source.word(i)]
    while True:
        if source.word(i + 1) in (".", "->", "::"):
            path.append(source.word(i + 2))
            i += 2
        elif source.word(i + 1) == "[":
            path.append(source.text_of(i + 1, source.partner[i + 1]))
            i = source.partner[i + 1]
        else:
            return tuple(path), i


def overlap(some, others):
    return any(a[:len(b)] == b or b[:len(a)] == a for a in some for b in others)


# ---- width: one width for another, a size less 1

INTEGER = re.compile(r"(u?int)(8|16|32|64)(_t)")
NAMED = re.compile(r"([A-Z]\w*?[a-z])(8|16|32|48|64|128)")
SIZE = re.compile(r"(\w*[a-z])?(Size|Count|Length)|size|count|length|\w+sFor")
INTEGRAL = re.compile(r"(std::)?(unsigned|signed|int|char|short|long|size_t|u?int\d+_t|bool|Lane|[A-Z])[\w\[\]&]*")


def width(source):
    names = {t.text for s in (source, *source.others) for t in s.tokens if t.group == "name"}
    for function in source.functions():
        for i in range(function.open + 1, function.close):
            token = source.tokens[i]
            if token.group == "number":
                for other in other_widths(source, i):
                    yield token.begin, token.end, other
            elif token.text == "sizeof":
                end = source.partner[i + 1] if source.word(i + 1) == "(" else path_from(source, i + 1)[1]
                if source.word(i + 1) == "*":
                    end = path_from(source, i + 2)[1]
                yield token.begin, source.tokens[end].end, f"({source.text_of(i, end)} / 2)"
            elif token.group == "name":
                for other in other_names(source, i, names):
                    yield token.begin, token.end, other
                yield from size_less_one(source, i)


def neighbours(value, widths):
    """The widths next to a value in a list."""
    near = [max((w for w in widths if w < value), default=None), min((w for w in widths if w > value), default=None)]
    return [w for w in near if w is not None]


def other_widths(source, i):
    """A number beside a shift, a remainder, a division or a product counts bits or bytes."""
    value, suffix = number_of(source.word(i))
    if value not in (*WIDTHS, 24, 48, 56):
        return
    before, after = source.word(i - 1), source.word(i + 1)
    if before in ("<<", ">>", "%", "/", "*", "<<=", ">>=") or after == "*" or after == "-" and before == "(":
        widths = [w for w in WIDTHS if w <= 64] if before in ("<<", ">>", "<<=", ">>=") else WIDTHS
        for other in neighbours(value, widths):
            yield f"{other}{suffix}"


def other_names(source, i, names):
    """Another width for a type in a cast, a template argument or a declaration, or in the name of a function."""
    word, after = source.word(i), source.word(i + 1)
    if match := INTEGER.fullmatch(word):
        stored = stored_at_once(source, i)
        for other in neighbours(int(match[2]), [8, 16, 32, 64]):
            if is_element(source, i + 1) and (match[2], other) != ("64", 32):
                continue  # a byte that is shifted is promoted in any case
            if other < int(match[2]) or not stored:
                yield f"{match[1]}{other}{match[3]}"
    elif (match := NAMED.fullmatch(word)) and after == "(" and not source.declares(i):
        known = sorted({int(m[2]) for n in names if (m := NAMED.fullmatch(n)) and m[1] == match[1]})
        for other in neighbours(int(match[2]), known):
            yield f"{match[1]}{other}"


def is_element(source, i):
    """Whether the braces from token i on hold an element of an array alone."""
    return source.word(i) == "{" and source.word(i + 2) == "[" and source.partner[i + 2] + 1 == source.partner[i]


def stored_at_once(source, i):
    """Whether nothing is done with what the cast to type i gives but to store it, so that a wider one changes nothing;
    also whether the type is of a constant reference or the like."""
    if source.word(i + 1) == ">" and source.word(i + 2) == "(":
        after = source.word(source.partner[i + 2] + 1)
    elif source.word(i + 1) in ("{", "("):
        after = source.word(source.partner[i + 1] + 1)
    else:
        return True
    return after in (";", ",", ")", "}", "]", ":")


def size_less_one(source, i):
    """`x.size()` and `size` less 1, and `size - 1` without its 1."""
    if not SIZE.fullmatch(source.word(i)) or source.declares(i):
        return
    end = i
    if source.word(i + 1) == "(":
        end = source.partner[i + 1]
    start = source.chain_start(i)
    before, after = source.word(start - 1), source.word(end + 1)
    if source.word(end + 1) == "-" and source.word(end + 2) == "1":
        yield source.tokens[end].end, source.tokens[end + 2].end, ""
        return
    if after in ASSIGNMENTS | {"++", "--", "(", "{", "::", ".", "->", "["} or before in ("++", "--", "&", "::", "!"):
        return
    if after == "=" or source.declares(start) or source.word(i - 1) == "::":
        return
    yield source.tokens[start].begin, source.tokens[end].end, f"({source.text_of(start, end)} - 1)"


# ---- update: a value replaced instead of updated, or the other way round

def update(source):
    types = {v.name: v.type for members in source.classes.values() for v in members}
    for function in source.functions():
        known = dict(types, **{p.name: p.type for p in source.parameters(function)})
        first = first_values(source, function)
        for i in range(function.open + 1, function.close):
            token = source.tokens[i]
            if token.text in COMPOUND and source.word(i - 1) != "operator":
                yield token.begin, token.end, "="
            elif token.text == "=" and is_assigned(source, i):
                target = source.word(last_name(source, i))
                if i in first:
                    continue
                if re.search(r"string(?!_view)", known.get(target, "")):
                    if f"{target}.empty()" not in source.line_at(token.begin):
                        yield token.begin, token.end, "+="
                elif takes_bits(source, i, target, known.get(target, "bool")):
                    yield token.begin, token.end, "|="


def first_values(source, function):
    """The assignments of a function that fill something new, where a zero is replaced: all those to what is declared
    with empty braces, and the first to each member of an object of which it sets four or more."""
    text = source.text_of(function.open, function.close)
    empty = set(re.findall(r"\w[>&]? (\w+)(?:\[\w*\])?(?: = )?\{\};", text))
    found, members = set(), {}
    for i in range(function.open + 1, function.close):
        if source.word(i) == "=" and is_assigned(source, i):
            path, _ = path_from(source, source.chain_start(last_name(source, i)))
            if path[0] in empty:
                found.add(i)
            elif len(path) > 1 and not path[1].startswith("["):
                members.setdefault(path[0], {}).setdefault(path[1], i)
    return found.union(*(first.values() for first in members.values() if len(first) >= 4))


def takes_bits(source, i, target, of_type):
    """Whether |= in place of the = at token i compiles, by what is known of the type, and makes a difference."""
    if target == "this" or source.word(i + 1) in ("true", "nullptr", "{", "&", "0"):
        return False
    if source.word(i + 1) == target and source.word(i + 2) in ("|", "||"):
        return False
    return INTEGRAL.fullmatch(of_type)


# ---- neighbour: the member or parameter beside the one that is meant

def neighbour(source):
    for function, local in in_functions(source):
        own = source.classes.get(source.class_of(function), [])
        parameters = source.parameters(function)
        first = source.partner[source.name_of(function)[1]] if source.name_of(function) else function.open
        for i in range(first + 1, function.close):
            if source.tokens[i].group == "name" and not source.declares(i):
                other = beside(source, i, own, parameters, local)
                if other and other != source.word(i):
                    token = source.tokens[i]
                    yield token.begin, token.end, other


def beside(source, i, own, parameters, local):
    """The name of the same declared type that stands next to the one at token i."""
    word, before, after = source.word(i), source.word(i - 1), source.word(i + 1)
    if before in (".", "->"):
        if is_measured(source, source.chain_start(i)):
            return None
        return next_of_type(word, class_with(source, i)) or PAIRS.get(word) if after != "(" else PAIRS.get(word)
    if before == "::" or is_initialized(source, i) or is_measured(source, i):
        return None
    if word in {p.name for p in parameters}:
        return next_of_type(word, parameters)
    if after != "(" and word not in local:
        return next_of_type(word, own)
    return None


def class_with(source, i):
    """The members of the class that has the member at token i, of several the one that the file uses with the same
    object most."""
    used = {source.word(j) for j in range(2, len(source.tokens)) if source.tokens[j].group == "name" and
            source.word(j - 1) == source.word(i - 1) and source.word(j - 2) == source.word(i - 2)}
    known = [m for m in source.classes.values() if any(v.name == source.word(i) for v in m)]
    return max(known, key=lambda members: len(used & {v.name for v in members}), default=[])


def is_measured(source, i):
    """Whether a sizeof asks for the size of token i, which is that of every other of its type."""
    return source.word(i - 1) == "sizeof" or source.word(i - 2) == "sizeof" and source.word(i - 1) in ("(", "*")


def is_initialized(source, i):
    """Whether token i is the member that an entry of a constructor's list sets."""
    return source.word(i - 1) in (":", ",") and source.word(i + 1) in ("(", "{")


def next_of_type(name, variables):
    """The next variable of the same type, of the last one the one before."""
    group = [v.name for v in variables if v.type == next((w.type for w in variables if w.name == name), None)]
    if name not in group or len(group) < 2:
        return None
    at = group.index(name)
    return group[at + 1] if at + 1 < len(group) else group[at - 1]


PER_FILE = {"state": state, "order": order, "width": width, "update": update, "neighbour": neighbour}
