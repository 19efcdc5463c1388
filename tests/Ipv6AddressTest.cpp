#include "support/AddressChecks.h"
#include "support/AddressNumbers.h"
#include "support/Random.h"
#include "support/Rows.h"

#include <common/Hexfield.h>
#include <common/Ipv6Address.h>
#include <common/WideSteps.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using namespace zor::common;
using namespace zor::common::test;

namespace {

TEST(Ipv6AddressText, AcceptsAndPrintsBackOrKeepsTheAddress)
{
    for (const auto& row : Rows("ipv6-text.txt")) {
        SCOPED_TRACE(row[0]);
        CIpv6Address before(1, 2);
        before.SetFormatLast4BytesAsIpv4(row[2 % row.size()] != "dotted");
        CIpv6Address address = before;
        std::string error = "before";
        if (row[1] == "rejected") {
            EXPECT_FALSE(address.CopyFromString(row[0], &error));
            EXPECT_EQ(error, "invalid ipv6 address \"" + row[0] + "\"");
            EXPECT_TRUE(address.Equals(before));
        } else {
            EXPECT_TRUE(address.CopyFromString(row[0], &error));
            EXPECT_EQ(error, "before");
            EXPECT_EQ(Hexfield(std::string(&address[0], &address[0] + 16), true, true).ToString(), row[1]);
            EXPECT_EQ(address.GetFormatLast4BytesAsIpv4(), row[2] == "dotted");
            EXPECT_EQ(address.ToString(), row[3]);
        }
    }
}

TEST(Ipv6AddressText, AgreesWithTheRulesAndTheSystemOnMutatedTexts)
{
    CheckMany(6, 100000, CheckIpv6AddressText);
}

TEST(Ipv6AddressText, CharactersAreSortedTheSameWayOnEveryProcessor)
{
    for (unsigned int c = 0; c < 256; ++c) {
        char text[detail::kHexScanRoom];
        for (unsigned int i = 0; i < sizeof text; ++i) text[i] = static_cast<char>(c + 17 * i);
        for (std::size_t size = 0; size <= sizeof text; ++size) {
            const detail::HexScan scan = detail::ScanHex(text, size, ':');
            const detail::HexScan expected = detail::portable::ScanHex(text, size, ':');
            ASSERT_EQ(scan.digits, expected.digits) << c << ", " << size;
            ASSERT_EQ(scan.separators, expected.separators) << c << ", " << size;
        }
    }
}

/// Columns of bytes, each cut to 16 bits as it is added up.
Wide ProductOf(const CIpv6Address& address, unsigned long factor)
{
    Wide product = 0;
    unsigned int carry = 0;
    for (unsigned int i = 0; i < 16; ++i) { // by place from the end
        for (unsigned int k = 0; k <= i && k < 8; ++k) {
            carry += address[static_cast<int>(15 - i + k)] * static_cast<unsigned int>(factor >> 8 * k & 0xff);
        }
        carry %= 65536;
        product |= Wide{carry % 256} << 8 * i;
        carry /= 256;
    }
    return product;
}

/// An address and what is next to it: 0, the ends of both halves, multiples of a drawn prefix.
Wide RandomNumber(Random& random)
{
    static constexpr std::uint64_t kHalves[] = {0, 1, ~std::uint64_t{0}, std::uint64_t{1} << 63};
    const Wide number = NumberOf(RandomAddress<CIpv6Address>(random));
    const std::size_t bits = random.Below(128);
    switch (random.Below(4)) {
    case 0: return Wide{kHalves[random.Below(4)]} << 64 | kHalves[random.Below(4)];
    case 1: return number >> bits << bits;
    case 2: return number >> bits / 8 * 8;
    default: return number;
    }
}

/// Every operation with one address and one count.
void CheckOperations(int count, Random& random)
{
    using A = CIpv6Address;
    const auto draw = [&random](Wide number) {
        return After(FromNumber<A>(number), [&](A& a) { a.SetFormatLast4BytesAsIpv4(random.Below(2) == 0); });
    };
    const Wide x = RandomNumber(random);
    const Wide y =
        random.Below(4) == 0 ? x ^ static_cast<Wide>(random.Below(2)) << random.Below(128) : RandomNumber(random);
    const A a = draw(x);
    const A b = draw(y);
    const bool flag = a.GetFormatLast4BytesAsIpv4();
    const auto value = static_cast<unsigned int>(y);
    const auto factor = static_cast<unsigned long>(y);
    const std::vector<unsigned char> zero = {0, 1}, two = {2, 0}; // records
    unsigned char bytes[16];
    b.CopyTo(bytes);

    const int bits = std::clamp(count, 0, 128);
    const auto length = static_cast<unsigned char>(std::clamp(count, 0, 255));
    const Wide hosts = bits == 128 ? 0 : ~Wide{0} >> bits;
    const auto up = [](Wide number, int places) { return places == 128 ? 0 : number << places; };
    const auto down = [](Wide number, int places) { return places == 128 ? 0 : number >> places; };
    const auto subnet = static_cast<unsigned int>(down(x, 128 - bits));
    const auto n = static_cast<unsigned int>(random.Number() >> random.Below(64));
    const auto step = static_cast<unsigned int>(random.Number() >> random.Below(64));
    const unsigned int product = step * n;
    const bool declined = bits < 32 && (bits <= 8 ? product : product >> (bits - 8)) != 0;

    const CMacAddress mac(factor);
    const Wide eui = (y & 0xffffff) | 0xfffe000000 | ((y >> 24 & 0xffffff) ^ 0x020000) << 40;
    const Wide quotient = y == 0 ? 0 : x / y;
    const Wide rest = y == 0 ? x : x % y;
    A plus(a), minus(a), remainder(a), dividend(a), divisor(b);
    const struct {
        const char* name;
        A result;
        Wide number;
        bool flag;
    } rows[] = {
        {"copy", A(a), x, flag},
        {"bytes", A(bytes), y, false},
        {"CopyFrom", After(a, [&](A& c) { c.CopyFrom(bytes); }), y, flag},
        {"CopyFrom chars", After(a, [&](A& c) { c.CopyFrom(reinterpret_cast<char*>(bytes)); }), y, flag},
        {"CopyFrom halves", After(a, [&](A& c) { c.CopyFrom(factor, 7); }), Wide{factor} << 64 | 7, flag},
        {"CopyFormatting", After(a, [&](A& c) { c.CopyFormatting(b); }), x, b.GetFormatLast4BytesAsIpv4()},
        {"no record", After(a, [](A& c) { c.DecodeFormatting({}); }), x, flag},
        {"record of 0", After(a, [&](A& c) { c.DecodeFormatting(zero); }), x, false},
        {"record of 2", After(a, [&](A& c) { c.DecodeFormatting(two); }), x, true},
        {"from and in digits", FromDiFormat(InDiFormat(a)), x, false},
        {"SetIpv4CompatibleAddr", After(a, [&](A& c) { c.SetIpv4CompatibleAddr(value); }), value, true},
        {"SetIpv4MappedAddr", After(a, [&](A& c) { c.SetIpv4MappedAddr(value); }), Wide{0xffff} << 32 | value, true},
        {"+=", A(a) += b, x + y, flag},
        {"-=", A(a) -= b, x - y, flag},
        {"*=", A(a) *= factor, ProductOf(a, factor), flag},
        {"/=", A(a) /= b, quotient, false},
        {"%=", A(a) %= b, rest, false},
        {"|=", A(a) |= b, x | y, flag},
        {"&=", A(a) &= b, x & y, flag},
        {"+", a + b, x + y, false},
        {"-", a - b, x - y, false},
        {"*", a * factor, ProductOf(a, factor), flag},
        {"/", a / b, quotient, false},
        {"%", a % b, rest, false},
        {"|", a | b, x | y, flag},
        {"&", a & b, x & y, flag},
        {"~", ~a, ~x, flag},
        {"Not", After(a, [](A& c) { c.Not(); }), ~x, flag},
        {"++", ++plus, x + 1, false},
        {"after ++", plus, x + 1, false},
        {"--", --minus, x - 1, false},
        {"after --", minus, x - 1, false},
        {"Divide", a.Divide(b, remainder), quotient, false},
        {"remainder", remainder, rest, false},
        {"Divide into the dividend", dividend.Divide(b, dividend), quotient, false},
        {"remainder in the dividend", dividend, rest, false},
        {"Divide into the divisor", a.Divide(divisor, divisor), quotient, false},
        {"remainder in the divisor", divisor, rest, false},
        {"ShiftLeft", After(a, [&](A& c) { c.ShiftLeft(count); }), up(x, bits), flag},
        {"ShiftRight", After(a, [&](A& c) { c.ShiftRight(count); }), down(x, bits), flag},
        {"GetHost", a.GetHost(length), x & hosts, flag},
        {"GetNetwork", a.GetNetwork(length), x & ~hosts, flag},
        {"SetHost", After(a, [&](A& c) { c.SetHost(b, length); }), (x & ~hosts) | (y & hosts), flag},
        {"SetNetwork", After(a, [&](A& c) { c.SetNetwork(b, length); }), (x & hosts) | (y & ~hosts), flag},
        {"own host and network", After(a, [&](A& c) { c.SetHost(c, length), c.SetNetwork(c, length); }), x, flag},
        {"step mask", After(a, [&](A& c) { c.CreateStepMaskFromPrefixLength(length); }), ~up(~Wide{0}, bits), false},
        {"RoundUpToPrefix", a.RoundUpToPrefix(count), (x & hosts) == 0 ? x : (x | hosts) + 1, flag && (x & hosts) == 0},
        {"GetNextIp", a.GetNextIp(count, step, n), x + up(product, 128 - bits), false},
        {"Subtract", a.Subtract(count, step, n), declined ? x : x - up(product, 128 - bits), flag && declined},
        {"SetHostAddress", After(a, [&](A& c) { c.SetHostAddress(value); }),
         (x >> 32 << 32) | (static_cast<unsigned int>(x) & value) | (~value & (~value - 1)), flag},
        {"SetEui64", After(a, [&](A& c) { c.SetEui64(mac); }), eui, flag},
        {"link-local", After(a, [&](A& c) { c.SetEui64WithLinkLocal(mac); }), Wide{0xfe80} << 112 | eui, flag},
    };
    SCOPED_TRACE(testing::Message() << a << " and " << b << ", " << count << ", " << step << " * " << n);
    for (const auto& row : rows) {
        ASSERT_EQ(row.result, FromNumber<A>(row.number)) << row.name;
        ASSERT_EQ(row.result.GetFormatLast4BytesAsIpv4(), row.flag) << row.name;
    }
    CMacAddress back(~0ul);
    a.GetEui64(back);
    ASSERT_EQ(back.ToU64(), ((x >> 40 & 0xffffff) ^ 0x020000) << 24 | (x & 0xffffff));
    ASSERT_EQ(a.OnSameSubnet(count, b), ((x ^ y) & ~hosts) == 0);
    ASSERT_EQ(a.FormattingEquals(b), flag == b.GetFormatLast4BytesAsIpv4());
    ASSERT_EQ(a.Equals(b), x == y && a.FormattingEquals(b));
    ASSERT_EQ(std::hash<A>()(a), std::hash<A>()(FromNumber<A>(x)));
    std::vector<unsigned char> record(random.Below(4), 7);
    ASSERT_FALSE(InDiFormat(a).overflow);
    a.EncodeFormatting(record);
    ASSERT_EQ(record, std::vector<unsigned char>{flag});
    ASSERT_EQ(a.Divide(count, n), n == 0 ? 0 : subnet / n);
    ASSERT_EQ(a.GetOffset(count, n), n == 0 ? subnet : subnet % n);
}

TEST(Ipv6AddressOperations, HaveTheirNumberAndTheirFlag)
{
    Random random(7);
    std::vector<int> counts = {-2147483647 - 1, -1000, 1000, 2147483647};
    for (int count = -3; count < 300; ++count) counts.push_back(count);
    for (const int count : counts) {
        for (int round = 0; round < 50; ++round) ASSERT_NO_FATAL_FAILURE(CheckOperations(count, random));
    }
    EXPECT_EQ(CIpv6Address(0, 0xffff) * 0xffff, CIpv6Address(0, 0xfefe0001));
}

TEST(Ipv6AddressClassification, BothSidesOfEveryBoundary)
{
    for (const auto& row : Rows("ipv6-classes.txt")) {
        CIpv6Address address;
        ASSERT_TRUE(address.CopyFromString(row[0], nullptr)) << row[0];
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

} // namespace
