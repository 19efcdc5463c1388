#ifndef ZOR_COMMON_LCM_H
#define ZOR_COMMON_LCM_H

/// \file
/// Lcm, greatest common divisors and least common multiples.

#include "Export.h"

#include <vector>

namespace zor::common {

/// After how many steps sequences of different lengths return to their start together.
/// \code
/// Lcm::FindLcm({4, 6});            // 12
/// Lcm::FindLcm({65536, 65537});    // 0: 4295032832 needs more than 32 bits
/// \endcode
/// Nothing is kept between calls; any number of threads may call at once.
class ZOR_COMMON_API Lcm {
public:
    Lcm() = delete;

    /// The greatest common divisor, by Euclid's algorithm. If one argument is 0, the other.
    static unsigned long Gcd(unsigned long a, unsigned long b) noexcept;

    /// The least common multiple of the listed counts.
    ///
    /// \param counts  in any order; duplicates count once.
    /// \return        0 for an empty list, for a list with a 0 in it, and for a multiple above 2^32 - 1. A single
    ///                count is its own multiple.
    ///
    /// The counts are taken in ascending order, each product is formed modulo 2^64 before it is divided, and only
    /// the last result is compared with 2^32 - 1. Where a product on the way exceeds 64 bits, the answer is that of
    /// the wrapped product; two counts never get there.
    static unsigned int FindLcm(const std::vector<unsigned int>& counts);
};

} // namespace zor::common

#endif // ZOR_COMMON_LCM_H
