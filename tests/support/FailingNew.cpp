#include "FailingNew.h"

#include <cstdlib>
#include <new>

namespace zor::common::test {

long gAllocations = 0;
long gFailAt = -1;
long gLive = 0;

} // namespace zor::common::test

void* operator new(std::size_t size)
{
    using namespace zor::common::test;
    ++gAllocations;
    if (gFailAt >= 0 && gFailAt-- == 0) throw std::bad_alloc();
    if (void* const memory = std::malloc(size)) {
        ++gLive;
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    if (memory) --zor::common::test::gLive;
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    operator delete(memory);
}
