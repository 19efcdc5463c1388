#include "CompiledTemplateImpl.h"
#include "CounterFacts.h"
#include "IndexCompiler.h"
#include "IndexRender.h"

#include <algorithm>
#include <string_view>

namespace zor::common {

namespace detail {

namespace {

std::string ShownAt(const IndexProgram& program, std::uint64_t index)
{
    std::string value(program.maxSize, '\0');
    value.resize(static_cast<std::size_t>(RenderIndex(program, index, value.data()) - value.data()));
    return value;
}

/// How many indexes a turn of a part lasts.
std::uint64_t IntervalOf(const Program& program, const Part& part)
{
    switch (part.op) {
    case Op::Digits:
    case Op::Decimal:
    case Op::Bytes:
    case Op::Text: return std::uint64_t{program.numbers[part.item].cycle.repeat} + 1;
    case Op::Mac: return std::uint64_t{program.macs[part.item].repeat} + 1;
    case Op::Wide: return std::uint64_t{program.wideNumbers[part.item].cycle.repeat} + 1;
    case Op::Field: return std::uint64_t{program.fields[part.item].cycle.repeat} + 1;
    default: return 1;
    }
}

/// The fields of a program that was compiled from a text. Each expression is a template by itself.
class FieldLister {
public:
    FieldLister(const Program& program, const std::string& marker, const PacketContext& context,
                const Variables& variables)
        : mProgram(program), mMarker(marker), mContext(context), mVariables(variables)
    {
    }

    std::vector<TemplateField> List(const std::vector<IndexExpression>& expressions)
    {
        std::size_t gaps = 0;
        for (std::size_t i = 0; i < mProgram.parts.size(); ++i) {
            const Part& part = mProgram.parts[i];
            if (part.op == Op::Escape) continue;
            mLiterals.push_back(part.offset - gaps);
            gaps += part.gap;
            const PartPlace& place = mProgram.places[i];
            TemplateField field;
            field.pos = place.given.pos;
            field.len = place.given.len;
            field.kind = mProgram.text[place.inText.pos + 1];
            field.period = expressions[mFields.size()].period;
            mFields.push_back(std::move(field));
            if (part.op == Op::LengthOpen) {
                mOpen = i;
                mOpenField = mFields.size() - 1;
            } else if (part.op == Op::LengthClose) {
                if (mOpen != kNone) ShowLength(i);
                mOpen = kNone;
            } else {
                Show(i, mFields.back());
            }
        }
        SetOffsets();
        return std::move(mFields);
    }

private:
    std::shared_ptr<const IndexProgram> Compile(std::size_t from, std::size_t to) const
    {
        const auto program = CompileRewritten(mProgram.text.substr(from, to - from), mMarker, mContext);
        return CompileForIndexes(*program, mContext, mVariables, {});
    }

    void Show(std::size_t part, TemplateField& field) const
    {
        const TextRange& place = mProgram.places[part].inText;
        const auto alone = Compile(place.pos, place.pos + place.len);
        field.minSize = alone->minSize;
        field.maxSize = alone->maxSize;
        field.first = ShownAt(*alone, 0);
        field.second = ShownAt(*alone, field.period == 1 ? 0 : IntervalOf(mProgram, mProgram.parts[part]));
        if (field.period != 0) field.last = ShownAt(*alone, field.period - 1);
        if (!IsDecimalKind(field.kind)) return;
        const NumberDefinition<std::uint64_t>& number = mProgram.numbers[mProgram.parts[part].item];
        const DigitCounts digits =
            DigitsOf({static_cast<std::uint32_t>(number.start), static_cast<std::uint32_t>(number.step),
                      number.cycle.repeat, number.cycle.count, number.modulus});
        const std::size_t width = mProgram.parts[part].width;
        field.minSize = std::max(digits.least, width);
        field.maxSize = std::max(digits.largest, width);
    }

    /// The length of what stands between two parts: what both show with it, without that.
    void ShowLength(std::size_t close)
    {
        const LengthDefinition& length = mProgram.lengths[mProgram.parts[mOpen].item];
        const TextRange& opening = mProgram.places[mOpen].inText;
        const TextRange& closing = mProgram.places[close].inText;
        const auto both = Compile(opening.pos, closing.pos + closing.len);
        const auto stretch = Compile(opening.pos + opening.len, closing.pos);
        TemplateField& field = length.isInFront ? mFields[mOpenField] : mFields.back();
        const auto text = [&](std::uint64_t index) {
            const std::string value = ShownAt(*both, index);
            const std::size_t size = value.size() - MeasureIndex(*stretch, index);
            return length.isInFront ? value.substr(0, size) : value.substr(value.size() - size);
        };
        field.first = text(0);
        field.second = text(1);
        if (field.period != 0) field.last = text(field.period - 1);
        field.minSize = length.size == 0 ? std::to_string(stretch->minSize).size() : length.size;
        field.maxSize = length.size == 0 ? std::to_string(stretch->maxSize).size() : length.size;
    }

    void SetOffsets()
    {
        std::size_t shown = 0;
        bool isFixed = true;
        for (std::size_t i = 0; i < mFields.size(); ++i) {
            mFields[i].offset = mLiterals[i] + shown;
            mFields[i].isOffsetFixed = isFixed;
            shown += mFields[i].first.size();
            isFixed = isFixed && mFields[i].minSize == mFields[i].maxSize;
        }
    }

    static constexpr std::size_t kNone = ~std::size_t{0};

    const Program& mProgram;
    const std::string& mMarker;
    const PacketContext& mContext;
    const Variables& mVariables;
    std::vector<TemplateField> mFields;
    std::vector<std::size_t> mLiterals; ///< For each field the bytes of literal text before it.
    std::size_t mOpen = kNone;          ///< The length field that has opened a pair, as a place in the parts.
    std::size_t mOpenField = 0;         ///< The same as a place in the fields.
};

} // namespace

} // namespace detail

std::vector<TemplateField> CompiledTemplate::GetFields() const
{
    if (mImpl->traffic) return mImpl->traffic->GetFields();
    if (mImpl->isBuilt) return GetBuiltFields();
    const auto program = detail::CompileTemplate(mImpl->text, mImpl->marker, mImpl->context);
    return detail::FieldLister(*program, mImpl->marker, mImpl->context, mImpl->variables)
        .List(mImpl->read.program->expressions);
}

/// The frame has them all, and the text, if there is one, has an expression for each.
std::vector<TemplateField> CompiledTemplate::GetBuiltFields() const
{
    const detail::IndexProgram& program = *mImpl->read.program;
    std::vector<TemplateField> fields;
    detail::TemplateScanner scanner(mImpl->text, mImpl->marker);
    // Fields tend to share their periods, so one value after the other is shown again and again.
    struct Shown {
        std::uint64_t index;
        std::string value;
    };
    Shown first = {0, detail::ShownAt(program, 0)};
    Shown second = first;
    Shown last = first;
    for (const detail::IndexExpression& expression : program.expressions) {
        const auto text = [&](Shown& shown, std::uint64_t index) {
            if (index != shown.index) shown = {index, detail::ShownAt(program, index)};
            return shown.value.substr(expression.text.offset, expression.text.size);
        };
        TemplateField field;
        detail::ExpressionText found;
        bool isFound = scanner.Next(found);
        while (isFound && !detail::IsTemplateKind(found.kind)) isFound = scanner.Next(found); // "@h"
        if (isFound) {
            field.pos = found.range.pos;
            field.len = found.range.len;
        }
        field.kind = '$';
        field.offset = expression.text.offset;
        field.isOffsetFixed = true;
        field.minSize = field.maxSize = expression.text.size;
        field.first = text(first, 0);
        field.second = text(second, expression.period == 1 ? 0 : expression.interval);
        field.period = expression.period;
        if (field.period != 0) field.last = text(last, field.period - 1);
        field.name = expression.name;
        fields.push_back(std::move(field));
    }
    return fields;
}

} // namespace zor::common
