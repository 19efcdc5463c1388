"""All faults of a file or of the library."""

import re

from . import engineering, operators
from .source import Fault, Source

# Lines that ask for room, or hand a message to the sink that discards it: what they do is no result.
UNNOTICED = r"\breserve\(|\bLogError\("
OLD_CLASSES = operators.CLASSES
NEW_CLASSES = tuple(engineering.PER_FILE)


def faults_of(source):
    """Each fault once, those of single expressions first."""
    seen, found, edits = {}, [], set()

    def add(begin, end, replacement, kind):
        fault = Fault(source, begin, end, replacement, kind, seen)
        if kind in OLD_CLASSES or fault.edit not in edits:
            found.append(fault)
        if kind in NEW_CLASSES:
            edits.add(fault.edit)

    for i, token in enumerate(source.tokens):
        if is_left_out(source, token.begin):
            continue
        for plant in operators.AT_TOKEN:
            for change in plant(source, i):
                add(*change)
    for kind, plant in engineering.PER_FILE.items():
        for begin, end, replacement in sorted(plant(source)):
            if not is_left_out(source, begin) and not re.search(UNNOTICED, source.text[begin:end]):
                add(begin, end, replacement, kind)
    return found


def is_left_out(source, position):
    """Whether the line is one that nothing comes of, or an assertion stands there."""
    return re.search(UNNOTICED, source.line_at(position)) or any(b <= position < e for b, e in source.assertions)


def read_library(directory):
    """The sources and headers of a directory, each with those it includes."""
    texts = {p.name: p.read_text() for p in sorted(directory.iterdir()) if p.suffix in (".h", ".cpp")}
    read = {}

    def source_of(name):
        if name not in read:
            included = [n for n in re.findall(r'#include "(\w+\.h)"', texts[name]) if n in texts]
            others = {}
            for n in included:
                others.update({o.path.name: o for o in (*source_of(n).others, source_of(n))})
            read[name] = Source(directory / name, texts[name], tuple(others.values()))
        return read[name]

    return [source_of(name) for name in texts]
