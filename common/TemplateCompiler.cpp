#include "TemplateCompiler.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace zor::common::detail {

namespace {

NumberDefinition<std::uint64_t> DecimalNumber(const CounterDefinition& counter)
{
    NumberDefinition<std::uint64_t> number;
    number.start = counter.start;
    number.step = counter.step;
    number.mask = number.stepMask = 0xffffffff;
    number.cycle = {counter.count, counter.repeat};
    number.modulus = counter.modulus;
    return number;
}

void AddExpression(ProgramBuilder& builder, const ExpressionText& found, const PartPlace& place,
                   const PacketContext& context)
{
    const ArgumentList arguments = found.hasList ? ArgumentList(found.list) : ArgumentList();
    const unsigned int(&a)[ArgumentList::kMaxWords] = arguments.numbers;
    switch (found.kind) {
    case 'm':
    case 'M':
        builder.AddMac(place, context.macRepeat, arguments.isGiven && a[0] != 0 ? 1 : 0, found.kind == 'M');
        return;
    case '$': builder.AddHex(place, HexCounterOf(arguments), FormatOf(arguments)); return;
    case 'p': builder.AddVariable(place, "port"); return;
    case '=': builder.AddVariable(place, LowerCase(arguments.words[0])); return;
    case '_': builder.AddLength(place, {a[0] != 0, a[1], a[2] == 1}); return;
    default: break;
    }
    if (!IsDecimalKind(found.kind)) return builder.AddEscape(place);
    const DecimalExpression decimal = DecimalOf(found.kind, arguments, context);
    builder.AddDecimal(place, DecimalNumber(decimal.counter), decimal.width);
}

} // namespace

bool IsDecimalKind(char kind) noexcept
{
    return kind == 'x' || kind == 'b' || kind == 's' || kind == 'S' || kind == 'v';
}

DecimalExpression DecimalOf(char kind, const ArgumentList& arguments, const PacketContext& context) noexcept
{
    const unsigned int(&a)[ArgumentList::kMaxWords] = arguments.numbers;
    CounterDefinition counter = {
        .start = a[0], .step = a[2], .repeat = a[4], .count = a[1], .modulus = a[5] == 0 ? 0 : a[5] + 1};
    auto width = static_cast<std::uint8_t>(arguments.isGiven ? a[0] : 0);
    switch (kind) {
    case 'b':
        counter.start = context.firstBase;
        counter.count = 1;
        break;
    case 'v':
        counter.start = counter.step = counter.count = 0;
        if (const CounterDefinition* const tag = FindTag(arguments, context)) counter = *tag;
        width = static_cast<std::uint8_t>(a[1]);
        break;
    case 'x': width = static_cast<std::uint8_t>(a[3]); break;
    default:
        counter.start = context.secondBase;
        counter.count = 0;
        break;
    }
    return {counter, width};
}

const CounterDefinition* FindTag(const ArgumentList& arguments, const PacketContext& context) noexcept
{
    const unsigned int tag = arguments.numbers[0];
    if (tag == 0) return nullptr;
    if (arguments.words[0] == "vpi") return &context.vpi;
    if (arguments.words[0] == "vci") return &context.vci;
    return tag <= context.vlanTags.size() ? &context.vlanTags[tag - 1] : nullptr;
}

HexFormat FormatOf(const ArgumentList& arguments) noexcept
{
    const auto number = static_cast<unsigned char>(arguments.numbers[3]);
    if (arguments.numbers[3] != 0) {
        return number < std::size(kFormatWords) ? static_cast<HexFormat>(number) : HexFormat::Little;
    }
    const auto* const word =
        std::find(std::begin(kFormatWords), std::end(kFormatWords), arguments.words[3]); // a name or "0"
    return word == std::end(kFormatWords) ? HexFormat::Little : static_cast<HexFormat>(word - kFormatWords);
}

FieldDefinition HexCounterOf(const ArgumentList& arguments)
{
    const auto word = [&arguments](std::size_t i) { return Hexfield(std::string(arguments.words[i])); };
    FieldDefinition field;
    if (arguments.wordCount > 0) field.start = word(0);
    field.step = arguments.wordCount >= 4 ? word(2) : Hexfield("1");
    field.hasMask = arguments.wordCount >= 6;
    if (field.hasMask) {
        field.mask = word(5);
        field.notMask = ~field.mask;
        field.fixed = field.start & field.notMask;
    }
    field.cycle = {arguments.numbers[1], arguments.numbers[4]};
    return field;
}

std::string LowerCase(std::string_view name)
{
    std::string lower(name);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return lower;
}

namespace {

std::shared_ptr<const Program> Compile(std::string text, SourceMap& places, std::string_view given,
                                       const std::string& marker, const PacketContext& context)
{
    ProgramBuilder builder(marker);
    TemplateScanner scanner(text, marker);
    std::size_t from = 0; // where the literal text begins that is not in the frame yet
    for (ExpressionText found; scanner.Next(found);) {
        const bool isKind = IsTemplateKind(found.kind);
        if (isKind ? found.kind == 'v' && !found.hasList : found.kind != marker.front()) continue; // literal text
        builder.AddLiteral(std::string_view(text).substr(from, found.range.pos - from));
        AddExpression(builder, found, {found.range, places.Find(given, found.range)}, context);
        from = found.range.pos + found.range.len;
    }
    builder.AddLiteral(std::string_view(text).substr(from));
    return builder.Finish(std::move(text));
}

} // namespace

std::shared_ptr<const Program> CompileTemplate(const std::string& text, const std::string& marker,
                                               const PacketContext& context)
{
    SourceMap places;
    std::string rewritten = IsHexTemplate(text) ? RewriteHexTemplate(text, "@", &places) : text;
    return Compile(std::move(rewritten), places, text, marker, context);
}

std::shared_ptr<const Program> CompileRewritten(std::string text, const std::string& marker,
                                                const PacketContext& context)
{
    SourceMap places;
    return Compile(std::move(text), places, {}, marker, context);
}

} // namespace zor::common::detail
