#include "WorldWideName.h"

#include "AddressForms.h"
#include "AddressScan.h"

#include <ostream>

namespace zor::common {

namespace {

/// Eight groups, by what sscanf would make of the text.
bool ReadLenient(const std::string& text, std::uint64_t& number, char& separator)
{
    int values[detail::kMaxHexGroups] = {};
    if (detail::ScanHexGroups(text, 8, values, separator) != 8) return false;
    number = 0;
    for (const int value : values) {
        if (value > 255) return false;
        number = number << 8 | static_cast<unsigned int>(value & 255);
    }
    return true;
}

} // namespace

CWorldWideName::FormatStyle CWorldWideName::mFormatStyle;

bool CWorldWideName::CopyFromString(const std::string& text, std::string* error)
{
    FormatStyle style = {0, mFormatStyle.mSeparator};
    std::uint64_t number = 0;
    if (!detail::ReadHexGroups<8, 1>(text.data(), text.data() + text.size(), number, style.mSeparator) &&
        !ReadLenient(text, number, style.mSeparator)) {
        detail::SetError(error, "invalid World Wide Number \"", text, "\": should be 8 hex bytes");
        return false;
    }
    CopyFrom(number);
    SetFormatStyle(style);
    return true;
}

std::string CWorldWideName::ToString() const
{
    char text[23]; // eight groups of two digits and seven separators
    return {text, detail::WriteHexBytes(text, mBytes, 8, 1, mFormatStyle.mSeparator)};
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
