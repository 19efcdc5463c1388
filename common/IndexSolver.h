#ifndef ZOR_COMMON_INDEX_SOLVER_H
#define ZOR_COMMON_INDEX_SOLVER_H

/// \file
/// Internal: from turns back to an index.

#include "IndexSequence.h"
#include "TurnReader.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace zor::common::detail {

/// A turn that was read.
struct KnownTurn {
    std::uint64_t turn = 0; ///< Modulo the unit of its cycle.
    bool isFirst = false;   ///< Of a cycle that starts apart: whether it is turn 0 itself.
};

/// Indexes from \a first to \a last, both included.
struct IndexBounds {
    std::uint64_t first = 0;
    std::uint64_t last = ~std::uint64_t{0};
};

/// Raises a residue to the least index within bounds that has it.
/// \param modulus  none is 2^64.
/// \return         false if there is none.
inline bool RaiseToFirst(std::uint64_t& residue, const Divisor& modulus, const IndexBounds& bounds) noexcept
{
    if (residue < bounds.first) {
        if (modulus.GetNumber() == 0) return false;
        const std::uint64_t rest = modulus.Remainder(bounds.first - residue);
        const std::uint64_t up = rest == 0 ? 0 : modulus.GetNumber() - rest;
        if (__builtin_add_overflow(bounds.first, up, &residue)) return false;
    }
    return residue <= bounds.last;
}

/// Finds the indexes at which given cycles have given turns.
///
/// A turn leaves a block of as many indexes as a turn lasts, which comes back with the period of the cycle. Residues of
/// the index are joined, from one cycle to the next, by the Chinese remainder theorem. Where the residue so far leaves
/// several indexes of a block, each one is tried. Blocks so long that each holds a suitable index are left to the end, where
/// the nearest one is sought. How many indexes have to be tried does not depend on the turns.
class IndexSolver {
public:
    /// The most indexes that are tried.
    static constexpr std::uint64_t kMaxTries = 65536;

    IndexSolver() = default; ///< Of no cycle: any index will do.

    explicit IndexSolver(const std::vector<TurnCycle>& cycles);

    /// All indexes below are found; 0 is 2^64. For 1, the turns say nothing.
    std::uint64_t GetLimit() const noexcept { return mIsComplete ? 0 : mModulus; }

    /// Indexes of the same turns are at least so far apart; 0 is 2^64.
    std::uint64_t GetDistance() const noexcept { return mDistance; }

    /// A cycle that is joined without a division. What the first ones tell together is a residue of the index, which is 0
    /// modulo 1 to begin with.
    struct QuickStep {
        std::uint32_t cycle = 0;
        std::uint64_t interval = 1; ///< Of the cycle.
        std::uint64_t lastTurn = 0; ///< Above it, nothing is shown by an index below 2^64.
        Divisor modulus;            ///< Of the residue so far.

        /// Takes in a turn up to the last one. False if no index has this one and the others.
        bool Join(std::uint64_t& residue, std::uint64_t turn) const noexcept
        {
            const std::uint64_t block = turn * interval;
            const std::uint64_t there = modulus.Remainder(block);
            const std::uint64_t up = residue >= there ? residue - there : residue + (modulus.GetNumber() - there);
            return up < interval && !__builtin_add_overflow(block, up, &residue);
        }
    };
    const std::vector<QuickStep>& GetQuickSteps() const noexcept { return mQuickSteps; }
    std::uint64_t GetQuickModulus() const noexcept { return mQuickModulus; } ///< Of all of them; 0 is 2^64.

    /// Whether these cycles tell all others too, so that all indexes of their residue have the same texts or none has.
    bool IsQuick() const noexcept { return mIsQuick; }

    /// The least index within the bounds, or the greatest one.
    /// \param turns  one for each cycle.
    std::optional<std::uint64_t> FindFirst(const std::vector<KnownTurn>& turns, IndexBounds bounds) const;
    std::optional<std::uint64_t> FindLast(const std::vector<KnownTurn>& turns, IndexBounds bounds) const;

    /// Whether an index has the turns. It may be at the limit or above, where no search finds it.
    bool Suits(const std::vector<KnownTurn>& turns, std::uint64_t index) const noexcept;

    /// How many indexes one search tries, at most.
    std::uint64_t GetTries() const noexcept { return mTries; }

private:
    /// A cycle that is joined to a residue.
    struct Step {
        std::uint32_t cycle = 0;
        bool isCheck = false;       ///< Whether the residue so far tells the turn.
        std::uint64_t interval = 1; ///< Of the cycle.
        Divisor modulus;            ///< Of the residue so far; none is 2^64.
        std::uint64_t shared = 1;   ///< What that has in common with the period.
        std::uint64_t rest = 1;     ///< The period without that. 0 where the period is a multiple of the modulus.
        std::uint64_t inverse = 0;  ///< Of the modulus without what is shared, modulo the rest.
    };
    struct Search;

    std::uint64_t TriesOf(std::size_t cycle) const noexcept;
    bool IsTold(std::size_t cycle) const noexcept;
    bool Accepts(std::uint32_t cycle, const KnownTurn& known, std::uint64_t index) const noexcept;
    bool AreTail(const std::vector<std::uint32_t>& cycles) const;
    void Join(std::uint32_t cycle);
    void Plan(std::vector<std::uint32_t> cycles);
    std::vector<std::uint32_t> LongestCycles(std::vector<std::uint32_t> cycles) const;

    std::vector<TurnCycle> mCycles;
    std::vector<Step> mSteps;
    std::vector<std::uint32_t> mTail;   ///< Cycles of long blocks, the shortest ones first.
    std::vector<std::uint32_t> mOthers; ///< Cycles that are not joined, as too many indexes would have to be tried.
    std::uint64_t mModulus = 1;         ///< Of all steps together; 0 is 2^64.
    std::uint64_t mTries = 1;
    std::uint64_t mDistance = 1;
    std::vector<QuickStep> mQuickSteps;
    std::uint64_t mQuickModulus = 1;
    bool mIsComplete = true;
    bool mIsQuick = true;
};

} // namespace zor::common::detail

#endif // ZOR_COMMON_INDEX_SOLVER_H
