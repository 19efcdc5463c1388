#include "support/AddressChecks.h"
#include "support/Random.h"
#include "support/Rows.h"

#include <common/Hexfield.h>
#include <common/Ipv6Address.h>
#include <common/WideSteps.h>

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

using namespace zor::common;
using namespace std::string_literals;
using test::Random;
using test::Rows;

namespace {

CIpv6Address Parse(const std::string& text)
{
    CIpv6Address address;
    EXPECT_TRUE(address.CopyFromString(text, nullptr)) << text;
    return address;
}

TEST(Ipv6AddressText, AcceptsAndPrintsBackOrKeepsTheAddress)
{
    for (const auto& row : Rows("ipv6-text.txt")) {
        SCOPED_TRACE(row[0]);
        CIpv6Address before(1, 2);
        before.SetFormatLast4BytesAsIpv4(row[2 % row.size()] != "dotted");
        CIpv6Address address = before;
        std::string error;
        if (row[1] == "rejected") {
            EXPECT_FALSE(address.CopyFromString(row[0], &error));
            EXPECT_EQ(error, "invalid ipv6 address \"" + row[0] + "\"");
            EXPECT_TRUE(address.Equals(before));
        } else {
            EXPECT_TRUE(address.CopyFromString(row[0], &error));
            EXPECT_EQ(Hexfield(std::string(&address[0], &address[0] + 16), true, true).ToString(), row[1]);
            EXPECT_EQ(address.GetFormatLast4BytesAsIpv4(), row[2] == "dotted");
            EXPECT_EQ(address.ToString(), row[3]);
        }
    }
}

TEST(Ipv6AddressText, AgreesWithTheRulesAndTheSystemOnMutatedTexts)
{
    test::CheckMany(6, 100000, test::CheckIpv6AddressText);
}

TEST(Ipv6AddressText, CharactersAreSortedTheSameWayOnEveryProcessor)
{
    for (unsigned int c = 0; c < 256; ++c) {
        char text[detail::kHexScanStep];
        for (unsigned int i = 0; i < sizeof text; ++i) text[i] = static_cast<char>(c + 17 * i);
        unsigned char values[sizeof text];
        unsigned char expectedValues[sizeof text];
        const detail::HexScan scan = detail::ScanHex(text, ':', values);
        const detail::HexScan expected = detail::portable::ScanHex(text, ':', expectedValues);
        ASSERT_EQ(scan.digits, expected.digits) << c;
        ASSERT_EQ(scan.separators, expected.separators) << c;
        for (unsigned int i = 0; i < sizeof text; ++i) {
            ASSERT_TRUE((scan.digits >> i & 1) == 0 || values[i] == expectedValues[i]) << text[i];
        }
    }
}

TEST(Ipv6AddressFlag, TravelsAsDocumented)
{
    const CIpv6Address other(3, 4);
    const unsigned char bytes[16] = {9};
    CIpv6Address a(1, 2);
    const auto isSet = [&a] { return a.GetFormatLast4BytesAsIpv4(); };
    a.SetFormatLast4BytesAsIpv4(true);
    const CIpv6Address flagged = a;

    a.CopyFrom(bytes), a.CopyFrom(reinterpret_cast<const char*>(bytes)), a.CopyFrom(5, 6);
    a += other, a -= other, a *= 3, a |= other, a &= other, a.Not(), a.ShiftLeft(1), a.ShiftRight(1);
    EXPECT_TRUE(isSet()) << "operations in place";
    a.SetHost(other, 64), a.SetNetwork(other, 64), a.SetHostAddress(1), a.SetEui64(1), a.SetEui64WithLinkLocal(1);
    EXPECT_TRUE(isSet()) << "setters";
    a = CIpv6Address(a), a = ~a, a = a * 3, a = a | other, a = a & other, a = a.GetHost(64), a = a.GetNetwork(64);
    EXPECT_TRUE(isSet()) << "results that start from a copy";
    a = a.RoundUpToPrefix(128), a = flagged.Subtract(8, 1, 1), a.DecodeFormatting({}), a.DecodeFormatting({2, 0});
    EXPECT_TRUE(isSet()) << "what leaves the address as it is";
    a.CreateStepMaskFromPrefixLength(8);
    EXPECT_FALSE(isSet());
    a.SetIpv4MappedAddr(1u);
    EXPECT_TRUE(isSet());
    a.CopyFormatting(other);
    EXPECT_FALSE(isSet());
    a.SetIpv4CompatibleAddr(1u);
    EXPECT_TRUE(isSet());
    a.DecodeFormatting({0, 1});
    EXPECT_FALSE(isSet());

    CIpv6Address remainder(flagged), plus(flagged), minus(flagged), quotient(flagged), rest(flagged);
    ++plus, --minus, quotient /= other, rest %= other;
    const CIpv6Address divided = flagged.Divide(other, remainder);
    const auto flags = [](const auto&... results) { return (results.GetFormatLast4BytesAsIpv4() + ...); };
    EXPECT_EQ(flags(CIpv6Address(bytes), flagged + other, flagged - other, flagged / other, flagged % other), 0);
    EXPECT_EQ(flags(divided, remainder, plus, minus, quotient, rest, flagged.GetNextIp(64, 1, 1)), 0);
    EXPECT_EQ(flags(flagged.Subtract(64, 1, 1), flagged.Subtract(8, 0, 1), flagged.RoundUpToPrefix(64)), 0);
}

TEST(Ipv6AddressFlag, CountsInEqualsAndEncodesAsOneByte)
{
    CIpv6Address address(1, 2);
    address.SetFormatLast4BytesAsIpv4(true);
    EXPECT_TRUE(address == CIpv6Address(1, 2));
    const std::hash<CIpv6Address> hash;
    EXPECT_TRUE(hash(address) == hash(CIpv6Address(1, 2)) && hash(address) != hash(CIpv6Address(2, 1)));
    EXPECT_FALSE(address.Equals(CIpv6Address(1, 2)));
    EXPECT_FALSE(CIpv6Address(1, 3).Equals(CIpv6Address(1, 2)));
    EXPECT_FALSE(address.FormattingEquals(CIpv6Address()));
    for (std::vector<unsigned char> record : {std::vector<unsigned char>{}, {7}, {7, 8, 9}}) {
        address.EncodeFormatting(record);
        EXPECT_EQ(record, std::vector<unsigned char>{1});
        CIpv6Address().EncodeFormatting(record);
        EXPECT_EQ(record, std::vector<unsigned char>{0});
    }
}

TEST(Ipv6AddressArithmetic, ProductHasNarrowColumns)
{
    EXPECT_EQ(CIpv6Address(0, 2) * 3, CIpv6Address(0, 6));
    EXPECT_EQ(CIpv6Address(0, 0xffff) * 0xffff, CIpv6Address(0, 0xfefe0001));
    Random random(7);
    for (int round = 0; round < 20000; ++round) {
        unsigned char bytes[16];
        for (unsigned char& byte : bytes) byte = random.Byte();
        const unsigned long factor = random.Number() >> random.Below(64);
        unsigned int columns[16] = {}; // by place from the end, cut to 16 bits as they are added up
        for (unsigned int i = 0; i < 16; ++i) {
            for (unsigned int k = 0; k < 8 && i + k < 16; ++k) {
                columns[i + k] += bytes[15 - i] * static_cast<unsigned int>(factor >> 8 * k & 0xff);
            }
        }
        unsigned char expected[16];
        unsigned int carry = 0;
        for (int i = 0; i < 16; ++i) {
            carry = (carry + columns[i]) % 65536;
            expected[15 - i] = static_cast<unsigned char>(carry % 256);
            carry /= 256;
        }
        ASSERT_EQ(CIpv6Address(bytes) * factor, CIpv6Address(expected)) << CIpv6Address(bytes) << " * " << factor;
    }
}

TEST(Ipv6AddressBits, ShiftsAndPrefixesAtEveryCount)
{
    const CIpv6Address address(0x8123456789abcdef, 0xfedcba9876543211);
    const CIpv6Address other = ~address;
    const auto bit = [](const CIpv6Address& a, int i) {
        return i >= 0 && i < 128 && (a[i / 8] >> (7 - i % 8) & 1) != 0;
    };
    for (int count = -3; count < 256; ++count) {
        SCOPED_TRACE(count);
        CIpv6Address left(address);
        CIpv6Address right(address);
        left.ShiftLeft(count);
        right.ShiftRight(count);
        const int moved = count < 0 ? 0 : count;
        const auto length = static_cast<unsigned char>(moved);
        CIpv6Address withHost(address);
        CIpv6Address withNetwork(address);
        CIpv6Address stepMask;
        withHost.SetHost(other, length);
        withNetwork.SetNetwork(other, length);
        stepMask.CreateStepMaskFromPrefixLength(length);
        for (int i = 0; i < 128; ++i) { // bits counted from the top
            ASSERT_EQ(bit(left, i), bit(address, i + moved));
            ASSERT_EQ(bit(right, i), bit(address, i - moved));
            ASSERT_EQ(bit(address.GetHost(length), i), i >= moved && bit(address, i));
            ASSERT_EQ(bit(address.GetNetwork(length), i), i < moved && bit(address, i));
            ASSERT_EQ(bit(withHost, i), bit(address, i) != (i >= moved));
            ASSERT_EQ(bit(withNetwork, i), bit(address, i) != (i < moved));
            ASSERT_EQ(bit(stepMask, i), i >= 128 - moved);
            CIpv6Address flipped(address);
            flipped[i / 8] ^= static_cast<unsigned char>(0x80 >> i % 8);
            ASSERT_EQ(address.OnSameSubnet(count, flipped), count <= i);
        }
    }
}

TEST(Ipv6AddressPrefix, SubnetStepsAndTheirRefusals)
{
    for (const auto& row : Rows("ipv6-subnets.txt")) {
        SCOPED_TRACE(row[0] + '/' + row[1] + " by " + row[2] + " * " + row[3]);
        const int length = std::stoi(row[1]);
        const auto step = static_cast<unsigned int>(std::stoul(row[2]));
        const auto count = static_cast<unsigned int>(std::stoul(row[3]));
        EXPECT_EQ(Parse(row[0]).GetNextIp(length, step, count), Parse(row[4]));
        EXPECT_EQ(Parse(row[0]).Subtract(length, step, count), Parse(row[5]));
    }
}

TEST(Ipv6AddressPrefix, RoundingAndSubnetNumbers)
{
    for (const auto& row : Rows("ipv6-rounding.txt")) {
        EXPECT_EQ(Parse(row[0]).RoundUpToPrefix(std::stoi(row[1])), Parse(row[2])) << row[0] << '/' << row[1];
    }
    const CIpv6Address address = Parse("2001:db8:0:7::");
    EXPECT_EQ(address.Divide(64, 4), 1u);
    EXPECT_EQ(address.GetOffset(64, 4), 3u);
    EXPECT_EQ(Parse("1:2:3:4::").Divide(64, 1), 0x30004u) << "the low 32 bits of the shifted address";
    EXPECT_EQ(address.Divide(64, 0), 0u);
    EXPECT_EQ(address.GetOffset(64, 0), 7u);
    EXPECT_EQ(address.Divide(0, 1), 0u);
    EXPECT_EQ(Parse("::9").Divide(300, 2), 4u);
}

TEST(Ipv6AddressPrefix, HostAddressFormula)
{
    const struct {
        unsigned int before, value, after;
    } rows[] = {
        {0x12345678, 0x00000000, 0xfffffffe},
        {0x12345678, 0xffffffff, 0x12345678},
        {0x12345678, 0x0000ffff, 0xfffe5678},
        {0xffffffff, 0x00000001, 0xfffffffd},
    };
    for (const auto& row : rows) {
        CIpv6Address address(0x1111, 0xabcdef0000000000 | row.before);
        address.SetHostAddress(row.value);
        EXPECT_EQ(address, CIpv6Address(0x1111, 0xabcdef0000000000 | row.after)) << std::hex << row.value;
    }
}

TEST(Ipv6AddressClassification, BothSidesOfEveryBoundary)
{
    for (const auto& row : Rows("ipv6-classes.txt")) {
        const CIpv6Address address = Parse(row[0]);
        std::string classes;
        if (address.IsLoopbackAddr()) classes += " loopback";
        if (address.IsMulticastAddr()) classes += " multicast";
        if (address.IsLinkLocalAddr()) classes += " link-local";
        if (address.IsIpv4CompatibleAddr()) classes += " compatible";
        if (address.IsIpv4MappedAddr()) classes += " mapped";
        if (address.IsPowerOf2()) classes += " power-of-2";
        EXPECT_EQ(classes, row[1].empty() ? "" : " " + row[1]) << row[0];
        EXPECT_EQ(address.IsBroadcastAddr(64), address.IsMulticastAddr());
        EXPECT_EQ(address.IsZero(), row[0] == "::");
        EXPECT_NE(address.IsZero(), address.IsNonZero());
    }
}

TEST(Ipv6AddressForms, Ipv4AndEui64)
{
    CIpv6Address address(~0ul, ~0ul);
    address.SetIpv4CompatibleAddr(CIpAddress(10, 1, 2, 3));
    EXPECT_EQ(address.ToString(), "::10.1.2.3");
    address = CIpv6Address(~0ul, ~0ul);
    address.SetIpv4MappedAddr(CIpAddress(192, 168, 0, 1));
    EXPECT_EQ(address.ToString(), "::ffff:192.168.0.1");
    EXPECT_EQ((address + CIpv6Address()).ToString(), "::ffff:c0a8:1") << "a sum has no flag";

    const CMacAddress mac(0x001122334455);
    address.SetEui64(mac);
    EXPECT_EQ(address, Parse("::211:22ff:fe33:4455"));
    address = CIpv6Address(~0ul, ~0ul);
    address.SetEui64WithLinkLocal(mac);
    EXPECT_EQ(address, Parse("fe80::211:22ff:fe33:4455"));
    CMacAddress back;
    address[11] = 0; // not examined
    address.GetEui64(back);
    EXPECT_EQ(back, mac);
}

} // namespace
