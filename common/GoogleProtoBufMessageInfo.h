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

/// One message as a schema states it: its name, its fields and the TLV type number that announces it.
///
/// A plain record like its fields, usually filled by CGoogleProtoBufParser. Distinct objects may be used from
/// distinct threads.
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

    /// Takes all or, where memory runs out, nothing.
    CGoogleProtoBufMessageInfo& operator=(const CGoogleProtoBufMessageInfo& other)
    {
        return *this = CGoogleProtoBufMessageInfo(other);
    }

    /// Back to the state after construction.
    void reset() noexcept;

    /// Writes the message as schema text: the opening line, one line a field, the closing line, each ended
    /// with a newline and a flush.
    ///
    /// \ref tlvType is not written, on purpose: CGoogleProtoBufParser reads the text back only after a caller
    /// has put a comment line with the number above it.
    /// \return \a os
    std::ostream& protoIdlToStream(std::ostream& os) const;

    std::vector<CGoogleProtoBufFieldInfo> fields; ///< In the order of the schema text.
    std::string name;                             ///< The message's name.
    std::int32_t tlvType = 1;                     ///< The number in the comment above the message.
};

} // namespace zor::common

#endif // ZOR_COMMON_GOOGLE_PROTO_BUF_MESSAGE_INFO_H
