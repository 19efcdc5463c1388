#ifndef ZOR_COMMON_ADDRESS_SCAN_H
#define ZOR_COMMON_ADDRESS_SCAN_H

/// \file
/// Internal: the lenient readers of numbers in address texts, and how their callers report a fault and read a stream.

#include "Characters.h"

#include <cstddef>
#include <cstdint>
#include <istream>
#include <limits>
#include <string>
#include <string_view>

namespace zor::common::detail {

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

#endif // ZOR_COMMON_ADDRESS_SCAN_H
