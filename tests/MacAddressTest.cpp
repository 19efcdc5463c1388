#include "support/Random.h"
#include "support/Rows.h"

#include <common/Ipv6Address.h>
#include <common/MacAddress.h>
#include <common/WorldWideName.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>

using namespace zor::common;
using namespace std::string_literals;
using test::Random;
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

/// The scan written out for both types: %x with the separator between them. Gives the number that it reads
/// and how many groups that has, 0 for none.
int Scan(const std::string& text, int groups, char separator, unsigned long& number)
{
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

TEST_F(MacAddressText, AgreesWithTheScanOnMutatedTexts)
{
    Random random(4);
    int accepted = 0;
    for (int round = 0; round < 50000; ++round) {
        SetUp();
        CMacAddress::SetFormatStyle({static_cast<int>(random.Below(2)), ":-. %"[random.Below(5)]});
        const std::string text = random.Mutated(CMacAddress(random.Number()).ToString(), "012abcdefABCDEFx:.- +%\0"s);
        unsigned long expected = 1;
        const int groups = Scan(text, 6, CMacAddress::GetFormatStyle().mSeparator, expected);
        const int grouping = groups == 0 ? CMacAddress::GetFormatStyle().mGrouping : groups == 6 ? 1 : 0;
        CMacAddress address(1);
        accepted += address.CopyFromString(text, nullptr);
        ASSERT_EQ(address.ToU64(), expected) << '"' << text << '"';
        ASSERT_EQ(CMacAddress::GetFormatStyle().mGrouping, grouping) << '"' << text << '"';
    }
    EXPECT_GT(accepted, 10000);
    EXPECT_LT(accepted, 40000);
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
    Random random(5);
    for (int round = 0; round < 50000; ++round) {
        CWorldWideName::SetFormatStyle({0, ":-. "[random.Below(4)]});
        const std::string text = random.Mutated(CWorldWideName(random.Number()).ToString(), "012abcdefABCDEFx:.- +"s);
        unsigned long expected = 1;
        const bool valid = Scan(text, 8, CWorldWideName::GetFormatStyle().mSeparator, expected) == 8;
        CWorldWideName name(1);
        ASSERT_EQ(name.CopyFromString(text, nullptr), valid) << '"' << text << '"';
        ASSERT_EQ(name.ToU64(), expected) << '"' << text << '"';
    }
}

} // namespace
