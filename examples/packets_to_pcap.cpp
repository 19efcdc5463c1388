// Writes the successive values of a packet template as a capture file.

#include "Capture.h"

#include <common/Wildcards.h>

using examples::UsageError;
using zor::common::Wildcards;

namespace {

constexpr const char* kHelp =
    R"(usage: packets-to-pcap TEMPLATE-FILE CAPTURE-FILE [COUNT]

Expands a packet template and writes COUNT Ethernet packets (1000 if not given), a millisecond apart, as a capture
file that tcpdump and its kin read. A template in hexadecimal starts with "@h".
)";

void PacketsToPcap(int argc, char** argv)
{
    if (argc >= 2 && (argv[1] == std::string_view("--help") || argv[1] == std::string_view("-h"))) {
        std::cout << kHelp;
        return;
    }
    if (argc < 3 || argc > 4) throw UsageError("two files and perhaps a count are expected");
    Wildcards packets(examples::ReadTemplate(argv[1]), "@");
    examples::ParseTemplate(packets);
    const std::uint32_t count = argc == 4 ? examples::ReadNumber("the count", argv[3]) : 1000;

    examples::CaptureWriter out(argv[2]);
    std::uint64_t written = 0;
    examples::ForEachValue(packets, count, [&](const std::string& packet) {
        if (packet.size() > examples::kLongestPacket) {
            throw UsageError("the capture ends before packet " + std::to_string(written + 1) +
                             ", which is longer than 262144 bytes");
        }
        out.Write(1000 * written++, packet);
    });
    out.Close();
    std::cout << count << " packets written to " << argv[2] << '\n';
}

} // namespace

int main(int argc, char** argv)
{
    return examples::Run("packets-to-pcap", [&] { PacketsToPcap(argc, argv); });
}
