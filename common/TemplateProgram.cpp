#include "TemplateProgram.h"

#include "AddressForms.h"
#include "Decimal.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace zor::common::detail {

namespace {

/// The largest number that a decimal counter shows. It changes at most `count` times before it shows its start again,
/// even if the object was moved to an index while the repeats stayed as they were.
std::uint64_t MaxNumber(const NumberDefinition<std::uint64_t>& number)
{
    constexpr std::uint64_t kMax = 0xffffffff;
    if (number.modulus != 0) return std::max<std::uint64_t>(number.start, number.modulus - 1);
    if (number.cycle.count == 0) return kMax;
    return std::min(number.start + number.cycle.count * number.step, kMax);
}

/// The largest number of bytes that the writer of a hex counter touches, for a counter of so many bytes.
std::size_t MaxHexSize(HexFormat format, std::size_t bytes)
{
    switch (format) {
    case HexFormat::Hex: return 2 * bytes;
    case HexFormat::Mac: return 17;
    case HexFormat::Ipv4: return kDottedDecimalRoom;
    case HexFormat::Ipv6: return kHexGroupsRoom;
    default: return bytes;
    }
}

} // namespace

std::size_t MaxSizeOf(const Program& program, const Part& part) noexcept
{
    switch (part.op) {
    case Op::Decimal: return std::max<std::size_t>(part.width, DecimalSize(MaxNumber(program.numbers[part.item])));
    case Op::Mac: return part.width == 0 ? 17 : 14;
    case Op::Bytes:
    case Op::Text: return MaxHexSize(part.format, program.numbers[part.item].fullSize);
    case Op::Wide: return MaxHexSize(part.format, program.wideNumbers[part.item].fullSize);
    case Op::Field: return MaxHexSize(part.format, program.fields[part.item].GetFullSize());
    default: return 0;
    }
}

ProgramBuilder::ProgramBuilder(std::string_view marker) : mProgram(std::make_shared<Program>())
{
    mProgram->marker = marker;
}

void ProgramBuilder::AddPart(const PartPlace& place, Part part, std::size_t gap)
{
    part.gap = static_cast<std::uint32_t>(gap);
    part.isPlain =
        gap != 0 && (part.op == Op::Digits || part.op == Op::Bytes) && mProgram->numbers[part.item].IsPlain();
    part.offset = mProgram->frame.size();
    mProgram->frame.append(gap, '\0');
    mProgram->parts.push_back(part);
    mProgram->places.push_back(place);
}

void ProgramBuilder::AddEscape(const PartPlace& place)
{
    mProgram->frame += mProgram->marker;
    mProgram->parts.emplace_back();
    mProgram->places.push_back(place);
}

void ProgramBuilder::AddDecimal(const PartPlace& place, const NumberDefinition<std::uint64_t>& number,
                                std::uint8_t width)
{
    Part part;
    part.op = Op::Decimal;
    part.width = width;
    part.item = static_cast<std::uint32_t>(mProgram->numbers.size());
    mProgram->numbers.push_back(number);
    const std::size_t size = MaxSizeOf(*mProgram, part);
    const bool isFixed = size == std::max<std::size_t>(width, 1);
    part.op = isFixed ? Op::Digits : Op::Decimal;
    AddPart(place, part, isFixed ? size : 0);
}

void ProgramBuilder::AddMac(const PartPlace& place, std::uint32_t repeat, std::uint8_t layout, bool isUpperCase)
{
    Part part;
    part.op = Op::Mac;
    part.width = layout;
    part.isUpperCase = isUpperCase;
    part.item = static_cast<std::uint32_t>(mProgram->macs.size());
    mProgram->macs.push_back({0, repeat});
    AddPart(place, part, MaxSizeOf(*mProgram, part));
}

template <class Word>
NumberDefinition<Word> ProgramBuilder::NumberOfField(const FieldDefinition& field)
{
    NumberDefinition<Word> number;
    number.start = NumberOf<Word>(field.start);
    number.step = NumberOf<Word>(field.step);
    number.mask = LowBytes<Word>(field.GetFullSize());
    number.hasMask = field.hasMask;
    if (field.hasMask) {
        number.mask = NumberOf<Word>(field.mask);
        number.notMask = NumberOf<Word>(field.notMask);
        number.fixed = NumberOf<Word>(field.fixed);
    }
    number.cycle = field.cycle;
    number.startSize = static_cast<std::uint8_t>(field.start.GetSize());
    number.fullSize = static_cast<std::uint8_t>(field.GetFullSize());
    number.stepMask = LowBytes<Word>(field.step.GetSize());
    return number;
}

void ProgramBuilder::AddHex(const PartPlace& place, FieldDefinition field, HexFormat format)
{
    Program& program = *mProgram;
    const std::size_t size = field.GetFullSize();
    const bool sameSize = field.start.GetSize() == size;
    Part part;
    part.format = format;
    part.op = size > 16 ? Op::Field : size > 8 ? Op::Wide : format >= HexFormat::Hex ? Op::Text : Op::Bytes;
    if (part.op == Op::Wide) {
        const auto step = NumberOf<Uint128>(field.step);
        const std::uint64_t words[] = {step.low, step.high};
        if (LosesCarries(words, size)) part.op = Op::Field;
    }
    if (part.op == Op::Field) {
        part.item = static_cast<std::uint32_t>(program.fields.size());
        program.fields.push_back(std::move(field));
    } else {
        const bool isWide = part.op == Op::Wide;
        part.item = static_cast<std::uint32_t>(isWide ? program.wideNumbers.size() : program.numbers.size());
        if (isWide) {
            program.wideNumbers.push_back(NumberOfField<Uint128>(field));
        } else {
            program.numbers.push_back(NumberOfField<std::uint64_t>(field));
        }
        if (field.hasMask) program.maskedNumbers.push_back({isWide, part.item, std::move(field)});
    }
    const bool isFixed =
        format == HexFormat::Mac || (sameSize && format != HexFormat::Ipv4 && format != HexFormat::Ipv6);
    AddPart(place, part, isFixed ? MaxSizeOf(program, part) : 0);
}

void ProgramBuilder::AddVariable(const PartPlace& place, std::string name)
{
    const auto count = static_cast<std::uint32_t>(mProgram->variables.size());
    VariableUse& use = mProgram->variables.try_emplace(std::move(name), VariableUse{count, 0}).first->second;
    ++use.places;
    Part part;
    part.op = Op::Variable;
    part.item = use.item;
    AddPart(place, part, 0);
}

void ProgramBuilder::AddLength(const PartPlace& place, const LengthDefinition& length)
{
    Part part;
    part.op = Op::LengthClose;
    part.item = static_cast<std::uint32_t>(mProgram->lengths.size());
    mProgram->lengths.push_back(length);
    AddPart(place, part, 0);
}

/// Finds the pairs of length fields, counted from the last one on.
void ProgramBuilder::PairLengths() noexcept
{
    bool isClosing = false;
    for (auto part = mProgram->parts.rbegin(); part != mProgram->parts.rend(); ++part) {
        if (part->op != Op::LengthClose) continue;
        isClosing = !isClosing;
        if (!isClosing) part->op = Op::LengthOpen;
    }
}

/// Measures what can be copied at once, and the room that rendering takes.
void ProgramBuilder::MeasureStretches() noexcept
{
    Program& program = *mProgram;
    std::size_t* stretch = &program.firstStretch;
    std::size_t from = 0;
    program.room = program.frame.size();
    program.isFixedSize = true;
    for (Part& part : program.parts) {
        if (part.gap != 0 || part.op == Op::Escape) continue;
        *stretch = part.offset - from;
        from = part.offset;
        stretch = &part.stretch;
        program.isFixedSize = false;
        program.room += MaxSizeOf(program, part);
        if (part.op != Op::LengthOpen) continue;
        const std::uint32_t size = program.lengths[part.item].size;
        program.room += size == 0 ? kMaxDecimalSize : size;
    }
    *stretch = program.frame.size() - from;
}

namespace {

std::size_t SizeOfTable(const Program& program, Op op)
{
    switch (op) {
    case Op::Digits:
    case Op::Decimal:
    case Op::Bytes:
    case Op::Text: return program.numbers.size();
    case Op::Mac: return program.macs.size();
    case Op::Wide: return program.wideNumbers.size();
    case Op::Field: return program.fields.size();
    case Op::Variable: return program.variables.size();
    case Op::LengthOpen:
    case Op::LengthClose: return program.lengths.size();
    default: return 1; // an escape has no table, and item 0
    }
}

// GCOV_EXCL_BR_START: only a fault in this library takes the other branches
/// What holds for each program: its parts overlap neither in the text nor in the frame, stretches make up the frame, each
/// part has an item, and a length field that opens a pair has the one that closes it next. Debug builds check it.
[[maybe_unused]] bool IsConsistent(const Program& program)
{
    if (program.places.size() != program.parts.size()) return false;
    std::size_t end = 0;
    std::size_t taken = 0; // of the frame
    std::size_t stretches = program.firstStretch;
    bool isOpen = false;
    for (std::size_t i = 0; i < program.parts.size(); ++i) {
        const TextRange& place = program.places[i].inText;
        if (place.pos < end || place.len > program.text.size() - place.pos) return false;
        end = place.pos + place.len;
        const Part& part = program.parts[i];
        const bool isInFrame = part.gap != 0 || part.op == Op::Escape;
        if (isInFrame ? part.stretch != 0 : program.isFixedSize) return false;
        if (part.op != Op::Escape) {
            if (part.offset < taken || part.gap > program.frame.size() - part.offset) return false;
            taken = part.offset + part.gap;
        }
        stretches += part.stretch;
        if (part.item >= SizeOfTable(program, part.op)) return false;
        if (part.isPlain && (part.gap == 0 || (part.op != Op::Digits && part.op != Op::Bytes))) return false;
        if (isOpen && part.op == Op::LengthOpen) return false;
        isOpen = part.op == Op::LengthOpen || (isOpen && part.op != Op::LengthClose);
    }
    for (const MaskedNumber& masked : program.maskedNumbers) {
        if (masked.item >= (masked.isWide ? program.wideNumbers.size() : program.numbers.size())) return false;
    }
    return stretches == program.frame.size() && program.room >= program.frame.size() && !isOpen;
}
// GCOV_EXCL_BR_STOP

} // namespace

std::shared_ptr<const Program> ProgramBuilder::Finish(std::string text)
{
    mProgram->text = std::move(text);
    mProgram->hasOnlyNumbers = mProgram->wideNumbers.empty() && mProgram->fields.empty() &&
                               mProgram->maskedNumbers.empty() && mProgram->macs.empty();
    PairLengths();
    MeasureStretches();
    assert(IsConsistent(*mProgram));
    return std::move(mProgram);
}

} // namespace zor::common::detail
