// Prints header fields of the first packets of a capture file: bit fields cut out of the packet, and addresses
// filled byte by byte through the typed views.

#include "CommandLine.h"

#include <common/FieldExtractor.h>
#include <common/FieldTypeHelper.h>

#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

using namespace zor::common;

namespace {

using Bytes = std::vector<unsigned char>;

/// The classic capture format: a file header of 24 bytes, then a header of 16 bytes before each packet.
constexpr std::size_t kFileHeader = 24;
constexpr std::size_t kPacketHeader = 16;
constexpr unsigned int kMicroseconds = 0xa1b2c3d4;
constexpr unsigned int kNanoseconds = 0xa1b23c4d;
constexpr unsigned int kEthernet = 1;
constexpr unsigned int kLongestPacket = 262144; ///< What capture tools write at most.

/// Reads up to \a size bytes.
Bytes Read(std::istream& in, std::size_t size)
{
    Bytes bytes(size);
    in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size));
    bytes.resize(static_cast<std::size_t>(in.gcount()));
    return bytes;
}

/// Four bytes of a header as a number; the file has the least significant byte first.
unsigned int LittleEndian(const Bytes& header, std::size_t at)
{
    unsigned int number = 0;
    CFieldTypeHelper<unsigned int> view(number);
    for (int i = 0; i < view.GetSize(); ++i) view[view.GetSize() - 1 - i] = header.at(at + static_cast<std::size_t>(i));
    return number;
}

/// The bits of a field of up to 32 bits as a number; nothing where the packet ends before them.
std::optional<unsigned int> Number(Bytes& packet, unsigned int offset, unsigned int length)
{
    Bytes field;
    if (!FieldExtractor(offset, length).ExtractField(packet, field, false)) return std::nullopt;
    unsigned int number = 0;
    CFieldTypeHelper<unsigned int> view(number);
    for (std::size_t i = 0; i < field.size(); ++i) view[static_cast<int>(i)] = field[i];
    return number >> (32 - length); // fields come left-aligned
}

/// The address that starts at a bit, as text.
template <class Address>
std::string Text(Bytes& packet, unsigned int offset)
{
    Address address;
    CFieldTypeHelper<Address> view(address);
    Bytes field;
    if (!FieldExtractor(offset, 8u * static_cast<unsigned int>(view.GetSize())).ExtractField(packet, field, false)) {
        return "(cut off)";
    }
    for (int i = 0; i < view.GetSize(); ++i) view[i] = field[static_cast<std::size_t>(i)];
    return address.ToString();
}

void Print(const char* name, std::optional<unsigned int> number, const char* format = "%u")
{
    std::printf("  %-16s", name);
    std::printf(number ? format : "(cut off)", number.value_or(0));
    std::puts("");
}

void Print(const char* name, const std::string& text)
{
    std::printf("  %-16s%s\n", name, text.c_str());
}

void PrintPacket(Bytes& packet)
{
    Print("destination", Text<CMacAddress>(packet, 0));
    Print("source", Text<CMacAddress>(packet, 48));
    std::optional<unsigned int> type = Number(packet, 96, 16);
    unsigned int payload = 112; // bits count from the start of the packet
    if (type == 0x8100u) {
        Print("vlan priority", Number(packet, payload, 3));
        Print("vlan id", Number(packet, payload + 4, 12));
        type = Number(packet, payload + 16, 16);
        payload += 32;
    }
    Print("type", type, "0x%04x");
    if (type == 0x0806u) {
        Print("arp operation", Number(packet, payload + 48, 16));
        Print("sender mac", Text<CMacAddress>(packet, payload + 64));
        Print("sender ip", Text<CIpAddress>(packet, payload + 112));
        Print("target mac", Text<CMacAddress>(packet, payload + 144));
        Print("target ip", Text<CIpAddress>(packet, payload + 192));
    } else if (type == 0x0800u) {
        Print("ttl", Number(packet, payload + 64, 8));
        Print("protocol", Number(packet, payload + 72, 8));
        Print("source ip", Text<CIpAddress>(packet, payload + 96));
        Print("destination ip", Text<CIpAddress>(packet, payload + 128));
    } else if (type == 0x86ddu) {
        Print("flow label", Number(packet, payload + 12, 20), "0x%05x");
        Print("hop limit", Number(packet, payload + 56, 8));
        Print("source ip", Text<CIpv6Address>(packet, payload + 64));
        Print("destination ip", Text<CIpv6Address>(packet, payload + 192));
    }
}

void Inspect(const std::string& path, std::uint32_t count)
{
    const auto fail = [&path](const std::string& what) { throw examples::InputError(path + " " + what); };
    std::ifstream file(path, std::ios::binary);
    if (!file) fail("cannot be opened");
    const Bytes header = Read(file, kFileHeader);
    if (file.bad()) fail("cannot be read");
    if (header.size() < kFileHeader) fail("is too short for a capture file");
    const unsigned int magic = LittleEndian(header, 0);
    if (magic != kMicroseconds && magic != kNanoseconds) fail("is not a little-endian pcap file");
    if ((LittleEndian(header, 20) & 0xffff) != kEthernet) fail("does not hold Ethernet packets");

    for (std::uint32_t number = 1; number <= count; ++number) {
        const Bytes packetHeader = Read(file, kPacketHeader);
        if (packetHeader.empty() && file.eof()) return;
        const std::string name = "packet " + std::to_string(number);
        if (packetHeader.size() < kPacketHeader) fail("ends inside the header of " + name);
        const unsigned int captured = LittleEndian(packetHeader, 8);
        if (captured > kLongestPacket) fail("has a wrong length for " + name);
        Bytes packet = Read(file, captured);
        if (packet.size() < captured) fail("ends inside " + name);
        std::printf("%s, %u bytes\n", name.c_str(), captured);
        PrintPacket(packet);
    }
}

void InspectPacket(int argc, char** argv)
{
    if (argc >= 2 && argv[1] == std::string("--help")) {
        std::puts("usage: inspect-packet CAPTURE [COUNT]\n\nPrints header fields of the first COUNT packets (3 if not "
                  "given).");
        return;
    }
    if (argc < 2 || argc > 3) throw examples::UsageError("a capture file and perhaps a count are expected");
    CMacAddress::SetFormatStyle({1, ':'});
    Inspect(argv[1], argc == 3 ? examples::ReadNumber("the count", argv[2]) : 3);
}

} // namespace

int main(int argc, char** argv)
{
    return examples::Run("inspect-packet", [&] { InspectPacket(argc, argv); });
}
