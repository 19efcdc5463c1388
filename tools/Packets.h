#ifndef ZOR_COMMON_TOOLS_PACKETS_H
#define ZOR_COMMON_TOOLS_PACKETS_H

/// \file
/// From settings to packets: the template that they compile to, and the range of its values.

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

/// A description of packets.
struct Packets {
    common::CompiledTemplate compiled;
    std::optional<common::FrameBuilder> frame; ///< The builder, if fields have names.
    std::optional<common::Wildcards> source;   ///< The source of a template text, with its settings.
    std::string text;                          ///< The template text, otherwise empty.
    std::vector<Packets> streams;              ///< The parts of a mix.
    bool isText = false;                       ///< Whether values are texts and not bytes.
    bool isIp = false;                         ///< Whether they start with a header of IP and not of Ethernet.
};

/// The range of packets, and the times at which they are sent.
struct Run {
    common::IndexRange range;          ///< The indexes.
    std::optional<std::uint64_t> seed; ///< The seed of their order, if they are shuffled.
    std::uint64_t gap = 1000;          ///< Nanoseconds from one packet to the next.
    std::uint64_t start = 0;           ///< The time of the first packet in nanoseconds since 1970.

    /// The index of the packet at a position below the count.
    std::uint64_t GetIndexAt(std::uint64_t position, const common::IndexOrder& order) const
    {
        return range.first + range.every * (seed ? order.GetIndexAt(position) : position);
    }
};

/// The bytes of a file, or of standard input if the path is "-".
/// \param most  reading stops soon after so many bytes.
std::string ReadFile(const std::string& path, std::size_t most = ~std::size_t{0});

inline constexpr std::size_t kCaptureMagic = 12; ///< How many bytes identify a capture.

/// The settings of a file that is given as a template: a recipe, a pcapng file with a recipe, or the text of a
/// template.
Settings ReadSource(const std::string& path);

/// The settings of the options and, if these do not describe packets, of the first file, which is removed from the
/// list.
Settings ResolveSource(const Settings& options, std::vector<std::string>& files);

/// The settings of a file of streams: a weight and a template or layers on each line.
Settings ReadStreams(const std::string& path);

/// A stream of a mix, with its own settings.
struct Stream {
    std::uint32_t weight;
    Settings settings;
};

/// The streams of settings; empty if they are not a mix.
std::vector<Stream> GetStreams(const Settings& settings);

/// The source of a template text, with all settings.
common::Wildcards MakeSource(const Settings& settings);

/// Compiles settings.
/// \param warns  whether to print diagnostics of a template text to standard error.
Packets CompilePackets(const Settings& settings, bool warns);

/// \param otherwise  the default of the count.
Run ReadRun(const Settings& settings, std::optional<std::uint64_t> otherwise);

/// Formats a diagnostic as lines. Without a text, as for --frame, it has no place.
std::string ShowDiagnostic(const common::TemplateDiagnostic& found, const std::string& text);

/// Prints the diagnostics of a template text on standard error.
void PrintDiagnostics(const common::Wildcards& source, const std::string& text, bool onlyErrors);

/// The place of a field of a frame by its name, or of bytes by offset and size: "ipv4.src", "26:4".
common::ByteSpan FindSpan(const Packets& packets, const std::string& name);

} // namespace zor::tools

#endif // ZOR_COMMON_TOOLS_PACKETS_H
