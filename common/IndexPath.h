#ifndef ZOR_COMMON_INDEX_PATH_H
#define ZOR_COMMON_INDEX_PATH_H

/// \file
/// Internal: where the values of a template stand in traffic that is made of several.

#include "IndexOrder.h"
#include "IndexSequence.h"
#include "IndexSolver.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace zor::common::detail {

/// Where the values of a part stand among those of the whole. An index of the part is an inner index, and one of the whole
/// an outer index.
class TrafficPlace {
public:
    /// In each round of \a total outer indexes the part has \a count in a row.
    /// \param total  0 is 2^64 and more, so that there is one round.
    /// \param start  of the part, in each round.
    TrafficPlace(std::uint64_t total, std::uint64_t start, std::uint64_t count)
        : mTotal(total), mStart(start), mCount(count)
    {
    }

    /// In each round of \a total outer indexes the part has some.
    /// \param places  ascending, below the total.
    TrafficPlace(std::uint64_t total, std::vector<std::uint32_t> places)
        : mTotal(total), mCount(places.size()), mPlaces(std::move(places))
    {
    }

    /// The part has all outer indexes, in another order.
    explicit TrafficPlace(const IndexOrder& order) : mOrder(order) {}

    /// Null where inner and outer indexes ascend together.
    const IndexOrder* GetOrder() const noexcept { return mOrder ? &*mOrder : nullptr; }

    /// \param outer  an index of the part.
    std::uint64_t InnerOf(std::uint64_t outer) const noexcept
    {
        return mOrder ? mOrder->GetIndexAt(outer) : CountBelow(outer);
    }

    /// Without an order: nothing from 2^64 on.
    std::optional<std::uint64_t> OuterOf(std::uint64_t inner) const noexcept;

    /// Without an order: the inner indexes of outer ones. Nothing if there are none.
    std::optional<IndexBounds> InnerOf(const IndexBounds& outer) const noexcept;

    /// After how many outer indexes a number starts again.
    /// \param inner  after how many inner ones it does, here and in the result 0 for 2^64 and more, or never.
    std::uint64_t PeriodOf(std::uint64_t inner) const noexcept;

private:
    std::uint64_t CountBelow(std::uint64_t outer) const noexcept;

    Divisor mTotal;
    std::uint64_t mStart = 0;
    Divisor mCount;
    std::vector<std::uint32_t> mPlaces; ///< Empty where they are in a row.
    std::optional<IndexOrder> mOrder;
};

/// Where the values of a template stand in traffic, through all that this is made of.
class IndexPath {
public:
    /// The most candidates that are looked at for one value.
    static constexpr std::uint64_t kMaxTries = IndexSolver::kMaxTries;
    static constexpr std::uint64_t kAll = ~std::uint64_t{0}; ///< As a count, all 2^64.

    /// Whether the template is the whole.
    bool IsWhole() const noexcept { return mPlaces.empty(); }

    /// The path of the same template in something of which the whole so far is a part.
    IndexPath In(std::shared_ptr<const TrafficPlace> place) const;

    /// Whether outer indexes do not ascend with inner ones.
    bool HasOrder() const noexcept { return mHasOrder; }

    /// The inner indexes that are shown at all. Nothing if there are none.
    std::optional<IndexBounds> GetReach() const noexcept;

    /// Without an order, as for TrafficPlace.
    std::optional<std::uint64_t> OuterOf(std::uint64_t inner) const noexcept;
    std::optional<IndexBounds> InnerOf(IndexBounds outer) const noexcept;

    /// The least outer index within bounds that shows an inner one, or the greatest one.
    std::optional<std::uint64_t> FirstShowing(std::uint64_t inner, const IndexBounds& outer) const;
    std::optional<std::uint64_t> LastShowing(std::uint64_t inner, const IndexBounds& outer) const;

    std::uint64_t PeriodOf(std::uint64_t inner) const noexcept;

    /// All outer indexes below are found from the value, if there are not too many candidates.
    /// \param inner  the same for inner indexes.
    std::uint64_t ReadableCount(std::uint64_t inner) const noexcept;

    /// How many indexes have to be tried for one value behind an order. Without one, 1.
    /// \param distance  inner indexes of the same value are at least so far apart; 0 is 2^64.
    /// \param tries     for each inner index.
    /// \return          more than kMaxTries for any number above it.
    std::uint64_t CountTries(std::uint64_t distance, std::uint64_t tries) const noexcept;

    /// Whether outer indexes within bounds show no value twice.
    /// \param distance  as for CountTries().
    bool ShowsOnce(const IndexBounds& outer, std::uint64_t distance) const noexcept;

private:
    enum class End { First, Last };
    template <End kEnd>
    std::optional<std::uint64_t> Showing(std::size_t level, std::uint64_t inner, const IndexBounds& outer) const;

    std::vector<std::shared_ptr<const TrafficPlace>> mPlaces; ///< The outermost one first.
    bool mHasOrder = false;
};

/// An index of a template, and that of the traffic which shows it.
struct PlacedIndex {
    std::uint64_t inner = 0;
    std::uint64_t outer = 0;
};

/// Calls \a visit with the inner indexes that a search finds and that are shown, until it returns true.
/// \param search  has FindFirst() and FindLast() within bounds, as IndexSolver.
template <class Search, class Visit>
void VisitShown(const IndexPath& path, const Search& search, Visit visit)
{
    const std::optional<IndexBounds> reach = path.GetReach();
    if (!reach) return;
    std::uint64_t next = reach->first;
    for (std::uint64_t tries = 0; tries < IndexPath::kMaxTries; ++tries) {
        const std::optional<std::uint64_t> inner = search.FindFirst({next, reach->last});
        if (!inner || visit(*inner) || *inner == reach->last) return;
        next = *inner + 1;
    }
}

/// The least outer index within bounds that a search finds. False if there is none.
template <class Search>
bool FindFirst(const IndexPath& path, const IndexBounds& outer, const Search& search, PlacedIndex& first)
{
    bool isFound = false;
    if (path.HasOrder()) {
        VisitShown(path, search, [&](std::uint64_t inner) {
            const std::optional<std::uint64_t> at = path.FirstShowing(inner, outer);
            if (at && (!isFound || *at < first.outer)) first = {inner, *at};
            isFound = isFound || at;
            return false;
        });
    } else if (const std::optional<IndexBounds> bounds = path.InnerOf(outer)) {
        const std::optional<std::uint64_t> inner = search.FindFirst(*bounds);
        isFound = inner.has_value();
        if (isFound) first = {*inner, *path.OuterOf(*inner)};
    }
    return isFound;
}

/// Finds indexes of one residue.
struct ResidueSearch {
    std::uint64_t residue;
    const Divisor& modulus; ///< None is 2^64.

    bool FindFirst(const IndexBounds& bounds, std::uint64_t& index) const noexcept
    {
        index = residue;
        return RaiseToFirst(index, modulus, bounds);
    }

    std::optional<std::uint64_t> FindFirst(const IndexBounds& bounds) const noexcept
    {
        std::uint64_t index = 0;
        return FindFirst(bounds, index) ? std::optional<std::uint64_t>(index) : std::nullopt;
    }

    std::optional<std::uint64_t> FindLast(const IndexBounds& bounds) const noexcept
    {
        if (residue > bounds.last) return std::nullopt;
        std::uint64_t index = residue;
        if (modulus.GetNumber() != 0) index = bounds.last - modulus.Remainder(bounds.last - residue);
        return index >= bounds.first ? std::optional<std::uint64_t>(index) : std::nullopt;
    }

    bool Suits(std::uint64_t index) const noexcept
    {
        return residue == (modulus.GetNumber() == 0 ? index : modulus.Remainder(index));
    }

    /// How many indexes one search tries, at most.
    static constexpr std::uint64_t GetTries() noexcept { return 1; }
};

/// Finds indexes that have the turns that were read.
struct TurnSearch {
    const IndexSolver& solver;
    const std::vector<KnownTurn>& turns;

    bool FindFirst(const IndexBounds& bounds, std::uint64_t& index) const
    {
        const std::optional<std::uint64_t> first = FindFirst(bounds);
        index = first.value_or(0);
        return first.has_value();
    }

    std::optional<std::uint64_t> FindFirst(const IndexBounds& bounds) const { return solver.FindFirst(turns, bounds); }
    std::optional<std::uint64_t> FindLast(const IndexBounds& bounds) const { return solver.FindLast(turns, bounds); }
    bool Suits(std::uint64_t index) const noexcept { return solver.Suits(turns, index); }
    std::uint64_t GetTries() const noexcept { return solver.GetTries(); }
};

} // namespace zor::common::detail

#endif // ZOR_COMMON_INDEX_PATH_H
