#include <common/Ipv6Address.h>
#include <common/Wildcards.h>
#include <iostream>

int main()
{
    zor::common::Wildcards hosts("host-@x(1,3,1,2) @$(0A0000FE,0,00000001,ipv4)", "@");
    std::string value;
    for (hosts.GetValue(value); value != "host-02 10.0.1.2"; hosts.GetNextValue(value)) std::cout << value << '\n';

    zor::common::CIpv6Address subnet;
    subnet.CopyFromString("2001:db8::1", nullptr);
    std::cout << subnet.GetNextIp(64, 1, 5).GetNetwork(64) << '\n';
}
