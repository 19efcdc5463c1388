#include "IndexProgram.h"

#include "Characters.h"
#include "Decimal.h"
#include "IndexChecksum.h"
#include "TemplateRender.h"

#include <algorithm>
#include <cassert>
#include <numeric>
#include <utility>

namespace zor::common::detail {

namespace {

bool IsByteFormat(HexFormat format)
{
    return format == HexFormat::Little || format == HexFormat::Big;
}

} // namespace

/// Adds the field of the last expression, whose text is not in the frame.
void IndexProgramBuilder::AddVaryingField(IndexField field, Extent extent, std::size_t minSize, std::size_t maxSize)
{
    IndexExpression& expression = mProgram->expressions.back();
    expression.text.size = 0;
    expression.extent = extent;
    expression.minSize = minSize;
    expression.maxSize = maxSize;
    field.offset = mProgram->frame.size();
    mProgram->fields.push_back(field);
    mMinSize += minSize;
    mMaxSize += maxSize;
}

/// Adds the fields of one expression whose text is in the frame.
void IndexProgramBuilder::AddFrameFields(IndexField field, const std::vector<Piece>& pieces)
{
    for (const Piece& piece : pieces) {
        field.notation = piece.notation;
        field.shift = piece.shift;
        field.size = piece.size;
        field.offset = piece.offset;
        mProgram->fields.push_back(field);
    }
}

void IndexProgramBuilder::AddDetails(IndexField& field, const FieldDetails& details)
{
    field.details = static_cast<std::uint32_t>(mProgram->details.size());
    mProgram->details.push_back(details);
}

Slice IndexProgramBuilder::AddPieces(const std::vector<Piece>& pieces)
{
    const std::size_t first = mProgram->pieces.size();
    mProgram->pieces.insert(mProgram->pieces.end(), pieces.begin(), pieces.end());
    return {first, pieces.size()};
}

void IndexProgramBuilder::AddDecimal(const DecimalCounter& counter, std::string_view first)
{
    constexpr std::uint64_t kMax = 0xffffffff;
    const std::uint64_t limit = counter.modulus == 0 ? kMax : counter.modulus - 1;
    IndexField field;
    field.turns = counter.turns;
    field.width = counter.width;
    field.start = counter.start;
    field.step = counter.step;
    field.bits = 32;
    const bool startsApart = counter.start > limit;
    const std::uint64_t turns = (limit + 1) / std::gcd(limit + 1, field.step);
    IndexExpression& expression = AddExpression(PeriodOf(field.turns, turns, startsApart), first.size());
    expression.interval = counter.turns.interval.GetNumber();
    expression.reader = TurnReader(counter, first);
    if (counter.modulus != 0 && counter.turns.count.GetNumber() != 1) {
        mProgram->stepsAlike &= std::max(field.start, limit) + field.step <= kMax;
    }

    const std::uint64_t last = field.turns.Last();
    if (last == 0 || (turns == 1 && !startsApart)) return AddLiteral(first);
    if (counter.modulus != 0) {
        FieldDetails details;
        details.modulus = Divisor(counter.modulus);
        field.rule = NumberRule::Modular;
        AddDetails(field, details);
    }
    const bool isStraight = Product{last} * field.step + field.start <= limit;
    const std::uint64_t largest = isStraight ? field.start + last * field.step : std::max(field.start, limit);
    const std::size_t maxSize = std::max<std::size_t>(DecimalSize(largest), counter.width);
    const std::size_t minSize = std::max<std::size_t>(DecimalSize(isStraight ? field.start : 0), counter.width);
    if (minSize != maxSize) {
        field.shape = Shape::Decimal;
        return AddVaryingField(field, Extent::Digits, minSize, maxSize);
    }
    Piece piece;
    piece.notation = Notation::Decimal;
    piece.size = static_cast<std::uint8_t>(DecimalSize(largest));
    piece.offset = mProgram->frame.size() + first.size() - piece.size;
    AddFrameFields(field, {piece});
    AddLiteral(first);
}

namespace {

/// Joins digits or bytes of a number, the lowest one first, to pieces.
class PieceJoiner {
public:
    PieceJoiner(Notation notation, std::size_t bitsOfUnit) : mNotation(notation), mBitsOfUnit(bitsOfUnit) {}

    /// The next digit or byte, which stands at \a offset, changes. It extends the last piece if that has the one before
    /// and both are of one word.
    void Add(std::size_t unit, std::size_t offset)
    {
        const std::size_t bit = unit * mBitsOfUnit;
        if (mIsOpen && bit % kWordBits != 0) {
            mPieces.back().offset = std::min(mPieces.back().offset, offset);
            ++mPieces.back().size;
            return;
        }
        Piece piece;
        piece.offset = offset;
        piece.word = static_cast<std::uint32_t>(bit / kWordBits);
        piece.shift = static_cast<std::uint8_t>(bit % kWordBits);
        piece.size = 1;
        piece.notation = mNotation;
        mPieces.push_back(piece);
        mIsOpen = true;
    }

    /// What stands here does not change, or is no part of the number.
    void Separate() { mIsOpen = false; }

    const std::vector<Piece>& GetPieces() const { return mPieces; }

private:
    Notation mNotation;
    std::size_t mBitsOfUnit;
    std::vector<Piece> mPieces;
    bool mIsOpen = false; ///< Whether the next one may extend the last piece.
};

/// The pieces of a text whose digits change, as hex digits. What is no digit separates them.
std::vector<Piece> PiecesOfDigits(const std::vector<bool>& changing, std::string_view text, std::size_t offset,
                                  bool isUpperCase)
{
    PieceJoiner joiner(isUpperCase ? Notation::UpperHex : Notation::LowerHex, 4);
    std::size_t digit = 0;
    for (std::size_t at = text.size(); at-- > 0;) {
        const bool isDigit = IsHexDigit(text[at]);
        if (isDigit && changing[digit]) {
            joiner.Add(digit, offset + at);
        } else {
            joiner.Separate();
        }
        digit += isDigit ? 1 : 0;
    }
    return joiner.GetPieces();
}

/// The pieces of bytes that change.
std::vector<Piece> PiecesOfBytes(const std::vector<bool>& changing, std::size_t offset, bool isBigEndian)
{
    PieceJoiner joiner(isBigEndian ? Notation::Big : Notation::Little, 8);
    const std::size_t size = changing.size() / 2;
    for (std::size_t byte = 0; byte < size; ++byte) {
        if (changing[2 * byte] || changing[2 * byte + 1]) {
            joiner.Add(byte, offset + (isBigEndian ? size - 1 - byte : byte));
        } else {
            joiner.Separate();
        }
    }
    return joiner.GetPieces();
}

} // namespace

/// Sets the rule of a field.
/// \param runs   of the counter.
/// \param words  how many words of the number are shown or change.
void IndexProgramBuilder::SetNumber(IndexField& field, FieldDetails& details, const HexCounter& counter,
                                    const std::vector<BitRun>& runs, std::size_t words)
{
    field.turns = counter.turns;
    field.startsApart = counter.hasMask && StartsApart(counter);
    if (!counter.hasMask && words <= 1) {
        field.start = counter.start.empty() ? 0 : counter.start[0];
        field.step = counter.step.empty() ? 0 : counter.step[0];
        field.bits = static_cast<std::uint8_t>(std::min(8 * counter.size, kWordBits));
        return;
    }
    IndexProgram& program = *mProgram;
    field.rule = NumberRule::Runs;
    words = std::min(words, counter.mask.size());
    details.runs.first = program.runs.size();
    std::size_t bits = 0;
    for (const BitRun& run : runs) {
        if (bits >= kWordBits * words) break;
        bits += run.bits;
        program.runs.push_back(run);
    }
    details.runs.count = program.runs.size() - details.runs.first;
    if (!field.startsApart) return;
    details.startWords = {program.startWords.size(), words};
    program.startWords.insert(program.startWords.end(), counter.start.begin(),
                              counter.start.begin() + static_cast<std::ptrdiff_t>(words));
}

void IndexProgramBuilder::AddHex(const HexCounter& counter, HexFormat format, std::string_view first, bool isUpperCase,
                                 const IndexOrder* order)
{
    const std::vector<BitRun> runs = RunsOf(counter);
    const std::uint64_t last = order ? counter.turns.count.GetNumber() - 1 : counter.turns.Last();
    const bool isResized = counter.startSize != counter.size;
    const std::size_t power = PeriodPower(runs);
    const std::uint64_t turns = power >= kWordBits || (order && power != 0) ? 0 : std::uint64_t{1} << power;
    const std::uint64_t period = PeriodOf(counter.turns, turns, isResized || (counter.hasMask && StartsApart(counter)));
    IndexExpression& expression = AddExpression(period, first.size());
    expression.interval = counter.turns.interval.GetNumber();
    const TurnReader reader(counter, runs, format, first);
    const std::uint32_t orderPlace = AddOrder(order);
    if (order) {
        expression.motion = Motion::Shuffled;
        mProgram->shuffled.push_back({mProgram->expressions.size() - 1, reader, orderPlace});
    } else {
        expression.reader = reader;
    }
    mProgram->stepsAlike &= StepsAreExact(counter);

    std::vector<bool> changing = ChangingDigits(counter, runs, last);
    if (format == HexFormat::Mac) changing.resize(12);
    if (format == HexFormat::Ipv4) changing.resize(8);
    if (format == HexFormat::Ipv6) changing.resize(32);
    const bool hasTwoSizes = isResized && (IsByteFormat(format) || format == HexFormat::Hex);
    if (hasTwoSizes) changing.assign(changing.size(), true);
    const auto highest = std::find(changing.rbegin(), changing.rend(), true);
    if (last == 0 || highest == changing.rend()) return AddLiteral(first);

    const auto digits = static_cast<std::size_t>(changing.rend() - highest);
    const bool isWideAddress = format == HexFormat::Ipv6 && counter.size > kWordBytes;
    IndexField field;
    FieldDetails details;
    SetNumber(field, details, counter, runs, isWideAddress ? 2 : WordCount((digits + 1) / 2));
    field.order = orderPlace;
    if (format == HexFormat::Ipv4 || format == HexFormat::Ipv6) {
        const bool isIpv4 = format == HexFormat::Ipv4;
        field.shape = isIpv4 ? Shape::Ipv4 : Shape::Ipv6;
        AddDetails(field, details);
        return AddVaryingField(field, isIpv4 ? Extent::DottedDigits : Extent::HexGroups, isIpv4 ? 7 : 2,
                               isIpv4 ? 15 : 39);
    }
    const std::size_t offset = hasTwoSizes ? 0 : mProgram->frame.size();
    details.fullSize = IsByteFormat(format) ? counter.size : 2 * counter.size;
    const std::string zeros(hasTwoSizes ? details.fullSize : 0, '0');
    const std::vector<Piece> pieces = IsByteFormat(format)
                                          ? PiecesOfBytes(changing, offset, format == HexFormat::Big)
                                          : PiecesOfDigits(changing, hasTwoSizes ? zeros : first, offset, isUpperCase);
    if (hasTwoSizes) {
        field.shape = Shape::Resized;
        details.pieces = AddPieces(pieces);
        details.firstText = {mProgram->texts.size(), first.size()};
        mProgram->texts += first;
        AddDetails(field, details);
        return AddVaryingField(field, Extent::TwoSizes, std::min(first.size(), details.fullSize),
                               std::max(first.size(), details.fullSize));
    }
    if (field.rule == NumberRule::Runs) {
        field.shape = Shape::Pieces;
        field.offset = offset;
        details.pieces = AddPieces(pieces);
        AddDetails(field, details);
        mProgram->fields.push_back(field);
    } else {
        AddFrameFields(field, pieces);
    }
    AddLiteral(first);
}

IndexExpression& IndexProgramBuilder::AddExpression(std::uint64_t period, std::size_t textSize)
{
    IndexExpression expression;
    expression.period = period;
    expression.text = {mProgram->frame.size(), textSize};
    expression.minSize = expression.maxSize = textSize;
    mProgram->expressions.push_back(std::move(expression));
    return mProgram->expressions.back();
}

void IndexProgramBuilder::OpenLength(const LengthDefinition& length)
{
    mOpen.emplace(OpenStretch{length, mProgram->frame.size(), mProgram->fields.size(), mProgram->pieces.size(),
                              mProgram->expressions.size()});
    AddExpression(1, 0).extent = Extent::Nowhere;
}

void IndexProgramBuilder::CloseLength()
{
    IndexProgram& program = *mProgram;
    AddExpression(1, 0).extent = Extent::Nowhere;
    if (!mOpen) return; // one left over
    const OpenStretch open = *mOpen;
    mOpen.reset();
    std::uint64_t period = 1;
    for (std::size_t i = open.expression + 1; i < program.expressions.size(); ++i) {
        period = CommonPeriod(period, program.expressions[i].period);
    }
    program.expressions[open.expression].period = program.expressions.back().period = period;
    IndexExpression& shown = open.length.isInFront ? program.expressions[open.expression] : program.expressions.back();

    const auto firstInside = program.fields.begin() + static_cast<std::ptrdiff_t>(open.field);
    if (std::any_of(firstInside, program.fields.end(), [](const IndexField& field) { return !field.IsInFrame(); })) {
        IndexField field;
        FieldDetails details;
        details.length = open.length;
        AddDetails(field, details);
        field.shape = Shape::LengthOpen;
        field.offset = open.offset;
        program.fields.insert(firstInside, field);
        field.shape = Shape::LengthClose;
        field.offset = program.frame.size();
        program.fields.push_back(field);
        const bool isInDigits = open.length.size == 0;
        shown.extent = isInDigits ? Extent::LengthDigits : Extent::LengthBytes;
        shown.minSize = std::max(open.length.size, 1u);
        shown.maxSize = isInDigits ? kMaxDecimalSize : open.length.size;
        mMinSize += shown.minSize;
        mMaxSize += open.length.size;
        mLengthsInDigits += isInDigits ? 1 : 0;
        return;
    }
    const std::string text = LengthText(open.length, program.frame.size() - open.offset);
    shown.extent = Extent::InFrame;
    shown.text.size = shown.minSize = shown.maxSize = text.size();
    if (!open.length.isInFront) return AddLiteral(text);
    program.frame.insert(open.offset, text);
    std::for_each(firstInside, program.fields.end(), [&text](IndexField& field) { field.offset += text.size(); });
    for (std::size_t i = open.piece; i < program.pieces.size(); ++i) program.pieces[i].offset += text.size();
    for (std::size_t i = open.expression + 1; i < program.expressions.size(); ++i) {
        program.expressions[i].text.offset += text.size();
    }
}

std::vector<ByteSpan> JoinSpans(std::vector<ByteSpan> spans)
{
    std::sort(spans.begin(), spans.end(),
              [](const ByteSpan& left, const ByteSpan& right) { return left.offset < right.offset; });
    std::size_t count = 0;
    for (const ByteSpan& span : spans) {
        if (count != 0 && spans[count - 1].offset + spans[count - 1].size == span.offset) {
            spans[count - 1].size += span.size;
        } else {
            spans[count++] = span;
        }
    }
    spans.resize(count);
    return spans;
}

namespace {

// GCOV_EXCL_BR_START: only a fault in this library takes the other branches
/// What holds for each program: everything stands within the frame, stretches make up the frame, what changes does not
/// overlap, and all places that are named exist. Debug builds check it.
[[maybe_unused]] bool IsConsistent(const IndexProgram& program)
{
    const std::size_t size = program.frame.size();
    const auto isWithin = [](std::size_t first, std::size_t count, std::size_t end) {
        return first <= end && count <= end - first;
    };
    const auto isOf = [isWithin](const Slice& slice, const auto& table) {
        return isWithin(slice.first, slice.count, table.size());
    };
    const auto isKnown = [&program](const TurnRule& turns, std::uint32_t order) {
        if (order == 0) return true;
        return order <= program.orders.size() && turns.count.GetNumber() == program.orders[order - 1].GetSize();
    };

    std::size_t stretches = program.firstStretch;
    std::size_t end = 0; // of the field before, of those that the frame does not hold
    for (const IndexField& field : program.fields) {
        if (field.details >= program.details.size() || !isKnown(field.turns, field.order)) return false;
        if (!isWithin(field.offset, field.IsInFrame() ? field.size : field.stretch, size)) return false;
        if (field.IsInFrame()) continue;
        if (field.offset < end || program.isFixedSize) return false;
        end = field.offset;
        stretches += field.stretch;
    }
    for (const FieldDetails& details : program.details) {
        if (!isOf(details.runs, program.runs) || !isOf(details.startWords, program.startWords)) return false;
        if (!isOf(details.pieces, program.pieces) || !isOf(details.firstText, program.texts)) return false;
    }
    for (const BatchPlan* plan : {&program.rendering, &program.patching}) {
        for (const Lane& lane : plan->lanes) {
            if (!isWithin(lane.offset, lane.size, size)) return false;
        }
        for (const std::uint32_t place : plan->rest) {
            if (place >= program.fields.size()) return false;
        }
    }
    for (const std::vector<IndexChecksum>* checksums : {&program.checksums, &program.held}) {
        for (const IndexChecksum& checksum : *checksums) {
            if (!isWithin(checksum.at, 2, size) || !isOf(checksum.pieces, program.summedPieces)) return false;
            if (!isOf(checksum.late, program.summedPieces) || !isOf(checksum.counters, program.summedCounters)) {
                return false;
            }
        }
    }
    for (const SummedPiece& piece : program.summedPieces) {
        if (piece.size == 0 || piece.size > 8 || !isWithin(piece.offset, piece.size, size)) return false;
    }
    for (const SummedCounter& counter : program.summedCounters) {
        if (counter.field >= program.fields.size()) return false;
    }
    end = 0;
    for (const ByteSpan& span : program.changingSpans) {
        if (span.offset < end || !isWithin(span.offset, span.size, size)) return false;
        end = span.offset + span.size + 1; // as spans that touch are one
    }
    for (const IndexExpression& expression : program.expressions) {
        const ByteSpan& text = expression.text;
        if (!isWithin(text.offset, text.size, size) || expression.minSize > expression.maxSize) return false;
    }
    for (const ListedExpression& listed : program.listed) {
        if (listed.expression >= program.expressions.size() || !isKnown(listed.turns, listed.order)) return false;
        const std::uint64_t last = (listed.turns.count.GetNumber() - 1) * listed.distance;
        if (!isWithin(listed.first, last + listed.size, program.tables.size())) return false;
    }
    for (const IndexHole& hole : program.holes) {
        if (!isWithin(hole.place.offset, hole.place.size, size)) return false;
    }
    const bool isOneSize = program.minSize == size && program.maxSize == size;
    return stretches == size && program.minSize <= program.maxSize && (isOneSize || !program.isFixedSize);
}
// GCOV_EXCL_BR_STOP

} // namespace

std::shared_ptr<const IndexProgram> IndexProgramBuilder::Finish(const std::vector<ChecksumField>& checksums)
{
    IndexProgram& program = *mProgram;
    std::size_t* stretch = &program.firstStretch;
    std::size_t from = 0;
    for (IndexField& field : program.fields) {
        if (field.IsInFrame()) continue;
        program.isFixedSize = false;
        *stretch = field.offset - from;
        from = field.offset;
        stretch = &field.stretch;
    }
    *stretch = program.frame.size() - from;
    program.minSize = program.frame.size() + mMinSize;
    program.maxSize = program.frame.size() + mMaxSize;
    program.maxSize += mLengthsInDigits * DecimalSize(program.maxSize);
    if (program.isFixedSize) {
        std::vector<ByteSpan> spans;
        for (const Piece& piece : program.pieces) spans.push_back({piece.offset, piece.size});
        for (const IndexField& field : program.fields) {
            if (field.shape <= Shape::Listed) spans.push_back({field.offset, field.size});
        }
        program.changingSpans = JoinSpans(std::move(spans));
    }
    AddChecksums(program, checksums);
    if (program.isFixedSize) PlanBatches(program); // which copies literal text of the frame
    assert(IsConsistent(program));
    return std::move(mProgram);
}

} // namespace zor::common::detail
