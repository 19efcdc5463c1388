#ifndef ZOR_COMMON_LCM_H
#define ZOR_COMMON_LCM_H

/// \file
/// Lcm, greatest common divisors and least common multiples.

#include "Export.h"

#include <vector>

namespace zor::common {

/// The number of steps after which sequences of different lengths are at their starts again together.
/// \code
/// Lcm::FindLcm({4, 6});            // 12
/// Lcm::FindLcm({65536, 65537});    // 0: 4295032832 needs more than 32 bits
/// \endcode
/// There is no state, so any number of threads may call at once.
class ZOR_COMMON_API Lcm {
public:
    Lcm() = delete;

    /// The greatest common divisor, by Euclid's algorithm. If one argument is 0, the result is the other one.
    static unsigned long Gcd(unsigned long a, unsigned long b) noexcept;

    /// The least common multiple of the listed counts.
    ///
    /// \param counts  in any order; duplicates have no effect.
    /// \return        0 for an empty list, for a list that contains 0, and for a multiple above 2^32 - 1. A single
    ///                count is its own multiple.
    ///
    /// The counts are combined in ascending order. Each product is computed modulo 2^64 before it is divided, and only
    /// the last result is compared with 2^32 - 1. So if an intermediate product exceeds 64 bits, the result is that of
    /// the wrapped product. The product of two counts never does.
    static unsigned int FindLcm(const std::vector<unsigned int>& counts);
};

} // namespace zor::common

#endif // ZOR_COMMON_LCM_H
