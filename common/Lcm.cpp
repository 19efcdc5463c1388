#include "Lcm.h"

#include <algorithm>
#include <limits>

namespace zor::common {

unsigned long Lcm::Gcd(unsigned long a, unsigned long b) noexcept
{
    while (b != 0) {
        const unsigned long remainder = a % b;
        a = b;
        b = remainder;
    }
    return a;
}

unsigned int Lcm::FindLcm(const std::vector<unsigned int>& counts)
{
    if (counts.empty()) return 0;

    std::vector<unsigned int> ascending = counts;
    std::sort(ascending.begin(), ascending.end());
    ascending.erase(std::unique(ascending.begin(), ascending.end()), ascending.end());

    unsigned long multiple = 1; // a count of 0 makes it 0, which stays
    for (const unsigned int count : ascending) multiple = count * multiple / Gcd(multiple, count);
    return multiple > std::numeric_limits<unsigned int>::max() ? 0 : static_cast<unsigned int>(multiple);
}

} // namespace zor::common
