#ifndef ZOR_COMMON_TOOLS_COMMANDS_H
#define ZOR_COMMON_TOOLS_COMMANDS_H

/// \file
/// The sub-commands. Each one takes what its options say and returns the exit status: 0 for done and the same, 1 where
/// differences were found. What goes wrong is thrown, and becomes status 2.

#include "Settings.h"

#include <optional>
#include <string>
#include <vector>

namespace zor::tools {

/// The options of all sub-commands; each one reads those that it has.
struct Options {
    Settings settings;              ///< What decides which packets there are.
    std::vector<std::string> files; ///< What stands on the command line without an option.
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

/// Columns of equal width with two blanks between them; the first row is the head.
std::string ShowTable(const std::vector<std::vector<std::string>>& rows);

} // namespace zor::tools

#endif // ZOR_COMMON_TOOLS_COMMANDS_H
