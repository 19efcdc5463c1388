// Prints header fields of the first packets of a capture file: bit fields cut out of the packet, and addresses
// filled byte by byte through the typed views.

#include "Capture.h"

#include <common/FieldExtractor.h>
#include <common/FieldTypeHelper.h>

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

using namespace zor::common;

namespace {

using Bytes = std::vector<unsigned char>;

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
    examples::CaptureReader file(path);
    std::string bytes;
    for (std::uint32_t number = 1; number <= count && file.Next(bytes); ++number) {
        std::printf("packet %u, %zu bytes\n", number, bytes.size());
        Bytes packet(bytes.begin(), bytes.end());
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
