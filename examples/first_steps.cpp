#include <common/FrameBuilder.h>
#include <iostream>
using namespace zor::common;

int main()
{
    FrameBuilder frame;
    frame.Ethernet(CMacAddress(0x020000000001), CMacAddress(0x0200000000fe)); // source, destination
    frame.Vlan(Counting<std::uint16_t>(100, 4));                              // first value, count: 100 to 103
    frame.Ipv4(Counting(CIpAddress(10, 0, 0, 1), 250), CIpAddress(192, 168, 0, 1));
    frame.Udp(Counting<std::uint16_t>(1024, 60000), 53);
    frame.Number(Counting<std::uint32_t>(0, 0)).PadTo(60); // a sequence number; count 0 has no end
    frame.Cross({"udp.sport", "ipv4.src", "vlan.id"});     // every combination, the ports first
    const CompiledTemplate packets = frame.Compile();

    std::string packet;
    packets.GetValueAt(12345678, packet); // any packet by its number ...
    std::cout << packet.size() << " bytes, one of " << frame.GetFlowCount() << " flows\n";
    std::cout << "packet " << *packets.FindIndex(packet) << '\n'; // ... and the number of any packet
}
