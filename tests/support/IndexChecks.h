#ifndef ZOR_COMMON_TESTS_INDEX_CHECKS_H
#define ZOR_COMMON_TESTS_INDEX_CHECKS_H

/// \file
/// Orders of indexes, checked against the plain rules on what a test or a fuzzer draws.

#include "Random.h"

#include <common/IndexOrder.h>

#include <gtest/gtest.h>

#include <vector>

namespace zor::common::test {

/// The indexes at a range of positions: below the size, at the places they say, and with nothing written behind them.
inline void CheckIndexes(std::uint64_t size, std::uint64_t seed, const IndexRange& range)
{
    SCOPED_TRACE(testing::Message() << "size " << size << ", seed " << seed << ", " << range.count << " from "
                                    << range.first << " by " << range.every);
    const IndexOrder order(size, seed);
    std::vector<std::uint64_t> indexes(range.count + 1, 77);
    order.GetIndexesAt(range, indexes.data());
    ASSERT_EQ(indexes.back(), 77u);
    for (std::uint64_t i = 0; i < range.count; ++i) {
        const std::uint64_t position = range.first + i * range.every;
        ASSERT_LE(indexes[i], size - 1) << i;
        ASSERT_EQ(indexes[i], order.GetIndexAt(position)) << i;
        ASSERT_EQ(order.GetPositionOf(indexes[i]), size == 0 ? position : position % size) << i;
    }
}

inline void CheckIndexOrder(Random& random)
{
    const std::uint64_t size = random.Number() >> random.Below(64), seed = random.Number();
    const std::uint64_t starts[] = {random.Number(), size - random.Below(600), 0 - random.Below(600)}; // before ends
    CheckIndexes(size, seed, {starts[random.Below(3)], random.Below(600), random.Number() >> random.Below(64)});
}

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_INDEX_CHECKS_H
