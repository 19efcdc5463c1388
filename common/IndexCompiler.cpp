#include "IndexCompiler.h"

#include "TemplateRender.h"

#include <string>
#include <string_view>

namespace zor::common::detail {

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
    counter.size = field.GetFullSize();
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
                                                      const Variables& variables,
                                                      const std::vector<ChecksumField>& checksums)
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
    return builder.Finish(checksums);
}

} // namespace zor::common::detail
