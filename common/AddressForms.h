#ifndef ZOR_COMMON_ADDRESS_FORMS_H
#define ZOR_COMMON_ADDRESS_FORMS_H

/// \file
/// Internal: the usual forms of address texts, as they are written and as most texts are that are read. Strict and
/// lenient readers try these first; a text of no usual form may still be an address, or not.

#include "BigEndian.h"
#include "Characters.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#ifdef __x86_64__
#include <emmintrin.h>
#endif

namespace zor::common::detail {

/// The text of one byte in decimal: up to three digits, then how many there are.
struct DecimalByte {
    char digits[3];
    unsigned char length;
};

inline constexpr std::array<DecimalByte, 256> kDecimalBytes = []() {
    std::array<DecimalByte, 256> table{};
    for (unsigned int byte = 0; byte < 256; ++byte) {
        DecimalByte& entry = table[byte];
        if (byte >= 100) entry.digits[entry.length++] = static_cast<char>('0' + byte / 100);
        if (byte >= 10) entry.digits[entry.length++] = static_cast<char>('0' + byte / 10 % 10);
        entry.digits[entry.length++] = static_cast<char>('0' + byte % 10);
    }
    return table;
}();

// Writers. Each returns the end of what it has written; several touch characters behind that, as they say.

/// Copies \a length characters; all \a Room of them where that can be done in one step.
template <std::size_t Room>
constexpr void CopyChars(char* out, const char* chars, std::size_t length) noexcept
{
    if (__builtin_is_constant_evaluated()) {
        for (std::size_t i = 0; i < length; ++i) out[i] = chars[i];
    } else {
        std::memcpy(out, chars, Room);
    }
}

/// Writes one to three digits; up to four characters are touched.
constexpr char* WriteDecimalByte(char* out, unsigned char byte) noexcept
{
    const DecimalByte& entry = kDecimalBytes[byte];
    if (__builtin_is_constant_evaluated()) {
        CopyChars<3>(out, entry.digits, entry.length);
    } else {
        std::memcpy(out, &entry, sizeof entry);
    }
    return out + entry.length;
}

/// Writes exactly two digits.
constexpr char* WriteHexByte(char* out, unsigned char byte,
                             const std::array<char, 512>& hexBytes = kLowerHexBytes) noexcept
{
    CopyChars<2>(out, hexBytes.data() + 2 * byte, 2);
    return out + 2;
}

/// Room for "255.255.255.255" and for the character that WriteDecimalByte touches beyond it.
inline constexpr std::size_t kDottedDecimalRoom = 16;

constexpr char* WriteDottedDecimal(char* out, const unsigned char* bytes) noexcept
{
    for (int i = 0; i < 3; ++i) {
        out = WriteDecimalByte(out, bytes[i]);
        *out++ = '.';
    }
    return WriteDecimalByte(out, bytes[3]);
}

/// Room for eight groups of four digits with colons between them, and for one more that WriteHexGroups touches beyond
/// the last. The form that ends in dotted decimal takes kDottedGroupsRoom where all six groups stand before it.
inline constexpr std::size_t kHexGroupsRoom = 40;
inline constexpr std::size_t kDottedGroupsRoom = 30 + kDottedDecimalRoom;

/// Of groups whose zeros are the set bits of a number, group 0 at bit 0: the first of the longest runs of zeros.
struct ZeroRun {
    unsigned char start;
    unsigned char length; // 0 where there is none
};

inline constexpr std::array<ZeroRun, 256> kZeroRuns = [] {
    std::array<ZeroRun, 256> table{};
    for (unsigned int zeros = 0; zeros < 256; ++zeros) {
        for (unsigned int i = 0, length = 0; i < 8; ++i) {
            length = (zeros >> i & 1) != 0 ? length + 1 : 0;
            if (length > table[zeros].length) {
                table[zeros] = {static_cast<unsigned char>(i + 1 - length), static_cast<unsigned char>(length)};
            }
        }
    }
    return table;
}();

namespace portable {

/// Writes the 32 lower-case digits of 16 bytes, and returns which groups of 16 bits are zero, group 0 at bit 0.
constexpr unsigned int WriteGroupDigits(unsigned char* digits, const unsigned char* bytes) noexcept
{
    unsigned int zeros = 0;
    for (int i = 0; i < 16; ++i) {
        digits[2 * i] = static_cast<unsigned char>(kLowerHexBytes[2 * bytes[i]]);
        digits[2 * i + 1] = static_cast<unsigned char>(kLowerHexBytes[2 * bytes[i] + 1]);
    }
    for (int i = 0; i < 8; ++i) zeros |= (LoadBig16(bytes + 2 * i) == 0 ? 1u : 0u) << i;
    return zeros;
}

} // namespace portable

#ifdef __x86_64__ // which has SSE2

inline unsigned int WriteGroupDigits(unsigned char* digits, const unsigned char* bytes) noexcept
{
    // Two loads, as the halves may just have been stored: one load of both would wait, which doubled the time.
    const __m128i number = _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes)),
                                              _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes + 8)));
    const __m128i isNibble = _mm_set1_epi8(0x0f);
    const __m128i high = _mm_and_si128(_mm_srli_epi16(number, 4), isNibble);
    const __m128i low = _mm_and_si128(number, isNibble);
    const auto write = [](unsigned char* out, __m128i nibbles) {
        const __m128i letters = _mm_and_si128(_mm_cmpgt_epi8(nibbles, _mm_set1_epi8(9)), _mm_set1_epi8('a' - '0' - 10));
        const __m128i text = _mm_add_epi8(_mm_add_epi8(nibbles, _mm_set1_epi8('0')), letters);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), text);
    };
    write(digits, _mm_unpacklo_epi8(high, low));
    write(digits + 16, _mm_unpackhi_epi8(high, low));
    const __m128i zeros = _mm_cmpeq_epi16(number, _mm_setzero_si128());
    return static_cast<unsigned int>(_mm_movemask_epi8(_mm_packs_epi16(zeros, _mm_setzero_si128())));
}

#else

using portable::WriteGroupDigits;

#endif

/// Writes a group of four digits without leading zeros; up to four characters are touched.
constexpr char* WriteHexGroup(char* out, const unsigned char* digits) noexcept
{
    const std::uint32_t text = LoadLittle32(digits);
    const int zeroBits = __builtin_ctz((text ^ 0x30303030) | 1 << 24) & ~7; // of the leading zeros
    if (__builtin_is_constant_evaluated()) {
        for (int i = 0; i < 4 - zeroBits / 8; ++i) out[i] = static_cast<char>(text >> zeroBits >> 8 * i);
    } else {
        StoreLittle(reinterpret_cast<unsigned char*>(out), text >> zeroBits);
    }
    return out + 4 - zeroBits / 8;
}

/// Writes \a count groups of 16 bits, 6 or 8, in lower case without leading zeros, a ":" after each but the eighth, and
/// the first of the longest runs of zero groups as "::" unless it is shorter than \a shortest groups.
/// \param bytes  16 of them, even where six groups are written.
constexpr char* WriteHexGroups(char* out, const unsigned char* bytes, int count, int shortest) noexcept
{
    unsigned char digits[32] = {};
    unsigned int zeros =
        __builtin_is_constant_evaluated() ? portable::WriteGroupDigits(digits, bytes) : WriteGroupDigits(digits, bytes);
    zeros &= (1u << count) - 1;
    ZeroRun run = kZeroRuns[zeros];
    if (run.length < shortest) run = {0, 0};
    const auto write = [&](int first, int last) {
        for (int i = first; i < last; ++i) {
            out = WriteHexGroup(out, digits + 4 * i);
            *out = ':';
            out += i < 7 ? 1 : 0;
        }
    };
    if (run.length > 0) {
        write(0, run.start);
        if (run.start == 0) *out++ = ':';
        *out++ = ':';
    }
    write(run.start + run.length, count);
    return out;
}

/// Writes \a size bytes as pairs of hex digits, with \a separator after every \a bytesPerGroup of them but the last.
/// Inlined, as the loop is worth unrolling for the sizes that the calls name.
[[gnu::always_inline]] constexpr char* WriteHexBytes(char* out, const unsigned char* bytes, int size, int bytesPerGroup,
                                                     char separator,
                                                     const std::array<char, 512>& hexBytes = kLowerHexBytes) noexcept
{
#pragma GCC unroll 8
    for (int i = 0; i < size; ++i) {
        if (i > 0 && i % bytesPerGroup == 0) *out++ = separator;
        out = WriteHexByte(out, bytes[i], hexBytes);
    }
    return out;
}

// Readers. False says that a text is not of the form, which leaves what they give alone.

/// The longest text that ScanHex() looks at.
inline constexpr std::size_t kHexScanRoom = 48;

/// Which characters of a text are hex digits and which are the separator: bit i stands for character i.
struct HexScan {
    std::uint64_t digits = 0;
    std::uint64_t separators = 0;
};

namespace portable {

/// Scans up to kHexScanRoom characters.
inline HexScan ScanHex(const char* text, std::size_t size, char separator) noexcept
{
    HexScan scan;
    for (std::size_t i = 0; i < size; ++i) {
        scan.digits |= std::uint64_t{HexDigitValue(text[i]) < 16} << i;
        scan.separators |= std::uint64_t{text[i] == separator} << i;
    }
    return scan;
}

} // namespace portable

#ifdef __x86_64__ // which has SSE2

inline HexScan ScanHexVector(__m128i characters, char separator) noexcept
{
    const auto maskOf = [](__m128i bytes) { return static_cast<std::uint64_t>(_mm_movemask_epi8(bytes)); };
    // Unsigned, which is what the minimum is taken for: others are above after the subtraction.
    const auto isAtMost = [](__m128i bytes, char limit) {
        return _mm_cmpeq_epi8(_mm_min_epu8(bytes, _mm_set1_epi8(limit)), bytes);
    };
    const __m128i lowerCase = _mm_or_si128(characters, _mm_set1_epi8(0x20));
    const __m128i decimal = isAtMost(_mm_sub_epi8(characters, _mm_set1_epi8('0')), 9);
    const __m128i letter = isAtMost(_mm_sub_epi8(lowerCase, _mm_set1_epi8('a')), 5);
    return {maskOf(_mm_or_si128(decimal, letter)), maskOf(_mm_cmpeq_epi8(characters, _mm_set1_epi8(separator)))};
}

/// In steps of 16 characters, the last of which may overlap the one before; of 8 to 15, the first and the last 8.
inline HexScan ScanHex(const char* text, std::size_t size, char separator) noexcept
{
    if (size < 8) return portable::ScanHex(text, size, separator);
    if (size < 16) {
        __m128i ends = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(text));
        ends = _mm_unpacklo_epi64(ends, _mm_loadl_epi64(reinterpret_cast<const __m128i*>(text + size - 8)));
        const HexScan scan = ScanHexVector(ends, separator);
        const auto join = [=](std::uint64_t bits) { return (bits & 0xff) | bits >> 8 << (size - 8); };
        return {join(scan.digits), join(scan.separators)};
    }
    HexScan scan;
    const auto add = [&](std::size_t at) __attribute__((always_inline))
    {
        const __m128i characters = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + at));
        const HexScan step = ScanHexVector(characters, separator);
        scan.digits |= step.digits << at;
        scan.separators |= step.separators << at;
    };
    add(0);
    if (size == 16) return scan;
    add(size < 32 ? size - 16 : 16); // no branch, as sizes around 32 are those of full addresses
    add(size - 16);
    return scan;
}

#else

using portable::ScanHex;

#endif

/// Reads a decimal byte: one to three digits and no more, at most 255, without leading zeros. Gives its end, or null.
[[gnu::always_inline]] inline const char* ReadDecimalByte(const char* next, const char* end,
                                                          std::uint32_t& value) noexcept
{
    if (next == end) return nullptr;
    unsigned int number = DecimalDigitValue(*next);
    if (number > 9) return nullptr;
    if (unsigned int digit = 0; ++next != end && (digit = DecimalDigitValue(*next)) <= 9) {
        if (number == 0) return nullptr;
        number = 10 * number + digit;
        if (++next != end && (digit = DecimalDigitValue(*next)) <= 9) {
            number = 10 * number + digit;
            if (number > 255 || (++next != end && DecimalDigitValue(*next) <= 9)) return nullptr;
        }
    }
    value = number;
    return next;
}

namespace portable {

/// Reads dotted decimal: exactly four decimal bytes joined by dots. Each has branches of its own, which predictors tell
/// apart better than those of a loop: a quarter of the time on random addresses.
inline bool ReadDottedDecimal(const char* text, const char* end, std::uint32_t& value) noexcept
{
    std::uint32_t bytes[4] = {};
    if (!(text = ReadDecimalByte(text, end, bytes[0])) || text == end || *text != '.') return false;
    if (!(text = ReadDecimalByte(text + 1, end, bytes[1])) || text == end || *text != '.') return false;
    if (!(text = ReadDecimalByte(text + 1, end, bytes[2])) || text == end || *text != '.') return false;
    if (!(text = ReadDecimalByte(text + 1, end, bytes[3])) || text != end) return false;
    value = bytes[0] << 24 | bytes[1] << 16 | bytes[2] << 8 | bytes[3];
    return true;
}

} // namespace portable

#ifdef __x86_64__

/// The same without a branch on where the dots are, so that all addresses of 8 to 15 characters take the same time: a
/// third less than the plain form on addresses that differ, more than half as much again on a few that come back all the
/// time. The plain form reads texts of other sizes.
inline bool ReadDottedDecimal(const char* text, const char* end, std::uint32_t& value) noexcept
{
    if (end - text < 8 || end - text > 15) return portable::ReadDottedDecimal(text, end, value);
    const auto size = static_cast<unsigned int>(end - text);
    __m128i characters = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(text));
    characters = _mm_unpacklo_epi64(characters, _mm_loadl_epi64(reinterpret_cast<const __m128i*>(end - 8)));
    const __m128i numbers = _mm_sub_epi8(characters, _mm_set1_epi8('0'));
    const __m128i digitBytes = _mm_cmpeq_epi8(_mm_min_epu8(numbers, _mm_set1_epi8(9)), numbers);
    const __m128i zeroBytes = _mm_cmpeq_epi8(characters, _mm_set1_epi8('0'));
    // Bit i is for character i: in the low half whether it is a digit, in the high half whether it is "0". The last eight
    // characters are moved to their places, and may overlap the first eight.
    std::uint64_t bits = static_cast<std::uint64_t>(_mm_movemask_epi8(zeroBytes)) << 32 |
                         static_cast<std::uint64_t>(_mm_movemask_epi8(digitBytes));
    bits = (bits & 0xff000000ff) | (bits >> 8 & 0xff000000ff) << (size - 8);
    const auto digits = static_cast<unsigned int>(bits);
    const auto zeros = static_cast<unsigned int>(bits >> 32);
    const unsigned int behind = 1u << size;
    const unsigned int dots = digits ^ (behind - 1); // or what stands where dots should
    const unsigned int dotsBehindFirst = dots & (dots - 1);
    const unsigned int lastDot = dotsBehindFirst & (dotsBehindFirst - 1);
    const unsigned int starts = 2 * dots + 1;
    const unsigned int faults = (starts & (dots | behind))                           // a number without digits
                                | (zeros & starts & digits >> 1)                     // one led by a zero
                                | (digits & digits >> 1 & digits >> 2 & digits >> 3) // one of four digits
                                | (lastDot & (lastDot - 1));                         // more than three dots
    if (lastDot == 0 || faults != 0) return false;

    const auto first = static_cast<unsigned int>(__builtin_ctz(dots));
    const auto second = static_cast<unsigned int>(__builtin_ctz(dotsBehindFirst));
    const auto third = static_cast<unsigned int>(__builtin_ctz(lastDot));
    if (text[first] != '.' || text[second] != '.' || text[third] != '.') return false;
    // Four characters are loaded for each number. For the first two numbers the load starts where the number does, for the
    // last two it ends where the number does, so that all loads lie within the text. The last digit of each number comes to
    // the highest byte.
    constexpr std::uint32_t kDigits = 0x0f0f0f00;
    static constexpr std::uint32_t kRaise[4] = {0, 1u << 24, 1u << 16, 1u << 8};
    static constexpr std::uint32_t kKeep[4] = {0, 0x0f000000, 0x0f0f0000, kDigits};
    const auto* const bytes = reinterpret_cast<const unsigned char*>(text);
    const std::uint32_t parts[4] = {LoadLittle32(bytes) * kRaise[first] & kDigits,
                                    LoadLittle32(bytes + first + 1) * kRaise[second - first - 1] & kDigits,
                                    LoadLittle32(bytes + third - 4) & kKeep[third - second - 1],
                                    LoadLittle32(bytes + size - 4) & kKeep[size - third - 1]};
    std::uint32_t result = 0;
    std::uint32_t above = 0; // 255
#pragma GCC unroll 4
    for (const std::uint32_t part : parts) {
        result = result << 8 | part * (100u << 16 | 10u << 8 | 1u) >> 24;
        above |= 0x020505 - __builtin_bswap32(part);
    }
    if (above >> 31 != 0) return false;
    value = result;
    return true;
}

#else

using portable::ReadDottedDecimal;

#endif

/// Reads hex groups: two digits for each of \a Size bytes, where after every \a BytesPerGroup of them the same
/// separator stands, one of ":-.". A scan reads the same groups from every such text: no two digits are a prefix or a
/// sign.
template <int Size, int BytesPerGroup>
[[gnu::always_inline]] inline bool ReadHexGroups(const char* text, const char* end, std::uint64_t& number,
                                                 char& separator) noexcept
{
    if (end - text != 2 * Size + Size / BytesPerGroup - 1) return false;
    const char found = text[2 * BytesPerGroup];
    if (found != ':' && found != '-' && found != '.') return false;
    std::uint64_t result = 0;
#pragma GCC unroll 8
    for (int i = 0; i < Size; ++i) {
        if (i > 0 && i % BytesPerGroup == 0 && *text++ != found) return false;
        const unsigned int high = HexDigitValue(*text++);
        const unsigned int low = HexDigitValue(*text++);
        if ((high | low) > 15) return false;
        result = result << 8 | high << 4 | low;
    }
    number = result;
    separator = found;
    return true;
}

/// The groups of an IPv6 text as they are read.
class Groups {
public:
    constexpr void Add(std::uint32_t group) noexcept
    {
        mLast = {mLast.high << 16 | mLast.low >> 48, mLast.low << 16 | group};
        ++mCount;
    }

    /// "::" is next; there must be one only.
    constexpr void StartGap() noexcept
    {
        mGap = true;
        mFirst = mLast << (128 - 16 * mCount);
        mLast = {0, 0};
    }

    constexpr bool HasGap() const noexcept { return mGap; }
    constexpr int GetCount() const noexcept { return mCount; }

    /// Whether there are eight groups, or with "::" up to seven.
    constexpr bool IsComplete() const noexcept { return mGap ? mCount <= 7 : mCount == 8; }

    constexpr Uint128 GetNumber() const noexcept { return mFirst | mLast; }

private:
    Uint128 mFirst = {0, 0}; ///< Those before "::", in their place.
    Uint128 mLast = {0, 0};  ///< The others, or all.
    int mCount = 0;
    bool mGap = false;
};

/// One to four hex digits of a text of \a size characters as a number. Four are loaded, which end with the text at the
/// latest, and the others shifted out. A text that is shorter has room for four.
inline std::uint32_t HexGroupOf(const char* text, int size, int start, int length) noexcept
{
    const auto* const bytes = reinterpret_cast<const unsigned char*>(text);
    const int from = start < size - 4 ? start : size > 4 ? size - 4 : 0;
    std::uint32_t group = LoadBig32(bytes + from) << 8 * (start - from) >> (32 - 8 * length);
    group = (group & 0x0f0f0f0f) + 9 * (group >> 6 & 0x01010101);
    group = (group | group >> 4) & 0x00ff00ff;
    return (group | group >> 8) & 0xffff;
}

/// Reads an IPv6 address: groups of one to four hex digits, at most one "::" that stands for at least one group, in all
/// eight groups, with or without a dotted decimal tail in place of the last two.
inline bool ReadIpv6Groups(const char* text, const char* textEnd, Uint128& number, bool& dotted) noexcept
{
    if (textEnd - text < 2 || textEnd - text > static_cast<int>(kHexScanRoom)) return false;
    const int size = static_cast<int>(textEnd - text);
    char four[4] = {text[0], text[1], size > 2 ? text[2] : '\0'};
    const char* const digits = size < 4 ? four : text;
    const HexScan scan = ScanHex(text, static_cast<std::size_t>(size), ':');
    const auto isSeparator = [&](int i) { return (scan.separators >> i & 1) != 0; };
    // Something that is neither digit nor colon makes what follows the last colon the tail.
    const int firstOther = __builtin_ctzll(~(scan.digits | scan.separators));
    const bool hasTail = firstOther < size;
    const int end = !hasTail ? size : scan.separators == 0 ? 0 : 64 - __builtin_clzll(scan.separators);
    if (firstOther < end) return false;

    if (!hasTail && isSeparator(size - 1) && !isSeparator(size - 2)) return false;

    // A group ends at each separator and at the end. What the next one needs of them is one bit cleared.
    Groups groups;
    std::uint64_t ends = scan.separators | std::uint64_t{1} << size;
    int next = 0;
    if (isSeparator(0)) {
        if (!isSeparator(1)) return false;
        groups.StartGap();
        ends &= ends - 1;
        ends &= ends - 1;
        next = 2;
    }
    while (next < end) {
        const int stop = __builtin_ctzll(ends);
        const int length = stop - next;
        ends &= ends - 1;
        if (length != 0) {
            if (length > 4) return false;
            groups.Add(HexGroupOf(digits, size, next, length));
        } else {
            if (groups.HasGap()) return false;
            groups.StartGap();
        }
        next = stop + 1;
    }
    if (hasTail) {
        std::uint32_t tail = 0;
        if (!ReadDottedDecimal(text + end, textEnd, tail)) return false;
        groups.Add(tail >> 16);
        groups.Add(tail & 0xffff);
    }
    if (!groups.IsComplete()) return false;
    number = groups.GetNumber();
    dotted = hasTail;
    return true;
}

} // namespace zor::common::detail

#endif // ZOR_COMMON_ADDRESS_FORMS_H
