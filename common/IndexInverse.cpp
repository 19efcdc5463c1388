#include "IndexInverse.h"

#include "AddressForms.h"

#include <algorithm>

namespace zor::common::detail {

namespace {

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool IsOfHexGroups(char c)
{
    return c == ':' || HexDigitValue(c) <= 15;
}

/// Where digits end.
std::size_t EndOfDigits(std::string_view text, std::size_t at)
{
    while (at < text.size() && IsDigit(text[at])) ++at;
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
    std::vector<TurnCycle> cycles;
    for (std::uint32_t i = 0; i < program.expressions.size(); ++i) {
        const IndexExpression& expression = program.expressions[i];
        if (!expression.reader.IsMoving() || !IsRead(i) || (!isLeftOut.empty() && isLeftOut[i])) continue;
        const TurnCycle& cycle = expression.reader.GetCycle();
        mRead.push_back(i);
        mPlaces.push_back({expression.text.offset, expression.text.size, cycle.unit - 1, &expression.reader});
        cycles.push_back(cycle);
    }
    TurnCycle every;
    every.turns = every.unit = grid.every;
    mGridTurn = grid.every == 0 ? 0 : grid.first % grid.every;
    cycles.push_back(every);
    mSolver = IndexSolver(cycles);
    mQuickModulus = Divisor(mSolver.GetQuickModulus());
    for (const IndexSolver::QuickStep& step : mSolver.GetQuickSteps()) {
        if (step.cycle == mPlaces.size()) {
            mQuickTexts.push_back({step, {}, 0, 0, nullptr});
        } else {
            const Place& place = mPlaces[step.cycle];
            mQuickTexts.push_back({step, place.reader->GetWord(), place.offset, place.size, place.reader});
        }
    }
    if (!mQuickTexts.empty()) mQuickTexts.front().isResidue = mQuickTexts.front().step.interval == 1;
}

bool IndexInverse::IsProven(std::size_t expression) const noexcept
{
    return std::any_of(mQuickTexts.begin(), mQuickTexts.end(), [&](const QuickText& text) {
        return text.word.size != 0 && text.reader == &mProgram->expressions[expression].reader;
    });
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
            const bool isOfText = expression.extent == Extent::HexGroups ? IsOfHexGroups(c) : IsDigit(c);
            if (isOfText || isChanging[end]) mUntold = i;
        }
    }
    if (mUntold == kNone) return;
    mUntold = std::min(mUntold, mOpenEnded);
    mOpenEnded = kNone;
    mLargestOpenEnd = 0;
}

bool IndexInverse::ReadTurn(const Place& place, std::string_view text, KnownTurn& turn)
{
    const std::optional<std::uint64_t> read = place.reader->Read(text.data(), text.size());
    if (!read || *read > place.lastTurn) return false;
    turn.turn = *read;
    turn.isFirst = place.reader->GetCycle().startsApart && place.reader->IsFirst(text.data(), text.size());
    return true;
}

bool IndexInverse::ReadFrame(std::string_view value, std::vector<KnownTurn>& turns) const
{
    for (std::size_t i = 0; i < mPlaces.size(); ++i) {
        if (!ReadTurn(mPlaces[i], value.substr(mPlaces[i].offset, mPlaces[i].size), turns[i])) return false;
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
            if (!ReadTurn(mPlaces[cycle], value.substr(start, end - start), turns[cycle])) return false;
            ++cycle;
        }
    }
    return value.size() == mProgram->frame.size() + shift;
}

} // namespace zor::common::detail
