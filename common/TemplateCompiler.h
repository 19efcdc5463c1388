#ifndef ZOR_COMMON_TEMPLATE_COMPILER_H
#define ZOR_COMMON_TEMPLATE_COMPILER_H

/// \file
/// Internal: from the text of a template to its program.

#include "TemplateProgram.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zor::common::detail {

/// A counter that callers define beside the template.
struct CounterDefinition {
    std::uint32_t start = 0;
    std::uint32_t step = 0;
    std::uint32_t repeat = 0;
    std::uint32_t count = 0;
    std::uint32_t modulus = 0xffffffff;

    bool operator==(const CounterDefinition& other) const = default;
};

/// What callers set beside the template.
struct PacketContext {
    MacDefinition mac;
    std::uint32_t macRepeat = 0;
    std::uint32_t firstBase = 0;
    std::uint32_t secondBase = 0;
    CounterDefinition vpi;
    CounterDefinition vci;
    std::vector<CounterDefinition> vlanTags; ///< Tag n is element n - 1.

    bool operator==(const PacketContext& other) const = default;
};

/// What an expression of the kinds `x`, `b`, `s`, `S` and `v` counts, and how many digits it has at least.
struct DecimalExpression {
    CounterDefinition counter;
    std::uint8_t width = 0;
};
DecimalExpression DecimalOf(char kind, const ArgumentList& arguments, const PacketContext& context) noexcept;

/// Whether a kind is one of these.
bool IsDecimalKind(char kind) noexcept;

/// The counter that the kind `v` shows; null for a tag that is not defined.
const CounterDefinition* FindTag(const ArgumentList& arguments, const PacketContext& context) noexcept;

/// What the kind `$` counts, and how it shows it.
FieldDefinition HexCounterOf(const ArgumentList& arguments);
HexFormat FormatOf(const ArgumentList& arguments) noexcept;

/// The words for the formats, in the order of HexFormat.
inline constexpr std::string_view kFormatWords[] = {"little", "big", "hex", "mac", "ipv4", "ipv6"};

/// A name in lower case. ASCII only, so that no locale changes what a name is.
std::string LowerCase(std::string_view name);

/// Compiles a template. Throws std::out_of_range for a malformed argument list.
std::shared_ptr<const Program> CompileTemplate(const std::string& text, const std::string& marker,
                                               const PacketContext& context);

/// The same for a text that is no hex template, or that has been rewritten already. Places of both kinds are those in it.
std::shared_ptr<const Program> CompileRewritten(std::string text, const std::string& marker,
                                                const PacketContext& context);

} // namespace zor::common::detail

#endif // ZOR_COMMON_TEMPLATE_COMPILER_H
