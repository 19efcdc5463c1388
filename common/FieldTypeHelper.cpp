#include "FieldTypeHelper.h"

#include "BigEndian.h"

namespace zor::common {

bool IsBigEndianPlatform() noexcept
{
    return !detail::kIsLittleEndian;
}

} // namespace zor::common
