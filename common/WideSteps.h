#ifndef ZOR_COMMON_WIDE_STEPS_H
#define ZOR_COMMON_WIDE_STEPS_H

/// \file
/// Internal: all SSE2, AVX2 and inline assembly of the library, except ScanHex() in AddressForms.h. Each function has a
/// portable version, which is used on other processors and compared in the tests.

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

// Hexadecimal text in blocks of 64 digits, which are four lanes. Each function handles whole blocks only, and returns the
// number of lanes or digits that it has handled. The portable versions handle none. With AVX2, long texts take at most
// half the time of steps of 16 digits.

/// Reads lanes from the digits before \a end, the last ones into the first lane, up to a block with other characters.
inline std::size_t ReadHexLanes(const char* /*end*/, unsigned long long* /*lanes*/, std::size_t /*count*/) noexcept
{
    return 0;
}

/// Writes lanes as digits, the last lane first.
inline std::size_t WriteHexLanes(char*, const unsigned long long*, std::size_t) noexcept
{
    return 0;
}

/// Reads text that has only hexadecimal digits, two for each byte.
inline std::size_t ReadHexBytes(const char*, std::size_t, unsigned char*) noexcept
{
    return 0;
}

// Text of two digits a byte with one other character between the bytes. These functions, too, handle what they can and
// return how much that was; the portable versions handle nothing. With AVX2, such text takes a fifth of the time.

/// Counts the characters at the beginning of a text that are two digits and another character, again and again.
inline std::size_t SkipSeparatedBytes(const char*, std::size_t) noexcept
{
    return 0;
}

/// Reads lanes from the bytes before \a end, the last ones into the first lane.
inline std::size_t ReadSeparatedLanes(const char*, unsigned long long*, std::size_t) noexcept
{
    return 0;
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

/// Writes \a left minus \a right minus \a borrow, 0 or 1, and returns the borrow out of it.
inline unsigned char SubtractWithBorrow(unsigned char borrow, unsigned long long left, unsigned long long right,
                                        unsigned long long* out) noexcept
{
    const unsigned long long difference = left - right;
    *out = difference - borrow;
    return left < right || difference < borrow ? 1 : 0;
}

/// Whether a 32-bit word of a block of lanes is \a word, which has all bits set or none.
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

inline bool HasAvx2() noexcept
{
    return __builtin_cpu_supports("avx2");
}

/// The values of 32 digits of either case; above 15 for other characters, as in ReadHexLane().
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i HexValues(__m256i text) noexcept
{
    const __m256i nineHighest = _mm256_add_epi8(text, _mm256_set1_epi8(static_cast<char>(0xff - '9')));
    const __m256i decimal = _mm256_sub_epi8(_mm256_subs_epu8(nineHighest, _mm256_set1_epi8(6)), _mm256_set1_epi8(-16));
    const __m256i upper = _mm256_and_si256(text, _mm256_set1_epi8(static_cast<char>(~0x20)));
    const __m256i letter = _mm256_adds_epu8(_mm256_sub_epi8(upper, _mm256_set1_epi8('A')), _mm256_set1_epi8(10));
    return _mm256_min_epu8(decimal, letter);
}

[[gnu::target("avx2"), gnu::always_inline]] inline __m256i HexValues(const char* digits) noexcept
{
    return HexValues(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(digits)));
}

/// Joins the values of two digits each to a byte in 16 bits.
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i JoinDigits(__m256i values) noexcept
{
    return _mm256_maddubs_epi16(values,
                                _mm256_set1_epi16(0x0110)); // times 16 for the first digit, times 1 for the second
}

/// Joins the values of 64 digits to 32 bytes, in the order of 64-bit numbers 0, 2, 1, 3.
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i HexBytes(__m256i first, __m256i second) noexcept
{
    return _mm256_packus_epi16(JoinDigits(first), JoinDigits(second));
}

/// Reverses the bytes of each 64-bit number.
[[gnu::target("avx2"), gnu::always_inline]] inline __m256i SwapBytes(__m256i numbers) noexcept
{
    return _mm256_shuffle_epi8(
        numbers, _mm256_set_epi64x(0x08090a0b0c0d0e0f, 0x0001020304050607, 0x08090a0b0c0d0e0f, 0x0001020304050607));
}

[[gnu::target("avx2")]] inline std::size_t ReadHexLanesByAvx2(const char* end, unsigned long long* lanes,
                                                              std::size_t count) noexcept
{
    std::size_t done = 0;
    for (; count - done >= 4; done += 4) {
        end -= 64;
        const __m256i first = HexValues(end);
        const __m256i second = HexValues(end + 32);
        if (!_mm256_testz_si256(_mm256_or_si256(first, second), _mm256_set1_epi8(-16))) break;
        const __m256i bytes = SwapBytes(HexBytes(first, second));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(lanes + done), _mm256_permute4x64_epi64(bytes, 0x27));
    }
    return done;
}

inline std::size_t ReadHexLanes(const char* end, unsigned long long* lanes, std::size_t count) noexcept
{
    return count >= 4 && HasAvx2() ? ReadHexLanesByAvx2(end, lanes, count) : 0;
}

[[gnu::target("avx2")]] inline std::size_t WriteHexLanesByAvx2(char* digits, const unsigned long long* lanes,
                                                               std::size_t count) noexcept
{
    const __m256i text = _mm256_broadcastsi128_si256(
        _mm_setr_epi8('0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'a', 'b', 'c', 'd', 'e', 'f'));
    const __m256i low = _mm256_set1_epi8(15);
    std::size_t done = 0;
    for (; count - done >= 4; done += 4, digits += 64) {
        const auto* const block = reinterpret_cast<const __m256i*>(lanes + count - done - 4);
        // In this order the two halves below are written one after the other.
        const __m256i bytes = SwapBytes(_mm256_permute4x64_epi64(_mm256_loadu_si256(block), 0x27));
        const __m256i firstDigits = _mm256_and_si256(_mm256_srli_epi16(bytes, 4), low);
        const __m256i secondDigits = _mm256_and_si256(bytes, low);
        const __m256i first = _mm256_shuffle_epi8(text, _mm256_unpacklo_epi8(firstDigits, secondDigits));
        const __m256i second = _mm256_shuffle_epi8(text, _mm256_unpackhi_epi8(firstDigits, secondDigits));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(digits), first);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(digits + 32), second);
    }
    return done;
}

inline std::size_t WriteHexLanes(char* digits, const unsigned long long* lanes, std::size_t count) noexcept
{
    return count >= 4 && HasAvx2() ? WriteHexLanesByAvx2(digits, lanes, count) : 0;
}

[[gnu::target("avx2")]] inline std::size_t ReadHexBytesByAvx2(const char* digits, std::size_t size,
                                                              unsigned char* out) noexcept
{
    std::size_t done = 0;
    for (; size - done >= 64; done += 64) {
        const __m256i bytes = HexBytes(HexValues(digits + done), HexValues(digits + done + 32));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + done / 2), _mm256_permute4x64_epi64(bytes, 0xd8));
    }
    return done;
}

inline std::size_t ReadHexBytes(const char* digits, std::size_t size, unsigned char* out) noexcept
{
    return size >= 64 && HasAvx2() ? ReadHexBytesByAvx2(digits, size, out) : 0;
}

/// One bit for each of 32 characters, set where it is no digit.
[[gnu::target("avx2"), gnu::always_inline]] inline unsigned int OtherCharacters(const char* text) noexcept
{
    const __m256i aboveDigits = _mm256_adds_epu8(HexValues(text), _mm256_set1_epi8(127 - 15));
    return static_cast<unsigned int>(_mm256_movemask_epi8(aboveDigits));
}

[[gnu::target("avx2")]] inline std::size_t SkipSeparatedBytesByAvx2(const char* text, std::size_t size) noexcept
{
    std::size_t done = 0;
    for (; size - done >= 96; done += 96, text += 96) { // each third bit from bits 2, 0 and 1 on
        const unsigned int first = OtherCharacters(text) ^ 0x24924924;
        const unsigned int second = OtherCharacters(text + 32) ^ 0x49249249;
        const unsigned int third = OtherCharacters(text + 64) ^ 0x92492492;
        if ((first | second | third) != 0) break;
    }
    return done;
}

inline std::size_t SkipSeparatedBytes(const char* text, std::size_t size) noexcept
{
    return size >= 96 && HasAvx2() ? SkipSeparatedBytesByAvx2(text, size) : 0;
}

[[gnu::target("avx2")]] inline std::size_t ReadSeparatedLanesByAvx2(const char* end, unsigned long long* lanes,
                                                                    std::size_t count) noexcept
{
    // A lane is 23 characters: the first four bytes come from the first 16 of them, the others from the last 16. The
    // digits of the last byte of each four go first, as that is the least significant one.
    const __m256i digits = _mm256_setr_epi8(9, 10, 6, 7, 3, 4, 0, 1, -1, -1, -1, -1, -1, -1, -1, -1, //
                                            14, 15, 11, 12, 8, 9, 5, 6, -1, -1, -1, -1, -1, -1, -1, -1);
    for (std::size_t i = 0; i < count; ++i, end -= 24) {
        const __m128i first = _mm_loadu_si128(reinterpret_cast<const __m128i*>(end - 23));
        const __m128i last = _mm_loadu_si128(reinterpret_cast<const __m128i*>(end - 16));
        const __m256i values = HexValues(_mm256_set_m128i(last, first));
        const __m256i pairs = JoinDigits(_mm256_shuffle_epi8(values, digits));
        const __m256i bytes = _mm256_packus_epi16(pairs, pairs);
        const auto high = static_cast<std::uint32_t>(_mm256_extract_epi32(bytes, 0));
        lanes[i] = std::uint64_t{high} << 32 | static_cast<std::uint32_t>(_mm256_extract_epi32(bytes, 4));
    }
    return count;
}

inline std::size_t ReadSeparatedLanes(const char* end, unsigned long long* lanes, std::size_t count) noexcept
{
    return count > 0 && HasAvx2() ? ReadSeparatedLanesByAvx2(end, lanes, count) : 0;
}

inline unsigned char AddWithCarry(unsigned char carry, unsigned long long left, unsigned long long right,
                                  unsigned long long* out) noexcept
{
    return _addcarry_u64(carry, left, right, out);
}

inline unsigned char SubtractWithBorrow(unsigned char borrow, unsigned long long left, unsigned long long right,
                                        unsigned long long* out) noexcept
{
    return _subborrow_u64(borrow, left, right, out);
}

inline bool BlockHasWord(const unsigned long long* lanes, std::uint32_t word) noexcept
{
    const auto load = [lanes](std::size_t i) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(lanes + i)); };
    // Saturation keeps 0 and -1 apart from all other numbers, so that one comparison of bytes is enough.
    const __m128i low = _mm_packs_epi32(load(0), load(2));
    const __m128i high = _mm_packs_epi32(load(4), load(6));
    const __m128i bytes = _mm_packs_epi16(low, high);
    return _mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(static_cast<char>(word)))) != 0;
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
using portable::ReadHexBytes;
using portable::ReadHexLane;
using portable::ReadHexLanes;
using portable::ReadSeparatedLanes;
using portable::SkipSeparatedBytes;
using portable::SubtractWithBorrow;
using portable::WriteHexLane;
using portable::WriteHexLanes;

#endif

} // namespace zor::common::detail

#endif // ZOR_COMMON_WIDE_STEPS_H
