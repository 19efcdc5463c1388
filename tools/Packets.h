#ifndef ZOR_COMMON_TOOLS_PACKETS_H
#define ZOR_COMMON_TOOLS_PACKETS_H

/// \file
/// From settings to packets: the template that they compile to, and which of its values are meant.

#include "Settings.h"

#include <common/CompiledTemplate.h>
#include <common/FrameBuilder.h>
#include <common/IndexOrder.h>
#include <common/IndexRange.h>
#include <common/TemplateCheck.h>
#include <common/Wildcards.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zor::tools {

/// What packets are like.
struct Packets {
    common::CompiledTemplate compiled;
    std::optional<common::FrameBuilder> frame; ///< Where fields have names.
    std::optional<common::Wildcards> source;   ///< Of a template text, with its settings.
    std::string text;                          ///< The same text, otherwise empty.
    std::vector<Packets> streams;              ///< What a mix is made of.
    bool isText = false;                       ///< Whether values are texts and not bytes.
    bool isIp = false;                         ///< Whether they start with a header of IP and not of Ethernet.
};

/// Which packets, and when they are sent.
struct Run {
    common::IndexRange range;          ///< What IndexRange says.
    std::optional<std::uint64_t> seed; ///< Of the order in which they are sent.
    std::uint64_t gap = 1000;          ///< Nanoseconds from one packet to the next.
    std::uint64_t start = 0;           ///< Nanoseconds since 1970 of the first one.

    /// The index of the packet at a position below the count.
    std::uint64_t GetIndexAt(std::uint64_t position, const common::IndexOrder& order) const
    {
        return range.first + range.every * (seed ? order.GetIndexAt(position) : position);
    }
};

/// The bytes of a file, or of standard input where the path is "-".
/// \param most  not much more than so many.
std::string ReadFile(const std::string& path, std::size_t most = ~std::size_t{0});

inline constexpr std::size_t kCaptureMagic = 12; ///< How many bytes tell a capture.

/// What a file says that serves as a template: a recipe, a pcapng file that holds one, or else the text of a template.
Settings ReadSource(const std::string& path);

/// What the options and, without a source in them, the first of the files say. That file is taken from the list.
Settings ResolveSource(const Settings& options, std::vector<std::string>& files);

/// The settings of a file of streams: a weight and a template or layers on each line.
Settings ReadStreams(const std::string& path);

/// A stream of a mix, with the settings that it has by itself.
struct Stream {
    std::uint32_t weight;
    Settings settings;
};

/// The streams of settings; none if they are no mix.
std::vector<Stream> GetStreams(const Settings& settings);

/// The source of a template text, with all settings.
common::Wildcards MakeSource(const Settings& settings);

/// Compiles what the settings say.
/// \param warns  whether what is doubtful in a template text goes to standard error.
Packets CompilePackets(const Settings& settings, bool warns);

/// \param otherwise  the count where none is given.
Run ReadRun(const Settings& settings, std::optional<std::uint64_t> otherwise);

/// A diagnostic as lines. Without a text, as of --frame, it has no place.
std::string ShowDiagnostic(const common::TemplateDiagnostic& found, const std::string& text);

/// What is wrong with the text of a template, as lines of their own on standard error.
void PrintDiagnostics(const common::Wildcards& source, const std::string& text, bool onlyErrors);

/// Where a field of a frame stands, by its name, or bytes by their place: "ipv4.src", "26:4".
common::ByteSpan FindSpan(const Packets& packets, const std::string& name);

} // namespace zor::tools

#endif // ZOR_COMMON_TOOLS_PACKETS_H
