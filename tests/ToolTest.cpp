#include "support/ToolChecks.h"

#include <Quantities.h>

#include <functional>

namespace zor::common::test {
namespace {

using tools::InputError;
using tools::PlacedError;
using tools::ReadLayers;
using tools::VaryField;

const CMacAddress kMac1(0x020000000001), kMac2(0x020000000002);
const CIpAddress kIp1(10, 0, 0, 1), kIp2(10, 0, 0, 2);
const CIpv6Address kHost1(0x20010db800000000, 1), kHost2(0x20010db800000000, 2);

FrameBuilder Start()
{
    FrameBuilder frame;
    frame.Ethernet(kMac1, kMac2);
    return frame;
}

TEST(ToolTest, LayersMakeTheFramesOfABuilder)
{
    struct Row {
        const char* text;
        std::function<void(FrameBuilder&)> add;
    };
    VlanOptions vlan;
    vlan.priority = 5;
    vlan.isDropEligible = true;
    vlan.tagType = 0x88a8;
    Ipv4Options ip;
    ip.ttl = Counting<int>(9, 3, -3);
    ip.isDontFragment = false;
    ip.id = 7u;
    TcpOptions tcp;
    tcp.flags = 0x12;
    tcp.seq = Counting<std::uint64_t>(1, 0, 1, 9);
    UdpOptions bare;
    bare.hasChecksum = false;
    GreOptions gre;
    gre.key = FrameNumber(5u);
    gre.hasChecksum = true;
    GtpUOptions gtp;
    gtp.qfi = FrameNumber(9u);
    IcmpOptions echo;
    echo.seq = Counting<int>(0, 5);
    ArpOptions arp;
    arp.operation = 2;
    const Row rows[] = {
        {"", [](FrameBuilder&) {}},
        {"/ vlan(100..103, priority=5, dei=yes, tpid=0x88a8)",
         [&](FrameBuilder& f) { f.Vlan(Counting<int>(100, 4), vlan); }},
        {"/ipv4(src=10.0.0.1..10.0.0.250,dst=192.168.0.1,ttl=9..3+3,df=no,id=7)/udp(sport=53|123|443,dport=53)",
         [&](FrameBuilder& f) {
             f.Ipv4(Counting(kIp1, 250), CIpAddress(192, 168, 0, 1), ip).Udp(OneOf<int>({53, 123, 443}), 53u);
         }},
        {"/ ipv4(src=10.0.0.0/22~42, dst=10.0.0.9..10.0.0.1) / tcp(flags=syn+ack, seq=1..*10)",
         [&](FrameBuilder& f) {
             f.Ipv4(Shuffled(Counting(CIpAddress(10, 0, 0, 0), 1024), 42), Counting(CIpAddress(10, 0, 0, 9), 9, -1))
                 .Tcp(49152u, 80u, tcp);
         }},
        {"/ ipv6(src=2001:db8::/127, hop=3) / icmpv6(seq=0..4)",
         [&](FrameBuilder& f) {
             Ipv6Options options;
             options.hopLimit = 3u;
             f.Ipv6(Counting(CIpv6Address(0x20010db800000000, 0), 2), kHost2, options).Icmpv6(128, echo);
         }},
        {"/ ipv4 / icmp(0)", [](FrameBuilder& f) { f.Ipv4(kIp1, kIp2).Icmp(0); }},
        {"/ ipv4 / gre(key=5, checksum=on) / mpls(16..20) / bytes(00 ff:01) / bytes(text=\"a, b)\")",
         [&](FrameBuilder& f) {
             f.Ipv4(kIp1, kIp2)
                 .Gre(gre)
                 .Mpls(Counting<int>(16, 5))
                 .Bytes(std::string_view("\0\xff\x01", 3))
                 .Bytes("a, b)");
         }},
        {"/ ipv4 / udp(checksum=0) / vxlan(7) / eth / ipv4 / udp(dport=1)",
         [&](FrameBuilder& f) {
             f.Ipv4(kIp1, kIp2).Udp(49152u, bare).Vxlan(7u).Ethernet(kMac1, kMac2).Ipv4(kIp1, kIp2).Udp(49152u, 1u);
         }},
        {"/ ipv4 / udp / gtp(teid=1..2, qfi=9) / ipv6",
         [&](FrameBuilder& f) { f.Ipv4(kIp1, kIp2).Udp(49152u).GtpU(Counting<int>(1, 2), gtp).Ipv6(kHost1, kHost2); }},
        {"/ arp(spa=10.0.0.1|10.9.0.1*2, op=2)",
         [&](FrameBuilder& f) {
             f.Arp(kMac1, OneOf({kIp1, CIpAddress(10, 9, 0, 1)}, 1), kIp2, arp);
         }},
        {"/ number / number(8, value=5..6) / fill(3, byte=0xaa) / pattern(5) / prbs31(6) / hole(stamp, 4) / pad(90)",
         [](FrameBuilder& f) {
             f.Number(Counting<std::uint32_t>(0, 0)).Number(Counting<int>(5, 2), 8).Fill(3, 0xaa).Pattern(5);
             f.Pattern(6, FramePattern::Prbs31).Hole("stamp", 4).PadTo(90);
         }},
        {"/ vlan(1..4) / ipv4(src=10.0.0.1..10.0.0.4) / cross(ipv4.src, vlan.id)",
         [](FrameBuilder& f) {
             f.Vlan(Counting<int>(1, 4)).Ipv4(Counting(kIp1, 4), kIp2).Cross({"ipv4.src", "vlan.id"});
         }},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        FrameBuilder expected = Start();
        row.add(expected);
        const FrameBuilder frame = ReadLayers(std::string("eth ") + row.text);
        EXPECT_EQ(frame.Compile(), expected.Compile());
        EXPECT_EQ(frame.GetFlowCount(), expected.GetFlowCount());
    }
}

TEST(ToolTest, LayersTakeEachOption)
{
    const CMacAddress mac(0x02aabbccddee);
    EthernetOptions eth;
    VlanOptions vlan;
    GreOptions gre;
    eth.etherType = vlan.etherType = gre.protocolType = 0x6003;
    gre.seq = Counting<int>(1, 3);
    ArpOptions arp;
    arp.targetMac = mac;
    Ipv4Options ip;
    ip.dscp = Counting<int>(10, 3);
    ip.ecn = 1;
    ip.isMoreFragments = true;
    ip.fragmentOffset = 8191;
    ip.protocol = 50;
    Ipv6Options ip6;
    ip6.flowLabel = Counting<int>(5, 2);
    ip6.dscp = 63;
    ip6.ecn = 3;
    ip6.nextHeader = 59;
    TcpOptions tcp;
    tcp.ack = Counting<int>(3, 2);
    tcp.window = 9u;
    tcp.urgentPointer = 65535;
    IcmpOptions icmp;
    icmp.code = 255;
    icmp.id = Counting<int>(2, 4);
    MplsOptions mpls;
    mpls.trafficClass = 7;
    mpls.ttl = Counting<int>(7, 2);
    mpls.hasControlWord = true;
    GtpUOptions gtp;
    gtp.seq = FrameNumber(3u);
    gtp.qfi = FrameNumber(2u);
    gtp.isUplink = true;
    const struct {
        const char* text;
        FrameBuilder expected;
    } rows[] = {
        {"eth(src=02:aa:bb:cc:dd:ee, dst=02:aa:bb:cc:dd:ee, type=0x6003)", FrameBuilder().Ethernet(mac, mac, eth)},
        {"eth / vlan(type=0x6003)", Start().Vlan(1u, vlan)},
        {"eth / arp", Start().Arp(kMac1, kIp1, kIp2)},
        {"eth / arp(sha=02:aa:bb:cc:dd:ee, tpa=10.0.0.1, tha=02:aa:bb:cc:dd:ee)", Start().Arp(mac, kIp1, kIp1, arp)},
        {"eth / ipv4(dscp=10..12, ecn=1, mf=on, offset=8191, proto=50)", Start().Ipv4(kIp1, kIp2, ip)},
        {"eth / ipv6(flow=5..6, dscp=63, ecn=3, proto=59)", Start().Ipv6(kHost1, kHost2, ip6)},
        {"eth / ipv4 / tcp(ack=3..4, window=9, urgent=65535)", Start().Ipv4(kIp1, kIp2).Tcp(49152u, 80u, tcp)},
        {"eth / ipv4 / icmp(code=255, id=2..5)", Start().Ipv4(kIp1, kIp2).Icmp(8, icmp)},
        {"eth / mpls(tc=7, ttl=7..8, cw=on) / eth", Start().Mpls(16u, mpls).Ethernet(kMac1, kMac2)},
        {"eth / ipv4 / gre(seq=1..3, type=0x6003)", Start().Ipv4(kIp1, kIp2).Gre(gre)},
        {"eth / ipv4 / udp / gtp(seq=3, qfi=2, uplink=on)", Start().Ipv4(kIp1, kIp2).Udp(49152u).GtpU(1u, gtp)},
        {"eth / hole(a) / fill(2)", Start().Hole("a", 8).Fill(2, 0)},
    };
    for (const auto& row : rows) EXPECT_EQ(ReadLayers(row.text).Compile(), row.expected.Compile()) << row.text;

    for (const char* text :
         {"eth(type=65536)", "eth / vlan(priority=8)", "eth / vlan(tpid=65536)", "eth / vlan(type=65536)",
          "eth / arp(op=65536)", "eth / ipv4(ecn=4)", "eth / ipv4(offset=8192)", "eth / ipv4(proto=256)",
          "eth / ipv6(dscp=64)", "eth / ipv6(ecn=4)", "eth / ipv6(proto=256)", "eth / ipv4 / tcp(urgent=65536)",
          "eth / ipv4 / icmp(256)", "eth / ipv4 / icmp(code=256)", "eth / mpls(tc=8)", "eth / ipv4 / gre(type=65536)",
          "eth / fill(1, byte=256)"}) {
        try {
            ReadLayers(text);
            ADD_FAILURE() << text;
        } catch (const PlacedError& error) {
            EXPECT_NE(std::string(error.what()).find("must be a number from 0 to "), std::string::npos) << error.what();
        }
    }
}

TEST(ToolTest, VariesFieldsAndBytes)
{
    FrameBuilder fields = Start().Ipv4(kIp1, kIp2), bytes = fields;
    VaryField(fields, " ipv4.dst = 10.0.0.5..10.0.0.7 ");
    EXPECT_EQ(fields.Compile(), Start().Ipv4(kIp1, Counting(CIpAddress(10, 0, 0, 5), 3)).Compile());
    VaryField(bytes, "26:4=10.0.0.5..10.0.0.7");
    EXPECT_EQ(bytes.Compile(), Start().Ipv4(Counting(CIpAddress(10, 0, 0, 5), 3), kIp2).Compile());
    for (const char* text : {"ipv4.dst", "=1", "ipv4.dst=", "ipv4.dst=x", "ipv4.dst=::1", "udp.sport=1", "26:40=1"}) {
        EXPECT_THROW(VaryField(fields, text), InputError) << text;
    }
    EXPECT_EQ(fields.Compile(), Start().Ipv4(kIp1, Counting(CIpAddress(10, 0, 0, 5), 3)).Compile());
}

TEST(ToolTest, LayersSayWhereAMistakeIs)
{
    struct Row {
        const char *text, *carets, *message;
    };
    const Row rows[] = {
        {"eth / ip", "      ^^", "there is no layer \"ip\""},
        {"eth / ipv4(src=10.0.0.1..x)", "           ^^^^^^^^^^^^^^^", "does not end a range"},
        {"eth / ipv4(src=1.2.3)", "           ^^^^^^^^^", "src must be an address"},
        {"eth / vlan(id=1, id=2)", "                 ^^^^", "id is given twice"},
        {"eth / vlan(4096)", "      ^^^^^^^^^^", "4096"},
        {"eth(src=02:00:00:00:00:01", "                         ^", "not closed"},
        {"eth(src=)", "        ^", "a value must stand here"},
        {"eth ipv4", "    ^", "a / must stand"},
        {"eth /", "     ^", "a layer"},
        {"eth / ipv4 / udp(sport=1..9+0)", "                 ^^^^^^^^^^^^", "a step must be"},
        {"eth / ipv4 / udp(sport=5~1)", "                 ^^^^^^^^^", "constant"},
        {"eth / ipv4 / udp(sport=1|x)", "                 ^^^^^^^^^", "cannot stand in the list"},
        {"eth / ipv6(src=::..ffff::)", "           ^^^^^^^^^^^^^^", "2^64 values and more"},
        {"eth / ipv4 / tcp(flags=syn+hmm)", "                 ^^^^^^^^^^^^^", "flags must be"},
        {"eth / ipv4(df=maybe)", "           ^^^^^^^^", "df must be yes or no"},
        {"eth / number(9)", "             ^", "size must be a number from 0 to 8"},
        {"eth / bytes(\"", "            ^", "quotation mark"},
        {"eth / cross(udp.sport)", "      ^^^^^^^^^^^^^^^^", "udp.sport"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        try {
            ReadLayers(row.text);
            ADD_FAILURE() << "is no mistake";
        } catch (const PlacedError& error) {
            EXPECT_EQ(error.Show(), std::string("  ") + row.text + "\n  " + row.carets + "\n");
            EXPECT_NE(std::string(error.what()).find(row.message), std::string::npos) << error.what();
        }
    }
    Random random(71);
    for (int i = 0; i < 3000 && !HasFatalFailure(); ++i) CheckLayers(random);
}

TEST(ToolTest, Quantities)
{
    const auto duration = [](const char* text) { return tools::ReadDuration("--gap", text); };
    const auto time = [](const char* text) { return tools::ReadTime("--start", text); };
    EXPECT_EQ(duration("0"), 0u);
    EXPECT_EQ(duration("1us"), 1000u);
    EXPECT_EQ(duration("1.5ms"), 1500000u);
    EXPECT_EQ(duration("0.000000001s"), 1u);
    EXPECT_EQ(duration("1.5h"), 5400000000000u);
    EXPECT_EQ(duration("213503d"), 18446659200000000000u);
    EXPECT_EQ(time("1.000000001"), 1000000001u);
    EXPECT_EQ(time("1970-01-02T00:00:00"), 86400000000000u);
    EXPECT_EQ(time("2024-02-29T23:59:59.25Z"), 1709251199250000000u);
    EXPECT_EQ(tools::ReadNumber("--count", "12M"), 12000000u);
    EXPECT_EQ(tools::ReadNumber("--count", "18446744073709551615"), ~std::uint64_t{0});
    for (const char* const bad : {"", "1", "-1s", "1x", "1.s", "0.1ns", "0.0001us", "213504d", "1e3s", "1 s"}) {
        EXPECT_THROW(duration(bad), InputError) << bad;
    }
    for (const char* const bad :
         {"", "x", "2023-02-29T00:00:00", "2024-01-01", "2024-01-01T24:00:00", "1969-01-01T00:00:00",
          "2024-01-01T00:60:00", "2024-01-01T00:00:60", "18446744074", "1.0000000001"}) {
        EXPECT_THROW(time(bad), InputError) << bad;
    }
    EXPECT_DOUBLE_EQ(tools::ReadRate("--rate", "14.88Mpps").number, 14880000);
    EXPECT_DOUBLE_EQ(tools::ReadRate("--rate", "100G").number, 1e11);
    for (const char* const bad : {"", "0", "G", "100g", "1Gx", "-1"}) {
        EXPECT_THROW(tools::ReadRate("--rate", bad), InputError) << bad;
    }
}

TEST(ToolTest, RecipesComeBack)
{
    Random random(72);
    for (int i = 0; i < 2000 && !HasFatalFailure(); ++i) CheckRecipe(random);
}

} // namespace
} // namespace zor::common::test
