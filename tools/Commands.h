#ifndef ZOR_COMMON_TOOLS_COMMANDS_H
#define ZOR_COMMON_TOOLS_COMMANDS_H

/// \file
/// The sub-commands. Each takes its options and returns the exit status: 0 if it is done and nothing differs, 1 if
/// there are differences. It throws an exception for errors, which become status 2.

#include "Settings.h"

#include <optional>
#include <string>
#include <vector>

namespace zor::tools {

/// The options of all sub-commands; each sub-command reads its own.
struct Options {
    Settings settings;              ///< The options that describe the packets.
    std::vector<std::string> files; ///< The arguments that are not options.
    std::optional<std::string> like;
    std::optional<std::string> output, format, shard, schemaMessage;
    std::optional<std::string> rate, duration, diagram, missing, packet, trailer, leastSize, window;
    std::vector<std::string> ignored, varied, crossed;
    bool isJson = false, isStrict = false, isVerbose = false, isText = false, isRaw = false;
    bool showsProgress = true;
    bool hasColor = false;
};

int Make(Options& options);
int Check(Options& options);
int Show(Options& options);
int Find(Options& options);
int Verify(Options& options);
int Import(Options& options);
int Inspect(Options& options);
int Encode(Options& options);
int Macro(Options& options);

/// Writes a result to standard output.
void Print(const std::string& text);

/// Formats rows as columns with two blanks between them; the first row is the head.
std::string ShowTable(const std::vector<std::vector<std::string>>& rows);

} // namespace zor::tools

#endif // ZOR_COMMON_TOOLS_COMMANDS_H
