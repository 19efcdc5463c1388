#ifndef ZOR_COMMON_TESTS_ADDRESS_CHECKS_H
#define ZOR_COMMON_TESTS_ADDRESS_CHECKS_H

/// \file
/// The address texts, checked against the plain rules on what a test or a fuzzer draws.

#include "AddressNumbers.h"
#include "Random.h"

#include <common/AddressText.h>

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>

namespace zor::common::test {

using namespace std::string_literals;

inline void CheckIpAddressText(Random& random)
{
    const CIpAddress drawn(static_cast<unsigned int>(random.Number()) >> random.Below(32));
    unsigned char bytes[4];
    char printed[INET_ADDRSTRLEN];
    drawn.CopyTo(bytes);
    ASSERT_EQ(drawn.ToString(), inet_ntop(AF_INET, bytes, printed, sizeof printed));
    const std::string text = random.Mutated(printed, "0123456789..+- \tx\0"s);
    unsigned int n[4];
    const bool valid = std::sscanf(text.c_str(), "%u.%u.%u.%u", &n[0], &n[1], &n[2], &n[3]) == 4 && n[0] < 256 &&
                       n[1] < 256 && n[2] < 256 && n[3] < 256;
    CIpAddress address(1u);
    std::string error = "before";
    ASSERT_EQ(address.CopyFromString(text, &error), valid) << '"' << text << '"';
    ASSERT_EQ(address, valid ? CIpAddress(n[0] << 24 | n[1] << 16 | n[2] << 8 | n[3]) : CIpAddress(1u)) << text;
    ASSERT_EQ(error, valid ? "before" : "invalid ip address \"" + text + "\": should be dotted decimal");
    random.accepted += valid;
}

/// The reading rules written out, without a short way for the usual forms.
inline bool ReadIpv6ByTheRules(const std::string& text, unsigned char (&bytes)[16])
{
    const bool dotted = text.find('.') != std::string::npos;
    const long colons = std::count(text.begin(), text.end(), ':');
    const std::size_t gap = text.find("::");
    if (gap == std::string::npos ? colons > 7 : colons > 8 || text.find("::", gap + 1) != std::string::npos)
        return false;
    std::string full = text;
    if (gap != std::string::npos) {
        const bool atEnd = gap + 2 == text.size();
        full = gap == 0 ? "0:" : text.substr(0, gap + 1);
        for (long i = colons + (dotted ? 1 : 0); i < 8; ++i) full += "0:";
        full += atEnd ? "0" : text.substr(gap + 2);
        while (!dotted && !atEnd && std::count(full.begin(), full.end(), ':') < 7) full += ":0";
    }
    std::string padded;
    for (std::size_t start = 0, end = 0; start <= full.size(); start = end + 1) {
        end = std::min(full.find(':', start), full.size());
        padded += (start > 0 ? ":" : "") + std::string(end < start + 4 ? start + 4 - end : 0, '0');
        padded.append(full, start, end - start);
    }
    unsigned int v[16];
    const char* format = dotted ? "%2x%2x:%2x%2x:%2x%2x:%2x%2x:%2x%2x:%2x%2x:%d.%d.%d.%d"
                                : "%2x%2x:%2x%2x:%2x%2x:%2x%2x:%2x%2x:%2x%2x:%2x%2x:%2x%2x";
    const int read = std::sscanf(padded.c_str(), format, &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7], &v[8],
                                 &v[9], &v[10], &v[11], &v[12], &v[13], &v[14], &v[15]);
    std::transform(v, v + 16, bytes, [](unsigned int value) { return static_cast<unsigned char>(value); });
    return read == 16;
}

inline void CheckIpv6AddressText(Random& random)
{
    unsigned char drawn[16];
    for (unsigned char& byte : drawn) byte = random.Below(3) == 0 ? random.Byte() : 0;
    CIpv6Address source(drawn);
    if (random.Below(4) == 0) source = CIpv6Address(0, 0xffff00000000 | random.Number() >> 32);
    source.SetFormatLast4BytesAsIpv4(random.Below(2) == 0);
    const std::string printed = source.ToString();
    ASSERT_EQ(inet_pton(AF_INET6, printed.c_str(), drawn), 1) << printed;
    ASSERT_EQ(source, CIpv6Address(drawn)) << printed;
    char full[64]; // without "::", so that there are colons enough for one more
    std::snprintf(full, sizeof full, "%x:%x:%x:%x:%x:%x:%u.%u.%u.%u", drawn[0], drawn[1], drawn[2], drawn[3], drawn[4],
                  drawn[5], drawn[12], drawn[13], drawn[14], drawn[15]);
    const std::string text = random.Mutated(drawn[0] % 2 == 0 ? printed : full, "012abcdefABCDEF::::..x +-\0"s);
    CIpv6Address expected(1, 2);
    expected.SetFormatLast4BytesAsIpv4(drawn[15] % 2 == 0);
    CIpv6Address address = expected;
    const bool valid = ReadIpv6ByTheRules(text, drawn);
    if (valid) expected.CopyFrom(drawn), expected.SetFormatLast4BytesAsIpv4(text.find('.') != std::string::npos);
    ASSERT_EQ(address.CopyFromString(text, nullptr), valid) << '"' << text << '"';
    ASSERT_TRUE(address.Equals(expected)) << address << " for \"" << text << '"';
    address.SetFormatLast4BytesAsIpv4(!expected.GetFormatLast4BytesAsIpv4());
    ASSERT_TRUE(!valid || (address.CopyFromString(text, nullptr) && address.Equals(expected))) << "again: " << text;
    random.accepted += valid;
}

/// The scan written out for both types: %x with the separator between them. Gives how many groups it reads, 0 for none,
/// with their number and their separator.
inline int ScanGroups(const std::string& text, int groups, char& separator, unsigned long& number)
{
    const std::size_t first = text.find_first_not_of("0123456789ABCDEFabcdef");
    const char found = first == std::string::npos ? separator : text[first];
    std::string format = "%x";
    for (int i = 1; i < groups; ++i) format += found + "%x"s;
    unsigned int v[8] = {};
    const int count = std::sscanf(text.c_str(), format.c_str(), &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6], &v[7]);
    if (count != groups && !(groups == 6 && count == 3)) return 0;
    const int bits = count == 3 ? 16 : 8;
    unsigned long result = 0;
    for (int i = 0; i < count; ++i) {
        if (static_cast<int>(v[i]) >= 1 << bits) return 0;
        result = result << bits | (v[i] & ((1u << bits) - 1));
    }
    number = result;
    separator = found;
    return count;
}

/// A MAC address or a World Wide Name, of which a text read sets the style, whatever style and number were before.
template <class Address>
void CheckGroupsText(Random& random)
{
    constexpr int size = kSize<Address>;
    Address::SetFormatStyle({static_cast<int>(random.Below(3)), ":-. %"[random.Below(5)]});
    const std::string text = random.Mutated(Address(random.Number()).ToString(), "012abcdefABCDEFx:.- \t+%\0"s);
    const auto [grouping, separator] = Address::GetFormatStyle();
    auto style = Address::GetFormatStyle();
    unsigned long expected = 1;
    const int groups = ScanGroups(text, size, style.mSeparator, expected);
    if (groups != 0) style.mGrouping = groups == 6 ? 1 : 0;
    for (const unsigned long before : {~0ul >> (64 - 8 * size), expected}) {
        Address::SetFormatStyle({grouping, separator});
        Address address(groups == 0 ? expected : before);
        ASSERT_EQ(address.CopyFromString(text, nullptr), groups != 0) << '"' << text << '"';
        ASSERT_EQ(address.ToU64(), expected) << '"' << text << '"';
        ASSERT_EQ(Address::GetFormatStyle().mGrouping, style.mGrouping) << '"' << text << '"';
        ASSERT_EQ(Address::GetFormatStyle().mSeparator, style.mSeparator) << '"' << text << '"';
    }
    random.accepted += groups != 0;
}

/// Whether a text is of pairs of hex digits with one separator of a kind every so many of them, which is what a scan for
/// all characters at their places says.
inline bool AreGroups(const std::string& text, std::size_t digits, std::size_t perGroup, std::string_view separators)
{
    std::string plain = text;
    const char separator = text.size() > perGroup ? text[perGroup] : ' ';
    if (separators.find(separator) == std::string_view::npos || text.size() != digits + digits / perGroup - 1)
        return false;
    for (std::size_t at = perGroup; at < plain.size(); at += perGroup) {
        if (plain[at] != separator) return false;
        plain.erase(at, 1);
    }
    return plain.size() == digits && plain.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

inline bool IsStrict(const std::string& text, const CIpAddress& /*type*/, unsigned char* bytes)
{
    return text.find('\0') == std::string::npos && inet_pton(AF_INET, text.c_str(), bytes) == 1;
}
inline bool IsStrict(const std::string& text, const CIpv6Address& /*type*/, unsigned char* bytes)
{
    return text.find('\0') == std::string::npos && inet_pton(AF_INET6, text.c_str(), bytes) == 1;
}
/// For the others, the lenient reader gives the bytes of what is of the form.
template <class Address>
bool IsStrict(const std::string& text, const Address& /*type*/, unsigned char* bytes)
{
    constexpr bool isMac = kSize<Address> == 6;
    if (!AreGroups(text, 2 * kSize<Address>, 2, ":-") && !(isMac && AreGroups(text, 12, 4, "."))) return false;
    Address address;
    address.CopyFromString(text, nullptr);
    address.CopyTo(bytes);
    return true;
}

template <class Address>
TextResult ReadStrictly(const std::string& text, Address& address)
{
    return FromChars(text.data(), text.data() + text.size(), address);
}

/// A text through the strict reader, beside a judge; true where it is an address.
template <class Address>
bool CheckStrictText(const std::string& text)
{
    SCOPED_TRACE('"' + text + '"');
    unsigned char bytes[16] = {};
    const bool valid = IsStrict(text, Address(), bytes);
    Address address = FromNumber<Address>(~Wide{0});
    const auto [end, fault] = ReadStrictly(text, address);
    const auto at = static_cast<std::size_t>(end - text.data());
    EXPECT_EQ(fault == TextFault::None, valid) << Describe(fault);
    EXPECT_EQ(address, valid ? Address(bytes) : FromNumber<Address>(~Wide{0}));
    EXPECT_EQ(fault == TextFault::Empty, text.empty());
    EXPECT_LE(at, text.size());
    if (valid) {
        EXPECT_EQ(at, text.size());
        char printed[kMaxTextSize<Address>];
        char* const last = ToChars(printed, printed + sizeof printed, address);
        Address again;
        EXPECT_EQ(FromChars(printed, last, again).fault, TextFault::None);
        EXPECT_EQ(again, address) << std::string(printed, last);
        EXPECT_EQ(ToChars(printed, last - 1, address), nullptr);
        Address lenient;
        EXPECT_TRUE(lenient.CopyFromString(text, nullptr) && lenient == address);
    } else if (at < text.size() && (kSize<Address> < 16 || text.find('.') == std::string::npos)) {
        // What stands before the fault may still become an address; with the character at it nothing does.
        const TextFault before = ReadStrictly(text.substr(0, at), address).fault;
        EXPECT_TRUE(before == TextFault::None || before == TextFault::TooFewParts || before == TextFault::Empty);
        const std::string upTo = text.substr(0, at + 1);
        const TextResult there = ReadStrictly(upTo, address);
        EXPECT_EQ(there.fault, fault);
        EXPECT_EQ(there.end, upTo.data() + at);
    } else if (at == text.size() && at > 0) {
        EXPECT_EQ(fault, TextFault::TooFewParts);
    }
    return valid;
}

template <class Address>
void CheckDrawnStrictText(Random& random)
{
    unsigned char bytes[kSize<Address>];
    for (unsigned char& byte : bytes) byte = random.Below(3) == 0 ? random.Byte() : static_cast<unsigned char>(0);
    char text[64];
    Address address(bytes);
    const char* end = nullptr;
    if constexpr (kSize<Address> == 4 || kSize<Address> == 16) {
        if constexpr (kSize<Address> == 16) address.SetFormatLast4BytesAsIpv4(random.Below(3) == 0);
        end = ToChars(text, text + sizeof text, address);
    } else {
        const int grouping = kSize<Address> == 6 ? static_cast<int>(random.Below(2)) : 1;
        end = ToChars(text, text + sizeof text, address, {grouping, grouping == 0 ? '.' : ":-"[random.Below(2)]});
    }
    random.accepted +=
        CheckStrictText<Address>(random.Mutated({text, static_cast<std::size_t>(end - text)}, "0129afF:::..-g %/\0"s));
}

/// A text of one of the types.
inline void CheckStrictTexts(Random& random)
{
    switch (random.Below(4)) {
    case 0: CheckDrawnStrictText<CIpAddress>(random); break;
    case 1: CheckDrawnStrictText<CIpv6Address>(random); break;
    case 2: CheckDrawnStrictText<CMacAddress>(random); break;
    default: CheckDrawnStrictText<CWorldWideName>(random);
    }
}

/// Runs a check on so many texts, of which between a fifth and four fifths must be accepted for it to see both sides.
inline void CheckMany(unsigned int seed, int rounds, void (*check)(Random&))
{
    Random random(seed);
    for (int round = 0; round < rounds; ++round) ASSERT_NO_FATAL_FAILURE(check(random)) << "round " << round;
    EXPECT_GT(random.accepted, rounds / 5);
    EXPECT_LT(random.accepted, rounds / 5 * 4);
}

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_ADDRESS_CHECKS_H
