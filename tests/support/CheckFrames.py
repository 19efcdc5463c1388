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


# Of tunnels: what stands inside them.
OUTER6 = {"ipv6.src": "2001:db8::1", "ipv6.dst": "2001:db8::2"}
PORT, NUMBER = count(0xfff0, 0), count(0xfffffff0, 0, bits=32)
INNER4, INNER6 = ip4("10.1.0.250", 0), ip6("2001:db8::1:ffff:fff0", 0)
LABEL, LABEL_TTL, GRE_SEQ = count(16, 65535, 16, bits=20), count(250, 0, bits=8), count(0, 0, 1, 1, bits=32)
VNI, QFI = count(0xfffff0, 0, bits=24), count(0, 64)
PORTS = {"udp.srcport": PORT, "udp.dstport": 9}
NUMBER_DATA = {"data.data": lambda i: f"{NUMBER(i):08x}"}


def inside(*pairs):
    """What a field shows at all of its places: of the outer packet first."""
    return list(pairs)


def ipv6(s, **fields):
    return s.IPv6(src="2001:db8::1", dst="2001:db8::2", **fields)


def inner4(s, i, **fields):
    return s.IP(src=INNER4(i), dst="10.1.0.2", id=0, flags="DF", **fields)


def inner6(s, i):
    return s.IPv6(src=INNER6(i), dst="2001:db8::3")


def number(s, i):
    return s.Raw(struct.pack(">I", NUMBER(i)))


def tcp(s, i):
    return s.TCP(sport=PORT(i), dport=9, flags="A", window=65535)


TUNNELS = {
    "vxlan": (
        {"eth.src": inside(SOURCE, macs(0x020000000001, 65536)), "vxlan.vni": VNI, "vlan.id": count(1, 4094),
         "ip.src": inside(HERE, INNER4), "ip.dst": inside(THERE, "10.1.0.2"), "ip.len": inside(86, 32),
         "udp.srcport": inside(count(0xc000, 0x4000), PORT), "udp.dstport": inside(4789, 9),
         "udp.length": inside(66, 12), **NUMBER_DATA},
        ["ip", "ip", "udp"],
        lambda s, i: ethernet(s) / ipv4(s) / s.UDP(sport=count(0xc000, 0x4000)(i), dport=4789, chksum=0) /
        s.VXLAN(vni=VNI(i), flags=8) / s.Ether(src=macs(0x020000000001, 65536)(i), dst=DESTINATION) /
        s.Dot1Q(vlan=count(1, 4094)(i)) / inner4(s, i) / s.UDP(sport=PORT(i), dport=9) / number(s, i)),
    "vxlan-ipv6": (
        {"vxlan.vni": 7, "ipv6.src": inside("2001:db8::1", INNER6), "ipv6.plen": inside(90, 20), "udp.length": 90,
         "tcp.srcport": PORT, "frame.len": 150},
        ["tcp"],
        lambda s, i: ethernet(s) / ipv6(s) / s.UDP(sport=0xc000, dport=4789, chksum=0) / s.VXLAN(vni=7, flags=8) /
        ethernet(s) / inner6(s, i) / tcp(s, i) / s.Padding(bytes(6))),
    "vxlan-arp": (
        {"udp.dstport": 4789, "arp.src.proto_ipv4": INNER4, "arp.dst.proto_ipv4": "10.1.0.2"},
        ["ip", "udp"],
        lambda s, i: ethernet(s) / ipv4(s) / s.UDP(sport=0xc000, dport=4789) / s.VXLAN(vni=7, flags=8) / ethernet(s) /
        s.ARP(op=1, hwsrc=SOURCE, psrc=INNER4(i), hwdst=mac(0), pdst="10.1.0.2")),
    "gre": (
        {"ip.proto": 47, "gre.proto": 0x86dd, "gre.key": NUMBER, "gre.sequence_number": GRE_SEQ, "ipv6.src": INNER6,
         **PORTS},
        ["ip", "gre", "udp"],
        lambda s, i: ethernet(s) / ipv4(s) / s.GRE(chksum_present=1, key_present=1, seqnum_present=1, key=NUMBER(i),
                                                   sequence_number=GRE_SEQ(i)) /
        inner6(s, i) / s.UDP(sport=PORT(i), dport=9) / s.Raw(b"odd")),
    "gre-ethernet": (
        {**OUTER6, "ipv6.nxt": 47, "gre.proto": 0x6558, "ip.src": INNER4, "frame.len": 120},
        ["ip", "icmp"],
        lambda s, i: ethernet(s) / ipv6(s) / s.GRE(proto=0x6558) / ethernet(s) / inner4(s, i) / s.ICMP() /
        number(s, i) / s.Padding(bytes(16))),
    "gre-mpls": (
        {"gre.proto": 0x8847, "gre.sequence_number": GRE_SEQ, "mpls.label": inside(LABEL, 17), "mpls.exp": inside(0, 5),
         "mpls.bottom": inside(0, 1), "mpls.ttl": inside(64, LABEL_TTL), "ip.src": inside(HERE, INNER4),
         "tcp.srcport": PORT},
        ["ip", "gre", "ip", "tcp"],
        lambda s, i: ethernet(s) / ipv4(s) / s.GRE(chksum_present=1, seqnum_present=1, sequence_number=GRE_SEQ(i)) /
        s.MPLS(label=LABEL(i), s=0, ttl=64) / s.MPLS(label=17, cos=5, s=1, ttl=LABEL_TTL(i)) / inner4(s, i) / tcp(s, i)),
    "mpls": (
        {"vlan.etype": 0x8847, "mpls.label": LABEL, "mpls.exp": 5, "mpls.bottom": 1, "mpls.ttl": LABEL_TTL,
         "ipv6.src": INNER6, "ipv6.plen": 11, **PORTS},
        ["udp"],
        lambda s, i: ethernet(s) / s.Dot1Q(vlan=5) / s.MPLS(label=LABEL(i), cos=5, s=1, ttl=LABEL_TTL(i)) /
        inner6(s, i) / s.UDP(sport=PORT(i), dport=9) / s.Raw(bytes(3))),
    "mpls-pseudowire": (
        {"mpls.label": inside(LABEL, 18), "mpls.bottom": inside(0, 1), "pweth.cw.sequence_number": 0,
         "eth.src": inside(SOURCE, macs(0x020000000001, 65536)), "ip.src": INNER4, **PORTS},
        ["ip", "udp"],
        lambda s, i: ethernet(s) / s.MPLS(label=LABEL(i), s=0, ttl=64) / s.MPLS(label=18, s=1, ttl=64) /
        s.Raw(bytes(4)) / s.Ether(src=macs(0x020000000001, 65536)(i), dst=DESTINATION) / inner4(s, i) /
        s.UDP(sport=PORT(i), dport=9)),
    "mpls-udp": (
        {"udp.srcport": inside(count(0xc000, 0x4000), 7), "udp.dstport": inside(6635, 9), "mpls.label": LABEL, "mpls.bottom": 1,
         "ip.src": INNER4, **NUMBER_DATA},
        ["udp", "ip", "udp"],
        lambda s, i: ethernet(s) / ipv6(s) / s.UDP(sport=count(0xc000, 0x4000)(i), dport=6635) / s.MPLS(label=LABEL(i), s=1, ttl=64) /
        inner4(s, i) / s.UDP(sport=7, dport=9) / number(s, i)),
    "mpls-ipv4": (
        {"ip.proto": inside(137, 17), "mpls.label": LABEL, "ip.src": inside(HERE, INNER4), **PORTS},
        ["ip", "ip", "udp"],
        lambda s, i: ethernet(s) / s.IP(src=HERE, dst=THERE, id=0, flags="DF", proto=137) /
        s.MPLS(label=LABEL(i), s=1, ttl=64) / inner4(s, i) / s.UDP(sport=PORT(i), dport=9)),
    "gre-udp": (
        {"udp.dstport": inside(4754, 9), "gre.proto": 0x0800, "gre.sequence_number": GRE_SEQ,
         "ip.src": inside(HERE, INNER4), **NUMBER_DATA},
        ["ip", "udp", "gre", "ip", "udp"],
        lambda s, i: ethernet(s) / ipv4(s) / s.UDP(sport=0xc000, dport=4754) /
        s.GRE(chksum_present=1, seqnum_present=1, sequence_number=GRE_SEQ(i)) / inner4(s, i) /
        s.UDP(sport=PORT(i), dport=9) / number(s, i)),
    "gtp": (
        {"udp.dstport": inside(2152, 9), "gtp.flags": 0x30, "gtp.message": 0xff, "gtp.length": 32, "gtp.teid": NUMBER,
         "ip.src": inside(HERE, INNER4), **NUMBER_DATA},
        ["ip", "udp", "ip", "udp"],
        lambda s, i: ethernet(s) / ipv4(s) / s.UDP(sport=2152, dport=2152) / s.GTP_U_Header(teid=NUMBER(i)) /
        inner4(s, i) / s.UDP(sport=PORT(i), dport=9) / number(s, i)),
    "gtp-session": (
        {"gtp.flags": 0x36, "gtp.length": 68, "gtp.teid": NUMBER, "gtp.seq_number": PORT,
         "gtp.ext_hdr.pdu_ses_con.pdu_type": 1, "gtp.ext_hdr.pdu_ses_con.qos_flow_id": QFI,
         "ipv6.src": inside("2001:db8::1", INNER6), "tcp.srcport": PORT},
        ["udp", "tcp"],
        lambda s, i: ethernet(s) / ipv6(s) / s.UDP(sport=2152, dport=2152) /
        s.GTP_U_Header(teid=NUMBER(i), S=1, seq=PORT(i), E=1, next_ex=0x85) /
        s.GTPPDUSessionContainer(ExtHdrLen=1, type=1, QFI=QFI(i)) / inner6(s, i) / tcp(s, i)),
    "ip-in-ip": (
        {"ip.src": inside(HERE, INNER4, "10.2.0.1"), "ip.dst": inside(THERE, "10.1.0.2", INNER4),
         "ip.proto": inside(4, 41, 17), "ipv6.nxt": inside(41, 4), "ip.len": inside(148, 128, 28),
         "ipv6.plen": inside(68, 28), "ipv6.src": inside(INNER6, "2001:db8::4"), **PORTS},
        ["ip", "ip", "ip", "udp"],
        lambda s, i: ethernet(s) / ipv4(s) / inner4(s, i) / inner6(s, i) / s.IPv6(src="2001:db8::4", dst="2001:db8::5") /
        s.IP(src="10.2.0.1", dst=INNER4(i), id=0, flags="DF") / s.UDP(sport=PORT(i), dport=9)),
    "deep": (
        {"ip.src": inside(HERE, "10.2.0.1", "10.3.0.1", INNER4), "udp.dstport": inside(4789, 2152), "gtp.teid": 7,
         "tcp.srcport": PORT},
        ["ip", "udp", "ip", "gre", "ip", "udp", "ip", "tcp"],
        lambda s, i: ethernet(s) / ipv4(s) / s.UDP(sport=0xc000, dport=4789) / s.VXLAN(vni=7, flags=8) / ethernet(s) /
        s.IP(src="10.2.0.1", dst="10.2.0.2", id=0, flags="DF") /
        s.GRE(chksum_present=1, seqnum_present=1, sequence_number=GRE_SEQ(i)) /
        s.IP(src="10.3.0.1", dst="10.3.0.2", id=0, flags="DF") / s.UDP(sport=2152, dport=2152) / s.GTP_U_Header(teid=7) /
        inner4(s, i) / tcp(s, i) / number(s, i)),
    "hole": (
        {"ip.src": inside(HERE, "10.2.0.1"), "ip.dst": inside(THERE, lambda i: ["10.2.0.2", "10.3.0.3"][i % 2]),
         **{name: inside(outer, PORTS[name]) for name, outer in [("udp.srcport", 49152), ("udp.dstport", 4789)]},
         "data.data": lambda i: "000000" + f"{i * 0x9e3779b97f4a7c15 % (1 << 64):016x}"},
        ["ip", "udp", "ip", "udp"],
        lambda s, i: ethernet(s) / ipv4(s) / s.UDP(sport=0xc000, dport=4789) / s.VXLAN(vni=7, flags=8) / ethernet(s) /
        s.IP(src="10.2.0.1", dst=["10.2.0.2", "10.3.0.3"][i % 2], id=0, flags="DF") / s.UDP(sport=PORT(i), dport=9) /
        s.Raw(bytes(3) + (i * 0x9e3779b97f4a7c15 % (1 << 64)).to_bytes(8, "big"))),
}


def row(column):
    """What a table of 100,000 rows shows."""
    return lambda index: column(index % 100000)


ROW_SOURCE = row(lambda r: str(ipaddress.IPv4Address(0x0a000000 + r * 7919 % (1 << 24))))
ROW_DESTINATION = row(lambda r: str(ipaddress.IPv4Address(0x0b000000 + r)))
ROW_PORT, ROW_VLAN, ROW_LABEL = (row(lambda r: r * 31 % 65536), row(lambda r: r % 4094 + 1),
                                 row(lambda r: r * 11 % (1 << 20)))


def listed(index):
    return [53, 9, 65535, 9][index // 3 % 4]


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
    "table": (
        {"vlan.id": ROW_VLAN, "mpls.label": ROW_LABEL, "mpls.bottom": 1, "ip.src": ROW_SOURCE, "ip.dst": ROW_DESTINATION,
         "udp.srcport": ROW_PORT, "udp.dstport": listed},
        ["ip", "udp"],
        None), # as nothing but the library knows the order of the last number
    **TUNNELS,
}


def frames_of(path):
    """Index and bytes of each frame of a capture."""
    with open(path, "rb") as capture:
        capture.read(24)
        while header := capture.read(16):
            seconds, nanoseconds, size, _ = struct.unpack("<IIII", header)
            yield seconds * 1000000000 + nanoseconds, capture.read(size)


def at(value, index):
    """What a field shows, at each of its places."""
    places = value if isinstance(value, list) else [value]
    return [place(index) if callable(place) else place for place in places]


def as_shown(text, like):
    """A text of tshark, as a number where one is expected."""
    if not isinstance(like, int) or not text:
        return text
    return {"True": 1, "False": 0}[text] if text in ("True", "False") else int(text, 0)


def judged_by_tshark(path, fields, sums, failures, is_tunnel):
    """Fields and checksums of a capture, and whether tshark has a warning or an error about it."""
    statuses = sorted({name + ".checksum.status" for name in sums})
    names = list(fields) + statuses + ["_ws.malformed", "_ws.expert.severity", "_ws.expert.message"]
    command = ["tshark", "-n", "-r", path, "-T", "fields", "-E", "occurrence=a", "-E", "separator=/t", "-E", "aggregator=;"]
    decoded = ["udp.port==0-65535,data", "tcp.port==0-65535,data"] # no payload is taken for what uses its port
    if is_tunnel:
        decoded = ["udp.port==9,data", "tcp.port==9,data", "udp.port==4789,vxlan", "udp.port==2152,gtp", "udp.port==6635,mpls", "udp.port==4754,gre",
                    "mpls.label==18,pwethcw"]
        command += ["-o", "udp.ignore_ipv6_zero_checksum:TRUE"] # RFC 6935
    for protocol in decoded:
        command += ["-d", protocol]
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
            expected = at(value, index)
            found = [as_shown(text, expected[0]) for text in shown[name].split(";")]
            if found[:len(expected)] != expected or (isinstance(value, list) and len(found) != len(expected)):
                failures.append(f"{path}, index {index}: {name} is {found}, not {expected}")
            checked += len(expected)
        for name in statuses:
            good = [status in ("1", "Good") for status in shown[name].split(";") if status not in ("3", "Not present")]
            if good != [True] * sums.count(name.split(".")[0]):
                failures.append(f"{path}, index {index}: {name} is {shown[name]}")
            checked += len(good)
        severities = [int(number, 0) for number in shown["_ws.expert.severity"].split(";") if number]
        if shown["_ws.malformed"] or any(number >= 0x600000 for number in severities):
            failures.append(f"{path}, index {index}: {shown['_ws.expert.message']}")
    return len(lines), checked


def built_by_scapy(path, build, failures):
    import scapy.all as scapy  # which takes a second
    from scapy.contrib import gtp, mpls
    scapy.MPLS, scapy.GTP_U_Header, scapy.GTPPDUSessionContainer = (
        mpls.MPLS, gtp.GTP_U_Header, gtp.GTPPDUSessionContainer)
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
            result = judged_by_tshark(path, fields, sums, failures, name in TUNNELS)
        elif build:
            result = built_by_scapy(path, build, failures)
        else:
            result = (0, 0)
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
