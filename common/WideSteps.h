#ifndef ZOR_COMMON_WIDE_STEPS_H
#define ZOR_COMMON_WIDE_STEPS_H

/// \file
/// Internal: SSE2 and inline assembly, all of it but ScanHex() in AddressForms.h. Each function has a portable version,
/// which is used on other processors and compared in the tests.

#include "AddressForms.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

#ifdef __x86_64__
#include <immintrin.h>
#endif

namespace zor::common::detail {

/// How many lanes of 64 bits BlockHasWord() looks at.
inline constexpr std::size_t kBlockLanes = 8;

namespace portable {

/// Reads 16 hexadecimal digits of either case, the most significant one first. False says that there are other
/// characters among them, which leaves \a number undefined.
inline bool ReadHexLane(const char* digits, unsigned long long& number) noexcept
{
    number = 0;
    unsigned int all = 0;
    for (int i = 0; i < 16; ++i) {
        const unsigned int value = HexDigitValue(digits[i]);
        all |= value;
        number = number << 4 | (value & 15);
    }
    return all <= 15;
}

/// Writes 16 lower-case digits, the most significant one first.
inline void WriteHexLane(char* digits, unsigned long long number) noexcept
{
    for (int shift = 56; shift >= 0; shift -= 8) {
        digits = WriteHexByte(digits, static_cast<unsigned char>(number >> shift));
    }
}

/// Writes the sum of two numbers and \a carry, 0 or 1, and returns the carry out of it.
inline unsigned char AddWithCarry(unsigned char carry, unsigned long long left, unsigned long long right,
                                  unsigned long long* out) noexcept
{
    const unsigned long long sum = left + right;
    const unsigned long long result = sum + carry;
    *out = result;
    return sum < left || result < sum ? 1 : 0;
}

/// Whether a 32-bit word of a block of lanes is \a word.
inline bool BlockHasWord(const unsigned long long* lanes, std::uint32_t word) noexcept
{
    bool found = false;
    for (std::size_t i = 0; i < kBlockLanes; ++i) {
        found |= lanes[i] >> 32 == word || (lanes[i] & 0xffffffff) == word;
    }
    return found;
}

/// Divides \a high : \a low by a divisor above \a high, so that the quotient fits 64 bits.
inline std::uint64_t DivideToWord(std::uint64_t high, std::uint64_t low, std::uint64_t divisor,
                                  std::uint64_t& remainder) noexcept
{
    __extension__ typedef unsigned __int128 Wide;
    const Wide dividend = static_cast<Wide>(high) << 64 | low;
    remainder = static_cast<std::uint64_t>(dividend % divisor);
    return static_cast<std::uint64_t>(dividend / divisor);
}

} // namespace portable

#ifdef __x86_64__ // which has SSE2

inline bool ReadHexLane(const char* digits, unsigned long long& number) noexcept
{
    const __m128i text = _mm_loadu_si128(reinterpret_cast<const __m128i*>(digits));
    // Saturation keeps what is no decimal digit, or no letter, above 15 in the one, or the other.
    const __m128i nineHighest = _mm_add_epi8(text, _mm_set1_epi8(static_cast<char>(0xff - '9')));
    const __m128i decimal = _mm_sub_epi8(_mm_subs_epu8(nineHighest, _mm_set1_epi8(6)), _mm_set1_epi8(-16));
    const __m128i upper = _mm_and_si128(text, _mm_set1_epi8(static_cast<char>(~0x20)));
    const __m128i letter = _mm_adds_epu8(_mm_sub_epi8(upper, _mm_set1_epi8('A')), _mm_set1_epi8(10));
    const __m128i values = _mm_min_epu8(decimal, letter);
    // The first digit of each pair is the low byte of a 16-bit number, and the high half of a byte of the result.
    const __m128i pairs = _mm_or_si128(_mm_slli_epi16(values, 4), _mm_srli_epi16(values, 8));
    const __m128i bytes = _mm_and_si128(pairs, _mm_set1_epi16(0xff));
    std::uint64_t firstByteLow;
    _mm_storel_epi64(reinterpret_cast<__m128i*>(&firstByteLow), _mm_packus_epi16(bytes, bytes));
    number = __builtin_bswap64(firstByteLow);
    return _mm_movemask_epi8(_mm_adds_epu8(values, _mm_set1_epi8(127 - 15))) == 0;
}

inline void WriteHexLane(char* digits, unsigned long long number) noexcept
{
    const std::uint64_t firstByteLow = __builtin_bswap64(number);
    const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(&firstByteLow));
    const __m128i pairs = _mm_unpacklo_epi8(_mm_srli_epi16(bytes, 4), bytes);
    const __m128i values = _mm_and_si128(pairs, _mm_set1_epi8(15));
    const __m128i toLetter = _mm_and_si128(_mm_cmpgt_epi8(values, _mm_set1_epi8(9)), _mm_set1_epi8('a' - '0' - 10));
    const __m128i text = _mm_add_epi8(_mm_add_epi8(values, _mm_set1_epi8('0')), toLetter);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(digits), text);
}

inline unsigned char AddWithCarry(unsigned char carry, unsigned long long left, unsigned long long right,
                                  unsigned long long* out) noexcept
{
    return _addcarry_u64(carry, left, right, out);
}

inline bool BlockHasWord(const unsigned long long* lanes, std::uint32_t word) noexcept
{
    const __m128i wanted = _mm_set1_epi32(static_cast<int>(word));
    const auto found = [=](std::size_t i) {
        return _mm_cmpeq_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(lanes + i)), wanted);
    };
    const __m128i low = _mm_or_si128(found(0), found(2));
    const __m128i high = _mm_or_si128(found(4), found(6));
    return _mm_movemask_epi8(_mm_or_si128(low, high)) != 0;
}

/// The compiler calls a function for any dividend of 128 bits, where this is one instruction.
inline std::uint64_t DivideToWord(std::uint64_t high, std::uint64_t low, std::uint64_t divisor,
                                  std::uint64_t& remainder) noexcept
{
    std::uint64_t quotient;
    __asm__("divq %4" : "=a"(quotient), "=d"(remainder) : "a"(low), "d"(high), "r"(divisor) : "cc");
    return quotient;
}

#else

using portable::AddWithCarry;
using portable::BlockHasWord;
using portable::DivideToWord;
using portable::ReadHexLane;
using portable::WriteHexLane;

#endif

} // namespace zor::common::detail

#endif // ZOR_COMMON_WIDE_STEPS_H
