#include "support/Random.h"

#include <common/IpAddress.h>

#include <gtest/gtest.h>

#include <cstdio>

using namespace zor::common;
using namespace std::string_literals;
using test::Random;

namespace {

struct GoodText {
    const char* name;
    std::string text;
    CIpAddress expected;
};

class IpAddressAccepts : public testing::TestWithParam<GoodText> {};

TEST_P(IpAddressAccepts, TheText)
{
    CIpAddress address;
    EXPECT_TRUE(address.CopyFromString(GetParam().text, nullptr));
    EXPECT_EQ(address, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Texts, IpAddressAccepts,
                         testing::Values(GoodText{"Usual", "192.168.0.1", {192, 168, 0, 1}},
                                         GoodText{"Zero", "0.0.0.0", {0u}},
                                         GoodText{"Highest", "255.255.255.255", {~0u}},
                                         GoodText{"LeadingZerosAreDecimal", "010.0.0.0000000001", {10, 0, 0, 1}},
                                         GoodText{"BlanksBeforeNumbers", " 1.\t 2.\n3. 4", {1, 2, 3, 4}},
                                         GoodText{"PlusSigns", "+1.+2.+3.+4", {1, 2, 3, 4}},
                                         GoodText{"MinusZero", "-0.0.0.1", {0, 0, 0, 1}},
                                         GoodText{"FifthNumber", "1.2.3.4.5", {1, 2, 3, 4}},
                                         GoodText{"PrefixLength", "1.2.3.4/24", {1, 2, 3, 4}},
                                         GoodText{"Letters", "1.2.3.4xyz", {1, 2, 3, 4}},
                                         GoodText{"MoreWords", "1.2.3.4 and more", {1, 2, 3, 4}},
                                         GoodText{"AfterANul", "1.2.3.4\0.x"s, {1, 2, 3, 4}},
                                         GoodText{"BeyondThirtyTwoBits", "4294967297.2.3.4", {1, 2, 3, 4}}),
                         [](const auto& row) { return row.param.name; });

struct BadText {
    const char* name;
    std::string text;
};

class IpAddressRejects : public testing::TestWithParam<BadText> {};

TEST_P(IpAddressRejects, TheTextAndKeepsTheValue)
{
    CIpAddress address(10, 0, 0, 1);
    std::string error;
    EXPECT_FALSE(address.CopyFromString(GetParam().text, &error));
    EXPECT_EQ(error, "invalid ip address \"" + GetParam().text + "\": should be dotted decimal");
    EXPECT_EQ(address, CIpAddress(10, 0, 0, 1));
}

INSTANTIATE_TEST_SUITE_P(Texts, IpAddressRejects,
                         testing::Values(BadText{"Empty", ""}, BadText{"First", "256.1.1.1"},
                                         BadText{"Second", "1.256.1.1"}, BadText{"Third", "1.1.256.1"},
                                         BadText{"Fourth", "1.1.1.256"}, BadText{"ThreeNumbers", "1.2.3"},
                                         BadText{"EndsInADot", "1.2.3."}, BadText{"NulInside", "1.2.3\0.4"s},
                                         BadText{"EmptyNumber", "1..2.3"}, BadText{"BlankBeforeADot", "1 .2.3.4"},
                                         BadText{"Letters", "a.b.c.d"}, BadText{"Negative", "-1.2.3.4"},
                                         BadText{"OtherSeparator", "1,2,3,4"}),
                         [](const auto& row) { return row.param.name; });

TEST(IpAddressText, AgreesWithTheScanOnMutatedTexts)
{
    Random random(2);
    int accepted = 0;
    for (int round = 0; round < 50000; ++round) {
        const CIpAddress drawn(static_cast<unsigned int>(random.Number()) >> random.Below(32));
        const std::string text = random.Mutated(drawn.ToString(), "0123456789..+- x\0"s);
        unsigned int n[4];
        const bool valid = std::sscanf(text.c_str(), "%u.%u.%u.%u", &n[0], &n[1], &n[2], &n[3]) == 4 && n[0] < 256 &&
                           n[1] < 256 && n[2] < 256 && n[3] < 256;
        CIpAddress address(1u);
        ASSERT_EQ(address.CopyFromString(text, nullptr), valid) << '"' << text << '"';
        ASSERT_EQ(address, valid ? CIpAddress(n[0] << 24 | n[1] << 16 | n[2] << 8 | n[3]) : CIpAddress(1u)) << text;
        accepted += valid;
    }
    EXPECT_GT(accepted, 10000);
    EXPECT_LT(accepted, 40000);
}

TEST(IpAddressText, PrintsEveryByteInEveryPlace)
{
    for (unsigned int byte = 0; byte < 256; ++byte) {
        const std::string number = std::to_string(byte);
        EXPECT_EQ(CIpAddress(byte * 0x01010101u).ToString(), number + "." + number + "." + number + "." + number);
    }
    EXPECT_EQ(CIpAddress(0x01020304u).ToString(), "1.2.3.4");
    EXPECT_EQ(CIpAddress::GetZeroIp().ToString(), "0.0.0.0");
    EXPECT_EQ(&CIpAddress::GetZeroIp(), &CIpAddress::GetZeroIp());
}

TEST(IpAddressArithmetic, RemainderIsTheQuotient)
{
    EXPECT_EQ(CIpAddress(100, 0, 0, 7) % CIpAddress(0, 0, 0, 2), CIpAddress(50, 0, 0, 3));
    EXPECT_EQ(CIpAddress(100, 0, 0, 7) % CIpAddress(), CIpAddress());
}

/// The edges of the prefix operations on 172.16.84.33 with 1.2.3.4 as the other address.
TEST(IpAddressPrefix, EdgesAreAsDocumented)
{
    const struct {
        unsigned char length;
        CIpAddress netmask, mask, stepMask, host, network, setHost, setNetwork;
    } rows[] = {
        {0, {~0u}, {0u}, {~0u}, {172, 16, 84, 33}, {172, 16, 84, 33}, {172, 16, 84, 33}, {1, 2, 3, 4}},
        {1,
         {128, 0, 0, 0},
         {128, 0, 0, 0},
         {127, 255, 255, 255},
         {44, 16, 84, 33},
         {128, 0, 0, 0},
         {129, 2, 3, 4},
         {44, 16, 84, 33}},
        {20,
         {255, 255, 240, 0},
         {255, 255, 240, 0},
         {0, 0, 15, 255},
         {0, 0, 4, 33},
         {172, 16, 80, 0},
         {172, 16, 83, 4},
         {1, 2, 4, 33}},
        {31,
         {255, 255, 255, 254},
         {255, 255, 255, 254},
         {0, 0, 0, 1},
         {0, 0, 0, 1},
         {172, 16, 84, 32},
         {172, 16, 84, 32},
         {1, 2, 3, 5}},
        {32, {~0u}, {~0u}, {0u}, {0u}, {172, 16, 84, 33}, {172, 16, 84, 33}, {1, 2, 3, 4}},
        {33, {128, 0, 0, 0}, {~0u}, {0u}, {0u}, {172, 16, 84, 33}, {172, 16, 84, 33}, {1, 2, 3, 4}},
        {64, {~0u}, {~0u}, {0u}, {0u}, {172, 16, 84, 33}, {172, 16, 84, 33}, {1, 2, 3, 4}},
        {255, {0xfffffffeu}, {~0u}, {0u}, {0u}, {172, 16, 84, 33}, {172, 16, 84, 33}, {1, 2, 3, 4}},
    };
    const CIpAddress other(1, 2, 3, 4);
    for (const auto& row : rows) {
        SCOPED_TRACE(int{row.length});
        const CIpAddress address(172, 16, 84, 33);
        CIpAddress changed;
        EXPECT_EQ(CIpAddress::GetNetmask(row.length), row.netmask);
        changed.CreateMaskFromPrefixLength(row.length);
        EXPECT_EQ(changed, row.mask);
        changed.CreateStepMaskFromPrefixLength(row.length);
        EXPECT_EQ(changed, row.stepMask);
        EXPECT_EQ(address.GetHost(row.length), row.host);
        EXPECT_EQ(address.GetNetwork(row.length), row.network);
        changed = address;
        changed.SetHost(other, row.length);
        EXPECT_EQ(changed, row.setHost);
        changed = address;
        changed.SetNetwork(other, row.length);
        EXPECT_EQ(changed, row.setNetwork);
    }
    EXPECT_EQ(CIpAddress::GetMaxPrefixLength(), 32);
}

TEST(IpAddressPrefix, SubnetsBroadcastAndReservedAtEveryLength)
{
    for (unsigned int n = 0; n < 256; ++n) {
        const auto length = static_cast<unsigned char>(n);
        SCOPED_TRACE(n);
        for (unsigned int bit = 0; bit < 32; ++bit) { // counted from the top
            const CIpAddress other(0x0a00ff01u ^ 0x80000000u >> bit);
            EXPECT_EQ(other.OnSameSubnet(length, CIpAddress(0x0a00ff01u)), n >= 1 && n <= bit) << bit;
        }
        EXPECT_TRUE(CIpAddress(240, 0, 0, 0).IsBroadcastAddr(length));
        EXPECT_EQ(CIpAddress(239, 255, 255, 255).IsBroadcastAddr(length), n >= 4 && n <= 30);
        EXPECT_EQ(CIpAddress(10, 0, 0, 255).IsBroadcastAddr(length), n >= 24 && n <= 30);
        EXPECT_FALSE(CIpAddress(10, 0, 0, 254).IsBroadcastAddr(length));
        EXPECT_EQ(CIpAddress(10, 0, 0, 0).IsAddressReserved(length), n == 0 || n >= 7);
        EXPECT_EQ(CIpAddress(10, 0, 0, 255).IsAddressReserved(length), n == 0 || n >= 24);
        EXPECT_EQ(CIpAddress(10, 0, 0, 1).IsAddressReserved(length), n == 0 || n >= 31);
    }
}

TEST(IpAddressClassification, BothSidesOfEveryBoundary)
{
    const struct {
        CIpAddress address;
        bool loopback, multicast;
    } rows[] = {
        {{126, 255, 255, 255}, false, false}, {{127, 0, 0, 0}, true, false},        {{127, 255, 255, 255}, true, false},
        {{128, 0, 0, 0}, false, false},       {{223, 255, 255, 255}, false, false}, {{224, 0, 0, 0}, false, true},
        {{239, 255, 255, 255}, false, true},  {{240, 0, 0, 0}, false, false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.address.IsLoopbackAddr(), row.loopback) << row.address;
        EXPECT_EQ(row.address.IsMulticastAddr(), row.multicast) << row.address;
        EXPECT_TRUE(row.address.IsNonZero() && !row.address.IsZero());
    }
    EXPECT_TRUE(CIpAddress().IsZero() && !CIpAddress().IsNonZero());
}

} // namespace
