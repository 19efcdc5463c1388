#include "CaptureReader.h"
#include "Commands.h"
#include "Errors.h"
#include "Json.h"
#include "Packets.h"
#include "Quantities.h"
#include "Records.h"

#include <common/Wildcards.h>

namespace zor::tools {

using namespace common;

namespace {

/// Looks packets up and prints where they stand.
class Finder {
public:
    Finder(const Packets& packets, const Run& run, bool isJson)
        : mPackets(packets), mRun(run), mOrder(run.range.count, run.seed.value_or(0)), mIsJson(isJson)
    {
        mJson.Open('[');
        if (!isJson) mLines = run.seed ? "packet  index  position\n" : "packet  index\n";
    }

    void Take(std::string_view packet)
    {
        const std::optional<std::uint64_t> index = mPackets.compiled.FindIndex(packet, mRun.range.first);
        ++mNumber;
        mHasAll = mHasAll && index.has_value();
        std::optional<std::uint64_t> position;
        if (index && mRun.seed && mRun.range.every > 0) {
            const std::uint64_t distance = *index - mRun.range.first;
            if (distance % mRun.range.every == 0 && distance / mRun.range.every < mRun.range.count) {
                position = mOrder.GetPositionOf(distance / mRun.range.every);
            }
        }
        if (mIsJson) {
            mJson.Open('{').Add("packet", mNumber);
            AddTo(mJson, "index", index);
            if (mRun.seed) AddTo(mJson, "position", position);
            mJson.Close('}');
            return;
        }
        mLines +=
            Wide(std::to_string(mNumber), 6) + "  " + Wide(index ? std::to_string(*index) : "-", mRun.seed ? 5 : 0);
        if (mRun.seed) mLines += "  " + (position ? std::to_string(*position) : std::string("-"));
        mLines += '\n';
        constexpr std::size_t kFlushed = 65536;
        if (mLines.size() >= kFlushed) Flush();
    }

    /// Prints the rest; whether all packets were found.
    bool Finish()
    {
        if (mIsJson) mLines = mJson.Close(']').GetText() + "\n";
        Flush();
        return mHasAll;
    }

private:
    static void AddTo(Json& json, const char* name, const std::optional<std::uint64_t>& number)
    {
        if (number) {
            json.Add(name, *number);
        } else {
            json.AddNothing(name);
        }
    }
    static std::string Wide(std::string text, std::size_t width)
    {
        text.resize(std::max(text.size(), width), ' ');
        return text;
    }
    void Flush()
    {
        Print(mLines);
        mLines.clear();
    }

    const Packets& mPackets;
    const Run& mRun;
    IndexOrder mOrder;
    bool mIsJson;
    bool mHasAll = true;
    std::uint64_t mNumber = 0;
    std::string mLines;
    Json mJson;
};

/// The bytes of a line of hex digits.
std::string ReadHexLine(std::string_view line, const std::string& path, std::size_t number)
{
    std::string digits;
    for (const char c : line) {
        if (c != ' ' && c != '\t' && c != ':' && c != '\r') digits += c;
    }
    if (digits.size() % 2 != 0 || digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
        throw InputError(path + " line " + std::to_string(number) + " is no packet in hex digits, two for each byte");
    }
    std::string bytes;
    Wildcards::ConvertAsciiHexToBin(digits, bytes);
    return bytes;
}

} // namespace

int Find(Options& options)
{
    const Settings settings = ResolveSource(options.settings, options.files);
    const Packets packets = CompilePackets(settings, false);
    const Run run = ReadRun(settings, 0);
    if (packets.compiled.GetReadableCount() == 0) {
        throw InputError("the index of a packet cannot be told: check --verbose says why");
    }
    if (options.files.empty()) options.files.emplace_back("-");
    Finder finder(packets, run, options.isJson);
    for (const std::string& path : options.files) {
        // The first bytes tell a capture; a pipe can only be read once, so lines are taken from it.
        const bool isCapture = path != "-" && GetCaptureHead(ReadFile(path, kCaptureMagic)) > 0;
        if (isCapture) {
            CaptureReader capture(path, packets.isIp);
            for (std::string_view packet; capture.Next(packet);) finder.Take(packet);
            continue;
        }
        const std::string content = ReadFile(path);
        std::string_view lines = content;
        if (!lines.empty() && lines.back() == '\n') lines.remove_suffix(1);
        std::size_t number = 0;
        if (content.empty()) continue;
        for (const std::string_view line : SplitAt('\n', lines)) {
            ++number;
            if (line.empty() && !options.isText) continue;
            finder.Take(options.isText ? std::string(line)
                                       : ReadHexLine(line, path == "-" ? "standard input" : path, number));
        }
    }
    return finder.Finish() ? 0 : 1;
}

} // namespace zor::tools
