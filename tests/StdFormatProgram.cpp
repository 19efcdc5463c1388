/// \file
/// Formats by std::format, which GCC 12 does not have: scripts/check builds it with a compiler that does. FormatTest has
/// the same for {fmt}, with more cases, as one formatter serves both.

#include <common/AddressLiterals.h>
#include <common/Format.h>

#include <format>
#include <iostream>

using namespace zor::common;
using namespace zor::common::literals;

int main()
{
    const auto ip = "10.0.0.1"_ip4;
    const auto mac = "00:1A:2b:3c:4d:5e"_mac;
    int failures = 0;
    const auto expect = [&failures](const std::string& formatted, const char* expected) {
        if (formatted == expected) return;
        std::cerr << '"' << formatted << "\" should be \"" << expected << "\"\n";
        ++failures;
    };
    expect(std::format("{} {} {}", ip, "2001:db8::1"_ip6, mac), "10.0.0.1 2001:db8::1 00:1a:2b:3c:4d:5e");
    expect(std::format("{} {:>6}", "20-00-00-25-b5-00-00-01"_wwn, Hexfield("00ff")), "20:00:00:25:b5:00:00:01   00ff");
    expect(std::format("{:*^12}|{:\u00e4<9}|{}", ip, ip, Prefix<CIpAddress>{ip, 8}),
           "**10.0.0.1**|10.0.0.1\u00e4|10.0.0.1/8");
    expect(std::format("{:>{}}|{:.<{}}", ip, 10, ip, 9u), "  10.0.0.1|10.0.0.1.");
    expect(std::format("{1:>{0}}|{1:}", 9ull, ip), " 10.0.0.1|10.0.0.1");
    expect(std::format("{:c} {:h} {:*^16d}", mac, mac, mac), "00:1a:2b:3c:4d:5e 00-1a-2b-3c-4d-5e *001a.2b3c.4d5e*");

    for (const char* const format :
         {"{:x}", "{:08}", "{:.3}", "{:h}", "{:12", "{:{<12}", "{:>{}}", "{:>{7}}", "{:>{0", "{:99999999999}"}) {
        try {
            expect(std::vformat(format, std::make_format_args(ip)), "a std::format_error");
        } catch (const std::format_error&) { // as it should be
        }
    }
    const int negative = -1;
    try {
        expect(std::vformat("{:{}}", std::make_format_args(ip, negative)), "a std::format_error");
    } catch (const std::format_error&) { // as it should be
    }
    return failures;
}
