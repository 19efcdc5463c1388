#include "support/Random.h"
#include "support/Rows.h"

#include <common/Hexfield.h>
#include <common/Ipv6Address.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cfenv>

using namespace zor::common;
using test::Random;

namespace {

template <unsigned int N>
using Number = di_unsigned<unsigned int, unsigned char, N>;

__extension__ typedef unsigned __int128 Wide;

template <unsigned int N>
Number<N> FromWide(Wide value)
{
    Number<N> number;
    for (unsigned int i = 0; i < number.kDigits; ++i) {
        number.digits[i] = static_cast<unsigned char>(i < 16 ? value >> 8 * i : 0);
    }
    return number;
}

template <unsigned int N>
Wide ToWide(const Number<N>& number)
{
    Wide value = 0;
    for (unsigned int i = std::min(number.kDigits, 16u); i-- > 0;) value = value << 8 | number.digits[i];
    return value;
}

TEST(DiUnsignedTable, HoldsBitsMasksAndHalves)
{
    const unsigned char expected[] = {0x01, 0x02, 0x04, 0x08, 0x10, 0x20, 0x40, 0x80, 0x00,
                                      0x01, 0x03, 0x07, 0x0f, 0x1f, 0x3f, 0x7f, 4,    0x0f};
    const auto& table = di_unsignedtable<unsigned int, unsigned char>::table;
    EXPECT_TRUE(std::equal(std::begin(expected), std::end(expected), table.begin(), table.end()));
}

TEST(DiUnsignedWidth, SetsDigitsAndHeadMask)
{
    EXPECT_EQ(sizeof Number<128>::digits, 16u);
    EXPECT_EQ(Number<128>().headmask, 0);
    EXPECT_EQ(sizeof Number<129>::digits, 17u);
    EXPECT_EQ(Number<129>().headmask, 0x01);
    EXPECT_EQ(sizeof Number<13>::digits, 2u);
    EXPECT_EQ(Number<13>().headmask, 0x1f);
    EXPECT_FALSE(Number<129>().overflow);
}

TEST(DiUnsignedUnit, EveryPairOfDigits)
{
    for (unsigned int a = 0; a < 256; ++a) {
        for (unsigned int b = 0; b < 256; ++b) {
            for (const unsigned int in : {0u, 1u}) {
                bool carry = in != 0;
                bool borrow = in != 0;
                const auto x = static_cast<unsigned char>(a);
                const auto y = static_cast<unsigned char>(b);
                ASSERT_EQ(di_addunit<unsigned char>(&carry, x, y), (a + b + in) % 256);
                ASSERT_EQ(carry, a + b + in > 255);
                ASSERT_EQ(di_subunit<unsigned char>(&borrow, x, y), (a - b - in) % 256);
                ASSERT_EQ(borrow, a < b + in);
            }
        }
    }
}

std::vector<unsigned char> Digits(const std::string& text)
{
    const std::string digits = Hexfield(text).ToBinaryString(true);
    return {digits.begin(), digits.end()};
}

TEST(DiUnsignedAddSub, CarriesMasksAndReports)
{
    for (const auto& row : test::Rows("di-addsub.txt")) {
        SCOPED_TRACE(row[0]);
        std::vector<unsigned char> dst = Digits(row[2]);
        const std::vector<unsigned char> src = Digits(row[3]);
        const auto run = row[1] == "add" ? di_addsub<unsigned int, unsigned char, di_addfunctor<unsigned char>>
                                         : di_addsub<unsigned int, unsigned char, di_subfunctor<unsigned char>>;
        const bool result = run(dst.data(), src.data(), static_cast<unsigned int>(dst.size()),
                                static_cast<unsigned int>(src.size()), Digits(row[4])[0]);
        EXPECT_EQ(dst, Digits(row[5]));
        EXPECT_EQ(result, row[6] == "true");
    }
}

TEST(DiUnsignedShift, MovesAllDigitsAndKeepsTheTopOne)
{
    const Wide value = (Wide{0x8123456789abcdef} << 64) | 0xfedcba9876543211;
    Number<129> number = FromWide<129>(value);
    number.leftshiftbit(3);
    EXPECT_EQ(ToWide(number), value << 3);
    EXPECT_EQ(number.digits[16], 0x04) << "bits beyond the width stay until clearhead";
    number.rightshiftbit(3);
    EXPECT_EQ(ToWide(number), value);
    EXPECT_EQ(number.digits[16], 0);
    number.rightshiftbit(25);
    EXPECT_EQ(ToWide(number), value >> 25);
    number.leftshiftbit(7);
    number.clearhead();
    EXPECT_EQ(number.digits[16], 0);
    number.leftshiftbit(17 * 8);
    EXPECT_EQ(ToWide(number), Wide{0});
    number.rightshiftbit(~0u);
    EXPECT_EQ(ToWide(number), Wide{0});

    Number<128> full = FromWide<128>(value);
    full.clearhead();
    EXPECT_EQ(ToWide(full), value) << "a full top digit has no head to clear";
}

TEST(DiUnsignedAssign, TakesDigitsOnlyAndCutsToTheWidth)
{
    Number<128> source = FromWide<128>(~Wide{0});
    source.overflow = true;
    Number<129> wider;
    wider.digits[16] = 0xff;
    EXPECT_EQ(&wider.assign<128>(source), &wider);
    EXPECT_EQ(ToWide(wider), ~Wide{0});
    EXPECT_EQ(wider.digits[16], 0);
    EXPECT_EQ(wider.headmask, 0x01);
    EXPECT_FALSE(wider.overflow);
    Number<13> narrower;
    narrower.assign<128>(source);
    EXPECT_EQ(narrower.digits[0], 0xff);
    EXPECT_EQ(narrower.digits[1], 0x1f);
}

TEST(DiUnsignedDivision, AgreesWithTheCompiler)
{
    Random random(3);
    const auto check = [](Wide x, Wide y) {
        Number<128> remainder;
        const Number<128> quotient = FromWide<128>(x).div1<128>(FromWide<128>(y), &remainder);
        ASSERT_TRUE(ToWide(quotient) == (y == 0 ? 0 : x / y) && ToWide(remainder) == (y == 0 ? x : x % y))
            << std::hex << static_cast<std::uint64_t>(x >> 64) << '.' << static_cast<std::uint64_t>(x) << " / "
            << static_cast<std::uint64_t>(y >> 64) << '.' << static_cast<std::uint64_t>(y);

        CIpv6Address rest;
        const CIpv6Address result = FromDiFormat(FromWide<128>(x)).Divide(FromDiFormat(FromWide<128>(y)), rest);
        ASSERT_EQ(result, FromDiFormat(quotient)) << rest << ", divided by " << FromDiFormat(FromWide<128>(y));
        ASSERT_EQ(rest, FromDiFormat(remainder)) << result << " times " << FromDiFormat(FromWide<128>(y));
    };
    const auto draw = [&random] {
        Wide value = 0;
        for (int i = 0; i < 16; ++i) value = value << 8 | random.Byte();
        return value >> random.Below(128);
    };
    // Next to a multiple of the divisor an estimate of the quotient is most likely off; rounding must not matter.
    for (const int rounding : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO, FE_TONEAREST}) {
        std::fesetround(rounding);
        for (int round = 0; round < 50000; ++round) {
            const Wide x = draw();
            const Wide y = draw();
            check(x, y), check(x * y, y), check(x * y - 1, y);
        }
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

TEST(DiUnsignedDivision, CarriesTheFlagOfTheDividendAndMayShareObjects)
{
    Number<128> dividend = FromWide<128>(100);
    dividend.overflow = true;
    Number<128> divisor = FromWide<128>(7);
    const Number<128> quotient = dividend.div1<128>(divisor, &divisor);
    EXPECT_EQ(ToWide(quotient), Wide{14});
    EXPECT_FALSE(quotient.overflow);
    EXPECT_EQ(ToWide(divisor), Wide{2});
    EXPECT_TRUE(divisor.overflow);
    EXPECT_EQ(ToWide(dividend.div1<128>(dividend, &dividend)), Wide{1});
    EXPECT_EQ(ToWide(dividend), Wide{0});
    Number<13> small;
    const auto thirteen = FromWide<13>(0x1fff).div1<13>(FromWide<13>(0x123), &small);
    EXPECT_EQ(ToWide(thirteen), Wide{0x1fff / 0x123});
    EXPECT_EQ(ToWide(small), Wide{0x1fff % 0x123});
}

TEST(DiUnsignedConversion, DigitIIsByteFifteenMinusI)
{
    CIpv6Address address(0x0102030405060708, 0x090a0b0c0d0e0f10);
    address.SetFormatLast4BytesAsIpv4(true);
    Number<128> number = InDiFormat(address);
    EXPECT_FALSE(number.overflow);
    EXPECT_EQ(number.headmask, 0);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(number.digits[i], 16 - i);
    number.overflow = true;
    const CIpv6Address back = FromDiFormat(number);
    EXPECT_EQ(back, address);
    EXPECT_FALSE(back.GetFormatLast4BytesAsIpv4());
}

} // namespace
