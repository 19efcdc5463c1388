"""Tests zor-packets as it is called from a shell, with other programs as judges.

Arguments: the program, the directory of the sources, a scratch directory, and the names of test classes below.
"""

import json
import os
import random
import re
import select
import shutil
import signal
import struct
import subprocess
import sys
import time
import unittest

TOOL, SOURCES, SCRATCH = map(os.path.abspath, sys.argv[1:4])
FRAME = ("eth(src=02:00:00:00:00:01) / ipv4(src=10.0.0.1..10.0.0.250, dst=192.168.0.1) / "
         "udp(sport=1024..65535, dport=53) / number(4)")
FORMATS = ["pcap", "pcapng", "raw", "hex", "lines"]
COMMANDS = ["make", "check", "show", "find", "verify", "import", "inspect", "encode", "macro"]


def run(*arguments, status=0, stdin=b"", binary=False, **options):
    """The standard output of the tool, and its standard error where it fails."""
    done = subprocess.run([TOOL, *arguments], input=stdin, capture_output=True, timeout=120, check=False, **options)
    if done.returncode != status:
        raise AssertionError(f"status {done.returncode} of {arguments}: {done.stderr.decode()}")
    out = done.stderr if status == 2 else done.stdout
    return out if binary else out.decode("latin-1")


def judge(*command, **options):
    """What another program prints; its absence skips the test."""
    if shutil.which(command[0]) is None:
        print(f"{command[0]} is not installed")
        raise unittest.SkipTest(command[0])
    done = subprocess.run(command, capture_output=True, timeout=120, check=False, **options)
    if done.returncode != 0:
        raise AssertionError(f"{command}: {done.stderr.decode()}")
    return done.stdout.decode()


def read(path):
    with open(path, "rb") as file:
        return file.read()


def write(path, content):
    with open(path, "wb") as file:
        file.write(content)


def read_pcap(path):
    """The times in nanoseconds and the packets of a capture of make."""
    content = read(path)
    assert content[:4] == bytes.fromhex("4d3cb2a1")
    packets, at = [], 24
    while at < len(content):
        seconds, nanoseconds, size, whole = struct.unpack_from("<4I", content, at)
        assert size == whole
        packets.append((seconds * 10**9 + nanoseconds, content[at + 16:at + 16 + size]))
        at += 16 + size
    return packets


def write_pcap(path, packets):
    content = bytes.fromhex("4d3cb2a1020004000000000000000000ffff000001000000")
    for time_, packet in packets:
        content += struct.pack("<4I", time_ // 10**9, time_ % 10**9, len(packet), len(packet)) + packet
    write(path, content)


def packet_ids(path):
    """The id of each packet of a pcapng file."""
    content, ids, at = read(path), [], 0
    while at < len(content):
        kind, size = struct.unpack_from("<2I", content, at)
        assert struct.unpack_from("<I", content, at + size - 4)[0] == size
        if kind == 6:
            captured = struct.unpack_from("<I", content, at + 20)[0]
            code, length, number = struct.unpack_from("<HHQ", content, at + 28 + (captured + 3) // 4 * 4)
            assert (code, length) == (5, 8)
            ids.append(number)
        at += size
    return ids


class Test(unittest.TestCase):
    def setUp(self):
        directory = os.path.join(SCRATCH, "check-tool", type(self).__name__, self._testMethodName)
        shutil.rmtree(directory, ignore_errors=True)
        os.makedirs(directory)
        os.chdir(directory)


class Errors(Test):
    def test_damaged_captures(self):
        run("make", "--frame", FRAME, "--count", "3", "-o", "whole.pcap")
        run("make", "--frame", FRAME, "--count", "3", "-o", "whole.pcapng")
        for name in ["whole.pcap", "whole.pcapng"]:
            whole = read(name)
            for size in range(0, len(whole), 1 if name.endswith("pcap") else 7):
                write("cut", whole[:size])
                done = subprocess.run([TOOL, "verify", "--frame", FRAME, "--count", "3", "cut"], capture_output=True,
                                      check=False, timeout=60)
                # Between two packets the file is a shorter capture; anywhere else it is damaged.
                self.assertIn(done.returncode, [1, 2], size)
                self.assertEqual(done.stderr.count(b"\n"), done.returncode - 1, done.stderr)
                self.assertEqual(done.stdout == b"", done.returncode == 2)
                inspected = subprocess.run([TOOL, "inspect", "cut"], capture_output=True, check=False, timeout=60)
                self.assertEqual(inspected.returncode, 2 if done.returncode == 2 else 0, size)
        write_pcap("other", [(0, b"x" * 60)])
        link = bytearray(read("other"))
        link[20] = 113
        write("other", link)
        self.assertIn("LINUX_SLL", run("verify", "--frame", FRAME, "--count", "3", "other", status=2))

    def test_full_disk_and_closed_pipe(self):
        run("make", "--frame", FRAME, "-o", "some.pcap")
        commands = [[name, "--help"] for name in COMMANDS] + [
            ["make", "-e", "@x(1,0)"], ["check", "-e", "x"], ["show", "-e", "x"], ["inspect", "some.pcap"],
            ["verify", "--frame", FRAME, "--count", "1000", "some.pcap"], ["find", "--frame", FRAME, "some.pcap"],
            ["import", "some.pcap"], ["macro", "-e", "x"], ["make", "-e", "@x(1,0)", "-o", "/dev/full"],
            ["encode", os.path.join(SOURCES, "examples/schemas/port_status.proto"), "PortReset", "port=1"]]
        for command in commands:
            with open("/dev/full", "wb") as full:
                done = subprocess.run([TOOL, *command], stdout=full, stderr=subprocess.PIPE, check=False, timeout=60)
            self.assertEqual(done.returncode, 2, command)
            self.assertRegex(done.stderr.decode(), r"\Azor-packets: cannot write .*: No space left on device\n\Z")
        for command in [["make", "-e", "@x(1,0)", "--count", "100000"], ["make", "--frame", FRAME, "--format", "pcap"]]:
            reader, writer = os.pipe()
            os.close(reader)
            done = subprocess.run([TOOL, *command], stdout=writer, stderr=subprocess.PIPE, check=False, timeout=60)
            os.close(writer)
            self.assertEqual(done.returncode, 2)
            self.assertEqual(done.stderr, b"zor-packets: cannot write standard output: Broken pipe\n")

    def test_killed_and_failed_runs_leave_nothing_that_looks_complete(self):
        process = subprocess.Popen([TOOL, "make", "--frame", FRAME, "--count", "100G", "-o", "killed.raw"])
        while not (os.path.exists("killed.raw.part") and os.path.getsize("killed.raw.part")) and process.poll() is None:
            time.sleep(0.01)
        process.send_signal(signal.SIGKILL)
        process.wait()
        self.assertEqual(os.listdir(), ["killed.raw.part"])
        run("make", "-e", "@x(1,5)", "--count", "5", "-o", "killed.raw")
        self.assertEqual(os.listdir(), ["killed.raw"])
        self.assertEqual(read("killed.raw"), b"12345")
        # A limit on the size of files is a disk that fills up in the middle.
        limited = subprocess.run(["bash", "-c", f'trap "" XFSZ; ulimit -f 100; "{TOOL}" make -e "@x(1,0)" --count 1M -o x.lines'],
                                 capture_output=True, check=False, timeout=60)
        self.assertEqual((limited.returncode, limited.stderr.count(b"\n")), (2, 1))
        self.assertEqual(os.listdir(), ["killed.raw"])


def options_of(command):
    """All options that the help of a sub-command has, short ones too."""
    found = set()
    for line in run(command, "--help").splitlines():
        if line.startswith("  -"):
            found.update(re.findall(r"(?<![\w-])--?[a-z][a-z-]*", line.split("  ")[1]))
    assert "--help" in found
    return found


class Manual(Test):
    def test_man_page(self):
        page = os.path.join(SOURCES, "tools/zor-packets.1")
        text = judge("man", "-l", page, env=dict(os.environ, MANWIDTH="200", LC_ALL="C", MANROFFOPT="-c"))
        text = re.sub(".\b", "", text)
        for command in COMMANDS:
            section = re.search(rf"^   zor-packets {command}\b.*?(?=^   zor-packets|^[A-Z])", text, re.M | re.S)
            self.assertIsNotNone(section, command)
            described = set()
            for line in re.findall(r"^       (-.*)$", section.group(0) + self.shared(text, section.group(0)), re.M):
                described.update(re.match(r"--?[a-z][a-z-]*(?:, --[a-z-]+)?", line).group(0).split(", "))
            self.assertEqual(options_of(command) - {"-h", "--help"}, described, command)

    @staticmethod
    def shared(text, section):
        """The groups of options that a section refers to."""
        groups = ""
        for group in ["Packets", "Range"]:
            if re.search(rf"\b{group} options", section):
                groups += re.search(rf"^   {group} options\n(.*?)(?=^   \S|^[A-Z])", text, re.M | re.S).group(0)
        return groups


class Help(Test):
    def test_completion(self):
        script = os.path.join(SOURCES, "tools/zor-packets.bash")

        def complete(*words):
            line = f'source "{script}"; COMP_WORDS=({" ".join(repr(word) for word in words)}); ' \
                   f'COMP_CWORD={len(words) - 1}; _zor_packets "{TOOL}"; printf "%s\\n" "${{COMPREPLY[@]}}"'
            return set(judge("bash", "-c", line).split())

        tool = os.path.basename(TOOL)
        path = os.environ["PATH"]
        os.environ["PATH"] = os.path.dirname(TOOL) + ":" + path
        try:
            self.assertEqual(complete(tool, ""), set(COMMANDS))
            for command in COMMANDS:
                self.assertEqual(complete(tool, command, "-"), options_of(command), command)
                for option in options_of(command):
                    self.assertIn(option, complete(tool, command, option[:-1]))
            self.assertEqual(complete(tool, "make", "--format", "p"), {"pcap", "pcapng"})
            self.assertEqual(complete(tool, "show", "--diagram", ""), {"rfc", "svg"})
        finally:
            os.environ["PATH"] = path

    def test_version(self):
        self.assertRegex(run("--version"), r"\Azor-packets \d+\.\d+\.\d+\n\Z")
        self.assertRegex(run("--help"), r"Exit status: 0")


class Terminal(Test):
    def test_progress(self):
        for options, is_shown in [([], True), (["--progress", "never"], False)]:
            main, terminal = os.openpty()
            process = subprocess.Popen([TOOL, "make", "--frame", FRAME, "--count", "100G", "-o", "/dev/null", *options],
                                       stdout=subprocess.DEVNULL, stderr=terminal)
            os.close(terminal)
            shown = ""
            if is_shown:  # within a minute, whatever else the machine does
                while "left" not in shown and select.select([main], [], [], 60)[0]:
                    shown += os.read(main, 65536).decode()
            else:
                time.sleep(2)
                shown = os.read(main, 65536).decode() if select.select([main], [], [], 0)[0] else ""
            process.kill()
            process.wait()
            os.close(main)
            self.assertEqual(bool(re.search(r"[\d.]+ [kMG]packets, [\d.]+ [kMG]packets/s, 0 %, .* left", shown)), is_shown, shown)

    def test_pictures_and_tables(self):
        self.assertIn("udp.sport *", run("show", "--frame", FRAME, "--diagram", "rfc"))
        self.assertTrue(run("show", "--frame", FRAME, "--diagram", "svg").startswith("<svg"))
        self.assertEqual(len(json.loads(run("show", "--frame", FRAME, "--json"))["fields"]), 3)
        self.assertIn("\033[33mwarning", run("check", "-e", "@z", "--color", "always"))
        self.assertNotIn("\033", run("check", "-e", "@z"))
        run("make", "--frame", FRAME, "--count", "2", "-o", "x.pcap")
        self.assertEqual([each["size"] for each in json.loads(run("inspect", "--json", "x.pcap"))], [46, 46])


class Recipes(Test):
    def test_made_again(self):
        binary = bytes(range(1, 256)).replace(b"@", b"") + b"@$(00,0,01,big)\\n\\x41\n"
        write("binary", binary + b"\n")
        write("long", b"@h @$(0000,0,0001,big) " + b"00 " * 40000)
        run("make", "--frame", FRAME, "--count", "3", "-o", "some.pcap")
        run("import", "some.pcap", "--packet", "2", "--vary", "ipv4.src=10.0.0.1..10.0.0.9", "--vary", "42:4=1|5|9",
            "--cross", "bytes@42,ipv4.src", "-o", "imported")
        for source in [["binary", "--set", "x=\n\x7f", "--gap", "1.5s", "--start", "2026-01-31T23:59:59.5Z"],
                       ["--frame", FRAME, "--seed", "7", "--every", "3", "--from", "10"],
                       ["-e", "@m @v(1) @x(1,0)", "--mac", "02:00:00:00:00:01,2", "--vlan", "5,7", "--base", "3"],
                       ["--frame", "ipv4 / udp / number(8)"], ["long"], ["imported"]]:
            run("make", *source, "--count", "20", "-o", "a.pcapng")
            run("make", "--like", "a.pcapng", "-o", "b.pcapng")
            self.assertEqual(read("a.pcapng"), read("b.pcapng"))
            self.assertEqual(run("make", "--like", "a.pcapng", binary=True), read("a.pcapng"))
            self.assertEqual(run("make", *source, "--count", "20", "--format", "raw", binary=True),
                             run("make", "a.pcapng", "--format", "raw", binary=True))

    def test_template_of_a_capture(self):
        run("make", "--frame", FRAME, "--count", "50", "--from", "5", "--every", "2", "--seed", "3", "-o", "sent.pcapng")
        self.assertEqual(sorted(packet_ids("sent.pcapng")), list(range(5, 105, 2)))
        found = json.loads(run("find", "--json", "sent.pcapng", "sent.pcapng"))
        self.assertEqual([each["index"] for each in found], packet_ids("sent.pcapng"))
        self.assertEqual([each["position"] for each in found], list(range(50)))
        report = json.loads(run("verify", "--json", "sent.pcapng", "sent.pcapng"))
        self.assertEqual((report["inOrder"], report["missing"], report["certain"]), (50, 0, True))
        run("make", "sent.pcapng", "--seed", "4", "-o", "other.pcapng")
        self.assertNotEqual(packet_ids("other.pcapng"), packet_ids("sent.pcapng"))
        report = json.loads(run("verify", "--json", "sent.pcapng", "other.pcapng", status=1))
        self.assertEqual(report["inOrder"] + report["late"], 50)
        self.assertIn("flows", run("show", "sent.pcapng"))
        self.assertIn("no findings", run("check", "sent.pcapng"))

    def test_captures_without_a_recipe(self):
        run("make", "--frame", FRAME, "-o", "plain.pcap")
        self.assertIn("holds no recipe", run("show", "plain.pcap", status=2))
        run("make", "--frame", FRAME, "-o", "sent.pcapng")
        whole = bytearray(read("sent.pcapng"))
        whole[28] ^= 1  # of the first line of the recipe
        write("sent.pcapng", whole)
        self.assertIn("is a capture without a recipe", run("show", "sent.pcapng", status=2))
        write("recipe", b"zor-packets recipe 1\nframe eth\ncolour red\n")
        self.assertIn("recipe line 3 is no setting of a recipe", run("show", "recipe", status=2))

    def test_import_keeps_the_packet(self):
        run("make", "--frame", FRAME, "--count", "9", "-o", "some.pcap")
        packets = [packet.hex() for _, packet in read_pcap("some.pcap")]
        for number in [1, 9]:
            run("import", "some.pcap", "--packet", str(number), "-o", "recipe")
            self.assertEqual(run("make", "recipe", "--count", "1").strip(), packets[number - 1])
        self.assertIn("has only 9 packets", run("import", "some.pcap", "--packet", "10", status=2))
        run("import", "some.pcap", "--vary", "ipv4.src=10.0.0.1..10.0.0.250", "--vary", "udp.sport=1024..65535",
            "--vary", "number=0..", status=2)
        template = run("import", "some.pcap", "--vary", "ipv4.src=10.0.0.1..10.0.0.250", "--vary", "42:4=0..",
                       "--vary", "udp.sport=1024..65535", "--text")
        write("template", template.encode())
        self.assertEqual(run("make", "template", "--checksums", "--count", "9").split(), packets)


class Shards(Test):
    def make(self, shard, name, *options):
        return subprocess.Popen([TOOL, "make", *options, "--shard", shard, "-o", name], stderr=subprocess.PIPE)

    def test_same_bytes(self):
        for format_ in FORMATS:
            for count, shards in [(1000, 3), (100003, 4), (2, 5), (0, 2)]:
                options = ["--frame", FRAME, "--count", str(count), "--seed", "5", "--gap", "1ms"]
                run("make", *options, "-o", f"one.{format_}")
                for process in [self.make(f"{k}/{shards}", f"all.{format_}", *options) for k in range(1, shards + 1)]:
                    self.assertEqual((process.wait(), process.stderr.read()), (0, b""))
                    process.stderr.close()
                self.assertEqual(read(f"one.{format_}"), read(f"all.{format_}"))
                parts = b""
                for k in range(1, shards + 1):
                    part = run("make", *options, "--format", format_, "--shard", f"{k}/{shards}", binary=True)
                    parts += part if format_ in ("raw", "hex", "lines") else b""
                if parts:
                    self.assertEqual(parts, read(f"one.{format_}"))
        self.assertEqual(sorted(os.listdir()), sorted(f"{run_}.{format_}" for run_ in ["one", "all"] for format_ in FORMATS))

    def test_killed_shards(self):
        options = ["--frame", FRAME, "--count", "2M"]
        run("make", *options, "-o", "one.pcap")
        generator = random.Random(1)
        for _ in range(5):
            processes = [self.make(f"{k}/4", "all.pcap", *options) for k in range(1, 5)]
            time.sleep(generator.uniform(0, 0.03))
            victim = generator.randrange(4)
            processes[victim].send_signal(signal.SIGKILL)
            for process in processes:
                process.wait()
                process.stderr.close()
            if processes[victim].returncode != 0:
                self.assertFalse(os.path.exists("all.pcap"))
                for k in [victim + 1, generator.randrange(1, 5)]:  # one that is done already changes nothing
                    if not os.path.exists("all.pcap"):
                        run("make", *options, "--shard", f"{k}/4", "-o", "all.pcap")
            self.assertEqual(read("one.pcap"), read("all.pcap"))
            os.unlink("all.pcap")
            self.assertEqual(os.listdir(), ["one.pcap"])

    def test_others_are_refused(self):
        run("make", "--frame", FRAME, "--shard", "1/2", "-o", "x.pcap")
        for other in [["--frame", FRAME, "--count", "7", "--shard", "2/2"], ["--frame", FRAME, "--shard", "2/3"],
                      ["--frame", FRAME, "--shard", "2/2", "--format", "pcapng"], ["--frame", FRAME]]:
            self.assertIn("belongs to shards", run("make", *other, "-o", "x.pcap", status=2))
        run("make", "--frame", FRAME, "--shard", "2/2", "-o", "x.pcap")
        # Marks that a killed process has left behind a complete file count for nothing.
        run("make", "--frame", FRAME, "--shard", "1/2", "-o", "y.pcap")
        shutil.copy("y.pcap.part.marks", "x.pcap.part.marks")
        run("make", "--frame", FRAME, "--shard", "2/2", "-o", "x.pcap")
        self.assertTrue(os.path.exists("x.pcap.part"))


class Verify(Test):
    def damage(self, seed, count):
        """A capture of what was sent, damaged by a seed, and what was done to it."""
        generator = random.Random(seed)
        sent = [packet for _, packet in read_pcap("sent.pcap")]
        done = {"lost": 0, "doubled": 0, "late": 0, "changed": 0, "foreign": 0}
        missing, received = [], []
        index = 0
        while index < count:
            packet = sent[index]
            what = generator.choice(list(done) + ["right"] * 45)
            if what == "lost" and index < count - 1:
                missing.append(index)
            elif what == "late" and index < count - 2:
                received += [sent[index + 1], packet]  # a packet later
                index += 1
            elif what == "changed" and index < count - 1:
                received.append(packet[:7] + b"\x99" + packet[8:])
                missing.append(index)
            else:
                if what == "foreign":
                    received.append(generator.randbytes(60))
                received += [packet] * (2 if what == "doubled" else 1)
                what = what if what in ("foreign", "doubled") else "right"
            if what in done:
                done[what] += 1
            index += 1
        write_pcap("received.pcap", [(0, packet) for packet in received])
        return done, missing, len(received)

    def test_damage(self):
        count = 20000
        run("make", "--frame", FRAME, "--count", str(count), "-o", "sent.pcapng")
        run("make", "--like", "sent.pcapng", "-o", "sent.pcap")
        for seed in range(3):
            done, missing, received = self.damage(seed, count)
            report = json.loads(run("verify", "--json", "sent.pcapng", "received.pcap", "--missing", "missing", status=1))
            self.assertEqual([report[name] for name in ["sent", "received", "duplicate", "late", "changed", "foreign"]],
                             [count, received, done["doubled"], done["late"], done["changed"], done["foreign"]])
            self.assertEqual(read("missing").decode(), "".join(f"{index}\n" for index in missing))
            self.assertEqual(report["missing"], len(missing))
            text = run("verify", "sent.pcapng", "received.pcap", status=1)
            self.assertIn(f"missing   {len(missing)} of {count}, ", text)

    def test_several_receivers_and_options(self):
        run("make", "--frame", FRAME, "--count", "1000", "-o", "sent.pcapng")
        run("make", "--like", "sent.pcapng", "-o", "sent.pcap")
        packets = read_pcap("sent.pcap")
        write_pcap("even.pcap", packets[::2])
        write_pcap("odd.pcap", packets[1::2])
        run("verify", "sent.pcapng", "even.pcap", "odd.pcap")
        report = json.loads(run("verify", "--json", "sent.pcapng", "even.pcap", "sent.pcap", status=1))
        self.assertEqual((report["duplicate"], report["missing"]), (500, 0))
        routed = [(time_, p[:22] + bytes([p[22] - 1]) + b"\0\0\0" + p[26:] + b"FCS!") for time_, p in packets]
        write_pcap("routed.pcap", routed)
        run("verify", "sent.pcapng", "routed.pcap", status=1)
        run("verify", "sent.pcapng", "routed.pcap", "--ignore", "ipv4.ttl", "--ignore", "23:3", "--trailer", "4")
        write_pcap("cut.pcap", [(time_, p[:46]) for time_, p in packets])
        run("verify", "sent.pcapng", "cut.pcap", "--least-size", "46")
        run("verify", "sent.pcapng", "sent.pcap", "--window", "10")
        self.assertIn("\"ipv4.tll\" is not a field", run("verify", "sent.pcapng", "cut.pcap", "--ignore", "ipv4.tll", status=2))
        self.assertIn("--count must say", run("verify", "--frame", FRAME, "sent.pcap", status=2))
        self.assertIn("no capture is given", run("verify", "sent.pcapng", status=2))


class Captures(Test):
    """tshark, tcpdump, capinfos and text2pcap read what make writes."""

    LAYERS = ("eth(dst=02:00:00:00:00:0a..02:00:00:00:00:0f) / vlan(100..103, priority=5) / "
              "ipv6(src=2001:db8::1..2001:db8::ff) / tcp(sport=1024..2000, flags=syn+ack) / number(4)")

    def test_formats(self):
        options = ["--frame", self.LAYERS, "--count", "500", "--start", "1700000000.000000001", "--gap", "1234567ns"]
        for format_ in FORMATS:
            run("make", *options, "-o", f"x.{format_}")
        columns = ["frame.time_epoch", "eth.dst", "vlan.id", "vlan.priority", "ipv6.src", "tcp.srcport", "tcp.flags.syn",
                   "tcp.checksum.status", "tcp.payload"]
        fields = [option for column in columns for option in ("-e", column)]
        shown = {}
        judge("text2pcap", "-q", "-F", "nsecpcap", "-t", "T %s.%f", "x.hex", "hex.pcap")
        for name in ["x.pcap", "x.pcapng", "hex.pcap"]:
            shown[name] = judge("tshark", "-r", name, "-o", "tcp.check_checksum:TRUE", "-T", "fields", *fields)
        lines = shown["x.pcap"].splitlines()
        self.assertEqual(len(lines), 500)
        for i, line in enumerate(lines):
            time_ = 1700000000 * 10**9 + 1 + i * 1234567
            self.assertEqual(line.split("\t"), [
                f"{time_ // 10**9}.{time_ % 10**9:09}", f"02:00:00:00:00:{10 + i % 6:02x}", str(100 + i % 4), "5",
                f"2001:db8::{1 + i % 255:x}", str(1024 + i), "1", "1", f"{i:08x}"])
        self.assertEqual(shown["x.pcapng"], shown["x.pcap"])
        self.assertEqual(shown["hex.pcap"], shown["x.pcap"])
        packets = [packet for _, packet in read_pcap("x.pcap")]
        self.assertEqual(read("x.raw"), b"".join(packets))
        self.assertEqual(read("x.lines").decode().split(), [packet.hex() for packet in packets])
        for name in ["x.pcap", "x.pcapng"]:
            dump = judge("tcpdump", "-nqtr", name).splitlines()
            self.assertEqual((len(dump), "2001:db8::1.1024 >" in dump[0]), (500, True))

    def test_capinfos_sees_the_recipe(self):
        run("make", "--frame", FRAME, "--count", "3", "-o", "x.pcapng")
        text = judge("capinfos", "x.pcapng")
        self.assertRegex(text, r"File type: +Wireshark/... - pcapng")
        self.assertRegex(text, r"Number of packets: +3\b")
        self.assertIn(f"zor-packets recipe 1", text)
        self.assertIn(f"frame {FRAME}", text)
        self.assertIn("count 3", text)

    def test_editcap_keeps_the_recipe(self):
        run("make", "--frame", FRAME, "--count", "100", "-o", "sent.pcapng")
        judge("editcap", "sent.pcapng", "received.pcapng", "10-19")
        report = json.loads(run("verify", "--json", "received.pcapng", "received.pcapng", "--missing", "m", status=1))
        self.assertEqual(report["missing"], 10)
        self.assertEqual(read("m").decode().split(), [str(i) for i in range(9, 19)])

    def test_streams(self):
        write("imix", b"# sizes of Internet traffic\n7 eth / ipv4 / udp / number(4) / pad(60)\n"
              b"4\t--frame eth / ipv4 / tcp(flags=syn) / number(4) / fill(500)\n1 -e @h " + b"02" * 12 + b"88b5 @$(00,0,01,big)\n")
        run("make", "--streams", "imix", "--count", "1200", "-o", "x.pcap")
        fields = judge("tshark", "-r", "x.pcap", "-T", "fields", "-e", "frame.len", "-e", "_ws.col.Protocol").split("\n")[:-1]
        sizes = [int(line.split("\t")[0]) for line in fields]
        self.assertEqual([sizes.count(size) for size in (60, 558, 15)], [700, 400, 100])
        for start in range(0, 1200, 12):  # evenly spread
            self.assertEqual(sizes[start:start + 12], sizes[:12])
        self.assertNotIn([60] * 4, [sizes[i:i + 4] for i in range(9)])
        run("verify", "--streams", "imix", "--count", "1200", "x.pcap")
        packets = read_pcap("x.pcap")
        write_pcap("lost.pcap", packets[:70] + packets[80:])
        self.assertIn("missing   10 of 1200", run("verify", "--streams", "imix", "--count", "1200", "lost.pcap", status=1))
        run("make", "--streams", "imix", "--count", "1200", "-o", "a.pcapng")
        run("make", "--like", "a.pcapng", "-o", "b.pcapng")
        self.assertEqual(read("a.pcapng"), read("b.pcapng"))
        self.assertEqual(judge("tshark", "-r", "a.pcapng", "-T", "fields", "-e", "frame.len").split(), [str(s) for s in sizes])
        self.assertRegex(run("show", "a.pcapng"), r"(?s)flows +258\n.*1: number .*2: number .*3: @\$ ")
        self.assertIn("no findings", run("check", "a.pcapng"))
        for text, error in [("7", "a stream must be a weight"), ("x eth", "the weight of a stream"), ("0 eth", "weight"),
                            ("1 eth / ip", "there is no layer"), ("1 eth\n1 ipv4", "some streams start with IP"),
                            ("", "has no stream"), ("1 @x(1,,)", "ends in two delimiters")]:
            write("bad", text.encode())
            self.assertIn(error, run("make", "--streams", "bad", "-o", "x.pcap", status=2))

    def test_ip_without_ethernet(self):
        run("make", "--frame", "ipv4 / udp(sport=7..9)", "--count", "3", "-o", "x.pcap")
        self.assertEqual(judge("tshark", "-r", "x.pcap", "-T", "fields", "-e", "udp.srcport").split(), ["7", "8", "9"])
        run("verify", "--frame", "ipv4 / udp(sport=7..9)", "--count", "3", "x.pcap")
        self.assertIn("link type RAW", run("verify", "-e", "@x(1,0)", "--count", "3", "x.pcap", status=2))

    def test_checksums_of_a_template(self):
        template = "@h 020000000002 020000000001 0800 4500 001e 0000 4000 4011 0000 @$(0a000001,250,00000001,big) " \
                   "c0a80001 0400 0035 000a 0000 @$(0000,0,0001,big)"
        run("make", "-e", template, "--checksums", "-o", "x.pcap")
        status = judge("tshark", "-r", "x.pcap", "-o", "ip.check_checksum:TRUE", "-o", "udp.check_checksum:TRUE", "-T",
                       "fields", "-e", "ip.checksum.status", "-e", "udp.checksum.status")
        self.assertEqual(status, "1\t1\n" * 1000)


class Replay(Test):
    def test_tcprewrite_and_tcpcapinfo(self):
        run("make", "--frame", FRAME, "--count", "100", "-o", "x.pcap")
        self.assertRegex(judge("tcpcapinfo", "x.pcap"), r"(?m)^100\t")
        judge("tcprewrite", "--enet-smac=02:00:00:00:00:77", "-i", "x.pcap", "-o", "rewritten.pcap")
        run("verify", "--frame", FRAME, "--count", "100", "rewritten.pcap", "--ignore", "eth.src")
        run("verify", "--frame", FRAME, "--count", "100", "rewritten.pcap", status=1)


if __name__ == "__main__":
    del sys.argv[1:4]
    unittest.main(argv=[sys.argv[0], *sys.argv[1:]], verbosity=1)
