#include "CaptureReader.h"
#include "Commands.h"
#include "Errors.h"
#include "Json.h"
#include "Quantities.h"

#include <common/AddressText.h>
#include <common/FieldExtractor.h>
#include <common/FieldTypeHelper.h>

#include <optional>
#include <utility>

namespace zor::tools {

using namespace common;

namespace {

using Bytes = std::vector<unsigned char>;
using Fields = std::vector<std::pair<const char*, std::string>>; // names and texts

constexpr const char* kCutOff = "(cut off)";

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

std::string Decimal(std::optional<unsigned int> number)
{
    return number ? std::to_string(*number) : kCutOff;
}

std::string Hex(std::optional<unsigned int> number, unsigned int digits)
{
    if (!number) return kCutOff;
    std::string text = "0x";
    for (unsigned int i = digits; i-- > 0;) text += "0123456789abcdef"[*number >> 4 * i & 15];
    return text;
}

/// The address that starts at a bit, as text.
template <class Address>
std::string Text(Bytes& packet, unsigned int offset)
{
    Address address;
    CFieldTypeHelper<Address> view(address);
    Bytes field;
    if (!FieldExtractor(offset, 8u * static_cast<unsigned int>(view.GetSize())).ExtractField(packet, field, false)) {
        return kCutOff;
    }
    for (int i = 0; i < view.GetSize(); ++i) view[i] = field[static_cast<std::size_t>(i)];
    char text[kMaxTextSize<Address>];
    return {text, ToChars(text, text + sizeof text, address)};
}

Fields ReadFields(Bytes& packet)
{
    Fields fields = {{"destination", Text<CMacAddress>(packet, 0)}, {"source", Text<CMacAddress>(packet, 48)}};
    std::optional<unsigned int> type = Number(packet, 96, 16);
    unsigned int payload = 112; // bits count from the start of the packet
    while (type && (*type == 0x8100u || *type == 0x88a8u)) {
        fields.emplace_back("vlan priority", Decimal(Number(packet, payload, 3)));
        fields.emplace_back("vlan id", Decimal(Number(packet, payload + 4, 12)));
        type = Number(packet, payload + 16, 16);
        payload += 32;
    }
    fields.emplace_back("type", Hex(type, 4));
    if (type == 0x0806u) {
        fields.emplace_back("arp operation", Decimal(Number(packet, payload + 48, 16)));
        fields.emplace_back("sender mac", Text<CMacAddress>(packet, payload + 64));
        fields.emplace_back("sender ip", Text<CIpAddress>(packet, payload + 112));
        fields.emplace_back("target mac", Text<CMacAddress>(packet, payload + 144));
        fields.emplace_back("target ip", Text<CIpAddress>(packet, payload + 192));
    } else if (type == 0x0800u) {
        fields.emplace_back("ttl", Decimal(Number(packet, payload + 64, 8)));
        fields.emplace_back("protocol", Decimal(Number(packet, payload + 72, 8)));
        fields.emplace_back("source ip", Text<CIpAddress>(packet, payload + 96));
        fields.emplace_back("destination ip", Text<CIpAddress>(packet, payload + 128));
    } else if (type == 0x86ddu) {
        fields.emplace_back("flow label", Hex(Number(packet, payload + 12, 20), 5));
        fields.emplace_back("hop limit", Decimal(Number(packet, payload + 56, 8)));
        fields.emplace_back("source ip", Text<CIpv6Address>(packet, payload + 64));
        fields.emplace_back("destination ip", Text<CIpv6Address>(packet, payload + 192));
    }
    return fields;
}

} // namespace

int Inspect(Options& options)
{
    if (options.files.size() != 1) throw InputError("one capture is expected");
    const std::uint64_t count = ReadNumber("--count", options.settings.Find("count").value_or("3"));
    CaptureReader capture(options.files.front(), false);
    Json json;
    json.Open('[');
    std::string_view packet;
    while (capture.GetNumber() < count && capture.Next(packet)) {
        Bytes bytes(packet.begin(), packet.end());
        const Fields fields = ReadFields(bytes);
        if (options.isJson) {
            json.Open('{')
                .Add("packet", capture.GetNumber())
                .Add("size", std::uint64_t{bytes.size()})
                .Open('[', "fields");
            for (const auto& [name, text] : fields) json.Open('{').Add("name", name).Add("value", text).Close('}');
            json.Close(']').Close('}');
            continue;
        }
        std::string lines =
            "packet " + std::to_string(capture.GetNumber()) + ", " + std::to_string(bytes.size()) + " bytes\n";
        for (const auto& [name, text] : fields) {
            std::string shown = name;
            shown.resize(16, ' ');
            lines += "  ";
            lines += shown;
            lines += text;
            lines += '\n';
        }
        Print(lines);
    }
    if (options.isJson) Print(json.Close(']').GetText() + "\n");
    return 0;
}

} // namespace zor::tools
