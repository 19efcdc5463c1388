// Values for GDB to show, and the lines that it has to show them with.

#include <common/Ipv6Address.h>
#include <common/Wildcards.h>
#include <common/WorldWideName.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

namespace zor::common {
const char* DumpForDebugger(const Wildcards& wildcards) noexcept;
}
using namespace zor::common;

int main()
{
    CIpAddress ips[] = {0u, 0x0a0000ffu, 0xffffffffu};
    CMacAddress macs[] = {0ul, 0x0123456789abul};
    CWorldWideName names[] = {0ul, 0x0123456789abcdeful};
    Hexfield fields[] = {Hexfield(""), Hexfield("0"), Hexfield("0123456789abcdef01"), Hexfield(std::string(400, 'c'))};
    CIpv6Address ipv6s[1024]; // each set of zero groups, with and without a dotted tail where there may be one
    for (unsigned int i = 0; i < 1024; ++i) {
        for (int k = 0; k < 16; ++k)
            ipv6s[i][k] = static_cast<unsigned char>((i >> k / 2 & 1) != 0 ? (k + 0x10) << k % 3 : 0);
        if (i % 64 == 32) ipv6s[i][10] = ipv6s[i][11] = 0xff;
        ipv6s[i].SetFormatLast4BytesAsIpv4(i >= 256);
        if (i >= 512) ipv6s[i].SetHostAddress(i);
    }
    std::string value;
    Wildcards fresh("host-@x", "@");
    Wildcards hosts("@h 41 @x(1,3,1,2)@$(0A0000FE,0,1,ipv4)@$(01,0,1,big)@=(who)@m@$(0102030405060708FF,3)", "@");
    hosts.AddVar("WHO", std::string("m\"\0e", 4));
    for (int i = 0; i < 4; ++i) hosts.GetNextValue(value);

    alignas(Wildcards) char garbage[sizeof(Wildcards)];
    std::fill(std::begin(garbage), std::end(garbage), '\xa5');

    const auto line = [](const auto& values) {
        const char* separator = "{";
        for (const auto& each : values) std::cout << std::exchange(separator, ", ") << each;
        std::cout << "}\n";
    };
    line(ips), line(ipv6s);
    std::cout << "{<width 0>, 00, 0123456789abcdef01, " << fields[3] << "}\n";
    CMacAddress::SetFormatStyle({1, '-'});
    CWorldWideName::SetFormatStyle({0, '.'});
    line(macs), line(names);
    const std::string described[] = {
        R"~(not yet parsed = {template = "host-@x", marker = "@"})~",
        R"~(at index 4 = {template = "A@x(1,3,1,2)@$(0A0000FE,0,1,ipv4)@$(01,0,1,big)@=(who)@m@$(0102030405060708FF,3)", )~"
        R"~(marker = "@", @x(1,3,1,2) = 2, @$(0A0000FE,0,1,ipv4) = 0a000102, @$(01,0,1,big) = 05, )~"
        R"~(@=(who) = "m\"\000e", @m = 000000000004, @$(0102030405060708FF,3) = 010203040506070900})~"};
    for (const std::string& each : described) std::cout << "zor::common::Wildcards " << each << '\n';
    std::cout << "zor::common::Wildcards not yet constructed\n01234567...\n" << std::flush;
    if (described[0] != DumpForDebugger(fresh) || described[1] != DumpForDebugger(hosts)) return 1;
    std::quick_exit(0); // where GDB stops
}
