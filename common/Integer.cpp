#include "Integer.h"

#include <cstdlib>

namespace zor::common {

unsigned long Integer::StrToUint64(const char* text, char** end, int base) noexcept
{
    return std::strtoull(text, end, base);
}

long Integer::StrToInt64(const char* text, char** end, int base) noexcept
{
    return std::strtoll(text, end, base);
}

} // namespace zor::common
