"""Plants a fault in a copy of the tree, builds what it changes and runs the programs that answer for its lines."""

import concurrent.futures
import hashlib
import json
import os
import pathlib
import queue
import re
import resource
import shutil
import subprocess
import sys
import tempfile
import threading
import time

from .programs import PARTS, Programs, lines_run

MODES = {"plain": [], "sanitized": ["-fsanitize=address,undefined", "-fno-sanitize-recover=all"],
         "counted": ["--coverage"]}  # counts how often each line runs
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


def run(command, cwd, seconds, memory=None, **variables):
    """The exit status, None after so many seconds, and what the command printed."""
    environment = dict(os.environ, ASAN_OPTIONS="detect_leaks=1:abort_on_error=0:allocator_may_return_null=1",
                       **variables)
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
    for part in PARTS:
        for file in sorted((root / part).rglob("*")):
            if file.is_file() and file != left_out:
                digest.update(file.name.encode() + file.read_bytes())
    return digest.hexdigest()[:12]


class Tree:
    """A copy of the sources, in which one fault at a time is planted and built."""

    def __init__(self, root, work, directory, flags):
        self.directory, self.work = directory, work
        self.flags = {source: [f.replace(f"-I{root}", f"-I{directory}") for f in flags[source]] for source in flags}
        shutil.rmtree(directory, ignore_errors=True)
        for part in PARTS:
            shutil.copytree(root / part, directory / part, ignore=shutil.ignore_patterns("corpus"))

    def compile(self, source, mode, to, lasting=False):
        """What lasts is optimised; what serves one fault is compiled as quickly as may be."""
        to.parent.mkdir(parents=True, exist_ok=True)
        quickly = ["-include", str(self.work / "prepared" / mode / "prepared.h")]
        command = COMPILER + MODES[mode] + (["-O1"] if lasting else quickly) + self.flags[source]
        status, output = run(command + ["-c", str(self.directory / source), "-o", str(to)], self.directory, 300)
        if status != 0 and "error:" not in output:
            sys.exit(f"the compiler fails by itself on {source}:\n{output}")
        return status, output


class Trial:
    """One fault in one tree, built in one mode."""

    def __init__(self, campaign, tree, fault, mode):
        self.campaign, self.tree, self.fault, self.mode = campaign, tree, fault, mode
        self.objects = {}  # by source: what is compiled with the fault
        self.refused = ""

    def compile(self, source):
        """Whether the source compiles with the fault; if not, `refused` says how it is refused."""
        if source not in self.objects and self.campaign.programs.depends(source, self.fault.path.name):
            to = self.tree.directory / "objects" / self.mode / (source.replace("/", "_") + ".o")
            status, output = self.tree.compile(source, self.mode, to)
            if status != 0:
                self.refused = "static assertion" if "static assertion failed" in output else "does not compile"
                return False
            self.objects[source] = to
        return True

    def verdict(self):
        for program in self.campaign.answering(self.fault):
            if not all(self.compile(s) for s in program.sources):
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
        self.trees = queue.Queue()
        for j in range(jobs):
            self.trees.put(Tree(root, work, work / f"tree{j}", self.programs.flags))
        self.clean = Tree(root, work, work / "clean", self.programs.flags)
        self.lock, self.locks, self.seconds = threading.Lock(), {}, {}
        for mode, flags in MODES.items():
            prepared = work / "prepared" / mode / "prepared.h"
            prepared.parent.mkdir(parents=True, exist_ok=True)
            prepared.write_text("".join(f"#include <{name}>\n" for name in PREPARED))
            subprocess.run(COMPILER + flags + ["-x", "c++-header", str(prepared), "-o", f"{prepared}.gch"], check=True)
        with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
            self.reached = dict(zip(self.programs.all, pool.map(self.lines_of, self.programs.all.values())))

    def answering(self, fault):
        path = str(fault.path.relative_to(self.root))
        last = fault.line + fault.path.read_text()[fault.begin:fault.end].count("\n")
        return self.programs.answering(self.reached, path, range(fault.line, last + 1)) or sys.exit(
            f"no test answers for {path}")

    def lock_of(self, key):
        with self.lock:
            return self.locks.setdefault(key, threading.Lock())

    def object_of(self, mode, source):
        """A source as it stands, compiled once for all trees until it or what it includes changes."""
        seen = sorted(self.programs.seen_by(source.split("/")[-1]))
        files = [source] + [self.programs.paths[h] for h in seen if h in self.programs.paths]
        texts = [str(self.root).encode()] + [(self.clean.directory / f).read_bytes() for f in files]
        digest = hashlib.sha1(b"".join(texts)).hexdigest()[:12]
        path = self.work / "objects" / mode / f"{source.replace('/', '_')}-{digest}.o"
        with self.lock_of(path):
            if not path.exists():
                unfinished = path.with_suffix(".part")
                status, output = self.clean.compile(source, mode, unfinished, lasting=mode != "counted")
                if status != 0:
                    sys.exit(f"cannot build {source} as it stands:\n{output}")
                unfinished.rename(path)
        return path

    def lines_of(self, program):
        """The lines that the program runs, by the paths of their files."""
        objects = [self.object_of("counted", s) for s in program.sources]
        digest = hashlib.sha1("".join(map(str, objects)).encode()).hexdigest()[:12]
        record = self.work / "lines" / f"{program.name}-{digest}.json"
        if not record.exists():
            record.parent.mkdir(exist_ok=True)
            with tempfile.TemporaryDirectory(dir=self.work) as counts:
                why = self.attempt(self.clean, "counted", program, {}, GCOV_PREFIX=counts, GCOV_PREFIX_STRIP="99")
                if why:
                    sys.exit(f"{program.name} fails as it stands, counted: {why}")
                for notes in (o.with_suffix(".gcno") for o in objects):
                    pathlib.Path(counts, notes.name).symlink_to(notes)
                record.write_text(json.dumps(lines_run(pathlib.Path(counts), str(self.clean.directory))))
            print(f"counted {program.name}", flush=True)
        return json.loads(record.read_text())

    def usual_seconds(self, program, mode):
        """How long the program takes as it stands, which bounds what it may take with a fault. It has to pass."""
        marker = self.work / "passed" / self.state / f"{program.name}-{mode}"
        with self.lock_of(marker):
            if not marker.exists():
                why = self.attempt(self.clean, mode, program, {})
                if why:
                    sys.exit(f"{program.name} fails as it stands, {mode}: {why}")
                marker.parent.mkdir(parents=True, exist_ok=True)
                marker.write_text(str(self.seconds[program.name, mode]))
        return float(marker.read_text())

    def attempt(self, tree, mode, program, changed, **variables):
        """Why the program notices what has changed, or an empty string. `changed` holds what was built so far."""
        bound = min(LONGEST, 10 + 10 * self.usual_seconds(program, mode)) if changed else LONGEST
        inputs = [changed.get(s) or self.object_of(mode, s) for s in program.sources]
        executable = tree.directory / f"{program.name}-{mode}"
        command = ["g++", *LINKER, *MODES[mode], *map(str, inputs), "-o", str(executable), *program.libraries]
        status, output = run(command, tree.directory, 120)
        if status != 0:
            return "does not link" if changed else output
        start = time.monotonic()
        status, output = run([str(executable), *program.arguments], tree.directory, bound,
                             4 << 30 if mode == "plain" else None, **variables)
        self.seconds[program.name, mode] = time.monotonic() - start
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
        target = tree.directory / fault.path.relative_to(self.root)
        original = target.read_text()
        try:
            target.write_text(original[:fault.begin] + fault.replacement + original[fault.end:])
            return Trial(self, tree, fault, mode).verdict()
        finally:
            target.write_text(original)
            self.trees.put(tree)
