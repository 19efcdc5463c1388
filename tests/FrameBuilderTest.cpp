#include "support/FrameChecks.h"

#include <functional>

using namespace std::string_literals;
using namespace zor::common;
using test::Random;
using test::ReadBig;
using test::ValueAt;

namespace {

const CMacAddress kSource(0x020000000001);
const CMacAddress kDestination(0x0200000000fe);
const CIpAddress kHere(10, 0, 0, 1);
const CIpAddress kThere(192, 168, 0, 1);

FrameBuilder UdpFrame()
{
    FrameBuilder frame;
    frame.Ethernet(kSource, kDestination)
        .Vlan(Counting<std::uint16_t>(100, 4))
        .Ipv4(Counting(kHere, 250), kThere)
        .Udp(Counting<std::uint16_t>(1024, 60000), 53)
        .Number(Counting<std::uint32_t>(0, 0))
        .PadTo(60);
    return frame;
}

TEST(FrameBuilder, CountsFieldsTogetherOrCrossed)
{
    FrameBuilder frame = UdpFrame();
    EXPECT_EQ(frame.GetFlowCount(), 60000u);
    frame.Cross({"udp.sport", "ipv4.src", "vlan.id"});
    EXPECT_EQ(frame.GetFlowCount(), 60000000u);
    const CompiledTemplate packets = frame.Compile();
    ASSERT_EQ(packets.GetMaxSize(), 60u);
    const std::string value = ValueAt(packets, 60000ull * 250 * 3 + 60000ull * 249 + 59999);
    EXPECT_EQ(ReadBig(value, 14, 2), 103u);
    EXPECT_EQ(ReadBig(value, 30, 4), 0x0a0000fau);
    EXPECT_EQ(ReadBig(value, 38, 2), 61023u);
    EXPECT_EQ(ReadBig(value, 46, 4), 59999999u);
    EXPECT_EQ(ValueAt(packets, 60000000).substr(14, 28), ValueAt(packets, 0).substr(14, 28));
}

/// What the judges see too, which do not always run.
TEST(FrameBuilder, WritesHeadersToTheByte)
{
    const CIpv6Address here(1, 0), there(0, 2);
    const auto behindUdp = [](auto add, std::size_t size) {
        FrameBuilder frame;
        frame.Ipv4(kHere, kThere).Udp(1, UdpOptions{false});
        add(frame);
        return ValueAt(frame.Compile(), 0).substr(22, size);
    };
    const auto inGtp = [&](const GtpUOptions& options, std::size_t size) {
        return behindUdp([&](auto& f) { f.GtpU(5, options).Ipv4(kHere, kThere); }, size);
    };
    EXPECT_EQ(behindUdp([](auto& f) { f.Vxlan(77).Ethernet(kSource, kDestination); }, 14),
              "\x12\xb5\0\x1e\0\0\x08\0\0\0\0\0\x4d\0"s);
    EXPECT_EQ(inGtp({}, 14), "\x08\x68\0\x24\0\0\x30\xff\0\x14\0\0\0\x05"s);
    EXPECT_EQ(inGtp({6, {}}, 18), "\x08\x68\0\x28\0\0\x32\xff\0\x18\0\0\0\x05\0\x06\0\0"s);
    EXPECT_EQ(inGtp({{}, 7}, 22), "\x08\x68\0\x2c\0\0\x34\xff\0\x1c\0\0\0\x05\0\0\0\x85\x01\0\x07\0"s);
    EXPECT_EQ(inGtp({6, 7, true}, 22), "\x08\x68\0\x2c\0\0\x36\xff\0\x1c\0\0\0\x05\0\x06\0\x85\x01\x10\x07\0"s);

    EXPECT_EQ(ValueAt(FrameBuilder().Ipv6(here, there, {9, 0xabcde, 1, 2}).Compile(), 0).substr(0, 8),
              "\x60\x6a\xbc\xde\0\0\xfd\x09"s);
    EXPECT_EQ(ValueAt(FrameBuilder().Ipv6(here, there, {9, 0, 63, 3}).Compile(), 0).substr(0, 4), "\x6f\xf0\0\0"s);
    const auto second = [&](CountingStep step) {
        return ValueAt(FrameBuilder().Ipv6(Counting(here, 9, step), there).Compile(), 1).substr(8, 16);
    };
    EXPECT_EQ(second(-1), std::string(8, '\0') + std::string(8, '\xff'));
    EXPECT_EQ(second(CIpv6Address(0x0123456789abcdef, 3)), "\x01\x23\x45\x67\x89\xab\xcd\xf0\0\0\0\0\0\0\0\x03"s);
}

TEST(FrameBuilder, CountsFlowsAsTheyAreShown)
{
    using Count = std::pair<std::uint64_t, std::uint64_t>; // and repeat
    const struct {
        std::vector<Count> fields;
        std::uint64_t flows;
    } rows[] = {
        {{}, 1},
        {{{0, 0}}, 65536},
        {{{70000, 3}}, 65536},
        {{{1, 9}, {7, 3}}, 7},
        {{{4, 0}, {6, 0}}, 12},
        {{{4, 5}, {6, 5}, {10, 5}}, 60},
        {{{4, 0}, {6, 3}, {5, 23}}, 120}, // an odometer
        {{{4, 0}, {6, 0}, {5, 23}}, 60},  // with two digits that move together
        {{{2, 2}, {5, 1}}, 10},           // out of step
        {{{100000, 0}, {3, 0}}, 0},       // out of step for too long
        {{{65536, 0}, {65536, 65535}, {65536, 0xffffffff}, {65536, 0xffffffffffff}}, 0}, // 2^64
        {{{65536, 0}, {65536, 65535}, {65536, 0xffffffff}, {65535, 0xffffffffffff}}, 0xffff000000000000},
    };
    for (const auto& row : rows) {
        FrameBuilder frame;
        frame.Ipv4(kHere, kThere);
        std::vector<Counting<std::uint16_t>> fields(4, {1, 1});
        for (std::size_t i = 0; i < row.fields.size(); ++i) {
            fields[i].count = row.fields[i].first;
            fields[i].repeat = row.fields[i].second;
        }
        TcpOptions options;
        options.seq = Counting<std::uint32_t>(fields[2].first, fields[2].count, 65536, fields[2].repeat);
        options.window = fields[3];
        frame.Tcp(fields[0], fields[1], options).Number(Counting<std::uint8_t>(0, 200));
        std::set<std::string> seen;
        const CompiledTemplate packets = frame.Compile();
        if (row.flows != 0 && row.flows < 1000) {
            for (std::uint64_t i = 0; i < 10000; ++i) seen.insert(ValueAt(packets, i).substr(20, 16));
            EXPECT_EQ(seen.size(), row.flows);
        }
        EXPECT_EQ(frame.GetFlowCount(), row.flows) << "row " << &row - rows;
    }
}

/// What cannot be: each call is refused with its text and leaves the builder as it was.
TEST(FrameBuilder, RefusesWhatCannotBe)
{
    FrameBuilder ethernet, ip, fragment, ip6, arp, full, padded, repeated, unsummed, pseudowire, tunnel, varied, tabled,
        endless, crossed;
    ethernet.Ethernet(kSource, kDestination);
    ip.Ipv4(kHere, kThere);
    Ipv4Options more;
    more.isMoreFragments = true;
    fragment.Ipv4(kHere, kThere, more);
    ip6.Ipv6(CIpv6Address(0, 1), CIpv6Address(0, 2));
    (arp = ethernet).Arp(kSource, kHere, kThere);
    (full = ip6).Udp(1, 2).Fill(65527);
    (padded = ethernet).PadTo(60);
    (unsummed = ip6).Udp(1, UdpOptions{false});
    (tunnel = unsummed).GtpU(1);
    MplsOptions control;
    control.hasControlWord = true;
    (pseudowire = ethernet).Mpls(16, control);
    (repeated = ip).Udp(Counting<int>(1, 2, 1, 1), Counting<int>(5, 0)).Number(Counting<std::uint64_t>(0, ~0ul, 2));
    const Counting<std::uint64_t> large(0, std::uint64_t{1} << 32);
    (endless = ip).Number(large).Number(large).Number(large);
    const ByteSpan bytes = {18, 2};
    (varied = repeated).Vary(bytes, Counting<int>(7, 3));
    (crossed = varied).Cross({"bytes@18"});
    const std::vector<std::vector<FrameCell>> ones = {{1}, {1}}, pairs = {{1, 1}};
    (tabled = ip).Rows({"ipv4.src", "ipv4.ttl"}, {{kHere, 1}, {kThere, 2}}).Hole("stamp", 3);
    Ipv4Options ecn, offset, dscp;
    ecn.ecn = 4;
    offset.fragmentOffset = 8192;
    dscp.dscp = Counting<int>(60, 5);
    Ipv6Options flow;
    flow.flowLabel = 1 << 20;
    VlanOptions priority;
    priority.priority = 8;
    const struct {
        FrameBuilder frame;
        std::function<void(FrameBuilder&)> call;
        const char* error;
    } rows[] = {
        {ethernet, [](auto& f) { f.Vlan(4096); }, "Vlan: id 4096 is above 4095"},
        {ethernet, [](auto& f) { f.Vlan(Counting<std::uint16_t>(4000, 97)); }, "Vlan: id counts past 4095"},
        {ethernet, [](auto& f) { f.Vlan(Counting<int>(9, 11, -1)); }, "Vlan: id counts past 0"},
        {ethernet, [](auto& f) { f.Vlan(Counting<int>(0, 0)); }, "Vlan: id counts past 4095"},
        {ethernet, [&](auto& f) { f.Vlan(1, priority); }, "Vlan: priority 8 is above 7"},
        {ethernet,
         [](auto& f) {
             f.Vlan(1, {0, false, 0});
         },
         "Vlan: has tagType 0, which is no tag"},
        {{}, [](auto& f) { f.Vlan(1); }, "Vlan: cannot be first; it must follow Ethernet or Vlan"},
        {ethernet, [](auto& f) { f.Udp(1, 2); }, "Udp: cannot follow Ethernet, only Ipv4 or Ipv6"},
        {ethernet, [](auto& f) { f.Ethernet(kSource, kSource); },
         "Ethernet: cannot follow Ethernet, only Mpls or Gre or Vxlan or GtpU"},
        {ip6, [](auto& f) { f.Icmp(); }, "Icmp: cannot follow Ipv6, only Ipv4"},
        {ip, [](auto& f) { f.Icmpv6(); }, "Icmpv6: cannot follow Ipv4, only Ipv6"},
        {arp, [](auto& f) { f.Bytes("x"); }, "Bytes: cannot follow Arp"},
        {padded, [](auto& f) { f.Number(1); }, "Number: cannot follow PadTo"},
        {fragment, [](auto& f) { f.Tcp(1, 2); },
         "Tcp: cannot follow a fragment of Ipv4, which carries a piece of a packet"},
        {unsummed, [](auto& f) { f.Bytes("x"); },
         "Bytes: cannot follow Udp without a checksum over Ipv6; only tunnels can"},
        {fragment, [](auto& f) { f.Gre(); },
         "Gre: cannot follow a fragment of Ipv4, which carries a piece of a packet"},
        {pseudowire, [](auto& f) { f.Ipv6(CIpv6Address(), CIpv6Address()); },
         "Ipv6: cannot follow the control word of Mpls; Ethernet or payload can"},
        {ip, [](auto& f) { f.Vxlan(1); }, "Vxlan: cannot follow Ipv4, only Udp"},
        {unsummed, [](auto& f) { f.Vxlan(1 << 24); }, "Vxlan: vni 16777216 is above 16777215"},
        {ethernet, [](auto& f) { f.Mpls(Counting<int>(1, 1 << 20)); }, "Mpls: label counts past 1048575"},
        {unsummed,
         [](auto& f) {
             f.GtpU(1, {{}, 64});
         },
         "GtpU: qfi 64 is above 63"},
        {ethernet,
         [](auto& f) {
             f.Ipv6(CIpv6Address(0, 1), CIpv6Address(0, 2), {64, 0, 64});
         },
         "Ipv6: dscp 64 is above 63"},
        {ethernet, [](auto& f) { f.Hole("", 2); }, "Hole: \"\" could be the name of another field"},
        {tunnel, [](auto& f) { f.Fill(65536); }, "Fill: makes the length of Ipv6 more than 65535"},
        {ip, [](auto& f) { f.Udp(65536, 2); }, "Udp: sport 65536 is above 65535"},
        {ip, [](auto& f) { f.Udp(1, -2); }, "Udp: dport is below 0"},
        {ip, [](auto& f) { f.Udp(1, Counting<int>(1, 2, 1, ~0ul)); }, "Udp: dport has a repeat above 2^64 - 2"},
        {ethernet, [&](auto& f) { f.Ipv4(kHere, kThere, ecn); }, "Ipv4: ecn 4 is above 3"},
        {ethernet, [&](auto& f) { f.Ipv4(kHere, kThere, offset); }, "Ipv4: fragmentOffset 8192 is above 8191"},
        {ethernet, [&](auto& f) { f.Ipv4(kHere, kThere, dscp); }, "Ipv4: dscp counts past 63"},
        {ethernet, [&](auto& f) { f.Ipv6(CIpv6Address(), CIpv6Address(), flow); },
         "Ipv6: flow 1048576 is above 1048575"},
        {ip, [](auto& f) { f.Number(256, 1); }, "Number: the number 256 is above 255"},
        {ip, [](auto& f) { f.Number(256, 9); }, "Number: has more than 8 bytes"},
        {ip, [](auto& f) { f.Fill(65516); }, "Fill: makes the length of Ipv4 more than 65535"},
        {full, [](auto& f) { f.Bytes("x"); }, "Bytes: makes the length of Ipv6 more than 65535"},
        {ethernet, [](auto& f) { f.Pattern(262131); }, "Pattern: makes a frame of more than 262144 bytes"},
        {ethernet, [](auto& f) { f.PadTo(~0ul); }, "PadTo: makes a frame of more than 262144 bytes"},
        {padded, [](auto& f) { f.PadTo(59); }, "PadTo: 59 bytes are below the 60 of the frame"},
        {repeated, [](auto& f) { f.Cross({}); }, "Cross: no field is named"},
        {repeated,
         [](auto& f) {
             f.Cross({"number", "vlan.id"});
         },
         "Cross: \"vlan.id\" is not a field of the frame"},
        {repeated, [](auto& f) { f.Cross({"ipv4.src"}); }, "Cross: \"ipv4.src\" does not count"},
        {repeated,
         [](auto& f) {
             f.Cross({"number", "udp.sport"});
         },
         "Cross: \"udp.sport\" has a repeat of its own"},
        {repeated,
         [](auto& f) {
             f.Cross({"number", "number"});
         },
         "Cross: \"number\" is named twice"},
        {repeated,
         [](auto& f) {
             f.Cross({"udp.dport", "number"});
         },
         "Cross: \"udp.dport\" counts without end and is not the last one"},
        {tabled,
         [](auto& f) {
             f.Cross({"ipv4.src", "ipv4.ttl"});
         },
         "Cross: \"ipv4.ttl\" is in the rows of \"ipv4.src\", which all count together"},
        {endless,
         [](auto& f) {
             f.Cross({"number", "number#2", "number#3"});
         },
         "Cross: \"number#2\" makes the next field wait for 2^64 indexes or more"},
        {UdpFrame().Cross({"vlan.id"}), [](auto& f) { f.Cross({"udp.sport"}); }, "Cross: fields are crossed already"},
        {UdpFrame().Cross({"vlan.id"}), [](auto& f) { f.Vary("vlan.id", 1); }, "Vary: \"vlan.id\" is crossed already"},
        {UdpFrame(), [](auto& f) { f.Vary("vlan#2.id", 1); }, "Vary: \"vlan#2.id\" is not a field of the frame"},
        {UdpFrame(), [](auto& f) { f.Vary("vlan.id", 4096); }, "Vlan: id 4096 is above 4095"},
        {UdpFrame(), [](auto& f) { f.Vary("ipv4.src", CMacAddress(1ul)); }, "Ipv4: src has 4 bytes, and the address 6"},
        {varied, [](auto& f) { f.Vary("ipv4.dst", 5); }, "Vary: \"ipv4.dst\" stands where \"bytes@18\" does"},
        {varied,
         [](auto& f) {
             f.Vary(ByteSpan{8, 3}, 0);
         },
         "Vary: \"bytes@8\" stands where the checksum of Ipv4 does"},
        {varied,
         [](auto& f) {
             f.Vary(ByteSpan{3, 1}, 0);
         },
         "Vary: \"bytes@3\" stands where the length of Ipv4 does"},
        {varied,
         [](auto& f) {
             f.Vary(ByteSpan{21, 2}, 0);
         },
         "Vary: \"bytes@21\" stands where \"udp.sport\" does"},
        {varied,
         [](auto& f) {
             f.Vary(ByteSpan{16, 3}, 0);
         },
         "Vary: \"bytes@16\" stands where \"bytes@18\" does"},
        {varied,
         [](auto& f) {
             f.Vary(ByteSpan{18, 2}, 65536);
         },
         "Vary: bytes@18 65536 is above 65535"},
        {varied,
         [](auto& f) {
             f.Vary(ByteSpan{36, 2}, 0);
         },
         "Vary: \"bytes@36\" reaches beyond the frame"},
        {tabled,
         [](auto& f) {
             f.Rows({"ipv4.src"}, {{CIpv6Address(7, 1)}, {kHere}});
         },
         "Ipv4: src has 4 bytes, and the address 16"},
        {ip,
         [](auto& f) {
             f.Rows({"ipv4.src"}, {{kHere}, {kThere, 1}});
         },
         "Rows: row 1 has 2 values for 1 fields"},
        {ip, [](auto& f) { f.Rows({}, {}); }, "Rows: no field is named"},
        {ip, [](auto& f) { f.Rows({"ipv4.src"}, {}); }, "Rows: the table has no rows"},
        {ip, [&](auto& f) { f.Rows({"vlan.id"}, ones); }, "Rows: \"vlan.id\" is not a field of the frame"},
        {ip,
         [&](auto& f) {
             f.Rows({"ipv4.ttl", "ipv4.ttl"}, pairs);
         },
         "Rows: \"ipv4.ttl\" is named twice"},
        {ip, [](auto& f) { f.Vary("ipv4.ttl", OneOf<int>({})); }, "Ipv4: ttl has a list without values"},
        {tabled, [](auto& f) { f.Vary("stamp", 1); }, "Vary: \"stamp\" is a hole, which the sender writes"},
        {tabled, [](auto& f) { f.Hole("stamp", 1); }, "Hole: \"stamp\" is the name of another hole"},
        {tabled, [](auto& f) { f.Hole("other", 0); }, "Hole: \"other\" has no bytes"},
        {crossed, [&](auto& f) { f.Vary(bytes, 0); }, "Vary: \"bytes@18\" is crossed already"},
        {crossed, [](auto& f) { f.Vary("bytes@18", 0); }, "Vary: \"bytes@18\" is crossed already"},
        {varied, [](auto& f) { f.GetSpan("bytes@19"); }, "GetSpan: \"bytes@19\" is not a field of the frame"},
        {varied, [](auto& f) { f = FrameBuilder::FromPacket(nullptr, 262145); },
         "FromPacket: the packet has more than 262144 bytes"},
        {varied,
         [](auto& f) {
             f.Vary(ByteSpan{20, 0}, 0);
         },
         "Vary: \"bytes@20\" has not from 1 to 16 bytes"},
    };
    for (const auto& row : rows) {
        FrameBuilder frame = row.frame;
        std::string error;
        try {
            row.call(frame);
        } catch (const std::invalid_argument& found) {
            error = found.what();
        }
        EXPECT_EQ(error, row.error);
        EXPECT_EQ(frame.Compile(), row.frame.Compile()) << row.error;
        EXPECT_EQ(frame.GetFlowCount(), row.frame.GetFlowCount()) << row.error;
    }
    EXPECT_NO_THROW(full.PadTo(262144));
}

TEST(FrameBuilder, NamesTheSecondOfAKind)
{
    FrameBuilder frame;
    frame.Ethernet(kSource, kDestination)
        .Vlan(Counting<int>(1, 2))
        .Vlan(Counting<int>(1, 4094))
        .Number(Counting<int>(0, 1000))
        .Number(Counting(std::uint64_t{0}, 1ul << 60))
        .Cross({"vlan#2.id", "vlan.id", "number", "number#2"});
    EXPECT_EQ(frame.GetFlowCount(), 0u); // 2^64 and more
    EXPECT_FALSE(frame.GetTemplate()) << "a count above 32 bits";
    const std::string value = ValueAt(frame.Compile(), 4094ull * 2 * 1000 * 1000000 + 4094);
    EXPECT_EQ(ReadBig(value, 14, 2), 2u);
    EXPECT_EQ(ReadBig(value, 18, 2), 1u);
    EXPECT_EQ(ReadBig(value, 22, 4), 0u);
    EXPECT_EQ(ReadBig(value, 26, 8), 1000000u);
    EXPECT_NE(frame.Compile(), FrameBuilder(UdpFrame()).Compile());
    EXPECT_EQ(frame.Compile(), FrameBuilder(frame).Compile());
}

/// The sequence by its rule: each bit is the sum of those 28 and 31 places before it, and ones come before the first.
TEST(FrameBuilder, PatternsAreTheirSequences)
{
    const std::string bytes = ValueAt(FrameBuilder().Pattern(300).Pattern(300, FramePattern::Prbs31).Compile(), 0);
    std::vector<int> bits(31, 1);
    for (std::size_t i = 0; i < 300; ++i) {
        EXPECT_EQ(ReadBig(bytes, i, 1), i % 256);
        for (std::size_t bit = 0; bit < 8; ++bit) {
            bits.push_back(bits[bits.size() - 28] ^ bits[bits.size() - 31]);
            ASSERT_EQ(ReadBig(bytes, 300 + i, 1) >> (7 - bit) & 1, bits.back() == 0 ? 1u : 0u) << i;
        }
    }
}

TEST(FrameBuilder, DrawnFramesAreThoseOfTheModel)
{
    Random random(91);
    for (int round = 0; round < 1000; ++round) {
        ASSERT_NO_FATAL_FAILURE(test::CheckFrameBuilder(random)) << "round " << round;
        ASSERT_FALSE(HasFailure()) << "round " << round;
    }
    EXPECT_GT(random.accepted, 150);
}

TEST(FrameBuilder, GoesThroughListsAndTables)
{
    FrameBuilder frame;
    frame.Ethernet(kSource, kDestination).Vlan(OneOf({4095, 1, 4095, 1})).Mpls(OneOf<int>({1 << 19, 16, 16}, 1));
    frame.Ipv4(OneOf({kHere, kHere}), kThere).Udp(7, Counting<int>(1, 2)).Hole("stamp", 8);
    const CompiledTemplate listed = frame.Compile();
    EXPECT_EQ(frame.GetTemplate(), std::nullopt);
    EXPECT_EQ(listed.GetPeriod(), 6u);
    EXPECT_EQ(listed.GetPeriod({0}), 2u);
    EXPECT_EQ(listed.GetPeriod({2}), 1u);
    const std::vector<ByteSpan> changing = {{14, 2}, {18, 2}, {45, 1}, {48, 2}};
    EXPECT_EQ(listed.GetChangingSpans(), changing);
    EXPECT_EQ(frame.GetSpan("stamp"), (ByteSpan{50, 8}));
    EXPECT_EQ(FrameBuilder(frame).Vary(ByteSpan{38, 2}, 7).GetSpan("bytes@38"), (ByteSpan{38, 2}));
    EXPECT_EQ(frame.GetFlowCount(), 4u);
    EXPECT_EQ(listed, FrameBuilder(frame).Compile());
    std::set<std::uint64_t> periods; // of two values, in an order that may have them by turns
    for (std::uint64_t seed = 0; seed < 100; ++seed) {
        FrameBuilder drawn;
        const CompiledTemplate order = drawn.Number(Shuffled(OneOf({7, 7, 9, 9}), seed)).Compile();
        periods.insert(order.GetPeriod());
        EXPECT_EQ(order.GetPeriod(), ValueAt(order, 0) == ValueAt(order, 2) ? 2u : 4u) << "seed " << seed;
    }
    EXPECT_EQ(periods.size(), 2u);

    const auto table = [](int last) -> std::vector<std::vector<FrameCell>> {
        return {{1, kHere, 5}, {2, kThere, 5}, {1, kHere, 5}, {1, kHere, last}};
    };
    FrameBuilder other = frame;
    frame.Rows({"mpls.label", "ipv4.dst", "udp.sport"}, table(6));
    EXPECT_NE(frame.Compile(), other.Rows({"mpls.label", "ipv4.dst", "udp.sport"}, table(7)).Compile());
    EXPECT_EQ(frame.GetFlowCount(), 3u);
    (other = frame).Rows({"udp.dport"}, {{1}, {2}}).Rows({"ipv4.id"}, {{3}}).Rows({"eth.src"}, {{kSource}});
    FrameBuilder reversed = frame;
    reversed.Rows({"eth.src"}, {{kSource}}).Rows({"ipv4.id"}, {{3}}).Rows({"udp.dport"}, {{1}, {2}});
    EXPECT_EQ(other.Compile(), reversed.Compile());
    EXPECT_EQ(ValueAt(other.Compile(), 7), ValueAt(reversed.Compile(), 7));
    frame.Cross({"vlan.id", "udp.sport", "udp.dport"});
    EXPECT_EQ(frame.GetFlowCount(), 2u * 3 * 2);
    const CompiledTemplate crossed = frame.Compile();
    for (std::uint64_t index = 0; index < 100; ++index) {
        const std::string value = ValueAt(crossed, index);
        const std::uint64_t row = index / 4 % 4;
        EXPECT_EQ(ReadBig(value, 14, 2), index % 2 == 0 ? 4095u : 1u);
        EXPECT_EQ(ReadBig(value, 18, 4), (row == 1 ? 2u : 1u) << 12 | 0x140);
        EXPECT_EQ(ReadBig(value, 38, 4), row == 1 ? 0xc0a80001u : 0x0a000001u);
        EXPECT_EQ(ReadBig(value, 42, 2), row == 3 ? 6u : 5u);
        EXPECT_EQ(ReadBig(value, 44, 2), 1 + index / 16 % 2);
        EXPECT_EQ(ReadBig(value, 50, 8), 0u);
    }
}

TEST(FrameBuilder, VariesPlacesAndNames)
{
    FrameBuilder frame;
    frame.Ipv4(kHere, kThere).Udp(7, 9).Fill(40);
    frame.Vary(ByteSpan{30, 12}, Counting(std::uint64_t{~0ul}, 0)).Vary("udp.dport", 53);
    frame.Vary(ByteSpan{12, 8}, Counting<std::uint64_t>(0x0a000001c0a80001, 3, 1 << 16)).Vary(ByteSpan{50, 2}, 7);
    frame.Vary("bytes@30", Counting<std::uint64_t>(~0ul, 4)).Cross({"bytes@30", "bytes@12"});
    EXPECT_EQ(frame.GetFlowCount(), 12u);
    const CompiledTemplate packets = frame.Compile();
    EXPECT_EQ(packets, CompiledTemplate(Wildcards(*frame.GetTemplate(), "@"), frame.GetChecksums()));
    const std::string value = ValueAt(packets, 5);
    EXPECT_EQ(ReadBig(value, 12, 8), 0x0a000001c0a90001u);
    EXPECT_EQ(ReadBig(value, 22, 2), 53u);
    EXPECT_EQ(ReadBig(value, 30, 4), 1u);
    EXPECT_EQ(ReadBig(value, 34, 8), 0u);
    EXPECT_EQ(ReadBig(value, 50, 2), 7u);
    for (const ChecksumField& field : frame.GetChecksums()) {
        EXPECT_EQ(ReadBig(value, field.at, 2), test::PlainChecksum(field, value));
    }
}

/// What is taken apart has the same fields as what it was made of.
TEST(FrameBuilder, TakenPacketsHaveTheirFields)
{
    const CIpv6Address here6(0x20010db8000000, 1), there6(0x20010db8000000, 2);
    FrameBuilder ethernet, tagged, inIp, control, arp;
    ethernet.Ethernet(kSource, kDestination);
    (tagged = ethernet).Vlan(7, {5, true, 0x88a8}).Vlan(8);
    (inIp = ethernet).Ipv4(kHere, kThere).Ipv4(kThere, kHere).Ipv6(here6, there6).Ipv6(there6, here6);
    MplsOptions word;
    word.hasControlWord = true;
    (control = ethernet).Mpls(17, {3, 9}).Mpls(16, word).Ethernet(kDestination, kSource);
    (arp = ethernet).Mpls(16).Ethernet(kSource, kDestination).Vlan(2).Arp(kSource, kHere, kThere);
    const UdpOptions unsummed{false};
    const FrameBuilder frames[] = {
        FrameBuilder(tagged).Ipv4(kHere, kThere, {7, 33, 1, 9}).Tcp(1, 2, {3, 4}).Bytes("x"),
        FrameBuilder(tagged).Arp(kSource, kHere, kThere).PadTo(64),
        FrameBuilder(inIp).Icmpv6(129, {0, 5, 6}).Bytes("data"),
        FrameBuilder(inIp).Ipv4(kHere, kThere).Icmp(0, {0, 5, 6}),
        FrameBuilder(inIp).Gre().Ipv6(here6, there6, {9, 0xabcde, 5, 1}).Udp(1, 2),
        FrameBuilder(inIp).Mpls(16).Ipv6(here6, there6),
        FrameBuilder(control).Ipv4(kHere, kThere).Udp(1, 2),
        FrameBuilder(control).Ipv6(here6, there6),
        arp,
        FrameBuilder(ethernet).Ipv6(here6, there6).Udp(1, unsummed).Vxlan(77).Ethernet(kSource, kDestination),
        FrameBuilder(ethernet).Ipv6(here6, there6).Udp(1).Gre({5, 6, true}).Mpls(16).Ipv4(kHere, kThere).Tcp(1, 2),
        FrameBuilder(ethernet)
            .Ipv4(kHere, kThere)
            .Gre({{}, 6, true})
            .Ethernet(kSource, kDestination)
            .Ipv4(kHere, kThere),
        FrameBuilder(ethernet).Ipv4(kHere, kThere).Gre({5, {}, false}).Ipv4(kHere, kThere).Udp(1, unsummed),
        FrameBuilder(ethernet).Ipv4(kHere, kThere).Udp(1).GtpU(5, {6, 7, true}).Ipv6(here6, there6).Tcp(1, 2),
        FrameBuilder(ethernet).Ipv4(kHere, kThere).Udp(1).GtpU(5, {{}, 7}).Ipv4(kHere, kThere).Udp(1, 2),
        FrameBuilder(ethernet).Ipv4(kHere, kThere).Udp(1).GtpU(5, {6, {}}).Ipv4(kHere, kThere),
        FrameBuilder(ethernet).Ipv4(kHere, kThere).Udp(1).Mpls(5).Ipv4(kHere, kThere).Icmp(),
    };
    static constexpr const char* kNames[] = {
        "eth.dst",    "eth.src",  "vlan.id",   "mpls.label", "mpls.ttl",  "arp.sha",   "arp.spa",
        "arp.tha",    "arp.tpa",  "ipv4.dscp", "ipv4.id",    "ipv4.ttl",  "ipv4.src",  "ipv4.dst",
        "ipv6.flow",  "ipv6.hop", "ipv6.src",  "ipv6.dst",   "udp.sport", "udp.dport", "tcp.sport",
        "tcp.dport",  "tcp.seq",  "tcp.ack",   "tcp.window", "icmp.id",   "icmp.seq",  "icmpv6.id",
        "icmpv6.seq", "gre.key",  "gre.seq",   "vxlan.vni",  "gtp.teid",  "gtp.seq",   "gtp.qfi"};
    const auto outcome = [](FrameBuilder frame, const std::string& name, std::uint64_t first) {
        try {
            return ValueAt(frame.Vary(name, Counting<std::uint64_t>(first, 2)).Compile(), 1);
        } catch (const std::invalid_argument& error) {
            return std::string(error.what());
        }
    };
    for (const FrameBuilder& frame : frames) {
        const std::string value = ValueAt(frame.Compile(), 0);
        const auto* const bytes = reinterpret_cast<const unsigned char*>(value.data());
        const FrameBuilder taken = FrameBuilder::FromPacket(bytes, value.size());
        EXPECT_EQ(taken.GetChecksums(), frame.GetChecksums());
        for (const std::string name : kNames) {
            for (const char* number : {"", "#2", "#3"}) {
                std::string numbered = name;
                numbered.insert(numbered.find('.'), number);
                EXPECT_EQ(outcome(taken, numbered, 2), outcome(frame, numbered, 2)) << numbered;
                EXPECT_EQ(outcome(taken, numbered, ~0ul), outcome(frame, numbered, ~0ul)) << numbered;
            }
        }
    }
}

TEST(FrameBuilder, TakenPacketsStayAsTheyAre)
{
    Random random(92);
    for (int round = 0; round < 3000; ++round) {
        ASSERT_NO_FATAL_FAILURE(test::CheckTakenPacket(random)) << "round " << round;
        ASSERT_FALSE(HasFailure()) << "round " << round;
    }
    EXPECT_GT(random.accepted, 100);

    FrameBuilder cut; // of a length of 0, as a card gives segments that it has joined
    cut.Ethernet(kSource, kDestination).Ipv4(kHere, kThere).Bytes("tcp");
    std::string joined = ValueAt(cut.Compile(), 0).replace(16, 2, 2, '\0').append(70000, 'x');
    cut = FrameBuilder::FromPacket(reinterpret_cast<const unsigned char*>(joined.data()), joined.size());
    EXPECT_NO_THROW(cut.Number(1, 4));
    EXPECT_EQ(cut.GetSize(), joined.size() + 4);

    FrameBuilder summed; // with all ones for a sum of 0, as some senders write it for TCP too
    summed.Ethernet(kSource, kDestination).Ipv4(kHere, kThere).Tcp(Counting<int>(0, 65536), 2).Number(0u);
    const CompiledTemplate ports = summed.Compile();
    std::string sent = ValueAt(ports, 0);
    for (std::uint64_t i = 1; i < 65536 && sent.substr(50, 2) != std::string(2, '\0'); ++i) ports.GetValueAt(i, sent);
    sent.replace(50, 2, "\xff\xff");
    summed = FrameBuilder::FromPacket(reinterpret_cast<const unsigned char*>(sent.data()), sent.size());
    EXPECT_EQ(summed.GetChecksums().size(), 2u);
    EXPECT_EQ(ValueAt(summed.Compile(), 0), sent);

    FrameBuilder numbered; // of GTP with an N-PDU number alone, beside which neither of the other two fields counts
    numbered.Ethernet(kSource, kDestination).Ipv4(kHere, kThere).Udp(1, UdpOptions{false}).GtpU(5, {6, {}});
    numbered.Ipv4(kHere, kThere);
    const std::size_t at = numbered.GetSpan("gtp.teid").offset - 4;
    std::string packet = ValueAt(numbered.Compile(), 0);
    packet[at] = 0x31;
    packet[at + 11] = '\x85';
    numbered = FrameBuilder::FromPacket(reinterpret_cast<const unsigned char*>(packet.data()), packet.size());
    EXPECT_EQ(numbered.GetSpan("gtp.teid"), (ByteSpan{at + 4, 4}));
    EXPECT_THROW(numbered.GetSpan("gtp.seq"), std::invalid_argument);
    EXPECT_THROW(numbered.GetSpan("gtp.qfi"), std::invalid_argument);

    FrameBuilder tunnel; // of GRE with types that stand behind Ethernet alone
    tunnel.Ethernet(kSource, kDestination).Ipv4(kHere, kThere).Gre();
    packet = ValueAt(tunnel.Bytes(std::string({0, 1, 8, 0, 6, 4, 0, 1}) + std::string(20, 'x')).Compile(), 0);
    for (const char* type : {"\x81\x00", "\x88\xa8", "\x91\x00", "\x08\x06"}) {
        packet.replace(36, 2, type, 2);
        tunnel = FrameBuilder::FromPacket(reinterpret_cast<const unsigned char*>(packet.data()), packet.size());
        EXPECT_THROW(tunnel.GetSpan("vlan.id"), std::invalid_argument);
        EXPECT_THROW(tunnel.GetSpan("arp.spa"), std::invalid_argument);
    }

    const unsigned char bytes[] = {'a', 0, 'b'};
    EXPECT_EQ(FrameBuilder(cut).Bytes(bytes, 3).Compile(), FrameBuilder(cut).Bytes({"a\0b", 3}).Compile());
}

} // namespace
