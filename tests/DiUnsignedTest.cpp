#include "support/Random.h"

#include <common/Ipv6Address.h>

#include <gtest/gtest.h>

#include <algorithm>

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

TEST(DiUnsignedAddSub, CarriesMasksAndReports)
{
    using Add = di_addfunctor<unsigned char>;
    using Sub = di_subfunctor<unsigned char>;
    const struct {
        const char* name;
        bool add;
        unsigned char dst[3], src[3];
        unsigned int dstDigits, srcDigits;
        unsigned char headmask, expected[3];
        bool result;
    } rows[] = {
        {"carry runs on alone", true, {0xff, 0xff, 0x01}, {0x01}, 3, 1, 0, {0x00, 0x00, 0x02}, false},
        {"carry falls out alone", true, {0xff, 0xff, 0xff}, {0x01}, 3, 1, 0, {0x00, 0x00, 0x00}, true},
        {"borrow runs on alone", false, {0x00, 0x00, 0x01}, {0x01}, 3, 1, 0, {0xff, 0xff, 0x00}, false},
        {"borrow falls out alone", false, {0x00, 0x00, 0x00}, {0x01}, 3, 1, 0, {0xff, 0xff, 0xff}, true},
        {"shorter source, bit above the head mask", true, {0xff, 0x03, 0}, {0x01}, 2, 1, 0x03, {0x00, 0x04, 0}, true},
        {"equal sizes, carry", true, {0xff, 0xff, 0}, {0x02, 0x80, 0}, 2, 2, 0, {0x01, 0x80, 0}, true},
        {"equal sizes, no carry", true, {0x01, 0x7f, 0}, {0x02, 0x80, 0}, 2, 2, 0, {0x03, 0xff, 0}, false},
        {"longer source is cut", true, {0x01, 0x02, 0x09}, {0x01, 0x01, 0xff}, 2, 3, 0, {0x02, 0x03, 0x09}, false},
        {"head mask cuts the source", true, {0x00, 0x00, 0}, {0x00, 0xff, 0}, 2, 2, 0x03, {0x00, 0x03, 0}, false},
        {"bit above the head mask", true, {0x00, 0x01, 0}, {0x00, 0x03, 0}, 2, 2, 0x03, {0x00, 0x04, 0}, true},
        {"not the carry with a head mask", true, {0x00, 0xfe, 0}, {0x00, 0x03, 0}, 2, 2, 0x03, {0x00, 0x01, 0}, false},
        {"borrow sets the bit above it", false, {0x00, 0x00, 0}, {0x01, 0x00, 0}, 2, 2, 0x03, {0xff, 0xff, 0}, true},
        {"no digits", true, {0x05, 0, 0}, {0x01, 0, 0}, 0, 1, 0, {0x05, 0, 0}, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        unsigned char dst[3] = {row.dst[0], row.dst[1], row.dst[2]};
        const bool result =
            row.add
                ? di_addsub<unsigned int, unsigned char, Add>(dst, row.src, row.dstDigits, row.srcDigits, row.headmask)
                : di_addsub<unsigned int, unsigned char, Sub>(dst, row.src, row.dstDigits, row.srcDigits, row.headmask);
        EXPECT_EQ(result, row.result);
        EXPECT_TRUE(std::equal(dst, dst + 3, row.expected)) << +dst[0] << ' ' << +dst[1] << ' ' << +dst[2];
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
    };
    const auto draw = [&random] {
        Wide value = 0;
        for (int i = 0; i < 16; ++i) value = value << 8 | random.Byte();
        return value >> random.Below(128);
    };
    for (int round = 0; round < 200000; ++round) check(draw(), draw());

    // Powers of 2^32 and their neighbours, where an estimated digit is too large.
    std::vector<Wide> edges;
    for (int shift = 0; shift < 128; shift += 31 + shift / 31 % 2) {
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
