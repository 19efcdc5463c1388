#include "support/IndexChecks.h"
#include "support/Rows.h"

#include <common/FrameBuilder.h>

#include <array>
#include <bit>
#include <map>
#include <type_traits>

using namespace zor::common;
using test::Random;

namespace {

constexpr std::uint64_t kMost = ~std::uint64_t{0};

constexpr bool Is(const IndexRange& range, std::uint64_t first, std::uint64_t count, std::uint64_t every)
{
    return range.first == first && range.count == count && range.every == every;
}

static_assert(Is(IndexRange{}, 0, 0, 1));
static_assert(Is(Block({100, 10, 2}, 0, 3), 100, 4, 2) && Is(Block({100, 10, 2}, 2, 3), 114, 3, 2));
static_assert(Is(Stripe({100, 10, 2}, 0, 3), 100, 4, 6) && Is(Stripe({100, 10, 2}, 2, 3), 104, 3, 6));
static_assert(Is(Block({kMost, kMost, 3}, kMost - 1, kMost), kMost - 6, 1, 3), "k * every wraps");
static_assert(Is(Block({5, kMost}, 1, 2), 5 + (kMost / 2 + 1), kMost / 2, 1));
static_assert(Is(Stripe({5, kMost, 4}, 1, std::uint64_t{1} << 62), 9, 4, 0), "n * every wraps");
static_assert(Block({0, 2}, 2, 5).count == 0 && Stripe({0, 2}, 2, 5).count == 0, "more parts than indexes");
static_assert(Block({0, 9}, 0, 0).count == 0 && Stripe({0, 9}, 0, 0).count == 0, "no parts");
static_assert(Block({0, 9}, 3, 3).count == 0 && Stripe({0, 9}, kMost, 3).count == 0, "no such part");
static_assert(std::is_trivially_copyable_v<IndexOrder>);

TEST(IndexRange, PartsAddUp)
{
    for (const std::uint64_t count : {std::uint64_t{0}, std::uint64_t{10}, kMost}) {
        for (std::uint64_t n = 1; n < 14; ++n) {
            const IndexRange all = {kMost - 20, count, 0x123456789abcdef1};
            std::uint64_t next = 0;
            for (std::uint64_t k = 0; k < n; ++k) {
                const IndexRange block = Block(all, k, n), stripe = Stripe(all, k, n);
                ASSERT_EQ(block.count, count / n + (k < count % n ? 1 : 0));
                ASSERT_EQ(stripe.count, block.count);
                ASSERT_TRUE(block.count == 0 || (Is(block, all.first + next * all.every, block.count, all.every) &&
                                                 Is(stripe, all.first + k * all.every, stripe.count, n * all.every)));
                next += block.count;
            }
            ASSERT_EQ(next, count);
        }
    }
}

TEST(IndexOrder, HasAnExactInverse)
{
    for (std::uint64_t size = 1; size <= 4096; ++size) ASSERT_NO_FATAL_FAILURE(test::CheckIndexes(size, 9, {0, size}));
    for (const std::uint64_t size : {(kMost >> 32) - 4, (kMost >> 32) + 1, kMost - 58, std::uint64_t{0}}) {
        for (const std::uint64_t every : {std::uint64_t{1}, kMost, 0x9e3779b97f4a7c15}) {
            ASSERT_NO_FATAL_FAILURE(test::CheckIndexes(size, every, {size - 4000, 8000, every}));
        }
    }
    Random random(2);
    for (int round = 0; round < 1000; ++round) ASSERT_NO_FATAL_FAILURE(test::CheckIndexOrder(random));
}

TEST(IndexOrder, IsTheSameInEveryRelease)
{
    for (const auto& row : test::Rows("index-orders.txt")) {
        SCOPED_TRACE(row[0] + ", " + row[1] + ", " + row[2]);
        const IndexOrder order(std::stoull(row[0]), std::stoull(row[1]));
        EXPECT_EQ(order.GetSize(), std::stoull(row[0]));
        EXPECT_EQ(order.GetIndexAt(std::stoull(row[2])), std::stoull(row[3]));
        EXPECT_EQ(order.GetPositionOf(std::stoull(row[3])), std::stoull(row[2]));
    }
}

/// Chi-squared over the orders of 3, 4 and 5 indexes, all equally likely: with 5 + 23 + 119 degrees of freedom it is
/// above 243.33 once in a million.
template <class IndexAt>
double UnevennessOfOrders(IndexAt indexAt)
{
    constexpr std::uint64_t kSeeds = 60000;
    double sum = 0;
    for (const std::uint64_t size : {3u, 4u, 5u}) {
        std::map<std::uint64_t, int> seen; // by the indexes as digits
        for (std::uint64_t seed = 0; seed < kSeeds; ++seed) {
            std::uint64_t order = 0;
            for (std::uint64_t i = 0; i < size; ++i) order = order * 8 + indexAt(size, seed, i);
            ++seen[order];
        }
        const std::size_t orders = size == 3 ? 6 : size == 4 ? 24 : 120;
        const double expected = static_cast<double>(kSeeds) / static_cast<double>(orders);
        for (const auto& [order, count] : seen) sum += (count - expected) * (count - expected) / expected;
        sum += expected * static_cast<double>(orders - seen.size());
    }
    return sum;
}

/// The network of 8 bits written out, with any number of rounds.
std::uint64_t IndexOfEightBits(std::uint64_t size, std::uint64_t seed, std::uint64_t position, unsigned int rounds)
{
    const auto splitMix = [](std::uint64_t z) {
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
        z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
        return z ^ (z >> 31);
    };
    constexpr std::uint64_t kStep = 0x9e3779b97f4a7c15;
    std::uint64_t halves[] = {position % 16, position / 16}, state = splitMix(seed + kStep) ^ size;
    do {
        for (unsigned int round = 0; round < rounds; ++round) {
            const std::uint64_t key = splitMix(state + kStep * (round + 1));
            const std::uint64_t product = (halves[round % 2] ^ (key & 0xffffffff)) * (key >> 32 | 1);
            halves[1 - round % 2] ^= (product ^ product >> 32) % 16;
        }
    } while (halves[0] + 16 * halves[1] >= size);
    return halves[0] + 16 * halves[1];
}

/// A frame may have more fields in an order of their own than 16 bits count.
TEST(IndexOrder, StandsBehindEachOfManyFields)
{
    constexpr std::uint64_t kFields = 65600;
    FrameBuilder frame;
    for (std::uint64_t i = 0; i < kFields; ++i) frame.Number(Shuffled(Counting<std::uint8_t>(65, 5), i));
    const CompiledTemplate packets = frame.Compile();
    std::string packet;
    for (const std::uint64_t index : {0u, 1u, 2u, 4u}) {
        packets.GetValueAt(index, packet);
        ASSERT_EQ(packet.size(), kFields);
        for (const std::uint64_t i : {std::uint64_t{0}, std::uint64_t{65534}, std::uint64_t{65535}, kFields - 1}) {
            EXPECT_EQ(static_cast<unsigned char>(packet[i]), 65 + IndexOrder(5, i).GetIndexAt(index)) << i;
        }
    }
}

TEST(IndexOrder, GivesAllOrdersAlike)
{
    const auto of = [](auto size, auto seed, auto i) { return IndexOrder(size, seed).GetIndexAt(i); };
    const auto withRounds = [](unsigned int rounds) {
        return [=](auto size, auto seed, auto i) { return IndexOfEightBits(size, seed, i, rounds); };
    };
    const double unevenness = UnevennessOfOrders(of);
    EXPECT_LT(unevenness, 243.33);
    EXPECT_EQ(UnevennessOfOrders(withRounds(10)), unevenness) << "the network written out is another one";
    EXPECT_GT(UnevennessOfOrders(withRounds(2)), 243.33) << "and the test does not tell two rounds";
}

TEST(IndexOrder, DependsOnEachBitOfTheSeed)
{
    constexpr IndexRange kPositions = {0, 4096};
    const auto indexes = [&](std::uint64_t seed) {
        std::array<std::uint64_t, kPositions.count> all;
        IndexOrder(std::uint64_t{1} << 32, seed).GetIndexesAt(kPositions, all.data());
        return all;
    };
    const auto before = indexes(42);
    for (int bit = 0; bit < 64; ++bit) {
        const auto after = indexes(42 ^ std::uint64_t{1} << bit);
        int changed = 0;
        for (std::size_t i = 0; i < kPositions.count; ++i) changed += std::popcount(before[i] ^ after[i]);
        EXPECT_NEAR(changed / (32.0 * kPositions.count), 0.5, 0.02) << bit;
    }
}

} // namespace
