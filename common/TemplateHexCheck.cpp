#include "CounterFacts.h"
#include "TemplateFindings.h"

#include <algorithm>
#include <iterator>

namespace zor::common::detail {

namespace {

bool HasBits(const Hexfield& field)
{
    for (unsigned int i = 0; i < field.GetSize(); ++i) {
        if (field.GetByte(i) != 0) return true;
    }
    return false;
}

bool IsOne(const Hexfield& field)
{
    for (unsigned int i = 0; i + 1 < field.GetSize(); ++i) {
        if (field.GetByte(i) != 0) return false;
    }
    return field.GetSize() != 0 && field.GetByte(field.GetSize() - 1u) == 1;
}

/// The same expression, with the step that a list of fewer than four arguments has.
CheckedExpression WithStep(CheckedExpression of)
{
    if (of.arguments.wordCount < 4) of.arguments.wordCount = std::min<std::size_t>(of.arguments.wordCount, 2);
    return of;
}

std::string_view FormatWord(const CheckedExpression& of, HexFormat format)
{
    return of.arguments.wordCount > 3 ? of.arguments.words[3] : kFormatWords[static_cast<std::size_t>(format)];
}

void CheckHexArgument(CheckedTemplate& in, const CheckedExpression& of, std::size_t position, const char* name,
                      std::size_t size)
{
    const std::string_view word = of.arguments.words[position];
    if (IsHexArgument(word)) return;
    if (word.front() == '-' || word.front() == '+') {
        return in.Warn(130, word,
                       "A sign before a hex " + std::string(name) + " is ignored, so " + Quote(word) + " is " +
                           Quote(Hexfield(std::string(word)).ToString()) + '.',
                       HintFor(of, [&] { return HexDigitsFor(word, size); }));
    }
    std::string digits = HexDigitsFor(word, size);
    if (digits.empty()) digits = "00";
    const std::string read = Hexfield(std::string(word)).ToString();
    in.Warn(129, word,
            "The " + std::string(name) + ' ' + Quote(word) + " is read as the hex digits " + Quote(read) +
                ", and its other characters are ignored.",
            HintFor(of, [&] { return digits; }));
}

void CheckFormat(CheckedTemplate& in, const CheckedExpression& of, HexFormat format)
{
    const std::string_view word = of.arguments.words[3];
    unsigned int number = 0;
    const NumberForm form = ReadNumber(word, number);
    const bool isNumber = form == NumberForm::Whole || form == NumberForm::WithTail;
    if (isNumber ? form == NumberForm::Whole && number < std::size(kFormatWords)
                 : std::find(std::begin(kFormatWords), std::end(kFormatWords), word) != std::end(kFormatWords)) {
        return;
    }
    std::string hint(format == HexFormat::Little ? "big" : kFormatWords[static_cast<std::size_t>(format)]);
    const std::string_view near = Nearest(word, {std::begin(kFormatWords), std::end(kFormatWords)});
    if (!near.empty()) hint = near;
    in.Warn(109, word,
            Quote(word) + " is not a format, and means " + std::string(kFormatWords[static_cast<std::size_t>(format)]) +
                (format == HexFormat::Little ? ": raw bytes, the least significant one first." : "."),
            HintFor(of, [&] { return hint; }));
}

void CheckMask(CheckedTemplate& in, const CheckedExpression& of, const FieldDefinition& field)
{
    const std::string_view word = of.arguments.words[5];
    const std::size_t size = field.start.GetSize();
    std::string full(2 * size, 'F');
    if (!HasBits(field.mask)) {
        return in.Warn(119, word, "The mask has no bits, so nothing changes.", HintFor(of, [&] { return full; }));
    }
    if (field.mask.GetSize() != size) {
        std::string fitting = field.mask.ToString();
        if (fitting.size() < 2 * size) fitting.insert(0, 2 * size - fitting.size(), '0');
        fitting.erase(0, fitting.size() - 2 * size);
        in.Warn(119, word,
                "The mask has " + Plural(field.mask.GetSize(), "byte") + " and the start " + std::to_string(size) +
                    (field.mask.GetSize() < size ? ", so from the first step on the bytes above the mask are 0."
                                                 : ", so from the first step on the value is as wide as the mask."),
                HintFor(of, [&] { return HasBits(Hexfield(fitting)) ? fitting : full; }));
    }
    if (!HasBits(field.step)) return;
    in.Note(120, of.text,
            std::string("With a mask, Wildcards::GetValueAt() gives other values than stepping does.") + kUseCompiled);
}

void ReportOtherByIndex(CheckedTemplate& in, const CheckedExpression& of, const FieldDefinition& field,
                        HexFormat format)
{
    const std::size_t startSize = field.start.GetSize();
    const std::size_t stepSize = field.step.GetSize();
    std::string why = "it multiplies each 32-bit word of the step without carries.";
    std::string hint;
    if (startSize != stepSize) {
        why = "the start has " + Plural(startSize, "byte") + " and the step " + std::to_string(stepSize) + '.';
        hint = HintFor(of, [&] {
            FieldDefinition wide = field;
            wide.start.normalize(static_cast<unsigned short>(field.GetFullSize()));
            wide.step.normalize(static_cast<unsigned short>(field.GetFullSize()));
            return IndexAgrees(wide, format) ? AtFullWidth(WithStep(of), FormatWord(of, format)) : std::string();
        });
    }
    in.Warn(111, of.text,
            "Wildcards::GetValueAt() gives other values than stepping does, because " + why +
                (hint.empty() ? kUseCompiled : ""),
            hint);
}

} // namespace

void CheckHexCounter(CheckedTemplate& in, const CheckedExpression& of)
{
    const std::size_t words = of.arguments.wordCount;
    const FieldDefinition field = HexCounterOf(of.arguments);
    const HexFormat format = FormatOf(of.arguments);
    const std::size_t size = field.GetFullSize();
    if (words > 0) CheckHexArgument(in, of, 0, "start", size);
    if (words > 2) CheckHexArgument(in, of, 2, "step", size);
    if (words > 5) CheckHexArgument(in, of, 5, "mask", size);
    if (words > 3) CheckFormat(in, of, format);
    if (words == 3 && !IsOne(Hexfield(std::string(of.arguments.words[2])))) {
        in.Warn(110, of.text,
                "In a list of three arguments the step is 1, whatever the third one is. A list with a format has a "
                "step.",
                HintFor(of, [&] { return AtFullWidth(of, in.isHex ? "big" : "little"); }));
    }
    CheckCount(in, of, field.cycle.count, words > 3 && HasBits(field.step) && !IsOne(field.step));
    if (format == HexFormat::Little && in.isHex && size > 1) {
        in.Warn(124, of.text,
                "The format is little, the least significant byte first. Packet headers have the most significant one "
                "first.",
                HintFor(of, [&] { return AtFullWidth(WithStep(of), "big"); }));
    }
    if (field.cycle.count != 1 && ShowsWidth(format) && field.start.GetSize() < field.step.GetSize()) {
        in.Warn(128, of.text,
                "The start has " + Plural(field.start.GetSize(), "byte") + " and the step " +
                    std::to_string(field.step.GetSize()) + ", so the first value is shorter than the others.",
                HintFor(of, [&] { return AtFullWidth(of, FormatWord(of, format)); }));
    }
    if (field.hasMask) {
        CheckMask(in, of, field);
    } else if (!IndexAgrees(field, format)) {
        ReportOtherByIndex(in, of, field, format);
    }
    if (!StepsExactly(field)) {
        in.Warn(125, of.text,
                "The step has a word ffffffff, at which stepping may lose a carry, so it does not give the exact "
                "numbers that a CompiledTemplate has.");
    }
}

} // namespace zor::common::detail
