#ifndef ZOR_COMMON_ADDRESS_TEXT_H
#define ZOR_COMMON_ADDRESS_TEXT_H

/// \file
/// FromChars() and ToChars(): strict reading of address texts with the reason and the place of a fault, and printing
/// into the caller's buffer, without allocation and without the style that all MAC addresses share.

#include "AddressForms.h"
#include "AddressPrefix.h"
#include "IpAddress.h"
#include "Ipv6Address.h"
#include "MacAddress.h"
#include "WorldWideName.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zor::common {

/// Why a text is not an address. Describe() puts it into words.
enum class TextFault : unsigned char {
    None,         ///< The text is an address.
    Empty,        ///< There are no characters at all.
    BadCharacter, ///< Another character is in the place of a digit or a separator.
    TooLarge,     ///< This digit makes a number too large, or a group too long.
    LeadingZero,  ///< A digit follows a zero that starts a decimal number.
    TooFewParts,  ///< The text ends, or a dotted tail begins, before there are enough parts.
    TooManyParts, ///< A separator follows a complete address, or "::" occurs twice.
    TrailingText, ///< Another character follows a complete address.
};

/// The result of FromChars().
struct TextResult {
    const char* end; ///< The place of the fault: the first character that makes the text wrong. `last` without a fault.
    TextFault fault; ///< None for an address.
};

/// A fault in a few words without a full stop, for messages: "leading zero".
constexpr const char* Describe(TextFault fault) noexcept
{
    switch (fault) {
    case TextFault::None: return "no fault";
    case TextFault::Empty: return "empty text";
    case TextFault::BadCharacter: return "unexpected character";
    case TextFault::TooLarge: return "number too large";
    case TextFault::LeadingZero: return "leading zero";
    case TextFault::TooFewParts: return "too few parts";
    case TextFault::TooManyParts: return "too many parts";
    case TextFault::TrailingText: return "text after the address";
    }
    return "unknown fault";
}

/// The greatest number of characters that ToChars() writes for an address, or for a Prefix with "/" and the length. It
/// includes no NUL, as none is written.
template <class Address>
inline constexpr std::size_t kMaxTextSize = 0;
template <>
inline constexpr std::size_t kMaxTextSize<CIpAddress> = 15; ///< 255.255.255.255
template <>
inline constexpr std::size_t kMaxTextSize<CIpv6Address> = 45; ///< Six groups of four digits and a dotted tail.
template <>
inline constexpr std::size_t kMaxTextSize<CMacAddress> = 17; ///< 00:00:00:00:00:00
template <>
inline constexpr std::size_t kMaxTextSize<CWorldWideName> = 23; ///< 00:00:00:00:00:00:00:00
template <class Address>
inline constexpr std::size_t
    kMaxTextSize<Prefix<Address>> = kMaxTextSize<Address> +
                                    (detail::AddressNumber<Address>::kBits < 100 ? 3 : 4); ///< "/32", "/128"

namespace detail {

// The strict readers, character by character. They decide what the usual forms leave, say what is wrong, and are the
// ones that run in constant expressions.

/// Reads a decimal number of up to \a limit.
constexpr TextResult ScanDecimal(const char* next, const char* last, std::uint32_t limit,
                                 std::uint32_t& number) noexcept
{
    if (next == last) return {next, TextFault::TooFewParts};
    std::uint32_t result = DecimalDigitValue(*next);
    if (result > 9) return {next, TextFault::BadCharacter};
    for (++next; next != last; ++next) {
        const unsigned int digit = DecimalDigitValue(*next);
        if (digit > 9) break;
        if (result == 0) return {next, TextFault::LeadingZero};
        result = 10 * result + digit;
        if (result > limit) return {next, TextFault::TooLarge};
    }
    number = result;
    return {next, TextFault::None};
}

/// Reads dotted decimal, as an address or as the tail of one of IPv6, where ":" is a separator too.
constexpr TextResult ScanDottedDecimal(const char* next, const char* last, bool isTail, std::uint32_t& value) noexcept
{
    std::uint32_t result = 0;
    for (int part = 0; part < 4; ++part) {
        if (part > 0) {
            if (next == last) return {next, TextFault::TooFewParts};
            if (*next != '.') return {next, TextFault::BadCharacter};
            ++next;
        }
        std::uint32_t number = 0;
        const TextResult read = ScanDecimal(next, last, 255, number);
        if (read.fault != TextFault::None) return read;
        next = read.end;
        result = result << 8 | number;
    }
    if (next != last) {
        const bool isSeparator = *next == '.' || (isTail && *next == ':');
        return {next, isSeparator ? TextFault::TooManyParts : TextFault::TrailingText};
    }
    value = result;
    return {next, TextFault::None};
}

/// Reads one to four hex digits; none is no fault.
constexpr TextResult ScanHexGroup(const char* next, const char* last, std::uint32_t& group) noexcept
{
    const char* const start = next;
    for (; next != last && HexDigitValue(*next) <= 15; ++next) {
        if (next - start == 4) return {next, TextFault::TooLarge};
        group = group << 4 | HexDigitValue(*next);
    }
    return {next, TextFault::None};
}

/// Reads the groups of an IPv6 address, and its tail where there is one.
constexpr TextResult ScanIpv6(const char* next, const char* last, Uint128& number, bool& dotted) noexcept
{
    const auto isSeparator = [](char c) { return c == ':' || c == '.'; };
    Groups groups;
    bool hasTail = false;
    bool behindGap = *next == ':';
    if (behindGap) {
        if (++next == last) return {next, TextFault::TooFewParts};
        if (*next != ':') return {next, TextFault::BadCharacter};
        groups.StartGap();
        ++next;
    }
    while (true) {
        // A group must follow, or may behind "::", with which the address is complete.
        if (next == last) {
            if (behindGap) break;
            return {next, TextFault::TooFewParts};
        }
        if (behindGap && groups.GetCount() == 7) {
            return {next, isSeparator(*next) ? TextFault::TooManyParts : TextFault::TrailingText};
        }
        const char* const start = next;
        std::uint32_t group = 0;
        const TextResult read = ScanHexGroup(next, last, group);
        if (read.fault != TextFault::None) return read;
        next = read.end;
        if (next == start) {
            if (behindGap) return {next, isSeparator(*next) ? TextFault::TooManyParts : TextFault::TrailingText};
            return {next, groups.HasGap() && *next == ':' ? TextFault::TooManyParts : TextFault::BadCharacter};
        }
        if (next != last && *next == '.') {
            const int before = groups.GetCount();
            if (groups.HasGap() ? before > 5 : before > 6) return {next, TextFault::TooManyParts};
            if (!groups.HasGap() && before < 6) return {next, TextFault::TooFewParts};
            std::uint32_t tail = 0;
            const TextResult ending = ScanDottedDecimal(start, last, true, tail);
            if (ending.fault != TextFault::None) return ending;
            groups.Add(tail >> 16);
            groups.Add(tail & 0xffff);
            hasTail = true;
            next = last;
            break;
        }
        groups.Add(group);
        if (next == last) break;
        if (*next != ':') {
            return {next, groups.IsComplete() ? TextFault::TrailingText : TextFault::BadCharacter};
        }
        if (groups.GetCount() == (groups.HasGap() ? 7 : 8)) return {next, TextFault::TooManyParts};
        ++next;
        behindGap = next != last && *next == ':' && !groups.HasGap();
        if (behindGap) {
            groups.StartGap();
            ++next;
        }
    }
    if (!groups.IsComplete()) return {next, TextFault::TooFewParts};
    number = groups.GetNumber();
    dotted = hasTail;
    return {next, TextFault::None};
}

/// Reads bytes of two hex digits with ":" or "-" between them, and where \a takesPairs groups of two bytes with ".".
constexpr TextResult ScanHexBytes(const char* next, const char* last, int size, bool takesPairs,
                                  std::uint64_t& number) noexcept
{
    std::uint64_t result = 0;
    char separator = '\0';
    int bytesPerGroup = 1;
    for (int byte = 0; byte < size; ++byte) {
        if (byte == 1) { // which tells the forms apart
            if (next == last) return {next, TextFault::TooFewParts};
            const bool isDigit = HexDigitValue(*next) <= 15;
            if (isDigit && !takesPairs) return {next, TextFault::TooLarge};
            if (!isDigit && *next != ':' && *next != '-') return {next, TextFault::BadCharacter};
            bytesPerGroup = isDigit ? 2 : 1;
            separator = isDigit ? '.' : *next;
        }
        if (byte > 0 && byte % bytesPerGroup == 0) {
            if (next == last) return {next, TextFault::TooFewParts};
            if (HexDigitValue(*next) <= 15) return {next, TextFault::TooLarge};
            if (*next != separator) return {next, TextFault::BadCharacter};
            ++next;
        }
        for (int digit = 0; digit < 2; ++digit, ++next) {
            if (next == last) return {next, TextFault::TooFewParts};
            if (HexDigitValue(*next) > 15) return {next, TextFault::BadCharacter};
            result = result << 4 | HexDigitValue(*next);
        }
    }
    if (next != last) {
        if (HexDigitValue(*next) <= 15) return {next, TextFault::TooLarge};
        const bool isSeparator = *next == ':' || *next == '-' || (takesPairs && *next == '.');
        return {next, isSeparator ? TextFault::TooManyParts : TextFault::TrailingText};
    }
    number = result;
    return {next, TextFault::None};
}

/// Copies what was written to a buffer of its own to one of the caller's, if it fits there.
constexpr char* CopyFitting(char* first, const char* last, const char* text, const char* textEnd) noexcept
{
    if (last - first < textEnd - text) return nullptr;
    if (__builtin_is_constant_evaluated()) {
        while (text != textEnd) *first++ = *text++;
        return first;
    }
    const auto size = static_cast<std::size_t>(textEnd - text);
    std::memcpy(first, text, size);
    return first + size;
}

/// Has \a write write into the caller's buffer, or where that has not the room that the writer may touch, into one of
/// its own.
template <std::size_t Room, class Write>
constexpr char* WriteFitting(char* first, char* last, Write write) noexcept
{
    if (last - first >= static_cast<std::ptrdiff_t>(Room)) return write(first);
    char text[Room] = {};
    return CopyFitting(first, last, text, write(text));
}

} // namespace detail

/// \name Strict reading
/// Each overload reads all of [first, last) as one address. It accepts what inet_pton accepts, which is what Python's
/// ipaddress accepts without a zone: no white space, no sign, no text after the address, no leading zeros in decimal
/// numbers, no zone.
///
/// After a fault \a address is as it was, with its formatting flag if it is an IPv6 address, and the result says why
/// and where: at the first character that makes the text wrong, or at \a last if characters are missing. Nothing is
/// allocated, and the style of MAC addresses and World Wide Names is neither read nor set, so any number of threads may
/// read at once. The functions also work in constant expressions.
/// \{

/// Four decimal numbers of up to 255, joined by ".".
constexpr TextResult FromChars(const char* first, const char* last, CIpAddress& address) noexcept
{
    if (first == last) return {first, TextFault::Empty};
    std::uint32_t value = 0;
    if (__builtin_is_constant_evaluated() || !detail::ReadDottedDecimal(first, last, value)) {
        const TextResult read = detail::ScanDottedDecimal(first, last, false, value);
        if (read.fault != TextFault::None) return read;
    }
    address.CopyFrom(value);
    return {last, TextFault::None};
}

/// Eight groups of one to four hex digits, joined by ":". Once, "::" stands for one group of zeros or more. The last
/// two groups may be a dotted decimal tail, which sets the formatting flag of \a address; other texts clear it.
constexpr TextResult FromChars(const char* first, const char* last, CIpv6Address& address) noexcept
{
    if (first == last) return {first, TextFault::Empty};
    detail::Uint128 number = {0, 0};
    bool dotted = false;
    if (__builtin_is_constant_evaluated() || !detail::ReadIpv6Groups(first, last, number, dotted)) {
        const TextResult read = detail::ScanIpv6(first, last, number, dotted);
        if (read.fault != TextFault::None) return read;
    }
    address.CopyFrom(number.high, number.low);
    address.SetFormatLast4BytesAsIpv4(dotted);
    return {last, TextFault::None};
}

/// Six groups of two hex digits with ":" or "-" between them, or three groups of four with ".".
constexpr TextResult FromChars(const char* first, const char* last, CMacAddress& address) noexcept
{
    if (first == last) return {first, TextFault::Empty};
    std::uint64_t number = 0;
    char separator = '\0';
    if (__builtin_is_constant_evaluated() ||
        !((detail::ReadHexGroups<6, 1>(first, last, number, separator) && separator != '.') ||
          (detail::ReadHexGroups<6, 2>(first, last, number, separator) && separator == '.'))) {
        const TextResult read = detail::ScanHexBytes(first, last, 6, true, number);
        if (read.fault != TextFault::None) return read;
    }
    address.CopyFrom(number);
    return {last, TextFault::None};
}

/// Eight groups of two hex digits with ":" or "-" between them.
constexpr TextResult FromChars(const char* first, const char* last, CWorldWideName& name) noexcept
{
    if (first == last) return {first, TextFault::Empty};
    std::uint64_t number = 0;
    char separator = '\0';
    if (__builtin_is_constant_evaluated() ||
        !(detail::ReadHexGroups<8, 1>(first, last, number, separator) && separator != '.')) {
        const TextResult read = detail::ScanHexBytes(first, last, 8, false, number);
        if (read.fault != TextFault::None) return read;
    }
    name.CopyFrom(number);
    return {last, TextFault::None};
}

/// An address, "/" and a prefix length in decimal without leading zeros: 10.0.0.0/22. Host bits that are set stay set,
/// so that the text of an interface, 10.0.0.7/22, can be read too. A text without "/" has TooFewParts.
template <class Address>
constexpr TextResult FromChars(const char* first, const char* last, Prefix<Address>& prefix) noexcept
{
    const char* slash = first;
    while (slash != last && *slash != '/') ++slash;
    Address network = prefix.network;
    const TextResult read = FromChars(first, slash, network);
    if (read.fault != TextFault::None) return read;
    if (slash == last) return {last, TextFault::TooFewParts};
    std::uint32_t length = 0;
    const TextResult ending = detail::ScanDecimal(slash + 1, last, detail::AddressNumber<Address>::kBits, length);
    if (ending.fault != TextFault::None) return ending;
    if (ending.end != last) {
        return {ending.end, *ending.end == '/' ? TextFault::TooManyParts : TextFault::TrailingText};
    }
    prefix.network = network;
    prefix.length = static_cast<int>(length);
    return {last, TextFault::None};
}

/// \}
/// \name Printing into a buffer
/// Each overload writes an address to [first, last), without a NUL, and returns the end of the text. If the text does
/// not fit, nothing is written and the result is null. Bytes between the end of the text and \a last may be
/// overwritten. kMaxTextSize characters are always enough. Nothing is allocated, and no shared style is read.
/// \{

/// Four decimal numbers, joined by ".".
constexpr char* ToChars(char* first, char* last, const CIpAddress& address) noexcept
{
    return detail::WriteFitting<detail::kDottedDecimalRoom>(first, last, [&](char* out) {
        unsigned char bytes[4] = {};
        address.CopyTo(bytes);
        return detail::WriteDottedDecimal(out, bytes);
    });
}

/// By RFC 5952, as Python's ipaddress prints: the first of the longest runs of two or more zero groups is "::", and a
/// single zero group stays "0". Any address with the formatting flag prints its last four bytes as dotted decimal, and
/// no address without it. (CIpv6Address::ToString() also shortens a single zero group, and prints a dotted tail for
/// IPv4-compatible and IPv4-mapped addresses only.)
constexpr char* ToChars(char* first, char* last, const CIpv6Address& address) noexcept
{
    unsigned char bytes[16] = {};
    address.CopyTo(bytes);
    if (address.GetFormatLast4BytesAsIpv4()) {
        return detail::WriteFitting<detail::kDottedGroupsRoom>(first, last, [&](char* out) {
            return detail::WriteDottedDecimal(detail::WriteHexGroups(out, bytes, 6, 2), bytes + 12);
        });
    }
    return detail::WriteFitting<detail::kHexGroupsRoom>(
        first, last, [&](char* out) { return detail::WriteHexGroups(out, bytes, 8, 2); });
}

/// In the given style: six groups of two lower-case digits if its grouping is 1, otherwise three groups of four.
constexpr char* ToChars(char* first, char* last, const CMacAddress& address,
                        const CMacAddress::FormatStyle& style) noexcept
{
    unsigned char bytes[6] = {};
    address.CopyTo(bytes);
    if (style.mGrouping == 1) {
        return detail::WriteFitting<17>(
            first, last, [&](char* out) { return detail::WriteHexBytes(out, bytes, 6, 1, style.mSeparator); });
    }
    return detail::WriteFitting<14>(
        first, last, [&](char* out) { return detail::WriteHexBytes(out, bytes, 6, 2, style.mSeparator); });
}

/// Six groups of two lower-case digits, joined by ":".
constexpr char* ToChars(char* first, char* last, const CMacAddress& address) noexcept
{
    return ToChars(first, last, address, CMacAddress::FormatStyle{1, ':'});
}

/// Eight groups of two lower-case digits with the separator of the given style.
constexpr char* ToChars(char* first, char* last, const CWorldWideName& name,
                        const CWorldWideName::FormatStyle& style) noexcept
{
    unsigned char bytes[8] = {};
    name.CopyTo(bytes);
    return detail::WriteFitting<23>(
        first, last, [&](char* out) { return detail::WriteHexBytes(out, bytes, 8, 1, style.mSeparator); });
}

/// Eight groups of two lower-case digits, joined by ":".
constexpr char* ToChars(char* first, char* last, const CWorldWideName& name) noexcept
{
    return ToChars(first, last, name, CWorldWideName::FormatStyle{0, ':'});
}

/// The address, "/" and the prefix length, clamped to its range: 10.0.0.0/22.
template <class Address>
constexpr char* ToChars(char* first, char* last, const Prefix<Address>& prefix) noexcept
{
    const int length = detail::NearestLength<Address>(prefix.length);
    constexpr std::size_t kRoom = kMaxTextSize<Prefix<Address>>;
    char text[kRoom] = {};
    char* end = ToChars(text, text + kRoom, prefix.network);
    *end++ = '/';
    char digits[4] = {};
    end =
        detail::CopyFitting(end, end + 3, digits, detail::WriteDecimalByte(digits, static_cast<unsigned char>(length)));
    return detail::CopyFitting(first, last, text, end);
}

/// \}

} // namespace zor::common

#endif // ZOR_COMMON_ADDRESS_TEXT_H
