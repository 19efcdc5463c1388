// Writes a capture file of each stack of layers, for judges that know the protocols: FrameProgram <directory>. The frames
// are those of indexes where counters start, carry and wrap; their times are the indexes, in nanoseconds.
//
// FrameProgram <capture> <capture> takes the frames of the first file apart and writes what they compile to.

#include <common/AddressLiterals.h>
#include <common/FrameBuilder.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

using namespace zor::common;
using namespace zor::common::literals;

namespace {

const auto kSource = "02:00:00:00:00:01"_mac;
const auto kDestination = "02:00:00:00:00:fe"_mac;

void Append32(std::string& out, std::uint64_t number)
{
    for (int shift = 0; shift < 32; shift += 8) out += static_cast<char>(number >> shift);
}

std::vector<std::uint64_t> Indexes()
{
    std::vector<std::uint64_t> indexes;
    for (std::uint64_t i = 0; i < 300; ++i) indexes.push_back(i);
    for (const int power : {12, 16, 20, 24, 32, 40, 48, 56, 60}) {
        for (std::uint64_t i = 0; i < 8; ++i) indexes.push_back((std::uint64_t{1} << power) - 4 + i);
    }
    return indexes;
}

template <class Finish>
void Write(const std::string& path, const CompiledTemplate& packets, Finish finish)
{
    constexpr std::uint64_t kNanoseconds = 1000000000;
    std::string file;
    for (const std::uint64_t number : {0xa1b23c4dul, 0x00040002ul, 0ul, 0ul, 262144ul, 1ul}) Append32(file, number);
    std::string frame;
    for (const std::uint64_t index : Indexes()) {
        packets.GetValueAt(index, frame);
        finish(index, reinterpret_cast<unsigned char*>(frame.data()));
        Append32(file, index / kNanoseconds);
        Append32(file, index % kNanoseconds);
        Append32(file, frame.size());
        Append32(file, frame.size());
        file += frame;
    }
    std::ofstream(path, std::ios::binary) << file;
}

void Write(const std::string& path, const CompiledTemplate& packets)
{
    Write(path, packets, [](std::uint64_t, unsigned char*) {});
}

/// The checksums of what the builder has no layer for are found in the first frame.
CompiledTemplate WithChecksums(const std::string& text)
{
    const Wildcards source(text, "@");
    std::string first;
    CompiledTemplate(source).GetValueAt(0, first);
    return CompiledTemplate(source, FindChecksums(reinterpret_cast<const unsigned char*>(first.data()), first.size()));
}

FrameBuilder Ethernet()
{
    return FrameBuilder().Ethernet(kSource, kDestination);
}

FrameBuilder Ethernet4()
{
    return Ethernet().Ipv4("10.0.0.1"_ip4, "10.0.0.2"_ip4);
}

FrameBuilder Ethernet6()
{
    return Ethernet().Ipv6("2001:db8::1"_ip6, "2001:db8::2"_ip6);
}

/// Each tunnel, with something that counts inside and outside of it.
void WriteTunnels(const std::function<void(const char*, const FrameBuilder&)>& write)
{
    const UdpOptions unsummed{false};
    const FrameNumber port = Counting<int>(0xfff0, 0);
    const FrameNumber number = Counting<std::uint32_t>(0xfffffff0, 0);
    const auto inner = Counting("10.1.0.250"_ip4, 0);
    const auto inner6 = Counting("2001:db8::1:ffff:fff0"_ip6, 0);
    write("vxlan", Ethernet4()
                       .Udp(Counting<int>(0xc000, 0x4000), unsummed)
                       .Vxlan(Counting<int>(0xfffff0, 0))
                       .Ethernet(Counting(kSource, 65536), kDestination)
                       .Vlan(Counting<int>(1, 4094))
                       .Ipv4(inner, "10.1.0.2"_ip4)
                       .Udp(port, 9)
                       .Number(number));
    write("vxlan-ipv6", Ethernet6()
                            .Udp(0xc000, 4789, unsummed)
                            .Vxlan(7)
                            .Ethernet(kSource, kDestination)
                            .Ipv6(inner6, "2001:db8::3"_ip6)
                            .Tcp(port, 9)
                            .PadTo(150));
    write("vxlan-arp",
          Ethernet4().Udp(0xc000).Vxlan(7).Ethernet(kSource, kDestination).Arp(kSource, inner, "10.1.0.2"_ip4));
    GreOptions gre;
    gre.key = number;
    gre.seq = Counting<int>(0, 0, 1, 1);
    gre.hasChecksum = true;
    write("gre", Ethernet4().Gre(gre).Ipv6(inner6, "2001:db8::3"_ip6).Udp(port, 9).Bytes("odd"));
    write(
        "gre-ethernet",
        Ethernet6().Gre().Ethernet(kSource, kDestination).Ipv4(inner, "10.1.0.2"_ip4).Icmp().Number(number).PadTo(120));
    gre.key.reset();
    MplsOptions label;
    label.trafficClass = 5;
    label.ttl = Counting<int>(250, 0);
    const FrameNumber labels = Counting<int>(16, 65535, 16);
    write("gre-mpls", Ethernet4().Gre(gre).Mpls(labels).Mpls(17, label).Ipv4(inner, "10.1.0.2"_ip4).Tcp(port, 9));
    write("mpls", Ethernet().Vlan(5).Mpls(labels, label).Ipv6(inner6, "2001:db8::3"_ip6).Udp(port, 9).Fill(3));
    MplsOptions control;
    control.hasControlWord = true;
    write("mpls-pseudowire", Ethernet()
                                 .Mpls(labels)
                                 .Mpls(18, control)
                                 .Ethernet(Counting(kSource, 65536), kDestination)
                                 .Ipv4(inner, "10.1.0.2"_ip4)
                                 .Udp(port, 9));
    write("mpls-udp", Ethernet6()
                          .Udp(Counting<int>(0xc000, 0x4000))
                          .Mpls(labels)
                          .Ipv4(inner, "10.1.0.2"_ip4)
                          .Udp(7, 9)
                          .Number(number));
    write("mpls-ipv4", Ethernet4().Mpls(labels).Ipv4(inner, "10.1.0.2"_ip4).Udp(port, 9));
    write("gre-udp", Ethernet4().Udp(0xc000).Gre(gre).Ipv4(inner, "10.1.0.2"_ip4).Udp(port, 9).Number(number));
    write("gtp", Ethernet4().Udp(2152).GtpU(number).Ipv4(inner, "10.1.0.2"_ip4).Udp(port, 9).Number(number));
    GtpUOptions session;
    session.seq = port;
    session.qfi = Counting<int>(0, 64);
    session.isUplink = true;
    write("gtp-session", Ethernet6().Udp(2152).GtpU(number, session).Ipv6(inner6, "2001:db8::3"_ip6).Tcp(port, 9));
    write("ip-in-ip", Ethernet4()
                          .Ipv4(inner, "10.1.0.2"_ip4)
                          .Ipv6(inner6, "2001:db8::3"_ip6)
                          .Ipv6("2001:db8::4"_ip6, "2001:db8::5"_ip6)
                          .Ipv4("10.2.0.1"_ip4, inner)
                          .Udp(port, 9));
    write("deep", Ethernet4()
                      .Udp(0xc000)
                      .Vxlan(7)
                      .Ethernet(kSource, kDestination)
                      .Ipv4("10.2.0.1"_ip4, "10.2.0.2"_ip4)
                      .Gre(gre)
                      .Ipv4("10.3.0.1"_ip4, "10.3.0.2"_ip4)
                      .Udp(2152)
                      .GtpU(7)
                      .Ipv4(inner, "10.1.0.2"_ip4)
                      .Tcp(port, 9)
                      .Number(number));
}

/// What no template has words for: lists, a table, another order, and bytes that are written late.
void WriteTables(const std::string& directory)
{
    std::vector<std::vector<FrameCell>> rows;
    for (std::uint32_t row = 0; row < 100000; ++row) {
        rows.push_back({CIpAddress(0x0a000000 + row * 7919 % 0x1000000), CIpAddress(0x0b000000 + row), row * 31 % 65536,
                        row % 4094 + 1, row * 11 % 1048576});
    }
    FrameBuilder frame = Ethernet()
                             .Vlan(1)
                             .Mpls(1)
                             .Ipv4("0.0.0.0"_ip4, "0.0.0.0"_ip4)
                             .Udp(0, OneOf<std::uint16_t>({53, 9, 65535, 9}, 2))
                             .Number(Shuffled(Counting<std::uint32_t>(0, 0), 7));
    frame.Rows({"ipv4.src", "ipv4.dst", "udp.sport", "vlan.id", "mpls.label"}, rows);
    Write(directory + "table.pcap", frame.Compile());

    frame = Ethernet4();
    frame.Udp(0xc000)
        .Vxlan(7)
        .Ethernet(kSource, kDestination)
        .Ipv4("10.2.0.1"_ip4, OneOf({"10.2.0.2"_ip4, "10.3.0.3"_ip4}));
    frame.Udp(Counting<int>(0xfff0, 0), 9).Fill(3).Hole("stamp", 8);
    const ByteSpan stamp = frame.GetSpan("stamp");
    const ChecksumField inner = frame.GetChecksums()[1]; // of UDP; the first one is of its IP header
    Write(directory + "hole.pcap", frame.Compile(), [&](std::uint64_t index, unsigned char* bytes) {
        unsigned char time[8];
        for (int i = 0; i < 8; ++i) time[i] = static_cast<unsigned char>(index * 0x9e3779b97f4a7c15 >> 8 * (7 - i));
        AdjustChecksum(inner, bytes, stamp.offset, time, stamp.size);
    });
}

int TakeApart(const std::string& from, const std::string& to)
{
    std::ifstream in(from, std::ios::binary);
    const std::string capture{std::istreambuf_iterator<char>(in), {}};
    std::string file = capture.substr(0, 24);
    for (std::size_t at = 24; at + 16 <= capture.size();) {
        std::uint32_t size = 0; // as this machine and all that write captures here have it
        std::memcpy(&size, capture.data() + at + 8, sizeof size);
        file += capture.substr(at, 16);
        at += 16;
        std::string frame;
        FrameBuilder::FromPacket(reinterpret_cast<const unsigned char*>(capture.data()) + at, size)
            .Compile()
            .GetValueAt(0, frame);
        file += frame;
        at += size;
    }
    std::ofstream(to, std::ios::binary) << file;
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 3) return TakeApart(argv[1], argv[2]);
    if (argc != 2) return 2;
    const std::string directory = std::string(argv[1]) + '/';
    const auto write = [&](const char* name, const FrameBuilder& frame) {
        Write(directory + name + ".pcap", frame.Compile());
    };
    write("udp", Ethernet()
                     .Vlan(Counting<std::uint16_t>(100, 4))
                     .Ipv4(Counting("10.0.0.1"_ip4, 250), "192.168.0.1"_ip4)
                     .Udp(Counting<std::uint16_t>(1024, 60000), 53)
                     .Number(Counting<std::uint32_t>(0, 0))
                     .PadTo(60)
                     .Cross({"udp.sport", "ipv4.src", "vlan.id"}));
    {
        VlanOptions outer, inner;
        outer.priority = 7;
        outer.tagType = 0x88a8;
        inner.priority = 2;
        inner.isDropEligible = true;
        Ipv4Options ip;
        ip.dscp = Counting<int>(0, 64);
        ip.ecn = 1;
        ip.id = Counting<int>(0xfff0, 0);
        ip.ttl = Counting<int>(3, 0, -1);
        ip.isDontFragment = false;
        TcpOptions tcp;
        tcp.seq = Counting<std::uint32_t>(0xffff0000, 0, 1460);
        tcp.ack = Counting<int>(1, 0, 1, 2);
        tcp.flags = 0x3a;
        tcp.window = Counting<int>(65535, 0, -3);
        tcp.urgentPointer = 9;
        write("qinq-tcp", FrameBuilder()
                              .Ethernet(Counting(kSource, 65536, 0x10000), Counting(kDestination, 7))
                              .Vlan(Counting<int>(4095, 4096, -1), outer)
                              .Vlan(Counting<int>(2, 2000, 2, 1), inner)
                              .Ipv4(Counting("10.0.0.250"_ip4, 0, 257), Counting("10.255.255.250"_ip4, 0), ip)
                              .Tcp(Counting<int>(65530, 0), Counting<int>(80, 5, 1000), tcp)
                              .Bytes("odd"));
    }
    ArpOptions answer;
    answer.operation = 2;
    answer.targetMac = Counting(kDestination, 0, -1);
    write("arp", Ethernet()
                     .Vlan(1)
                     .Arp(kSource, Counting("10.0.0.1"_ip4, 0), Counting("10.1.0.1"_ip4, 5, -2), answer)
                     .PadTo(64));
    {
        Ipv6Options ip;
        ip.flowLabel = Counting<int>(0xffff0, 16);
        ip.hopLimit = Counting<int>(250, 0);
        ip.dscp = 46;
        ip.ecn = 2;
        write("ipv6-udp", Ethernet()
                              .Ipv6(Counting("2001:db8::1"_ip6, 65536, CIpv6Address(1, 0)),
                                    Counting("2001:db8:0:ffff:ffff:ffff:ffff:fff0"_ip6, 0), ip)
                              .Udp(Counting<int>(5, 0, 3), 9)
                              .Number(Counting<std::uint64_t>(0xfffffe, 0), 3)
                              .Pattern(40));
    }
    write("ipv6-tcp", Ethernet().Ipv6("2001:db8::1"_ip6, Counting("::1"_ip6, 0, -2)).Tcp(Counting<int>(1, 9), 443));
    IcmpOptions echo;
    echo.id = Counting<int>(0xff00, 0);
    echo.seq = Counting<int>(0, 0, 1, 9);
    write("icmp", Ethernet().Ipv4("10.0.0.1"_ip4, "10.0.0.2"_ip4).Icmp(8, echo).Pattern(57, FramePattern::Prbs31));
    write("icmpv6", Ethernet().Ipv6("fe80::1"_ip6, Counting("fe80::2"_ip6, 0)).Icmpv6(129, echo).Fill(9, 0xa5));
    write("udp-unsummed", Ethernet().Ipv4("10.0.0.1"_ip4, "10.0.0.2"_ip4).Udp(Counting<int>(1, 0), 2, {false}).Fill(3));
    Ipv4Options fragment;
    fragment.isDontFragment = false;
    fragment.isMoreFragments = true;
    fragment.fragmentOffset = 1480 / 8;
    fragment.id = Counting<int>(1, 0);
    fragment.protocol = 17;
    write("fragment", Ethernet().Ipv4("10.0.0.1"_ip4, "10.0.0.2"_ip4, fragment).Fill(80, 0x40));
    write("no-protocol",
          Ethernet().Ipv4("10.0.0.1"_ip4, Counting("10.0.0.2"_ip4, 0, 65536)).Number(Counting<int>(0, 0)));
    write("no-header", Ethernet().Number(Counting<std::uint64_t>(0, 0, -1)).PadTo(60));

    WriteTunnels(write);
    WriteTables(directory);

    const std::string ethernet = "@h 0200000000fe 020000000001 ";
    // Options of IPv4: a router alert, no operation, and a route to be recorded. UDP, eight bytes.
    Write(directory + "ipv4-options.pcap",
          WithChecksums(ethernet + "0800 48 00 0030 @$(fff0,0,0001,big) 4000 40 11 0000 @$(0a0000f0,0,00000101,big)"
                                   "c0a80001 94040000 01 07 07 04 00000000"
                                   "@$(fff0,0,0001,big) 0035 0010 0000 @$(00000000,0,ffffffff,big) 00000000"));
    // Extension headers of IPv6: hop-by-hop options, a routing header that is used up, destination options. TCP.
    Write(directory + "ipv6-extensions.pcap",
          WithChecksums(ethernet + "86dd 60000000 003c 00 40 20010db8000000000000000000000001"
                                   "@$(20010db800000000fffffffffffffff0,0,00000000000000000000000000000001,big)"
                                   "2b00010400000000 3c02040000000000 20010db8000000000000000000000007 0600010400000000"
                                   "0400 0050 @$(fffffff0,0,00000001,big) 00000000 5010 2000 0000 0000"));
}
