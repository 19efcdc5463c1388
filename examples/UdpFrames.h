#ifndef ZOR_COMMON_EXAMPLES_UDP_FRAMES_H
#define ZOR_COMMON_EXAMPLES_UDP_FRAMES_H

#include <common/FrameBuilder.h>

/// What the sender sends and the receiver expects: UDP frames of 250 hosts, each with a number.
inline zor::common::CompiledTemplate UdpFrames()
{
    using namespace zor::common;
    FrameBuilder frame;
    frame
        .Ethernet(CMacAddress(0x020000000001), CMacAddress(0x0200000000fe)) // source, destination
        .Ipv4(Counting(CIpAddress(10, 0, 0, 1), 250), CIpAddress(192, 168, 0, 1))
        .Udp(Counting<std::uint16_t>(1024, 60000), 53)
        .Number(Counting<std::uint32_t>(0, 0)) // without end
        .PadTo(60);
    return frame.Compile();
}

#endif // ZOR_COMMON_EXAMPLES_UDP_FRAMES_H
