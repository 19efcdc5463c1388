#include "GoogleProtoBufMessageInfo.h"

#include <ostream>

namespace zor::common {

void CGoogleProtoBufMessageInfo::reset() noexcept
{
    fields.clear();
    tlvType = 1;
    name.clear();
}

std::ostream& CGoogleProtoBufMessageInfo::protoIdlToStream(std::ostream& os) const
{
    const std::string opening = "message " + name + " {";
    os.write(opening.data(), static_cast<std::streamsize>(opening.size())) << std::endl;
    for (const CGoogleProtoBufFieldInfo& field : fields) field.protoIdlToStream(os);
    os.write("}", 1) << std::endl;
    return os;
}

} // namespace zor::common
