#include <common/IndexRange.h>

#include <gtest/gtest.h>

using namespace zor::common;

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

} // namespace
