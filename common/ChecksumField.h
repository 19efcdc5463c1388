#ifndef ZOR_COMMON_CHECKSUM_FIELD_H
#define ZOR_COMMON_CHECKSUM_FIELD_H

/// \file
/// ChecksumField and what works it out: the checksums of IP, UDP, TCP and ICMP.

#include "ByteSpan.h"
#include "Export.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zor::common {

/// A checksum in a frame: where it stands and what it covers.
///
/// The sum is the ones' complement sum of 16-bit words in network order (RFC 1071). It is 0000 only if all covered bytes
/// and the initial sum are 0; every other sum that could be 0 is ffff.
struct ChecksumField {
    std::size_t at = 0;            ///< Where its two bytes stand in the frame, the most significant one first.
    std::vector<ByteSpan> covered; ///< What is summed. Each span begins a word, and one of odd size is padded by a zero
                                   ///< byte. Bytes of the field itself count as 0.
    std::uint32_t initial = 0;     ///< Added to the sum: protocol and length of a pseudo header, as numbers.
    bool zeroIsAllOnes = false;    ///< Whether a result of 0000 is written as ffff, as in UDP.
    bool complement = true; ///< Whether the complement of the sum is written, as protocols do. Without it the sum
                            ///< itself is: what a card wants that finishes the checksum (checksum offload).
};

/// Whether both stand at the same place and hold the same, with their spans in the same order.
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
/// \param bytes    summed as words in network order, an odd last byte padded by a zero; may be null if \a size is 0.
/// \param initial  added to the sum, as a number.
ZOR_COMMON_API std::uint16_t InternetChecksum(const unsigned char* bytes, std::size_t size,
                                              std::uint32_t initial = 0) noexcept;

/// Replaces bytes of a frame and keeps a checksum right by the difference (RFC 1624): for what a sender writes late, such
/// as a time stamp. It takes time for the replaced bytes alone.
///
/// The field must hold the checksum of the frame as it is. It then holds that of the frame as it becomes, the same as the
/// sum of all bytes, unless all covered bytes and the initial sum are 0. Replaced bytes that are not covered leave it as
/// it is; those of the field itself are not replaced.
/// \param offset  where the replaced bytes stand in the frame, which must hold them, the field and what it covers.
/// \param is      \a size bytes that do not overlap the frame.
ZOR_COMMON_API void AdjustChecksum(const ChecksumField& field, unsigned char* frame, std::size_t offset,
                                   const unsigned char* is, std::size_t size) noexcept;

/// Finds the checksums of an Ethernet frame by its headers, behind any number of 802.1Q and 802.1ad tags:
/// - of an IPv4 header, with its options, whatever is behind it;
/// - of UDP, TCP and ICMP over IPv4 that is not a fragment;
/// - of UDP, TCP and ICMPv6 over IPv6, behind hop-by-hop options, routing headers and destination options.
///
/// Lengths are those of the headers, so padding is not covered. What the fields hold does not matter. A UDP checksum is
/// found where it is 0 too. Left out is what is cut short or not known: a UDP length below 8 or beyond the packet, TCP
/// with a data offset below 5 words or beyond the segment, ICMP and ICMPv6 of fewer than 8 bytes, and all that is behind an
/// IPv4 source route or an IPv6 routing header that is not used up, as the final destination is not in place yet. A home
/// address (RFC 6275) is not looked for.
///
/// \param frame  from the destination address on, without the frame check sequence. A template's value 0 serves:
///               `CompiledTemplate(source, FindChecksums(...))`.
/// \return       the fields in the order in which they stand in the frame.
ZOR_COMMON_API std::vector<ChecksumField> FindChecksums(const unsigned char* frame, std::size_t size);

} // namespace zor::common

#endif // ZOR_COMMON_CHECKSUM_FIELD_H
