#!/usr/bin/env python3
"""Makes one program of the examples in headers: ExtractExamples.py OUT HEADER...

An example is what stands between \\code and \\endcode in a comment; \\code{.unparsed} is no C++. Each becomes a function of
its own, and main() calls them all. A comment behind a statement may say what the statement gives, as in

    order.GetPositionOf(index);               // 0, the first one
    field.ExtractField(tci, out, false);      // true; out is {0xa0}

and the program compares it: a comment that begins with a value, and each later part, behind a semicolon, of the form
"name is VALUE". Comments on lines of their own are what has been printed. All else is prose.
"""

import pathlib
import re
import sys

DECLARATION = re.compile(r"(?:const |constexpr |using |unsigned |auto )|[\w:<>, ]+[\w>] \w+(?: = |\{|\(|\[|;)")
DECLARED = re.compile(r"(?:const |constexpr )*[\w:<>]+ (\w+)(?: = |\{|\()")
COMMENTED = re.compile(r"\s*(\S.*?;)\s*// (.*)")
VALUE = r'(?:["{]|-?\d|true\b|false\b|throws |[0-9a-f]{2} )'
NAMED = re.compile(rf"(\w+) is ({VALUE}.*)")


def examples(header):
    """Yields the first line and the lines of each example."""
    lines, first, skips = None, 0, False
    for number, line in enumerate(header.read_text().splitlines(), 1):
        if match := re.search(r"///\s*\\code(\{\.unparsed\})?$", line):
            lines, first, skips = [], number + 1, bool(match[1])
        elif "\\endcode" in line:
            if not skips:
                yield first, lines
            lines = None
        elif lines is not None:
            lines.append(re.sub(r"^\s*/// ?", "", line))
    if lines is not None:
        raise SystemExit(f"{header}:{first}: the example has no end")


def check(where, expression, claim):
    return f'test::CheckShown("{where}", [&]() -> decltype(auto) {{ return {expression}; }}, R"~({claim})~");'


def translate(header, first, lines):
    """The statements of an example, with the checks of what its comments say."""
    result, printed, continues = [], [], False
    for number, line in enumerate(lines + [""], first):
        where = f"{header.name}:{number}"
        if line.startswith("//"):
            printed.append(re.sub("^// ?", "", line) + "\n")
            continue
        if printed:
            result.append(f'test::CheckPrinted("{where}", R"~({"".join(printed)})~");')
            printed = []
        match = COMMENTED.match(line)
        statement, comment = match.groups() if match else (line.strip(), "")
        parts = comment.split("; ")
        named = [found for part in parts if (found := NAMED.fullmatch(part))]
        is_declaration = DECLARATION.match(statement)
        result.append(f'#line {number} "{header}"')
        if not match or continues or is_declaration or NAMED.fullmatch(parts[0]):
            result.append(line)
        else:
            result.append(check(where, statement.rstrip(";"), parts[0]))
        if is_declaration and re.match(VALUE, parts[0]) and (name := DECLARED.match(statement)):
            result.append(check(where, name[1], parts[0]))
        result += [check(where, f"({found[1]})", found[2]) for found in named]
        continues = statement != "" and not statement.endswith((";", "{", "}"))
    return result


def main(out, *headers):
    functions, calls = [], []
    for header in map(pathlib.Path, headers):
        for first, lines in examples(header):
            name = f"{header.stem}{first}"
            functions += [f"void {name}()", "{", *translate(header, first, lines), "}", ""]
            calls.append(f"    {name}();")
    includes = [f"#include <common/{pathlib.Path(header).name}>" for header in headers]
    text = ['#include "support/ShownValues.h"', *includes, "", "using namespace zor::common;", "", "namespace {", "",
            *functions, "} // namespace", "", "int main()", "{", *calls, "    return test::ReportShown();", "}", ""]
    pathlib.Path(out).write_text("\n".join(text))


main(*sys.argv[1:])
