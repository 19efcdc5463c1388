#include "BigEndian.h"
#include "FrameLayers.h"

#include <algorithm>

namespace zor::common::detail {

namespace {

void Store16(std::string& bytes, std::size_t offset, std::size_t number)
{
    StoreBig16(reinterpret_cast<unsigned char*>(bytes.data()) + offset, static_cast<std::uint16_t>(number));
}

/// Marks the last label of a stack. What was captured without a packet behind it stays as it is.
void CompleteLabel(const FrameLayer& layer, const FrameLayer* next, std::string& bytes)
{
    const bool isBeforePacket = next && next->kind != LayerKind::Padding && (Bit(next->kind) & kPayloads) == 0;
    if (layer.isTaken && !isBeforePacket) return;
    char& byte = bytes[layer.offset + 2];
    byte = static_cast<char>(next && next->kind == LayerKind::Mpls ? byte & ~1 : byte | 1);
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
    const std::size_t protocolAt = layer.protocolAt != 0 ? layer.protocolAt : own.protocolAt;
    if (protocolAt != 0 && carried.protocol != 0) bytes[at + protocolAt] = static_cast<char>(carried.protocol);
    if (own.lengthAt != 0 && layer.hasLength) Store16(bytes, at + own.lengthAt, end - at - own.lengthFrom);
    if (!layer.hasPort) Store16(bytes, at + 2, carried.port != 0 ? carried.port : kDiscardPort);
    if (layer.kind == LayerKind::Mpls) CompleteLabel(layer, next, bytes);
}

/// The checksum of a layer that has one.
/// \param previous  what it stands behind; null if it is the first one.
ChecksumField ChecksumFieldOf(const FrameLayer& layer, const FrameLayer* previous, std::size_t end)
{
    const LayerTraits& traits = TraitsOf(layer.kind);
    const std::size_t size = layer.kind == LayerKind::Ipv4 ? layer.bytes.size() : end - layer.offset;
    ChecksumField field;
    field.at = layer.offset + traits.checksumAt;
    field.zeroIsAllOnes = layer.kind == LayerKind::Udp || layer.zeroIsAllOnes;
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
    // Padding ends a layer and all behind it, and a layer ends with the one that it stands behind.
    std::vector<std::size_t> ends(stack.layers.size(), stack.size);
    for (std::size_t i = stack.layers.size(); i-- > 0;) {
        const FrameLayer& layer = stack.layers[i];
        if (layer.kind != LayerKind::Padding) continue;
        for (std::size_t closed = layer.closes; closed < i; ++closed) ends[closed] = layer.offset;
    }
    const FrameLayer* previous = nullptr;
    std::ptrdiff_t place = 0; // of the next checksum in the list
    for (std::size_t i = 0; i < stack.layers.size(); ++i) {
        const FrameLayer& layer = stack.layers[i];
        Complete(layer, i + 1 < stack.layers.size() ? &stack.layers[i + 1] : nullptr, ends[i], bytes);
        for (const FrameField& field : layer.fields) {
            if (!field.isCounting && !field.isHole) continue;
            fields.push_back(field);
            FrameField& last = fields.back();
            last.offset += layer.offset;
            if (layer.kind == LayerKind::Mpls &&
                field.offset == 0) { // which shares a byte with the mark of the last one
                const auto mark = static_cast<std::uint64_t>(bytes[layer.offset + 2] & 1);
                last.others = (last.others & ~std::uint64_t{1}) | mark;
                last.first.low = (last.first.low & ~std::uint64_t{1}) | mark;
            }
        }
        // Checksums of a packet within a packet come before those that cover it: the inner ones first, in the order of
        // the bytes from one IP header, or GRE header, to the next.
        constexpr unsigned int kCovered = Bit(LayerKind::Ipv4) | Bit(LayerKind::Ipv6) | Bit(LayerKind::Gre);
        if ((Bit(layer.kind) & kCovered) != 0) place = 0;
        if (TraitsOf(layer.kind).checksumAt != 0 && layer.hasChecksum) {
            checksums.insert(checksums.begin() + place, ChecksumFieldOf(layer, previous, ends[i]));
            ++place;
        }
        previous = &layer;
    }
    for (const FrameField& span : stack.spans) {
        bytes.replace(span.offset, span.size, span.GetText());
        if (span.isCounting) fields.push_back(span);
    }
    if (!stack.spans.empty()) {
        std::sort(fields.begin(), fields.end(),
                  [](const FrameField& left, const FrameField& right) { return left.offset < right.offset; });
    }
}

} // namespace zor::common::detail
