#include <fmt/format.h>

#include <common/AddressLiterals.h>
#include <common/Format.h>

#include <gtest/gtest.h>

using namespace zor::common;
using namespace zor::common::literals;

namespace {

const auto kIp = "10.0.0.1"_ip4;
const auto kIpv6 = "2001:db8:0:1:1:1:1:1"_ip6;
const auto kMac = "00:1A:2b:3c:4d:5e"_mac;
const auto kName = "20-00-00-25-b5-00-00-01"_wwn;

TEST(Format, PrintsWithFillWidthAndStyle)
{
    CMacAddress::SetFormatStyle({0, '_'});
    CWorldWideName::SetFormatStyle({0, '_'});
    EXPECT_EQ(fmt::format("{} {} {} {} {}", kIp, kIpv6, kMac, kName, Hexfield("00ff")),
              "10.0.0.1 2001:db8:0:1:1:1:1:1 00:1a:2b:3c:4d:5e 20:00:00:25:b5:00:00:01 00ff");
    EXPECT_EQ(fmt::format("[{:12}] [{:<12}] [{:>12}] [{:^12}] [{:^11}] [{:3}]", kIp, kIp, kIp, kIp, kIp, kIp),
              "[10.0.0.1    ] [10.0.0.1    ] [    10.0.0.1] [  10.0.0.1  ] [ 10.0.0.1  ] [10.0.0.1]");
    EXPECT_EQ(fmt::format("{:*>10} {:<<9} {:\u00e4^10} {:}", kIp, kIp, kIp, kIp),
              "**10.0.0.1 10.0.0.1< \u00e410.0.0.1\u00e4 10.0.0.1");
    EXPECT_EQ(fmt::format("{:>{}}|{:.<{}}|", kIp, 10, kIp, 9u), "  10.0.0.1|10.0.0.1.|");
    EXPECT_EQ(fmt::format("{1:>{0}}|{1}", 9, kIp), " 10.0.0.1|10.0.0.1");
    EXPECT_EQ(fmt::format("{:c} {:h} {:d} {:*^16d}", kMac, kMac, kMac, kMac),
              "00:1a:2b:3c:4d:5e 00-1a-2b-3c-4d-5e 001a.2b3c.4d5e *001a.2b3c.4d5e*");
    EXPECT_EQ(
        fmt::format("{:->8} {:>13} {}", Hexfield("00ff"), Prefix<CIpAddress>{kIp, 8}, Prefix<CIpv6Address>{kIpv6, 64}),
        "----00ff    10.0.0.1/8 2001:db8:0:1:1:1:1:1/64");
    EXPECT_EQ(fmt::format("{:>5}", Hexfield(std::string(2000, 'a'))), std::string(2000, 'a'));
    EXPECT_EQ(CMacAddress::GetFormatStyle().mSeparator, '_');
    CMacAddress::SetFormatStyle({});
    CWorldWideName::SetFormatStyle({});
}

TEST(Format, RefusesOtherFormats)
{
    for (const char* format : {"{:x}", "{:08}", "{:.3}", "{:12x}", "{:c}", "{:12", "{:{<12}", "{:>{}}", "{:>{7}}",
                               "{:>{x}}", "{:>{0", "{:99999999999999999999}", "{: }", "{:+}"}) {
        EXPECT_THROW(static_cast<void>(fmt::format(fmt::runtime(format), kIp)), fmt::format_error) << format;
    }
    EXPECT_THROW(static_cast<void>(fmt::format(fmt::runtime("{:ch}"), kMac)), fmt::format_error);
    EXPECT_THROW(static_cast<void>(fmt::format(fmt::runtime("{:{}}"), kIp, -1)), fmt::format_error);
    EXPECT_THROW(static_cast<void>(fmt::format(fmt::runtime("{:{}}"), kIp, "9")), fmt::format_error);
    EXPECT_THROW(static_cast<void>(fmt::format(fmt::runtime("{:{}}"), kIp, ~0ull)), fmt::format_error);
    EXPECT_THROW(static_cast<void>(fmt::format(fmt::runtime("{:{}}"), kIp, true)), fmt::format_error);
}

} // namespace
