#ifndef ZOR_COMMON_CHECKSUM_FIELD_H
#define ZOR_COMMON_CHECKSUM_FIELD_H

/// \file
/// ChecksumField, a checksum of IP, UDP, TCP or ICMP in a frame, and functions that find and compute checksums.

#include "ByteSpan.h"
#include "Export.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zor::common {

/// A checksum in a frame: its place and the bytes that it covers.
///
/// The sum is the ones' complement sum of 16-bit words in network order (RFC 1071). It is 0000 only if all covered
/// bytes and the initial sum are 0; otherwise a sum that is 0 modulo ffff is ffff.
struct ChecksumField {
    std::size_t at = 0;            ///< Offset of its two bytes in the frame; the most significant one comes first.
    std::vector<ByteSpan> covered; ///< The bytes that are summed. Each span begins a new word, and a span of odd size
                                   ///< is padded by a zero byte. Bytes of the field itself count as 0.
    std::uint32_t initial = 0;     ///< Added to the sum: protocol and length of a pseudo header, as numbers.
    bool zeroIsAllOnes = false;    ///< Whether a result of 0000 is written as ffff, as in UDP.
    bool complement = true; ///< Whether the complement of the sum is written, as protocols require. If false, the sum
                            ///< itself is written, for a card that completes it (checksum offload).
};

/// Whether all members are equal, with the spans in the same order.
inline bool operator==(const ChecksumField& left, const ChecksumField& right) noexcept
{
    return left.at == right.at && left.covered == right.covered && left.initial == right.initial &&
           left.zeroIsAllOnes == right.zeroIsAllOnes && left.complement == right.complement;
}
/// Whether they differ.
inline bool operator!=(const ChecksumField& left, const ChecksumField& right) noexcept
{
    return !(left == right);
}

/// The Internet checksum of bytes, as a number (RFC 1071): the complement of their sum.
/// \param bytes    summed as words in network order, a last odd byte padded by a zero byte; may be null if \a size is
///                 0.
/// \param initial  added to the sum, as a number.
ZOR_COMMON_API std::uint16_t InternetChecksum(const unsigned char* bytes, std::size_t size,
                                              std::uint32_t initial = 0) noexcept;

/// Replaces bytes of a frame and corrects a checksum by the difference (RFC 1624): for bytes that a sender writes late,
/// such as a time stamp. The time depends only on the number of replaced bytes.
///
/// Before the call, the field must hold the right checksum of the frame. Afterwards it holds the same checksum as a sum
/// over all bytes gives, unless all covered bytes and the initial sum are 0. Replaced bytes that the field does not
/// cover do not change it; bytes of the field itself are not replaced.
/// \param offset  of the replaced bytes in the frame, which must contain them, the field and the bytes that it covers.
/// \param is      the new bytes, \a size of them, which do not overlap the frame.
ZOR_COMMON_API void AdjustChecksum(const ChecksumField& field, unsigned char* frame, std::size_t offset,
                                   const unsigned char* is, std::size_t size) noexcept;

/// Finds the checksums of an Ethernet frame by its headers, after any number of 802.1Q and 802.1ad tags:
/// - of an IPv4 header, with its options, whatever follows it;
/// - of UDP, TCP and ICMP over IPv4 that is not a fragment;
/// - of UDP, TCP and ICMPv6 over IPv6, after hop-by-hop options, routing headers and destination options.
///
/// Lengths are those of the headers, so padding is not covered. The values of the checksum fields do not matter; a UDP
/// checksum is found even if it is 0. Headers that are cut short or unknown are left out: a UDP length below 8 or
/// beyond the packet, TCP with a data offset below 5 words or beyond the segment, ICMP and ICMPv6 of fewer than 8
/// bytes, and everything after an IPv4 source route or an IPv6 routing header with segments left, as the final
/// destination is not in place yet. The home address of RFC 6275 is ignored.
///
/// \param frame  from the destination address on, without the frame check sequence. For a template, take its value at
///               index 0: `CompiledTemplate(source, FindChecksums(...))`.
/// \return       the fields in the order of their places in the frame.
ZOR_COMMON_API std::vector<ChecksumField> FindChecksums(const unsigned char* frame, std::size_t size);

} // namespace zor::common

#endif // ZOR_COMMON_CHECKSUM_FIELD_H
