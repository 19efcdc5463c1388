#ifndef ZOR_COMMON_INDEX_ORDER_H
#define ZOR_COMMON_INDEX_ORDER_H

/// \file
/// IndexOrder, a seeded order of indexes that takes no memory.

#include "Export.h"
#include "IndexRange.h"

#include <cstddef>
#include <cstdint>

namespace zor::common {

/// An order of the indexes 0 to size - 1 that looks random: each index has one position, and index and position can be
/// computed from each other.
/// \code
/// const IndexOrder order(1000000, 42);                  // a million indexes, seed 42
/// const std::uint64_t index = order.GetIndexAt(0);      // 119543
/// order.GetPositionOf(index);                           // 0
/// std::uint64_t burst[32];
/// order.GetIndexesAt(IndexRange{0, 32}, burst);         // the first 32 at once, faster than one by one
/// \endcode
/// The order follows from size and seed alone. It is the same on every machine and in every release. Only keys are
/// stored, so an order of 2^64 indexes takes as much memory as an order of 10. Seeds that are close to each other give
/// unrelated orders, and so do sizes. An order is not a cipher: anyone who sees enough of its indexes can find the
/// seed.
///
/// An index takes at most two permutations of a number on average if the size is 128 or more, and one if the size is a
/// power of two from 256 on. Smaller sizes are cut out of 256 numbers and take 256 / size permutations.
///
/// An order changes only by assignment, so any number of threads may use one object at once. Nothing allocates.
class ZOR_COMMON_API IndexOrder {
public:
    /// \param size  the number of indexes; 0 stands for 2^64.
    /// \param seed  any number, which chooses one of the orders.
    IndexOrder(std::uint64_t size, std::uint64_t seed) noexcept;

    /// The index at a position. Positions are taken modulo the size: the order starts again after its end.
    std::uint64_t GetIndexAt(std::uint64_t position) const noexcept;

    /// The position of an index, below the size: the inverse of GetIndexAt(). The index is taken modulo the size.
    std::uint64_t GetPositionOf(std::uint64_t index) const noexcept;

    /// The number of indexes; 0 stands for 2^64.
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

    /// GetIndexAt() for all positions of a range. It computes several at a time, so it is faster than many single
    /// calls.
    ///
    /// \param positions  each is taken modulo 2^64, as in every range, and then modulo the size.
    /// \param out        room for as many indexes as the range has; not touched if the range is empty.
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
