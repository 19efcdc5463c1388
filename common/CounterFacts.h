#ifndef ZOR_COMMON_COUNTER_FACTS_H
#define ZOR_COMMON_COUNTER_FACTS_H

/// \file
/// Internal: what holds for all values of a counter, found without running it: whether multiplying, as
/// Wildcards::GetValueAt() does, gives what stepping gives, and how many digits there are.

#include "TemplateCompiler.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace zor::common::detail {

/// The last turn of a counter: its count less 1, and that of 2^32 where there is no count.
constexpr std::uint32_t LastTurn(std::uint32_t count) noexcept
{
    return count - 1;
}

/// The first turn, up to the last one, at which both give different numbers.
std::optional<std::uint64_t> FirstTurnApart(const CounterDefinition& counter) noexcept;

/// Whether both give the same text at each turn up to the last one, for a hex counter without a mask.
bool IndexAgrees(const FieldDefinition& field, HexFormat format);

/// Whether stepping adds what it should, as for CompiledTemplate::StepsAlike().
bool StepsExactly(const CounterDefinition& counter) noexcept;
bool StepsExactly(const FieldDefinition& field);

/// The least and the largest number of digits that a value has, in exact arithmetic and without a width. Both are reached.
struct DigitCounts {
    std::size_t least = 1;
    std::size_t largest = 1;
};
DigitCounts DigitsOf(const CounterDefinition& counter) noexcept;

/// Whether a format shows as many bytes as the counter has.
constexpr bool ShowsWidth(HexFormat format) noexcept
{
    return format <= HexFormat::Hex;
}

} // namespace zor::common::detail

#endif // ZOR_COMMON_COUNTER_FACTS_H
