#ifndef ZOR_COMMON_INDEX_COMPILER_H
#define ZOR_COMMON_INDEX_COMPILER_H

/// \file
/// Internal: from the program of a template to its index program.

#include "IndexProgram.h"
#include "TemplateCompiler.h"
#include "TemplateOverlay.h"

#include <memory>
#include <vector>

namespace zor::common::detail {

/// Compiles a program with the settings and variables as they are. Those that come later change nothing. Throws
/// std::invalid_argument for checksums that do not fit.
std::shared_ptr<const IndexProgram> CompileForIndexes(const Program& program, const PacketContext& context,
                                                      const Variables& variables,
                                                      const std::vector<ChecksumField>& checksums);

} // namespace zor::common::detail

#endif // ZOR_COMMON_INDEX_COMPILER_H
