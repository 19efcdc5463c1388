#include "Families.h"
#include "Rows.h"

#include <common/IndexOrder.h>

#include <algorithm>
#include <array>
#include <numeric>

namespace zor::common::bench {

namespace {

constexpr std::uint64_t kBurst = 32;

using Burst = std::array<std::uint64_t, kBurst>;

/// Many indexes at once beside one at a time: of drawn places in the order, a burst in a row at each.
void BurstRow(const char* name, double atMost, std::uint64_t size)
{
    const IndexOrder order(size, 42);
    Row(name, atMost, Inputs([](std::uint64_t random) { return random >> 33; }), [order](std::uint64_t first) {
        Burst indexes;
        order.GetIndexesAt({first, kBurst}, indexes.data());
        return indexes;
    }).Beside("GetIndexAt", [order](std::uint64_t first) {
        Burst indexes;
        for (std::uint64_t i = 0; i < kBurst; ++i) indexes[i] = order.GetIndexAt(first + i);
        return indexes;
    });
}

/// A whole order from its seed on, beside the table that a program would shuffle instead. The two orders are different
/// ones, but have the same sum of squares.
void WholeRow(const char* name, const char* peer, double atMost, std::size_t size)
{
    const auto sum = [](std::uint64_t squares, std::uint64_t index) { return squares + index * index; };
    const auto seeds = Inputs([](std::uint64_t random) { return random; }, 4);
    Row(name, atMost, seeds, [=](std::uint64_t seed) {
        const IndexOrder order(size, seed);
        std::uint64_t squares = 0;
        Burst indexes;
        for (std::uint64_t first = 0; first < size; first += kBurst) {
            order.GetIndexesAt({first, kBurst}, indexes.data());
            squares = std::accumulate(indexes.begin(), indexes.end(), squares, sum);
        }
        return squares;
    }).Beside(peer, [=](std::uint64_t seed) {
        std::vector<std::uint64_t> table(size);
        std::iota(table.begin(), table.end(), std::uint64_t{0});
        std::mt19937_64 random(seed);
        std::shuffle(table.begin(), table.end(), random);
        return std::accumulate(table.begin(), table.end(), std::uint64_t{0}, sum);
    });
}

} // namespace

void IndexOrderRows()
{
    BurstRow("index order, 32 of 2^32", 0.9, std::uint64_t{1} << 32);
    BurstRow("index order, 32 of 2^31 + 1", 0.5, (std::uint64_t{1} << 31) + 1);
    WholeRow("index order, all of 2^16", "std::shuffle, 512 KiB", 1.25, std::size_t{1} << 16);
    WholeRow("index order, all of 2^22", "std::shuffle, 32 MiB", 0.7, std::size_t{1} << 22);
}

} // namespace zor::common::bench
