#include "MacAddress.h"

#include "AddressForms.h"
#include "AddressScan.h"

#include <ostream>

namespace zor::common {

namespace {

using FormatStyle = CMacAddress::FormatStyle;

/// Six or three groups, by what sscanf would make of the text. The number starts as zero.
bool ReadLenient(const std::string& text, std::uint64_t& number, FormatStyle& style)
{
    int values[detail::kMaxHexGroups] = {};
    const int read = detail::ScanHexGroups(text, 6, values, style.mSeparator);
    if (read != 6 && read != 3) return false;
    style.mGrouping = read == 6 ? 1 : 0;
    const int bits = read == 6 ? 8 : 16;
    const int limit = (1 << bits) - 1;
    for (int i = 0; i < read; ++i) {
        if (values[i] > limit) return false;
        number = number << bits | static_cast<unsigned int>(values[i] & limit);
    }
    return true;
}

/// 00:11:22:33:44:55 or 0011.2233.4455, with any of the usual separators.
bool ReadCanonical(const std::string& text, std::uint64_t& number, FormatStyle& style)
{
    if (detail::ReadHexGroups<6, 1>(text.data(), text.data() + text.size(), number, style.mSeparator)) {
        style.mGrouping = 1;
        return true;
    }
    if (detail::ReadHexGroups<6, 2>(text.data(), text.data() + text.size(), number, style.mSeparator)) {
        style.mGrouping = 0;
        return true;
    }
    return false;
}

} // namespace

CMacAddress::FormatStyle CMacAddress::mFormatStyle;

bool CMacAddress::CopyFromString(const std::string& text, std::string* error)
{
    FormatStyle style = mFormatStyle;
    std::uint64_t number = 0;
    if (!ReadCanonical(text, number, style) && !ReadLenient(text, number, style)) {
        detail::SetError(error, "invalid mac address \"", text, "\": should be 6 hex bytes");
        return false;
    }
    CopyFrom(number);
    SetFormatStyle(style);
    return true;
}

std::string CMacAddress::ToString() const
{
    char text[17]; // six groups of two digits and five separators
    const char separator = mFormatStyle.mSeparator;
    return {text, mFormatStyle.mGrouping == 1 ? detail::WriteHexBytes(text, mBytes, 6, 1, separator)
                                              : detail::WriteHexBytes(text, mBytes, 6, 2, separator)};
}

std::ostream& operator<<(std::ostream& out, const CMacAddress& address)
{
    return out << address.ToString();
}

std::istream& operator>>(std::istream& in, CMacAddress& address)
{
    return detail::ReadWord(in, address);
}

} // namespace zor::common
