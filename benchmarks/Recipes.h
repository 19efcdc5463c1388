#ifndef ZOR_COMMON_BENCHMARKS_RECIPES_H
#define ZOR_COMMON_BENCHMARKS_RECIPES_H

/// \file
/// Twelve recipes for traffic, as docs/cookbook.md shows them.

#include <common/AddressLiterals.h>
#include <common/FrameBuilder.h>
#include <common/IndexOrder.h>
#include <common/Traffic.h>

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace zor::common::recipes {

using namespace zor::common::literals;

inline const CMacAddress kTester(0x020000000001);
inline const CMacAddress kDevice(0x0200000000fe);
inline const CIpAddress kServer(192, 168, 0, 1);
inline const CIpAddress kNear(10, 0, 0, 1);
inline const CIpAddress kFar(10, 0, 0, 2);

// 1. One flow with a sequence number, in frames of 64 bytes.
inline CompiledTemplate OneFlow()
{
    FrameBuilder frame;
    frame.Ethernet(kTester, kDevice).Ipv4(kNear, kServer).Udp(1024, 9);
    frame.Number(Counting(0u, 0)).PadTo(64);
    return frame.Compile();
}

// 2. Ten million flows: each of 250 clients with each of 40,000 ports.
inline CompiledTemplate CrossedFlows()
{
    FrameBuilder frame;
    frame.Ethernet(kTester, kDevice).Ipv4(Counting(kNear, 250), kServer);
    frame.Udp(Counting<std::uint16_t>(1024, 40000), 9).PadTo(64);
    frame.Cross({"ipv4.src", "udp.sport"});
    return frame.Compile();
}

// 3. IMIX: seven small frames, four of medium size and a large one.
inline CompiledTemplate Imix()
{
    const auto ofSize = [](std::size_t size) {
        FrameBuilder frame;
        frame.Ethernet(kTester, kDevice).Ipv4(Counting(kNear, 250), kServer);
        return frame.Udp(1024, 9).Number(Counting(0u, 0)).Fill(size - 4 - 46).Compile(); // the card adds the FCS
    };
    return Mix({{ofSize(64), 7}, {ofSize(570), 4}, {ofSize(1518), 1}});
}

// 4. The frame sizes of RFC 2544, each one for a millisecond at 10 Gbit/s.
inline CompiledTemplate BenchmarkSizes()
{
    std::vector<std::pair<CompiledTemplate, std::uint64_t>> trials;
    for (const std::size_t size : {64u, 128u, 256u, 512u, 1024u, 1280u, 1518u}) {
        FrameBuilder frame;
        frame.Ethernet(kTester, kDevice).Ipv4(kNear, kServer).Udp(1024, 9);
        frame.Number(Counting(0u, 0)).Fill(size - 4 - 46); // the card adds the FCS
        trials.emplace_back(frame.Compile(), 1250000 / (size + 20));
    }
    return Joined(trials);
}

// 5. Hosts of an IPv6 network of 2^64, in an order that looks random.
inline CompiledTemplate RandomHosts()
{
    FrameBuilder frame;
    frame.Ethernet(kTester, kDevice);
    frame.Ipv6(Counting("2001:db8:1:2::"_ip6, 0), "2001:db8::1"_ip6).Udp(1024, 9);
    return Shuffled(frame.PadTo(80).Compile(), IndexOrder(0, 42));
}

// 6. A table of 100,000 rows: who asks whom, and on which port.
inline CompiledTemplate TableRows()
{
    std::vector<std::vector<FrameCell>> rows;
    for (std::uint32_t i = 0; i < 100000; ++i) {
        rows.push_back({CIpAddress(0x0a000000 + i * 7919 % 99991), CIpAddress(0xc0a80100 + i % 97), 1024 + i % 999});
    }
    FrameBuilder frame;
    frame.Ethernet(kTester, kDevice).Ipv4(kServer, kServer).Udp(1024, 9).Number(Counting(0u, 0)).PadTo(64);
    return frame.Rows({"ipv4.src", "ipv4.dst", "udp.dport"}, rows).Compile();
}

// 7. VXLAN: 1,000 tenants, in each of which 250 clients ask.
inline CompiledTemplate Vxlan()
{
    FrameBuilder frame;
    frame.Ethernet(kTester, kDevice).Ipv4(kNear, kFar).Udp(49152, UdpOptions{false});
    frame.Vxlan(Counting<std::uint32_t>(5000, 1000));
    frame.Ethernet(kTester, kDevice).Ipv4(Counting(CIpAddress(10, 1, 0, 1), 250), kServer).Udp(1024, 9);
    frame.Number(Counting(0u, 0)).PadTo(128);
    return frame.Cross({"ipv4#2.src", "vxlan.vni"}).Compile();
}

// 8. GTP-U: a million tunnels, each with its terminal's address inside.
inline CompiledTemplate MobileTunnels()
{
    FrameBuilder frame;
    frame.Ethernet(kTester, kDevice).Ipv4(kNear, kFar).Udp(2152);
    frame.GtpU(Counting<std::uint32_t>(1, 1000000));
    frame.Ipv4(Counting(CIpAddress(10, 64, 0, 0), 1000000), kServer).Udp(1024, 9);
    return frame.Number(Counting(0u, 0)).PadTo(128).Compile();
}

// 9. QinQ: 16 service tags with all 4,094 customer tags.
inline CompiledTemplate StackedTags()
{
    VlanOptions service;
    service.tagType = 0x88a8;
    FrameBuilder frame;
    frame.Ethernet(kTester, kDevice).Vlan(Counting<std::uint16_t>(1, 16), service);
    frame.Vlan(Counting<std::uint16_t>(1, 4094)).Ipv4(kNear, kServer).Udp(1024, 9);
    frame.Number(Counting(0u, 0)).PadTo(68);
    return frame.Cross({"vlan#2.id", "vlan.id"}).Compile();
}

// 10. A packet from a capture, in which client, port and identification count.
inline CompiledTemplate FromCapture(const unsigned char* packet, std::size_t size)
{
    FrameBuilder frame = FrameBuilder::FromPacket(packet, size);
    frame.Vary("ipv4.src", Counting(kNear, 0));
    frame.Vary("udp.sport", Counting<std::uint16_t>(1024, 60000));
    frame.Vary("ipv4.id", Counting<std::uint16_t>(0, 0));
    return frame.Compile();
}

// 11. A million handshakes: SYN, ACK and FIN of each flow, and the answer to each.
inline CompiledTemplate Handshakes()
{
    const Counting clients(CIpAddress(10, 0, 0, 0), 1000000);
    std::vector<std::pair<CompiledTemplate, std::uint32_t>> packets;
    const TcpOptions steps[][2] = {{{0, 0, 2}, {0, 1, 18}}, {{1, 1, 16}, {1, 1, 16}}, {{1, 1, 17}, {1, 2, 17}}};
    for (const auto& [asked, answered] : steps) { // numbers and flags
        FrameBuilder ask, answer;
        ask.Ethernet(kTester, kDevice).Ipv4(clients, kServer).Tcp(1024, 80, asked).PadTo(64);
        answer.Ethernet(kDevice, kTester).Ipv4(kServer, clients).Tcp(80, 1024, answered).PadTo(64);
        packets.insert(packets.end(), {{ask.Compile(), 1}, {answer.Compile(), 1}});
    }
    return Mix(packets);
}

/// Frames into which a sender writes when each one is sent.
struct Stamped {
    CompiledTemplate packets;
    ByteSpan stamp;         ///< Where the time goes.
    ChecksumField checksum; ///< Which covers it, for AdjustChecksum().
};

// 12. A time stamp of 8 bytes that the sender writes late.
inline Stamped TimeStamps()
{
    FrameBuilder frame;
    frame.Ethernet(kTester, kDevice).Ipv4(kNear, kServer).Udp(1024, 9);
    frame.Number(Counting(0u, 0)).Hole("stamp", 8).PadTo(64);
    return {frame.Compile(), frame.GetSpan("stamp"), frame.GetChecksums().back()};
}

} // namespace zor::common::recipes

#endif // ZOR_COMMON_BENCHMARKS_RECIPES_H
