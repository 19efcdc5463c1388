#ifndef ZOR_COMMON_DIGITS_H
#define ZOR_COMMON_DIGITS_H

/// \file
/// Internal: digits to and from characters, the same whatever locale the host program has set.

#include "BigEndian.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <istream>
#include <limits>
#include <string>
#include <string_view>

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

/// The two hexadecimal digits of every byte, one after the other.
constexpr std::array<char, 512> MakeHexBytes(const char* digits)
{
    std::array<char, 512> table{};
    for (unsigned int byte = 0; byte < 256; ++byte) {
        table[2 * byte] = digits[byte >> 4];
        table[2 * byte + 1] = digits[byte & 15];
    }
    return table;
}

inline constexpr std::array<char, 512> kLowerHexBytes = MakeHexBytes("0123456789abcdef");
inline constexpr std::array<char, 512> kUpperHexBytes = MakeHexBytes("0123456789ABCDEF");

inline constexpr unsigned char kNoDigit = 0xff;

/// The value of a hexadecimal digit of either case, kNoDigit for every other character.
inline constexpr std::array<unsigned char, 256> kHexDigitValues = [] {
    std::array<unsigned char, 256> table{};
    for (unsigned int c = 0; c < 256; ++c) {
        table[c] = static_cast<unsigned char>(c >= '0' && c <= '9'   ? c - '0'
                                              : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                              : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                                                     : kNoDigit);
    }
    return table;
}();

constexpr unsigned int HexDigitValue(char c) noexcept
{
    return kHexDigitValues[static_cast<unsigned char>(c)];
}

/// The value of a decimal digit; some number above 9 for every other character.
constexpr unsigned int DecimalDigitValue(char c) noexcept
{
    return static_cast<unsigned int>(static_cast<unsigned char>(c)) - '0';
}

/// Writes one to three digits and returns the end; up to four characters are touched.
inline char* WriteDecimalByte(char* out, unsigned char byte) noexcept
{
    const DecimalByte& entry = kDecimalBytes[byte];
    std::memcpy(out, &entry, sizeof entry);
    return out + entry.length;
}

/// Writes exactly two digits.
inline char* WriteHexByte(char* out, unsigned char byte,
                          const std::array<char, 512>& hexBytes = kLowerHexBytes) noexcept
{
    std::memcpy(out, &hexBytes[2 * byte], 2);
    return out + 2;
}

/// Room for "255.255.255.255" and for the character that WriteDecimalByte touches beyond it.
inline constexpr std::size_t kDottedDecimalRoom = 16;

inline char* WriteDottedDecimal(char* out, const unsigned char* bytes) noexcept
{
    for (int i = 0; i < 3; ++i) {
        out = WriteDecimalByte(out, bytes[i]);
        *out++ = '.';
    }
    return WriteDecimalByte(out, bytes[3]);
}

/// Room for eight groups of four digits with colons between them, and for one more that WriteHexGroups touches beyond
/// the last. The forms that end in dotted decimal take less.
inline constexpr std::size_t kHexGroupsRoom = 40;

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

/// Writes one to four digits without leading zeros and returns the end; up to four characters are touched.
inline char* WriteHexGroup(char* out, const unsigned char* bytes) noexcept
{
    char digits[4];
    WriteHexByte(WriteHexByte(digits, bytes[0]), bytes[1]);
    std::uint32_t text = LoadLittle32(reinterpret_cast<const unsigned char*>(digits));
    const int leadingZeros = (__builtin_clz(LoadBig16(bytes) | 1u) - 16) / 4;
    StoreLittle(reinterpret_cast<unsigned char*>(out), text >> 8 * leadingZeros);
    return out + 4 - leadingZeros;
}

/// Writes \a count groups of 16 bits, 6 or 8, the way IPv6 addresses print: in lower case without leading
/// zeros, a ":" after each but the eighth, and the first of the longest runs of zero groups, be it a single
/// one, as "::".
inline char* WriteHexGroups(char* out, const unsigned char* bytes, int count) noexcept
{
    unsigned int zeros = 0;
    for (int i = 0; i < count; ++i) zeros |= (LoadBig16(bytes + 2 * i) == 0 ? 1u : 0u) << i;
    const ZeroRun run = kZeroRuns[zeros];
    const auto write = [&](int first, int last) {
        for (int i = first; i < last; ++i) {
            out = WriteHexGroup(out, bytes + 2 * i);
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

/// Reads the usual form of a decimal byte: one to three digits and no more, at most 255. A scan reads the same number.
/// Gives its end, or null where the text is not of this form; it may still be a number.
inline const char* ReadDecimalByte(const char* text, std::uint32_t& value) noexcept
{
    unsigned int number = DecimalDigitValue(*text);
    if (number > 9) return nullptr;
    if (unsigned int digit = DecimalDigitValue(*++text); digit <= 9) {
        number = 10 * number + digit;
        digit = DecimalDigitValue(*++text);
        if (digit <= 9) {
            number = 10 * number + digit;
            if (number > 255 || DecimalDigitValue(*++text) <= 9) return nullptr;
        }
    }
    value = number;
    return text;
}

/// Reads the usual form of dotted decimal: exactly four decimal bytes of their usual form, joined by dots, that end
/// where \a text ends. False says that the text is not of this form, which leaves \a value alone.
///
/// \param text  must be followed by a character that is neither digit nor dot, such as a string's closing NUL.
inline bool ReadDottedDecimal(const char* text, const char* end, std::uint32_t& value) noexcept
{
    std::uint32_t result = 0;
    for (int part = 0; part < 4; ++part) {
        if (part > 0 && *text++ != '.') return false;
        std::uint32_t number = 0;
        text = ReadDecimalByte(text, number);
        if (!text) return false;
        result = result << 8 | number;
    }
    if (text != end) return false;
    value = result;
    return true;
}

/// Writes \a size bytes as pairs of hex digits, with \a separator after every \a bytesPerGroup of them but the last.
/// Inlined, as the loop is worth unrolling for the sizes that the calls name.
[[gnu::always_inline]] inline char* WriteHexBytes(char* out, const unsigned char* bytes, int size, int bytesPerGroup,
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

/// Reads the usual form of hex groups: two digits for each of \a Size bytes, where after every \a BytesPerGroup of them
/// the same separator stands, one of ":-.". A scan reads the same groups from every such text: no two digits are a
/// prefix or a sign. False says that the text is not of this form, which leaves \a number and \a separator alone; it
/// may still be an address.
template <int Size, int BytesPerGroup>
bool ReadHexGroups(const std::string& text, std::uint64_t& number, char& separator) noexcept
{
    if (text.size() != 2 * Size + Size / BytesPerGroup - 1) return false;
    const char* next = text.data();
    const char found = next[2 * BytesPerGroup];
    if (found != ':' && found != '-' && found != '.') return false;
    std::uint64_t result = 0;
#pragma GCC unroll 8
    for (int i = 0; i < Size; ++i) {
        if (i > 0 && i % BytesPerGroup == 0 && *next++ != found) return false;
        const unsigned int high = HexDigitValue(*next++);
        const unsigned int low = HexDigitValue(*next++);
        if ((high | low) > 15) return false;
        result = result << 8 | high << 4 | low;
    }
    number = result;
    separator = found;
    return true;
}

/// White space of the "C" locale.
constexpr bool IsSpace(char c) noexcept
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// The conversions of sscanf that address texts are read by.
struct ScanFormat {
    unsigned int base;
    bool isSigned = false;
    int width = std::numeric_limits<int>::max(); ///< The most characters to read, white space not counted.
};

inline constexpr ScanFormat kScanUnsigned = {10};          // "%u"
inline constexpr ScanFormat kScanSigned = {10, true};      // "%d"
inline constexpr ScanFormat kScanHex = {16};               // "%x"
inline constexpr ScanFormat kScanHexByte = {16, false, 2}; // "%2x"

/// Reads a number as sscanf does, but white space is what it is in the "C" locale: it is skipped, then come a sign or
/// none, for hexadecimal 0x or not, which need not be followed by a digit, and digits. A number beyond 64 bits becomes
/// the one nearest to it, an unsigned one the greatest whatever its sign; of 64 bits the low 32 are the value.
///
/// \param next  must end in a NUL.
/// \return      where the number ends; null where there is none, which leaves \a value alone.
inline const char* ScanNumber(const char* next, const ScanFormat& format, std::uint32_t& value) noexcept
{
    while (IsSpace(*next)) ++next;
    int left = format.width;
    const bool negative = *next == '-';
    if (negative || *next == '+') ++next, --left;
    bool found = false;
    if (format.base == 16 && left > 0 && *next == '0') {
        found = true;
        ++next, --left;
        if (left > 0 && (*next == 'x' || *next == 'X')) ++next, --left;
    }
    std::uint64_t number = 0;
    bool overflow = false;
    for (unsigned int digit; left > 0 && (digit = HexDigitValue(*next)) < format.base; ++next, --left) {
        found = true;
        overflow |= __builtin_mul_overflow(number, format.base, &number);
        overflow |= __builtin_add_overflow(number, digit, &number);
    }
    if (!found) return nullptr;
    if (format.isSigned) {
        const std::uint64_t limit = (std::uint64_t{1} << 63) - (negative ? 0 : 1);
        if (overflow || number > limit) number = limit;
    } else if (overflow) {
        value = ~std::uint32_t{0};
        return next;
    }
    value = static_cast<std::uint32_t>(negative ? 0 - number : number);
    return next;
}

/// The most groups that an address text has.
inline constexpr int kMaxHexGroups = 8;

/// Reads hex groups as sscanf does, with \a count times "%x" and between them the first character of \a text that is
/// no hex digit, which becomes \a separator; a text of hex digits alone keeps it.
///
/// \param values  what was read, as signed numbers; 0 where nothing was.
/// \return        how many groups were read.
inline int ScanHexGroups(const std::string& text, int count, int (&values)[kMaxHexGroups], char& separator) noexcept
{
    const std::size_t first = text.find_first_not_of("0123456789ABCDEFabcdef");
    if (first != std::string::npos) separator = text[first];
    const char* next = text.c_str();
    int read = 0;
    for (; read < count; ++read) {
        if (read > 0 && !IsSpace(separator)) { // which a format takes for any white space or none
            // A format cannot hold a NUL, and "%" starts a conversion in it, here of what a number does not precede.
            if (*next != separator || separator == '\0' || separator == '%') break;
            ++next;
        }
        std::uint32_t value = 0;
        next = ScanNumber(next, kScanHex, value);
        if (!next) break;
        values[read] = static_cast<int>(value);
    }
    return read;
}

/// Replaces \a error, unless it is null, by \a text between two others.
///
/// \param error  may be the string that \a text is.
inline void SetError(std::string* error, std::string_view opening, const std::string& text, std::string_view closing)
{
    if (!error) return;
    error->reserve(opening.size() + text.size() + closing.size());
    error->assign(text).insert(0, opening).append(closing);
}

/// The stream extraction of every address type: one word, handed to CopyFromString(), its verdict ignored. A word that
/// the stream could not read to its end, for want of memory or by a fault of its buffer, is none.
template <class Address>
std::istream& ReadWord(std::istream& in, Address& address)
{
    std::string word;
    in >> word;
    if (!in.bad()) address.CopyFromString(word, nullptr);
    return in;
}

} // namespace zor::common::detail

#endif // ZOR_COMMON_DIGITS_H
