#ifndef ZOR_COMMON_COMPILED_TEMPLATE_IMPL_H
#define ZOR_COMMON_COMPILED_TEMPLATE_IMPL_H

/// \file
/// Internal: what the copies of a compiled template share.

#include "CompiledTemplate.h"
#include "FrameMatcher.h"
#include "IndexInverse.h"
#include "IndexProgram.h"
#include "WildcardsImpl.h"

#include <memory>
#include <string>
#include <vector>

namespace zor::common {

/// It never changes once it is built.
struct CompiledTemplate::Impl {
    /// \param built  a program that was not compiled from the text; null for one that is.
    ZOR_COMMON_LOCAL Impl(const std::string& templ, const std::string& opening, const detail::PacketContext& settings,
                          const detail::Variables& values, const std::vector<ChecksumField>& fields,
                          std::shared_ptr<const detail::IndexProgram> built = nullptr);

    std::string text;
    std::string marker;
    detail::PacketContext context;
    detail::Variables variables;
    std::vector<ChecksumField> checksums;
    bool isBuilt; ///< Whether the program was not compiled from the text.
    std::shared_ptr<const detail::IndexProgram> program;
    detail::IndexInverse inverse;
    detail::FrameMatcher matcher; ///< Of a program of fixed size.
};

} // namespace zor::common

#endif // ZOR_COMMON_COMPILED_TEMPLATE_IMPL_H
