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

/// The counter that the kind `v` shows; null for a tag that is not defined.
const CounterDefinition* FindTag(const ArgumentList& arguments, const PacketContext& context)
{
    const unsigned int tag = arguments.numbers[0];
    if (tag == 0) return nullptr;
    if (arguments.words[0] == "vpi") return &context.vpi;
    if (arguments.words[0] == "vci") return &context.vci;
    return tag <= context.vlanTags.size() ? &context.vlanTags[tag - 1] : nullptr;
}

HexFormat FormatOf(const ArgumentList& arguments)
{
    static constexpr std::string_view kFormats[] = {"little", "big", "hex", "mac", "ipv4", "ipv6"};
    const auto number = static_cast<unsigned char>(arguments.numbers[3]);
    if (arguments.numbers[3] != 0) {
        return number < std::size(kFormats) ? static_cast<HexFormat>(number) : HexFormat::Little;
    }
    const auto* const word = std::find(std::begin(kFormats), std::end(kFormats), arguments.words[3]); // a name or "0"
    return word == std::end(kFormats) ? HexFormat::Little : static_cast<HexFormat>(word - kFormats);
}

FieldDefinition HexCounter(const ArgumentList& arguments)
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

void AddExpression(ProgramBuilder& builder, const ExpressionText& found, const PartPlace& place,
                   const PacketContext& context)
{
    const ArgumentList arguments = found.hasList ? ArgumentList(found.list) : ArgumentList();
    const unsigned int(&a)[ArgumentList::kMaxWords] = arguments.numbers;
    CounterDefinition counter = {
        .start = a[0], .step = a[2], .repeat = a[4], .count = a[1], .modulus = a[5] == 0 ? 0 : a[5] + 1};
    auto width = static_cast<std::uint8_t>(arguments.isGiven ? a[0] : 0);
    switch (found.kind) {
    case 'x': width = static_cast<std::uint8_t>(a[3]); break;
    case 'b':
        counter.start = context.firstBase;
        counter.count = 1;
        break;
    case 's':
    case 'S':
        counter.start = context.secondBase;
        counter.count = 0;
        break;
    case 'v':
        counter.start = counter.step = counter.count = 0;
        if (const CounterDefinition* const tag = FindTag(arguments, context)) counter = *tag;
        width = static_cast<std::uint8_t>(a[1]);
        break;
    case 'm':
    case 'M':
        builder.AddMac(place, context.macRepeat, arguments.isGiven && a[0] != 0 ? 1 : 0, found.kind == 'M');
        return;
    case '$': builder.AddHex(place, HexCounter(arguments), FormatOf(arguments)); return;
    case 'p': builder.AddVariable(place, "port"); return;
    case '=': builder.AddVariable(place, LowerCase(arguments.words[0])); return;
    case '_': builder.AddLength(place, {a[0] != 0, a[1], a[2] == 1}); return;
    default: builder.AddEscape(place); return;
    }
    builder.AddDecimal(place, DecimalNumber(counter), width);
}

} // namespace

std::string LowerCase(std::string_view name)
{
    std::string lower(name);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return lower;
}

std::shared_ptr<const Program> CompileTemplate(const std::string& text, const std::string& marker,
                                               const PacketContext& context)
{
    SourceMap places;
    std::string rewritten = IsHexTemplate(text) ? RewriteHexTemplate(text, "@", &places) : text;
    ProgramBuilder builder(marker);
    TemplateScanner scanner(rewritten, marker);
    std::size_t from = 0; // where the literal text begins that is not in the frame yet
    for (ExpressionText found; scanner.Next(found);) {
        const bool isKind = IsTemplateKind(found.kind);
        if (isKind ? found.kind == 'v' && !found.hasList : found.kind != marker.front()) continue; // literal text
        builder.AddLiteral(std::string_view(rewritten).substr(from, found.range.pos - from));
        AddExpression(builder, found, {found.range, places.Find(text, found.range)}, context);
        from = found.range.pos + found.range.len;
    }
    builder.AddLiteral(std::string_view(rewritten).substr(from));
    return builder.Finish(std::move(rewritten));
}

} // namespace zor::common::detail
