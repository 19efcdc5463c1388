// What the four address types have in common, checked once for all of them. The family tests hold the rest.

#include "support/Random.h"

#include <common/GoogleProtoBufFieldInfo.h>
#include <common/Hexfield.h>
#include <common/Ipv6Address.h>
#include <common/WorldWideName.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <sstream>
#include <type_traits>
#include <unordered_set>
#include <vector>

using namespace zor::common;
using test::Random;

namespace {

__extension__ typedef unsigned __int128 Wide;

template <class T>
constexpr int kSize = std::is_same_v<T, CIpAddress>     ? 4
                      : std::is_same_v<T, CMacAddress>  ? 6
                      : std::is_same_v<T, CIpv6Address> ? 16
                                                        : 8;

template <class T>
constexpr bool kQuotientForRemainder = std::is_same_v<T, CIpAddress>;

template <class T>
Wide NumberOf(const T& address)
{
    unsigned char bytes[kSize<T>];
    address.CopyTo(bytes);
    Wide number = 0;
    for (const unsigned char byte : bytes) number = number << 8 | byte;
    return number;
}

template <class T>
T FromNumber(Wide number)
{
    unsigned char bytes[kSize<T>];
    for (int i = kSize<T>; i-- > 0; number >>= 8) bytes[i] = static_cast<unsigned char>(number);
    return T(bytes);
}

template <class T>
Wide Cut(Wide number)
{
    return kSize<T> == 16 ? number : number & ((Wide{1} << kSize<T> * 8 % 128) - 1);
}

template <class T>
T RandomAddress(Random& random)
{
    unsigned char bytes[kSize<T>];
    for (unsigned char& byte : bytes) byte = random.Byte();
    return T(bytes);
}

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
    unsigned char one[16] = {};
    one[3] = one[5] = one[7] = one[15] = 1;
    CIpAddress ip;
    CMacAddress mac;
    CWorldWideName name;
    CIpv6Address ipv6;
    ip.CopyFrom(1u), mac.CopyFrom(0x10001ul), name.CopyFrom(0x100010001ul), ipv6.CopyFrom(0x100010001, 1);
    EXPECT_TRUE(ip == CIpAddress(one) && mac == CMacAddress(one) && name == CWorldWideName(one));
    EXPECT_EQ(ipv6, CIpv6Address(one));
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
}

TYPED_TEST(AddressShape, DivisionByZeroGivesZeroAndTheDividend)
{
    const TypeParam five = FromNumber<TypeParam>(5);
    EXPECT_EQ(five / TypeParam(), TypeParam());
    EXPECT_EQ(five % TypeParam(), kQuotientForRemainder<TypeParam> ? TypeParam() : five);
}

TYPED_TEST(AddressShape, BytesAreInNetworkOrderAndIndexesAreClamped)
{
    constexpr int size = kSize<TypeParam>;
    unsigned char bytes[size];
    for (int i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(0xa1 + i);
    TypeParam address;
    address.CopyFrom(reinterpret_cast<const char*>(bytes));
    EXPECT_EQ(address, TypeParam(bytes));
    for (int i = -2; i < size + 2; ++i) {
        const int clamped = i < 0 ? 0 : i < size ? i : size - 1;
        EXPECT_EQ(std::as_const(address)[i], bytes[clamped]) << i;
        TypeParam changed = address;
        changed[i] = 0x07;
        unsigned char expected[size];
        std::memcpy(expected, bytes, size);
        expected[clamped] = 0x07;
        EXPECT_EQ(changed, TypeParam(expected)) << i;
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
            {"++", ++T(a), a + FromNumber<T>(1), x + 1},
            {"--", --T(a), a - FromNumber<T>(1), x - 1},
        };
        for (const auto& row : rows) {
            ASSERT_EQ(row.result, FromNumber<T>(row.expected)) << row.name;
            ASSERT_EQ(row.inPlace, row.result) << row.name << " in place";
        }
        T complement = a;
        complement.Not();
        ASSERT_EQ(NumberOf(complement), Cut<T>(~x));
        ASSERT_EQ(~a, complement);
        if constexpr (kSize<T> < 16) { // the IPv6 product and power of two are their own
            const auto factor =
                static_cast<std::conditional_t<kSize<T> == 4, unsigned int, unsigned long>>(random.Number());
            ASSERT_EQ(NumberOf(a * factor), Cut<T>(x * factor));
            ASSERT_EQ(T(a) *= factor, a * factor);
            ASSERT_EQ(a.IsPowerOf2(), (x & (x - 1)) == 0);
        }
    }
}

TYPED_TEST(AddressShape, StepsChangeTheObjectAndReturnACopy)
{
    TypeParam address;
    --address;
    EXPECT_EQ(NumberOf(address), Cut<TypeParam>(~Wide{0}));
    EXPECT_EQ(NumberOf(++address), Wide{0});
    static_assert(!std::is_reference_v<decltype(++address)> && !std::is_reference_v<decltype(--address)>);
    static_assert(std::is_same_v<decltype(address += address), TypeParam&>);
    address = FromNumber<TypeParam>(5);
    EXPECT_EQ(address -= address, TypeParam()) << "both operands may be one object";
}

TYPED_TEST(AddressShape, AWordThatIsNoAddressChangesNothing)
{
    const TypeParam before = FromNumber<TypeParam>(0x0102030405060708);
    TypeParam address = before;
    std::istringstream in("bogus,word  " + FromNumber<TypeParam>(0x1122334455667788).ToString() + "\nnext");
    in.imbue(std::locale::classic());
    in >> address;
    EXPECT_TRUE(in.good());
    EXPECT_EQ(address, before);
    in >> address;
    EXPECT_EQ(address, FromNumber<TypeParam>(0x1122334455667788));
    std::string next;
    EXPECT_TRUE(in >> next);
    EXPECT_EQ(next, "next");
    in >> address;
    EXPECT_EQ(address, FromNumber<TypeParam>(0x1122334455667788)) << "nothing left to read";
    std::ostringstream out;
    out << address;
    EXPECT_EQ(out.str(), address.ToString());
    EXPECT_FALSE(address.CopyFromString("bogus", nullptr)) << "no message is asked for";
    std::string error = "left from before";
    EXPECT_TRUE(address.CopyFromString(before.ToString(), &error));
    EXPECT_EQ(error, "left from before");
    error = "same object as the text";
    EXPECT_FALSE(address.CopyFromString(error, &error));
    EXPECT_NE(error.find("\"same object as the text\""), std::string::npos);
}

TYPED_TEST(AddressShape, SortsSwapsAndIsAKey)
{
    using T = TypeParam;
    Random random(2);
    std::unordered_set<T> addresses;
    std::unordered_set<std::size_t> hashes;
    while (addresses.size() < 1000) {
        const Wide i = addresses.size();
        addresses.insert(i % 2 == 0 ? RandomAddress<T>(random) : FromNumber<T>(i << kSize<T> * 4));
        ASSERT_EQ(addresses.count(FromNumber<T>(NumberOf(*addresses.begin()))), 1u) << "an equal one has the same hash";
    }
    for (const T& address : addresses) hashes.insert(std::hash<T>()(address));
    EXPECT_EQ(hashes.size(), addresses.size());
    std::vector<T> sorted(addresses.begin(), addresses.end());
    std::sort(sorted.begin(), sorted.end());
    const std::set<T> ordered(addresses.begin(), addresses.end());
    EXPECT_TRUE(std::equal(sorted.begin(), sorted.end(), ordered.begin(), ordered.end()));
    std::swap(sorted.front(), sorted.back());
    EXPECT_TRUE(sorted.front() == *ordered.rbegin() && sorted.back() == *ordered.begin());
}

} // namespace
