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

/// Finds the indexes at which given cycles have given turns.
///
/// A turn leaves a block of as many indexes as a turn lasts, which comes back with the period of the cycle. Residues of
/// the index are joined, from one cycle to the next, by the Chinese remainder theorem. Where the residue so far leaves
/// several indexes of a block, each one is tried; but for those blocks that are so long that each of them holds an index
/// that suits all others, which are sought at the end. How many indexes have to be tried does not depend on the turns.
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

    /// \name The fast path
    /// Cycles that are joined without a division, from QuickCycle(0) on. What they tell is a residue of the index, which is
    /// 0 modulo 1 to begin with.
    /// \{
    std::size_t GetQuickCount() const noexcept { return mQuickCount; }
    std::uint32_t GetQuickCycle(std::size_t place) const noexcept { return mSteps[place].cycle; }
    std::uint64_t GetQuickModulus() const noexcept { return mQuickModulus; } ///< Of all of them; 0 is 2^64.

    /// The residue by the turn of one more. Where no index has all the turns, some number.
    std::uint64_t JoinQuick(std::size_t place, std::uint64_t residue, std::uint64_t turn) const noexcept
    {
        const Step& step = mSteps[place];
        const std::uint64_t block = turn * step.interval;
        if (step.interval == 1) return block;
        const std::uint64_t there = step.modulus.Remainder(block);
        return block + (residue >= there ? residue - there : residue + (step.modulus.GetNumber() - there));
    }
    /// \}

    /// The least index within the bounds, or the greatest one.
    /// \param turns  one for each cycle.
    std::optional<std::uint64_t> FindFirst(const std::vector<KnownTurn>& turns, IndexBounds bounds) const;
    std::optional<std::uint64_t> FindLast(const std::vector<KnownTurn>& turns, IndexBounds bounds) const;

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
    bool AreTail(const std::vector<std::uint32_t>& cycles) const;
    void Join(std::uint32_t cycle);
    void Plan(std::vector<std::uint32_t> cycles);
    std::vector<std::uint32_t> LongestCycles(const std::vector<std::uint32_t>& cycles) const;

    std::vector<TurnCycle> mCycles;
    std::vector<Step> mSteps;
    std::vector<std::uint32_t> mTail;   ///< Cycles of long blocks, the shortest ones first.
    std::vector<std::uint32_t> mOthers; ///< Cycles that are not joined, as too many indexes would have to be tried.
    std::uint64_t mModulus = 1;         ///< Of all steps together; 0 is 2^64.
    std::uint64_t mTries = 1;
    std::uint64_t mDistance = 1;
    std::size_t mQuickCount = 0;
    std::uint64_t mQuickModulus = 1;
    bool mIsComplete = true;
};

} // namespace zor::common::detail

#endif // ZOR_COMMON_INDEX_SOLVER_H
