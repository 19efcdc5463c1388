#ifndef ZOR_COMMON_GOOGLE_PROTO_BUF_FIELD_INFO_H
#define ZOR_COMMON_GOOGLE_PROTO_BUF_FIELD_INFO_H

/// \file
/// CGoogleProtoBufFieldInfo, the description of one field of a protocol-buffer message.

#include "Export.h"

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>

namespace zor::common {

/// One field of a message in a schema: label, type, name and field number.
///
/// A plain record: every member may be read and set, and copies share nothing. Nothing is checked, so a field number
/// that the wire format cannot carry is kept. Distinct objects may be used from distinct threads.
/// \code
/// CGoogleProtoBufFieldInfo field;
/// field.name = "len";
/// field.type = CGoogleProtoBufFieldInfo::stringToFieldType("int32");
/// field.optional = false;
/// field.tag = 2;
/// field.protoIdlToStream(std::cout);   // "  required int32 len=2;" and an end of line
/// \endcode
class ZOR_COMMON_API CGoogleProtoBufFieldInfo {
public:
    /// The type of a field. The numbers are part of the interface and are not in the order of the names.
    enum FieldType : std::int32_t {
        TypeNone = 0,          ///< No type is set; also the result of looking up an unknown name.
        TypeInt32 = 1,         ///< "int32"
        TypeSint32 = 2,        ///< "sint32"
        TypeUint32 = 3,        ///< "uint32"
        TypeInt64 = 4,         ///< "int64"
        TypeSint64 = 5,        ///< "sint64"
        TypeUint64 = 6,        ///< "uint64"
        TypeBytes = 7,         ///< "bytes"
        TypeString = 8,        ///< "string"
        TypeBool = 9,          ///< "bool"
        TypeHardwareInfo = 10, ///< The message type of that name; the library knows only its name.
        TypeDwell = 11,        ///< The message type of that name.
        TypeNotch = 12         ///< The message type of that name.
    };

    /// Every type name with its code, in the order in which both functions below search.
    static const std::pair<std::string_view, FieldType> FieldTypeDataLut[13];

    /// An optional field that is not repeated, without name and type, numbered 0.
    CGoogleProtoBufFieldInfo() = default;
    CGoogleProtoBufFieldInfo(const CGoogleProtoBufFieldInfo& other) = default;
    CGoogleProtoBufFieldInfo(CGoogleProtoBufFieldInfo&& other) noexcept = default;
    CGoogleProtoBufFieldInfo& operator=(const CGoogleProtoBufFieldInfo& other) = default;
    CGoogleProtoBufFieldInfo& operator=(CGoogleProtoBufFieldInfo&& other) noexcept = default;
    virtual ~CGoogleProtoBufFieldInfo();

    /// Restores the state after construction, except that \ref tag deliberately keeps its value.
    void reset() noexcept;

    /// The code of a type name.
    ///
    /// \param name  compared as a whole, with regard to case: "Int32" is unknown.
    /// \return      \ref TypeNone for an unknown name, and also for "none".
    static FieldType stringToFieldType(const std::string& name) noexcept;

    /// The name of a type code; "none" for a number that is not a code.
    static std::string fieldTypeToString(const FieldType& type);

    /// Writes the field as one indented line of schema text, such as "  repeated uint32 port=3;".
    ///
    /// The label is "repeated" if \ref repeated is set, else "optional" or "required". The number is written in plain
    /// decimal; locale, width and fill of \a os have no effect. The line ends with a newline and a flush.
    /// \return \a os
    std::ostream& protoIdlToStream(std::ostream& os) const;

    std::string name;          ///< The field's name.
    FieldType type = TypeNone; ///< The field's type.
    bool optional = true;      ///< Whether the label is "optional"; if not, it is "required".
    bool repeated = false;     ///< Whether the label is "repeated"; then \ref optional has no meaning.
    std::int32_t tag = 0;      ///< The field number. The wire format carries 1 to 536870911.
};

} // namespace zor::common

#endif // ZOR_COMMON_GOOGLE_PROTO_BUF_FIELD_INFO_H
