"""The test programs and fuzz targets that CMake builds, and which of them answers for a line of the sources."""

import json
import re
import subprocess
from typing import NamedTuple

PARTS = ("benchmarks", "common", "tools", "tests", "fuzz")  # what the programs are built of


class Program(NamedTuple):
    name: str
    sources: tuple  # all that it is linked of, by their paths in the tree
    libraries: tuple
    arguments: tuple


class Programs:
    def __init__(self, root):
        self.flags = {}  # by source: the include directories and definitions that it is compiled with
        self.all = {}
        targets = read_targets(root)
        for target in targets.values():
            for source, flags in compiled_in(root, target):
                self.flags.setdefault(source, flags)
        for target in targets.values():
            is_fuzz = target["paths"]["source"] == "fuzz"
            if target["type"] == "EXECUTABLE" and re.search("Fuzz$" if is_fuzz else "Test$", name := target["name"]):
                linked = [target] + [targets[d["id"]] for d in target["dependencies"]]
                sources = {source: None for t in linked for source, _ in compiled_in(root, t)}
                libraries = [f["fragment"] for f in target["link"]["commandFragments"]
                             if f["role"] == "libraries" and re.match("/|-l", f["fragment"])]
                arguments = ("--gtest_fail_fast", "--gtest_brief=1")
                if is_fuzz:
                    arguments = (str(root / "fuzz" / "corpus" / f"{name.removesuffix('Fuzz')}.txt"),)
                self.all[name] = Program(name, tuple(sources), tuple(libraries), arguments)
        files = [p for part in PARTS for p in (root / part).rglob("*") if p.suffix in (".h", ".cpp")]
        self.paths = {p.name: p.relative_to(root) for p in files}
        self.includes = {p.name: re.findall(r'#include ["<](?:[\w.]+/)*(\w+\.h)[">]', p.read_text()) for p in files}

    def seen_by(self, name):
        """All headers that a source or header includes, those that they include too."""
        seen, left = set(), list(self.includes.get(name, []))
        while left:
            header = left.pop()
            if header not in seen:
                seen.add(header)
                left += self.includes.get(header, [])
        return seen

    def depends(self, source, name):
        """Whether a change of the file of that name changes what is compiled of the source."""
        return source.endswith(f"/{name}") or name in self.seen_by(source.split("/")[-1])

    def answering(self, reached, path, lines):
        """The programs that run one of these lines of a file. If there are none, because the compiler computes what
        stands there, those that run any line of the file; if there are none, those whose test includes the file; if
        there are none, those with any source that includes it. `reached` has the lines that each program runs. The
        sooner a fault is noticed the better, so the file's own test comes first, then what runs most of the file, fuzz
        targets last."""
        runs = {p: set(reached.get(p, {}).get(path, ())) for p in self.all}
        name = path.split("/")[-1]
        own = f"{name.split('.')[0]}Test"
        chosen = ([p for p in self.all if runs[p] & set(lines)] or [p for p in self.all if runs[p]]
                  or self._built_with(name, ("tests/", "fuzz/")) or self._built_with(name, ("",)))
        return [self.all[p] for p in sorted(chosen, key=lambda p: (p != own, p.endswith("Fuzz"), -len(runs[p]), p))]

    def _built_with(self, name, parts):
        return [p for p in self.all if any(s.startswith(parts) and self.depends(s, name) for s in self.all[p].sources)]


def read_targets(root):
    """The targets of the release build by their ids, from the replies of CMake's file API."""
    answers = root / "build" / "release" / ".cmake" / "api" / "v1"
    (answers / "query").mkdir(parents=True, exist_ok=True)
    (answers / "query" / "codemodel-v2").touch()
    configure = ["cmake", "--preset", "release", "--log-level=ERROR"]
    subprocess.run(configure, cwd=root, stdout=subprocess.DEVNULL, check=True)
    replies = [json.loads(file.read_text()) for file in sorted((answers / "reply").glob("target-*.json"))]
    return {target["id"]: target for target in replies}


def compiled_in(root, target):
    """The sources that a target compiles, each with its include directories and definitions. A source of a unity build
    has no compile group in CMake's reply; it gets the flags of the target's first group."""
    for source in target.get("sources", []):
        if source["path"].startswith(tuple(f"{part}/" for part in PARTS)) and source["path"].endswith(".cpp"):
            group = target["compileGroups"][source.get("compileGroupIndex", 0)]
            yield source["path"], [f"-I{i['path']}" for i in group.get("includes", [])] + [
                f"-D{d['define']}" for d in group.get("defines", [])]


def lines_run(directory, prefix):
    """The lines that have run by the counts in a directory, by the paths of their files below the prefix."""
    counts = sorted(file.name for file in directory.glob("*.gcda"))
    command = ["gcov", "--json-format", "--stdout", "--relative-only", "--source-prefix", prefix, *counts]
    reports = subprocess.run(command, cwd=directory, check=True, text=True, stdout=subprocess.PIPE,
                             stderr=subprocess.DEVNULL).stdout
    found = {}
    for report in reports.splitlines():
        for file in json.loads(report)["files"]:
            run = {line["line_number"] for line in file["lines"] if line["count"]}
            found.setdefault(file["file"].removeprefix(f"{prefix}/"), set()).update(run)
    return {file: sorted(lines) for file, lines in found.items() if lines}
