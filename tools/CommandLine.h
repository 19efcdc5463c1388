#ifndef ZOR_COMMON_TOOLS_COMMAND_LINE_H
#define ZOR_COMMON_TOOLS_COMMAND_LINE_H

/// \file
/// The command line: the sub-command and its options.

#include "Commands.h"

namespace zor::tools {

/// Reads the command line, and prints help or version if asked to.
/// \param options  gets the options.
/// \return         the sub-command; null if nothing is left to do.
int (*ReadCommandLine(int argc, char** argv, Options& options))(Options&);

} // namespace zor::tools

#endif // ZOR_COMMON_TOOLS_COMMAND_LINE_H
