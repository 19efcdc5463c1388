#include <common/Integer.h>
#include <common/Lcm.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <numeric>

using namespace zor::common;

namespace {

TEST(Lcm, GcdAgreesWithTheStandardLibrary)
{
    for (unsigned long a = 0; a < 60; ++a) {
        for (unsigned long b = 0; b < 60; ++b) EXPECT_EQ(Lcm::Gcd(a, b), std::gcd(a, b)) << a << ", " << b;
    }
    EXPECT_EQ(Lcm::Gcd(~0ul, 0xffffffff), 0xfffffffful);
}

TEST(Lcm, FindsMultiplesOfUpToThirtyTwoBits)
{
    EXPECT_EQ(Lcm::FindLcm({}), 0u);
    EXPECT_EQ(Lcm::FindLcm({3, 0, 5}), 0u);
    EXPECT_EQ(Lcm::FindLcm({65536, 65537}), 0u);
    EXPECT_EQ(Lcm::FindLcm({65535, 65536}), 4294901760u);
    EXPECT_EQ(Lcm::FindLcm({65535, 65537}), 4294967295u);
    EXPECT_EQ(Lcm::FindLcm({393216, 4294901760, 4294901760}), 0u)
        << "duplicates do not count twice in a wrapped product";
    // The true multiple is 271187580026880; a product of 2^64 and more on the way wraps, and the rest fits.
    EXPECT_EQ(Lcm::FindLcm({2809, 3445620736, 3114270720}), 2372512014u);
}

TEST(Integer, ReadsAsTheCLibraryDoes)
{
    static_assert(!std::is_default_constructible_v<Integer> && !std::is_default_constructible_v<Lcm>);
    for (const char* text : {"-0x10", " \t+017z", "abc", "", "-", "9223372036854775808", "-99999999999999999999"}) {
        for (const int base : {0, 8, 10, 16, 36}) {
            SCOPED_TRACE(testing::Message() << '"' << text << "\" in base " << base);
            char *end = nullptr, *expectedEnd = nullptr;
            EXPECT_EQ(Integer::StrToInt64(text, &end, base), std::strtoll(text, &expectedEnd, base));
            EXPECT_EQ(end, expectedEnd);
            EXPECT_EQ(Integer::StrToUint64(text, &end, base), std::strtoull(text, &expectedEnd, base));
            EXPECT_EQ(end, expectedEnd);
        }
    }
    errno = 0;
    EXPECT_EQ(Integer::StrToUint64("99999999999999999999", nullptr, 10), ~0ul);
    EXPECT_EQ(errno, ERANGE);
}

} // namespace
