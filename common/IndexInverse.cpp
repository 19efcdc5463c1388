#include "IndexInverse.h"

#include "Characters.h"

#include <algorithm>

namespace zor::common::detail {

namespace {

bool IsOfHexGroups(char c)
{
    return c == ':' || IsHexDigit(c);
}

/// Where digits end.
std::size_t EndOfDigits(std::string_view text, std::size_t at)
{
    while (at < text.size() && IsDecimalDigit(text[at])) ++at;
    return at;
}

/// Where a text that begins at a place ends, if that is not told by its size alone; the place itself where it is none.
std::size_t EndOfText(const IndexExpression& expression, std::string_view value, std::size_t at)
{
    switch (expression.extent) {
    case Extent::Digits:
    case Extent::LengthDigits: return EndOfDigits(value, at);
    case Extent::DottedDigits: {
        std::size_t end = EndOfDigits(value, at);
        for (int dot = 0; dot < 3 && end < value.size() && value[end] == '.'; ++dot) end = EndOfDigits(value, end + 1);
        return end;
    }
    case Extent::HexGroups:
        while (at < value.size() && IsOfHexGroups(value[at])) ++at;
        return at;
    default: return at + expression.minSize;
    }
}

} // namespace

IndexInverse::IndexInverse(const IndexProgram& program, const std::vector<bool>& isLeftOut, const IndexRange& grid)
    : mProgram(&program)
{
    if (!program.isFixedSize) TellApart();
    mIsAllRead = mUntold == kNone;
    std::vector<TurnCycle> cycles;
    AddCounters(isLeftOut, cycles);
    AddLists(isLeftOut, cycles);
    TurnCycle every;
    every.turns = every.unit = grid.every;
    mGridTurn = grid.every == 0 ? 0 : grid.first % grid.every;
    cycles.push_back(every);
    mSolver = IndexSolver(cycles);
    PlanQuickTexts();
}

void IndexInverse::AddCounters(const std::vector<bool>& isLeftOut, std::vector<TurnCycle>& cycles)
{
    const auto add = [&](std::size_t i, const TurnReader& reader, const TurnCycle& cycle, const IndexOrder* order) {
        const IndexExpression& expression = mProgram->expressions[i];
        mRead.push_back(static_cast<std::uint32_t>(i));
        mPlaces.push_back({expression.text.offset, expression.text.size, cycle.unit - 1, &reader, nullptr, order});
        cycles.push_back(cycle);
    };
    for (std::size_t i = 0; i < mProgram->expressions.size(); ++i) {
        const IndexExpression& expression = mProgram->expressions[i];
        const bool isCounter = expression.motion == Motion::Counts && expression.IsMoving();
        if (!isCounter || !IsRead(i) || (!isLeftOut.empty() && isLeftOut[i])) continue;
        add(i, expression.reader, expression.reader.GetCycle(), nullptr);
    }
    for (const ShuffledExpression& shuffled : mProgram->shuffled) {
        const std::size_t i = shuffled.expression;
        if (!mProgram->expressions[i].IsMoving() || (!isLeftOut.empty() && isLeftOut[i])) continue;
        const IndexOrder& order = mProgram->orders[shuffled.order - 1];
        const TurnCycle& cycle = shuffled.reader.GetCycle();
        if (cycle.unit == order.GetSize() && !cycle.startsApart) {
            add(i, shuffled.reader, cycle, &order);
        } else {
            mIsAllRead = false; // as several turns have one text
        }
    }
}

/// Columns of one table go through it together, and tell its row together.
void IndexInverse::AddLists(const std::vector<bool>& isLeftOut, std::vector<TurnCycle>& cycles)
{
    const std::vector<ListedExpression>& listed = mProgram->listed;
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < listed.size(); ++i) {
        const std::size_t expression = listed[i].expression;
        if (!isLeftOut.empty() && isLeftOut[expression]) continue;
        if (mProgram->expressions[expression].IsMoving()) places.push_back(i);
    }
    std::sort(places.begin(), places.end(),
              [&](std::size_t left, std::size_t right) { return listed[left].first < listed[right].first; });
    for (auto first = places.begin(); first != places.end();) {
        const ListedExpression& front = listed[*first];
        // The rows of a table stand together, and other tables behind its last row.
        const auto end = std::find_if(first, places.end(), [&](std::size_t place) {
            return listed[place].first - front.first >= front.distance;
        });
        const std::vector<std::size_t> columns(first, end);
        first = end;
        const IndexOrder* const order = front.order == 0 ? nullptr : &mProgram->orders[front.order - 1];
        TurnCycle cycle;
        cycle.interval = front.turns.interval.GetNumber();
        cycle.turns = front.turns.count.GetNumber();
        if (!order) { // rows may repeat themselves
            std::uint64_t period = 1;
            for (const std::size_t column : columns) {
                period = CommonPeriod(period, mProgram->expressions[listed[column].expression].period);
            }
            if (period != 0) cycle.turns = period / cycle.interval;
        }
        cycle.unit = cycle.turns;
        auto reader = std::make_shared<const ListReader>(*mProgram, columns, static_cast<std::size_t>(cycle.turns));
        if (!reader->IsDistinct()) {
            mIsAllRead = false;
            continue;
        }
        mRead.push_back(static_cast<std::uint32_t>(front.expression));
        mPlaces.push_back({0, 0, cycle.unit - 1, nullptr, std::move(reader), order});
        cycles.push_back(cycle);
    }
}

void IndexInverse::PlanQuickTexts()
{
    mIsProven.resize(mProgram->expressions.size());
    mQuickModulus = Divisor(mSolver.GetQuickModulus());
    for (const IndexSolver::QuickStep& step : mSolver.GetQuickSteps()) {
        if (step.cycle == mPlaces.size()) {
            mQuickTexts.push_back({step, {}, {}, step.lastTurn, false});
            continue;
        }
        const Place& place = mPlaces[step.cycle];
        const TurnReader::Word word = place.reader ? place.reader->GetWord() : TurnReader::Word();
        mQuickTexts.push_back({step, word, place, place.lastTurn, true});
        if (word.size != 0) mIsProven[mRead[step.cycle]] = true;
        for (std::size_t i = 0; place.list && i < mProgram->listed.size(); ++i) {
            const std::size_t expression = mProgram->listed[i].expression;
            if (place.list->IsColumn(mProgram->expressions[expression].text.offset)) mIsProven[expression] = true;
        }
    }
    if (!mQuickTexts.empty()) mQuickTexts.front().isResidue = mQuickTexts.front().step.interval == 1;
}

/// Whether it is known where the text of an expression begins and ends.
bool IndexInverse::IsRead(std::size_t expression) const
{
    return expression < mUntold || expression >= mLastVarying;
}

/// Finds the texts whose end can be seen.
void IndexInverse::TellApart()
{
    const IndexProgram& program = *mProgram;
    std::vector<bool> isChanging(program.frame.size() + 1);
    const auto mark = [&](std::size_t offset, std::size_t size) {
        std::fill_n(isChanging.begin() + static_cast<std::ptrdiff_t>(offset), size, true);
    };
    for (const IndexField& field : program.fields) {
        if (field.shape == Shape::Piece) mark(field.offset, field.size);
        if (field.shape != Shape::Pieces) continue;
        const Slice& pieces = program.DetailsOf(field).pieces;
        for (std::size_t i = 0; i < pieces.count; ++i) {
            mark(program.pieces[pieces.first + i].offset, program.pieces[pieces.first + i].size);
        }
    }
    const IndexExpression* behind = nullptr; // the next text, if it is not in the frame
    for (std::size_t i = program.expressions.size(); i-- > 0;) {
        const IndexExpression& expression = program.expressions[i];
        if (expression.extent == Extent::InFrame || expression.extent == Extent::Nowhere) continue;
        mLastVarying = std::max(mLastVarying, i + 1);
        const std::size_t end = expression.text.offset;
        const bool isBeforeText = behind && behind->text.offset == end;
        // What is behind a length of bytes may be a digit by chance.
        const bool isBeforeBytes = isBeforeText && behind->extent == Extent::LengthBytes;
        behind = &expression;
        if (expression.extent == Extent::LengthBytes) continue;
        if (expression.extent == Extent::TwoSizes || isBeforeBytes) {
            if (mOpenEnded != kNone) mUntold = i;
            mOpenEnded = i;
            mLargestOpenEnd = expression.maxSize;
        } else if (isBeforeText) {
            mUntold = i;
        } else if (end != program.frame.size()) {
            const char c = program.frame[end];
            const bool isOfText = expression.extent == Extent::HexGroups ? IsOfHexGroups(c) : IsDecimalDigit(c);
            if (isOfText || isChanging[end]) mUntold = i;
        }
    }
    if (mUntold == kNone) {
        const auto isVarying = [](const IndexExpression& expression) {
            return expression.minSize != expression.maxSize;
        };
        // Where no other text varies, the size of the value tells where this one ends.
        mHasOneReading = mOpenEnded == kNone ||
                         std::count_if(program.expressions.begin(), program.expressions.end(), isVarying) == 1;
        return;
    }
    mUntold = std::min(mUntold, mOpenEnded);
    mOpenEnded = kNone;
    mLargestOpenEnd = 0;
}

bool IndexInverse::ReadFrame(std::string_view value, std::vector<KnownTurn>& turns) const
{
    for (std::size_t i = 0; i < mPlaces.size(); ++i) {
        const Place& place = mPlaces[i];
        const std::optional<std::uint64_t> read = place.Read(value.data());
        if (!read || *read > place.lastTurn) return false;
        turns[i].turn = place.order ? place.order->GetPositionOf(*read) : *read;
        turns[i].isFirst = place.reader && place.reader->GetCycle().startsApart &&
                           place.reader->IsFirst(value.data() + place.offset, place.size);
    }
    return true;
}

/// \param openEnd  the size of the text whose end cannot be seen.
bool IndexInverse::ReadText(std::string_view value, std::size_t openEnd, std::vector<KnownTurn>& turns) const
{
    std::size_t shift = 0; // from places in the frame to places in the value, modulo 2^64
    std::size_t cycle = 0;
    for (std::size_t i = 0; i < mProgram->expressions.size(); ++i) {
        if (i == mUntold) { // what is behind the last such text is read from the end
            i = mLastVarying;
            shift = value.size() - mProgram->frame.size();
            if (i == mProgram->expressions.size()) break;
        }
        const IndexExpression& expression = mProgram->expressions[i];
        const std::size_t start = expression.text.offset + shift;
        if (start > value.size()) return false;
        std::size_t end = start + expression.text.size;
        if (expression.extent != Extent::InFrame && expression.extent != Extent::Nowhere) {
            end = mOpenEnded == i ? start + openEnd : EndOfText(expression, value, start);
            shift += end - start;
        }
        if (end > value.size()) return false;
        if (cycle < mRead.size() && mRead[cycle] == i) {
            const Place& place = mPlaces[cycle]; // of a counter, as lists stand in frames alone
            const std::string_view text = value.substr(start, end - start);
            const std::optional<std::uint64_t> read = place.reader->Read(text.data(), text.size());
            if (!read || *read > place.lastTurn) return false;
            turns[cycle].turn = *read;
            turns[cycle].isFirst =
                place.reader->GetCycle().startsApart && place.reader->IsFirst(text.data(), text.size());
            ++cycle;
        }
    }
    return value.size() == mProgram->frame.size() + shift;
}

} // namespace zor::common::detail
