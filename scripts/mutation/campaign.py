"""Plants a fault in a copy of the tree, builds what it changes and runs the programs that answer for the file."""

import concurrent.futures
import hashlib
import os
import queue
import re
import resource
import shutil
import subprocess
import sys
import threading
import time

from .programs import Programs

MODES = {"plain": [], "sanitized": ["-fsanitize=address,undefined", "-fno-sanitize-recover=all"]}
COMPILER = ["g++", "-std=c++20", "-w"]
# What most sources and tests include, read once.
PREPARED = ["algorithm", "array", "cstring", "fstream", "gtest/gtest.h", "map", "memory", "ostream", "sstream",
            "string", "string_view", "vector"]
LINKER = next((flag for tool, flag in (("ld.lld", ["-fuse-ld=lld"]), ("ld.gold", ["-fuse-ld=gold"]))
               if shutil.which(tool)), [])
LONGEST = 90  # seconds that a program may take


def limits(seconds, memory):
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    resource.setrlimit(resource.RLIMIT_CPU, (seconds, seconds))
    resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 28, 1 << 28))
    if memory:
        resource.setrlimit(resource.RLIMIT_AS, (memory, memory))


def run(command, cwd, seconds, memory=None):
    """The exit status, None after so many seconds, and what the command printed."""
    environment = dict(os.environ, ASAN_OPTIONS="detect_leaks=1:abort_on_error=0:allocator_may_return_null=1")
    process = subprocess.Popen(command, cwd=cwd, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.STDOUT, preexec_fn=lambda: limits(int(seconds) + 1, memory),
                               start_new_session=True, env=environment)
    try:
        output, _ = process.communicate(timeout=seconds)
        return process.returncode, output.decode(errors="replace")
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, 9)
        process.communicate()
        return None, ""


def state_of(root, left_out):
    """A name for the library and its tests as they stand."""
    digest = hashlib.sha1(str(root).encode())
    for part in ("common", "tests", "fuzz"):
        for file in sorted((root / part).rglob("*")):
            if file.is_file() and file != left_out:
                digest.update(file.name.encode() + file.read_bytes())
    return digest.hexdigest()[:12]


class Tree:
    """A copy of the sources, in which one fault at a time is planted and built."""

    def __init__(self, root, work, directory):
        self.directory, self.work = directory, work
        shutil.rmtree(directory, ignore_errors=True)
        for part in ("common", "tests", "fuzz"):
            shutil.copytree(root / part, directory / part)

    def compile(self, source, mode, to, lasting=False):
        """What lasts is optimised; what serves one fault is compiled as quickly as may be."""
        to.parent.mkdir(parents=True, exist_ok=True)
        quickly = ["-include", str(self.work / "prepared" / mode / "prepared.h")]
        command = COMPILER + MODES[mode] + (["-O1"] if lasting else quickly)
        command += [f"-I{self.directory}", f'-DZOR_COMMON_TEST_DATA="{self.directory}/tests/data"']
        status, output = run(command + ["-c", str(self.directory / source), "-o", str(to)], self.directory, 300)
        if status != 0 and "error:" not in output:
            sys.exit(f"the compiler fails by itself on {source}:\n{output}")
        return status, output


class Trial:
    """One fault in one tree, built in one mode."""

    def __init__(self, campaign, tree, fault, mode):
        self.campaign, self.tree, self.mode = campaign, tree, mode
        self.header = fault.path.name
        self.objects = {}  # by source: what is compiled with the fault
        self.refused = ""

    def compile(self, source):
        """Whether the source compiles with the fault; if not, `refused` says how it is refused."""
        if source not in self.objects:
            to = self.tree.directory / "objects" / self.mode / (source.replace("/", "_") + ".o")
            status, output = self.tree.compile(source, self.mode, to)
            if status != 0:
                self.refused = "static assertion" if "static assertion failed" in output else "does not compile"
                return False
            self.objects[source] = to
        return True

    def verdict(self, fault):
        programs = self.campaign.programs
        sources = [s for s in self.campaign.sources if s == self.header or self.header in programs.seen_by(s)]
        if not all(self.compile(f"common/{s}") for s in sources):
            return ("killed", self.refused) if self.refused == "static assertion" else ("stillborn", "")
        for program in programs.of(fault.path.stem):
            if self.header in programs.seen_by(program.main.split("/")[-1]) and not self.compile(program.main):
                return ("killed", self.refused) if self.refused == "static assertion" else ("stillborn", "")
            why = self.campaign.attempt(self.tree, self.mode, program, self.objects)
            if why == "does not link":
                return "stillborn", ""
            if why:
                return "killed", f"{why} ({self.mode})"
        return "survived", ""


class Campaign:
    def __init__(self, root, work, jobs, state):
        self.root, self.work, self.jobs, self.state = root, work, jobs, state
        self.programs = Programs(root)
        self.sources = sorted(p.name for p in (root / "common").glob("*.cpp"))
        self.trees = queue.Queue()
        for j in range(jobs):
            self.trees.put(Tree(root, work, work / f"tree{j}"))
        self.clean = Tree(root, work, work / "clean")
        self.lock, self.locks, self.seconds = threading.Lock(), {}, {}
        for mode, flags in MODES.items():
            prepared = work / "prepared" / mode / "prepared.h"
            prepared.parent.mkdir(parents=True, exist_ok=True)
            prepared.write_text("".join(f"#include <{name}>\n" for name in PREPARED))
            subprocess.run(COMPILER + flags + ["-x", "c++-header", str(prepared), "-o", f"{prepared}.gch"], check=True)

    def object_of(self, mode, source):
        """A source as it stands, compiled once for all trees until it or what it includes changes."""
        seen = sorted(self.programs.seen_by(source.split("/")[-1]))
        files = [self.root / source] + [p for part in ("common", "tests/support", "fuzz")
                                        for h in seen if (p := self.root / part / h).exists()]
        texts = [str(self.root).encode()] + [f.read_bytes() for f in files]
        digest = hashlib.sha1(b"".join(texts)).hexdigest()[:12]
        path = self.work / "objects" / mode / f"{source.replace('/', '_')}-{digest}.o"
        with self.lock:
            lock = self.locks.setdefault(path, threading.Lock())
        with lock:
            if not path.exists():
                unfinished = path.with_suffix(".part")
                status, output = self.clean.compile(source, mode, unfinished, lasting=True)
                if status != 0:
                    sys.exit(f"cannot build {source} as it stands:\n{output}")
                unfinished.rename(path)
        return path

    def prepare(self, stems, mode):
        """Everything as it stands has to pass; how long that takes bounds what a program with a fault may take."""
        programs = {p.name: p for stem in stems for p in self.programs.of(stem)}

        def passes(program):
            marker = self.work / "passed" / self.state / f"{program.name}-{mode}"
            if not marker.exists():
                verdict = self.attempt(self.clean, mode, program, {})
                if verdict:
                    return f"{program.name} fails as it stands, {mode}: {verdict}"
                marker.parent.mkdir(parents=True, exist_ok=True)
                marker.write_text(str(self.seconds[program.name, mode]))
            self.seconds[program.name, mode] = float(marker.read_text())
            return ""

        with concurrent.futures.ThreadPoolExecutor(self.jobs) as pool:
            failures = [f for f in pool.map(passes, programs.values()) if f]
        if failures:
            sys.exit("\n".join(failures))
        print(f"all tests pass as they stand, {mode}", flush=True)

    def attempt(self, tree, mode, program, changed):
        """Why the program notices what has changed, or an empty string. `changed` holds what was built so far."""
        inputs = [changed.get(s) or self.object_of(mode, s)
                  for s in (program.main, *program.extra, *(f"common/{s}" for s in self.sources))]
        executable = tree.directory / f"{program.name}-{mode}"
        libraries = ["-lgtest", "-lpthread"]
        if program.main.startswith("tests/"):
            libraries.insert(0, "-lgtest_main")
        command = ["g++"] + LINKER + MODES[mode] + [str(i) for i in inputs] + ["-o", str(executable)] + libraries
        status, output = run(command, tree.directory, 120)
        if status != 0:
            return "does not link" if changed else output
        bound = min(LONGEST, 10 + 10 * self.seconds.get((program.name, mode), LONGEST))
        start = time.monotonic()
        status, output = run([str(executable), *program.arguments], tree.directory, bound,
                             4 << 30 if mode == "plain" else None)
        self.seconds.setdefault((program.name, mode), time.monotonic() - start)
        executable.unlink(missing_ok=True)
        if status == 0:
            return ""
        failed = re.search(r"\[  FAILED  \] (\S+)", output) or re.search(
            r"(runtime error:[^\n]*|ERROR: \w+: \S+)", output)
        reason = "timeout" if status is None else failed.group(1) if failed else f"exit {status}"
        return f"{program.name} {reason}"

    def trial(self, fault, mode):
        """What becomes of the fault: killed, survived or, where it does not compile, stillborn; and why."""
        tree = self.trees.get()
        target = tree.directory / "common" / fault.path.name
        original = target.read_text()
        try:
            target.write_text(original[:fault.begin] + fault.replacement + original[fault.end:])
            return Trial(self, tree, fault, mode).verdict(fault)
        finally:
            target.write_text(original)
            self.trees.put(tree)
