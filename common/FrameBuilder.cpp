#include "FrameBuilder.h"

#include "FrameLayers.h"

#include <stdexcept>
#include <utility>

namespace zor::common {

using detail::FrameLayer;
using detail::FrameStack;
using detail::LayerKind;
using detail::LayerWriter;
using detail::RefuseLayer;

FrameBuilder::FrameBuilder() : mStack(std::make_unique<FrameStack>()) {}
FrameBuilder::FrameBuilder(const FrameBuilder& other) : mStack(std::make_unique<FrameStack>(*other.mStack)) {}
FrameBuilder::~FrameBuilder() = default;

FrameBuilder& FrameBuilder::operator=(const FrameBuilder& other)
{
    FrameBuilder copy(other);
    mStack.swap(copy.mStack);
    return *this;
}

FrameBuilder& FrameBuilder::Add(FrameLayer&& layer)
{
    mStack->Add(std::move(layer));
    return *this;
}

FrameBuilder& FrameBuilder::Ethernet(const FrameAddress<CMacAddress>& source,
                                     const FrameAddress<CMacAddress>& destination, const EthernetOptions& options)
{
    LayerWriter writer(LayerKind::Ethernet);
    writer.PutField("dst", destination.GetValue(), 6).PutField("src", source.GetValue(), 6).Put(options.etherType, 2);
    return Add(std::move(writer.GetLayer()));
}

FrameBuilder& FrameBuilder::Vlan(const FrameNumber& id, const VlanOptions& options)
{
    if (options.tagType == 0) RefuseLayer(LayerKind::Vlan, "has tagType 0, which is no tag");
    LayerWriter writer(LayerKind::Vlan);
    const std::uint64_t dropEligible = options.isDropEligible ? 1 : 0;
    writer.Check("priority", options.priority, 7)
        .PutBits("id", id.GetValue(), 2, 12, 0, std::uint64_t{options.priority} << 13 | dropEligible << 12)
        .Put(options.etherType, 2);
    writer.GetLayer().tagType = options.tagType;
    return Add(std::move(writer.GetLayer()));
}

FrameBuilder& FrameBuilder::Arp(const FrameAddress<CMacAddress>& senderMac, const FrameAddress<CIpAddress>& sender,
                                const FrameAddress<CIpAddress>& target, const ArpOptions& options)
{
    LayerWriter writer(LayerKind::Arp);
    writer
        .Put(0x000108000604, 6) // Ethernet, IPv4, and the sizes of their addresses
        .Put(options.operation, 2)
        .PutField("sha", senderMac.GetValue(), 6)
        .PutField("spa", sender.GetValue(), 4)
        .PutField("tha", options.targetMac.GetValue(), 6)
        .PutField("tpa", target.GetValue(), 4);
    return Add(std::move(writer.GetLayer()));
}

FrameBuilder& FrameBuilder::Ipv4(const FrameAddress<CIpAddress>& source, const FrameAddress<CIpAddress>& destination,
                                 const Ipv4Options& options)
{
    LayerWriter writer(LayerKind::Ipv4);
    const unsigned int flags = (options.isDontFragment ? 0x4000u : 0) | (options.isMoreFragments ? 0x2000u : 0);
    writer.Check("ecn", options.ecn, 3)
        .Check("fragmentOffset", options.fragmentOffset, 8191)
        .Put(0x45, 1)
        .PutBits("dscp", options.dscp.GetValue(), 1, 6, 2, options.ecn)
        .Put(0, 2) // total length
        .PutField("id", options.id.GetValue(), 2)
        .Put(flags | options.fragmentOffset, 2)
        .PutField("ttl", options.ttl.GetValue(), 1)
        .Put(options.protocol, 1)
        .Put(0, 2) // checksum
        .PutField("src", source.GetValue(), 4)
        .PutField("dst", destination.GetValue(), 4);
    writer.GetLayer().isFragment = options.isMoreFragments || options.fragmentOffset != 0;
    return Add(std::move(writer.GetLayer()));
}

FrameBuilder& FrameBuilder::Ipv6(const FrameAddress<CIpv6Address>& source,
                                 const FrameAddress<CIpv6Address>& destination, const Ipv6Options& options)
{
    LayerWriter writer(LayerKind::Ipv6);
    writer.Check("dscp", options.dscp, 63).Check("ecn", options.ecn, 3);
    const std::uint64_t trafficClass = options.dscp << 2 | options.ecn;
    writer.PutBits("flow", options.flowLabel.GetValue(), 4, 20, 0, 0x60000000 | trafficClass << 20)
        .Put(0, 2) // payload length
        .Put(options.nextHeader, 1)
        .PutField("hop", options.hopLimit.GetValue(), 1)
        .PutField("src", source.GetValue(), 16)
        .PutField("dst", destination.GetValue(), 16);
    return Add(std::move(writer.GetLayer()));
}

namespace {

LayerWriter UdpHeader(const FrameNumber& sourcePort, const FrameNumber& destinationPort, const UdpOptions& options)
{
    LayerWriter writer(LayerKind::Udp);
    writer.PutField("sport", sourcePort.GetValue(), 2)
        .PutField("dport", destinationPort.GetValue(), 2)
        .Put(0, 4); // length and checksum
    writer.GetLayer().hasChecksum = options.hasChecksum;
    return writer;
}

} // namespace

FrameBuilder& FrameBuilder::Udp(const FrameNumber& sourcePort, const FrameNumber& destinationPort,
                                const UdpOptions& options)
{
    return Add(std::move(UdpHeader(sourcePort, destinationPort, options).GetLayer()));
}

FrameBuilder& FrameBuilder::Udp(const FrameNumber& sourcePort, const UdpOptions& options)
{
    LayerWriter writer = UdpHeader(sourcePort, 0, options);
    writer.GetLayer().hasPort = false;
    return Add(std::move(writer.GetLayer()));
}

FrameBuilder& FrameBuilder::Tcp(const FrameNumber& sourcePort, const FrameNumber& destinationPort,
                                const TcpOptions& options)
{
    LayerWriter writer(LayerKind::Tcp);
    writer.PutField("sport", sourcePort.GetValue(), 2)
        .PutField("dport", destinationPort.GetValue(), 2)
        .PutField("seq", options.seq.GetValue(), 4)
        .PutField("ack", options.ack.GetValue(), 4)
        .Put(0x50, 1) // a header of five words
        .Put(options.flags, 1)
        .PutField("window", options.window.GetValue(), 2)
        .Put(0, 2) // checksum
        .Put(options.urgentPointer, 2);
    return Add(std::move(writer.GetLayer()));
}

namespace {

LayerWriter EchoHeader(LayerKind kind, unsigned char type, const IcmpOptions& options)
{
    LayerWriter writer(kind);
    writer.Put(type, 1)
        .Put(options.code, 1)
        .Put(0, 2) // checksum
        .PutField("id", options.id.GetValue(), 2)
        .PutField("seq", options.seq.GetValue(), 2);
    return writer;
}

FrameLayer PayloadOf(LayerKind kind, std::string bytes)
{
    FrameLayer layer;
    layer.kind = kind;
    layer.bytes = std::move(bytes);
    return layer;
}

} // namespace

FrameBuilder& FrameBuilder::Icmp(unsigned char type, const IcmpOptions& options)
{
    return Add(std::move(EchoHeader(LayerKind::Icmp, type, options).GetLayer()));
}

FrameBuilder& FrameBuilder::Icmpv6(unsigned char type, const IcmpOptions& options)
{
    return Add(std::move(EchoHeader(LayerKind::Icmpv6, type, options).GetLayer()));
}

FrameBuilder& FrameBuilder::Number(const FrameNumber& value, std::size_t size)
{
    if (size == 0) size = value.GetTypeSize();
    if (size > 8) RefuseLayer(LayerKind::Number, "has more than 8 bytes");
    LayerWriter writer(LayerKind::Number);
    writer.PutField("", value.GetValue(), size);
    return Add(std::move(writer.GetLayer()));
}

FrameBuilder& FrameBuilder::Bytes(std::string_view bytes)
{
    mStack->CheckSize(LayerKind::Bytes, bytes.size());
    return Add(PayloadOf(LayerKind::Bytes, std::string(bytes)));
}

FrameBuilder& FrameBuilder::Bytes(const unsigned char* bytes, std::size_t size)
{
    return Bytes(std::string_view(reinterpret_cast<const char*>(bytes), size));
}

FrameBuilder& FrameBuilder::Fill(std::size_t size, unsigned char byte)
{
    mStack->CheckSize(LayerKind::Fill, size);
    return Add(PayloadOf(LayerKind::Fill, std::string(size, static_cast<char>(byte))));
}

FrameBuilder& FrameBuilder::Pattern(std::size_t size, FramePattern pattern)
{
    mStack->CheckSize(LayerKind::Pattern, size);
    std::string bytes(size, '\0');
    if (pattern == FramePattern::Incrementing) {
        for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i);
    } else {
        std::uint64_t bits = 0x7fffffff; // the last ones of the sequence, the latest one lowest
        for (char& byte : bytes) {
            const std::uint64_t next = (bits >> 20 ^ bits >> 23) & 0xff; // eight of them at once
            bits = bits << 8 | next;
            byte = static_cast<char>(~next);
        }
    }
    return Add(PayloadOf(LayerKind::Pattern, std::move(bytes)));
}

FrameBuilder& FrameBuilder::PadTo(std::size_t size)
{
    if (size < GetSize()) {
        RefuseLayer(LayerKind::Padding,
                    std::to_string(size) + " bytes are below the " + std::to_string(GetSize()) + " of the frame");
    }
    const std::size_t added = size - GetSize();
    mStack->CheckSize(LayerKind::Padding, added);
    return Add(PayloadOf(LayerKind::Padding, std::string(added, '\0')));
}

FrameBuilder FrameBuilder::FromPacket(const unsigned char* bytes, std::size_t size)
{
    if (size > detail::kMaxFrame) {
        throw std::invalid_argument("FromPacket: the packet has more than " + std::to_string(detail::kMaxFrame) +
                                    " bytes");
    }
    FrameBuilder builder;
    *builder.mStack = detail::TakeApart({reinterpret_cast<const char*>(bytes), size});
    return builder;
}

std::uint64_t FrameBuilder::GetFlowCount() const
{
    return mStack->CountFlows();
}

std::size_t FrameBuilder::GetSize() const noexcept
{
    return mStack->size;
}

} // namespace zor::common
