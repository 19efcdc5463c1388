"""Audits against the tool's report, and what threads and processes do with them."""

import json
import pickle
import random
import struct
import subprocess
import sys
import threading
import time

import numpy
import pytest

from zor_common import Audit, Template, Verdict

FRAME = "eth / ipv4(src=10.0.0.1..10.0.0.250) / udp(sport=1024..65535, dport=53) / number(4)"
COUNT = 5000


def damaged(template, seed):
    """What is left of a run: lost, doubled, late, changed and foreign packets."""
    chance = random.Random(seed)
    packets = []
    for k in range(COUNT):
        packet = template[k]
        fate = chance.random()
        if fate < 0.03:
            continue
        if fate < 0.06:
            packets.append(packet)
        if fate > 0.97:
            packet = packet[:20] + bytes([packet[20] ^ 255]) + packet[21:]
        packets.insert(len(packets) - chance.randrange(4) if fate > 0.5 and len(packets) > 4 else len(packets), packet)
        if fate > 0.99:
            packets.append(chance.randbytes(60))
    return packets


def write_capture(path, packets):
    with open(path, "wb") as file:
        file.write(struct.pack("<IHHiIII", 0xA1B23C4D, 2, 4, 0, 0, 262144, 1))
        for number, packet in enumerate(packets):
            file.write(struct.pack("<IIII", 0, number, len(packet), len(packet)) + packet)


@pytest.mark.parametrize("seed", range(3))
def test_counts_are_those_of_the_tool(zor_packets, tmp_path, seed):
    template = Template.frame(FRAME)
    packets = damaged(template, seed)
    write_capture(tmp_path / "received.pcap", packets)
    run = subprocess.run(
        [zor_packets, "verify", "--frame", FRAME, "--count", str(COUNT), "--json", tmp_path / "received.pcap"],
        capture_output=True,
    )
    report = json.loads(run.stdout)
    one = Audit(template, 0, COUNT)
    verdicts = [one.add(packet)[0] for packet in packets]
    names = {"in_order": "inOrder", "max_lateness": "maxLateness", "too_old": "tooOld", "missing_below": "missingBelow"}
    assert {names.get(name, name): number for name, number in one.counts.as_dict().items()} == {
        name: number for name, number in report.items() if name not in ("sent", "certain")
    }
    assert verdicts.count(Verdict.CHANGED) == one.counts.changed > 0 and one.is_certain == report["certain"]

    # The same packets by all other ways.
    data = b"".join(packets)
    sizes = numpy.array([len(packet) for packet in packets], "uint64")
    for take in (
        lambda audit: audit.add_all(packets),
        lambda audit: audit.add_all(memoryview(packet) for packet in packets),
        lambda audit: audit.add_at(data, numpy.cumsum(sizes) - sizes, sizes),
    ):
        other = Audit(template, 0, COUNT)
        take(other)
        assert other.counts == one.counts and other.missing() == one.missing()
    seen = {template.index(packet) for packet in packets if template.find(packet) is not None}
    assert sorted(set(range(COUNT)) - seen) == [k for run in one.missing() for k in run]


def test_frames_and_arrays():
    template = Template.frame(FRAME)
    audit = Audit(template, 0, 100, every=2)
    audit.add_all(template.frames(0, 50, every=2))
    audit.add_all(numpy.asarray(template.frames(0, 100, every=2))[60:])
    assert audit.missing() == [range(100, 120, 2)] and audit.missing(0) == [] and audit.counts.in_order == 90
    padded = Audit(template, 0, 100, trailer=20, ignored=[(22, 1)])
    packet = bytearray(template[7] + bytes(14))
    packet[22] ^= 1
    assert padded.add(packet) == (Verdict.IN_ORDER, 7)
    mixed = Audit(Template("@x(8,0,1,0)!"), 0, 9)
    mixed.add_all(Template("@x(8,0,1,0)!").frames(0, 9))
    assert mixed.counts.missing == 0


def test_pickled_audits_merge():
    template = Template.frame(FRAME)
    packets = damaged(template, 9)
    code = (
        "import pickle, sys; audit, packets = pickle.load(sys.stdin.buffer); audit.add_all(packets);"
        "sys.stdout.buffer.write(pickle.dumps(audit))"
    )
    merged = Audit(template, 0, COUNT)
    for part in (packets[:2000], packets[2000:]):
        work = pickle.dumps((Audit(template, 0, COUNT), part))
        out = subprocess.run([sys.executable, "-c", code], input=work, capture_output=True, check=True).stdout
        merged.merge(pickle.loads(out))
    whole = Audit(template, 0, COUNT)
    whole.add_all(packets)
    for name in ("received", "duplicate", "changed", "foreign", "missing"):
        assert getattr(merged.counts, name) == getattr(whole.counts, name)
    assert merged.missing() == whole.missing()
    again = pickle.loads(pickle.dumps(whole))
    again.add_all(packets[:100])
    assert again.counts.duplicate == whole.counts.duplicate + again.counts.received - whole.counts.received - (
        again.counts.changed - whole.counts.changed) - (again.counts.foreign - whole.counts.foreign)
    with pytest.raises(ValueError):
        merged.merge(merged)
    with pytest.raises(ValueError):
        merged.merge(Audit(template, 0, COUNT + 1))


def test_mistakes():
    template = Template.frame(FRAME)
    with pytest.raises(ValueError):
        Audit(template, 0, 2**63, every=4)
    with pytest.raises(ValueError, match="nothing"):
        Audit(template, 0, 1, ignored=["nothing"])
    audit = Audit(template, 0, 10)
    with pytest.raises(ValueError, match="packet 1 reaches beyond"):
        audit.add_at(b"abc", numpy.array([0, 3], "uint64"), numpy.array([3, 1], "uint64"))
    with pytest.raises(TypeError):
        audit.add_all(["text"])
    assert audit.counts.received == 0


def test_threads_share_one_audit_and_one_template():
    template = Template.frame(FRAME)
    audit = Audit(template, 0, 40000)

    def work(part):
        for first in range(part * 10000, (part + 1) * 10000, 100):
            audit.add_all(template.frames(first, 100))
            assert audit.counts.received >= 100

    threads = [threading.Thread(target=work, args=(part,)) for part in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    counts = audit.counts
    assert counts.missing == 0 and counts.in_order + counts.late == 40000


def test_others_run_while_the_library_works():
    template = Template.frame(FRAME)
    buffer = numpy.empty((2_000_000, 46), "uint8")
    template.render_into(buffer)
    going, ticks = threading.Event(), [0]

    def tick():
        going.set()
        while going.is_set():
            ticks[0] += 1
            time.sleep(0)  # gives the GIL away

    thread = threading.Thread(target=tick)
    thread.start()
    going.wait()
    before = ticks[0]
    switch = sys.getswitchinterval()
    sys.setswitchinterval(100)  # nobody is asked for the GIL, so only what releases it lets others run
    try:
        template.render_into(buffer)
    finally:
        sys.setswitchinterval(switch)
    after = ticks[0]
    going.clear()
    thread.join()
    assert after > before


def test_a_million_renders_do_not_leak():
    def resident():
        with open("/proc/self/statm") as file:
            return int(file.read().split()[1]) * 4096

    template = Template.frame(FRAME)
    packet = template[5]
    audit = Audit(template, 0, 10)

    def work(times):
        for k in range(times):
            template[k]
            if k % 8 == 0:
                memoryview(template.frames(k, 4)).tobytes()
                template.find(packet)
                audit.add(packet)
            if k % 512 == 0:
                numpy.asarray(template[k : k + 9])
                pickle.loads(pickle.dumps(template))
                with pytest.raises(ValueError):
                    template.index(b"")

    work(100_000)
    before = resident()
    work(1_000_000)
    assert resident() - before < 2_000_000
