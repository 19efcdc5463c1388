#include "FrameLayers.h"
#include "IndexCounter.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <optional>
#include <utility>

namespace zor::common::detail {

namespace {

/// What counts in a flow: turn t, modulo the count, shows value t modulo the sums; of a list, the number of a value.
struct FlowField {
    std::uint64_t interval;
    std::uint64_t count; ///< Of turns before it starts again; 0 for 2^64 and more.
    std::uint64_t sums;  ///< How many different values there are at most; 0 for 2^64 and more.
    std::optional<IndexOrder> order;
    std::vector<std::uint64_t> values; ///< Of a list, a number for each turn, the same for the same value.

    /// \param columns  of the table that the field stands for, if it has one.
    explicit FlowField(const FrameField& field, const std::vector<std::size_t>& columns = {})
        : interval(field.interval), count(field.count), sums(field.CountSums())
    {
        if (field.isShuffled) order = field.GetOrder();
        if (field.table) {
            NumberRows(*field.table, columns);
        } else if (count == 0 || (!order && sums != 0 && count % sums == 0)) {
            count = sums;
        }
    }

    bool HasOwnTurns() const { return sums == 0 || (count != 0 && count <= sums); } ///< Whether no value comes twice.
    std::uint64_t CountValues() const { return sums == 0 || count == 0 ? count : std::min(count, sums); }
    std::uint64_t ValueAt(std::uint64_t index) const
    {
        const std::uint64_t place = index / interval % count;
        const std::uint64_t turn = order ? order->GetIndexAt(place) : place;
        if (!values.empty()) return values[turn];
        return sums == 0 ? turn : turn % sums;
    }

private:
    void NumberRows(const FrameTable& table, const std::vector<std::size_t>& columns)
    {
        const auto isLess = [&](std::size_t left, std::size_t right) {
            for (const std::size_t column : columns) {
                const Uint128& one = table.cells[left * table.columns + column];
                const Uint128& other = table.cells[right * table.columns + column];
                if (!(one == other)) return one < other;
            }
            return false;
        };
        std::vector<std::size_t> rows(table.CountRows());
        std::iota(rows.begin(), rows.end(), std::size_t{0});
        std::sort(rows.begin(), rows.end(), isLess);
        values.resize(rows.size());
        sums = 0;
        for (std::size_t i = 0; i < rows.size(); ++i) {
            if (i == 0 || isLess(rows[i - 1], rows[i])) ++sums;
            values[rows[i]] = sums - 1;
        }
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
    std::map<std::size_t, std::vector<std::size_t>> columns; // of tables by rows
    const auto visit = [this](auto see) {
        for (const FrameLayer& layer : layers) {
            for (const FrameField& field : layer.fields) {
                if (field.isCounting) see(field, layer.kind == LayerKind::Number);
            }
        }
        for (const FrameField& field : spans) {
            if (field.isCounting) see(field, false);
        }
    };
    visit([&](const FrameField& field, bool isNumber) {
        if (field.rows != 0 && (field.isCrossed || !isNumber)) columns[field.rows].push_back(field.column);
    });
    visit([&](const FrameField& field, bool isNumber) {
        if (!field.isCrossed && isNumber) return;
        const auto table = columns.find(field.rows);
        if (field.rows != 0 && table->second.front() != field.column) return; // one field stands for all
        const FlowField flow(field, field.rows != 0 ? table->second : std::vector<std::size_t>{field.column});
        if (field.isCrossed) crossed.push_back(flow);
        if (!isNumber) others.push_back(flow);
    });
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
