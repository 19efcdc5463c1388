#include "GoogleProtoBufFieldInfo.h"

#include <ostream>

namespace zor::common {

constinit const std::pair<std::string_view, CGoogleProtoBufFieldInfo::FieldType>
    CGoogleProtoBufFieldInfo::FieldTypeDataLut[13] = {
        {"int32", TypeInt32},
        {"uint32", TypeUint32},
        {"sint32", TypeSint32},
        {"int64", TypeInt64},
        {"uint64", TypeUint64},
        {"sint64", TypeSint64},
        {"bytes", TypeBytes},
        {"string", TypeString},
        {"bool", TypeBool},
        {"none", TypeNone},
        {"HardwareInfo", TypeHardwareInfo},
        {"Dwell", TypeDwell},
        {"Notch", TypeNotch},
};

// Out of line, so that the virtual table has one home.
CGoogleProtoBufFieldInfo::~CGoogleProtoBufFieldInfo() = default;

void CGoogleProtoBufFieldInfo::reset() noexcept
{
    name.clear();
    type = TypeNone;
    optional = true;
    repeated = false;
}

CGoogleProtoBufFieldInfo::FieldType CGoogleProtoBufFieldInfo::stringToFieldType(const std::string& name) noexcept
{
    for (const auto& [rowName, code] : FieldTypeDataLut) {
        if (rowName == name) return code;
    }
    return TypeNone;
}

std::string CGoogleProtoBufFieldInfo::fieldTypeToString(const FieldType& type)
{
    for (const auto& [rowName, code] : FieldTypeDataLut) {
        if (code == type) return std::string(rowName);
    }
    return "none";
}

std::ostream& CGoogleProtoBufFieldInfo::protoIdlToStream(std::ostream& os) const
{
    std::string line = repeated ? "  repeated " : optional ? "  optional " : "  required ";
    line += fieldTypeToString(type);
    line += ' ';
    line += name;
    line += '=';
    line += std::to_string(tag);
    line += ';';
    os.write(line.data(), static_cast<std::streamsize>(line.size())) << std::endl;
    return os;
}

} // namespace zor::common
