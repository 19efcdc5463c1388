#ifndef ZOR_COMMON_INTERNET_SUM_H
#define ZOR_COMMON_INTERNET_SUM_H

/// \file
/// Internal: ones' complement sums of 16-bit words (RFC 1071).
///
/// Words are loaded with the low byte first, which is the order of most processors, and the folded sum is stored in the
/// same way. That gives the same bytes as adding words in network order. A sum is kept in 64 bits, of which carries fill
/// the upper ones, and folded at the end.

#include "BigEndian.h"

#include <cstddef>
#include <cstdint>

namespace zor::common::detail {

/// The words of eight bytes, as a sum below 2^33.
constexpr std::uint64_t SumOfWord(std::uint64_t bytes) noexcept
{
    return (bytes & 0xffffffff) + (bytes >> 32);
}

/// A sum in 16 bits. It is 0 only if the sum is 0.
constexpr std::uint16_t FoldSum(std::uint64_t sum) noexcept
{
    sum = (sum & 0xffffffff) + (sum >> 32);
    sum = (sum & 0xffff) + (sum >> 16);
    sum = (sum & 0xffff) + (sum >> 16);
    sum = (sum & 0xffff) + (sum >> 16);
    return static_cast<std::uint16_t>(sum);
}

/// The sum of a number whose words are in network order.
constexpr std::uint64_t SumOfNumber(std::uint32_t number) noexcept
{
    return __builtin_bswap16(FoldSum(number));
}

/// The sum of bytes, folded.
inline std::uint64_t SumOfBytes(const unsigned char* bytes, std::size_t size) noexcept
{
    std::uint64_t sums[2] = {};
    for (; size >= 16; bytes += 16, size -= 16) {
        sums[0] += SumOfWord(LoadLittleWord<8>(bytes)); // below 2^64 for up to 2^31 words, that is 32 GiB
        sums[1] += SumOfWord(LoadLittleWord<8>(bytes + 8));
    }
    std::uint64_t sum = FoldSum(sums[0]) + std::uint64_t{FoldSum(sums[1])};
    if (size >= 8) {
        sum += SumOfWord(LoadLittleWord<8>(bytes));
        bytes += 8;
        size -= 8;
    }
    if (size != 0) sum += SumOfWord(LoadLittleBytes(bytes, size));
    return FoldSum(sum);
}

/// What a field holds for a sum.
constexpr std::uint16_t ChecksumOf(std::uint64_t sum, bool complement, bool zeroIsAllOnes) noexcept
{
    const std::uint16_t folded = FoldSum(sum);
    const auto checksum = static_cast<std::uint16_t>(complement ? ~folded : folded);
    return checksum == 0 && zeroIsAllOnes ? std::uint16_t{0xffff} : checksum;
}

/// Whether the destination address of an IPv4 header, which a pseudo header has, is the final one: no source route has
/// addresses left. False for options that are cut short.
/// \param size  of the header with its options.
bool IsAtFinalDestination(const unsigned char* header, std::size_t size) noexcept;

} // namespace zor::common::detail

#endif // ZOR_COMMON_INTERNET_SUM_H
