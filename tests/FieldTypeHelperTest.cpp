#include "support/Rows.h"

#include <common/FieldTypeHelper.h>
#include <common/GenericFieldModifierImpl.h>

#include <gtest/gtest.h>

#include <vector>

using namespace zor::common;

namespace {

template <class View>
std::string RangeError(View& view, int index)
{
    try {
        view[index];
    } catch (const std::out_of_range& error) {
        return error.what();
    }
    return "none";
}

template <class T>
void ExpectIntegerView(T value, const std::vector<unsigned char>& bytes, const std::string& ending)
{
    SCOPED_TRACE(ending);
    const int size = static_cast<int>(bytes.size());
    const CConstFieldTypeHelper<T> view(value);
    T copy = 0;
    CFieldTypeHelper<T> writable(&copy);
    EXPECT_EQ(view.GetSize(), size);
    EXPECT_EQ(writable.GetSize(), size);
    for (int i = 0; i < size; ++i) EXPECT_EQ(writable[i] = view[i], bytes[static_cast<std::size_t>(i)]) << i;
    EXPECT_EQ(copy, value);
    for (const int index : {-2147483647 - 1, -1, size, 255, 2147483647}) {
        EXPECT_EQ(RangeError(view, index), "index " + std::to_string(index) + ending);
        EXPECT_EQ(RangeError(writable, index), "index " + std::to_string(index) + ending);
    }
}

TEST(FieldTypeHelper, ShowsIntegersInNetworkOrder)
{
    ExpectIntegerView<unsigned char>(0xfe, {0xfe}, " is not expected value of 0 for uint8 type");
    ExpectIntegerView<signed char>(-2, {0xfe}, " is not expected value of 0 for int8 type");
    ExpectIntegerView<unsigned short>(0x1234, {0x12, 0x34}, " is not in range 0-1 for uint16_t type");
    ExpectIntegerView<short>(-2, {0xff, 0xfe}, " is not in range 0-1 for int16_t type");
    ExpectIntegerView<unsigned int>(0x89abcdef, {0x89, 0xab, 0xcd, 0xef}, " is not in range 0-3 for uint32_t type");
    ExpectIntegerView<int>(-2, {0xff, 0xff, 0xff, 0xfe}, " is not in range 0-3 for int32_t type");
    ExpectIntegerView<unsigned long>(0x0123456789abcdef, {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef},
                                     " is not in range 0-7 for uint64_t type");
    ExpectIntegerView<long>(-0x0123456789abcdf0, {0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54, 0x32, 0x10},
                            " is not in range 0-7 for int64_t type");
}

template <class T>
void ExpectAddressView(T address, int size)
{
    const CConstFieldTypeHelper<T> view(&address);
    CFieldTypeHelper<T> writable(address);
    EXPECT_EQ(view.GetSize(), size);
    EXPECT_EQ(writable.GetSize(), size);
    writable[0] = 0xa1;
    writable[size + 5] = 0xb2;
    EXPECT_EQ(view[-3], 0xa1);
    EXPECT_EQ(view[1], 0);
    EXPECT_EQ(address[size - 1], 0xb2);
}

TEST(FieldTypeHelper, PassesTheIndexOnToAddresses)
{
    ExpectAddressView(CIpAddress(), 4);
    ExpectAddressView(CMacAddress(), 6);
    ExpectAddressView(CWorldWideName(), 8);
    ExpectAddressView(CIpv6Address(), 16);
}

CIpv6Address Address(const std::string& text)
{
    CIpv6Address address;
    EXPECT_TRUE(address.CopyFromString(text, nullptr)) << text;
    return address;
}

TEST(FindFirstPositionOf, FollowsTheSteps)
{
    for (const auto& row : test::Rows("positions.txt")) {
        const CGenericFieldModifierImpl<CIpv6Address, CIpv6Address> modifier(
            Address(row[0]), Address(row[1]), Address(row[2]), static_cast<unsigned int>(std::stoul(row[3])));
        EXPECT_EQ(modifier.FindFirstPositionOf(Address(row[4])), std::stoul(row[5])) << row[4];
    }
}

} // namespace
