#ifndef ZOR_COMMON_CHARACTERS_H
#define ZOR_COMMON_CHARACTERS_H

/// \file
/// Internal: white space, digits and letters of the "C" locale, whatever locale the host program has set.

#include <array>
#include <string>

namespace zor::common::detail {

constexpr bool IsSpace(char c) noexcept
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// The value of a decimal digit; some number above 9 for every other character.
constexpr unsigned int DecimalDigitValue(char c) noexcept
{
    return static_cast<unsigned int>(static_cast<unsigned char>(c)) - '0';
}

constexpr bool IsDecimalDigit(char c) noexcept
{
    return DecimalDigitValue(c) <= 9;
}

/// Whether a character may stand in a name of a program text.
constexpr bool IsNameCharacter(char c) noexcept
{
    return IsDecimalDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

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

constexpr bool IsHexDigit(char c) noexcept
{
    return HexDigitValue(c) != kNoDigit;
}

inline constexpr char kLowerHexDigits[] = "0123456789abcdef";
inline constexpr char kUpperHexDigits[] = "0123456789ABCDEF";

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

inline constexpr std::array<char, 512> kLowerHexBytes = MakeHexBytes(kLowerHexDigits);
inline constexpr std::array<char, 512> kUpperHexBytes = MakeHexBytes(kUpperHexDigits);

/// Appends exactly two digits.
inline void AppendHexByte(std::string& text, unsigned char byte)
{
    text.append(kLowerHexBytes.data() + 2 * byte, 2);
}

} // namespace zor::common::detail

#endif // ZOR_COMMON_CHARACTERS_H
