#include "support/AddressNumbers.h"
#include "support/Random.h"

#include <common/DiUnsigned.h>
#include <common/Ipv6Address.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

using namespace zor::common;
using namespace zor::common::test;

namespace {

template <unsigned int N>
using Number = di_unsigned<unsigned int, unsigned char, N>;

/// The digits as one type for all widths, so that the checks below are compiled once.
template <unsigned int N>
std::vector<unsigned char> BytesOf(const Number<N>& number)
{
    return {std::begin(number.digits), std::end(number.digits)};
}

/// Whether a bit of the digits is set; those beyond them are not.
bool BitOf(const std::vector<unsigned char>& digits, unsigned long bit)
{
    return bit < 8 * digits.size() && (digits[bit / 8] >> bit % 8 & 1) != 0;
}

/// Digits up to a drawn one, which may have bits beyond the width, and a flag.
template <unsigned int N>
Number<N> RandomNumber(Random& random)
{
    Number<N> number;
    for (std::size_t i = random.Below(number.kDigits + 1); i-- > 0;) number.digits[i] = random.Byte();
    number.overflow = random.Below(2) == 0;
    return number;
}

TEST(DiUnsignedTable, HoldsBitsMasksAndHalves)
{
    const unsigned char expected[] = {0x01, 0x02, 0x04, 0x08, 0x10, 0x20, 0x40, 0x80, 0x00,
                                      0x01, 0x03, 0x07, 0x0f, 0x1f, 0x3f, 0x7f, 4,    0x0f};
    const auto& table = di_unsignedtable<unsigned int, unsigned char>::table;
    EXPECT_TRUE(std::equal(std::begin(expected), std::end(expected), table.begin(), table.end()));
}

TEST(DiUnsignedAddSub, AgreesWithTheCompilerAtEverySize)
{
    Random random(4);
    for (unsigned int round = 0; round < 50000; ++round) {
        const auto dstSize = static_cast<unsigned int>(random.Below(16));
        const auto srcSize = static_cast<unsigned int>(random.Below(18));
        const unsigned char headmask = random.Below(2) == 0 ? 0 : random.Byte();
        unsigned char dst[16], src[17];
        std::generate(std::begin(dst), std::end(dst), [&random] { return random.Byte(); });
        std::generate(std::begin(src), std::end(src), [&random] { return random.Byte(); });
        Wide x = 0;
        Wide y = 0;
        for (unsigned int i = dstSize; i-- > 0;) {
            const bool cut = headmask != 0 && srcSize >= dstSize && i == dstSize - 1;
            x = x << 8 | dst[i];
            y = y << 8 | (i >= srcSize ? 0 : cut ? src[i] & headmask : src[i]);
        }
        SCOPED_TRACE(testing::Message() << dstSize << " digits, " << srcSize << " to add, mask " << +headmask);
        const bool add = round % 2 == 0;
        const unsigned char behind = dst[dstSize];
        const auto run = add ? di_addsub<unsigned int, unsigned char, di_addfunctor<unsigned char>>
                             : di_addsub<unsigned int, unsigned char, di_subfunctor<unsigned char>>;
        const bool result = run(dst, src, dstSize, srcSize, headmask);
        const Wide expected = add ? x + y : x - y;
        for (unsigned int i = 0; i < dstSize; ++i)
            ASSERT_EQ(dst[i], static_cast<unsigned char>(expected >> 8 * i)) << i;
        ASSERT_EQ(dst[dstSize], behind);
        ASSERT_EQ(result, headmask == 0 ? (expected >> 8 * dstSize & 1) != 0
                                        : dstSize > 0 && (dst[dstSize - 1] & (headmask + 1)) != 0);
    }
}

/// After a shift by `count`, the bits to the left or to the right of where they were.
void CheckShifted(const std::vector<unsigned char>& number, unsigned int count, const std::vector<unsigned char>& left,
                  const std::vector<unsigned char>& right)
{
    for (unsigned long i = 0; i < 8 * number.size(); ++i) {
        ASSERT_EQ(BitOf(left, i), i >= count && BitOf(number, i - count)) << i << " after " << count;
        ASSERT_EQ(BitOf(right, i), BitOf(number, i + count)) << i << " after " << count;
    }
}

template <unsigned int N>
void CheckShifts(Random& random)
{
    std::vector<unsigned int> counts = {~0u, ~0u - 7, 1u << 31};
    for (unsigned int count = 0; count <= N + 17; ++count) counts.push_back(count);
    for (const unsigned int count : counts) {
        const auto number = RandomNumber<N>(random);
        auto left = number;
        auto right = number;
        left.leftshiftbit(count);
        right.rightshiftbit(count);
        CheckShifted(BytesOf(number), count, BytesOf(left), BytesOf(right));
        ASSERT_TRUE(left.overflow == number.overflow && right.overflow == number.overflow);
    }
}

/// Whether the digits are the low `width` bits of the source's.
bool AreLowBits(const std::vector<unsigned char>& digits, unsigned int width, const std::vector<unsigned char>& source)
{
    for (unsigned int i = 0; i < 8 * digits.size(); ++i) {
        if (BitOf(digits, i) != (i < width && BitOf(source, i))) return false;
    }
    return true;
}

template <unsigned int N, unsigned int M>
bool IsAssigned(Random& random)
{
    const auto source = RandomNumber<M>(random);
    auto number = RandomNumber<N>(random);
    const bool overflow = number.overflow;
    return &number.template assign<M>(source) == &number && AreLowBits(BytesOf(number), N, BytesOf(source)) &&
           number.overflow == overflow && number.headmask == Number<N>().headmask;
}

/// The digits, the most significant one first, so that they compare like numbers.
template <unsigned int N>
std::vector<unsigned char> DigitsOf(const Number<N>& number)
{
    return {std::rbegin(number.digits), std::rend(number.digits)};
}

template <unsigned int N>
void CheckDivision(Random& random)
{
    const auto dividend = RandomNumber<N>(random);
    const auto divisor = RandomNumber<N>(random);
    const auto zero = DigitsOf(Number<N>());
    auto remainder = RandomNumber<N>(random);
    const auto quotient = dividend.template div1<N>(divisor, &remainder);
    ASSERT_TRUE(DigitsOf(divisor) == zero ? DigitsOf(quotient) == zero : DigitsOf(remainder) < DigitsOf(divisor));
    ASSERT_TRUE(!quotient.overflow && quotient.headmask == Number<N>().headmask);
    ASSERT_TRUE(remainder.overflow == dividend.overflow && remainder.headmask == Number<N>().headmask);
    auto self = dividend; // the remainder may be either operand
    auto shared = divisor;
    ASSERT_EQ(DigitsOf(self.template div1<N>(divisor, &self)), DigitsOf(quotient));
    ASSERT_EQ(DigitsOf(dividend.template div1<N>(shared, &shared)), DigitsOf(quotient));
    ASSERT_TRUE(DigitsOf(self) == DigitsOf(remainder) && self.overflow == dividend.overflow);
    ASSERT_TRUE(DigitsOf(shared) == DigitsOf(remainder) && shared.overflow == dividend.overflow);

    std::vector<unsigned char> sum(remainder.digits, remainder.digits + remainder.kDigits);
    sum.resize(2 * sum.size()); // and the product of the others is added
    for (unsigned int i = 0; i < quotient.kDigits; ++i) {
        unsigned int carry = 0;
        for (unsigned int k = 0; i + k < sum.size(); ++k, carry >>= 8) {
            carry += sum[i + k] + (k < divisor.kDigits ? quotient.digits[i] * divisor.digits[k] : 0u);
            sum[i + k] = static_cast<unsigned char>(carry);
        }
    }
    ASSERT_TRUE(std::equal(sum.begin(), sum.begin() + quotient.kDigits, dividend.digits));
    ASSERT_EQ(std::count(sum.begin() + quotient.kDigits, sum.end(), 0), quotient.kDigits);
}

/// One width, and assignment from widths below, at and above it, in whole digits and not.
template <unsigned int N, unsigned int... From>
void CheckWidth(Random& random)
{
    SCOPED_TRACE(N);
    const Number<N> zero;
    EXPECT_TRUE(zero.kDigits == (N + 7) / 8 && zero.headmask == (1 << N % 8) - 1 && !zero.overflow);
    CheckShifts<N>(random);
    for (int round = 0; round < 100; ++round) CheckDivision<N>(random);
    for (int round = 0; round < 5; ++round) {
        const std::pair<unsigned int, bool> assigned[] = {{From, IsAssigned<N, From>(random)}...};
        for (const auto& [from, ok] : assigned) ASSERT_TRUE(ok) << "from " << from << " bits";
    }
}

template <unsigned int... N>
void CheckWidths(Random& random)
{
    (CheckWidth<N, N, 1, 8, 13, 64, 129, 161>(random), ...);
}

TEST(DiUnsignedWidth, NoneIsSpecial)
{
    Random random(5);
    CheckWidths<1, 7, 8, 9, 13, 24, 31, 32, 33, 40, 41, 63, 64, 65, 72, 97, 127, 128, 129, 136, 161>(random);
}

TEST(DiUnsignedDivision, AgreesWithTheCompiler)
{
    Random random(3);
    const auto check = [](Wide x, Wide y) {
        const auto dividend = FromNumber<CIpv6Address>(x);
        const auto divisor = FromNumber<CIpv6Address>(y);
        CIpv6Address rest;
        const CIpv6Address quotient = dividend.Divide(divisor, rest);
        ASSERT_TRUE(NumberOf(quotient) == (y == 0 ? 0 : x / y) && NumberOf(rest) == (y == 0 ? x : x % y))
            << dividend << " / " << divisor;
        Number<128> number = InDiFormat(dividend);
        ASSERT_FALSE(std::exchange(number.overflow, true));
        const CIpv6Address numbersQuotient = FromDiFormat(number.div1<128>(InDiFormat(divisor), &number));
        ASSERT_TRUE(numbersQuotient.Equals(quotient)) << dividend << " / " << divisor;
        ASSERT_TRUE(FromDiFormat(number).Equals(rest)) << dividend << " % " << divisor;
    };
    const auto draw = [&random] { return NumberOf(RandomAddress<CIpv6Address>(random)) >> 8 * random.Below(16); };
    // Next to a multiple of the divisor an estimate of the quotient is most likely off.
    for (int round = 0; round < 200000; ++round) {
        const Wide x = draw();
        const Wide y = draw();
        check(x, y), check(x * y, y), check(x * y - 1, y);
    }

    // Powers of 2 and their neighbours, where an estimated digit is too large.
    std::vector<Wide> edges;
    for (int shift = 0; shift < 128; ++shift) {
        for (int delta = -1; delta <= 1; ++delta) edges.push_back((Wide{1} << shift) + static_cast<Wide>(delta));
    }
    edges.push_back((Wide{0x7fffffff} << 96) + (Wide{0x80000000} << 64));
    edges.push_back((Wide{0x80000000} << 64) + 0xffffffff);
    for (const Wide x : edges) {
        for (const Wide y : edges) check(x, y), check(~x, y), check(x << 32, y);
    }
}

} // namespace
