// Writes UDP frames that count as a capture file, as a sender would send them.

#include "Capture.h"
#include "UdpFrames.h"

int main(int argc, char** argv)
{
    return examples::Run("udp-frames-to-pcap", [&] {
        if (argc != 3) throw examples::UsageError("usage: udp-frames-to-pcap CAPTURE-FILE COUNT");
        const std::uint32_t count = examples::ReadNumber("the count", argv[2]);
        const zor::common::CompiledTemplate packets = UdpFrames();
        examples::CaptureWriter capture(argv[1]);
        std::string packet;
        for (std::uint64_t index = 0; index < count; ++index) {
            packets.GetValueAt(index, packet);
            capture.Write(index, packet); // one a microsecond
        }
        capture.Close();
        std::cout << count << " packets written to " << argv[1] << '\n';
    });
}
