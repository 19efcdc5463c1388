#include "Ipv6Address.h"

#include "AddressForms.h"
#include "AddressScan.h"
#include "WideSteps.h"

#include <algorithm>
#include <ostream>

namespace zor::common {

namespace {

__extension__ typedef unsigned __int128 Wide;

Wide ToWide(detail::Uint128 number)
{
    return static_cast<Wide>(number.high) << 64 | number.low;
}

detail::Uint128 ToUint128(Wide number)
{
    return {static_cast<std::uint64_t>(number >> 64), static_cast<std::uint64_t>(number)};
}

/// By a divisor of at most 64 bits, which is not zero.
Wide DivideByWord(detail::Uint128 dividend, std::uint64_t divisor, Wide& remainder)
{
    const std::uint64_t high = dividend.high / divisor;
    std::uint64_t rest = dividend.high % divisor;
    const std::uint64_t low = detail::DivideToWord(rest, dividend.low, divisor, rest);
    remainder = rest;
    return ToWide({high, low});
}

/// By a divisor of more than 64 bits. Its top 64 bits and half the dividend, so that the quotient fits, give an
/// estimate that is right or 1 too large; less 1 it is right or 1 too small.
Wide DivideByWide(detail::Uint128 dividend, detail::Uint128 divisor, Wide& remainder)
{
    const int shift = __builtin_clzll(divisor.high);
    const detail::Uint128 half = dividend >> 1;
    std::uint64_t rest = 0;
    std::uint64_t quotient = detail::DivideToWord(half.high, half.low, (divisor << shift).high, rest) >> (63 - shift);
    quotient -= quotient != 0 ? 1 : 0;
    remainder = ToWide(dividend) - quotient * ToWide(divisor);
    const unsigned int tooSmall = remainder >= ToWide(divisor) ? 1 : 0; // as often as not
    quotient += tooSmall;
    remainder -= ToWide(divisor) & (Wide{0} - tooSmall);
    return quotient;
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

/// What the text means where it is not of the usual form: what sscanf reads from the expanded and padded text, with
/// "%2x" for each byte and "%d" for those of a dotted tail.
bool ReadLenient(const std::string& text, detail::Uint128& number, bool& dotted)
{
    dotted = text.find('.') != std::string::npos;
    std::string expanded;
    if (!ExpandZeroGroups(text, dotted, expanded)) return false;
    const std::string padded = PadGroups(expanded);
    const char* const separators =
        dotted ? "  : : : : : :..." : "  : : : : : : : "; // before each byte; a blank is none
    const char* next = padded.c_str();
    detail::Uint128 result = {0, 0};
    for (int i = 0; i < 16; ++i) {
        if (separators[i] != ' ' && *next++ != separators[i]) return false;
        std::uint32_t byte = 0;
        next = detail::ScanNumber(next, dotted && i >= 12 ? detail::kScanSigned : detail::kScanHexByte, byte);
        if (!next) return false;
        result = result << 8 | detail::Uint128{0, byte & 0xff};
    }
    number = result;
    return true;
}

} // namespace

bool CIpv6Address::CopyFromString(const std::string& text, std::string* error)
{
    detail::Uint128 number = {0, 0};
    bool dotted = false;
    const char* const first = text.data();
    if (!detail::ReadIpv6Groups(first, first + text.size(), number, dotted) && !ReadLenient(text, number, dotted)) {
        detail::SetError(error, "invalid ipv6 address \"", text, "\"");
        return false;
    }
    SetNumber(number);
    mFormatLast4BytesAsIpv4 = dotted;
    return true;
}

std::string CIpv6Address::ToString() const
{
    char text[detail::kHexGroupsRoom];
    if (!mFormatLast4BytesAsIpv4 || !(IsIpv4CompatibleAddr() || IsIpv4MappedAddr())) {
        return {text, detail::WriteHexGroups(text, mBytes, 8, 1)};
    }
    return {text, detail::WriteDottedDecimal(detail::WriteHexGroups(text, mBytes, 6, 1), mBytes + 12)};
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
    const detail::Uint128 dividend = Number();
    const detail::Uint128 number = divisor.Number();
    Wide quotient = 0;
    Wide rest = ToWide(dividend);
    if (number.high != 0) {
        quotient = DivideByWide(dividend, number, rest);
    } else if (number.low != 0) {
        quotient = DivideByWord(dividend, number.low, rest);
    }
    remainder = FromNumber(ToUint128(rest));
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
