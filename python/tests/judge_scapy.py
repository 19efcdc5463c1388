"""Scapy takes rendered frames apart, and packets that it builds are found again."""

import pytest
from scapy.layers.inet import ICMP, IP, TCP, UDP
from scapy.layers.inet6 import IPv6
from scapy.layers.l2 import Dot1Q, Ether
from scapy.packet import Raw

from zor_common import Template


def test_scapy_dissects_rendered_frames():
    template = Template.frame(
        "eth(src=02:00:00:00:00:01..02:00:00:00:00:0a) / vlan(100..103) / ipv4(src=10.0.0.1..10.0.0.250, dst=192.168.0.1)"
        " / udp(sport=1024..65535, dport=53) / number(4)"
    )
    for k in (0, 1, 249, 250, 10**6):
        packet = Ether(template[k])
        assert packet.src == f"02:00:00:00:00:{k % 10 + 1:02x}" and packet[Dot1Q].vlan == 100 + k % 4
        assert packet[IP].src == f"10.0.0.{k % 250 + 1}" and packet[UDP].sport == 1024 + k % 64512
        assert bytes(packet[Raw]) == k.to_bytes(4, "big")
        rebuilt = packet.copy()
        for layer, field in ((IP, "len"), (IP, "chksum"), (UDP, "len"), (UDP, "chksum")):
            delattr(rebuilt[layer], field)
        assert bytes(rebuilt) == template[k]  # so lengths and checksums are right


@pytest.mark.parametrize(
    "packet",
    [
        Ether() / IP(src="10.0.0.1", dst="10.0.0.2") / TCP(sport=1, dport=2, flags="SA") / b"payload",
        Ether() / Dot1Q(vlan=7) / IPv6(src="2001:db8::1", dst="2001:db8::2") / UDP(sport=5, dport=6) / b"odd",
        Ether() / IP(dst="10.9.8.7") / ICMP(id=3, seq=4) / bytes(50),
    ],
    ids=["tcp", "ipv6", "icmp"],
)
def test_packets_of_scapy_are_varied(packet):
    packet = Ether(bytes(packet))
    template = Template.from_packet(packet)
    assert template[0] == bytes(packet) and template.index(packet) == 0
    varied = template.vary("eth.src", "02:00:00:00:00:00..02:00:00:00:00:ff")
    packet.src = "02:00:00:00:00:7f"
    assert varied.index(packet) == 127
    layer, name = (IPv6, "ipv6.src") if IPv6 in packet else (IP, "ipv4.src")
    first, found = ("fd00::", "fd00::99") if layer is IPv6 else ("10.1.0.0", "10.1.0.153")
    counted = template.vary(name, first + ("/112" if layer is IPv6 else "/16"))
    for k in (0, 153):
        other = Ether(counted[k])
        assert other[layer].src == (found if k else first)
        if layer is IP:
            del other[IP].chksum
        for transport in (TCP, UDP, ICMP):
            if transport in other:
                del other[transport].chksum
        assert bytes(other) == counted[k] and counted.index(other) == k
