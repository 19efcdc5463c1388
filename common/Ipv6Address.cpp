#include "Ipv6Address.h"

#include "Digits.h"

#include <algorithm>
#include <cstdio>
#include <ostream>

namespace zor::common {

namespace {

using Bytes = unsigned char[16];

/// The compiler's own 128-bit numbers divide several times as fast as di_unsigned, which gives the same results.
__extension__ typedef unsigned __int128 Wide;

Wide ToWide(detail::Uint128 number)
{
    return static_cast<Wide>(number.high) << 64 | number.low;
}

detail::Uint128 ToUint128(Wide number)
{
    return {static_cast<std::uint64_t>(number >> 64), static_cast<std::uint64_t>(number)};
}

/// Reads the usual forms, filling \a bytes: groups of one to four digits, at most one "::" that stands for at
/// least one group, in all sixteen bytes, with or without a tail in the usual dotted decimal. Expanded and
/// padded, each of these is what sscanf reads the same bytes from. False says that the text is not of this form;
/// it may still be an address.
bool ReadCanonical(const std::string& text, Bytes& bytes, bool& dotted)
{
    unsigned char read[16];
    int size = 0;
    int gap = -1; // the size read before "::"
    const char* next = text.data();
    const char* const end = next + text.size();
    dotted = false;
    if (next[0] == ':') {
        if (next[1] != ':') return false;
        gap = 0;
        next += 2;
    }
    while (next != end) {
        if (size == 16) return false;
        const char* const start = next;
        unsigned int group = 0;
        for (unsigned int digit; (digit = detail::HexDigitValue(*next)) < 16; ++next) group = group << 4 | digit;
        if (*next == '.') {
            std::uint32_t tail = 0;
            if (size > 12 || !detail::ReadDottedDecimal(start, end, tail)) return false;
            detail::StoreBig32(read + size, tail);
            size += 4;
            dotted = true;
            break;
        }
        if (next == start || next - start > 4) return false;
        detail::StoreBig16(read + size, static_cast<std::uint16_t>(group));
        size += 2;
        if (next == end) break;
        if (*next++ != ':' || next == end) return false;
        if (*next == ':') {
            if (gap >= 0) return false;
            gap = size;
            ++next;
        }
    }
    if (gap < 0 ? size != 16 : size > 14) return false;
    const int before = gap < 0 ? size : gap;
    std::fill(std::copy(read, read + before, bytes), bytes + 16, static_cast<unsigned char>(0));
    std::copy(read + before, read + size, bytes + 16 - (size - before));
    return true;
}

/// Writes the zero groups that "::" stands for, so that the text has as many colons as the scan expects. False
/// where the text has a second "::" or more colons than any address has.
bool ExpandZeroGroups(const std::string& text, bool dotted, std::string& expanded)
{
    const auto colons = std::count(text.begin(), text.end(), ':');
    const std::size_t gap = text.find("::");
    if (gap == std::string::npos) {
        expanded = text;
        return colons <= 7;
    }
    if (text.find("::", gap + 1) != std::string::npos || colons > 8) return false;
    expanded = gap == 0 ? "0:" : text.substr(0, gap + 1);
    for (auto i = colons + (dotted ? 1 : 0); i < 8; ++i) expanded += "0:";
    if (gap + 2 == text.size()) {
        expanded += '0';
    } else {
        expanded.append(text, gap + 2);
    }
    return true;
}

/// Fills every group up to four characters with zeros in front, an empty one too.
std::string PadGroups(const std::string& text)
{
    std::string padded;
    for (std::size_t start = 0;;) {
        const std::size_t colon = text.find(':', start);
        const std::size_t length = (colon == std::string::npos ? text.size() : colon) - start;
        if (length < 4) padded.append(4 - length, '0');
        padded.append(text, start, length);
        if (colon == std::string::npos) return padded;
        padded += ':';
        start = colon + 1;
    }
}

/// What the text means where it is not of the usual form: sscanf decides on the expanded and padded text.
bool ReadLenient(const std::string& text, Bytes& bytes, bool& dotted)
{
    dotted = text.find('.') != std::string::npos;
    std::string expanded;
    if (!ExpandZeroGroups(text, dotted, expanded)) return false;
    const std::string padded = PadGroups(expanded);
    unsigned int x[16] = {};
    int d[4] = {};
    if (dotted) {
        const int read =
            std::sscanf(padded.c_str(), "%2x%2x:%2x%2x:%2x%2x:%2x%2x:%2x%2x:%2x%2x:%d.%d.%d.%d", &x[0], &x[1], &x[2],
                        &x[3], &x[4], &x[5], &x[6], &x[7], &x[8], &x[9], &x[10], &x[11], &d[0], &d[1], &d[2], &d[3]);
        if (read != 16) return false;
        std::transform(d, d + 4, x + 12, [](int number) { return static_cast<unsigned int>(number); });
    } else {
        const int read = std::sscanf(padded.c_str(), "%2x%2x:%2x%2x:%2x%2x:%2x%2x:%2x%2x:%2x%2x:%2x%2x:%2x%2x", &x[0],
                                     &x[1], &x[2], &x[3], &x[4], &x[5], &x[6], &x[7], &x[8], &x[9], &x[10], &x[11],
                                     &x[12], &x[13], &x[14], &x[15]);
        if (read != 16) return false;
    }
    std::transform(x, x + 16, bytes, [](unsigned int number) { return static_cast<unsigned char>(number); });
    return true;
}

} // namespace

bool CIpv6Address::CopyFromString(const std::string& text, std::string* error)
{
    Bytes bytes;
    bool dotted = false;
    if (!ReadCanonical(text, bytes, dotted) && !ReadLenient(text, bytes, dotted)) {
        if (error) *error = "invalid ipv6 address \"" + text + "\"";
        return false;
    }
    CopyFrom(bytes);
    mFormatLast4BytesAsIpv4 = dotted;
    return true;
}

std::string CIpv6Address::ToString() const
{
    char text[detail::kHexGroupsRoom];
    if (!mFormatLast4BytesAsIpv4 || !(IsIpv4CompatibleAddr() || IsIpv4MappedAddr())) {
        return {text, detail::WriteHexGroups(text, mBytes, 8)};
    }
    return {text, detail::WriteDottedDecimal(detail::WriteHexGroups(text, mBytes, 6), mBytes + 12)};
}

void CIpv6Address::EncodeFormatting(std::vector<unsigned char>& record) const
{
    record.resize(1);
    record[0] = mFormatLast4BytesAsIpv4 ? 1 : 0;
}

void CIpv6Address::DecodeFormatting(const std::vector<unsigned char>& record) noexcept
{
    if (!record.empty()) mFormatLast4BytesAsIpv4 = record[0] != 0;
}

CIpv6Address CIpv6Address::operator/(const CIpv6Address& divisor) const noexcept
{
    CIpv6Address remainder;
    return Divide(divisor, remainder);
}

CIpv6Address CIpv6Address::operator%(const CIpv6Address& divisor) const noexcept
{
    CIpv6Address remainder;
    Divide(divisor, remainder);
    return remainder;
}

CIpv6Address CIpv6Address::Divide(const CIpv6Address& divisor, CIpv6Address& remainder) const noexcept
{
    const Wide dividend = ToWide(Number());
    const Wide number = ToWide(divisor.Number());
    const Wide quotient = number == 0 ? 0 : dividend / number;
    remainder = FromNumber(ToUint128(dividend - quotient * number));
    return FromNumber(ToUint128(quotient));
}

CIpv6Address CIpv6Address::RoundUpToPrefix(int length) const noexcept
{
    const int hostBits = HostBits(length);
    if ((Number() >> hostBits << hostBits) == Number()) return *this;
    return FromNumber(GetNextIp(length, 1, 1).Number() >> hostBits << hostBits);
}

CIpv6Address CIpv6Address::Subtract(int length, unsigned int step, unsigned int count) const noexcept
{
    const detail::Uint128 distance = detail::Uint128{0, step * count} << HostBits(length);
    if (length < 32) {
        // What of the distance lies in byte 0 or above it.
        const int bits = length > 0 ? length : 0;
        const std::uint64_t inTopByte = (std::uint64_t{step * count} << (8 - bits % 8)) >> (bits / 8 * 8);
        if (inTopByte != 0) return *this;
    }
    return FromNumber(Number() - distance);
}

unsigned int CIpv6Address::Divide(int length, unsigned int n) const noexcept
{
    const auto subnet = static_cast<unsigned int>((Number() >> HostBits(length)).low);
    return n == 0 ? 0 : subnet / n;
}

unsigned int CIpv6Address::GetOffset(int length, unsigned int n) const noexcept
{
    const auto subnet = static_cast<unsigned int>((Number() >> HostBits(length)).low);
    return n == 0 ? subnet : subnet % n;
}

void CMacAddress::SetMulticastAddr(const CIpv6Address& group) noexcept
{
    *this = {0x33, 0x33, group[12], group[13], group[14], group[15]};
}

di_unsigned<unsigned int, unsigned char, 128> InDiFormat(const CIpv6Address& address) noexcept
{
    unsigned char bytes[16];
    address.CopyTo(bytes);
    di_unsigned<unsigned int, unsigned char, 128> number;
    detail::StoreLittle(number.digits, detail::LoadBig64(bytes + 8));
    detail::StoreLittle(number.digits + 8, detail::LoadBig64(bytes));
    return number;
}

CIpv6Address FromDiFormat(const di_unsigned<unsigned int, unsigned char, 128>& number) noexcept
{
    unsigned char bytes[16];
    std::reverse_copy(number.digits, number.digits + 16, bytes);
    return bytes;
}

std::ostream& operator<<(std::ostream& out, const CIpv6Address& address)
{
    return out << address.ToString();
}

std::istream& operator>>(std::istream& in, CIpv6Address& address)
{
    return detail::ReadWord(in, address);
}

} // namespace zor::common
