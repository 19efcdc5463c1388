#include "ChecksumField.h"

#include "BigEndian.h"
#include "InternetSum.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace zor::common {

std::uint16_t InternetChecksum(const unsigned char* bytes, std::size_t size, std::uint32_t initial) noexcept
{
    const std::uint64_t sum = detail::SumOfBytes(bytes, size) + detail::SumOfNumber(initial);
    return __builtin_bswap16(detail::ChecksumOf(sum, true, false));
}

void AdjustChecksum(const ChecksumField& field, unsigned char* frame, std::size_t offset, const unsigned char* is,
                    std::size_t size) noexcept
{
    const auto isOfField = [&field](std::size_t at) { return at - field.at < 2; };
    const std::uint16_t held = detail::LoadBig16(frame + field.at);
    std::uint64_t sum = field.complement ? held ^ 0xffffu : held;
    bool isCovered = false;
    for (const ByteSpan& span : field.covered) {
        const std::size_t end = std::min(span.offset + span.size, offset + size);
        for (std::size_t at = std::max(span.offset, offset); at < end; ++at) {
            if (isOfField(at)) continue;
            const std::uint32_t weight = (at - span.offset) % 2 == 0 ? 256 : 1;
            isCovered = true;
            sum += (0xffff - weight * frame[at]) + weight * is[at - offset]; // minus the old one, plus the new one
        }
        sum = detail::FoldSum(sum);
    }
    for (std::size_t i = 0; i < size; ++i) {
        if (!isOfField(offset + i)) frame[offset + i] = is[i];
    }
    if (!isCovered) return;
    if (sum == 0) sum = 0xffff; // the same number; a sum of bytes gives this one
    detail::StoreBig16(frame + field.at, detail::ChecksumOf(sum, field.complement, field.zeroIsAllOnes));
}

namespace detail {

bool IsAtFinalDestination(const unsigned char* header, std::size_t size) noexcept
{
    constexpr unsigned char kEnd = 0, kNoOperation = 1, kLooseRoute = 131, kStrictRoute = 137;
    for (std::size_t at = 20; at < size && header[at] != kEnd;) {
        if (header[at] == kNoOperation) {
            ++at;
            continue;
        }
        if (size - at < 2 || header[at + 1] < 2 || header[at + 1] > size - at) return false;
        if (header[at] == kLooseRoute || header[at] == kStrictRoute) {
            if (header[at + 1] < 3 || header[at + 2] <= header[at + 1]) return false; // the pointer is at an address
        }
        at += header[at + 1];
    }
    return true;
}

} // namespace detail

namespace {

using detail::LoadBig16;

constexpr unsigned int kIcmp = 1;
constexpr unsigned int kTcp = 6;
constexpr unsigned int kUdp = 17;
constexpr unsigned int kIcmpv6 = 58;

/// Bytes of a packet from an offset of the frame on.
struct Bytes {
    const unsigned char* frame;
    std::size_t offset;
    std::size_t size;

    const unsigned char& operator[](std::size_t i) const noexcept { return frame[offset + i]; }
    std::size_t Number16(std::size_t i) const noexcept { return LoadBig16(frame + offset + i); }
    Bytes From(std::size_t i) const noexcept { return {frame, offset + i, size - i}; }
    Bytes First(std::size_t count) const noexcept { return {frame, offset, count}; }
};

/// The checksum of what IP carries.
/// \param addresses  those of the pseudo header.
std::optional<ChecksumField> FindTransport(unsigned int protocol, Bytes segment, const ByteSpan& addresses, bool isIpv6)
{
    ChecksumField field;
    std::size_t place = 0;
    switch (protocol) {
    case kUdp: {
        if (segment.size < 8) return std::nullopt;
        const std::size_t length = segment.Number16(4);
        if (length < 8 || length > segment.size) return std::nullopt;
        segment = segment.First(length);
        field.zeroIsAllOnes = true;
        place = 6;
        break;
    }
    case kTcp: {
        if (segment.size < 20) return std::nullopt;
        const std::size_t header = segment[12] >> 4;
        if (header < 5 || 4 * header > segment.size) return std::nullopt;
        place = 16;
        break;
    }
    default:
        if (protocol != (isIpv6 ? kIcmpv6 : kIcmp) || segment.size < 8) return std::nullopt;
        place = 2;
        break;
    }
    field.at = segment.offset + place;
    if (protocol != kIcmp) {
        field.covered.push_back(addresses);
        field.initial = static_cast<std::uint32_t>(protocol + segment.size);
    }
    field.covered.push_back({segment.offset, segment.size});
    return field;
}

void FindInIpv4(const Bytes& packet, std::vector<ChecksumField>& fields)
{
    if (packet.size < 20 || packet[0] >> 4 != 4) return;
    const std::size_t header = 4u * (packet[0] & 15);
    if (header < 20 || header > packet.size) return;
    ChecksumField field;
    field.at = packet.offset + 10;
    field.covered = {{packet.offset, header}};
    fields.push_back(field);

    constexpr std::size_t kIsFragment = 0x3fff; // more fragments, and the offset of this one
    const std::size_t length = packet.Number16(2);
    if (length < header || length > packet.size || (packet.Number16(6) & kIsFragment) != 0) return;
    if (!detail::IsAtFinalDestination(&packet[0], header)) return;
    auto transport = FindTransport(packet[9], packet.First(length).From(header), {packet.offset + 12, 8}, false);
    if (transport) fields.push_back(std::move(*transport));
}

void FindInIpv6(const Bytes& packet, std::vector<ChecksumField>& fields)
{
    constexpr unsigned int kHopByHop = 0, kRouting = 43, kDestinationOptions = 60;
    if (packet.size < 40 || packet[0] >> 4 != 6 || packet.Number16(4) > packet.size - 40) return;
    Bytes rest = packet.From(40).First(packet.Number16(4));
    unsigned int protocol = packet[6];
    for (bool isFirst = true;; isFirst = false) {
        if (protocol != kRouting && protocol != kDestinationOptions && !(protocol == kHopByHop && isFirst)) break;
        if (rest.size < 8) return;
        const std::size_t size = 8u * (rest[1] + 1u);
        if (size > rest.size || (protocol == kRouting && rest[3] != 0)) return; // with segments left
        protocol = rest[0];
        rest = rest.From(size);
    }
    auto transport = FindTransport(protocol, rest, {packet.offset + 8, 32}, true);
    if (transport) fields.push_back(std::move(*transport));
}

} // namespace

std::vector<ChecksumField> FindChecksums(const unsigned char* frame, std::size_t size)
{
    constexpr std::size_t kTag = 0x8100, kServiceTag = 0x88a8, kIpv4 = 0x0800, kIpv6 = 0x86dd;
    std::vector<ChecksumField> fields;
    for (std::size_t at = 12; size >= 2 && at <= size - 2; at += 4) {
        const std::size_t type = LoadBig16(frame + at);
        const Bytes packet{frame, at + 2, size - at - 2};
        if (type == kTag || type == kServiceTag) continue;
        if (type == kIpv4) FindInIpv4(packet, fields);
        if (type == kIpv6) FindInIpv6(packet, fields);
        break;
    }
    return fields;
}

} // namespace zor::common
