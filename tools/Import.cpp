#include "CaptureReader.h"
#include "Commands.h"
#include "Errors.h"
#include "Output.h"
#include "Packets.h"
#include "Quantities.h"

namespace zor::tools {

int Import(Options& options)
{
    if (options.files.size() != 1) throw InputError("one capture is expected");
    const std::uint64_t number = ReadNumber("--packet", options.packet.value_or("1"));
    if (number == 0) throw InputError("--packet counts from 1");
    CaptureReader capture(options.files.front(), false);
    std::string_view packet;
    while (capture.GetNumber() < number) {
        if (capture.Next(packet)) continue;
        throw InputError(options.files.front() + " has only " + std::to_string(capture.GetNumber()) + " packets");
    }
    std::string digits;
    for (const char c : packet) {
        const auto byte = static_cast<unsigned char>(c);
        digits += "0123456789abcdef"[byte >> 4];
        digits += "0123456789abcdef"[byte & 15];
    }
    Settings settings;
    settings.Add("packet", digits);
    for (const std::string& varied : options.varied) settings.Add("vary", varied);
    for (const std::string& crossed : options.crossed) settings.Add("cross", crossed);
    const Packets packets = CompilePackets(settings, false); // which refuses what cannot be

    std::string text = settings.GetRecipe();
    if (options.isText) {
        const std::optional<std::string> written = packets.frame->GetTemplate();
        if (!written) throw InputError("the grammar of templates has no words for these fields: leave --text out");
        text = *written + "\n";
    }
    Output output(options.output);
    output.Write(reinterpret_cast<const unsigned char*>(text.data()), text.size());
    output.Close();
    return 0;
}

} // namespace zor::tools
