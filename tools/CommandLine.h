#ifndef ZOR_COMMON_TOOLS_COMMAND_LINE_H
#define ZOR_COMMON_TOOLS_COMMAND_LINE_H

/// \file
/// The command line: which sub-command, and what its options say.

#include "Commands.h"

namespace zor::tools {

/// Reads the command line, and prints the help and the version where they are asked for.
/// \param options  becomes what is said.
/// \return         the sub-command; null if there is nothing left to do.
int (*ReadCommandLine(int argc, char** argv, Options& options))(Options&);

} // namespace zor::tools

#endif // ZOR_COMMON_TOOLS_COMMAND_LINE_H
