// Writes the successive values of a packet template as a capture file.

#include "CommandLine.h"

#include <common/Wildcards.h>

using examples::UsageError;
using zor::common::Wildcards;

namespace {

constexpr const char* kHelp =
    R"(usage: packets-to-pcap TEMPLATE-FILE CAPTURE-FILE [COUNT]

Expands a packet template and writes COUNT Ethernet packets (1000 if not given), a millisecond apart, as a capture
file that tcpdump and its kin read. A template in hexadecimal starts with "@h".
)";

constexpr std::size_t kLongestPacket = 262144; // what the capture file announces, and what its readers accept

void Append32(std::string& out, std::uint32_t number)
{
    for (int shift = 0; shift < 32; shift += 8) out += static_cast<char>(number >> shift);
}

/// The header of a capture file of Ethernet packets, with numbers least significant byte first.
std::string FileHeader()
{
    std::string header;
    Append32(header, 0xa1b2c3d4); // the format, with times in microseconds
    Append32(header, 0x00040002); // its version, 2.4
    Append32(header, 0);          // no offset to UTC
    Append32(header, 0);
    Append32(header, kLongestPacket);
    Append32(header, 1); // Ethernet
    return header;
}

std::string PacketHeader(std::uint32_t milliseconds, std::size_t size)
{
    std::string header;
    Append32(header, milliseconds / 1000);
    Append32(header, milliseconds % 1000 * 1000);
    Append32(header, static_cast<std::uint32_t>(size));
    Append32(header, static_cast<std::uint32_t>(size));
    return header;
}

void PacketsToPcap(int argc, char** argv)
{
    if (argc >= 2 && (argv[1] == std::string_view("--help") || argv[1] == std::string_view("-h"))) {
        std::cout << kHelp;
        return;
    }
    if (argc < 3 || argc > 4) throw UsageError("two files and perhaps a count are expected");
    const std::string text = examples::ReadTemplate(argv[1]);
    Wildcards packets(text, "@");
    examples::ParseTemplate(packets, text, argv[1]);
    const std::uint32_t count = argc == 4 ? examples::ReadNumber("the count", argv[3]) : 1000;

    std::ofstream out(argv[2], std::ios::binary | std::ios::trunc);
    if (!out) throw UsageError(std::string("cannot write \"") + argv[2] + "\"");
    out << FileHeader();
    std::uint32_t written = 0;
    examples::ForEachValue(packets, count, [&](const std::string& packet) {
        if (packet.size() > kLongestPacket) {
            throw UsageError("the capture ends before packet " + std::to_string(written + 1) +
                             ", which is longer than 262144 bytes");
        }
        out << PacketHeader(written++, packet.size()) << packet;
    });
    if (!out.flush()) throw std::runtime_error(std::string("cannot write \"") + argv[2] + "\"");
    std::cout << count << " packets written to " << argv[2] << '\n';
}

} // namespace

int main(int argc, char** argv)
{
    return examples::Run("packets-to-pcap", [&] { PacketsToPcap(argc, argv); });
}
