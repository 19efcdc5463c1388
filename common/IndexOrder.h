#ifndef ZOR_COMMON_INDEX_ORDER_H
#define ZOR_COMMON_INDEX_ORDER_H

/// \file
/// IndexOrder, a seeded order of indexes that takes no memory.

#include "Export.h"
#include "IndexRange.h"

#include <cstddef>
#include <cstdint>

namespace zor::common {

/// An order of the indexes 0 to size - 1 that looks random: each index stands at one position, and either is worked
/// out from the other.
/// \code
/// const IndexOrder order(1000000, 42);                  // a million indexes, seed 42
/// const std::uint64_t index = order.GetIndexAt(0);      // 119543
/// order.GetPositionOf(index);                           // 0
/// std::uint64_t burst[32];
/// order.GetIndexesAt(IndexRange{0, 32}, burst);         // the first 32 at once, in less time each
/// \endcode
/// The order follows from size and seed alone. It is the same on every machine and in every release. Nothing is stored
/// but the keys: an order of 2^64 indexes takes as much memory as one of 10. Seeds that are close to each other
/// give unrelated orders, and so do sizes. An order is no cipher: anyone who sees enough of its indexes can find the seed.
///
/// An index of a size of 128 and more costs two permutations of a number at most, on average over all positions, and one
/// where the size is a power of two from 256 on. Smaller sizes are cut out of 256 numbers and cost 256 / size.
///
/// An order never changes once constructed, except by assignment, so any number of threads may use one object at once.
/// Nothing allocates.
class ZOR_COMMON_API IndexOrder {
public:
    /// \param size  how many indexes; 0 is 2^64.
    /// \param seed  any number; which of the orders.
    IndexOrder(std::uint64_t size, std::uint64_t seed) noexcept;

    /// The index at a position, which is taken modulo the size: behind its end the order starts again.
    std::uint64_t GetIndexAt(std::uint64_t position) const noexcept;

    /// The position below the size at which an index stands: the inverse of GetIndexAt(). The index is taken modulo the
    /// size.
    std::uint64_t GetPositionOf(std::uint64_t index) const noexcept;

    /// How many indexes there are; 0 is 2^64.
    std::uint64_t GetSize() const noexcept { return mLast + 1; }

    /// Whether size and seed are the same.
    bool operator==(const IndexOrder& other) const noexcept
    {
        bool isSame = mLast == other.mLast;
        for (unsigned int round = 0; round < kMostRounds; ++round) { // the keys follow from the seed
            isSame = isSame && mKeys[round].mask == other.mKeys[round].mask &&
                     mKeys[round].multiplier == other.mKeys[round].multiplier;
        }
        return isSame;
    }
    bool operator!=(const IndexOrder& other) const noexcept { return !(*this == other); } ///< The opposite.

    /// GetIndexAt() of all positions of a range, several at a time: the way to get many.
    ///
    /// \param positions  each is first taken modulo 2^64, as the range says, and then modulo the size.
    /// \param out        room for as many indexes as the range has; not touched by a range without any.
    void GetIndexesAt(const IndexRange& positions, std::uint64_t* out) const noexcept;

private:
    struct Key {
        std::uint32_t mask;
        std::uint32_t multiplier;
    };
    static constexpr unsigned int kMostRounds = 10;

    ZOR_COMMON_LOCAL std::uint64_t Reduce(std::uint64_t number) const noexcept;
    ZOR_COMMON_LOCAL void ReduceAll(const IndexRange& positions, std::uint64_t* out) const noexcept;
    template <std::size_t kCount>
    ZOR_COMMON_LOCAL void Permute(std::uint64_t* values) const noexcept;
    ZOR_COMMON_LOCAL void PermuteAll(std::uint64_t* values, std::size_t count) const noexcept;
    ZOR_COMMON_LOCAL void WalkAll(std::uint64_t* out, std::size_t count) const noexcept;
    ZOR_COMMON_LOCAL std::uint64_t PermuteBack(std::uint64_t value) const noexcept;

    std::uint64_t mLast;     // the greatest index
    std::uint32_t mLowMask;  // of the low half of a value
    std::uint32_t mHighMask; // of the high half, shifted down
    std::uint32_t mLowBits;
    std::uint32_t mRounds;
    Key mKeys[kMostRounds] = {};
};

} // namespace zor::common

#endif // ZOR_COMMON_INDEX_ORDER_H
