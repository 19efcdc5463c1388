#include "support/Random.h"

#include <common/Ipv6Address.h>

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

using namespace zor::common;
using namespace std::string_literals;
using test::Random;

namespace {

CIpv6Address Parse(const std::string& text)
{
    CIpv6Address address;
    EXPECT_TRUE(address.CopyFromString(text, nullptr)) << text;
    return address;
}

TEST(Ipv6AddressText, AcceptsAndPrintsBack)
{
    const struct {
        std::string text;
        unsigned long high, low;
        bool flag;
        std::string printed;
    } rows[] = {
        {"::", 0, 0, false, "::"},
        {"::1", 0, 1, false, "::1"},
        {"1::", 1ul << 48, 0, false, "1::"},
        {"1::2", 1ul << 48, 2, false, "1::2"},
        {"2001:DB8:0:0:1:0:0:1", 0x20010db800000000, 0x0001000000000001, false, "2001:db8::1:0:0:1"},
        {"2001:0:0:1:0:0:0:1", 0x2001000000000001, 1, false, "2001:0:0:1::1"},
        {"1:0:2:3:4:5:6:7", 0x0001000000020003, 0x0004000500060007, false, "1::2:3:4:5:6:7"},
        {"1:2:3:4:5:6:7:0", 0x0001000200030004, 0x0005000600070000, false, "1:2:3:4:5:6:7::"},
        {"0:2:3:4:5:6:7:8", 0x0000000200030004, 0x0005000600070008, false, "::2:3:4:5:6:7:8"},
        {"FFFF:FFFF:FFFF:FFFF:FFFF:FFFF:FFFF:FFFF", ~0ul, ~0ul, false, "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
        {"1:20:300:4000:a:b0:c00:d000", 0x0001002003004000, 0x000a00b00c00d000, false, "1:20:300:4000:a:b0:c00:d000"},
        {"::ffff:192.168.0.1", 0, 0xffffc0a80001, true, "::ffff:192.168.0.1"},
        {"::10.1.2.3", 0, 0x0a010203, true, "::10.1.2.3"},
        {"::0.0.0.0", 0, 0, true, "::0.0.0.0"},
        {"0:0:0:0:0:ffff:255.255.255.255", 0, 0xffffffffffff, true, "::ffff:255.255.255.255"},
        {"64:ff9b::1.2.3.4", 0x0064ff9b00000000, 0x01020304, true, "64:ff9b::102:304"},
        {"::fffe:1.2.3.4", 0, 0xfffe01020304, true, "::fffe:102:304"},
        {"1::ffff:1.2.3.4", 1ul << 48, 0xffff01020304, true, "1::ffff:102:304"},
        // Beyond the usual forms.
        {"1:2:3:4:5:6:7:", 0x0001000200030004, 0x0005000600070000, false, "1:2:3:4:5:6:7::"},
        {":1:2:3:4:5:6:7", 0x0000000100020003, 0x0004000500060007, false, "::1:2:3:4:5:6:7"},
        {"1:2:3:4::5:6:7:8", 0x0001000200030004, 0x0005000600070008, false, "1:2:3:4:5:6:7:8"},
        {"1:2:3:4:5:6:7::", 0x0001000200030004, 0x0005000600070000, false, "1:2:3:4:5:6:7::"},
        {"::2:3:4:5:6:7:8", 0x0000000200030004, 0x0005000600070008, false, "::2:3:4:5:6:7:8"},
        {"1:2:3:4:5:6:7:8x", 0x0001000200030004, 0x0005000600070008, false, "1:2:3:4:5:6:7:8"},
        {"1:2:3:4:5:6:7:g", 0x0001000200030004, 0x0005000600070000, false, "1:2:3:4:5:6:7::"},
        {"1:2:3:4:5:6:7:0008/64", 0x0001000200030004, 0x0005000600070008, false, "1:2:3:4:5:6:7:8"},
        {"1:2:3:4:5:6:7:89abcdef", 0x0001000200030004, 0x00050006000789ab, false, "1:2:3:4:5:6:7:89ab"},
        {"1:2:3:4:5:6:7:0008\0:9"s, 0, 0, false, ""},
        {"1:2:3:4:5:6:0007:0008\0zz"s, 0x0001000200030004, 0x0005000600070008, false, "1:2:3:4:5:6:7:8"},
        {"1:+2: 3:4:5:6:7:-8", 0x0001000200030004, 0x00050006000700f8, false, "1:2:3:4:5:6:7:f8"},
        {"::300.256.+5.-1", 0, 0x2c0005ff, true, "::44.0.5.255"},
        {"::1.2.3.4.5", 0, 0x01020304, true, "::1.2.3.4"},
        {"1:2:3:4:5:6:7::1.2", 0, 0, false, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        CIpv6Address address(1, 2);
        address.SetFormatLast4BytesAsIpv4(!row.flag);
        if (row.printed.empty()) {
            EXPECT_FALSE(address.CopyFromString(row.text, nullptr));
            continue;
        }
        EXPECT_TRUE(address.CopyFromString(row.text, nullptr));
        EXPECT_EQ(address, CIpv6Address(row.high, row.low));
        EXPECT_EQ(address.GetFormatLast4BytesAsIpv4(), row.flag);
        EXPECT_EQ(address.ToString(), row.printed);
    }
}

TEST(Ipv6AddressText, RejectsTheTextAndKeepsTheAddress)
{
    for (const std::string& text : {""s,
                                    ":"s,
                                    ":::"s,
                                    "1::2::3"s,
                                    "1:::2"s,
                                    "::1::"s,
                                    "1:2:3:4:5:6:7:8:9"s,
                                    "1:2:3:4:5:6:7:8::"s,
                                    "12345::"s,
                                    "1:2:3:4:5:6:7"s,
                                    "g::"s,
                                    "1:2:3:4:5:6:7:gg"s,
                                    "1:2:3:4:5:6:7:8xyz"s,
                                    "::1:2:3:4:5:6:7:"s,
                                    "::1.2.3"s,
                                    "1.2.3.4"s,
                                    "1:2:3:4:5:6:7:1.2.3.4"s,
                                    "1:2:3:4:5:1.2.3.4"s,
                                    "::1.2.3.4:5"s,
                                    "::\0001"s,
                                    "hello"s}) {
        SCOPED_TRACE(text);
        CIpv6Address address(1, 2);
        address.SetFormatLast4BytesAsIpv4(true);
        const CIpv6Address before = address;
        std::string error;
        EXPECT_FALSE(address.CopyFromString(text, &error));
        EXPECT_EQ(error, "invalid ipv6 address \"" + text + "\"");
        EXPECT_TRUE(address.Equals(before));
    }
}

/// The reading rules written out one after the other, with lists of groups in place of one text.
bool Reference(const std::string& text, unsigned char (&bytes)[16])
{
    const bool dotted = text.find('.') != std::string::npos;
    std::vector<std::string> groups(1);
    for (const char c : text) {
        if (c == ':') {
            groups.emplace_back();
        } else {
            groups.back() += c;
        }
    }
    const std::size_t colons = groups.size() - 1;
    const std::size_t gap = text.find("::");
    if (gap != std::string::npos && text.find("::", gap + 1) != std::string::npos) return false;
    if (colons > (gap == std::string::npos ? 7u : 8u)) return false;
    if (text == "::") groups.assign(8, "0");
    if (gap != std::string::npos && text != "::") {
        const auto at = static_cast<std::size_t>(std::count(text.begin(), text.begin() + static_cast<long>(gap), ':'));
        if (gap == 0) groups[0] = "0";
        if (gap + 2 == text.size()) groups.back() = "0";
        groups.erase(groups.begin() + static_cast<long>(at) + 1); // the empty group inside "::"
        const int zeros = 7 - static_cast<int>(colons) - (dotted ? 1 : 0) + 1;
        if (gap + 2 == text.size() && gap != 0) groups.resize(at + 1);
        if (zeros > 0) groups.insert(groups.begin() + static_cast<long>(at) + 1, static_cast<std::size_t>(zeros), "0");
        if (gap + 2 == text.size() && gap != 0) groups.emplace_back("0");
        while (!dotted && groups.size() < 8 && gap + 2 != text.size()) groups.emplace_back("0");
    }
    std::string normal;
    for (const std::string& group : groups) {
        if (!normal.empty()) normal += ':';
        normal += std::string(group.size() < 4 ? 4 - group.size() : 0, '0') + group;
    }
    unsigned int v[16];
    const char* format = dotted ? "%2x%2x:%2x%2x:%2x%2x:%2x%2x:%2x%2x:%2x%2x:%d.%d.%d.%d"
                                : "%2x%2x:%2x%2x:%2x%2x:%2x%2x:%2x%2x:%2x%2x:%2x%2x:%2x%2x";
    if (std::sscanf(normal.c_str(), format, &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7], &v[8], &v[9],
                    &v[10], &v[11], &v[12], &v[13], &v[14], &v[15]) != 16) {
        return false;
    }
    std::transform(v, v + 16, bytes, [](unsigned int value) { return static_cast<unsigned char>(value); });
    return true;
}

TEST(Ipv6AddressText, AgreesWithTheRulesAndTheSystemOnMutatedTexts)
{
    Random random(6);
    int accepted = 0;
    for (int round = 0; round < 100000; ++round) {
        unsigned char drawn[16];
        for (unsigned char& byte : drawn) byte = random.Below(3) == 0 ? random.Byte() : 0;
        CIpv6Address source(drawn);
        if (random.Below(4) == 0) source = CIpv6Address(0, 0xffff00000000 | random.Number() >> 32);
        source.SetFormatLast4BytesAsIpv4(random.Below(2) == 0);
        const std::string printed = source.ToString();
        CIpv6Address address(1, 2);
        ASSERT_EQ(inet_pton(AF_INET6, printed.c_str(), drawn), 1) << printed;
        ASSERT_EQ(source, CIpv6Address(drawn)) << printed;
        ASSERT_TRUE(address.CopyFromString(printed, nullptr)) << printed;
        ASSERT_EQ(address, source) << printed;

        const std::string text = random.Mutated(printed, "0123abcdABCD::::..x +-\0"s);
        unsigned char bytes[16];
        address = CIpv6Address(1, 2);
        const bool valid = Reference(text, bytes);
        ASSERT_EQ(address.CopyFromString(text, nullptr), valid) << '"' << text << '"';
        ASSERT_EQ(address, valid ? CIpv6Address(bytes) : CIpv6Address(1, 2)) << '"' << text << '"';
        accepted += valid;
    }
    EXPECT_GT(accepted, 20000);
    EXPECT_LT(accepted, 80000);
}

TEST(Ipv6AddressFlag, TravelsAsDocumented)
{
    const CIpv6Address other(3, 4);
    const auto flagAfter = [&](auto change) {
        CIpv6Address address(1, 2);
        address.SetFormatLast4BytesAsIpv4(true);
        change(address);
        return address.GetFormatLast4BytesAsIpv4();
    };
    const unsigned char bytes[16] = {};
    const auto kept = {
        flagAfter([&](CIpv6Address& a) { a.CopyFrom(bytes); }),
        flagAfter([&](CIpv6Address& a) { a.CopyFrom(reinterpret_cast<const char*>(bytes)); }),
        flagAfter([&](CIpv6Address& a) { a.CopyFrom(1, 2); }),
        flagAfter([&](CIpv6Address& a) { a += other; }),
        flagAfter([&](CIpv6Address& a) { a -= other; }),
        flagAfter([&](CIpv6Address& a) { a *= 3; }),
        flagAfter([&](CIpv6Address& a) { a |= other; }),
        flagAfter([&](CIpv6Address& a) { a &= other; }),
        flagAfter([&](CIpv6Address& a) { a.Not(); }),
        flagAfter([&](CIpv6Address& a) { a.ShiftLeft(1); }),
        flagAfter([&](CIpv6Address& a) { a.ShiftRight(1); }),
        flagAfter([&](CIpv6Address& a) { a.SetHost(other, 64); }),
        flagAfter([&](CIpv6Address& a) { a.SetNetwork(other, 64); }),
        flagAfter([&](CIpv6Address& a) { a.SetHostAddress(1); }),
        flagAfter([&](CIpv6Address& a) { a.SetEui64(CMacAddress()); }),
        flagAfter([&](CIpv6Address& a) { a.SetEui64WithLinkLocal(CMacAddress()); }),
        flagAfter([&](CIpv6Address& a) { a = CIpv6Address(a); }),
        flagAfter([&](CIpv6Address& a) { a = ~a; }),
        flagAfter([&](CIpv6Address& a) { a = a * 3; }),
        flagAfter([&](CIpv6Address& a) { a = a | other; }),
        flagAfter([&](CIpv6Address& a) { a = a & other; }),
        flagAfter([&](CIpv6Address& a) { a = a.GetHost(64); }),
        flagAfter([&](CIpv6Address& a) { a = a.GetNetwork(64); }),
        flagAfter([&](CIpv6Address& a) { a = a.RoundUpToPrefix(128); }),
        flagAfter([&](CIpv6Address& a) { a = a.Subtract(8, 1, 1); }),
        flagAfter([&](CIpv6Address& a) { a.DecodeFormatting({}); }),
        flagAfter([&](CIpv6Address& a) {
            a.DecodeFormatting({2, 0});
        }),
        flagAfter([&](CIpv6Address& a) { a.SetFormatLast4BytesAsIpv4(false), a.SetIpv4MappedAddr({1u}); }),
        flagAfter([&](CIpv6Address& a) { a.SetFormatLast4BytesAsIpv4(false), a.SetIpv4CompatibleAddr({1u}); }),
    };
    EXPECT_EQ(std::find(kept.begin(), kept.end(), false) - kept.begin(), static_cast<long>(kept.size()));
    const auto cleared = {
        flagAfter([&](CIpv6Address& a) { a = CIpv6Address(bytes); }),
        flagAfter([&](CIpv6Address& a) { a = a + other; }),
        flagAfter([&](CIpv6Address& a) { a = a - other; }),
        flagAfter([&](CIpv6Address& a) { a = a / other; }),
        flagAfter([&](CIpv6Address& a) { a = a % other; }),
        flagAfter([&](CIpv6Address& a) { a = a.Divide(other, a); }),
        flagAfter([&](CIpv6Address& a) { CIpv6Address(9, 9).Divide(other, a); }),
        flagAfter([&](CIpv6Address& a) { ++a; }),
        flagAfter([&](CIpv6Address& a) { --a; }),
        flagAfter([&](CIpv6Address& a) { a /= other; }),
        flagAfter([&](CIpv6Address& a) { a %= other; }),
        flagAfter([&](CIpv6Address& a) { a = a.GetNextIp(64, 1, 1); }),
        flagAfter([&](CIpv6Address& a) { a = a.Subtract(64, 1, 1); }),
        flagAfter([&](CIpv6Address& a) { a = a.Subtract(8, 0, 1); }),
        flagAfter([&](CIpv6Address& a) { a = a.RoundUpToPrefix(64); }),
        flagAfter([&](CIpv6Address& a) { a.CreateStepMaskFromPrefixLength(8); }),
        flagAfter([&](CIpv6Address& a) { a.CopyFormatting(other); }),
        flagAfter([&](CIpv6Address& a) {
            a.DecodeFormatting({0, 1});
        }),
    };
    EXPECT_EQ(std::find(cleared.begin(), cleared.end(), true) - cleared.begin(), static_cast<long>(cleared.size()));
    EXPECT_TRUE(Parse("1:2:3:4:5:6:7:8").FormattingEquals(other));
}

TEST(Ipv6AddressFlag, CountsInEqualsAndEncodesAsOneByte)
{
    CIpv6Address address(1, 2);
    address.SetFormatLast4BytesAsIpv4(true);
    EXPECT_TRUE(address == CIpv6Address(1, 2));
    EXPECT_FALSE(address.Equals(CIpv6Address(1, 2)));
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
    const struct {
        const char* address;
        int length;
        unsigned int step, count;
        const char* next;
        const char* previous;
    } rows[] = {
        {"2001:db8:0:1::", 64, 1, 1, "2001:db8:0:2::", "2001:db8::"},
        {"2001:db8:7::5", 48, 2, 3, "2001:db8:d::5", "2001:db8:1::5"},
        {"::", 128, 0xffffffff, 1, "::ffff:ffff", "ffff:ffff:ffff:ffff:ffff:ffff:0:1"},
        {"::", 127, 0x80000001, 1, "::1:0:2", "ffff:ffff:ffff:ffff:ffff:fffe:ffff:fffe"},
        {"::", 64, 0x10000, 0x10001, "0:0:1::", "ffff:ffff:ffff::"},
        {"ffff::", 16, 1, 1, "::", "fffe::"},
        {"2002::", 16, 1, 1, "2003::", "2001::"},
        {"2002::", 16, 0xff, 1, "2101::", "1f03::"},
        {"2002::", 16, 0x100, 1, "2102::", "2002::"},
        {"100::", 8, 1, 1, "200::", "100::"},
        {"200::", 8, 1, 1, "300::", "200::"},
        {"200::", 7, 1, 1, "400::", "200::"},
        {"::1", 0, 5, 5, "::1", "::1"},
        {"::1", -7, 5, 5, "::1", "::1"},
        {"::1", 200, 5, 5, "::1a", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffe8"},
        {"1:2:3::", 31, 1, 1, "1:4:3::", "1:0:3::"},
        {"1:2:3::", 31, 0x800000, 1, "101:2:3::", "1:2:3::"},
        {"1:2:3::", 31, 0x7fffff, 1, "101:0:3::", "ff01:4:3::"},
        {"1:2:3::", 32, 0x1000000, 1, "101:2:3::", "ff01:2:3::"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.address << '/' << row.length << " by " << row.step << " * "
                                        << row.count);
        EXPECT_EQ(Parse(row.address).GetNextIp(row.length, row.step, row.count), Parse(row.next));
        EXPECT_EQ(Parse(row.address).Subtract(row.length, row.step, row.count), Parse(row.previous));
    }
}

TEST(Ipv6AddressPrefix, RoundingAndSubnetNumbers)
{
    const struct {
        const char* address;
        int length;
        const char* rounded;
    } rounding[] = {
        {"2001:db8::1", 64, "2001:db8:0:1::"},
        {"2001:db8::", 64, "2001:db8::"},
        {"::2", 127, "::2"},
        {"::3", 127, "::4"},
        {"::1", 128, "::1"},
        {"::1", 0, "::"},
        {"::", 0, "::"},
        {"8000::", 0, "::"},
        {"8000::1", 1, "::"},
        {"1::", -1, "::"},
        {"::1", 999, "::1"},
        {"ffff::1", 16, "::"},
        {"::80:0:0:0:0", 57, "0:0:0:80::"},
        {"::81:0:0:0:0", 57, "0:0:0:100::"},
        {"0:0:1:0:8000::", 65, "0:0:1:0:8000::"},
    };
    for (const auto& row : rounding) {
        EXPECT_EQ(Parse(row.address).RoundUpToPrefix(row.length), Parse(row.rounded))
            << row.address << '/' << row.length;
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
    const struct {
        const char* address;
        bool loopback, multicast, linkLocal, compatible, mapped, powerOf2;
    } rows[] = {
        {"::", false, false, false, true, false, true},
        {"::1", true, false, false, true, false, true},
        {"::2", false, false, false, true, false, true},
        {"1::1", false, false, false, false, false, true},
        {"::ffff:ffff", false, false, false, true, false, true},
        {"::1:0:0", false, false, false, false, false, true},
        {"::ffff:0:0", false, false, false, false, true, true},
        {"::ffff:ffff:ffff", false, false, false, false, true, true},
        {"::fffe:ffff:ffff", false, false, false, false, false, true},
        {"::1:ffff:0:0", false, false, false, false, false, true},
        {"fe7f::", false, false, false, false, false, false},
        {"fe80::", false, false, true, false, false, false},
        {"febf:ffff::", false, false, true, false, false, false},
        {"fec0::", false, false, false, false, false, false},
        {"feff::", false, false, false, false, false, false},
        {"ff00::", false, true, false, false, false, false},
        {"8000::", false, false, false, false, false, true},
        {"0:1::5", false, false, false, false, false, true},
        {"3::", false, false, false, false, false, false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.address);
        const CIpv6Address address = Parse(row.address);
        EXPECT_EQ(address.IsZero(), row.address == "::"s);
        EXPECT_EQ(address.IsNonZero(), row.address != "::"s);
        EXPECT_EQ(address.IsLoopbackAddr(), row.loopback);
        EXPECT_EQ(address.IsMulticastAddr(), row.multicast);
        EXPECT_EQ(address.IsBroadcastAddr(64), row.multicast);
        EXPECT_EQ(address.IsLinkLocalAddr(), row.linkLocal);
        EXPECT_EQ(address.IsIpv4CompatibleAddr(), row.compatible);
        EXPECT_EQ(address.IsIpv4MappedAddr(), row.mapped);
        EXPECT_EQ(address.IsPowerOf2(), row.powerOf2);
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
