// What the four address types have in common, checked once for all of them. The family tests hold the rest.

#include "support/AddressNumbers.h"
#include "support/Random.h"

#include <common/GoogleProtoBufFieldInfo.h>
#include <common/Hexfield.h>
#include <common/Ipv6Address.h>
#include <common/WorldWideName.h>

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <type_traits>
#include <unordered_set>
#include <utility>

using namespace zor::common;
using namespace zor::common::test;

namespace {

template <class T>
constexpr bool kQuotientForRemainder = std::is_same_v<T, CIpAddress>;

template <class T>
class AddressShape : public testing::Test {
};

using Types = testing::Types<CIpAddress, CMacAddress, CWorldWideName, CIpv6Address>;
TYPED_TEST_SUITE(AddressShape, Types);

TYPED_TEST(AddressShape, IsAPlainValueOfItsBytes)
{
    static_assert(std::is_trivially_copyable_v<TypeParam> && !std::is_polymorphic_v<TypeParam>);
    static_assert(sizeof(TypeParam) == kSize<TypeParam> + (kSize<TypeParam> == 16 ? 1 : 0)); // the formatting flag
    EXPECT_EQ(NumberOf(TypeParam()), Wide{0});
}

TEST(AddressConstants, AreMadeByTheCompiler)
{
    static constexpr unsigned char kOnes[16] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    static_assert(CIpAddress(kOnes) == CIpAddress(0x01010101u) && CMacAddress(kOnes) == CMacAddress(0x010101010101) &&
                  CWorldWideName(kOnes) == CWorldWideName(0x0101010101010101) && CIpv6Address(kOnes)[15] == 1);
    static_assert(!std::is_constructible_v<CIpv6Address, std::nullptr_t>);
    static_assert(CIpAddress(1, 2, 3, 4) == CIpAddress(0x01020304u));
    static_assert(CMacAddress(1, 2, 3, 4, 5, 6) == CMacAddress(0x010203040506));
    static_assert(CWorldWideName(1, 2, 3, 4, 5, 6, 7, 8) == CWorldWideName(0x0102030405060708));
    static_assert(CIpv6Address(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16) ==
                  CIpv6Address(0x0102030405060708, 0x090a0b0c0d0e0f10));
}

/// Something of all that a program may use before main().
std::string UseEach()
{
    CIpAddress ip;
    CIpv6Address ipv6;
    CMacAddress mac;
    CWorldWideName name;
    ip.CopyFromString("10.0.0.1", nullptr), ipv6.CopyFromString("::10", nullptr);
    mac.CopyFromString("0011.2233.4455", nullptr), name.CopyFromString("11:22:33:44:55:66:77:8f", nullptr);
    return ip.ToString() + ' ' + ipv6.ToString() + ' ' + mac.ToString() + ' ' + name.ToString() + ' ' +
           (Hexfield("00ff") * 0x101u).ToString() + ' ' + CIpAddress::GetZeroIp().ToString() + ' ' +
           CGoogleProtoBufFieldInfo::fieldTypeToString(CGoogleProtoBufFieldInfo::TypeBool);
}

// Before every dynamic initialiser of a library that is linked statically, as that of the preset "threads" is.
[[gnu::init_priority(101)]] const std::string kBeforeMain = UseEach();

TEST(AddressConstants, ServeBeforeMain)
{
    EXPECT_EQ(kBeforeMain, "10.0.0.1 ::10 0011.2233.4455 11:22:33:44:55:66:77:8f ffff 0.0.0.0 bool");
    EXPECT_EQ(CMacAddress().ToString(), "0000.0000.0000") << "the style set then stays";
    EXPECT_EQ(&CIpAddress::GetZeroIp(), &CIpAddress::GetZeroIp());
}

TYPED_TEST(AddressShape, BytesAreInNetworkOrderAndIndexesAreClamped)
{
    constexpr int size = kSize<TypeParam>;
    unsigned char bytes[size];
    for (int i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(0xa1 + i);
    TypeParam address = FromNumber<TypeParam>(~Wide{0});
    address.CopyFrom(reinterpret_cast<const char*>(bytes));
    EXPECT_EQ(address, TypeParam(bytes));
    for (int i = -2; i < size + 2; ++i) {
        const int clamped = i < 0 ? 0 : i < size ? i : size - 1;
        EXPECT_EQ(std::as_const(address)[i], bytes[clamped]) << i;
        address[i] = bytes[clamped] = static_cast<unsigned char>(0x40 + i);
        EXPECT_EQ(address, TypeParam(bytes)) << i;
    }
    unsigned char out[size + 1] = {};
    address.CopyTo(out);
    EXPECT_EQ(std::memcmp(out, bytes, size), 0);
    EXPECT_EQ(out[size], 0) << "CopyTo writes no more than the address";
}

TYPED_TEST(AddressShape, ComputesLikeANumberOfItsWidth)
{
    using T = TypeParam;
    Random random(1);
    for (int round = 0; round < 20000; ++round) {
        const T a = round % 4 == 0 ? FromNumber<T>(Wide{1} << random.Below(128)) : RandomAddress<T>(random);
        const T b = round % 8 == 0   ? a
                    : round % 8 == 1 ? FromNumber<T>(NumberOf(a) ^ Wide{1} << random.Below(128))
                                     : FromNumber<T>(NumberOf(RandomAddress<T>(random)) >> random.Below(128));
        const Wide x = NumberOf(a);
        const Wide y = NumberOf(b);
        SCOPED_TRACE(a.ToString() + " and " + b.ToString());
        ASSERT_TRUE((a == b) == (x == y) && (a != b) == (x != y) && (a < b) == (x < y) && (a > b) == (x > y) &&
                    (a <= b) == (x <= y) && (a >= b) == (x >= y));

        const Wide quotient = y == 0 ? 0 : x / y;
        const Wide rest = kQuotientForRemainder<T> ? quotient : y == 0 ? x : x % y;
        T up = a, down = a, sum = a, difference = a, ratio = a; // of which both operands may be one object
        const struct {
            const char* name;
            T result;
            T inPlace;
            Wide expected;
        } rows[] = {
            {"+", a + b, T(a) += b, x + y},
            {"-", a - b, T(a) -= b, x - y},
            {"/", a / b, T(a) /= b, quotient},
            {"%", a % b, T(a) %= b, rest},
            {"|", a | b, T(a) |= b, x | y},
            {"&", a & b, T(a) &= b, x & y},
            {"++", ++up, up, x + 1},
            {"--", --down, down, x - 1},
            {"twice", sum += std::as_const(sum), sum, x + x},
            {"less itself", difference -= std::as_const(difference), difference, 0},
            {"by itself", ratio /= std::as_const(ratio), ratio, x == 0 ? 0u : 1u},
        };
        for (const auto& row : rows) {
            ASSERT_EQ(row.result, FromNumber<T>(row.expected)) << row.name;
            ASSERT_EQ(row.inPlace, row.result) << row.name << " in place";
        }
        ASSERT_EQ(After(a, [](T& t) { t.Not(); }), FromNumber<T>(~x));
        ASSERT_EQ(~a, FromNumber<T>(~x));
        if constexpr (kSize<T> < 16) { // the IPv6 product and power of two are their own
            const auto factor =
                static_cast<std::conditional_t<kSize<T> == 4, unsigned int, unsigned long>>(random.Number());
            ASSERT_EQ(a * factor, FromNumber<T>(x * factor));
            ASSERT_EQ(T(a) *= factor, a * factor);
            ASSERT_EQ(After(a, [=](T& t) { t.CopyFrom(factor); }), FromNumber<T>(factor));
            ASSERT_EQ(a.IsPowerOf2(), (x & (x - 1)) == 0);
        }
    }
}

/// What five extractions leave in an address and in the stream.
template <class T, class Read>
std::string Extracted(std::istream& in, Read read)
{
    T address = FromNumber<T>(0x0102030405060708);
    std::ostringstream log;
    for (int word = 0; word < 5; ++word) {
        try {
            read(in, address);
        } catch (const std::ios::failure&) {
            log << "raised ";
        }
        log << address.ToString() << ", " << in.rdstate() << ' ' << in.rdbuf()->in_avail() << ' ' << in.width() << '\n';
    }
    return log.str();
}

TYPED_TEST(AddressShape, IsReadAndWrittenLikeAString)
{
    static constexpr const char* kBlanks[] = {" ", "\n", "\t \v", ""};
    static constexpr std::ios::fmtflags kAdjusted[] = {std::ios::left, std::ios::right, std::ios::internal};
    Random random(2);
    for (int round = 0; round < 1000; ++round) {
        std::string text;
        for (int word = 0; word < 4; ++word) {
            text += kBlanks[random.Below(std::size(kBlanks))];
            text += random.Below(4) == 0   ? "bogus,word"
                    : random.Below(4) == 0 ? "::1.2.3.4"
                                           : RandomAddress<TypeParam>(random).ToString();
        }
        SCOPED_TRACE(text);
        std::istringstream in(text);
        std::istringstream plainIn(text);
        if (random.Below(4) == 0) in.width(static_cast<std::streamsize>(random.Below(30)));
        if (random.Below(4) == 0) in.unsetf(std::ios::skipws);
        if (random.Below(4) == 0) in.exceptions(random.Below(2) == 0 ? std::ios::eofbit : std::ios::failbit);
        plainIn.copyfmt(in);
        const auto readWord = [](std::istream& stream, TypeParam& address) {
            std::string word;
            stream >> word;
            address.CopyFromString(word, nullptr);
        };
        ASSERT_EQ(Extracted<TypeParam>(in, [](std::istream& stream, TypeParam& address) { stream >> address; }),
                  Extracted<TypeParam>(plainIn, readWord));

        std::ostringstream out;
        std::ostringstream plainOut;
        out.width(static_cast<std::streamsize>(random.Below(60)));
        out.fill('*');
        out.flags(kAdjusted[random.Below(3)] | std::ios::hex | std::ios::showbase | std::ios::uppercase);
        plainOut.copyfmt(out);
        auto address = RandomAddress<TypeParam>(random);
        if (round % 2 == 0) address.CopyFromString("::1.2.3.4", nullptr); // an address of IPv6 alone
        out << address << 255;
        plainOut << address.ToString() << 255;
        ASSERT_EQ(out.str(), plainOut.str());
    }
}

TYPED_TEST(AddressShape, ErrorMayBeTheText)
{
    TypeParam address;
    std::string text = "no address";
    EXPECT_FALSE(address.CopyFromString(text, &text));
    EXPECT_NE(text.find("\"no address\""), std::string::npos);
}

TYPED_TEST(AddressShape, DistinctOnesHaveDistinctHashes)
{
    Random random(2);
    std::unordered_set<TypeParam> addresses;
    std::unordered_set<std::size_t> hashes;
    for (unsigned int i = 0; i < 2000; ++i) {
        const TypeParam address =
            i % 2 == 0 ? RandomAddress<TypeParam>(random) : FromNumber<TypeParam>(Wide{i} << kSize<TypeParam> * 4);
        addresses.insert(address);
        hashes.insert(std::hash<TypeParam>()(address));
        ASSERT_EQ(hashes.size(), addresses.size()) << address;
    }
}

} // namespace
