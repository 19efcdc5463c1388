#include "BigEndian.h"
#include "FrameLayers.h"

#include <algorithm>

namespace zor::common::detail {

namespace {

void Store16(std::string& bytes, std::size_t offset, std::size_t number)
{
    StoreBig16(reinterpret_cast<unsigned char*>(bytes.data()) + offset, static_cast<std::uint16_t>(number));
}

/// Sets what a layer says of the next one, and its length.
/// \param next  null behind the last one.
/// \param end   where the layer ends with all that it carries.
void Complete(const FrameLayer& layer, const FrameLayer* next, std::size_t end, std::string& bytes)
{
    constexpr unsigned int kDiscardPort = 9;
    const LayerTraits& own = TraitsOf(layer.kind);
    const LayerTraits carried = next ? TraitsOf(next->kind) : LayerTraits{};
    const std::size_t at = layer.offset;
    const unsigned int etherType = next && next->kind == LayerKind::Vlan ? next->tagType : carried.etherType;
    if (own.typeAt != 0 && etherType != 0) Store16(bytes, at + own.typeAt, etherType);
    if (own.protocolAt != 0 && carried.protocol != 0) bytes[at + own.protocolAt] = static_cast<char>(carried.protocol);
    if (own.lengthAt != 0) Store16(bytes, at + own.lengthAt, end - at - own.lengthFrom);
    if (!layer.hasPort) Store16(bytes, at + 2, carried.port != 0 ? carried.port : kDiscardPort);
}

/// Whether a layer is the last label of a stack, which says so by a bit.
bool IsLastLabel(const FrameLayer& layer, const FrameLayer* next)
{
    return layer.kind == LayerKind::Mpls && (!next || next->kind != LayerKind::Mpls);
}

/// The checksum of a layer that has one.
/// \param previous  what it stands behind; null if it is the first one.
ChecksumField ChecksumOf(const FrameLayer& layer, const FrameLayer* previous, std::size_t end)
{
    const LayerTraits& traits = TraitsOf(layer.kind);
    const std::size_t size = layer.kind == LayerKind::Ipv4 ? layer.bytes.size() : end - layer.offset;
    ChecksumField field;
    field.at = layer.offset + traits.checksumAt;
    field.zeroIsAllOnes = layer.kind == LayerKind::Udp;
    if (layer.kind == LayerKind::Udp || layer.kind == LayerKind::Tcp || layer.kind == LayerKind::Icmpv6) {
        const bool isIpv4 = previous->kind == LayerKind::Ipv4; // of whose addresses the pseudo header is made
        field.covered.push_back({previous->offset + (isIpv4 ? 12 : 8), isIpv4 ? 8u : 32u});
        field.initial = static_cast<std::uint32_t>(traits.protocol + size);
    }
    field.covered.push_back({layer.offset, size});
    return field;
}

} // namespace

AssembledFrame::AssembledFrame(const FrameStack& stack)
{
    bytes.reserve(stack.size);
    for (const FrameLayer& layer : stack.layers) bytes += layer.bytes;
    const FrameLayer* previous = nullptr;
    std::ptrdiff_t place = 0; // of the next checksum in the list
    for (std::size_t i = 0; i < stack.layers.size(); ++i) {
        const FrameLayer& layer = stack.layers[i];
        const FrameLayer* const next = i + 1 < stack.layers.size() ? &stack.layers[i + 1] : nullptr;
        Complete(layer, next, stack.end, bytes);
        const bool isLastLabel = IsLastLabel(layer, next);
        if (isLastLabel) bytes[layer.offset + 2] |= 1;
        for (const FrameField& field : layer.fields) {
            if (!field.isCounting) continue;
            fields.push_back(field);
            fields.back().offset += layer.offset;
            if (isLastLabel && field.offset == 0) fields.back().first.low |= 1;
        }
        // Checksums of a packet within a packet come before those that cover it: the inner ones first, in the order of
        // the bytes from one IP header, or GRE header, to the next.
        const bool isCovered = Bit(layer.kind) & (Bit(LayerKind::Ipv4) | Bit(LayerKind::Ipv6) | Bit(LayerKind::Gre));
        if (isCovered) place = 0;
        if (TraitsOf(layer.kind).checksumAt != 0 && layer.hasChecksum) {
            checksums.insert(checksums.begin() + place, ChecksumOf(layer, previous, stack.end));
            ++place;
        }
        previous = &layer;
    }
}

} // namespace zor::common::detail
