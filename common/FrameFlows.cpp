#include "FrameLayers.h"
#include "IndexCounter.h"

#include <algorithm>
#include <utility>

namespace zor::common::detail {

namespace {

/// A counter of a flow: turn t, modulo the count, shows value t modulo the sums.
struct FlowField {
    std::uint64_t interval;
    std::uint64_t count; ///< Of turns before it starts again; 0 for 2^64 and more.
    std::uint64_t sums;  ///< 0 for 2^64 and more.

    explicit FlowField(const FrameField& field) : interval(field.interval), count(field.count), sums(field.CountSums())
    {
        if (count == 0 || (sums != 0 && count % sums == 0)) count = sums;
    }

    bool HasOwnTurns() const { return sums == 0 || (count != 0 && count <= sums); } ///< Whether no value comes twice.
    std::uint64_t CountValues() const { return sums == 0 || count == 0 ? count : std::min(count, sums); }
    std::uint64_t ValueAt(std::uint64_t index) const
    {
        const std::uint64_t turn = index / interval % count;
        return sums == 0 ? turn : turn % sums;
    }
};

std::uint64_t Multiplied(std::uint64_t left, std::uint64_t right)
{
    std::uint64_t product = 0;
    return __builtin_mul_overflow(left, right, &product) ? 0 : product;
}

/// The number of different combinations that indexes below \a period show.
std::uint64_t CountCombinations(const std::vector<FlowField>& fields, std::uint64_t period)
{
    // Each field splits the groups of indexes that have looked alike so far.
    std::vector<std::uint64_t> groups(period);
    std::uint64_t count = 1;
    for (const FlowField& field : fields) {
        std::vector<std::pair<std::uint64_t, std::uint64_t>> seen(period);
        for (std::uint64_t i = 0; i < period; ++i) seen[i] = {groups[i], field.ValueAt(i)};
        std::vector<std::pair<std::uint64_t, std::uint64_t>> different = seen;
        std::sort(different.begin(), different.end());
        different.erase(std::unique(different.begin(), different.end()), different.end());
        for (std::uint64_t i = 0; i < period; ++i) {
            const auto found = std::lower_bound(different.begin(), different.end(), seen[i]);
            groups[i] = static_cast<std::uint64_t>(found - different.begin());
        }
        count = different.size();
    }
    return count;
}

} // namespace

std::uint64_t FrameStack::CountFlows() const
{
    std::vector<FlowField> crossed;
    std::vector<FlowField> others;
    const auto add = [&](const FrameField& field, bool isNumber) {
        if (!field.isCounting) return;
        if (field.isCrossed) crossed.emplace_back(field);
        if (!isNumber) others.emplace_back(field);
    };
    for (const FrameLayer& layer : layers) {
        for (const FrameField& field : layer.fields) add(field, layer.kind == LayerKind::Number);
    }
    for (const FrameField& field : spans) add(field, false);
    std::uint64_t flows = 1;
    for (const FlowField& field : crossed) flows = Multiplied(flows, field.CountValues());
    if (!crossed.empty()) return flows;

    others.erase(std::remove_if(others.begin(), others.end(), [](const auto& f) { return f.CountValues() == 1; }),
                 others.end());
    if (others.size() == 1) return others[0].CountValues();
    std::sort(others.begin(), others.end(), [](const auto& l, const auto& r) { return l.interval < r.interval; });
    std::uint64_t turns = 1;                                      // of the fields that have the present interval
    std::uint64_t period = 1;                                     // in indexes
    bool isOdometer = !others.empty() && others[0].HasOwnTurns(); // whether each interval is full turns of those below
    for (std::size_t i = 0; i < others.size(); ++i) {
        const FlowField& field = others[i];
        const bool isNext = i != 0 && field.interval != others[i - 1].interval;
        if (isNext) {
            const std::uint64_t below = Multiplied(turns, others[i - 1].interval);
            isOdometer = isOdometer && below != 0 && field.interval % below == 0;
            flows = Multiplied(flows, turns);
            turns = 1;
        }
        isOdometer = isOdometer && field.HasOwnTurns();
        turns = CommonPeriod(turns, field.count);
        period = CommonPeriod(period, Multiplied(field.count, field.interval));
    }
    if (isOdometer || others.empty()) return Multiplied(flows, turns);
    constexpr std::uint64_t kMaxTried = 65536;
    return period == 0 || period > kMaxTried ? 0 : CountCombinations(others, period);
}

} // namespace zor::common::detail
