#ifndef ZOR_COMMON_COMPILED_TEMPLATE_IMPL_H
#define ZOR_COMMON_COMPILED_TEMPLATE_IMPL_H

/// \file
/// Internal: what the copies of a compiled template share.

#include "CompiledTemplate.h"
#include "ReadableProgram.h"
#include "TrafficPlan.h"
#include "WildcardsImpl.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace zor::common {

/// It never changes once it is built.
struct CompiledTemplate::Impl {
    /// \param built  a program that was not compiled from the text; null for one that is.
    ZOR_COMMON_LOCAL Impl(const std::string& templ, const std::string& opening, const detail::PacketContext& settings,
                          const detail::Variables& values, const std::vector<ChecksumField>& fields,
                          std::shared_ptr<const detail::IndexProgram> built = nullptr);

    /// One that is made of templates. It has no program of its own.
    ZOR_COMMON_LOCAL explicit Impl(std::shared_ptr<const detail::TrafficPlan> plan) : traffic(std::move(plan)) {}

    std::string text;
    std::string marker;
    detail::PacketContext context;
    detail::Variables variables;
    std::vector<ChecksumField> checksums;
    bool isBuilt = false; ///< Whether the program was not compiled from the text.
    detail::ReadableProgram read;
    std::shared_ptr<const detail::TrafficPlan> traffic; ///< Null for a template with a program.
};

} // namespace zor::common

#endif // ZOR_COMMON_COMPILED_TEMPLATE_IMPL_H
