#include "Commands.h"
#include "Errors.h"
#include "Packets.h"

#include <common/TemplateCheck.h>

#include <algorithm>

namespace zor::tools {

using namespace common;

namespace {

/// A text of a field: as it is if it can be printed, otherwise its bytes in hex digits.
std::string Shown(const std::string& text, bool isText)
{
    const auto isPrintable = [](char c) { return c >= ' ' && c < 0x7f; };
    if (isText && std::all_of(text.begin(), text.end(), isPrintable)) return text;
    std::string digits = "0x";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        digits += "0123456789abcdef"[byte >> 4];
        digits += "0123456789abcdef"[byte & 15];
    }
    return text.empty() ? "" : digits;
}

/// How many flows there are: fields that go on for 2^32 values and more number packets, and not flows.
std::uint64_t CountFlows(const Packets& packets, const std::vector<TemplateField>& fields)
{
    if (!packets.streams.empty()) { // 0 where one of them is not known
        std::uint64_t sum = 0;
        for (const Packets& stream : packets.streams) {
            const std::uint64_t flows = CountFlows(stream, stream.compiled.GetFields());
            if (flows == 0 || sum + flows < sum) return 0;
            sum += flows;
        }
        return sum;
    }
    if (packets.frame) return packets.frame->GetFlowCount();
    std::vector<std::size_t> flows;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (fields[i].period > 0 && fields[i].period < std::uint64_t{1} << 32) flows.push_back(i);
    }
    return packets.compiled.GetPeriod(flows);
}

std::string Table(const Packets& packets, const std::vector<TemplateField>& fields)
{
    std::vector<std::vector<std::string>> rows = {{"field", "offset", "size", "first", "second", "last", "period"}};
    std::vector<std::string> streams; // of each field, from 1 on
    for (std::size_t i = 0; i < packets.streams.size(); ++i) {
        streams.resize(streams.size() + packets.streams[i].compiled.GetFields().size(), std::to_string(i + 1) + ": ");
    }
    for (const TemplateField& field : fields) {
        std::string name = field.name;
        if (name.empty() && packets.text.empty()) name = std::string("@") + field.kind; // of a stream
        if (name.empty()) name = packets.text.substr(std::min(field.pos, packets.text.size()), field.len);
        constexpr std::size_t kWidest = 40;
        if (name.size() > kWidest) name.replace(kWidest - 3, std::string::npos, "...");
        std::string size = std::to_string(field.minSize);
        if (field.maxSize != field.minSize) size += "-" + std::to_string(field.maxSize);
        if (rows.size() <= streams.size()) name.insert(0, streams[rows.size() - 1]);
        const bool isText = packets.isText;
        rows.push_back({name, (field.isOffsetFixed ? "" : "from ") + std::to_string(field.offset), size,
                        Shown(field.first, isText), Shown(field.second, isText), Shown(field.last, isText),
                        field.period == 0 ? "none" : std::to_string(field.period)});
    }
    return ShowTable(rows);
}

} // namespace

int Show(Options& options)
{
    const Settings settings = ResolveSource(options.settings, options.files);
    if (!options.files.empty()) throw InputError("\"" + options.files.front() + "\" is one template too many");
    if (options.diagram && *options.diagram != "rfc" && *options.diagram != "svg") {
        throw InputError("--diagram must be rfc or svg, not \"" + *options.diagram + "\"");
    }
    const Packets packets = CompilePackets(settings, false);
    if (options.isJson) {
        Print(Diagram(packets.compiled, DiagramStyle::Json));
        return 0;
    }
    if (options.diagram) {
        Print(Diagram(packets.compiled, *options.diagram == "rfc" ? DiagramStyle::Rfc : DiagramStyle::Svg));
        return 0;
    }
    const std::vector<TemplateField> fields = packets.compiled.GetFields();
    const std::uint64_t period = packets.compiled.GetPeriod();
    const std::uint64_t flows = CountFlows(packets, fields);
    const std::uint64_t readable = packets.compiled.GetReadableCount();
    const std::string most = std::to_string(packets.compiled.GetMaxSize());
    std::string text =
        packets.compiled.IsFixedSize() ? "size      " + most + " bytes\n" : "size      up to " + most + " bytes\n";
    text += "flows     " + (flows == 0 ? std::string("not known, or 2^64 and more") : std::to_string(flows)) + "\n";
    text += "period    " + (period == 0 ? std::string("none below 2^64") : std::to_string(period)) + "\n";
    text += "readable  " +
            (packets.compiled.IsReadable() ? std::string("each index")
             : readable > 0                ? "indexes below " + std::to_string(readable)
                                           : std::string("no index")) +
            "\n";
    if (!fields.empty()) text += "\n" + Table(packets, fields);
    for (const TemplateDiagnostic& found : CheckTemplate(packets.compiled)) {
        text += "\n" + ShowDiagnostic(found, packets.text);
    }
    Print(text);
    return 0;
}

} // namespace zor::tools
