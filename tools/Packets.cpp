#include "Packets.h"

#include "Errors.h"
#include "Layers.h"
#include "Quantities.h"
#include "Records.h"

#include <common/AddressText.h>
#include <common/ChecksumField.h>
#include <common/Traffic.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace zor::tools {

using namespace common;

namespace {

/// Reads a file until there is enough of it.
template <class IsEnough>
std::string ReadStart(const std::string& path, IsEnough isEnough)
{
    struct Close {
        void operator()(std::FILE* file) const
        {
            if (file != stdin) std::fclose(file);
        }
    };
    const std::unique_ptr<std::FILE, Close> file(path == "-" ? stdin : std::fopen(path.c_str(), "rb"));
    std::string content;
    char buffer[65536];
    std::size_t size = 0;
    while (file && (size = std::fread(buffer, 1, sizeof buffer, file.get())) > 0) {
        content.append(buffer, size);
        if (isEnough(content)) break;
    }
    if (!file || std::ferror(file.get()) != 0) {
        throw InputError("cannot read \"" + path + "\": " + std::strerror(errno));
    }
    return content;
}

} // namespace

std::string ReadFile(const std::string& path, std::size_t most)
{
    return ReadStart(path, [most](const std::string& content) { return content.size() >= most; });
}

Settings ReadSource(const std::string& path)
{
    std::string content = ReadStart(path, [](const std::string& start) { // a capture may be long behind its recipe
        const std::size_t head = GetCaptureHead(start);
        return head > 0 && start.size() >= head;
    });
    const std::string name = path == "-" ? "standard input" : path;
    if (const std::optional<std::string> recipe = FindRecipe(content, name)) return Settings::ReadRecipe(*recipe, name);
    if (Settings::IsRecipe(content)) return Settings::ReadRecipe(content, name);
    if (!content.empty() && content.back() == '\n') content.pop_back();
    return Settings::OfTemplate(std::move(content));
}

Settings ResolveSource(const Settings& options, std::vector<std::string>& files)
{
    if (options.CountSources() > 1) throw InputError("packets are given in two ways, where one is enough");
    if (options.HasSource()) return options;
    if (files.empty()) throw InputError("no template is given: a file, -e TEXT or --frame LAYERS");
    Settings settings = ReadSource(files.front());
    files.erase(files.begin());
    settings.Override(options);
    return settings;
}

Settings ReadStreams(const std::string& path)
{
    Settings settings;
    const std::string content = ReadFile(path);
    for (const std::string_view line : SplitAt('\n', content)) {
        if (!line.empty() && line.front() != '#') settings.Add("stream", std::string(line));
    }
    if (!settings.HasSource()) throw InputError(path + " has no stream");
    return settings;
}

std::string ShowDiagnostic(const TemplateDiagnostic& found, const std::string& text)
{
    std::string lines = ToText(found, text, "template");
    if (!text.empty()) return lines;
    constexpr std::string_view kPlace = "template:1:1: ";
    return lines.substr(kPlace.size(), lines.find('\n') + 1 - kPlace.size());
}

std::vector<Stream> GetStreams(const Settings& settings)
{
    std::vector<Stream> streams;
    Settings shared = settings; // by all streams: a source takes the place of theirs
    shared.Override(Settings::OfTemplate(""));
    for (const std::string& line : settings.FindAll("stream")) {
        const std::size_t blank = line.find_first_of(" \t");
        const std::size_t from = line.find_first_not_of(" \t", blank);
        if (from == std::string::npos) {
            throw InputError("a stream must be a weight, followed by a template or layers, not \"" + line + "\"");
        }
        constexpr std::uint64_t kMost = 65536; // of the sum of all weights
        const std::uint64_t weight =
            ReadNumber("the weight of a stream", std::string_view(line).substr(0, blank), kMost);
        constexpr std::string_view kLayers = "--frame ", kTemplate = "-e ";
        std::string text = line.substr(from);
        const bool areLayers = text.compare(0, kLayers.size(), kLayers) == 0;
        const bool isTemplate = text.compare(0, kTemplate.size(), kTemplate) == 0;
        if (areLayers || isTemplate) text.erase(0, areLayers ? kLayers.size() : kTemplate.size());
        Settings source;
        source.Add(areLayers || (!isTemplate && LooksLikeLayers(text)) ? "frame" : "template", text);
        if (const auto marker = settings.Find("marker")) source.Add("marker", *marker);
        Settings stream = shared;
        stream.Override(source);
        streams.push_back({static_cast<std::uint32_t>(weight), std::move(stream)});
    }
    return streams;
}

void PrintDiagnostics(const Wildcards& source, const std::string& text, bool onlyErrors)
{
    for (const TemplateDiagnostic& found : CheckTemplate(source)) {
        const bool isError = found.severity == TemplateDiagnostic::Severity::Error;
        if (!isError && (onlyErrors || found.severity != TemplateDiagnostic::Severity::Warning)) continue;
        std::fputs(ShowDiagnostic(found, text).c_str(), stderr);
    }
}

namespace {

/// Six bytes as an address or as a number.
void ReadMac(const char* what, std::string_view text, unsigned char* bytes)
{
    CMacAddress address;
    if (FromChars(text.data(), text.data() + text.size(), address).fault != TextFault::None) {
        if (text.find_first_of(":-.") != std::string_view::npos) {
            throw InputError(std::string("--mac: ") + what + " must be a MAC address, not \"" + std::string(text) +
                             "\"");
        }
        address.CopyFrom(ReadNumber(std::string("--mac: ") + what, text, (std::uint64_t{1} << 48) - 1));
    }
    address.CopyTo(bytes);
}

void SetMac(Wildcards& source, const std::string& text)
{
    const std::vector<std::string_view> parts = SplitAt(',', text);
    if (parts.size() > 4) throw InputError("--mac takes ADDRESS,STEP,MASK,REPEAT");
    unsigned char bytes[3][6] = {{}, {0, 0, 0, 0, 0, 1}, {255, 255, 255, 255, 255, 255}};
    static constexpr const char* kWhat[] = {"the address", "the step", "the mask"};
    for (std::size_t i = 0; i < std::min<std::size_t>(3, parts.size()); ++i) ReadMac(kWhat[i], parts[i], bytes[i]);
    const std::uint64_t repeat = parts.size() < 4 ? 0 : ReadNumber("--mac: the repeat", parts[3], 0xffffffff);
    source.SetEtherParams(bytes[0], bytes[1], bytes[2], static_cast<unsigned int>(repeat));
}

/// START,COUNT,STEP,REPEAT of a counter.
struct Counter {
    std::uint64_t start = 0, count = 0, step = 1, repeat = 0;
};

Counter ReadCounter(const std::string& option, const std::string& text, std::uint64_t limit)
{
    Counter counter;
    const std::vector<std::string_view> parts = SplitAt(',', text);
    if (parts.size() > 4) throw InputError(option + " takes START,COUNT,STEP,REPEAT");
    std::uint64_t* const numbers[] = {&counter.start, &counter.count, &counter.step, &counter.repeat};
    static constexpr const char* kWhat[] = {": the start", ": the count", ": the step", ": the repeat"};
    for (std::size_t i = 0; i < parts.size(); ++i) *numbers[i] = ReadNumber(option + kWhat[i], parts[i], limit);
    return counter;
}

} // namespace

Wildcards MakeSource(const Settings& settings)
{
    const std::string marker = settings.Find("marker").value_or("@");
    if (marker.size() != 1) throw InputError("--marker must be one character, not \"" + marker + "\"");
    Wildcards source(settings.Find("template").value_or(""), marker);
    for (const std::string& pair : settings.FindAll("set")) {
        const std::size_t equals = pair.find('=');
        if (equals == std::string::npos || equals == 0) {
            throw InputError("--set must be of the form NAME=VALUE, not \"" + pair + "\"");
        }
        source.AddVar(pair.substr(0, equals), pair.substr(equals + 1));
    }
    if (const auto mac = settings.Find("mac")) SetMac(source, *mac);
    const std::vector<std::string> tags = settings.FindAll("vlan");
    if (tags.size() > 255) throw InputError("--vlan is given more than 255 times");
    source.SetVlanTagCount(static_cast<unsigned char>(tags.size()));
    for (std::size_t i = 0; i < tags.size(); ++i) {
        const Counter tag = ReadCounter("--vlan", tags[i], 0xffffffff);
        source.SetVlanParams(static_cast<unsigned char>(i + 1), static_cast<unsigned int>(tag.start),
                             static_cast<unsigned int>(tag.step), static_cast<unsigned int>(tag.repeat),
                             static_cast<unsigned int>(tag.count));
    }
    const auto setCircuit = [&](const char* name, auto set) {
        const auto value = settings.Find(name);
        if (!value) return;
        const Counter counter = ReadCounter(std::string("--") + name, *value, 65535);
        (source.*set)(static_cast<unsigned short>(counter.start), static_cast<unsigned short>(counter.step),
                      static_cast<unsigned short>(counter.repeat), static_cast<unsigned short>(counter.count));
    };
    setCircuit("vpi", &Wildcards::SetVpiParams);
    setCircuit("vci", &Wildcards::SetVciParams);
    if (const auto base = settings.Find("base")) {
        source.SetFirstBase(static_cast<unsigned int>(ReadNumber("--base", *base, 0xffffffff)));
    }
    if (const auto base = settings.Find("second-base")) {
        source.SetSecondBase(static_cast<unsigned int>(ReadNumber("--second-base", *base, 0xffffffff)));
    }
    return source;
}

namespace {

CompiledTemplate CompileText(const Wildcards& source, const std::string& text, bool hasChecksums, bool isReported)
{
    try {
        const CompiledTemplate plain(source);
        if (!hasChecksums) return plain;
        std::string value;
        if (!plain.IsFixedSize()) throw InputError("--checksums needs a template whose values all have one size");
        plain.GetValueAt(0, value);
        const auto found = FindChecksums(reinterpret_cast<const unsigned char*>(value.data()), value.size());
        if (found.empty()) throw InputError("--checksums: the first value has no header with a checksum");
        return CompiledTemplate(source, found);
    } catch (const std::out_of_range&) {
        if (!isReported) PrintDiagnostics(source, text, true);
        throw InputError("an argument list in the template ends in delimiters");
    } catch (const std::invalid_argument& error) {
        throw InputError(std::string("--checksums: ") + error.what());
    }
}

Packets CompileFrame(const FrameBuilder& frame)
{
    return {frame.Compile(), frame, std::nullopt, "", {}, false, false};
}

Packets CompilePacket(const Settings& settings, const std::string& digits)
{
    if (digits.find_first_not_of("0123456789abcdefABCDEF ") != std::string::npos) {
        throw InputError("the packet of the recipe is not in hex digits");
    }
    std::string bytes;
    Wildcards::ConvertAsciiHexToBin(digits, bytes);
    FrameBuilder frame = FrameBuilder::FromPacket(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    for (const std::string& vary : settings.FindAll("vary")) VaryField(frame, vary);
    try {
        if (const auto cross = settings.Find("cross")) frame.Cross(ReadNames(*cross));
        return CompileFrame(frame);
    } catch (const std::invalid_argument& error) {
        throw InputError(error.what());
    }
}

} // namespace

namespace {

Packets CompileSource(const Settings& settings, bool warns)
{
    if (const auto layers = settings.Find("frame")) {
        bool startsWithIp = false;
        Packets packets = CompileFrame(ReadLayers(*layers, &startsWithIp));
        packets.isIp = startsWithIp;
        return packets;
    }
    if (const auto packet = settings.Find("packet")) return CompilePacket(settings, *packet);
    const std::string text = settings.Find("template").value_or("");
    const Wildcards source = MakeSource(settings);
    if (warns) PrintDiagnostics(source, text, false);
    Packets packets{CompileText(source, text, settings.Find("checksums").has_value(), warns),
                    std::nullopt,
                    source,
                    text,
                    {},
                    text.compare(0, 2, "@h") != 0,
                    false};
    return packets;
}

Packets CompileMix(const std::vector<Stream>& streams, bool warns)
{
    std::vector<std::pair<CompiledTemplate, std::uint32_t>> parts;
    std::vector<Packets> packets;
    for (const Stream& stream : streams) {
        packets.push_back(CompileSource(stream.settings, warns));
        parts.emplace_back(packets.back().compiled, stream.weight);
        if (packets.back().isIp != packets.front().isIp) {
            throw InputError("some streams start with IP and some do not, which no capture can hold");
        }
    }
    try {
        Packets mix{Mix(parts), std::nullopt, std::nullopt, "", {}, true, packets.front().isIp};
        for (const Packets& part : packets) mix.isText = mix.isText && part.isText;
        mix.streams = std::move(packets);
        return mix;
    } catch (const std::invalid_argument& error) {
        throw InputError(error.what());
    }
}

} // namespace

Packets CompilePackets(const Settings& settings, bool warns)
{
    const auto link = settings.Find("link");
    if (link && *link != "ethernet" && *link != "ip") {
        throw InputError("--link must be ethernet or ip, not \"" + *link + "\"");
    }
    const std::vector<Stream> streams = GetStreams(settings);
    Packets packets = streams.empty() ? CompileSource(settings, warns) : CompileMix(streams, warns);
    if (link) packets.isIp = *link == "ip";
    return packets;
}

Run ReadRun(const Settings& settings, std::optional<std::uint64_t> otherwise)
{
    const auto number = [&settings](const char* name) -> std::optional<std::uint64_t> {
        const auto text = settings.Find(name);
        return text ? std::optional(ReadNumber(std::string("--") + name, *text)) : std::nullopt;
    };
    Run run;
    const std::optional<std::uint64_t> count = number("count");
    if (!count && !otherwise) throw InputError("--count must say how many packets were sent");
    run.range = {number("from").value_or(0), count ? *count : *otherwise, number("every").value_or(1)};
    run.seed = number("seed");
    if (const auto gap = settings.Find("gap")) run.gap = ReadDuration("--gap", *gap);
    if (const auto start = settings.Find("start")) run.start = ReadTime("--start", *start);
    return run;
}

ByteSpan FindSpan(const Packets& packets, const std::string& name)
{
    ByteSpan span;
    if (ReadSpan(name, span)) return span;
    if (!packets.frame) throw InputError("\"" + name + "\" is no span: OFFSET:SIZE is expected");
    try {
        return packets.frame->GetSpan(name);
    } catch (const std::invalid_argument&) {
        throw InputError("\"" + name + "\" is not a field of the frame, nor a span, which is OFFSET:SIZE");
    }
}

} // namespace zor::tools
