#ifndef ZOR_COMMON_INDEX_RANGE_H
#define ZOR_COMMON_INDEX_RANGE_H

/// \file
/// IndexRange, evenly spaced 64-bit indexes, and the parts of a range for threads, processes and machines.

#include <cstdint>

namespace zor::common {

/// The indexes first, first + every, first + 2 * every and so on, \a count of them, each modulo 2^64.
/// \code
/// constexpr IndexRange all{1000, 10};            // 1000 to 1009
/// constexpr IndexRange block = Block(all, 1, 3); // 1004, 1005, 1006
/// constexpr IndexRange stripe = Stripe(all, 1, 3); // 1001, 1004, 1007
/// \endcode
/// Positions in a range start at 0, so position p has the index first + p * every. A range cannot have all 2^64
/// indexes, since the count is at most 2^64 - 1. If \a every is 0, all positions have the same index; 2^64 - 1 counts
/// down.
struct IndexRange {
    std::uint64_t first = 0; ///< The index at position 0.
    std::uint64_t count = 0; ///< The number of indexes; 0 is an empty range, whatever the other members are.
    std::uint64_t every = 1; ///< The distance from one index to the next.
};

/// Part \a k of \a n contiguous parts of a range, in its order; k = 0 is the first one.
///
/// The sizes of the parts differ by at most 1, and larger parts come first. So if n is above the count, the first parts
/// have one index each and the others are empty. For k >= n, n = 0 included, the part is empty too. All n parts
/// together are the whole range, each index once.
constexpr IndexRange Block(const IndexRange& all, std::uint64_t k, std::uint64_t n) noexcept
{
    if (k >= n) return {};
    const std::uint64_t least = all.count / n;
    const std::uint64_t larger = all.count % n;                        // how many parts have one index more
    const std::uint64_t start = k * least + (k < larger ? k : larger); // at most the count, so nothing wraps
    return {all.first + all.every * start, least + (k < larger ? 1 : 0), all.every};
}

/// Part \a k of \a n interleaved parts of a range: its positions k, k + n, k + 2n and so on.
///
/// Sizes are as with Block(), also for k >= n. The distance of the indexes is \a n times that of the range, modulo
/// 2^64.
constexpr IndexRange Stripe(const IndexRange& all, std::uint64_t k, std::uint64_t n) noexcept
{
    if (k >= n || k >= all.count) return {};
    return {all.first + all.every * k, (all.count - 1 - k) / n + 1, all.every * n};
}

} // namespace zor::common

#endif // ZOR_COMMON_INDEX_RANGE_H
