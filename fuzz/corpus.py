#!/usr/bin/env python3
"""Converts a corpus between the text file of the tree, with one input on each line, and libFuzzer's directory of files.

    fuzz/corpus.py unpack <file> <directory>
    fuzz/corpus.py pack <directory> <file>

Printable characters stand for themselves; "\\" and two hex digits stand for any other byte. The lines are sorted.
"""

import hashlib
import pathlib
import re
import sys


def escaped(data: bytes) -> str:
    line = "".join(chr(c) if 0x20 <= c < 0x7F and c != 0x5C else f"\\{c:02x}" for c in data)
    return "\\2f" + line[1:] if line.startswith("//") else line  # which would be a comment


def unescaped(line: str) -> bytes:
    return re.sub(rb"\\([0-9a-f]{2})", lambda found: bytes.fromhex(found[1].decode()), line.encode())


def main(action: str, source: pathlib.Path, target: pathlib.Path) -> None:
    if action == "unpack":
        target.mkdir(parents=True, exist_ok=True)
        for line in source.read_text(encoding="ascii").splitlines():
            if not line.startswith("//"):
                data = unescaped(line)
                (target / hashlib.sha1(data).hexdigest()).write_bytes(data)
    elif action == "pack":
        lines = sorted(escaped(file.read_bytes()) for file in source.iterdir())
        part = target.with_suffix(".part")  # so that a corpus is never half written
        part.write_text("".join(line + "\n" for line in lines), encoding="ascii")
        part.replace(target)
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    main(sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3]))
