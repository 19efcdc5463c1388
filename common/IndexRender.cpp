#include "IndexRender.h"

#include "AddressForms.h"
#include "BigEndian.h"
#include "Characters.h"
#include "Decimal.h"
#include "IndexChecksum.h"
#include "TemplateRender.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <utility>

namespace zor::common::detail {

namespace {

inline void WriteHexDigits(char* out, std::uint64_t number, unsigned int size, const char* digits)
{
    for (unsigned int i = size; i-- > 0; number >>= 4) out[i] = digits[number & 15];
}

/// Writes bits of a number, from the lowest one on.
inline void WriteBits(char* out, Notation notation, std::uint64_t bits, unsigned int size)
{
    switch (notation) {
    case Notation::Big: StoreBigBytes(reinterpret_cast<unsigned char*>(out), bits, size); break;
    case Notation::Little: StoreLittleBytes(reinterpret_cast<unsigned char*>(out), bits, size); break;
    case Notation::LowerHex: WriteHexDigits(out, bits, size, kLowerHexDigits); break;
    case Notation::UpperHex: WriteHexDigits(out, bits, size, kUpperHexDigits); break;
    case Notation::Decimal: WriteDigits(out, static_cast<std::uint32_t>(bits), size); break;
    }
}

/// Calls \a visit with each word of a number by runs, the lowest one first.
template <class Visit>
void VisitWords(const IndexProgram& program, const IndexField& field, std::uint64_t turn, Visit visit)
{
    const FieldDetails& details = program.DetailsOf(field);
    if (turn == 0 && field.startsApart) {
        const std::uint64_t* const words = program.startWords.data() + details.startWords.first;
        for (std::size_t i = 0; i < details.startWords.count; ++i) visit(words[i]);
        return;
    }
    RunCarry carry(turn);
    std::uint64_t word = 0;
    unsigned int bits = 0;
    const BitRun* const runs = program.runs.data() + details.runs.first;
    for (std::size_t i = 0; i < details.runs.count; ++i) {
        word |= carry.Next(runs[i]) << bits;
        bits += runs[i].bits;
        if (bits < 64 && i + 1 < details.runs.count) continue;
        visit(word);
        word = 0;
        bits = 0;
    }
}

/// The lowest 128 bits of a number.
Uint128 LowWordsAt(const IndexProgram& program, const IndexField& field, std::uint64_t turn)
{
    if (field.rule != NumberRule::Runs) return {0, program.NumberAt(field, turn)};
    Uint128 number{};
    int place = 0;
    VisitWords(program, field, turn, [&](std::uint64_t word) {
        if (place == 0) number.low = word;
        if (place == 1) number.high = word;
        ++place;
    });
    return number;
}

/// Writes the pieces of a number. \a text is where offset 0 of the pieces stands.
void WritePieces(const IndexProgram& program, const IndexField& field, std::uint64_t turn, char* text)
{
    const FieldDetails& details = program.DetailsOf(field);
    const Piece* piece = program.pieces.data() + details.pieces.first;
    const Piece* const end = piece + details.pieces.count;
    std::uint32_t place = 0;
    const auto write = [&](std::uint64_t word) {
        for (; piece != end && piece->word == place; ++piece) {
            WriteBits(text + piece->offset, piece->notation, word >> piece->shift, piece->size);
        }
        ++place;
    };
    if (field.rule == NumberRule::Runs) {
        VisitWords(program, field, turn, write);
    } else {
        write(program.NumberAt(field, turn));
    }
}

/// Writes the text of a field of varying size at a turn, and returns its end. \a out has room for the text alone.
char* WriteText(const IndexProgram& program, const IndexField& field, std::uint64_t turn, char* out)
{
    if (field.shape == Shape::Decimal) {
        return WriteDecimal(out, static_cast<std::uint32_t>(program.NumberAt(field, turn)), field.width);
    }
    if (field.shape == Shape::Resized) {
        const FieldDetails& details = program.DetailsOf(field);
        if (turn != 0) {
            WritePieces(program, field, turn, out);
            return out + details.fullSize;
        }
        CopyText(out, program.texts.data() + details.firstText.first, details.firstText.count);
        return out + details.firstText.count;
    }
    char text[kHexGroupsRoom]; // as these writers touch bytes behind the text
    unsigned char bytes[16];
    StoreBig128(bytes, LowWordsAt(program, field, turn));
    const char* const end =
        field.shape == Shape::Ipv4 ? WriteDottedDecimal(text, bytes + 12) : WriteHexGroups(text, bytes, 8, 1);
    const auto size = static_cast<std::size_t>(end - text);
    CopyText(out, text, size);
    return out + size;
}

std::size_t MeasureText(const IndexProgram& program, const IndexField& field, std::uint64_t turn)
{
    const FieldDetails& details = program.DetailsOf(field);
    if (field.shape == Shape::Decimal) {
        return std::max<std::size_t>(DecimalSize(program.NumberAt(field, turn)), field.width);
    }
    if (field.shape == Shape::Resized) return turn == 0 ? details.firstText.count : details.fullSize;
    char text[kHexGroupsRoom];
    return static_cast<std::size_t>(WriteText(program, field, turn, text) - text);
}

std::size_t LengthSize(const LengthDefinition& length, std::size_t stretch)
{
    return length.size == 0 ? DecimalSize(stretch) : length.size;
}

} // namespace

void WriteTurn(const IndexProgram& program, const IndexField& field, std::uint64_t turn, char* frame) noexcept
{
    char* const out = frame + field.offset;
    if (field.shape != Shape::Piece) {
        if (field.shape == Shape::Pieces) return WritePieces(program, field, turn, frame);
        const Slice& listed = program.DetailsOf(field).listed;
        return CopyText(out, program.tables.data() + listed.first + turn * listed.count, field.size);
    }
    if (field.rule != NumberRule::Linear) {
        return WriteBits(out, field.notation, program.NumberAt(field, turn) >> field.shift, field.size);
    }
    const std::uint64_t number = field.start + turn * field.step; // of whose bits the piece shows none too many
    if (field.notation == Notation::Decimal) { // most fields; looking for these first saves a tenth of the time
        WriteDigits(out, static_cast<std::uint32_t>(number), field.size);
    } else {
        WriteBits(out, field.notation, number >> field.shift, field.size);
    }
}

void WriteInFrame(const IndexProgram& program, const IndexField& field, std::uint64_t index, char* frame) noexcept
{
    WriteTurn(program, field, program.TurnAt(field, index), frame);
}

std::size_t MeasureIndex(const IndexProgram& program, std::uint64_t index) noexcept
{
    if (program.isFixedSize) return program.frame.size();
    std::size_t more = 0; // than the frame has up to the present field
    std::size_t measuredFrom = 0;
    const LengthDefinition* length = nullptr;
    for (const IndexField& field : program.fields) {
        if (field.IsInFrame()) continue;
        if (field.shape == Shape::LengthOpen) {
            length = &program.DetailsOf(field).length;
            measuredFrom = field.offset + more;
        } else if (field.shape == Shape::LengthClose) {
            more += LengthSize(*length, field.offset + more - measuredFrom);
        } else {
            more += MeasureText(program, field, field.turns.At(index));
        }
    }
    return program.frame.size() + more;
}

namespace {

/// Writes a value of a program of fixed size.
char* RenderFrame(const IndexProgram& program, std::uint64_t index, char* out)
{
    CopyText(out, program.frame.data(), program.frame.size());
    for (const Lane& lane : program.rendering.lanes) {
        const std::uint64_t word = lane.start + lane.turns.At(index) * lane.step;
        const std::uint64_t bytes = lane.isLittle ? word >> 8 * (8 - lane.size) : __builtin_bswap64(word);
        StoreLittleBytes(reinterpret_cast<unsigned char*>(out + lane.offset), bytes, lane.size);
    }
    for (const std::uint32_t place : program.rendering.rest) {
        const IndexField& field = program.fields[place];
        if (field.IsPlainDecimal()) { // most of them; without the call, twelve take a sixth less time
            const std::uint64_t number = field.start + field.turns.At(index) * field.step;
            WriteDigits(out + field.offset, static_cast<std::uint32_t>(number), field.size);
        } else {
            WriteInFrame(program, field, index, out);
        }
    }
    if (!program.checksums.empty()) {
        auto* const frame = reinterpret_cast<unsigned char*>(out);
        WriteChecksums(program, &frame, 1);
    }
    return out + program.frame.size();
}

} // namespace

char* RenderIndex(const IndexProgram& program, std::uint64_t index, char* out) noexcept
{
    if (program.isFixedSize) return RenderFrame(program, index, out);
    const char* const frame = program.frame.data();
    char* base = out; // where offset 0 of the frame would be, after the sizes of the texts so far
    char* measuredFrom = nullptr;
    const LengthDefinition* length = nullptr;
    CopyText(out, frame, program.firstStretch);
    for (const IndexField& field : program.fields) {
        if (field.IsInFrame()) {
            WriteInFrame(program, field, index, base);
            continue;
        }
        char* const place = base + field.offset;
        char* end = place;
        if (field.shape == Shape::LengthOpen) {
            length = &program.DetailsOf(field).length;
            measuredFrom = place;
        } else if (field.shape == Shape::LengthClose) {
            end = InsertLength(measuredFrom, place, *length);
        } else {
            end = WriteText(program, field, field.turns.At(index), place);
        }
        base += end - place;
        CopyText(end, frame + field.offset, field.stretch);
    }
    assert(static_cast<std::size_t>(base - out) + program.frame.size() == MeasureIndex(program, index));
    return base + program.frame.size();
}

} // namespace zor::common::detail
