#include "FrameLayers.h"

#include "BigEndian.h"
#include "IndexCounter.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

namespace zor::common::detail {

namespace {

constexpr unsigned int kIsFirst = 1u << kLayerKinds; ///< Stands for nothing in front.

constexpr unsigned int kLinks = Bit(LayerKind::Ethernet) | Bit(LayerKind::Vlan);
constexpr unsigned int kIp = Bit(LayerKind::Ipv4) | Bit(LayerKind::Ipv6);
constexpr unsigned int kTunnels =
    Bit(LayerKind::Mpls) | Bit(LayerKind::Gre) | Bit(LayerKind::Vxlan) | Bit(LayerKind::GtpU);
constexpr unsigned int kTransports =
    Bit(LayerKind::Udp) | Bit(LayerKind::Tcp) | Bit(LayerKind::Icmp) | Bit(LayerKind::Icmpv6);
constexpr unsigned int kCarriers = kIsFirst | kLinks | kIp | kTunnels | kTransports | kPayloads; ///< Of payload.
constexpr unsigned int kAll = kCarriers | Bit(LayerKind::Arp) | Bit(LayerKind::Padding);
constexpr unsigned int kPackets = kIsFirst | kLinks | kIp | (kTunnels & ~Bit(LayerKind::Vxlan)); ///< Carry IP.

using Kind = LayerKind;

/// In the order of LayerKind.
constexpr LayerTraits kTraits[kLayerKinds] = {
    {.call = "Ethernet", .name = "eth", .behind = kIsFirst | kTunnels, .etherType = 0x6558, .typeAt = 12},
    {.call = "Vlan", .name = "vlan", .behind = kLinks, .typeAt = 2},
    {.call = "Mpls",
     .name = "mpls",
     .behind = kLinks | kIp | Bit(Kind::Mpls) | Bit(Kind::Gre) | Bit(Kind::Udp),
     .etherType = 0x8847,
     .protocol = 137,
     .port = 6635},
    {.call = "Arp", .name = "arp", .behind = kLinks, .etherType = 0x0806},
    {.call = "Ipv4",
     .name = "ipv4",
     .behind = kPackets,
     .etherType = 0x0800,
     .protocol = 4,
     .protocolAt = 9,
     .lengthAt = 2,
     .checksumAt = 10},
    {.call = "Ipv6",
     .name = "ipv6",
     .behind = kPackets,
     .etherType = 0x86dd,
     .protocol = 41,
     .protocolAt = 6,
     .lengthAt = 4,
     .lengthFrom = 40},
    {.call = "Udp", .name = "udp", .behind = kIp, .protocol = 17, .lengthAt = 4, .checksumAt = 6},
    {.call = "Tcp", .name = "tcp", .behind = kIp, .protocol = 6, .checksumAt = 16},
    {.call = "Icmp", .name = "icmp", .behind = Bit(Kind::Ipv4), .protocol = 1, .checksumAt = 2},
    {.call = "Icmpv6", .name = "icmpv6", .behind = Bit(Kind::Ipv6), .protocol = 58, .checksumAt = 2},
    {.call = "Gre",
     .name = "gre",
     .behind = kIp | Bit(Kind::Udp),
     .protocol = 47,
     .port = 4754,
     .typeAt = 2,
     .checksumAt = 4},
    {.call = "Vxlan", .name = "vxlan", .behind = Bit(Kind::Udp), .port = 4789},
    {.call = "GtpU", .name = "gtp", .behind = Bit(Kind::Udp), .port = 2152, .lengthAt = 2, .lengthFrom = 8},
    {.call = "Number", .name = "number", .behind = kCarriers},
    {.call = "Bytes", .behind = kCarriers},
    {.call = "Fill", .behind = kCarriers},
    {.call = "Pattern", .behind = kCarriers},
    {.call = "Hole", .behind = kCarriers},
    {.call = "PadTo", .behind = kAll},
};

/// "Ipv4 or Ipv6".
std::string ListOf(unsigned int kinds)
{
    std::string list;
    for (unsigned int kind = 0; kind < kLayerKinds; ++kind) {
        if ((kinds >> kind & 1) != 0) list += (list.empty() ? "" : " or ") + std::string(kTraits[kind].call);
    }
    return list;
}

void CheckPlace(const FrameStack& stack, const FrameLayer& layer)
{
    const unsigned int behind = TraitsOf(layer.kind).behind;
    if (stack.layers.empty()) {
        if ((behind & kIsFirst) == 0) RefuseLayer(layer.kind, "cannot be first; it must follow " + ListOf(behind));
        return;
    }
    const FrameLayer& previous = stack.layers.back();
    const unsigned int kind = Bit(layer.kind);
    if ((behind & Bit(previous.kind)) == 0) {
        const std::string needed = behind == kCarriers ? "" : ListOf(behind); // which for payload are most
        RefuseLayer(layer.kind, std::string("cannot follow ") + TraitsOf(previous.kind).call +
                                    (needed.empty() ? "" : ", only " + needed));
    }
    if (previous.isFragment && (kind & ~(kPayloads | Bit(Kind::Padding))) != 0) {
        RefuseLayer(layer.kind, "cannot follow a fragment of Ipv4, which carries a piece of a packet");
    }
    if (previous.isPseudowire && (kind & (kIp | Bit(Kind::Mpls))) != 0) {
        RefuseLayer(layer.kind, "cannot follow the control word of Mpls; Ethernet or payload can");
    }
    const bool isUnsummed = previous.kind == Kind::Udp && !previous.hasChecksum;
    if (isUnsummed && stack.layers[stack.layers.size() - 2].kind == Kind::Ipv6 && (kind & kTunnels) == 0) {
        RefuseLayer(layer.kind, "cannot follow Udp without a checksum over Ipv6; only tunnels can");
    }
}

/// Where the frame must end so that the length of a layer fits its field.
std::size_t MostOf(const FrameLayer& layer)
{
    constexpr std::size_t kMaxLength = 65535;
    const LayerTraits& traits = TraitsOf(layer.kind);
    return traits.lengthAt == 0 || !layer.hasLength ? std::numeric_limits<std::size_t>::max()
                                                    : layer.offset + traits.lengthFrom + kMaxLength;
}

} // namespace

const LayerTraits& TraitsOf(LayerKind kind) noexcept
{
    return kTraits[static_cast<std::size_t>(kind)];
}

void RefuseLayer(LayerKind kind, const std::string& why)
{
    throw std::invalid_argument(std::string(TraitsOf(kind).call) + ": " + why);
}

void FrameStack::CheckSize(LayerKind kind, std::size_t added) const
{
    if (added > kMaxFrame - size) {
        RefuseLayer(kind, "makes a frame of more than " + std::to_string(kMaxFrame) + " bytes");
    }
}

void FrameStack::Add(FrameLayer&& layer)
{
    CheckPlace(*this, layer);
    CheckSize(layer.kind, layer.bytes.size());
    if (layer.kind != LayerKind::Padding && size + layer.bytes.size() > most) {
        RefuseLayer(layer.kind, std::string("makes the length of ") + TraitsOf(narrowest).call + " more than 65535");
    }
    Append(std::move(layer));
}

void FrameStack::Append(FrameLayer&& layer)
{
    const LayerTraits& traits = TraitsOf(layer.kind);
    const auto kind = static_cast<std::size_t>(layer.kind);
    const std::string number = counts[kind] == 0 ? "" : '#' + std::to_string(counts[kind] + 1);
    for (FrameField& field : layer.fields) {
        if (layer.hasOwnName) break;
        field.name = traits.name + number + (field.name.empty() ? "" : '.' + field.name);
    }
    layer.offset = size;
    const std::size_t mostOf = MostOf(layer);
    layers.push_back(std::move(layer)); // from here on nothing fails
    ++counts[kind];
    size += layers.back().bytes.size();
    if (mostOf < most) {
        most = mostOf;
        narrowest = layers.back().kind;
    }
}

LayerWriter& LayerWriter::Put(std::uint64_t number, std::size_t size)
{
    for (std::size_t i = size; i-- > 0;) mLayer.bytes += static_cast<char>(number >> 8 * i);
    return *this;
}

LayerWriter& LayerWriter::Check(const char* name, std::uint64_t number, std::uint64_t most)
{
    if (number > most) {
        RefuseLayer(mLayer.kind,
                    std::string(name) + ' ' + std::to_string(number) + " is above " + std::to_string(most));
    }
    return *this;
}

LayerWriter& LayerWriter::PutBits(const char* name, const FrameValue& value, std::size_t size, std::size_t bits,
                                  unsigned int shift, std::uint64_t others)
{
    FrameField place;
    place.name = name;
    place.offset = mLayer.bytes.size();
    place.size = size;
    place.bits = bits;
    place.shift = shift;
    place.others = others;
    mLayer.fields.push_back(FieldOf(TraitsOf(mLayer.kind).call, value, std::move(place)));
    mLayer.bytes += mLayer.fields.back().GetText();
    return *this;
}

} // namespace zor::common::detail
