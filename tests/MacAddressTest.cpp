#include "support/AddressChecks.h"
#include "support/Rows.h"

#include <common/Ipv6Address.h>
#include <common/MacAddress.h>
#include <common/WorldWideName.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <locale>
#include <sstream>

using namespace zor::common;
using namespace zor::common::test;
using namespace std::string_literals;

namespace {

/// How addresses print before anything has run in this process.
const std::string kInitialMac = CMacAddress(0x001122334455).ToString();
const std::string kInitialName = CWorldWideName(1).ToString();

/// Both types print by a setting of the process; every test starts with the initial one.
class MacAddressText : public testing::Test {
protected:
    void SetUp() override
    {
        CMacAddress::SetFormatStyle({0, '.'});
        CWorldWideName::SetFormatStyle({0, ':'});
    }
};

using WorldWideNameText = MacAddressText;

/// Reads each text of a file from several styles. Those that are rejected leave the style and the number.
template <class Address>
void CheckRows(const char* file, const std::string& opening, const std::string& closing)
{
    using Style = typename Address::FormatStyle;
    for (const auto& row : Rows(file)) {
        for (const Style& before : {Style{0, '.'}, {1, '.'}, {0, ':'}, {1, '-'}, {5, 'a'}, {1, ' '}}) {
            SCOPED_TRACE(row[0] + " read in the style " + before.mSeparator);
            Address::SetFormatStyle(before);
            Address address(7);
            std::string error = "before";
            const bool read = address.CopyFromString(row[0], &error);
            const Style style = Address::GetFormatStyle();
            EXPECT_EQ(read, row[1] != "rejected");
            EXPECT_EQ(error, read ? "before" : std::string(opening).append(row[0]).append(closing));
            EXPECT_EQ(address.ToU64(), read ? std::stoul(row[1], nullptr, 16) : 7);
            EXPECT_EQ(style.mGrouping, read ? row[2] == "six" : before.mGrouping);
            EXPECT_EQ(read ? address.ToString() : std::string{style.mSeparator},
                      read ? row[3] : std::string{before.mSeparator});
        }
    }
}

TEST_F(MacAddressText, AcceptsAndTakesTheStyleOrKeepsBoth)
{
    CheckRows<CMacAddress>("mac-text.txt", "invalid mac address \"", "\": should be 6 hex bytes");
    CheckMany(4, 50000, CheckGroupsText<CMacAddress>);
}

TEST_F(WorldWideNameText, AcceptsAndTakesTheStyleOrKeepsBoth)
{
    CheckRows<CWorldWideName>("wwn-text.txt", "invalid World Wide Number \"", "\": should be 8 hex bytes");
    CheckMany(5, 50000, CheckGroupsText<CWorldWideName>);
}

TEST_F(MacAddressText, StyleIsSharedByAllAddresses)
{
    CMacAddress other(0x001122334455);
    EXPECT_EQ(kInitialMac, "0011.2233.4455");
    EXPECT_EQ(kInitialName, "00:00:00:00:00:00:00:01");
    std::istringstream in("aa-bb-cc-dd-ee-ff 1.2.3.4.5.6.7.8");
    in.imbue(std::locale::classic());
    CMacAddress address;
    CWorldWideName name;
    in >> address >> name;
    EXPECT_EQ(other.ToString(), "00-11-22-33-44-55");
    CMacAddress::SetFormatStyle({2, '\0'});
    EXPECT_EQ(other.ToString(), "0011\0002233\0004455"s) << "any grouping but 1 is three groups";
    EXPECT_EQ(CWorldWideName(7).ToString(), "00.00.00.00.00.00.00.07") << "each type has a style of its own";
    CWorldWideName::SetFormatStyle({1, '#'});
    EXPECT_EQ(CWorldWideName(7).ToString(), "00#00#00#00#00#00#00#07") << "in any grouping";
}

TEST(MacAddressBits, ShiftsAndPrefixesAtEveryCount)
{
    std::vector<int> counts = {-2147483647 - 1, 1000, 2147483647};
    for (int count = -2; count < 256; ++count) counts.push_back(count);
    for (const int count : counts) {
        for (const unsigned long number : {0x8123456789a1ul, 0xfffffffffffful, 0ul}) {
            SCOPED_TRACE(count);
            const int bits = std::clamp(count, 0, 48);
            const auto length = static_cast<unsigned char>(std::clamp(count, 0, 255));
            const CMacAddress address(number);
            EXPECT_EQ(After(address, [=](auto& a) { a.ShiftLeft(count); }).ToU64(), number << bits & 0xffffffffffff);
            EXPECT_EQ(After(address, [=](auto& a) { a.ShiftRight(count); }).ToU64(), number >> bits);
            EXPECT_EQ(address.GetNetwork(length).ToU64(), number >> (48 - bits) << (48 - bits));
        }
    }
}

TEST(MacAddressWellKnown, BroadcastAndMulticast)
{
    CMacAddress address(0x0a0b0c0d0e0f);
    address.SetBroadcastAddr();
    EXPECT_EQ(address.ToU64(), 0xfffffffffffful);
    address.SetMulticastAddr(CIpAddress(239, 129, 2, 3));
    EXPECT_EQ(address.ToU64(), 0x01005e010203ul);
    address.SetMulticastAddr(CIpv6Address(0xff02000000000000, 0x00000001ff001234));
    EXPECT_EQ(address.ToU64(), 0x3333ff001234ul);
    EXPECT_TRUE(address.IsGroupBitSet() && !CMacAddress(0x00ff22334455).IsGroupBitSet());
}

} // namespace
