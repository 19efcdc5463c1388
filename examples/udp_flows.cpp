#include <array>
#include <common/FrameBuilder.h>
#include <cstring>
#include <fstream>
#include <iostream>
using namespace zor::common;

int main()
{
    const FrameBuilder frame =
        FrameBuilder()
            .Ethernet(CMacAddress(0x020000000001), CMacAddress(0x0200000000fe)) // source, destination
            .Vlan(Counting<std::uint16_t>(100, 4))                              // first, count
            .Ipv4(Counting(CIpAddress(10, 0, 0, 1), 250), CIpAddress(192, 168, 0, 1))
            .Udp(Counting<std::uint16_t>(1024, 60000), 53)
            .Number(Counting<std::uint32_t>(0, 0)) // without end
            .PadTo(60)
            .Cross({"udp.sport", "ipv4.src", "vlan.id"}); // the first one fastest
    constexpr std::uint32_t count = 1000000, header[] = {0xa1b2c3d4, 0x00040002, 0, 0, 65535, 1};
    std::string file(count * 76, '\0'); // of each packet a header, with the microsecond, and the frame
    frame.Compile().RenderFrames(IndexRange{0, count}, {reinterpret_cast<unsigned char*>(file.data()) + 16, 76});
    for (std::uint32_t i = 0; i < count; ++i) std::memcpy(&file[i * 76], std::array{0u, i, 60u, 60u}.data(), 16);
    std::ofstream("flows.pcap", std::ios::binary).write(reinterpret_cast<const char*>(header), 24) << file;
    std::cout << count << " frames of " << frame.GetFlowCount() << " flows\n";
}
