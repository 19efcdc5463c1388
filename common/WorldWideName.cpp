#include "WorldWideName.h"

#include "Digits.h"

#include <algorithm>
#include <ostream>

namespace zor::common {

namespace {

/// Eight groups, by what sscanf makes of the text.
bool ReadLenient(const std::string& text, unsigned char (&bytes)[8], char& separator)
{
    int values[detail::kMaxHexGroups];
    if (detail::ScanHexGroups(text, 8, values, separator) != 8) return false;
    if (std::any_of(values, values + 8, [](int value) { return value > 255; })) return false;
    for (int i = 0; i < 8; ++i) bytes[i] = static_cast<unsigned char>(values[i]);
    return true;
}

} // namespace

CWorldWideName::FormatStyle CWorldWideName::mFormatStyle;

bool CWorldWideName::CopyFromString(const std::string& text, std::string* error)
{
    FormatStyle style = {0, mFormatStyle.mSeparator};
    unsigned char bytes[8];
    if (!detail::ReadHexGroups(text, 8, 1, bytes, style.mSeparator) && !ReadLenient(text, bytes, style.mSeparator)) {
        if (error) *error = "invalid World Wide Number \"" + text + "\": should be 8 hex bytes";
        return false;
    }
    CopyFrom(bytes);
    SetFormatStyle(style);
    return true;
}

std::string CWorldWideName::ToString() const
{
    char text[23]; // eight groups of two digits and seven separators
    return {text, detail::WriteHexBytes(text, mBytes, 8, 1, mFormatStyle.mSeparator)};
}

void CWorldWideName::SetFormatStyle(const FormatStyle& style) noexcept
{
    mFormatStyle = style;
}

CWorldWideName::FormatStyle CWorldWideName::GetFormatStyle() noexcept
{
    return mFormatStyle;
}

std::ostream& operator<<(std::ostream& out, const CWorldWideName& name)
{
    return out << name.ToString();
}

std::istream& operator>>(std::istream& in, CWorldWideName& name)
{
    return detail::ReadWord(in, name);
}

} // namespace zor::common
