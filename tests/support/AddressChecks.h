#ifndef ZOR_COMMON_TESTS_ADDRESS_CHECKS_H
#define ZOR_COMMON_TESTS_ADDRESS_CHECKS_H

/// \file
/// The address texts and the division, checked against the plain rules on what a test or a fuzzer draws.

#include "Random.h"

#include <common/Ipv6Address.h>
#include <common/MacAddress.h>
#include <common/WorldWideName.h>

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>

namespace zor::common::test {

inline void CheckIpAddressText(Random& random)
{
    using namespace std::string_literals;
    const CIpAddress drawn(static_cast<unsigned int>(random.Number()) >> random.Below(32));
    const std::string text = random.Mutated(drawn.ToString(), "0123456789..+- \tx\0"s);
    unsigned int n[4];
    const bool valid = std::sscanf(text.c_str(), "%u.%u.%u.%u", &n[0], &n[1], &n[2], &n[3]) == 4 && n[0] < 256 &&
                       n[1] < 256 && n[2] < 256 && n[3] < 256;
    CIpAddress address(1u);
    std::string error;
    ASSERT_EQ(address.CopyFromString(text, &error), valid) << '"' << text << '"';
    ASSERT_EQ(address, valid ? CIpAddress(n[0] << 24 | n[1] << 16 | n[2] << 8 | n[3]) : CIpAddress(1u)) << text;
    ASSERT_EQ(error, valid ? "" : "invalid ip address \"" + text + "\": should be dotted decimal");
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
    using namespace std::string_literals;
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

    const std::string text = random.Mutated(printed, "012abcdefABCDEF::::..x +-\0"s);
    unsigned char bytes[16];
    address = CIpv6Address(1, 2);
    const bool valid = ReadIpv6ByTheRules(text, bytes);
    ASSERT_EQ(address.CopyFromString(text, nullptr), valid) << '"' << text << '"';
    ASSERT_EQ(address, valid ? CIpv6Address(bytes) : CIpv6Address(1, 2)) << '"' << text << '"';
    random.accepted += valid;
}

/// The scan written out for both types: %x with the separator between them. Gives the number that it reads
/// and how many groups that has, 0 for none.
inline int ScanGroups(const std::string& text, int groups, char separator, unsigned long& number)
{
    using namespace std::string_literals;
    const std::size_t first = text.find_first_not_of("0123456789ABCDEFabcdef");
    std::string format = "%x";
    for (int i = 1; i < groups; ++i) format += (first == std::string::npos ? separator : text[first]) + "%x"s;
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
    return count;
}

inline void CheckMacAddressText(Random& random)
{
    using namespace std::string_literals;
    CMacAddress::SetFormatStyle({static_cast<int>(random.Below(2)), ":-. %"[random.Below(5)]});
    const std::string text = random.Mutated(CMacAddress(random.Number()).ToString(), "012abcdefABCDEFx:.- \t+%\0"s);
    unsigned long expected = 1;
    const int groups = ScanGroups(text, 6, CMacAddress::GetFormatStyle().mSeparator, expected);
    const int grouping = groups == 0 ? CMacAddress::GetFormatStyle().mGrouping : groups == 6 ? 1 : 0;
    CMacAddress address(1);
    random.accepted += address.CopyFromString(text, nullptr);
    ASSERT_EQ(address.ToU64(), expected) << '"' << text << '"';
    ASSERT_EQ(CMacAddress::GetFormatStyle().mGrouping, grouping) << '"' << text << '"';
}

inline void CheckWorldWideNameText(Random& random)
{
    CWorldWideName::SetFormatStyle({0, ":-. "[random.Below(4)]});
    const std::string text = random.Mutated(CWorldWideName(random.Number()).ToString(), "012abcdefABCDEFx:.- +");
    unsigned long expected = 1;
    const bool valid = ScanGroups(text, 8, CWorldWideName::GetFormatStyle().mSeparator, expected) == 8;
    CWorldWideName name(1);
    ASSERT_EQ(name.CopyFromString(text, nullptr), valid) << '"' << text << '"';
    ASSERT_EQ(name.ToU64(), expected) << '"' << text << '"';
    random.accepted += valid;
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
