#ifndef ZOR_COMMON_TEMPLATE_FINDINGS_H
#define ZOR_COMMON_TEMPLATE_FINDINGS_H

/// \file
/// Internal: the parts of CheckTemplate(). TemplateCheck.cpp goes through the text; each part looks at one concern of an
/// expression, and adds what it finds.

#include "TemplateAdvice.h"
#include "TemplateCheck.h"
#include "TemplateCompiler.h"
#include "TemplateOverlay.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zor::common::detail {

/// A template while it is checked: what its expressions depend on, and what has been found so far.
struct CheckedTemplate {
    const std::string& marker;
    const PacketContext& context;
    const Variables* variables; ///< Null where settings are not checked.
    bool isHex;
    std::string_view text; ///< What places refer to at present: a hex template is rewritten to bytes for a time.
    std::vector<TemplateDiagnostic> found;

    /// \param where  a piece of the text.
    void Add(unsigned short code, TemplateDiagnostic::Severity severity, std::string_view where, std::string message,
             std::string hint = {})
    {
        const auto pos = static_cast<std::size_t>(where.data() - text.data());
        found.push_back({code, severity, pos, where.size(), std::move(message), std::move(hint)});
    }
    void Warn(unsigned short code, std::string_view where, std::string message, std::string hint = {})
    {
        Add(code, TemplateDiagnostic::Severity::Warning, where, std::move(message), std::move(hint));
    }
    void Note(unsigned short code, std::string_view where, std::string message, std::string hint = {})
    {
        Add(code, TemplateDiagnostic::Severity::Note, where, std::move(message), std::move(hint));
    }
};

/// Splits the argument list of an expression and checks its delimiters and decimal numbers. Returns whether it is a list.
bool CheckList(CheckedTemplate& in, CheckedExpression& of);

/// Checks what an expression shows, by its kind.
void CheckDecimal(CheckedTemplate& in, const CheckedExpression& of); ///< Kinds x, b, s, S and v.
void CheckHexCounter(CheckedTemplate& in, const CheckedExpression& of);
void CheckMac(CheckedTemplate& in, const CheckedExpression& of);
void CheckVariable(CheckedTemplate& in, const CheckedExpression& of);
void CheckLength(CheckedTemplate& in, const CheckedExpression& of);

/// What a count of 1 means for a counter that looks as if it was meant to count.
void CheckCount(CheckedTemplate& in, const CheckedExpression& of, std::uint32_t count, bool hasStep);

/// A hint, for an expression that stands in the text as it was given.
template <class Make>
std::string HintFor(const CheckedExpression& of, Make make)
{
    return of.isWritten ? make() : std::string();
}

/// The marker and the kind, without the list that they have; empty where a parenthesis follows or may follow.
std::string WithoutList(const CheckedTemplate& in, std::string_view expression);

/// What to do where values by index differ from those by step.
inline constexpr const char* kUseCompiled = " A CompiledTemplate gives those of stepping at each index.";

} // namespace zor::common::detail

#endif // ZOR_COMMON_TEMPLATE_FINDINGS_H
