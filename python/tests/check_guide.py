"""Runs the Python blocks of a guide, one after the other, and compares the output of each with the block after it.

    check_guide.py GUIDE [--write]
"""

import contextlib
import difflib
import io
import re
import sys

BLOCK = re.compile(r"```python\n(.*?)```\n(?:```\n(.*?)```\n)?", re.DOTALL)


def main():
    path = sys.argv[1]
    with open(path, encoding="utf-8") as file:
        guide = file.read()
    names = {"__name__": "guide"}
    pieces, at, differs = [], 0, False
    for block in BLOCK.finditer(guide):
        printed = io.StringIO()
        line = guide.count("\n", 0, block.start()) + 1
        with contextlib.redirect_stdout(printed):
            exec(compile("\n" * line + block[1], path, "exec"), names)
        expected, shown = block[2] or "", printed.getvalue()
        if shown != expected:
            differs = True
            sys.stdout.writelines(
                difflib.unified_diff(expected.splitlines(True), shown.splitlines(True), f"{path}:{line}", "printed")
            )
        pieces.append(guide[at : block.start()] + f"```python\n{block[1]}```\n" + (f"```\n{shown}```\n" if shown else ""))
        at = block.end()
    if "--write" in sys.argv:
        with open(path, "w", encoding="utf-8") as file:
            file.write("".join(pieces) + guide[at:])
        return 0
    print(f"{len(pieces)} blocks are run")
    return int(differs or not pieces)


if __name__ == "__main__":
    sys.exit(main())
