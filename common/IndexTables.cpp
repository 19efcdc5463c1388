#include "IndexProgram.h"

#include <algorithm>
#include <utility>

namespace zor::common::detail {

std::uint32_t IndexProgramBuilder::AddOrder(const IndexOrder* order)
{
    if (!order) return 0;
    mProgram->orders.push_back(*order);
    return static_cast<std::uint32_t>(mProgram->orders.size());
}

std::size_t IndexProgramBuilder::AddTable(std::string_view bytes)
{
    const std::size_t first = mProgram->tables.size();
    mProgram->tables += bytes;
    return first;
}

namespace {

/// After how many values a list repeats itself: the least number that divides how many there are. By the borders of the
/// list, of which the longest one tells the least period.
/// \param order  in which the values are shown; null for that of the list.
std::uint64_t RepetitionOf(const ListedExpression& listed, const char* values, const IndexOrder* order)
{
    const auto count = static_cast<std::size_t>(listed.turns.count.GetNumber());
    std::vector<const char*> shown(count);
    for (std::size_t turn = 0; turn < count; ++turn) {
        shown[turn] = values + (order ? order->GetIndexAt(turn) : turn) * listed.distance;
    }
    const auto isSame = [&](std::size_t left, std::size_t right) {
        return std::equal(shown[left], shown[left] + listed.size, shown[right]);
    };
    std::vector<std::size_t> borders(count, 0);
    for (std::size_t i = 1; i < count; ++i) {
        std::size_t border = borders[i - 1];
        while (border != 0 && !isSame(i, border)) border = borders[border - 1];
        borders[i] = isSame(i, border) ? border + 1 : 0;
    }
    const std::size_t shift = count - borders[count - 1];
    return count % shift == 0 ? shift : count;
}

} // namespace

void IndexProgramBuilder::AddListed(ListedExpression listed, const IndexOrder* order)
{
    IndexProgram& program = *mProgram;
    listed.order = AddOrder(order);
    const char* const values = program.tables.data() + listed.first;
    const std::uint64_t count = listed.turns.count.GetNumber();
    const std::uint64_t turns = RepetitionOf(listed, values, order);
    // An order shows every value; without one, a value may last so long that some are never shown.
    const std::uint64_t shown = listed.order != 0 ? count : listed.turns.Last() + 1;
    const std::uint64_t first = listed.order != 0 ? program.orders[listed.order - 1].GetIndexAt(0) : 0;
    const std::string text(values + first * listed.distance, listed.size);
    std::vector<bool> changing(listed.size);
    for (std::uint64_t turn = 0; turn < shown; ++turn) {
        for (std::size_t i = 0; i < listed.size; ++i) {
            if (values[turn * listed.distance + i] != text[i]) changing[i] = true;
        }
    }
    AddExpression(PeriodOf(listed.turns, turns, false), text.size());
    program.expressions.back().motion = Motion::Listed;
    program.expressions.back().interval = listed.turns.interval.GetNumber();
    listed.expression = program.expressions.size() - 1;
    program.listed.push_back(listed);
    IndexField field;
    field.shape = Shape::Listed;
    field.turns = listed.turns;
    field.order = listed.order;
    for (std::size_t i = 0; i < listed.size; i += field.size) {
        const auto from = changing.begin() + static_cast<std::ptrdiff_t>(i);
        field.size = static_cast<std::uint8_t>(std::find(from, changing.end(), !changing[i]) - from);
        if (!changing[i]) continue;
        FieldDetails details;
        details.listed = {listed.first + i, listed.distance};
        AddDetails(field, details);
        field.offset = program.frame.size() + i;
        program.fields.push_back(field);
    }
    AddLiteral(text);
}

void IndexProgramBuilder::AddHole(const std::string& name, std::size_t size)
{
    mProgram->holes.push_back({name, {mProgram->frame.size(), size}});
    mProgram->frame.append(size, '\0');
}

} // namespace zor::common::detail
