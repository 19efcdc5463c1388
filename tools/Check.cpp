#include "Commands.h"
#include "Errors.h"
#include "Json.h"
#include "Packets.h"
#include "Quantities.h"

#include <common/SequenceAudit.h>
#include <common/TemplateCheck.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace zor::tools {

using namespace common;

namespace {

using Severity = TemplateDiagnostic::Severity;

constexpr const char* kSeverities[] = {"note", "warning", "error"};

/// The lines of a diagnostic, with the severity in colour on a terminal.
std::string Colored(std::string lines, Severity severity, bool hasColor)
{
    if (!hasColor) return lines;
    const std::string word = kSeverities[static_cast<int>(severity)] + std::string(" ZT");
    const std::size_t at = lines.find(word);
    if (at == std::string::npos) return lines;
    static constexpr const char* kColors[] = {"\033[36m", "\033[33m", "\033[31m"};
    lines.insert(at + word.size() - 3, "\033[0m");
    lines.insert(at, kColors[static_cast<int>(severity)]);
    return lines;
}

/// What a rate means for packets of a size: a frame takes its check sequence, preamble and gap on the wire too.
double PacketsPerSecond(const Rate& rate, const CompiledTemplate& packets)
{
    if (rate.isPackets) return rate.number;
    if (!packets.IsFixedSize()) throw InputError("--rate must be one of packets a second, as their sizes vary");
    constexpr std::size_t kCheckSequence = 4, kLeastFrame = 64, kPreambleAndGap = 20;
    const std::size_t size = std::max(packets.GetMaxSize() + kCheckSequence, kLeastFrame) + kPreambleAndGap;
    return rate.number / 8 / static_cast<double>(size);
}

/// What is known of packets that are sent at a rate.
struct Forecast {
    double perSecond = 0;
    std::uint64_t period = 0;  // 0 for none
    std::uint64_t packets = 0; // sent in the duration; 0 without one
    bool isCertain = false;    // that no packet is sent twice in it
};

Forecast MakeForecast(const Options& options, const CompiledTemplate& packets, const Run& run)
{
    Forecast forecast;
    forecast.perSecond = PacketsPerSecond(ReadRate("--rate", *options.rate), packets);
    forecast.period = packets.GetPeriod();
    if (!options.duration) return forecast;
    const double seconds = static_cast<double>(ReadDuration("--for", *options.duration)) / 1e9;
    forecast.packets = static_cast<std::uint64_t>(std::min(std::floor(forecast.perSecond * seconds), 1.8e19));
    try {
        forecast.isCertain = SequenceAudit(packets, {run.range.first, forecast.packets, run.range.every}).IsCertain();
    } catch (const std::invalid_argument&) { // indexes that cannot be told apart any more
        forecast.isCertain = false;
    }
    return forecast;
}

bool Repeats(const Forecast& forecast)
{
    return forecast.period > 0 && forecast.packets > forecast.period;
}

std::string Describe(const Forecast& forecast, const Options& options)
{
    std::string text = "at " + *options.rate + ": " + ShowCount(forecast.perSecond) + "packets/s, ";
    if (forecast.period == 0) {
        text += "the counters do not start again within 2^64 packets\n";
    } else {
        text += "the counters start again after " + std::to_string(forecast.period) + " packets, " +
                ShowDuration(static_cast<double>(forecast.period) / forecast.perSecond) + "\n";
    }
    if (!options.duration) return text;
    text += "for " + *options.duration + ": " + std::to_string(forecast.packets) + " packets, ";
    if (Repeats(forecast)) {
        return text + "they repeat, each one up to " + std::to_string((forecast.packets - 1) / forecast.period + 1) +
               " times\n";
    }
    if (forecast.isCertain) return text + "no packet is sent twice\n";
    return text + "the counters do not start again, but whether all packets differ is not certain\n";
}

/// What is said of a template, with its text.
struct Finding {
    TemplateDiagnostic diagnostic;
    std::string text;
};

void CheckText(const Settings& settings, std::vector<Finding>& found)
{
    const std::optional<std::string> text = settings.Find("template");
    if (!text) return;
    for (TemplateDiagnostic& each : CheckTemplate(MakeSource(settings))) found.push_back({std::move(each), *text});
}

bool Has(const std::vector<Finding>& found, Severity severity)
{
    return std::any_of(found.begin(), found.end(),
                       [severity](const Finding& each) { return each.diagnostic.severity == severity; });
}

} // namespace

int Check(Options& options)
{
    const Settings settings = ResolveSource(options.settings, options.files);
    if (!options.files.empty()) throw InputError("\"" + options.files.front() + "\" is one template too many");
    if (options.duration && !options.rate) throw InputError("--for needs --rate");
    std::vector<Finding> found;
    const std::vector<Stream> streams = GetStreams(settings);
    if (streams.empty()) CheckText(settings, found);
    for (const Stream& stream : streams) CheckText(stream.settings, found);
    const bool hasError = Has(found, Severity::Error);
    std::optional<Forecast> forecast;
    if (!hasError) {
        const Packets packets = CompilePackets(settings, false);
        if (options.isVerbose) {
            for (TemplateDiagnostic& each : CheckTemplate(packets.compiled))
                found.push_back({std::move(each), packets.text});
        }
        if (options.rate) forecast = MakeForecast(options, packets.compiled, ReadRun(settings, 0));
    }
    if (options.isJson) {
        Json json;
        json.Open('{').Open('[', "diagnostics");
        for (const auto& [each, text] : found) {
            json.Open('{')
                .Add("code", std::uint64_t{each.code})
                .Add("severity", kSeverities[static_cast<int>(each.severity)]);
            json.Add("offset", std::uint64_t{each.pos}).Add("length", std::uint64_t{each.len});
            json.Add("message", each.message).Add("hint", each.hint).Close('}');
        }
        json.Close(']');
        if (forecast) {
            json.Add("packetsPerSecond", static_cast<std::uint64_t>(forecast->perSecond))
                .Add("period", forecast->period);
            if (options.duration) {
                json.Add("packets", forecast->packets)
                    .Add("repeats", Repeats(*forecast))
                    .Add("certain", forecast->isCertain);
            }
        }
        Print(json.Close('}').GetText() + "\n");
    } else {
        for (const auto& [each, text] : found) {
            Print(Colored(ShowDiagnostic(each, text), each.severity, options.hasColor));
        }
        if (found.empty()) Print("no findings\n");
        if (forecast) Print(Describe(*forecast, options));
    }
    const bool fails =
        hasError || (options.isStrict && (Has(found, Severity::Warning) || (forecast && Repeats(*forecast))));
    return fails ? 1 : 0;
}

} // namespace zor::tools
