#include "BigEndian.h"
#include "Characters.h"
#include "FrameBuilder.h"
#include "FrameLayers.h"
#include "IndexProgram.h"

#include <algorithm>
#include <limits>
#include <map>
#include <optional>
#include <utility>

namespace zor::common {

using detail::AssembledFrame;
using detail::FrameField;

namespace {

void AppendHex(std::string& text, std::string_view bytes)
{
    for (const char byte : bytes) detail::AppendHexByte(text, static_cast<unsigned char>(byte));
}

std::string BytesOf(const detail::Uint128& number, std::size_t size)
{
    unsigned char bytes[16];
    detail::StoreBig128(bytes, number);
    return {reinterpret_cast<const char*>(bytes) + 16 - size, size};
}

/// The text of a hex template. What the grammar has no word for stands as no Wildcards reads it.
std::string TextOf(const AssembledFrame& frame)
{
    std::string text = "@h";
    std::size_t from = 0;
    std::map<std::size_t, std::size_t> tables{{0, 0}}; // in the order of the frame, whatever the calls were
    const auto addLiteral = [&](std::size_t to) {
        if (to != from) text += ' ';
        AppendHex(text, std::string_view(frame.bytes).substr(from, to - from));
    };
    for (const FrameField& field : frame.fields) {
        addLiteral(field.offset);
        from = field.GetEnd();
        if (field.isHole) {
            text += " @hole(" + field.name + ',' + std::to_string(field.size) + ')';
            continue;
        }
        if (field.isShuffled) text += " @shuffled(" + std::to_string(field.seed) + ')';
        if (field.table) { // whose values stand in the tables of the program
            text += " @list(" + std::to_string(tables.emplace(field.rows, tables.size()).first->second) + ',' +
                    std::to_string(field.size) + ',' + std::to_string(field.count) + ',' +
                    std::to_string(field.interval - 1) + ')';
            continue;
        }
        text += " @$(";
        AppendHex(text, std::string_view(frame.bytes).substr(field.offset, field.size));
        text += ',' + std::to_string(field.count) + ',';
        AppendHex(text, BytesOf(field.step, field.size));
        text += ",big";
        if (field.interval != 1) text += ',' + std::to_string(field.interval - 1);
        text += ')';
    }
    addLiteral(frame.bytes.size());
    return text;
}

/// Whether the grammar has words for all fields: numbers that count, with counts and repeats of 32 bits.
bool HasText(const AssembledFrame& frame)
{
    constexpr std::uint64_t kMax = std::numeric_limits<std::uint32_t>::max();
    return std::all_of(frame.fields.begin(), frame.fields.end(), [](const FrameField& field) {
        return !field.isHole && !field.isShuffled && !field.table && field.count <= kMax && field.interval - 1 <= kMax;
    });
}

/// A number as words, the lowest one first, as many as the size takes.
std::vector<std::uint64_t> WordsOf(const detail::Uint128& number, std::size_t size)
{
    if (size <= 8) return {number.low};
    return {number.low, number.high};
}

detail::HexCounter CounterOf(const FrameField& field)
{
    detail::HexCounter counter;
    counter.startSize = counter.size = field.size;
    counter.start = WordsOf(field.first, field.size);
    counter.step = WordsOf(field.step, field.size);
    const std::uint64_t highBits =
        detail::LowBits(field.size <= 8 ? 0 : static_cast<unsigned int>(8 * (field.size - 8)));
    counter.mask = WordsOf({highBits, detail::LowBits(static_cast<unsigned int>(8 * field.size))}, field.size);
    counter.fixed = WordsOf({0, 0}, field.size);
    counter.turns = {detail::Divisor(field.interval), detail::Divisor(field.count)};
    return counter;
}

/// Lays the values of lists out: those of a row side by side, as they are read together.
class TableLayout {
public:
    TableLayout(const AssembledFrame& frame, detail::IndexProgramBuilder& builder)
    {
        std::map<std::size_t, std::vector<const FrameField*>> tables; // by their numbers
        for (const FrameField& field : frame.fields) {
            if (field.rows != 0) tables[field.rows].push_back(&field);
        }
        for (const FrameField& field : frame.fields) { // in the order of the frame, not in that of the calls
            if (field.table && field.rows == 0) Add({&field}, builder);
            if (field.rows != 0 && tables[field.rows].front() == &field) Add(tables[field.rows], builder);
        }
    }

    /// Where the values of a field stand.
    const detail::ListedExpression& GetPlace(const FrameField& field) const { return mPlaces.at(field.offset); }

private:
    void Add(const std::vector<const FrameField*>& columns, detail::IndexProgramBuilder& builder)
    {
        std::string bytes;
        const std::size_t count = columns.front()->table->CountRows();
        for (std::size_t row = 0; row < count; ++row) {
            for (const FrameField* field : columns) bytes += BytesOf(field->GetListed(row), field->size);
        }
        std::size_t first = builder.AddTable(bytes);
        for (const FrameField* field : columns) {
            detail::ListedExpression& place = mPlaces[field->offset];
            place.first = first;
            place.distance = bytes.size() / count;
            place.size = field->size;
            place.turns = {detail::Divisor(field->interval), detail::Divisor(field->count)};
            first += field->size;
        }
    }

    std::map<std::size_t, detail::ListedExpression> mPlaces; ///< By the offsets of fields in the frame.
};

} // namespace

CompiledTemplate FrameBuilder::Compile() const
{
    const AssembledFrame frame(*mStack);
    const std::string_view bytes = frame.bytes;
    detail::IndexProgramBuilder builder;
    const TableLayout tables(frame, builder);
    std::size_t from = 0;
    for (const FrameField& field : frame.fields) {
        builder.AddLiteral(bytes.substr(from, field.offset - from));
        from = field.GetEnd();
        if (field.isHole) {
            builder.AddHole(field.name, field.size);
            continue;
        }
        const std::optional<IndexOrder> order = field.isShuffled ? std::optional(field.GetOrder()) : std::nullopt;
        if (field.table) {
            builder.AddListed(tables.GetPlace(field), order ? &*order : nullptr);
        } else {
            builder.AddHex(CounterOf(field), detail::HexFormat::Big, bytes.substr(field.offset, field.size), false,
                           order ? &*order : nullptr);
        }
        builder.SetName(field.name);
    }
    builder.AddLiteral(bytes.substr(from));
    // A text that no Wildcards could read has no marker either, as no template that is read has.
    return CompiledTemplate(Wildcards(TextOf(frame), HasText(frame) ? "@" : ""), frame.checksums,
                            builder.Finish(frame.checksums));
}

std::optional<std::string> FrameBuilder::GetTemplate() const
{
    const AssembledFrame frame(*mStack);
    return HasText(frame) ? std::optional(TextOf(frame)) : std::nullopt;
}

std::vector<ChecksumField> FrameBuilder::GetChecksums() const
{
    return AssembledFrame(*mStack).checksums;
}

} // namespace zor::common
