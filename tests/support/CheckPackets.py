"""Has packets that others make taken apart and compiled again, which has to give the same bytes.

    CheckPackets.py scapy|trafgen|libtins <FrameProgram> <scratch directory> <trafgen's packets> [TinsProgram]

Checksums that are wrong are the exception: Scapy says what they should be.
"""

import os
import random
import shutil
import struct
import subprocess
import sys


def frames_of(path):
    with open(path, "rb") as capture:
        capture.read(24)
        while header := capture.read(16):
            yield capture.read(struct.unpack("<IIII", header)[2])


def write(path, frames):
    with open(path, "wb") as capture:
        capture.write(struct.pack("<IHHiIII", 0xa1b2c3d4, 2, 4, 0, 0, 262144, 1))
        for frame in frames:
            capture.write(struct.pack("<IIII", 0, 0, len(frame), len(frame)) + frame)


def scapy_packets():
    """Pairs of a packet and of what it becomes, which is the same unless a checksum is wrong."""
    import scapy.all as s
    from scapy.contrib import gtp, mpls
    random.seed(16)
    udp, tcp = s.UDP(sport=49152, dport=9), s.TCP(sport=1, dport=2, flags="S")
    ip, ip6 = s.IP(src="10.0.0.1", dst="10.0.0.2"), s.IPv6(src="2001:db8::1", dst="2001:db8::2")
    link = s.Ether(src="02:00:00:00:00:01", dst="02:00:00:00:00:fe")
    data = s.Raw(b"payload that is odd")
    vxlan = s.UDP(sport=49152, dport=4789) / s.VXLAN(vni=7, flags=8)
    gtpu = s.UDP(sport=2152, dport=2152) / gtp.GTP_U_Header(teid=9)
    segments = s.IPv6ExtHdrRouting(type=4, segleft=1, addresses=["2001:db8::7"])
    route = ip.copy()
    route.options = [s.IPOption_LSRR(routers=["1.2.3.4", "5.6.7.8"])]
    stamped = ip.copy()
    stamped.options = [s.IPOption_Timestamp(), s.IPOption_RR(routers=["0.0.0.0"]), s.IPOption_NOP()]
    packets = [link / p for p in [
        ip / udp / data, ip6 / udp / data, stamped / udp / data, route / udp / data, route / tcp,
        ip / s.TCP(sport=1, dport=2, options=[("MSS", 1460), ("SAckOK", b""), ("Timestamp", (1, 2)), ("WScale", 7)]) / data,
        ip / s.ICMP() / data, ip / s.ICMP(type=3, code=1) / ip / udp, ip6 / s.ICMPv6DestUnreach() / ip6 / udp,
        ip6 / s.ICMPv6ND_NS(tgt="fe80::1") / s.ICMPv6NDOptSrcLLAddr(lladdr="02:00:00:00:00:01"),
        ip6 / s.IPv6ExtHdrHopByHop(options=s.RouterAlert()) / s.ICMPv6MLReport2(),
        ip6 / s.IPv6ExtHdrHopByHop() / s.IPv6ExtHdrDestOpt() / tcp / data, ip6 / segments / udp / data,
        ip6 / s.IPv6ExtHdrFragment(m=1) / udp / data, ip6 / s.IPv6ExtHdrRouting(segleft=0) / s.IPv6(src="::1") / udp,
        ip / s.UDP(sport=1, dport=2, chksum=0) / data, ip6 / s.UDP(sport=1, dport=2, chksum=0) / data,
        s.IP(flags="MF", src="10.0.0.1", dst="10.0.0.2") / udp / data, s.IP(frag=9, src="10.0.0.1", dst="1.1.1.1") / data,
        ip / udp / data / s.Padding(b"trailer"), ip6 / tcp / s.Padding(bytes(6)), s.ARP() / s.Padding(bytes(18)),
        s.ARP(hwlen=8), s.LLC() / s.STP(), s.Dot1Q(vlan=4) / s.Dot1AD(vlan=5) / ip / tcp, s.Dot1Q(vlan=4) / s.ARP(),
        ip / s.UDP(sport=1, dport=2, len=99) / data,
        s.IP(len=0, src="10.0.0.1", dst="10.0.0.2") / tcp, s.IPv6(plen=0) / tcp / data, s.IP(proto=132) / data,
        ip / vxlan / link / ip / udp / data / s.Padding(b"pads the inner frame"), ip6 / vxlan / link / s.ARP(),
        ip / s.UDP(dport=4789) / data, ip / gtpu / ip / tcp / data, ip6 / gtpu / ip6 / udp, ip / gtpu / data,
        ip / s.UDP(dport=2152) / gtp.GTP_U_Header(E=1, next_ex=0x85) / gtp.GTPPDUSessionContainer(QFI=5) / ip / tcp,
        ip / s.UDP(dport=2152) / gtp.GTP_U_Header(gtp_type=1), ip / s.GRE() / ip / udp, ip6 / s.GRE() / ip6 / tcp,
        ip / s.GRE(chksum_present=1, key_present=1, seqnum_present=1) / ip / udp / data, ip / s.GRE(version=1) / data,
        ip / s.GRE(proto=0x6558) / link / ip / tcp, ip / s.GRE(proto=0x88be) / data, ip / ip / ip6 / ip / udp / data,
        mpls.MPLS(label=5, s=0) / mpls.MPLS(label=6, s=1) / ip / tcp, mpls.MPLS(s=1) / link / ip / udp,
        mpls.MPLS(s=1) / s.Raw(bytes(4)) / link / ip / udp, mpls.MPLS(s=0) / data, mpls.MPLS(s=1) / data,
        s.IP(version=5) / udp, s.IP(ihl=4) / udp, ip / s.TCP(dataofs=4) / data, ip / s.TCP(dataofs=15) / data]]
    for _ in range(300): # all other fields drawn
        packets.append(link / s.fuzz(s.IP(src="10.0.0.1", dst="1.2.3.4", version=4, ihl=5, len=None, frag=0, flags=0, options=[])) /
                       s.fuzz(random.choice([s.UDP(len=None), s.TCP(dataofs=None, options=[]), s.ICMP()])) / data)
    whole = [s.raw(packet) for packet in packets]
    pairs = [(frame, frame) for frame in whole]
    for layers in [ip / udp, ip / tcp / data, ip6 / udp / data, ip6 / tcp, ip / s.ICMP(), ip / s.GRE(chksum_present=1) / ip / udp,
                   ip / gtpu / ip / tcp / data]:
        right = s.raw(link / layers)
        wrong = link / s.Ether(right).payload.copy()
        layer = wrong
        while layer:
            if hasattr(layer, "chksum") and layer.chksum is not None:
                layer.chksum = (layer.chksum + 0x1234) % 0xffff + 1
            layer = layer.payload
        pairs.append((s.raw(wrong), right))
    # What is left of a packet that was cut is its own bytes: none of its checksums but that of IP can be known.
    pairs += [(frame[:size], frame[:size]) for frame in whole[:60] for size in range(0, len(frame), 7)]
    return pairs


def main(judge, program, directory, trafgen_packets, tins=None):
    os.makedirs(directory, exist_ok=True)
    taken, result = os.path.join(directory, "taken.pcap"), os.path.join(directory, "result.pcap")
    if judge == "scapy":
        if subprocess.run([sys.executable, "-c", "import scapy"], capture_output=True, check=False).returncode:
            return print("Scapy is not installed")
        pairs = scapy_packets()
        write(taken, [frame for frame, _ in pairs])
        expected = [frame for _, frame in pairs]
    else:
        if judge == "trafgen":
            trafgen = shutil.which("trafgen", path=os.environ["PATH"] + ":/usr/sbin")
            if not trafgen:
                return print("trafgen is not installed")
            if os.path.exists(taken):
                os.remove(taken)
            # Which ends with a complaint of its own when all is written.
            subprocess.run([trafgen, "-c", trafgen_packets, "-o", taken, "-n", "800", "-P", "1"], check=False,
                           capture_output=True)
        else:
            if not tins:
                return print("libtins is not installed")
            subprocess.run([tins, taken], check=True)
        expected = list(frames_of(taken))
    subprocess.run([program, taken, result], check=True)
    found = list(frames_of(result))
    failures = [f"  {before.hex()} becomes\n  {after.hex()}" for before, after in zip(expected, found) if before != after]
    if len(found) != len(expected) or not found:
        failures.append(f"{len(found)} frames of {len(expected)}")
    print(f"{judge}: {len(found)} packets, {sum(map(len, found))} bytes")
    if failures:
        sys.exit("\n".join(failures[:5] + [f"{len(failures)} differences"]))
    return None


if __name__ == "__main__":
    main(*sys.argv[1:])
