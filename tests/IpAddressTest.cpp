#include "support/AddressChecks.h"
#include "support/Random.h"
#include "support/Rows.h"

#include <common/Digits.h>
#include <common/IpAddress.h>

#include <gtest/gtest.h>

#include <cstdio>

using namespace zor::common;
using namespace std::string_literals;
using test::Random;
using test::Rows;

namespace {

TEST(IpAddressText, AcceptsOrKeepsTheValue)
{
    for (const auto& row : Rows("ipv4-text.txt")) {
        SCOPED_TRACE(row[0]);
        CIpAddress address(10, 20, 30, 40);
        std::string error;
        EXPECT_EQ(address.CopyFromString(row[0], &error), row[1] != "rejected");
        if (row[1] == "rejected") {
            EXPECT_EQ(error, "invalid ip address \"" + row[0] + "\": should be dotted decimal");
            EXPECT_EQ(address, CIpAddress(10, 20, 30, 40));
        } else {
            EXPECT_EQ(address.ToString(), row[1]);
        }
    }
}

TEST(IpAddressText, AgreesWithTheScanOnMutatedTexts)
{
    test::CheckMany(2, 50000, test::CheckIpAddressText);
}

TEST(IpAddressText, NumbersAreReadAsByTheScan)
{
    static constexpr struct {
        detail::ScanFormat format;
        const char* scan;
        const char* alphabet;
    } kRows[] = {
        {detail::kScanUnsigned, "%u%n", "0123456789999+- .\t\n\v\f\r"},
        {detail::kScanSigned, "%d%n", "0123456789999+- ."},
        {detail::kScanHex, "%x%n", "0000123456789abcdefABCDEFxxXg+- :"},
        {detail::kScanHexByte, "%2x%n", "000123456789abcdefABCDEFxxXg+- :"},
    };
    // Where numbers stop to fit 32 and 64 bits, signed and not.
    static constexpr const char* kEdges[] = {"4294967295",           "4294967296",           "9223372036854775807",
                                             "9223372036854775808",  "9223372036854775809",  "18446744073709551615",
                                             "18446744073709551616", "0x7fffffffffffffffff", "0xffffffffffffffff"};
    Random random(21);
    for (const auto& row : kRows) {
        const std::string alphabet = row.alphabet + "\0"s;
        for (int round = 0; round < 50000; ++round) {
            std::string text = random.Below(4) == 0 ? kEdges[random.Below(std::size(kEdges))] : "";
            if (random.Below(2) == 0) text.insert(0, 1, "+- "[random.Below(3)]);
            for (std::size_t i = random.Below(8); i > 0; --i) text += alphabet[random.Below(alphabet.size())];
            text = random.Mutated(text, alphabet);
            unsigned int expected = 1;
            int length = 0;
            const bool valid = std::sscanf(text.c_str(), row.scan, &expected, &length) == 1;
            unsigned int value = 1;
            const char* const end = detail::ScanNumber(text.c_str(), row.format, value);
            ASSERT_EQ(end != nullptr, valid) << row.scan << " of \"" << text << '"';
            ASSERT_EQ(value, expected) << row.scan << " of \"" << text << '"';
            ASSERT_EQ(valid ? end - text.c_str() : 0, length) << row.scan << " of \"" << text << '"';
        }
    }
}

TEST(IpAddressText, PrintsEveryByteInEveryPlace)
{
    for (unsigned int byte = 0; byte < 256; ++byte) {
        std::string expected = std::to_string(byte);
        for (int i = 0; i < 3; ++i) expected += '.' + std::to_string(byte);
        EXPECT_EQ(CIpAddress(byte * 0x01010101u).ToString(), expected);
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

TEST(IpAddressPrefix, EdgesAreAsDocumented)
{
    const CIpAddress address(172, 16, 84, 33);
    const CIpAddress other(1, 2, 3, 4);
    for (const auto& row : Rows("ipv4-prefixes.txt")) {
        const auto length = static_cast<unsigned char>(std::stoi(row[0]));
        CIpAddress mask, stepMask, withHost(address), withNetwork(address);
        mask.CreateMaskFromPrefixLength(length);
        stepMask.CreateStepMaskFromPrefixLength(length);
        withHost.SetHost(other, length);
        withNetwork.SetNetwork(other, length);
        const std::vector<std::string> results = {row[0],
                                                  CIpAddress::GetNetmask(length).ToString(),
                                                  mask.ToString(),
                                                  stepMask.ToString(),
                                                  address.GetHost(length).ToString(),
                                                  address.GetNetwork(length).ToString(),
                                                  withHost.ToString(),
                                                  withNetwork.ToString()};
        EXPECT_EQ(results, row);
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
