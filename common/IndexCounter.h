#ifndef ZOR_COMMON_INDEX_COUNTER_H
#define ZOR_COMMON_INDEX_COUNTER_H

/// \file
/// Internal: counters as they are described, and what follows from that: bit runs, digits that change, periods.

#include "IndexSequence.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zor::common::detail {

inline constexpr std::size_t kWordBits = 64;
inline constexpr std::size_t kWordBytes = 8;
inline constexpr std::size_t kWordDigits = 16; ///< In hexadecimal.

/// The 64-bit words that so many bytes take.
constexpr std::size_t WordCount(std::size_t bytes) noexcept
{
    return (bytes + kWordBytes - 1) / kWordBytes;
}

/// A decimal counter.
struct DecimalCounter {
    std::uint32_t start = 0;
    std::uint32_t step = 0;
    std::uint32_t modulus = 0; ///< 0 is without.
    std::uint8_t width = 0;    ///< The least number of digits.
    TurnRule turns;
};

/// A counter of any number of bytes. Words are the lowest one first, as many as the size takes.
struct HexCounter {
    std::vector<std::uint64_t> start;
    std::vector<std::uint64_t> step;
    std::vector<std::uint64_t> mask;  ///< All bits of the size without a mask.
    std::vector<std::uint64_t> fixed; ///< The bits outside the mask from turn 1 on.
    std::size_t startSize = 0;
    std::size_t size = 0; ///< From turn 1 on.
    bool hasMask = false;
    TurnRule turns;
};

/// The runs of a counter.
std::vector<BitRun> RunsOf(const HexCounter& counter);

/// Whether the start has bits outside the mask that no later turn has.
bool StartsApart(const HexCounter& counter);

/// Which hex digits of a counter differ between turns from 0 to \a last, the lowest digit first. Exact without a mask;
/// with one, digits may be named that do not change.
/// \param runs  of the counter.
std::vector<bool> ChangingDigits(const HexCounter& counter, const std::vector<BitRun>& runs, std::uint64_t last);

/// The number of turns after which a counter without a count shows its start again, as a power of 2.
std::size_t PeriodPower(const std::vector<BitRun>& runs);

/// The period of a number in indexes; 0 is 2^64 or more, or never.
/// \param turns        after how many turns a counter without a count shows its start again; 0 is 2^64 or more.
/// \param startsApart  whether it never does.
std::uint64_t PeriodOf(const TurnRule& rule, std::uint64_t turns, bool startsApart);

/// Whether each step of a Wildcards adds what it should.
bool StepsAreExact(const HexCounter& counter);

/// The least common multiple; 0 where that is 2^64 or more, or where one of both is 0.
std::uint64_t CommonPeriod(std::uint64_t left, std::uint64_t right) noexcept;

/// The number below \a modulus times which \a number is 1 modulo \a modulus, with which it has no common divisor.
std::uint64_t InverseOf(std::uint64_t number, std::uint64_t modulus) noexcept;

} // namespace zor::common::detail

#endif // ZOR_COMMON_INDEX_COUNTER_H
