#include "support/AddressChecks.h"
#include "support/Rows.h"

#include <common/Ipv6Address.h>
#include <common/MacAddress.h>
#include <common/WorldWideName.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>

using namespace zor::common;
using namespace std::string_literals;
using test::Rows;

namespace {

/// How addresses print before anything has run in this process.
const std::string kInitialMac = CMacAddress(0x001122334455).ToString();
const std::string kInitialName = CWorldWideName(1).ToString();

/// Both types print by a setting of the process; every test starts with the initial one and leaves it.
class MacAddressText : public testing::Test {
protected:
    void SetUp() override { Reset(); }
    void TearDown() override { Reset(); }

private:
    static void Reset()
    {
        CMacAddress::SetFormatStyle({0, '.'});
        CWorldWideName::SetFormatStyle({0, ':'});
    }
};

using WorldWideNameText = MacAddressText;

TEST_F(MacAddressText, AcceptsAndTakesTheStyleOrKeepsValueAndStyle)
{
    for (const auto& row : Rows("mac-text.txt")) {
        SCOPED_TRACE(row[0]);
        SetUp();
        if (row.size() == 4) CMacAddress::SetFormatStyle({row[2] == "six" ? 0 : 1, '.'});
        CMacAddress address(0x0a0b0c0d0e0f);
        std::string error;
        EXPECT_EQ(address.CopyFromString(row[0], &error), row[1] != "rejected");
        if (row[1] == "rejected") {
            EXPECT_EQ(error, "invalid mac address \"" + row[0] + "\": should be 6 hex bytes");
            EXPECT_EQ(address.ToString(), "0a0b.0c0d.0e0f");
        } else {
            EXPECT_EQ(address.ToU64(), std::stoul(row[1], nullptr, 16));
            EXPECT_EQ(CMacAddress::GetFormatStyle().mGrouping, row[2] == "six" ? 1 : 0);
            EXPECT_EQ(address.ToString(), row[3]);
        }
    }
}

TEST_F(MacAddressText, HexDigitsAloneAreScannedWithThePresentSeparator)
{
    CMacAddress::SetFormatStyle({1, 'a'});
    CMacAddress address;
    EXPECT_FALSE(address.CopyFromString("00a11a22a33a44a55", nullptr)) << "the scan takes the a for a digit";
    CMacAddress::SetFormatStyle({1, ' '});
    EXPECT_FALSE(address.CopyFromString("001122334455", nullptr));
    EXPECT_EQ(CMacAddress::GetFormatStyle().mSeparator, ' ');
}

TEST_F(MacAddressText, StyleIsSharedByAllAddresses)
{
    CMacAddress other(0x001122334455);
    EXPECT_EQ(kInitialMac, "0011.2233.4455");
    EXPECT_EQ(kInitialName, "00:00:00:00:00:00:00:01");
    std::istringstream in("aa-bb-cc-dd-ee-ff");
    CMacAddress address;
    in >> address;
    EXPECT_EQ(other.ToString(), "00-11-22-33-44-55");
    ASSERT_TRUE(address.CopyFromString("0011.2233.4455", nullptr));
    EXPECT_EQ(other.ToString(), "0011.2233.4455");
    CMacAddress::SetFormatStyle({2, '\0'});
    EXPECT_EQ(other.ToString(), "0011\0002233\0004455"s) << "any grouping but 1 is three groups";
    EXPECT_EQ(CWorldWideName().ToString(), "00:00:00:00:00:00:00:00") << "each type has a style of its own";
}

TEST_F(MacAddressText, AgreesWithTheScanOnMutatedTexts)
{
    test::CheckMany(4, 50000, test::CheckMacAddressText);
}

TEST(MacAddressNumber, DropsTheTopSixteenBits)
{
    const CMacAddress address(0xabcd001122334455);
    EXPECT_EQ(address.ToU64(), 0x001122334455ul);
    EXPECT_EQ(address, CMacAddress(0x00, 0x11, 0x22, 0x33, 0x44, 0x55));
}

TEST(MacAddressBits, ShiftsAndPrefixesAtEveryCount)
{
    const unsigned long number = 0x8123456789a1;
    for (int count = -2; count <= 255; ++count) {
        SCOPED_TRACE(count);
        CMacAddress left(number);
        CMacAddress right(number);
        left.ShiftLeft(count);
        right.ShiftRight(count);
        const bool inside = count < 48;
        EXPECT_EQ(left.ToU64(), count < 0 ? number : inside ? number << count & 0xffffffffffff : 0);
        EXPECT_EQ(right.ToU64(), count < 0 ? number : inside ? number >> count : 0);
        if (count < 0) continue;
        const CMacAddress network = CMacAddress(number).GetNetwork(static_cast<unsigned char>(count));
        EXPECT_EQ(network.ToU64(), inside ? number >> (48 - count) << (48 - count) : number);
    }
    CMacAddress address(number);
    address.ShiftLeft(2147483647);
    EXPECT_EQ(address.ToU64(), 0u);
}

TEST(MacAddressWellKnown, BroadcastAndMulticast)
{
    CMacAddress address;
    address.SetBroadcastAddr();
    EXPECT_EQ(address.ToU64(), 0xfffffffffffful);
    EXPECT_TRUE(address.IsGroupBitSet());
    address.SetMulticastAddr(CIpAddress(239, 129, 2, 3));
    EXPECT_EQ(address.ToU64(), 0x01005e010203ul);
    EXPECT_TRUE(address.IsGroupBitSet());
    address.SetMulticastAddr(CIpv6Address(0xff02000000000000, 0x00000001ff001234));
    EXPECT_EQ(address.ToU64(), 0x3333ff001234ul);
    EXPECT_FALSE(CMacAddress(0x00ff22334455).IsGroupBitSet());
}

TEST_F(WorldWideNameText, AcceptsEightBytesAndTakesTheirSeparatorOrKeepsAll)
{
    for (const auto& row : Rows("wwn-text.txt")) {
        SCOPED_TRACE(row[0]);
        CWorldWideName::SetFormatStyle({5, '#'});
        CWorldWideName name(7);
        std::string error;
        EXPECT_EQ(name.CopyFromString(row[0], &error), row[1] != "rejected");
        EXPECT_EQ(CWorldWideName::GetFormatStyle().mGrouping, row[1] == "rejected" ? 5 : 0);
        EXPECT_EQ(name.ToString(), row[1] == "rejected" ? "00#00#00#00#00#00#00#07" : row[2]);
        if (row[1] == "rejected") {
            EXPECT_EQ(error, "invalid World Wide Number \"" + row[0] + "\": should be 8 hex bytes");
        } else {
            EXPECT_EQ(name.ToU64(), std::stoul(row[1], nullptr, 16));
        }
    }
}

TEST_F(WorldWideNameText, AgreesWithTheScanOnMutatedTexts)
{
    test::CheckMany(5, 50000, test::CheckWorldWideNameText);
}

} // namespace
