#ifndef ZOR_COMMON_DIGITS_H
#define ZOR_COMMON_DIGITS_H

/// \file
/// Internal: digits to and from characters, the same whatever locale the host program has set.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <istream>
#include <string>

namespace zor::common::detail {

/// The text of one byte in decimal: up to three digits, then how many there are.
struct DecimalByte {
    char digits[3];
    unsigned char length;
};

inline constexpr std::array<DecimalByte, 256> kDecimalBytes = [] {
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

/// Room for eight groups of four digits with colons between them. A shorter group touches four characters too, but
/// none beyond these. The forms that end in dotted decimal take less.
inline constexpr std::size_t kHexGroupsRoom = 39;

/// Writes \a count groups of 16 bits, 6 or 8, the way IPv6 addresses print: in lower case without leading
/// zeros, a ":" after each but the eighth, and the first of the longest runs of zero groups, be it a single
/// one, as "::".
inline char* WriteHexGroups(char* out, const unsigned char* bytes, int count) noexcept
{
    int bestStart = -1;
    int bestLength = 0;
    for (int i = 0, length = 0; i < count; ++i) {
        const bool zero = (bytes[2 * i] | bytes[2 * i + 1]) == 0;
        length = zero ? length + 1 : 0;
        if (length > bestLength) {
            bestLength = length;
            bestStart = i + 1 - length;
        }
    }
    for (int i = 0; i < count; ++i) {
        if (i == bestStart) {
            if (i == 0) *out++ = ':';
            *out++ = ':';
            i += bestLength - 1;
            continue;
        }
        char digits[8] = {}; // four digits, and what the copy of four reads beyond them
        WriteHexByte(WriteHexByte(digits, bytes[2 * i]), bytes[2 * i + 1]);
        const int group = bytes[2 * i] << 8 | bytes[2 * i + 1];
        const int leadingZeros = (__builtin_clz(static_cast<unsigned int>(group) | 1) - 16) / 4;
        std::memcpy(out, digits + leadingZeros, 4);
        out += 4 - leadingZeros;
        if (i < 7) *out++ = ':';
    }
    return out;
}

/// Reads the usual form of dotted decimal: exactly four runs of one to three digits, each at most 255, joined
/// by dots, that end where \a text ends. sscanf reads the same four numbers from every such text. False says
/// that the text is not of this form, which leaves \a value alone; it may still be an address.
///
/// \param text  must be followed by a character that is neither digit nor dot, such as a string's closing NUL.
inline bool ReadDottedDecimal(const char* text, const char* end, std::uint32_t& value) noexcept
{
    std::uint32_t result = 0;
    for (int part = 0; part < 4; ++part) {
        if (part > 0 && *text++ != '.') return false;
        unsigned int number = DecimalDigitValue(*text);
        if (number > 9) return false;
        if (unsigned int digit = DecimalDigitValue(*++text); digit <= 9) {
            number = 10 * number + digit;
            digit = DecimalDigitValue(*++text);
            if (digit <= 9) {
                number = 10 * number + digit;
                if (number > 255) return false;
                ++text;
            }
        }
        result = result << 8 | number;
    }
    if (text != end) return false;
    value = result;
    return true;
}

/// Writes \a size bytes as pairs of hex digits, with \a separator after every \a bytesPerGroup of them but the last.
inline char* WriteHexBytes(char* out, const unsigned char* bytes, int size, int bytesPerGroup, char separator,
                           const std::array<char, 512>& hexBytes = kLowerHexBytes) noexcept
{
    for (int i = 0; i < size; ++i) {
        if (i > 0 && i % bytesPerGroup == 0) *out++ = separator;
        out = WriteHexByte(out, bytes[i], hexBytes);
    }
    return out;
}

/// Reads the usual form of hex groups: exactly \a size bytes of two digits each, where after every
/// \a bytesPerGroup bytes the same separator stands, one of ":-.". sscanf reads the same groups from every such
/// text: no two digits are a prefix or a sign. False says that the text is not of this form, which leaves
/// \a separator alone and \a bytes undefined; it may still be an address.
inline bool ReadHexGroups(const std::string& text, int size, int bytesPerGroup, unsigned char* bytes,
                          char& separator) noexcept
{
    const int length = 2 * size + size / bytesPerGroup - 1;
    if (text.size() != static_cast<std::size_t>(length)) return false;
    const char found = text.data()[2 * bytesPerGroup];
    if (found != ':' && found != '-' && found != '.') return false;
    const char* next = text.data();
    for (int i = 0; i < size; ++i) {
        if (i > 0 && i % bytesPerGroup == 0 && *next++ != found) return false;
        const unsigned int high = HexDigitValue(next[0]);
        const unsigned int low = HexDigitValue(next[1]);
        if ((high | low) > 15) return false;
        bytes[i] = static_cast<unsigned char>(high << 4 | low);
        next += 2;
    }
    separator = found;
    return true;
}

/// The most groups that an address text has.
inline constexpr int kMaxHexGroups = 8;

/// What hex groups mean: sscanf decides, with \a count times "%x" and between them the first character of
/// \a text that is no hex digit, which becomes \a separator; a text of hex digits alone keeps it.
///
/// \param values  what was read, as signed numbers; 0 where nothing was.
/// \return        how many groups were read.
inline int ScanHexGroups(const std::string& text, int count, int (&values)[kMaxHexGroups], char& separator)
{
    const std::size_t first = text.find_first_not_of("0123456789ABCDEFabcdef");
    if (first != std::string::npos) separator = text[first];
    char format[3 * kMaxHexGroups] = {};
    for (int i = 0; i < count; ++i) {
        format[3 * i] = '%';
        format[3 * i + 1] = 'x';
        if (i + 1 < count) format[3 * i + 2] = separator;
    }
    unsigned int groups[kMaxHexGroups] = {};
    const int read = std::sscanf(text.c_str(), format, &groups[0], &groups[1], &groups[2], &groups[3], &groups[4],
                                 &groups[5], &groups[6], &groups[7]);
    for (int i = 0; i < kMaxHexGroups; ++i) values[i] = static_cast<int>(groups[i]);
    return read;
}

/// The stream extraction of every address type: one word, handed to CopyFromString(), its verdict ignored.
template <class Address>
std::istream& ReadWord(std::istream& in, Address& address)
{
    std::string word;
    in >> word;
    address.CopyFromString(word, nullptr);
    return in;
}

} // namespace zor::common::detail

#endif // ZOR_COMMON_DIGITS_H
