#include <common/FrameBuilder.h>
#include <common/SequenceAudit.h>
#include <iostream>
#include <thread>
#include <vector>
using namespace zor::common;

int main()
{
    FrameBuilder frame;
    frame.Ethernet(CMacAddress(0x020000000001), CMacAddress(0x0200000000fe));
    frame.Ipv4(Counting(CIpAddress(10, 0, 0, 1), 250), CIpAddress(192, 168, 0, 1)).Udp(1024, 53);
    frame.Number(Counting<std::uint32_t>(0, 0)).PadTo(60);
    const CompiledTemplate packets = frame.Compile();

    constexpr std::size_t kCount = 1000000, kSize = 60;
    std::vector<unsigned char> sent(kCount * kSize);
    std::vector<std::thread> threads;
    for (unsigned int k = 0; k < 4; ++k) {
        threads.emplace_back([&, k] {
            const IndexRange part = Block({0, kCount}, k, 4); // a quarter of the numbers
            packets.RenderFrames(part, {&sent[part.first * kSize], kSize});
        });
    }
    for (std::thread& thread : threads) thread.join();

    SequenceAudit audit(packets, {0, kCount}); // what the receiver expects
    for (std::size_t i = 0; i < kCount; ++i) {
        if (i != 777777) audit.Add(&sent[i * kSize], kSize); // one packet is lost on the way
    }
    for (const IndexRange& missing : audit.GetMissing(10)) {
        std::cout << missing.count << " missing from packet " << missing.first << " on\n";
    }
}
