#include "MacAddress.h"

#include "Digits.h"

#include <algorithm>
#include <ostream>

namespace zor::common {

namespace {

using FormatStyle = CMacAddress::FormatStyle;

/// Six or three groups, by what sscanf makes of the text.
bool ReadLenient(const std::string& text, unsigned char (&bytes)[6], FormatStyle& style)
{
    int values[detail::kMaxHexGroups];
    const int read = detail::ScanHexGroups(text, 6, values, style.mSeparator);
    const auto allAtMost = [&](int limit) {
        return std::all_of(values, values + read, [limit](int value) { return value <= limit; });
    };
    if (read == 6 && allAtMost(255)) {
        style.mGrouping = 1;
        for (int i = 0; i < 6; ++i) bytes[i] = static_cast<unsigned char>(values[i]);
        return true;
    }
    if (read == 3 && allAtMost(65535)) {
        style.mGrouping = 0;
        for (int i = 0; i < 3; ++i) detail::StoreBig16(bytes + 2 * i, static_cast<std::uint16_t>(values[i]));
        return true;
    }
    return false;
}

/// 00:11:22:33:44:55 or 0011.2233.4455, with any of the usual separators.
bool ReadCanonical(const std::string& text, unsigned char (&bytes)[6], FormatStyle& style)
{
    if (detail::ReadHexGroups(text, 6, 1, bytes, style.mSeparator)) {
        style.mGrouping = 1;
        return true;
    }
    if (detail::ReadHexGroups(text, 6, 2, bytes, style.mSeparator)) {
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
    unsigned char bytes[6];
    if (!ReadCanonical(text, bytes, style) && !ReadLenient(text, bytes, style)) {
        if (error) *error = "invalid mac address \"" + text + "\": should be 6 hex bytes";
        return false;
    }
    CopyFrom(bytes);
    SetFormatStyle(style);
    return true;
}

std::string CMacAddress::ToString() const
{
    char text[17]; // six groups of two digits and five separators
    const int bytesPerGroup = mFormatStyle.mGrouping == 1 ? 1 : 2;
    return {text, detail::WriteHexBytes(text, mBytes, 6, bytesPerGroup, mFormatStyle.mSeparator)};
}

void CMacAddress::SetFormatStyle(const FormatStyle& style) noexcept
{
    mFormatStyle = style;
}

CMacAddress::FormatStyle CMacAddress::GetFormatStyle() noexcept
{
    return mFormatStyle;
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
