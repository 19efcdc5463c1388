#ifndef ZOR_COMMON_GOOGLE_PROTO_BUF_MESSAGE_INFO_H
#define ZOR_COMMON_GOOGLE_PROTO_BUF_MESSAGE_INFO_H

/// \file
/// CGoogleProtoBufMessageInfo, the description of one protocol-buffer message.

#include "Export.h"
#include "GoogleProtoBufFieldInfo.h"

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace zor::common {

/// One message of a schema: its name, its fields and its TLV type number.
///
/// A plain record, like its fields, usually filled by CGoogleProtoBufParser. Distinct objects may be used from distinct
/// threads.
/// \code
/// CGoogleProtoBufMessageInfo message;
/// message.name = "Status";
/// message.fields.emplace_back();
/// message.fields.back().name = "code";
/// message.protoIdlToStream(std::cout);
/// // message Status {
/// //   optional none code=0;
/// // }
/// \endcode
class ZOR_COMMON_API CGoogleProtoBufMessageInfo {
public:
    /// A message without name and fields and with TLV type 1.
    CGoogleProtoBufMessageInfo() = default;

    CGoogleProtoBufMessageInfo(const CGoogleProtoBufMessageInfo&) = default;
    CGoogleProtoBufMessageInfo(CGoogleProtoBufMessageInfo&&) noexcept = default;
    CGoogleProtoBufMessageInfo& operator=(CGoogleProtoBufMessageInfo&&) noexcept = default;
    ~CGoogleProtoBufMessageInfo() = default;

    /// Copies all members; if an allocation fails, nothing changes.
    CGoogleProtoBufMessageInfo& operator=(const CGoogleProtoBufMessageInfo& other)
    {
        return *this = CGoogleProtoBufMessageInfo(other);
    }

    /// Restores the state after construction.
    void reset() noexcept;

    /// Writes the message as schema text: the opening line, a line for each field, and the closing line. Each line ends
    /// with a newline and a flush.
    ///
    /// \ref tlvType is deliberately not written. For CGoogleProtoBufParser to read the text back, write a comment line
    /// with the number above it.
    /// \return \a os
    std::ostream& protoIdlToStream(std::ostream& os) const;

    std::vector<CGoogleProtoBufFieldInfo> fields; ///< In the order of the schema text.
    std::string name;                             ///< The message's name.
    std::int32_t tlvType = 1;                     ///< The number in the comment above the message.
};

} // namespace zor::common

#endif // ZOR_COMMON_GOOGLE_PROTO_BUF_MESSAGE_INFO_H
