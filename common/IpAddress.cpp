#include "IpAddress.h"

#include "AddressForms.h"
#include "AddressScan.h"

#include <ostream>

namespace zor::common {

namespace {

/// Reads what sscanf reads with "%u.%u.%u.%u". Nothing after the fourth number is looked at.
bool ScanDottedDecimal(const std::string& text, std::uint32_t& value)
{
    const char* next = text.c_str();
    std::uint32_t result = 0;
    for (int part = 0; part < 4; ++part) {
        if (part > 0 && *next++ != '.') return false;
        std::uint32_t number = 0;
        next = detail::ScanNumber(next, detail::kScanUnsigned, number);
        if (!next || number > 255) return false;
        result = result << 8 | number;
    }
    value = result;
    return true;
}

} // namespace

const CIpAddress& CIpAddress::GetZeroIp() noexcept
{
    static constexpr CIpAddress zero;
    return zero;
}

bool CIpAddress::CopyFromString(const std::string& text, std::string* error)
{
    std::uint32_t value = 0;
    const char* const first = text.data();
    if (!detail::ReadDottedDecimal(first, first + text.size(), value) && !ScanDottedDecimal(text, value)) {
        detail::SetError(error, "invalid ip address \"", text, "\": should be dotted decimal");
        return false;
    }
    mValue = value;
    return true;
}

std::string CIpAddress::ToString() const
{
    unsigned char bytes[4];
    CopyTo(bytes);
    char text[detail::kDottedDecimalRoom];
    return {text, detail::WriteDottedDecimal(text, bytes)};
}

std::ostream& operator<<(std::ostream& out, const CIpAddress& address)
{
    return out << address.ToString();
}

std::istream& operator>>(std::istream& in, CIpAddress& address)
{
    return detail::ReadWord(in, address);
}

} // namespace zor::common
