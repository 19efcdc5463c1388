#include "support/AddressChecks.h"
#include "support/Random.h"
#include "support/Rows.h"

#include <common/AddressScan.h>
#include <common/IpAddress.h>

#include <gtest/gtest.h>

#include <cstdio>

using namespace zor::common;
using namespace zor::common::test;
using namespace std::string_literals;

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
    CheckMany(2, 50000, CheckIpAddressText);
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

TEST(IpAddressNumber, IsSplitAtEveryLengthAndClassified)
{
    static_assert(CIpAddress::GetMaxPrefixLength() == 32);
    Random random(22);
    for (unsigned int n = 0; n < 256; ++n) {
        for (int round = 0; round < 50; ++round) {
            const auto length = static_cast<unsigned char>(n);
            const unsigned int hosts = n >= 32 || n == 0 ? 0 : 0xffffffffu >> n; // 0 bits are as 32, but for the masks
            const unsigned int mask = n == 0 ? 0 : ~hosts;
            auto x = static_cast<unsigned int>(random.Number());
            if (round % 4 < 2) x = round == 0 ? 0 : round % 4 == 0 ? x | hosts : x & ~hosts;
            const auto y = round % 8 == 2 ? x ^ 1u << random.Below(32) : static_cast<unsigned int>(random.Number());
            const CIpAddress address(x);
            SCOPED_TRACE(address.ToString() + '/' + std::to_string(n) + " and " + CIpAddress(y).ToString());
            ASSERT_EQ(CIpAddress::GetNetmask(length), CIpAddress(n % 32 == 0 ? ~0u : ~(0xffffffffu >> n % 32)));
            ASSERT_EQ(After(address, [=](auto& a) { a.CreateMaskFromPrefixLength(length); }), CIpAddress(mask));
            ASSERT_EQ(After(address, [=](auto& a) { a.CreateStepMaskFromPrefixLength(length); }), CIpAddress(~mask));
            ASSERT_EQ(address.GetHost(length), CIpAddress(x & ~mask));
            ASSERT_EQ(address.GetNetwork(length), CIpAddress(x & ~hosts));
            ASSERT_EQ(After(address, [=](auto& a) { a.SetHost(y, length); }), CIpAddress(x ^ ((x ^ y) & hosts)));
            ASSERT_EQ(After(address, [=](auto& a) { a.SetNetwork(y, length); }), CIpAddress(y ^ ((x ^ y) & hosts)));
            ASSERT_EQ(address.OnSameSubnet(length, y), ((x ^ y) & ~hosts) == 0);
            ASSERT_EQ(address.IsBroadcastAddr(length), x >> 28 == 15 || (n > 0 && n < 31 && (x & hosts) == hosts));
            ASSERT_EQ(address.IsAddressReserved(length), (x & hosts) == 0 || (x & hosts) == hosts);
            ASSERT_EQ(After(address, [=](auto& a) { a.SetHost(a, length), a.SetNetwork(a, length); }), address);
            ASSERT_TRUE(address.IsLoopbackAddr() == (x >> 24 == 127) && address.IsMulticastAddr() == (x >> 28 == 14));
            ASSERT_TRUE(address.IsZero() == (x == 0) && address.IsNonZero() == (x != 0));
        }
    }
}

} // namespace
