#include "IpAddress.h"

#include "Digits.h"

#include <cstdio>
#include <ostream>

namespace zor::common {

namespace {

/// What dotted decimal means: sscanf decides, and nothing after the fourth number is looked at.
bool ReadLenient(const std::string& text, std::uint32_t& value)
{
    unsigned int parts[4] = {};
    if (std::sscanf(text.c_str(), "%u.%u.%u.%u", &parts[0], &parts[1], &parts[2], &parts[3]) != 4) return false;
    if (parts[0] > 255 || parts[1] > 255 || parts[2] > 255 || parts[3] > 255) return false;
    value = parts[0] << 24 | parts[1] << 16 | parts[2] << 8 | parts[3];
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
    if (!detail::ReadDottedDecimal(text.data(), text.data() + text.size(), value) && !ReadLenient(text, value)) {
        if (error) *error = "invalid ip address \"" + text + "\": should be dotted decimal";
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
