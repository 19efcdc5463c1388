#include "support/Random.h"
#include "support/Rows.h"

#include <common/Integer.h>
#include <common/Lcm.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <numeric>
#include <utility>

using namespace zor::common;
using test::Random;

namespace {

TEST(Lcm, GcdAgreesWithTheStandardLibrary)
{
    Random random(6);
    for (int round = 0; round < 1000; ++round) {
        const std::uint64_t a = random.Number() >> random.Below(64);
        const std::uint64_t b = random.Number() >> random.Below(64);
        EXPECT_EQ(Lcm::Gcd(a, b), std::gcd(a, b)) << a << ", " << b;
        const std::vector<unsigned int> counts = {
            static_cast<unsigned int>(a >> 32), static_cast<unsigned int>(b >> 32), static_cast<unsigned int>(a >> 32)};
        EXPECT_EQ(Lcm::FindLcm({counts[0]}), counts[0]);
        const std::uint64_t multiple = std::lcm<std::uint64_t>(counts[0], counts[1]);
        EXPECT_EQ(Lcm::FindLcm(counts), multiple >> 32 == 0 ? multiple : 0) << counts[0] << ", " << counts[1];
    }
}

TEST(Lcm, FindsMultiplesOfUpToThirtyTwoBits)
{
    EXPECT_EQ(Lcm::FindLcm({}), 0u);
    EXPECT_EQ(Lcm::FindLcm({3, 0, 5}), 0u);
    EXPECT_EQ(Lcm::FindLcm({65535, 65537}), 4294967295u);
    EXPECT_EQ(Lcm::FindLcm({393216, 4294901760, 4294901760}), 0u)
        << "duplicates do not count twice in a wrapped product";
    // The true multiple is 271187580026880; a product of 2^64 and more on the way wraps, and the rest fits.
    EXPECT_EQ(Lcm::FindLcm({2809, 3445620736, 3114270720}), 2372512014u);
}

TEST(Integer, ReadsAsTheCLibraryDoes)
{
    static_assert(!std::is_default_constructible_v<Integer> && !std::is_default_constructible_v<Lcm>);
    for (const auto& row : test::Rows("integers.txt")) {
        const char* const text = row[0].c_str();
        for (const int base : {-1, 0, 1, 2, 8, 10, 16, 36, 37}) {
            SCOPED_TRACE(testing::Message() << '"' << text << "\" in base " << base);
            const auto check = [=](auto read, auto readPlainly) {
                char end = 'x', *endOfNumber = &end, *expectedEnd = &end;
                errno = EDOM;
                const auto number = read(text, &endOfNumber, base);
                const int error = std::exchange(errno, EDOM);
                EXPECT_EQ(number, readPlainly(text, &expectedEnd, base));
                EXPECT_EQ(error, errno);
#ifndef __SANITIZE_ADDRESS__ // whose functions set the end to anything for a base that is none
                EXPECT_EQ(static_cast<void*>(endOfNumber), static_cast<void*>(expectedEnd));
#endif
                EXPECT_EQ(read(text, nullptr, base), number);
            };
            check(Integer::StrToInt64, std::strtoll);
            check(Integer::StrToUint64, std::strtoull);
        }
    }
}

} // namespace
