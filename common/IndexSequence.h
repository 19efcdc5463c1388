#ifndef ZOR_COMMON_INDEX_SEQUENCE_H
#define ZOR_COMMON_INDEX_SEQUENCE_H

/// \file
/// Internal: numbers as functions of a 64-bit index. Unlike the counters of Sequence.h, nothing is stepped.

#include <algorithm>
#include <cassert>
#include <cstdint>

namespace zor::common::detail {

__extension__ typedef unsigned __int128 Product; ///< Of two 64-bit numbers.

/// The number whose low \a count bits are all ones; at most 64.
constexpr std::uint64_t LowBits(unsigned int count) noexcept
{
    return count >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << count) - 1;
}

/// Divides by a number that is known in advance. A multiplication stands in for the division, which takes several times
/// as long on many processors.
class Divisor {
public:
    constexpr Divisor() = default; ///< None, which divides nothing.
    constexpr explicit Divisor(std::uint64_t number) noexcept
        : mNumber(number), mInverse(number == 0 ? 0 : ~std::uint64_t{0} / number)
    {
    }

    constexpr std::uint64_t GetNumber() const noexcept { return mNumber; }

    constexpr std::uint64_t Remainder(std::uint64_t dividend) const noexcept
    {
        const std::uint64_t rest = dividend - Estimate(dividend) * mNumber;
        assert(rest < mNumber || rest - mNumber < mNumber || mNumber == 0);
        return std::min(rest, rest - mNumber); // below 0, the second one wraps
    }

    constexpr std::uint64_t Quotient(std::uint64_t dividend) const noexcept
    {
        const std::uint64_t estimate = Estimate(dividend);
        assert(mNumber != 0 && dividend / mNumber - estimate <= 1);
        return estimate + (dividend - estimate * mNumber >= mNumber ? 1 : 0);
    }

private:
    /// The quotient, or one less.
    constexpr std::uint64_t Estimate(std::uint64_t dividend) const noexcept
    {
        // cppcheck-suppress shiftTooManyBits; a product has 128
        return static_cast<std::uint64_t>(Product{dividend} * mInverse >> 64);
    }

    std::uint64_t mNumber = 0;
    std::uint64_t mInverse = 0; ///< (2^64 - 1) / mNumber
};

/// The turn of a number at an index: how often it has changed since it last showed its start.
struct TurnRule {
    Divisor interval{1}; ///< How many indexes a turn lasts.
    Divisor count;       ///< How many turns there are before the start shows again; none is without end.

    std::uint64_t ChangesAt(std::uint64_t index) const noexcept
    {
        return interval.GetNumber() == 1 ? index : interval.Quotient(index);
    }

    std::uint64_t At(std::uint64_t index) const noexcept
    {
        const std::uint64_t changes = ChangesAt(index);
        return changes < count.GetNumber() || count.GetNumber() == 0 ? changes : count.Remainder(changes);
    }

    /// For how many indexes in sequence a number goes on by the same step, 0 included.
    std::uint64_t GetRun() const noexcept
    {
        if (interval.GetNumber() != 1) return interval.GetNumber();
        return count.GetNumber() == 0 ? ~std::uint64_t{0} : count.GetNumber();
    }

    /// The last turn that any index shows.
    std::uint64_t Last() const noexcept
    {
        const std::uint64_t last = ChangesAt(~std::uint64_t{0});
        return count.GetNumber() == 0 ? last : std::min(last, count.GetNumber() - 1);
    }
};

/// Bits of a number that stand side by side in one of its 64-bit words. All runs of a number, the lowest one first, make
/// up its words.
struct BitRun {
    std::uint64_t start = 0; ///< These bits of the start; of a hole, the bits that it always shows.
    std::uint64_t step = 0;  ///< These bits of the step.
    std::uint8_t bits = 64;  ///< How many; from 1 to 64.
    bool isHole = false;     ///< Whether the mask of the counter leaves them out.
};

/// A carry that goes through the runs of a number from the lowest one to the highest: what all steps to a turn together
/// hand on.
///
/// A step adds to the number with its holes full of ones. So a hole hands on a carry from below as it is, unless the
/// step has a bit in the hole: then it hands on exactly one carry a step, whatever comes from below.
class RunCarry {
public:
    explicit RunCarry(std::uint64_t turn) noexcept : mTurn(turn) {}

    /// The bits of the next run at this turn.
    std::uint64_t Next(const BitRun& run) noexcept
    {
        if (run.isHole) {
            if (run.step != 0) mCarry = mTurn;
            return run.start;
        }
        const Product sum =
            Product{run.step} * mTurn + run.start + mCarry; // below 2^128, as the carry is at most mTurn
        mCarry = static_cast<std::uint64_t>(sum >> run.bits);
        return static_cast<std::uint64_t>(sum) & LowBits(run.bits);
    }

    std::uint64_t GetCarry() const noexcept { return mCarry; }

private:
    std::uint64_t mTurn;
    std::uint64_t mCarry = 0;
};

} // namespace zor::common::detail

#endif // ZOR_COMMON_INDEX_SEQUENCE_H
