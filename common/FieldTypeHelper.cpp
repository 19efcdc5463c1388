#include "FieldTypeHelper.h"

#include <atomic>
#include <bit>

namespace zor::common {

bool IsBigEndianPlatform() noexcept
{
    static std::atomic<bool> tested = false;
    static std::atomic<bool> bigEndian = false;
    if (!tested.load(std::memory_order_acquire)) {
        bigEndian.store(std::endian::native == std::endian::big, std::memory_order_relaxed);
        tested.store(true, std::memory_order_release);
    }
    return bigEndian.load(std::memory_order_relaxed);
}

} // namespace zor::common
