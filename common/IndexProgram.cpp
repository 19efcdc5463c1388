#include "IndexProgram.h"

#include "BigEndian.h"
#include "Decimal.h"
#include "Digits.h"
#include "TemplateRender.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <utility>

namespace zor::common::detail {

namespace {

constexpr std::size_t kWordBits = 64;
constexpr std::size_t kWordBytes = 8;
constexpr std::size_t kWordDigits = 16;

std::size_t WordCount(std::size_t bytes)
{
    return (bytes + kWordBytes - 1) / kWordBytes;
}

unsigned int DigitOf(const std::vector<std::uint64_t>& words, std::size_t digit)
{
    return words[digit / kWordDigits] >> 4 * (digit % kWordDigits) & 15;
}

/// The runs of a counter.
std::vector<BitRun> RunsOf(const HexCounter& counter)
{
    std::vector<BitRun> runs;
    for (std::size_t word = 0; word < counter.mask.size(); ++word) {
        const auto bits = static_cast<unsigned int>(std::min(8 * counter.size - kWordBits * word, kWordBits));
        for (unsigned int bit = 0; bit < bits;) {
            const std::uint64_t mask = counter.mask[word] >> bit;
            const bool isHole = (mask & 1) == 0;
            const std::uint64_t others = isHole ? mask : ~mask;
            const unsigned int same = others == 0 ? 64 : static_cast<unsigned int>(__builtin_ctzll(others));
            const unsigned int size = std::min(same, bits - bit);
            const std::uint64_t start = isHole ? counter.fixed[word] : counter.start[word];
            runs.push_back({start >> bit & LowBits(size), counter.step[word] >> bit & LowBits(size),
                            static_cast<std::uint8_t>(size), isHole});
            bit += size;
        }
    }
    return runs;
}

/// Whether the start has bits outside the mask that no later turn has.
bool StartsApart(const HexCounter& counter)
{
    for (std::size_t word = 0; word < counter.mask.size(); ++word) {
        if ((counter.start[word] & ~counter.mask[word]) != counter.fixed[word]) return true;
    }
    return false;
}

/// Which hex digits of start + turn * step differ between turns from 0 to \a last, the lowest digit first. Exact.
///
/// A digit of value d in the step, with more of the step below it, changes at turn 1 unless d is 0 or f: the sums of all
/// digits up to it, modulo their width, move on by more than the digit's own weight, and less than 15 times that. Where
/// d is 0, it changes when the first carry arrives; where d is f, when the first one fails to.
std::vector<bool> ChangingDigits(const HexCounter& counter, std::uint64_t last)
{
    std::vector<bool> changing(2 * counter.size);
    std::uint64_t carry = 0; // of all turns up to the last one
    bool hasLower = false;   // whether the step has a digit below that is not 0
    for (std::size_t digit = 0; digit < changing.size(); ++digit) {
        const unsigned int step = DigitOf(counter.step, digit);
        if (!hasLower) {
            changing[digit] = step != 0 && last != 0;
        } else if (step == 0) {
            changing[digit] = carry != 0;
        } else if (step == 15) {
            changing[digit] = carry < last;
        } else {
            changing[digit] = last != 0;
        }
        hasLower = hasLower || step != 0;
        carry = static_cast<std::uint64_t>((Product{step} * last + DigitOf(counter.start, digit) + carry) >> 4);
    }
    return changing;
}

/// The same for a counter with a mask, of which some digits may be named that do not change.
std::vector<bool> ChangingMaskedDigits(const HexCounter& counter, const std::vector<BitRun>& runs, std::uint64_t last)
{
    std::vector<bool> changing(2 * counter.size);
    RunCarry carry(last);
    std::size_t bit = 0;
    for (const BitRun& run : runs) {
        const bool isMoved = !run.isHole && last != 0 && (run.step != 0 || carry.GetCarry() != 0);
        for (std::size_t digit = bit / 4; isMoved && digit < (bit + run.bits + 3) / 4; ++digit) changing[digit] = true;
        carry.Next(run);
        bit += run.bits;
    }
    for (std::size_t digit = 0; last != 0 && digit < changing.size(); ++digit) {
        const unsigned int lost = DigitOf(counter.start, digit) & ~DigitOf(counter.mask, digit) & 15;
        if (lost != DigitOf(counter.fixed, digit)) changing[digit] = true;
    }
    return changing;
}

/// The number of turns after which a counter without a count shows its start again, as a power of 2.
std::size_t PeriodPower(const std::vector<BitRun>& runs)
{
    std::size_t power = 0;
    std::size_t bits = 0;   // of the present group of runs, between which carries pass
    std::size_t lowest = 0; // the place of the lowest bit of what a step adds to the group
    bool isFound = false;   // whether there is one
    bool hasCarry = false;  // whether each step hands a carry to the group
    const auto end = [&] {
        if (isFound) power = std::max(power, bits - lowest);
        bits = 0;
        isFound = false;
    };
    for (const BitRun& run : runs) {
        if (run.isHole) {
            if (run.step == 0) continue;
            end();
            hasCarry = true;
            continue;
        }
        if (!isFound) {
            // With a carry, the lowest bit is that of step + 1, and the carry goes on behind a run full of ones.
            const std::uint64_t bitsFound = (hasCarry ? ~run.step : run.step) & LowBits(run.bits);
            isFound = bitsFound != 0;
            if (isFound) lowest = bits + static_cast<std::size_t>(__builtin_ctzll(bitsFound));
            hasCarry = hasCarry && !isFound;
        }
        bits += run.bits;
    }
    end();
    return power;
}

/// The period of a number in indexes; 0 is 2^64 or more, or never.
/// \param turns        after how many turns a counter without a count shows its start again; 0 is 2^64 or more.
/// \param startsApart  whether it never does.
std::uint64_t PeriodOf(const TurnRule& rule, std::uint64_t turns, bool startsApart)
{
    const std::uint64_t count = rule.count.GetNumber();
    if (count == 1) return 1;
    if (count == 0) {
        if (startsApart) return 0;
    } else if (startsApart || turns == 0 || count % turns != 0) {
        turns = count;
    }
    std::uint64_t period = 0;
    if (turns == 1) return 1;
    return __builtin_mul_overflow(turns, rule.interval.GetNumber(), &period) ? 0 : period;
}

/// Whether adding the step word by word loses no carry: a full 32-bit word that is neither the lowest nor the topmost
/// one of the counter hands none on that comes to a full word.
bool KeepsCarries(const HexCounter& counter)
{
    if (counter.size <= 8 || counter.turns.count.GetNumber() == 1) return true;
    for (std::size_t word = 1; word < (counter.size + 3) / 4 - 1; ++word) {
        if ((counter.step[word / 2] >> 32 * (word % 2) & 0xffffffff) == 0xffffffff) return false;
    }
    return true;
}

std::string LengthText(const LengthDefinition& definition, std::size_t length)
{
    std::string text(definition.size, '\0');
    if (definition.size == 0) {
        text.resize(DecimalSize(length));
        WriteDecimal(text.data(), length, 0);
    } else {
        WriteLengthBytes(text.data(), text.size(), length, definition.isBigEndian);
    }
    return text;
}

bool IsByteFormat(HexFormat format)
{
    return format == HexFormat::Little || format == HexFormat::Big;
}

} // namespace

std::uint64_t CommonPeriod(std::uint64_t left, std::uint64_t right) noexcept
{
    std::uint64_t period = 0;
    if (left == 0 || right == 0) return 0;
    return __builtin_mul_overflow(left, right / std::gcd(left, right), &period) ? 0 : period;
}

/// Adds a field whose text is not in the frame.
void IndexProgramBuilder::AddVaryingField(IndexField field, std::size_t minSize, std::size_t maxSize)
{
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
    field.startsApart = counter.start > limit;
    const std::uint64_t turns = (limit + 1) / std::gcd(limit + 1, field.step);
    AddPeriod(PeriodOf(field.turns, turns, field.startsApart));
    if (counter.modulus != 0 && counter.turns.count.GetNumber() != 1) {
        mProgram->stepsAlike &= std::max(field.start, limit) + field.step <= kMax;
    }

    const std::uint64_t last = field.turns.Last();
    if (last == 0 || (turns == 1 && !field.startsApart)) return AddLiteral(first);
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
        return AddVaryingField(field, minSize, maxSize);
    }
    Piece piece;
    piece.notation = Notation::Decimal;
    piece.size = static_cast<std::uint8_t>(DecimalSize(largest));
    piece.offset = mProgram->frame.size() + first.size() - piece.size;
    AddFrameFields(field, {piece});
    AddLiteral(first);
}

namespace {

/// The pieces of a text whose digits change, as hex digits. What is no digit separates them.
std::vector<Piece> PiecesOfDigits(const std::vector<bool>& changing, std::string_view text, std::size_t offset,
                                  bool isUpperCase)
{
    std::vector<Piece> pieces;
    bool isOpen = false; // whether the next digit may extend the last piece
    std::size_t digit = 0;
    for (std::size_t at = text.size(); at-- > 0;) {
        if (HexDigitValue(text[at]) > 15) {
            isOpen = false;
            continue;
        }
        isOpen = isOpen && digit % kWordDigits != 0 && changing[digit];
        if (isOpen) {
            --pieces.back().offset;
            ++pieces.back().size;
        } else if (changing[digit]) {
            Piece piece;
            piece.offset = offset + at;
            piece.word = static_cast<std::uint32_t>(digit / kWordDigits);
            piece.shift = static_cast<std::uint8_t>(4 * (digit % kWordDigits));
            piece.size = 1;
            piece.notation = isUpperCase ? Notation::UpperHex : Notation::LowerHex;
            pieces.push_back(piece);
            isOpen = true;
        }
        ++digit;
    }
    return pieces;
}

/// The pieces of bytes that change.
std::vector<Piece> PiecesOfBytes(const std::vector<bool>& changing, std::size_t offset, bool isBigEndian)
{
    std::vector<Piece> pieces;
    bool isOpen = false;
    const std::size_t size = changing.size() / 2;
    for (std::size_t byte = 0; byte < size; ++byte) {
        const bool isChanging = changing[2 * byte] || changing[2 * byte + 1];
        isOpen = isOpen && byte % kWordBytes != 0 && isChanging;
        if (isOpen) {
            pieces.back().offset -= isBigEndian ? 1 : 0;
            ++pieces.back().size;
        } else if (isChanging) {
            Piece piece;
            piece.offset = offset + (isBigEndian ? size - 1 - byte : byte);
            piece.word = static_cast<std::uint32_t>(byte / kWordBytes);
            piece.shift = static_cast<std::uint8_t>(8 * (byte % kWordBytes));
            piece.size = 1;
            piece.notation = isBigEndian ? Notation::Big : Notation::Little;
            pieces.push_back(piece);
            isOpen = true;
        }
    }
    return pieces;
}

} // namespace

/// Sets the rule of a field.
/// \param words  how many words of the number are shown or change.
void IndexProgramBuilder::SetNumber(IndexField& field, FieldDetails& details, const HexCounter& counter,
                                    std::size_t words)
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
    for (const BitRun& run : RunsOf(counter)) {
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

void IndexProgramBuilder::AddHex(const HexCounter& counter, HexFormat format, std::string_view first, bool isUpperCase)
{
    const std::vector<BitRun> runs = RunsOf(counter);
    const std::uint64_t last = counter.turns.Last();
    const bool isResized = counter.startSize != counter.size;
    const std::size_t power = PeriodPower(runs);
    AddPeriod(PeriodOf(counter.turns, power < kWordBits ? std::uint64_t{1} << power : 0,
                       isResized || (counter.hasMask && StartsApart(counter))));
    mProgram->stepsAlike &= KeepsCarries(counter);

    std::vector<bool> changing =
        counter.hasMask ? ChangingMaskedDigits(counter, runs, last) : ChangingDigits(counter, last);
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
    SetNumber(field, details, counter, isWideAddress ? 2 : WordCount((digits + 1) / 2));
    if (format == HexFormat::Ipv4 || format == HexFormat::Ipv6) {
        const bool isIpv4 = format == HexFormat::Ipv4;
        field.shape = isIpv4 ? Shape::Ipv4 : Shape::Ipv6;
        AddDetails(field, details);
        return AddVaryingField(field, isIpv4 ? 7 : 2, isIpv4 ? 15 : 39);
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
        return AddVaryingField(field, std::min(first.size(), details.fullSize),
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

void IndexProgramBuilder::OpenLength(const LengthDefinition& length)
{
    mOpen.emplace(OpenStretch{length, mProgram->frame.size(), mProgram->fields.size(), mProgram->pieces.size(),
                              mProgram->periods.size()});
    AddPeriod(1);
}

void IndexProgramBuilder::CloseLength()
{
    IndexProgram& program = *mProgram;
    AddPeriod(1);
    if (!mOpen) return; // one left over
    const OpenStretch open = *mOpen;
    mOpen.reset();
    std::uint64_t& period = program.periods[open.period];
    for (std::size_t i = open.period + 1; i < program.periods.size(); ++i) {
        period = CommonPeriod(period, program.periods[i]);
    }
    program.periods.back() = period;

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
        mLengthsInDigits += open.length.size == 0 ? 1 : 0;
        return AddVaryingField(field, std::max(open.length.size, 1u), open.length.size);
    }
    const std::string text = LengthText(open.length, program.frame.size() - open.offset);
    if (!open.length.isInFront) return AddLiteral(text);
    program.frame.insert(open.offset, text);
    std::for_each(firstInside, program.fields.end(), [&text](IndexField& field) { field.offset += text.size(); });
    for (std::size_t i = open.piece; i < program.pieces.size(); ++i) program.pieces[i].offset += text.size();
}

std::shared_ptr<const IndexProgram> IndexProgramBuilder::Finish()
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
        FindChangingSpans();
        PlanBatches();
    }
    return std::move(mProgram);
}

void IndexProgramBuilder::FindChangingSpans()
{
    IndexProgram& program = *mProgram;
    std::vector<ByteSpan>& spans = program.changingSpans;
    for (const Piece& piece : program.pieces) spans.push_back({piece.offset, piece.size});
    for (const IndexField& field : program.fields) {
        if (field.shape == Shape::Piece) spans.push_back({field.offset, field.size});
    }
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
}

namespace {

/// A lane for all bytes of a field, of whatever size, if the field is a linear counter in bytes.
///
/// The bits of the counter from a piece on are a linear counter too: what stands below the piece hands on the same carry
/// at every turn, or the lowest byte of the piece would belong to the piece below.
std::optional<Lane> LaneOf(const IndexField& field)
{
    const bool isInBytes = field.notation == Notation::Big || field.notation == Notation::Little;
    if (field.shape != Shape::Piece || field.rule != NumberRule::Linear || !isInBytes) return std::nullopt;
    const unsigned int above = 8 * (8u - field.size);
    const std::uint64_t interval = field.turns.interval.GetNumber();
    const std::uint64_t run = interval == 1 ? field.turns.count.GetNumber() : interval;
    Lane lane;
    lane.turns = field.turns;
    lane.start = field.start >> field.shift << above;
    lane.step = (((field.start + field.step) >> field.shift) - (field.start >> field.shift)) << above;
    lane.offset = field.offset;
    lane.size = field.size;
    lane.isLittle = field.notation == Notation::Little;
    lane.hasLongRuns = run == 0 || run >= Lane::kLongRun;
    return lane;
}

/// Adds lanes that write the bytes of a field and no others, from its most significant byte on.
void AddExactLanes(std::vector<Lane>& lanes, Lane lane)
{
    for (unsigned int left = lane.size; left != 0;) {
        lane.size = static_cast<std::uint8_t>(left >= 8 ? 8 : left >= 6 ? 6 : left >= 4 ? 4 : left >= 2 ? 2 : 1);
        left -= lane.size;
        lanes.push_back(lane);
        if (lane.isLittle) lanes.back().offset += left;
        if (left == 0) break; // as a word cannot be shifted by all of its bits
        if (!lane.isLittle) lane.offset += lane.size;
        lane.start <<= 8 * lane.size;
        lane.step <<= 8 * lane.size;
    }
}

void SortLanes(std::vector<Lane>& lanes)
{
    std::sort(lanes.begin(), lanes.end(), [](const Lane& left, const Lane& right) {
        if (left.isLittle != right.isLittle) return right.isLittle;
        return left.size != right.size ? left.size > right.size : left.offset < right.offset;
    });
}

} // namespace

void IndexProgramBuilder::PlanBatches()
{
    IndexProgram& program = *mProgram;
    BatchPlan& rendering = program.rendering;
    BatchPlan& patching = program.patching;
    for (std::uint32_t i = 0; i < program.fields.size(); ++i) {
        std::optional<Lane> lane = LaneOf(program.fields[i]);
        if (!lane) {
            patching.rest.push_back(i);
            continue;
        }
        AddExactLanes(patching.lanes, *lane);
        if (lane->isLittle || program.frame.size() - lane->offset < 8) {
            AddExactLanes(rendering.lanes, *lane);
            continue;
        }
        // The frame holds what the field shows at turn 0, and what stands behind it. A field that overflows does not
        // touch that, and a later lane writes other fields there.
        lane->start = LoadBig64(reinterpret_cast<const unsigned char*>(program.frame.data()) + lane->offset);
        lane->size = 8;
        rendering.lanes.push_back(*lane);
    }
    rendering.rest = patching.rest;
    SortLanes(rendering.lanes);
    SortLanes(patching.lanes);
}

namespace {

TurnRule TurnsOf(const Cycle& cycle)
{
    return {Divisor(std::uint64_t{cycle.repeat} + 1), Divisor(cycle.count)};
}

std::vector<std::uint64_t> WordsOf(const Hexfield& field, std::size_t size)
{
    std::vector<std::uint64_t> words(WordCount(size));
    const unsigned int bytes = field.GetSize();
    for (unsigned int i = 0; i < bytes; ++i) {
        words[i / kWordBytes] |= std::uint64_t{field.GetByte(bytes - 1 - i)} << 8 * (i % kWordBytes);
    }
    return words;
}

std::vector<std::uint64_t> WordsOf(std::uint64_t number, std::size_t size)
{
    return std::vector<std::uint64_t>(WordCount(size), number);
}

std::vector<std::uint64_t> WordsOf(const Uint128& number, std::size_t size)
{
    std::vector<std::uint64_t> words = {number.low, number.high};
    words.resize(WordCount(size));
    return words;
}

template <class Word>
HexCounter CounterOf(const NumberDefinition<Word>& number)
{
    HexCounter counter;
    counter.startSize = number.startSize;
    counter.size = number.fullSize;
    counter.start = WordsOf(number.start, counter.size);
    counter.step = WordsOf(number.step, counter.size);
    counter.mask = WordsOf(number.mask, counter.size);
    counter.fixed = WordsOf(number.fixed, counter.size);
    counter.hasMask = number.hasMask;
    counter.turns = TurnsOf(number.cycle);
    return counter;
}

HexCounter CounterOf(const FieldDefinition& field)
{
    HexCounter counter;
    counter.startSize = field.start.GetSize();
    counter.size = std::max(counter.startSize, std::size_t{field.step.GetSize()});
    if (field.hasMask) counter.size = std::max(counter.size, std::size_t{field.mask.GetSize()});
    counter.start = WordsOf(field.start, counter.size);
    counter.step = WordsOf(field.step, counter.size);
    if (field.hasMask) {
        counter.mask = WordsOf(field.mask, counter.size);
    } else {
        counter.mask.assign(counter.start.size(), ~std::uint64_t{0});
    }
    counter.fixed = WordsOf(field.fixed, counter.size);
    counter.hasMask = field.hasMask;
    counter.turns = TurnsOf(field.cycle);
    return counter;
}

HexCounter CounterOf(const MacDefinition& mac, const Cycle& cycle)
{
    constexpr std::uint64_t kAllBits = 0xffffffffffff;
    HexCounter counter;
    counter.startSize = counter.size = 6;
    counter.start = {mac.first};
    counter.step = {mac.step};
    counter.mask = {mac.mask};
    counter.fixed = {mac.fixed};
    counter.hasMask = mac.mask != kAllBits;
    counter.turns = TurnsOf(cycle);
    return counter;
}

} // namespace

std::shared_ptr<const IndexProgram> CompileForIndexes(const Program& program, const PacketContext& context,
                                                      const Variables& variables)
{
    std::vector<std::string_view> values(program.variables.size());
    for (const auto& [name, use] : program.variables) {
        if (const std::string* const value = FindVariable(variables, name)) values[use.item] = *value;
    }
    const State state(program, context.mac.first);
    const auto first = [&](const Part& part) { return TextOf(program, part, state.GetValues()); };
    IndexProgramBuilder builder;
    std::size_t from = 0; // where the literal text begins that is not added yet
    for (const Part& part : program.parts) {
        if (part.op == Op::Escape) continue; // which is literal text of the frame
        builder.AddLiteral(std::string_view(program.frame).substr(from, part.offset - from));
        from = part.offset + part.gap;
        switch (part.op) {
        case Op::Digits:
        case Op::Decimal: {
            const NumberDefinition<std::uint64_t>& number = program.numbers[part.item];
            builder.AddDecimal({static_cast<std::uint32_t>(number.start), static_cast<std::uint32_t>(number.step),
                                number.modulus, part.width, TurnsOf(number.cycle)},
                               first(part));
            break;
        }
        case Op::Mac:
            builder.AddHex(CounterOf(context.mac, program.macs[part.item]), HexFormat::Mac, first(part),
                           part.isUpperCase);
            break;
        case Op::Bytes:
        case Op::Text: builder.AddHex(CounterOf(program.numbers[part.item]), part.format, first(part)); break;
        case Op::Wide: builder.AddHex(CounterOf(program.wideNumbers[part.item]), part.format, first(part)); break;
        case Op::Field: builder.AddHex(CounterOf(program.fields[part.item]), part.format, first(part)); break;
        case Op::Variable: builder.AddText(values[part.item]); break;
        case Op::LengthOpen: builder.OpenLength(program.lengths[part.item]); break;
        default: builder.CloseLength(); break;
        }
    }
    builder.AddLiteral(std::string_view(program.frame).substr(from));
    return builder.Finish();
}

} // namespace zor::common::detail
