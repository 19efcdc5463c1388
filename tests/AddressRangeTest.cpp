#include "support/AddressNumbers.h"
#include "support/Random.h"

#include <common/AddressLiterals.h>
#include <common/AddressRange.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <ranges>

using namespace zor::common;
using namespace zor::common::literals;
using namespace zor::common::test;

namespace {

template <class T>
class Range : public testing::Test {
};

using Types = testing::Types<CIpAddress, CMacAddress, CWorldWideName, CIpv6Address>;
TYPED_TEST_SUITE(Range, Types);

template <class T>
constexpr int kBits = 8 * kSize<T>;
template <class T>
const Wide kAll = ~Wide{0} >> (128 - kBits<T>);
template <class T>
const T kTop = FromNumber<T>(~Wide{0});

TYPED_TEST(Range, WalksLikeANumberUpToTheLastAddress)
{
    static_assert(std::random_access_iterator<typename AddressRange<TypeParam>::Iterator>);
    static_assert(std::ranges::random_access_range<AddressRange<TypeParam>> &&
                  std::ranges::view<AddressRange<TypeParam>> && std::ranges::borrowed_range<AddressRange<TypeParam>> &&
                  std::ranges::common_range<AddressRange<TypeParam>>);
    // At both ends, and where a carry runs.
    const Wide top = kAll<TypeParam>;
    for (const Wide first : {Wide{0}, top - 9, top / 2 - 4, top & 0xfffffffffffffffb}) {
        const Wide last = std::min(first + 9, top);
        const auto count = static_cast<std::ptrdiff_t>(last - first + 1);
        const AddressRange<TypeParam> range(FromNumber<TypeParam>(first), FromNumber<TypeParam>(last));
        std::ptrdiff_t i = 0;
        for (auto it = range.begin(); it != range.end(); ++it, ++i) {
            ASSERT_LT(i, count);
            const auto offset = static_cast<Wide>(i);
            ASSERT_EQ(*it, FromNumber<TypeParam>(first + offset));
            ASSERT_EQ(range.begin()[i], *it);
            ASSERT_EQ(range.end()[i - count], *it);
            ASSERT_EQ(*(range.end() - (count - i)), it->operator~().operator~());
            ASSERT_TRUE(it - range.begin() == i && range.end() - it == count - i && i + range.begin() == it);
            ASSERT_TRUE(it < range.end() && range.end() > it && it >= range.begin() && (i == 0 || range.begin() < it));
            ASSERT_EQ(range.GetAt(static_cast<std::uint64_t>(i)), *it);
            ASSERT_EQ(range.GetPositionOf(*it), static_cast<std::uint64_t>(i));
        }
        ASSERT_EQ(i, count);
        for (auto it = range.end(); it != range.begin();) {
            const auto behind = it--;
            --i;
            ASSERT_TRUE(*it == FromNumber<TypeParam>(first + static_cast<Wide>(i)) && std::next(it) == behind);
        }
        auto it = range.begin();
        ASSERT_TRUE(it++ == range.begin() && *it == range.GetAt(1) && (it -= 1) == range.begin());
        ASSERT_EQ(range.GetAt(static_cast<std::uint64_t>(count) + 7),
                  FromNumber<TypeParam>(first + static_cast<Wide>(count) + 7))
            << "wraps";
#if !defined(__clang__) || __clang_major__ >= 16 // before, Clang does not compile the views of libstdc++
        ASSERT_EQ(*(range | std::views::reverse).begin(), range.GetLast());
#endif
    }
}

TYPED_TEST(Range, EveryPrefixLengthIsANetwork)
{
    Random random(3);
    for (int length = 0; length <= kBits<TypeParam>; ++length) {
        SCOPED_TRACE(length);
        const auto of = RandomAddress<TypeParam>(random);
        const Wide hosts = length == kBits<TypeParam> ? 0 : kAll<TypeParam> >> length;
        const Wide first = NumberOf(of) & ~hosts;
        const auto network = AddressRange<TypeParam>::Network(of, length);
        ASSERT_TRUE(NumberOf(network.GetFirst()) == first && NumberOf(network.GetLast()) == (first | hosts));
        ASSERT_TRUE(network.Contains(of) && !network.IsEmpty());
        ASSERT_EQ(network.GetPositionOf(of).has_value(), (NumberOf(of) & hosts) >> 64 == 0);
        const bool counted = hosts < ~std::uint64_t{0};
        ASSERT_EQ(network.GetSize(), counted ? std::optional(static_cast<std::uint64_t>(hosts + 1)) : std::nullopt);
        ASSERT_EQ(network.GetPrefixes(), (std::vector<Prefix<TypeParam>>{{network.GetFirst(), length}}));
        ASSERT_EQ(AddressRange<TypeParam>::Network(Prefix<TypeParam>{of, length}), network);
        if (first > 0) {
            ASSERT_FALSE(network.Contains(FromNumber<TypeParam>(first - 1)));
        }
        if (length > 0 && network.GetLast() != kTop<TypeParam>) {
            ASSERT_FALSE(network.Contains(FromNumber<TypeParam>(first + hosts + 1)));
        }

        int deeper = length;
        while (deeper < kBits<TypeParam> && random.Below(8) != 0) ++deeper;
        const int extra = deeper - length;
        const std::uint64_t last = extra >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << extra) - 1;
        const std::uint64_t n = random.Number() & last;
        const Wide subnet = deeper == 0 ? first : first + (Wide{n} << (kBits<TypeParam> - deeper));
        ASSERT_EQ(network.GetSubnet(deeper, n),
                  AddressRange<TypeParam>::Network(FromNumber<TypeParam>(subnet), deeper));
        ASSERT_TRUE(network.GetSubnet(length - 1, 0).IsEmpty() || length == 0);
        if (extra < 64) {
            ASSERT_TRUE(network.GetSubnet(deeper, last + 1).IsEmpty());
        }
    }
    const auto everything = AddressRange<TypeParam>::Network(kTop<TypeParam>, -3);
    EXPECT_EQ(everything, AddressRange<TypeParam>(TypeParam(), kTop<TypeParam>));
    EXPECT_EQ(AddressRange<TypeParam>::Network(kTop<TypeParam>, 1000).GetSize(), 1u);
    EXPECT_EQ(everything.GetSubnet(1000, 5),
              AddressRange<TypeParam>(FromNumber<TypeParam>(5), FromNumber<TypeParam>(5)));
    EXPECT_TRUE(everything.begin() != everything.end() && everything.begin() < everything.end());
    EXPECT_EQ(
        AddressRange<TypeParam>(FromNumber<TypeParam>(1), FromNumber<TypeParam>(2)).GetSubnet(kBits<TypeParam>, 0),
        AddressRange<TypeParam>())
        << "is no network";
}

TYPED_TEST(Range, EmptyOnesHaveNothing)
{
    for (const auto& empty : {AddressRange<TypeParam>(), AddressRange<TypeParam>(kTop<TypeParam>, TypeParam()),
                              AddressRange<TypeParam>(FromNumber<TypeParam>(9), FromNumber<TypeParam>(8))}) {
        EXPECT_TRUE(empty.IsEmpty() && empty.begin() == empty.end() && empty.GetPrefixes().empty());
        EXPECT_TRUE(empty.GetSize() == 0u && !empty.GetPositionOf(FromNumber<TypeParam>(9)) &&
                    !empty.Contains(TypeParam()));
        EXPECT_TRUE(empty.GetSubnet(kBits<TypeParam>, 0).IsEmpty() && Summarize(std::vector{empty, empty}).empty());
        EXPECT_EQ(empty, AddressRange<TypeParam>());
        EXPECT_NE(empty, AddressRange<TypeParam>(TypeParam(), TypeParam()));
    }
}

/// The plain way: a network at a time that starts where the rest does and is as large as fits.
template <class T>
std::vector<Prefix<T>> PlainPrefixes(std::vector<bool> members, Wide base)
{
    std::vector<Prefix<T>> prefixes;
    for (std::size_t i = 0; i < members.size();) {
        if (!members[i]) {
            ++i;
            continue;
        }
        std::size_t size = 1;
        while (i % (2 * size) == 0 && i + 2 * size <= members.size() &&
               std::all_of(members.begin() + static_cast<std::ptrdiff_t>(i),
                           members.begin() + static_cast<std::ptrdiff_t>(i + 2 * size),
                           [](bool member) { return member; })) {
            size *= 2;
        }
        prefixes.push_back({FromNumber<T>(base + i), kBits<T> - __builtin_ctzll(size)});
        i += size;
    }
    return prefixes;
}

TYPED_TEST(Range, SummariesAreTheFewestNetworksOfTheMembers)
{
    Random random(4);
    for (int round = 0; round < 3000; ++round) {
        // 64 addresses at the bottom, at the top or in the middle of the space, so that no network reaches beyond.
        const Wide base = round % 3 == 0 ? 0 : kAll<TypeParam> - (round % 3 == 1 ? 63 : 127);
        std::vector<bool> members(64);
        std::vector<AddressRange<TypeParam>> ranges;
        for (std::size_t n = random.Below(9); n > 0; --n) {
            const std::size_t first = random.Below(64), last = random.Below(64) % 16 + first;
            const auto end = FromNumber<TypeParam>(base + std::min<std::size_t>(last, 63));
            ranges.emplace_back(FromNumber<TypeParam>(base + first), end);
            if (end > FromNumber<TypeParam>(base)) ranges.emplace_back(end, FromNumber<TypeParam>(base)); // empty
            for (std::size_t i = first; i <= last && i < 64; ++i) members[i] = true;
        }
        ASSERT_EQ(Summarize(ranges), PlainPrefixes<TypeParam>(members, base));
        if (!ranges.empty()) {
            ASSERT_EQ(ranges[0].GetPrefixes(), Summarize(std::vector{ranges[0]}));
        }
    }
    const AddressRange<TypeParam> all(TypeParam(), kTop<TypeParam>), top(kTop<TypeParam>, kTop<TypeParam>);
    EXPECT_EQ(Summarize(std::vector{top, all, top}), (std::vector<Prefix<TypeParam>>{{TypeParam(), 0}}));
    EXPECT_EQ(AddressRange<TypeParam>(FromNumber<TypeParam>(1), FromNumber<TypeParam>(kAll<TypeParam> - 1))
                  .GetPrefixes()
                  .size(),
              2u * kBits<TypeParam> - 2);
}

TEST(Range, IsMadeByTheCompiler)
{
    constexpr auto hosts = AddressRange<CIpAddress>::Network("10.0.1.7"_ip4, 22);
    static_assert(hosts.GetFirst() == "10.0.0.0"_ip4 && *(hosts.end() - 1) == "10.0.3.255"_ip4);
    static_assert(hosts.GetSize() == 1024u && hosts.GetSubnet(24, 3).GetAt(1) == "10.0.3.1"_ip4);
    static_assert(AddressRange("::1"_ip6, "::ff"_ip6).GetPositionOf("::10"_ip6) == 15u);
    static_assert(!(*AddressRange("::1.2.3.4"_ip6, "::ff"_ip6).begin()).GetFormatLast4BytesAsIpv4());
}

} // namespace
