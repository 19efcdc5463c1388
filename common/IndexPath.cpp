#include "IndexPath.h"

#include <algorithm>
#include <numeric>

namespace zor::common::detail {

/// How many outer indexes below one are the part's.
std::uint64_t TrafficPlace::CountBelow(std::uint64_t outer) const noexcept
{
    const std::uint64_t round = mTotal.GetNumber() == 0 ? 0 : mTotal.Quotient(outer);
    const std::uint64_t place = outer - round * mTotal.GetNumber();
    std::uint64_t count = 0;
    if (mPlaces.empty()) {
        count = std::min(place - std::min(place, mStart), mCount.GetNumber());
    } else {
        const auto found = std::lower_bound(mPlaces.begin(), mPlaces.end(), place);
        count = static_cast<std::uint64_t>(found - mPlaces.begin());
    }
    return round * mCount.GetNumber() + count; // at most the outer index
}

std::optional<std::uint64_t> TrafficPlace::OuterOf(std::uint64_t inner) const noexcept
{
    const std::uint64_t round = mCount.Quotient(inner);
    const std::uint64_t place = inner - round * mCount.GetNumber();
    std::uint64_t outer = 0;
    if (mTotal.GetNumber() == 0 ? round != 0 : __builtin_mul_overflow(round, mTotal.GetNumber(), &outer)) {
        return std::nullopt;
    }
    if (!mPlaces.empty()) {
        if (__builtin_add_overflow(outer, mPlaces[static_cast<std::size_t>(place)], &outer)) return std::nullopt;
    } else if (__builtin_add_overflow(outer, mStart, &outer) || __builtin_add_overflow(outer, place, &outer)) {
        return std::nullopt;
    }
    return outer;
}

std::optional<IndexBounds> TrafficPlace::InnerOf(const IndexBounds& outer) const noexcept
{
    const std::uint64_t first = CountBelow(outer.first);
    std::uint64_t end = CountBelow(outer.last);
    if (OuterOf(end) == outer.last) {
        if (end == ~std::uint64_t{0}) return IndexBounds{first, end};
        ++end;
    }
    if (first >= end) return std::nullopt;
    return IndexBounds{first, end - 1};
}

std::uint64_t TrafficPlace::PeriodOf(std::uint64_t inner) const noexcept
{
    if (inner == 1) return 1;
    if (mOrder) return mOrder->GetSize();
    if (inner == 0) return 0;
    std::uint64_t outer = 0; // a round advances the part by its count
    if (__builtin_mul_overflow(mTotal.GetNumber(), inner / std::gcd(inner, mCount.GetNumber()), &outer)) return 0;
    return outer;
}

IndexPath IndexPath::In(std::shared_ptr<const TrafficPlace> place) const
{
    IndexPath path = *this;
    path.mHasOrder = mHasOrder || place->GetOrder() != nullptr;
    path.mPlaces.insert(path.mPlaces.begin(), std::move(place));
    return path;
}

std::optional<IndexBounds> IndexPath::GetReach() const noexcept
{
    std::optional<IndexBounds> reach = IndexBounds{};
    for (const std::shared_ptr<const TrafficPlace>& place : mPlaces) {
        const IndexOrder* const order = place->GetOrder();
        reach = order ? IndexBounds{0, order->GetSize() - 1} : place->InnerOf(*reach);
        if (!reach) return reach;
    }
    return reach;
}

std::optional<std::uint64_t> IndexPath::OuterOf(std::uint64_t inner) const noexcept
{
    std::optional<std::uint64_t> outer = inner;
    for (auto place = mPlaces.rbegin(); outer && place != mPlaces.rend(); ++place) outer = (*place)->OuterOf(*outer);
    return outer;
}

std::optional<IndexBounds> IndexPath::InnerOf(IndexBounds outer) const noexcept
{
    std::optional<IndexBounds> inner = outer;
    for (auto place = mPlaces.begin(); inner && place != mPlaces.end(); ++place) inner = (*place)->InnerOf(*inner);
    return inner;
}

/// \param level  of the path; those before it have been gone through.
template <IndexPath::End kEnd>
std::optional<std::uint64_t> IndexPath::Showing(std::size_t level, std::uint64_t inner, const IndexBounds& outer) const
{
    if (level == mPlaces.size()) {
        return inner >= outer.first && inner <= outer.last ? std::optional<std::uint64_t>(inner) : std::nullopt;
    }
    const TrafficPlace& place = *mPlaces[level];
    if (!place.GetOrder()) {
        const std::optional<IndexBounds> bounds = place.InnerOf(outer);
        if (!bounds) return std::nullopt;
        const std::optional<std::uint64_t> found = Showing<kEnd>(level + 1, inner, *bounds);
        return found ? place.OuterOf(*found) : std::nullopt;
    }
    // An order shows an index in each of its rounds, and may have several that show the inner one.
    const IndexOrder& order = *place.GetOrder();
    const Divisor size(order.GetSize());
    std::optional<std::uint64_t> best;
    IndexBounds left = {0, order.GetSize() - 1};
    for (std::uint64_t tries = 0; tries < kMaxTries; ++tries) {
        const std::optional<std::uint64_t> shown = Showing<End::First>(level + 1, inner, left);
        if (!shown) break;
        const ResidueSearch positions = {order.GetPositionOf(*shown), size};
        const std::optional<std::uint64_t> at =
            kEnd == End::First ? positions.FindFirst(outer) : positions.FindLast(outer);
        if (at && (!best || (kEnd == End::First ? *at < *best : *at > *best))) best = at;
        if (*shown == left.last) break;
        left.first = *shown + 1;
    }
    return best;
}

std::optional<std::uint64_t> IndexPath::FirstShowing(std::uint64_t inner, const IndexBounds& outer) const
{
    return Showing<End::First>(0, inner, outer);
}

std::optional<std::uint64_t> IndexPath::LastShowing(std::uint64_t inner, const IndexBounds& outer) const
{
    return Showing<End::Last>(0, inner, outer);
}

std::uint64_t IndexPath::PeriodOf(std::uint64_t inner) const noexcept
{
    for (auto place = mPlaces.rbegin(); place != mPlaces.rend(); ++place) inner = (*place)->PeriodOf(inner);
    return inner;
}

bool IndexPath::ShowsOnce(const IndexBounds& outer, std::uint64_t distance) const noexcept
{
    std::optional<IndexBounds> bounds = outer;
    for (const std::shared_ptr<const TrafficPlace>& place : mPlaces) {
        const IndexOrder* const order = place->GetOrder();
        if (order && bounds->last - bounds->first > order->GetSize() - 1) return false;
        bounds = order ? IndexBounds{0, order->GetSize() - 1} : place->InnerOf(*bounds);
        if (!bounds) return true;
    }
    return bounds->first == bounds->last || distance == 0 || bounds->last - bounds->first < distance;
}

std::uint64_t IndexPath::CountTries(std::uint64_t distance, std::uint64_t tries) const noexcept
{
    constexpr std::uint64_t kTooMany = kMaxTries + 1;
    std::optional<IndexBounds> reach = IndexBounds{};
    std::uint64_t count = std::min(tries, kTooMany);
    const auto multiply = [&](std::uint64_t more) { // by one more than that
        count = more >= kMaxTries ? kTooMany : std::min(count * (more + 1), kTooMany);
    };
    if (!mHasOrder) return 1;
    bool isInOrder = false;
    for (const std::shared_ptr<const TrafficPlace>& place : mPlaces) {
        const IndexOrder* const order = place->GetOrder();
        if (order) { // rounds of the outermost one need no tries
            if (isInOrder && order->GetSize() != 0) multiply(reach->last / order->GetSize());
            isInOrder = true;
        }
        reach = order ? IndexBounds{0, order->GetSize() - 1} : place->InnerOf(*reach);
        if (!reach) return 1;
    }
    if (distance != 0) multiply((reach->last - reach->first) / distance);
    return count;
}

std::uint64_t IndexPath::ReadableCount(std::uint64_t inner) const noexcept
{
    std::uint64_t count = inner;
    for (auto place = mPlaces.rbegin(); place != mPlaces.rend(); ++place) {
        const IndexOrder* const order = (*place)->GetOrder();
        if (order) {
            count = count == kAll || count > order->GetSize() - 1 ? kAll : 0;
        } else if (count != kAll) {
            count = (*place)->OuterOf(count).value_or(kAll);
        }
    }
    return count;
}

} // namespace zor::common::detail
