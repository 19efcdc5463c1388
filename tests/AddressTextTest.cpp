#include "support/AddressChecks.h"
#include "support/Rows.h"

#include <common/AddressLiterals.h>
#include <common/AddressText.h>

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

using namespace zor::common;
using namespace zor::common::literals;
using namespace zor::common::test;

namespace {

template <class T>
class StrictText : public testing::Test {
};

using Types = testing::Types<CIpAddress, CMacAddress, CWorldWideName, CIpv6Address>;
TYPED_TEST_SUITE(StrictText, Types);

TYPED_TEST(StrictText, AgreesWithTheJudgesOnMutatedTexts)
{
    CheckMany(8, 100000, CheckDrawnStrictText<TypeParam>);
}

/// Calls \a check with each text of up to \a size characters of an alphabet behind \a head.
template <class Check>
void EachText(const std::string& head, const std::string& alphabet, std::size_t size, Check check)
{
    check(head);
    if (size == 0 || testing::Test::HasFailure()) return;
    for (const char c : alphabet) EachText(head + c, alphabet, size - 1, check);
}

TYPED_TEST(StrictText, AgreesWithTheJudgesOnAllShortTexts)
{
    const struct {
        std::string head, alphabet;
        std::size_t size;
    } rows[] = {{"", "01f:.-g", 6},        {"1.2.3", "0125.", 6},           {"1:2:3:4:5:6", "0f:.", 6},
                {"1::3:4:5:6", "09:.", 6}, {"::1.2.3", "05.:", 6},          {"00:11:22:33:44", "0f:-", 6},
                {"0011.2233", "0f.:", 6},  {"00-11-22-33-44-55", "a-:", 6}, {"00:11:22:33:44:55:6", "06f:-", 6}};
    int valid = 0;
    for (const auto& row : rows) {
        EachText(row.head, row.alphabet, row.size,
                 [&](const std::string& text) { valid += CheckStrictText<TypeParam>(text); });
    }
    EXPECT_GT(valid, 20);
}

template <class Address>
std::string Printed(const Address& address)
{
    char text[kMaxTextSize<Address>];
    return {text, ToChars(text, text + sizeof text, address)};
}

/// The style of the process, which nothing here reads or sets.
std::string SharedStyle()
{
    const auto mac = CMacAddress::GetFormatStyle();
    const auto name = CWorldWideName::GetFormatStyle();
    return std::to_string(mac.mGrouping) + mac.mSeparator + std::to_string(name.mGrouping) + name.mSeparator;
}

/// The rows of the guide's table: "| type | `text` | `fault` | words | offset |".
std::vector<std::vector<std::string>> GuideRows()
{
    std::ifstream guide(ZOR_COMMON_TEST_DATA "/../../docs/addresses.md");
    std::vector<std::vector<std::string>> rows;
    for (std::string line; std::getline(guide, line);) {
        std::vector<std::string> cells;
        std::istringstream in(line);
        for (std::string cell; std::getline(in, cell, '|');) {
            cells.push_back(cell.size() > 2 ? cell.substr(1, cell.size() - 2) : "");
            if (!cells.back().empty() && cells.back().front() == '`')
                cells.back() = cells.back().substr(1, cells.back().size() - 2);
        }
        if (cells.size() != 6 || cells[5].find_first_not_of("0123456789") != std::string::npos) continue;
        rows.push_back({cells[1], cells[2] == "(no characters)" ? "" : cells[2], cells[4], cells[5]});
    }
    EXPECT_EQ(rows.size(), 20u);
    return rows;
}

TEST(AddressText, FaultsHaveAReasonAndAPlace)
{
    const std::string style = SharedStyle();
    auto rows = GuideRows();
    for (const auto& row : Rows("address-faults.txt")) rows.push_back(row);
    for (const auto& row : rows) {
        SCOPED_TRACE(row[0] + ' ' + row[1]);
        const auto check = [&](auto address) {
            const auto before = address;
            const TextResult read = ReadStrictly(row[1], address);
            EXPECT_EQ(Describe(read.fault), row[2]);
            EXPECT_EQ(std::to_string(read.end - row[1].data()), row[3]);
            EXPECT_EQ(address, before);
        };
        if (row[0] == "IPv4")
            check(CIpAddress(7u));
        else if (row[0] == "IPv6")
            check(CIpv6Address(7, 7));
        else if (row[0] == "MAC")
            check(CMacAddress(7));
        else if (row[0] == "WWN")
            check(CWorldWideName(7));
        else if (row[0] == "IPv4/")
            check(Prefix<CIpAddress>{7u, 7});
        else if (row[0] == "IPv6/")
            check(Prefix<CIpv6Address>{{7, 7}, 7});
        else
            ADD_FAILURE();
    }
    EXPECT_EQ(SharedStyle(), style);
}

/// The SSE2 forms give the same results as the portable ones; elsewhere both are the same functions.
TEST(AddressText, FastPathsAgreeWithPlainOnes)
{
    using namespace detail;
    Random random(22);
    for (int i = 0; i < 300000; ++i) {
        std::string text;
        for (int part = 0; part < 4; ++part) text += std::to_string(random.Below(i % 8 == 0 ? 300 : 256)) + '.';
        text.resize(text.size() - (i % 64 == 0 ? 0 : 1));
        if (i % 2 == 0) text[random.Below(text.size())] = "0123456789..0/:\xb0"[random.Below(16)];
        std::uint32_t value = 7, expected = 7;
        const char* const end = text.data() + text.size();
        const bool isRead = portable::ReadDottedDecimal(text.data(), end, expected);
        ASSERT_EQ(ReadDottedDecimal(text.data(), end, value), isRead) << text;
        ASSERT_EQ(value, expected) << text;

        unsigned char bytes[16], digits[32], plainDigits[32];
        StoreBig64(bytes, random.Number() & random.Number());
        StoreBig64(bytes + 8, random.Number());
        for (unsigned int group = 0; group < 8; ++group) {
            if (random.Below(3) == 0) bytes[2 * group] = bytes[2 * group + 1] = 0;
        }
        ASSERT_EQ(WriteGroupDigits(digits, bytes), portable::WriteGroupDigits(plainDigits, bytes));
        ASSERT_EQ(std::memcmp(digits, plainDigits, sizeof digits), 0);
    }
}

TEST(AddressText, Ipv6PrintsAsRfc5952HasItAndKeepsItsTail)
{
    static constexpr const char* kRows[][2] = {
        {"2001:db8:0:1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},
        {"2001:0DB8::1:0:0:1", "2001:db8::1:0:0:1"},
        {"1:0:0:2:0:0:0:3", "1:0:0:2::3"},
        {"1:0:0:2:3:0:0:4", "1::2:3:0:0:4"},
        {"0:0:1::", "0:0:1::"},
        {"::2:3:4:5:6:7:8", "0:2:3:4:5:6:7:8"},
        {"1:2:3:4:5:6:7::", "1:2:3:4:5:6:7:0"},
        {"::", "::"},
        {"::ffff:102:304", "::ffff:102:304"},
        {"::ffff:1.2.3.4", "::ffff:1.2.3.4"},
        {"64:ff9b::1.2.3.4", "64:ff9b::1.2.3.4"},
        {"1:2:3:4:5::1.2.3.4", "1:2:3:4:5:0:1.2.3.4"},
        {"::0.0.0.0", "::0.0.0.0"},
        {"ffff:ffff:ffff:ffff:ffff:ffff:255.255.255.255", "ffff:ffff:ffff:ffff:ffff:ffff:255.255.255.255"}};
    for (const auto& [text, expected] : kRows) {
        CIpv6Address address;
        EXPECT_EQ(ReadStrictly(text, address).fault, TextFault::None) << text;
        EXPECT_EQ(Printed(address), expected);
    }
    CIpv6Address tail = "::1.2.3.4"_ip6;
    EXPECT_EQ(ReadStrictly("::1", tail).fault, TextFault::None);
    EXPECT_FALSE(tail.GetFormatLast4BytesAsIpv4());
}

TEST(AddressText, StylesAreThoseOfOneCall)
{
    const std::string style = SharedStyle();
    char text[32];
    const auto mac = "00:1A:2b:3c:4d:5e"_mac;
    EXPECT_EQ(std::string(text, ToChars(text, text + 14, mac, {0, '.'})), "001a.2b3c.4d5e");
    EXPECT_EQ(std::string(text, ToChars(text, text + 17, mac, {1, '_'})), "00_1a_2b_3c_4d_5e");
    EXPECT_EQ(ToChars(text, text + 13, mac, {0, '.'}), nullptr);
    EXPECT_EQ(ToChars(text, text + 16, mac), nullptr);
    const auto name = "20-00-00-25-B5-00-00-01"_wwn;
    EXPECT_EQ(std::string(text, ToChars(text, text + 23, name, {5, '-'})), "20-00-00-25-b5-00-00-01");
    EXPECT_EQ(Printed(name), "20:00:00:25:b5:00:00:01");
    EXPECT_EQ(ToChars(text, text + 22, name), nullptr);
    EXPECT_EQ(SharedStyle(), style);
}

template <class Address>
void CheckPrefix(const std::string& text, const Address& network, int length)
{
    Prefix<Address> prefix{Address(), -1};
    EXPECT_EQ(ReadStrictly(text, prefix).fault, TextFault::None) << text;
    EXPECT_TRUE(prefix == (Prefix<Address>{network, length})) << Printed(prefix);
    EXPECT_TRUE(prefix != (Prefix<Address>{network, length + 1}) && prefix != (Prefix<Address>{~network, length}));
    EXPECT_EQ(Printed(prefix), text);
    char small[64];
    EXPECT_EQ(ToChars(small, small + text.size() - 1, prefix), nullptr);
    EXPECT_EQ(Printed(Prefix<Address>{prefix.network, -5}), text.substr(0, text.find('/')) + "/0");
    EXPECT_EQ(Printed(Prefix<Address>{prefix.network, 1000}),
              text.substr(0, text.find('/') + 1) + std::to_string(8 * kSize<Address>));
}

TEST(AddressText, PrefixesAreReadAndWritten)
{
    CheckPrefix("10.0.0.0/22", "10.0.0.0"_ip4, 22);
    CheckPrefix("255.255.255.255/32", "255.255.255.255"_ip4, 32);
    CheckPrefix("10.0.0.7/0", "10.0.0.7"_ip4, 0);
    CheckPrefix("2001:db8::/64", "2001:db8::"_ip6, 64);
    CheckPrefix("ffff:ffff:ffff:ffff:ffff:ffff:255.255.255.255/128", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"_ip6,
                128);
    CheckPrefix("00:1a:2b:00:00:00/24", "00:1a:2b:00:00:00"_mac, 24);
    CheckPrefix("20:00:00:25:b5:00:00:01/64", "20:00:00:25:b5:00:00:01"_wwn, 64);
}

template <class Address, std::size_t Size>
constexpr bool PrintsAs(const Address& address, const char (&expected)[Size])
{
    char text[64] = {};
    const char* const end = ToChars(text, text + Size - 1, address);
    bool equal = end == text + Size - 1;
    for (std::size_t i = 0; i + 1 < Size; ++i) equal = equal && text[i] == expected[i];
    return equal;
}

TEST(AddressText, TheCompilerReadsAndPrints)
{
    static_assert("10.0.0.1"_ip4 == CIpAddress(10, 0, 0, 1) && PrintsAs("10.0.0.1"_ip4, "10.0.0.1"));
    static_assert(PrintsAs("255.254.10.9"_ip4, "255.254.10.9"));
    static_assert("2001:db8::1"_ip6 == CIpv6Address(0x20010db800000000, 1));
    static_assert(PrintsAs("2001:db8:0:1:20:0:300:4"_ip6, "2001:db8:0:1:20:0:300:4"));
    static_assert("::ffff:10.0.0.1"_ip6.GetFormatLast4BytesAsIpv4() &&
                  PrintsAs("::ffff:10.0.0.1"_ip6, "::ffff:10.0.0.1"));
    static_assert("00-1a-2b-3c-4d-5e"_mac == CMacAddress(0x001a2b3c4d5e) && "001a.2b3c.4d5e"_mac[5] == 0x5e);
    static_assert(PrintsAs("001a.2b3c.4d5e"_mac, "00:1a:2b:3c:4d:5e"));
    static_assert("20:00:00:25:b5:00:00:01"_wwn == CWorldWideName(0x20000025b5000001));
    static_assert(PrintsAs(Prefix<CIpAddress>{"10.0.0.0"_ip4, 8}, "10.0.0.0/8"));
}

} // namespace
