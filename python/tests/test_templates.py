"""Templates against the tool, which is the library without Python between."""

import json
import pickle
import subprocess
import sys

import numpy
import pytest
from hypothesis import given, strategies as st

import zor_common
from zor_common import Order, Template, joined, mix

FRAME = "eth / ipv4(src=10.0.0.1..10.0.0.250, dst=192.168.0.1) / udp(sport=1024..65535, dport=53) / number(4)"
HEX = "@h 020000000001 0200000000fe 88b5 @$(00000000,0,00000007,big) ff"


def run(tool, *arguments):
    return subprocess.run([tool, *map(str, arguments)], capture_output=True, check=True).stdout


def lines(tool, *arguments):
    """The packets that the tool makes, as bytes."""
    text = run(tool, "make", *arguments, "--format", "hex").decode()
    packets = []
    for line in text.splitlines():
        offset, _, digits = line.partition(" ")
        if offset == "000000":
            packets.append(b"")
        if digits and offset != "T":
            packets[-1] += bytes.fromhex(digits)
    return packets


SETTINGS = [
    (Template(HEX), ["-e", HEX]),
    (Template.frame(FRAME), ["--frame", FRAME]),
    (
        Template("@=(who) @m @b @x(1,0,3,1)", variables={"who": "me", "b": 2}, mac=("02:00:00:00:00:01", 5), base=7),
        ["-e", "@=(who) @m @b @x(1,0,3,1)", "--set", "who=me", "--mac", "02:00:00:00:00:01,5", "--base", "7"],
    ),
    (Template("%x(5,0,2,1)-", marker="%"), ["-e", "%x(5,0,2,1)-", "--marker", "%"]),
]


@pytest.mark.parametrize("template,arguments", SETTINGS)
def test_values_are_those_of_the_tool(zor_packets, template, arguments):
    for first, count, every in ((0, 5, 1), (1000, 3, 77), (2**33, 2, 1)):
        expected = lines(zor_packets, *arguments, "--from", first, "--count", count, "--every", every)
        assert list(template.frames(first, count, every=every)) == expected
        assert [template[first + k * every] for k in range(count)] == expected


@pytest.mark.parametrize("template,arguments", SETTINGS[:2])
def test_facts_are_those_of_the_tool(zor_packets, template, arguments):
    shown = json.loads(run(zor_packets, "show", *arguments, "--json"))
    assert json.loads(template.diagram("json")) == {key: shown[key] for key in json.loads(template.diagram("json"))}


@given(st.integers(0, 2**64 - 1))
def test_index_finds_what_was_rendered(number):
    template = Template("@h 02 @$(0000000000000000,0,0000000000000003,big)")
    assert template.index(template[number]) == number
    assert int.from_bytes(template[number][1:], "big") == number * 3 % 2**64


@given(st.integers(0, 2**64 - 1), st.integers(0, 20), st.integers(1, 2**63))
def test_slices_are_ranges(start, count, step):
    template = Template("@x(0,0,1,1)")
    stop = min(start + count * step, 2**64 - 1)
    if len(range(start, stop, step)) <= 20:
        assert list(template[start:stop:step]) == [template[i] for i in range(start, stop, step)]
    down = range(min(start, 5), -1, -2)
    assert list(template[min(start, 5) :: -2]) == [template[i] for i in down]


def test_arrays_share_memory_and_outlive_all_else():
    template = Template.frame(FRAME)
    frames = template.frames(0, 1000)
    array = numpy.asarray(frames)
    again = numpy.asarray(frames)
    assert array.shape == (1000, 46) and array.dtype == numpy.uint8
    assert array.__array_interface__["data"][0] == again.__array_interface__["data"][0]
    expected = [template[k] for k in range(1000)]
    del template, frames, again
    numpy.zeros(1000000)  # so that memory that was given back would be used again
    assert [row.tobytes() for row in array] == expected


def test_values_of_varying_size():
    template = Template("@x(8,0,1,0)!")
    frames = template.frames(0, 4)
    assert list(frames) == [b"8!", b"9!", b"10!", b"11!"]
    assert bytes(frames) == b"8!9!10!11!" and frames.offsets == [0, 2, 4, 7, 10] and frames.nbytes == 10
    rows, sizes = numpy.full((4, 2), 35, "uint8"), numpy.zeros(4, "uint32")
    assert template.render_into(rows, 0, sizes=sizes) == 2
    assert rows.tobytes() == b"8!9!####" and list(sizes) == [2, 2, 3, 3]
    with pytest.raises(ValueError, match="varying size"):
        template.render_into(bytearray(100))


def test_render_into_buffers():
    template = Template(HEX)
    size = template.max_size
    memory = bytearray(size * 4 + 3)
    assert template.render_into(memory, 10) == 4
    assert memory == b"".join(template[k] for k in range(10, 14)) + bytes(3)
    ring = numpy.full((5, 64), 0xEE, "uint8")
    assert template.render_into(ring[1:4, 2 : 2 + size], 7, every=3) == 3
    assert [ring[1 + k, 2 : 2 + size].tobytes() for k in range(3)] == [template[7 + 3 * k] for k in range(3)]
    ring[1:4, 2 : 2 + size] = 0xEE
    assert (ring == 0xEE).all()
    rows = numpy.asarray(template.frames(0, 3)).copy()
    assert template.patch_into(rows, 100) == 3 and rows[2].tobytes() == template[102]
    indexes = numpy.array([5, 2**63, 0], "uint64")
    assert list(template.frames_at(indexes)) == [template[5], template[2**63], template[0]]


BUFFERS = [
    (bytes(100), "written"),
    (numpy.zeros((2, 5), "uint8"), "row of the buffer"),
    (numpy.zeros((4, 40), "uint8")[:, ::2], "rows of the buffer"),
    (numpy.zeros((4, 40), "uint8")[::-1], "rows of the buffer"),
    (numpy.zeros((4, 40), "uint16"), "rows of the buffer"),
    (numpy.zeros(100, "uint8")[::2], "one piece"),
    (bytearray(10), None),
]


@pytest.mark.parametrize("buffer,message", BUFFERS)
def test_buffers_that_do_not_fit(buffer, message):
    template = Template(HEX)
    if message is None:
        with pytest.raises(ValueError, match="room for 0 frames"):
            template.render_into(buffer, 0, 1)
    else:
        with pytest.raises(ValueError, match=message):
            template.render_into(buffer)


def test_a_held_buffer_cannot_shrink():
    template = Template(HEX)
    memory = bytearray(1000)
    view = numpy.frombuffer(memory, "uint8")
    template.render_into(view)
    del view
    memory.clear()  # nothing holds the memory any more


MISTAKES = [
    (lambda: Template("@x(1,,)"), ValueError, "ZT001"),
    (lambda: Template("x", marker="ab"), ValueError, "one character"),
    (lambda: Template("@x(1,0,1,1)", checksums=True), ValueError, "checksum"),
    (lambda: Template("x", base=2**32), ValueError, "base"),
    (lambda: Template("x", mac="02:00"), ValueError, "too few parts"),
    (lambda: Template.frame("eth / what"), ValueError, "there is no layer \"what\""),
    (lambda: Template.frame("eth / vlan(5000)"), ValueError, "Vlan"),
    (lambda: Template("x").vary("ipv4.src", "1..2"), ValueError, "only frames"),
    (lambda: Template.frame(FRAME).vary("ipv6.src", "::1"), ValueError, "ipv6.src"),
    (lambda: Template.frame(FRAME).cross("udp.sport", "udp.sport"), ValueError, "udp.sport"),
    (lambda: Template("x")[-1], IndexError, "no end"),
    (lambda: Template("x")[2**64], ValueError, "18446744073709551615"),
    (lambda: Template("x")[5:], ValueError, "no end"),
    (lambda: Template("x")[0:5:0], ValueError, "step"),
    (lambda: Template("x").frames(-1, 2), ValueError, "-1"),
    (lambda: Template(HEX).frames(0, 2**62), MemoryError, ""),
    (lambda: Template("x").index(b"y"), ValueError, "no value"),
    (lambda: Template("x").index("x"), TypeError, "bytes-like"),
    (lambda: Template("x").frames_at(numpy.zeros(3, "float64")), ValueError, "64 bits"),
    (lambda: mix([]), ValueError, ""),
    (lambda: mix([1, 2]), TypeError, "type"),
    (lambda: mix([(Template("x"), 65537)]), ValueError, ""),
    (lambda: joined([(Template("x"), 0)]), ValueError, ""),
    (lambda: Order(0), ValueError, "at least one"),
]


@pytest.mark.parametrize("call,error,message", MISTAKES)
def test_mistakes(call, error, message):
    with pytest.raises(error) as caught:
        call()
    assert message in str(caught.value)


def made():
    frame = Template.frame(FRAME)
    varied = Template.from_packet(frame[5]).vary("udp.sport", range(1024, 1034)).vary((6, 6), "0..9").cross("udp.sport")
    text = Template(
        "@m @v1 @=(a)", variables={"a": b"\xff"}, mac=("02:00:00:00:00:01", 1, 2**48 - 1, 3), vlan=[(5, 10), 7], vpi=1
    )
    parts = mix([(frame, 7), (varied, 4), (text, 1)])
    return [frame, varied, text, parts, joined([(frame, 3), (parts, 2**40)]), frame.shuffled(Order(1000, 7))]


def test_pickles_are_equal():
    for template in made():
        again = pickle.loads(pickle.dumps(template))
        assert again == template and hash(again) == hash(template) and repr(again) == repr(template)
        assert [again[k] for k in range(20)] == [template[k] for k in range(20)]


def test_pickles_work_across_processes():
    code = "import pickle, sys; t = pickle.load(sys.stdin.buffer); sys.stdout.buffer.write(pickle.dumps([x[99] for x in t]))"
    out = subprocess.run([sys.executable, "-c", code], input=pickle.dumps(made()), capture_output=True, check=True)
    assert pickle.loads(out.stdout) == [template[99] for template in made()]


def test_flows_are_varied_and_crossed():
    template = Template.frame(FRAME).vary("udp.dport", [53, 123]).cross("udp.sport", "ipv4.src", "udp.dport")
    assert template.flow_count == (65536 - 1024) * 250 * 2
    assert [field.name for field in template.fields] == ["ipv4.src", "udp.sport", "udp.dport", "number"]
    assert template.span("ipv4.src") == (26, 4)
    assert template.index(template[10**12]) == 10**12


def test_mixes_go_by_weight():
    sizes = [len(value) for value in mix([(Template("a"), 7), (Template("bb"), 4), (Template("ccc"), 1)]).frames(0, 12)]
    assert [sizes.count(k) for k in (1, 2, 3)] == [7, 4, 1]


def test_orders(zor_packets):
    order = Order(10, 42)
    expected = lines(zor_packets, "-e", "@x(0,0,1,1)", "--count", 10, "--seed", 42)
    shuffled = Template("@x(0,0,1,1)").shuffled(order)
    assert [shuffled[k] for k in range(10)] == expected
    assert [order.position(order[k]) for k in range(10)] == list(range(10))
    indexes = numpy.empty(20, "uint64")
    order.indexes_into(indexes, 3)
    assert list(indexes) == [order[k] for k in range(3, 23)]
    assert Order(2**64, 1).size == 2**64 and pickle.loads(pickle.dumps(order)) == order


def test_diagnostics():
    text = "@$(0A000001,0,00000001,ip4)"
    found = Template(text).diagnostics
    assert [(d.code, d.severity, text[d.pos : d.pos + d.len]) for d in found if d.code == 109] == [(109, "warning", "ip4")]
    assert "^^^" in found[0].show(text) and zor_common.check("@x(1,,)")[0].severity == "error"
