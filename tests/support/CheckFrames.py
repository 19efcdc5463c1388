"""Has tshark or Scapy judge the frames that FrameProgram writes.

    CheckFrames.py tshark|scapy <FrameProgram> <scratch directory>

The table below says a second time, in Python's own integers, what each field shows at an index. tshark has to find all
checksums good, nothing malformed and these numbers in the fields. Scapy has to build the same bytes of them.
"""

import ipaddress
import os
import shutil
import struct
import subprocess
import sys

def count(first, turns, step=1, repeat=0, bits=16):
    """What a field shows at an index. A field that never ends wraps."""
    def at(index):
        turn = index // (repeat + 1)
        if turns:
            turn %= turns
        return (first + turn * step) % (1 << bits)
    return at


def mac(number):
    return ":".join(f"{number:012x}"[at:at + 2] for at in range(0, 12, 2))


def macs(first, turns, step=1):
    at = count(first, turns, step, bits=48)
    return lambda index: mac(at(index))


def ip4(first, turns, step=1, repeat=0):
    at = count(int(ipaddress.IPv4Address(first)), turns, step, repeat, bits=32)
    return lambda index: str(ipaddress.IPv4Address(at(index)))


def ip6(first, turns, step=1):
    at = count(int(ipaddress.IPv6Address(first)), turns, step, bits=128)
    return lambda index: str(ipaddress.IPv6Address(at(index)))


def prbs31(size):
    bits = [1] * 31
    for _ in range(8 * size):
        bits.append(bits[-28] ^ bits[-31])
    return bytes(255 - int("".join(map(str, bits[31 + 8 * i:39 + 8 * i])), 2) for i in range(size))


SOURCE, DESTINATION = "02:00:00:00:00:01", "02:00:00:00:00:fe"
ETHERNET = {"eth.src": SOURCE, "eth.dst": DESTINATION}
HERE, THERE = "10.0.0.1", "10.0.0.2"
IPV4 = {"ip.src": HERE, "ip.dst": THERE, "ip.ttl": 64, "ip.id": 0, "ip.flags.df": 1, "ip.flags.mf": 0}
ECHO_ID, ECHO_SEQ = count(0xff00, 0), count(0, 0, 1, 9)

SPORT, SENDER = count(1024, 60000), ip4("10.0.0.1", 250, 1, 60000 - 1)
VLAN = count(100, 4, 1, 250 * 60000 - 1)
OUTER, INNER = count(4095, 4096, -1), count(2, 2000, 2, 1)
FLOW, DSCP = count(0xffff0, 16, bits=20), count(0, 64, bits=6)



def ethernet(s, **fields):
    return s.Ether(src=SOURCE, dst=DESTINATION, **fields)


def ipv4(s):
    return s.IP(src=HERE, dst=THERE, id=0, flags="DF")


# Of each stack: what tshark shows, the fields whose checksums are good, and Scapy's layers. What is callable is a
# function of the index.
STACKS = {
    "udp": (
        {**ETHERNET, "vlan.id": VLAN, "ip.src": SENDER, "ip.dst": "192.168.0.1",
         "ip.len": 32, "udp.length": 12, "udp.srcport": SPORT, "udp.dstport": 53,
         "data.data": lambda i: f"{i % (1 << 32):08x}", "frame.len": 60},
        ["ip", "udp"],
        lambda s, i: ethernet(s) / s.Dot1Q(vlan=VLAN(i)) / s.IP(src=SENDER(i), dst="192.168.0.1", id=0, flags="DF") /
        s.UDP(sport=SPORT(i), dport=53) / s.Raw(struct.pack(">I", i % (1 << 32))) / s.Padding(bytes(10))),
    "qinq-tcp": (
        {"eth.src": macs(0x020000000001, 65536, 0x10000), "eth.dst": macs(0x0200000000fe, 7), "ieee8021ad.id": OUTER,
         "ieee8021ad.priority": 7, "vlan.id": INNER, "vlan.priority": 2, "vlan.dei": 1, "ip.dsfield.dscp": DSCP,
         "ip.dsfield.ecn": 1, "ip.id": count(0xfff0, 0), "ip.ttl": count(3, 0, -1, bits=8),
         "ip.src": ip4("10.0.0.250", 0, 257), "ip.dst": ip4("10.255.255.250", 0), "ip.flags.df": 0, "ip.len": 43,
         "tcp.srcport": count(65530, 0), "tcp.dstport": count(80, 5, 1000), "tcp.window_size_value": count(65535, 0, -3),
         "tcp.seq_raw": count(0xffff0000, 0, 1460, bits=32), "tcp.ack_raw": count(1, 0, 1, 2, bits=32),
         "tcp.flags": 0x3a, "tcp.urgent_pointer": 9, "tcp.payload": "6f6464"},
        ["ip", "tcp"],
        lambda s, i: s.Ether(src=macs(0x020000000001, 65536, 0x10000)(i), dst=macs(0x0200000000fe, 7)(i), type=0x88a8) /
        s.Dot1Q(prio=7, vlan=OUTER(i)) / s.Dot1Q(prio=2, id=1, vlan=INNER(i)) /
        s.IP(tos=DSCP(i) << 2 | 1, id=count(0xfff0, 0)(i), ttl=count(3, 0, -1, bits=8)(i), flags=0,
             src=ip4("10.0.0.250", 0, 257)(i), dst=ip4("10.255.255.250", 0)(i)) /
        s.TCP(sport=count(65530, 0)(i), dport=count(80, 5, 1000)(i), seq=count(0xffff0000, 0, 1460, bits=32)(i),
              ack=count(1, 0, 1, 2, bits=32)(i), flags=0x3a, window=count(65535, 0, -3)(i), urgptr=9) / s.Raw(b"odd")),
    "arp": (
        {**ETHERNET, "vlan.id": 1, "arp.opcode": 2, "arp.src.hw_mac": SOURCE, "arp.src.proto_ipv4": ip4("10.0.0.1", 0),
         "arp.dst.hw_mac": macs(0x0200000000fe, 0, -1), "arp.dst.proto_ipv4": ip4("10.1.0.1", 5, -2), "frame.len": 64},
        [],
        lambda s, i: ethernet(s) / s.Dot1Q(vlan=1) /
        s.ARP(op=2, hwsrc=SOURCE, psrc=ip4("10.0.0.1", 0)(i), hwdst=macs(0x0200000000fe, 0, -1)(i),
              pdst=ip4("10.1.0.1", 5, -2)(i)) / s.Padding(bytes(18))),
    "ipv6-udp": (
        {**ETHERNET, "ipv6.src": ip6("2001:db8::1", 65536, 1 << 64),
         "ipv6.dst": ip6("2001:db8:0:ffff:ffff:ffff:ffff:fff0", 0), "ipv6.flow": FLOW,
         "ipv6.hlim": count(250, 0, bits=8), "ipv6.tclass.dscp": 46, "ipv6.tclass.ecn": 2, "ipv6.plen": 51,
         "udp.srcport": count(5, 0, 3), "udp.length": 51,
         "data.data": lambda i: f"{(0xfffffe + i) % (1 << 24):06x}" + bytes(range(40)).hex()},
        ["udp"],
        lambda s, i: ethernet(s) / s.IPv6(src=ip6("2001:db8::1", 65536, 1 << 64)(i), tc=46 << 2 | 2, fl=FLOW(i),
                                          dst=ip6("2001:db8:0:ffff:ffff:ffff:ffff:fff0", 0)(i),
                                          hlim=count(250, 0, bits=8)(i)) /
        s.UDP(sport=count(5, 0, 3)(i), dport=9) /
        s.Raw(((0xfffffe + i) % (1 << 24)).to_bytes(3, "big") + bytes(range(40)))),
    "ipv6-tcp": (
        {**ETHERNET, "ipv6.src": "2001:db8::1", "ipv6.dst": ip6("::1", 0, -2), "ipv6.hlim": 64, "ipv6.plen": 20,
         "tcp.srcport": count(1, 9), "tcp.dstport": 443, "tcp.flags": 0x10, "tcp.window_size_value": 65535},
        ["tcp"],
        lambda s, i: ethernet(s) / s.IPv6(src="2001:db8::1", dst=ip6("::1", 0, -2)(i)) /
        s.TCP(sport=count(1, 9)(i), dport=443, flags="A", window=65535)),
    "icmp": (
        {**ETHERNET, **IPV4, "icmp.type": 8, "icmp.code": 0, "icmp.ident": ECHO_ID, "icmp.seq": ECHO_SEQ,
         "ip.len": 85},
        ["ip", "icmp"],
        lambda s, i: ethernet(s) / ipv4(s) / s.ICMP(id=ECHO_ID(i), seq=ECHO_SEQ(i)) / s.Raw(prbs31(57))),
    "icmpv6": (
        {**ETHERNET, "ipv6.dst": ip6("fe80::2", 0), "icmpv6.type": 129, "icmpv6.echo.identifier": ECHO_ID,
         "icmpv6.echo.sequence_number": ECHO_SEQ, "data.data": "a5" * 9},
        ["icmpv6"],
        lambda s, i: ethernet(s) / s.IPv6(src="fe80::1", dst=ip6("fe80::2", 0)(i)) /
        s.ICMPv6EchoReply(id=ECHO_ID(i), seq=ECHO_SEQ(i), data=b"\xa5" * 9)),
    "udp-unsummed": (
        {**ETHERNET, **IPV4, "udp.srcport": count(1, 0), "udp.dstport": 2, "udp.checksum": 0, "data.data": "000000"},
        ["ip"],
        lambda s, i: ethernet(s) / ipv4(s) / s.UDP(sport=count(1, 0)(i), dport=2, chksum=0) / s.Raw(bytes(3))),
    "fragment": (
        {**ETHERNET, "ip.id": count(1, 0), "ip.flags.df": 0, "ip.flags.mf": 1, "ip.frag_offset": 185, "ip.proto": 17,
         "ip.len": 100},
        ["ip"],
        lambda s, i: ethernet(s) / s.IP(src=HERE, dst=THERE, id=count(1, 0)(i), flags="MF", frag=185, proto=17) /
        s.Raw(b"@" * 80)),
    "no-protocol": (
        {**ETHERNET, **IPV4, "ip.dst": ip4(THERE, 0, 65536), "ip.proto": 253,
         "data.data": lambda i: f"{i % (1 << 32):08x}"},
        ["ip"],
        lambda s, i: ethernet(s) / s.IP(src=HERE, dst=ip4(THERE, 0, 65536)(i), id=0, flags="DF", proto=253) /
        s.Raw(struct.pack(">I", i % (1 << 32)))),
    "no-header": (
        {**ETHERNET, "eth.type": 0x88b5, "frame.len": 60,
         "data.data": lambda i: f"{-i % (1 << 64):016x}" + "00" * 38},
        [],
        lambda s, i: ethernet(s, type=0x88b5) / s.Raw(struct.pack(">Q", -i % (1 << 64))) / s.Padding(bytes(38))),
    "ipv4-options": (
        {**ETHERNET, "ip.id": count(0xfff0, 0), "ip.hdr_len": 32, "ip.src": ip4("10.0.0.240", 0, 257),
         "ip.dst": "192.168.0.1", "udp.srcport": count(0xfff0, 0), "udp.dstport": 53,
         "data.data": lambda i: f"{-i % (1 << 32):08x}00000000"},
        ["ip", "udp"],
        lambda s, i: ethernet(s) / s.IP(id=count(0xfff0, 0)(i), flags="DF", src=ip4("10.0.0.240", 0, 257)(i),
                                        dst="192.168.0.1", options=[s.IPOption(bytes.fromhex("94040000")), s.IPOption_NOP(),
                                                 s.IPOption(bytes.fromhex("07070400000000"))]) /
        s.UDP(sport=count(0xfff0, 0)(i), dport=53) / s.Raw(struct.pack(">II", -i % (1 << 32), 0))),
    "ipv6-extensions": (
        {**ETHERNET, "ipv6.dst": ip6("2001:db8::ffff:ffff:ffff:fff0", 0), "ipv6.plen": 60, "tcp.srcport": 1024,
         "tcp.seq_raw": count(0xfffffff0, 0, bits=32)},
        ["tcp"],
        lambda s, i: ethernet(s) / s.IPv6(src="2001:db8::1", dst=ip6("2001:db8::ffff:ffff:ffff:fff0", 0)(i)) /
        s.IPv6ExtHdrHopByHop() / s.IPv6ExtHdrRouting(type=4, segleft=0, addresses=["2001:db8::7"]) /
        s.IPv6ExtHdrDestOpt() / s.TCP(sport=1024, dport=80, seq=count(0xfffffff0, 0, bits=32)(i), flags="A")),
}


def frames_of(path):
    """Index and bytes of each frame of a capture."""
    with open(path, "rb") as capture:
        capture.read(24)
        while header := capture.read(16):
            seconds, nanoseconds, size, _ = struct.unpack("<IIII", header)
            yield seconds * 1000000000 + nanoseconds, capture.read(size)


def at(value, index):
    return value(index) if callable(value) else value


def judged_by_tshark(path, fields, sums, failures):
    """Fields and checksums of a capture, and whether tshark has a warning or an error about it."""
    names = list(fields) + [name + ".checksum.status" for name in sums] + ["_ws.malformed", "_ws.expert.severity",
                                                                        "_ws.expert.message"]
    command = ["tshark", "-n", "-r", path, "-T", "fields", "-E", "occurrence=a", "-E", "separator=/t", "-E", "aggregator=;"]
    for ports in ["udp.port==0-65535,data", "tcp.port==0-65535,data"]: # no payload is taken for what uses its port
        command += ["-d", ports]
    for preference in ["ip", "udp", "tcp"]:
        command += ["-o", preference + ".check_checksum:TRUE"]
    for preference in ["tcp.analyze_sequence_numbers", "ip.defragment", "arp.detect_duplicate_ips"]:
        command += ["-o", preference + ":FALSE"]
    for name in names:
        command += ["-e", name]
    run = subprocess.run(command, capture_output=True, text=True, check=False)
    if run.returncode != 0:
        sys.exit(f"tshark fails: {run.stderr}")
    lines = run.stdout.split("\n")[:-1]
    frames = list(frames_of(path))
    if len(lines) != len(frames):
        failures.append(f"{path}: tshark shows {len(lines)} of {len(frames)} frames")
    checked = 0
    for (index, _), line in zip(frames, lines):
        shown = dict(zip(names, line.split("\t")))
        for name, value in fields.items():
            expected, found = at(value, index), shown[name].split(";")[0]
            if isinstance(expected, int) and found:
                found = {"True": 1, "False": 0}.get(found) if found in ("True", "False") else int(found, 0)
            if found != expected:
                failures.append(f"{path}, index {index}: {name} is {found}, not {expected}")
            checked += 1
        for name in sums:
            if shown[name + ".checksum.status"] not in ("1", "Good"):
                failures.append(f"{path}, index {index}: the {name} checksum is not good")
            checked += 1
        severities = [int(number, 0) for number in shown["_ws.expert.severity"].split(";") if number]
        if shown["_ws.malformed"] or any(number >= 0x600000 for number in severities):
            failures.append(f"{path}, index {index}: {shown['_ws.expert.message']}")
    return len(lines), checked


def built_by_scapy(path, build, failures):
    import scapy.all as scapy  # which takes a second
    frames = list(frames_of(path))
    for index, frame in frames:
        built = scapy.raw(build(scapy, index))
        if built != frame:
            failures.append(f"{path}, index {index}:\n  {frame.hex()}, by Scapy\n  {built.hex()}")
    return len(frames), sum(len(frame) for _, frame in frames)


def main(judge, program, directory):
    if judge == "tshark" and not shutil.which("tshark"):
        return print("tshark is not installed")
    if judge == "scapy" and subprocess.run([sys.executable, "-c", "import scapy"], capture_output=True, check=False).returncode:
        return print("Scapy is not installed")
    os.makedirs(directory, exist_ok=True)
    subprocess.run([program, directory], check=True)
    failures, frames, checked = [], 0, 0
    for name, (fields, sums, build) in STACKS.items():
        path = os.path.join(directory, name + ".pcap")
        if judge == "tshark":
            result = judged_by_tshark(path, fields, sums, failures)
        else:
            result = built_by_scapy(path, build, failures)
        frames += result[0]
        checked += result[1]
    written = {file for file in os.listdir(directory) if file.endswith(".pcap")}
    for file in sorted(written ^ {name + ".pcap" for name in STACKS}):
        failures.append(f"{file} is not in the table, or not written")
    print(f"{judge}: {len(STACKS)} stacks, {frames} frames, {checked} {'fields' if judge == 'tshark' else 'bytes'}")
    if failures:
        sys.exit("\n".join(failures[:10] + [f"{len(failures)} differences"]))
    return None


if __name__ == "__main__":
    main(*sys.argv[1:])
