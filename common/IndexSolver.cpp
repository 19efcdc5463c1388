#include "IndexSolver.h"

#include <algorithm>
#include <numeric>
#include <tuple>
#include <utility>

namespace zor::common::detail {

namespace {

constexpr std::uint64_t kMaxIndex = ~std::uint64_t{0};

/// In indexes; 0 is 2^64 or more.
std::uint64_t PeriodOf(const TurnCycle& cycle)
{
    std::uint64_t period = 0;
    return __builtin_mul_overflow(cycle.turns, cycle.interval, &period) ? 0 : period;
}

/// How many turns of a cycle have one text.
std::uint64_t AlikeTurns(const TurnCycle& cycle)
{
    return cycle.turns == cycle.unit ? 1 : (cycle.turns - 1) / cycle.unit + 1;
}

/// The indexes of a turn: blocks that come back with a period.
struct Blocks {
    Blocks(const TurnCycle& cycle, std::uint64_t turn) : size(cycle.interval), period(PeriodOf(cycle))
    {
        exists = !__builtin_mul_overflow(turn, cycle.interval, &start);
        last = start + std::min(size - 1, kMaxIndex - start);
    }

    /// The least index from one on that they contain.
    std::optional<std::uint64_t> Next(std::uint64_t index) const
    {
        if (index < start) return start;
        if (index <= last) return index;
        if (period == 0) return std::nullopt;
        const std::uint64_t distance = (index - start) % period;
        if (distance < size) return index;
        if (kMaxIndex - index < period - distance) return std::nullopt;
        return index + (period - distance);
    }

    /// The greatest index down from one on that they contain.
    std::optional<std::uint64_t> Previous(std::uint64_t index) const
    {
        if (index < start) return std::nullopt;
        if (period == 0) return std::min(index, last);
        const std::uint64_t distance = (index - start) % period;
        return distance < size ? index : index - distance + (size - 1);
    }

    std::uint64_t size;
    std::uint64_t period; ///< 0 is 2^64 or more.
    std::uint64_t start = 0;
    std::uint64_t last = 0; ///< Of the first block.
    bool exists = true;
};

} // namespace

IndexSolver::IndexSolver(const std::vector<TurnCycle>& cycles) : mCycles(cycles)
{
    std::vector<std::uint32_t> moving;
    for (std::uint32_t i = 0; i < cycles.size(); ++i) {
        if (cycles[i].turns != 1) moving.push_back(i);
    }
    Plan(moving);
    if (mIsComplete) return;
    // A cycle whose period divides that of another one is told by that one, whose blocks may be shorter.
    IndexSolver longest;
    longest.mCycles = cycles;
    const std::vector<std::uint32_t> first = LongestCycles(moving);
    if (first.empty()) return;
    longest.Plan(first);
    if (!longest.mIsComplete || !longest.mTail.empty()) return;
    std::vector<bool> isJoined(cycles.size());
    for (const std::uint32_t cycle : first) isJoined[cycle] = true;
    for (const std::uint32_t cycle : moving) {
        if (!isJoined[cycle]) longest.Join(cycle);
    }
    *this = std::move(longest);
}

/// Those whose turns last one index, and of all others those whose period divides that of no other; of equal periods the
/// one of the shortest turns. Nothing if too many indexes would have to be tried for them.
std::vector<std::uint32_t> IndexSolver::LongestCycles(std::vector<std::uint32_t> cycles) const
{
    const auto period = [this](std::uint32_t cycle) { return PeriodOf(mCycles[cycle]); };
    std::sort(cycles.begin(), cycles.end(), [&](std::uint32_t left, std::uint32_t right) {
        // 2^64 and more first
        return std::tuple(0 - period(left), mCycles[left].interval, left) <
               std::tuple(0 - period(right), mCycles[right].interval, right);
    });
    std::vector<std::uint32_t> longest;
    std::uint64_t together = 1; // the period of those whose turns last one index
    for (const std::uint32_t cycle : cycles) {
        if (mCycles[cycle].interval != 1) continue;
        longest.push_back(cycle);
        together = CommonPeriod(together, period(cycle));
    }
    const std::size_t shortCount = longest.size();
    std::uint64_t tries = 1;
    for (const std::uint32_t cycle : cycles) {
        const std::uint64_t own = period(cycle);
        if (mCycles[cycle].interval == 1 || together == 0 || (own != 0 && together % own == 0)) continue;
        const bool isTold = std::any_of(
            longest.begin() + static_cast<std::ptrdiff_t>(shortCount), longest.end(),
            [&](std::uint32_t other) { return own != 0 && period(other) % own == 0 && period(other) != 0; });
        if (isTold) continue;
        longest.push_back(cycle);
        if (mCycles[cycle].interval > kMaxTries / tries) return {};
        tries *= mCycles[cycle].interval;
    }
    return longest;
}

/// Whether the residue so far tells the turn.
bool IndexSolver::IsTold(std::size_t cycle) const noexcept
{
    const std::uint64_t period = PeriodOf(mCycles[cycle]);
    return mModulus == 0 || (period != 0 && mModulus % period == 0);
}

/// How many indexes of the blocks of a text suit the residue so far, at most.
std::uint64_t IndexSolver::TriesOf(std::size_t cycle) const noexcept
{
    if (IsTold(cycle)) return 1;
    const std::uint64_t period = PeriodOf(mCycles[cycle]);
    const std::uint64_t shared = period == 0 ? mModulus : std::gcd(mModulus, period);
    const std::uint64_t inBlock = (mCycles[cycle].interval - 1) / shared + 1;
    std::uint64_t tries = 0;
    return __builtin_mul_overflow(inBlock, AlikeTurns(mCycles[cycle]), &tries) ? kMaxIndex : tries;
}

/// Whether each block of a cycle is so long that it holds an index that suits all before it.
bool IndexSolver::AreTail(const std::vector<std::uint32_t>& cycles) const
{
    std::uint64_t period = mModulus; // of all before
    for (const std::uint32_t cycle : cycles) {
        if (period == 0 || mCycles[cycle].interval < period || AlikeTurns(mCycles[cycle]) != 1) return false;
        period = CommonPeriod(period, PeriodOf(mCycles[cycle]));
    }
    return true;
}

void IndexSolver::Join(std::uint32_t cycle)
{
    const std::uint64_t period = PeriodOf(mCycles[cycle]);
    Step step;
    step.cycle = cycle;
    step.isCheck = IsTold(cycle);
    step.interval = mCycles[cycle].interval;
    step.modulus = Divisor(mModulus);
    if (!step.isCheck) {
        step.shared = period == 0 ? mModulus : std::gcd(mModulus, period);
        if (step.shared == mModulus) {
            step.rest = 0;
            mModulus = period;
        } else {
            step.rest = period / step.shared;
            step.inverse = InverseOf(mModulus / step.shared, step.rest);
            mModulus = CommonPeriod(mModulus, period);
        }
    }
    mSteps.push_back(step);
}

void IndexSolver::Plan(std::vector<std::uint32_t> cycles)
{
    // The shortest turns first, of these the longest periods.
    std::sort(cycles.begin(), cycles.end(), [this](std::uint32_t left, std::uint32_t right) {
        const TurnCycle& one = mCycles[left];
        const TurnCycle& other = mCycles[right];
        if (one.interval != other.interval) return one.interval < other.interval;
        return PeriodOf(one) - 1 > PeriodOf(other) - 1;
    });
    bool isUnique = true; // so far
    bool isQuick = true;
    // Each cycle that is not told doubles the modulus at least, so there are 64 rounds at most.
    while (!cycles.empty()) {
        std::vector<std::uint32_t> others;
        for (const std::uint32_t cycle : cycles) {
            if (IsTold(cycle)) {
                Join(cycle);
            } else {
                others.push_back(cycle);
            }
        }
        cycles = std::move(others);
        if (cycles.empty()) break;
        auto best = cycles.end();
        std::uint64_t fewest = kMaxIndex;
        for (auto it = cycles.begin(); it != cycles.end(); ++it) {
            const std::uint64_t tries = TriesOf(*it);
            const std::uint64_t period = PeriodOf(mCycles[*it]);
            if (tries == 1 && (period == 0 || period % mModulus == 0)) {
                best = it; // which needs no division; nothing is better
                fewest = 1;
                break;
            }
            if (tries < fewest) {
                fewest = tries;
                best = it;
            }
        }
        if (fewest != 1 && AreTail(cycles)) {
            mTail = std::move(cycles);
            break;
        }
        if (fewest > kMaxTries / mTries) {
            mIsComplete = false;
            mOthers = std::move(cycles);
            break;
        }
        mTries *= fewest;
        isUnique = isUnique && fewest == 1;
        const std::uint32_t cycle = *best;
        cycles.erase(best);
        Join(cycle);
        isQuick = isQuick && isUnique && mSteps.back().rest == 0 && !mCycles[cycle].startsApart;
        if (isQuick) {
            const TurnCycle& quick = mCycles[cycle];
            mQuickSteps.push_back(
                {cycle, quick.interval, std::min(quick.unit - 1, kMaxIndex / quick.interval), mSteps.back().modulus});
            mQuickModulus = mModulus;
        }
        if (isUnique) mDistance = mModulus;
    }
    // A cycle that starts apart tells more than a residue.
    mIsQuick = mIsComplete && mTail.empty() && mQuickModulus == mModulus &&
               std::none_of(mCycles.begin(), mCycles.end(), [](const TurnCycle& cycle) { return cycle.startsApart; });
}

/// Whether a cycle shows the text that was read, which counts as one of the turns other than 0 of a cycle that starts apart
/// and has no count: the bounds of a search tell these from turn 0.
bool IndexSolver::Accepts(std::uint32_t cycle, const KnownTurn& known, std::uint64_t index) const noexcept
{
    const TurnCycle& one = mCycles[cycle];
    std::uint64_t turn = index / one.interval;
    if (one.turns != 0) turn %= one.turns;
    if (one.startsApart && one.hasCount && (turn == 0) != known.isFirst) return false;
    return (one.unit == 0 ? turn : turn % one.unit) == known.turn;
}

bool IndexSolver::Suits(const std::vector<KnownTurn>& turns, std::uint64_t index) const noexcept
{
    for (std::uint32_t i = 0; i < mCycles.size(); ++i) {
        const TurnCycle& cycle = mCycles[i];
        if (cycle.startsApart && !cycle.hasCount && (index < cycle.interval) != turns[i].isFirst) return false;
        if (!Accepts(i, turns[i], index)) return false;
    }
    return true;
}

/// One search.
struct IndexSolver::Search {
    const IndexSolver& solver;
    const std::vector<KnownTurn>& turns;
    IndexBounds bounds;
    bool isLast; ///< Whether the greatest index is wanted.
    std::vector<Blocks> tail = {};
    std::optional<std::uint64_t> best = {};

    /// Calls \a visit with the blocks of each turn that has the text that was read.
    template <class Visit>
    void VisitBlocks(std::uint32_t place, Visit visit) const
    {
        const TurnCycle& cycle = solver.mCycles[place];
        const KnownTurn& known = turns[place];
        std::uint64_t turn = known.turn;
        for (;;) {
            // Of a cycle that starts apart and has a count, turn 0 is not alike the others.
            if (!cycle.startsApart || !cycle.hasCount || (turn == 0) == known.isFirst) {
                const Blocks blocks(cycle, turn);
                if (!blocks.exists) return;
                visit(blocks);
            }
            if (cycle.turns == cycle.unit || cycle.turns - turn <= cycle.unit) return;
            turn += cycle.unit;
        }
    }

    /// Takes the nearest index of a residue that suits the blocks at the end.
    void Finish(std::uint64_t residue)
    {
        const std::uint64_t modulus = solver.mModulus;
        std::uint64_t index = isLast ? bounds.last : bounds.first;
        for (bool isMoved = true; isMoved;) {
            isMoved = false;
            for (auto blocks = tail.rbegin(); blocks != tail.rend(); ++blocks) {
                const std::optional<std::uint64_t> next = isLast ? blocks->Previous(index) : blocks->Next(index);
                if (!next) return;
                isMoved = isMoved || *next != index;
                index = *next;
            }
            if (isLast) {
                if (index < residue) return;
                const std::uint64_t above = modulus == 0 ? index - residue : (index - residue) % modulus;
                isMoved = isMoved || above != 0;
                index -= above;
            } else if (index <= residue) {
                index = residue; // which each block holds too, as it is at least as long as the modulus
            } else {
                if (modulus == 0) return;
                const std::uint64_t below = (index - residue) % modulus;
                if (below == 0) continue;
                if (kMaxIndex - index < modulus - below) return;
                index += modulus - below;
                isMoved = true;
            }
            if (tail.empty()) break;
        }
        if (index < bounds.first || index > bounds.last) return;
        for (const std::uint32_t place : solver.mOthers) {
            if (!solver.Accepts(place, turns[place], index)) return;
        }
        if (!best || (isLast ? index > *best : index < *best)) best = index;
    }

    /// Joins the cycles from a step on to a residue.
    void Join(std::size_t place, std::uint64_t residue)
    {
        if (place == solver.mSteps.size()) return Finish(residue);
        const Step& step = solver.mSteps[place];
        if (step.isCheck) {
            if (solver.Accepts(step.cycle, turns[step.cycle], residue)) Join(place + 1, residue);
            return;
        }
        const std::uint64_t modulus = step.modulus.GetNumber();
        VisitBlocks(step.cycle, [&](const Blocks& blocks) {
            // The indexes of the block that suit the residue modulo what both have in common.
            const std::uint64_t wanted = residue % step.shared;
            const std::uint64_t from = blocks.start % step.shared;
            const std::uint64_t up = wanted >= from ? wanted - from : wanted + (step.shared - from);
            if (up > blocks.last - blocks.start) return;
            for (std::uint64_t index = blocks.start + up;; index += step.shared) {
                if (step.rest == 0) {
                    Join(place + 1, index);
                } else {
                    const std::uint64_t there = index / step.shared % step.rest;
                    const std::uint64_t here = residue / step.shared % step.rest;
                    const std::uint64_t distance = there >= here ? there - here : there + (step.rest - here);
                    const auto times = static_cast<std::uint64_t>(Product{distance} * step.inverse % step.rest);
                    std::uint64_t joined = 0; // where that is 2^64 or more, there is no such index
                    if (!__builtin_mul_overflow(times, modulus, &joined) &&
                        !__builtin_add_overflow(joined, residue, &joined)) {
                        Join(place + 1, joined);
                    }
                }
                if (blocks.last - index < step.shared) break;
            }
        });
    }

    std::optional<std::uint64_t> Run()
    {
        for (std::size_t i = 0; i < solver.mCycles.size(); ++i) {
            const TurnCycle& cycle = solver.mCycles[i];
            if (!cycle.startsApart || cycle.hasCount) continue;
            if (turns[i].isFirst) {
                bounds.last = std::min(bounds.last, cycle.interval - 1);
            } else {
                bounds.first = std::max(bounds.first, cycle.interval);
            }
        }
        if (!solver.mIsComplete) bounds.last = std::min(bounds.last, solver.mModulus - 1);
        if (bounds.first > bounds.last) return std::nullopt;
        for (const std::uint32_t cycle : solver.mTail) {
            tail.emplace_back(solver.mCycles[cycle], turns[cycle].turn);
            if (!tail.back().exists) return std::nullopt;
        }
        Join(0, 0);
        return best;
    }
};

std::optional<std::uint64_t> IndexSolver::FindFirst(const std::vector<KnownTurn>& turns, IndexBounds bounds) const
{
    return Search{*this, turns, bounds, false}.Run();
}

std::optional<std::uint64_t> IndexSolver::FindLast(const std::vector<KnownTurn>& turns, IndexBounds bounds) const
{
    return Search{*this, turns, bounds, true}.Run();
}

} // namespace zor::common::detail
