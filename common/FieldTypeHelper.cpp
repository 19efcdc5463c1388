#include "FieldTypeHelper.h"

#include <bit>

namespace zor::common {

bool IsBigEndianPlatform() noexcept
{
    return std::endian::native == std::endian::big;
}

} // namespace zor::common
