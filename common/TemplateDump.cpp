#include "TemplateOverlay.h"
#include "TemplateProgram.h"

#include "BigEndian.h"
#include "Characters.h"

#include <algorithm>
#include <iterator>

namespace zor::common::detail {

namespace {

/// A number in hex, in so many bytes or, where it does not fit them, in more.
std::string HexText(const Uint128& number, std::size_t size)
{
    unsigned char bytes[16];
    StoreBig128(bytes, number);
    std::string text;
    const unsigned char* byte = std::find_if(bytes, std::end(bytes) - size, [](int each) { return each; });
    for (; byte != std::end(bytes); ++byte) AppendHexByte(text, *byte);
    return text;
}

/// What cannot be shown as it is comes as an octal number, and a long text ends in dots.
std::string Readable(std::string_view text)
{
    constexpr std::size_t kMax = 1000;
    std::string result;
    for (const char c : text.substr(0, kMax)) {
        if (c == '"' || c == '\\') result += '\\';
        if (c >= ' ' && c <= '~') {
            result += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            result += '\\';
            for (const int digit : {byte >> 6, byte >> 3 & 7, byte & 7}) result += static_cast<char>('0' + digit);
        }
    }
    return text.size() > kMax ? result + "..." : result;
}

std::string NameOf(const Program& program, const Part& variable)
{
    for (const auto& [name, use] : program.variables) {
        if (use.item == variable.item) return name;
    }
    return {};
}

std::string ShownBy(const Part& part, const Layer& layer, const Variables& variables)
{
    const Values& values = layer.state.GetValues();
    switch (part.op) {
    case Op::Digits:
    case Op::Decimal: return std::to_string(values.numbers[part.item].number.value);
    case Op::Mac: return HexText({0, values.macs[part.item]}, 6);
    case Op::Bytes:
    case Op::Text: {
        const Number<std::uint64_t>& number = values.numbers[part.item].number;
        return HexText({0, number.value}, number.size);
    }
    case Op::Wide: return HexText(values.wideNumbers[part.item].value, values.wideNumbers[part.item].size);
    case Op::Field: return values.fields[part.item].ToString();
    case Op::Variable: {
        const auto found = variables.find(NameOf(*layer.program, part));
        return Quoted(found == variables.end() || found->first.empty() ? std::string_view() : found->second);
    }
    default: return "-";
    }
}

/// Appends the lines of a program, part by part.
class Dumper {
public:
    explicit Dumper(const Program& program) : mProgram(program) {}

    std::string Lines()
    {
        for (std::size_t i = 0; i < mProgram.parts.size(); ++i) {
            AddPlace(mProgram.parts[i], mProgram.places[i].given);
            AddDefinition(mProgram.parts[i]);
            mText += '\n';
        }
        return std::move(mText);
    }

private:
    void Add(const char* name, std::uint64_t number) { mText += name + std::to_string(number); }

    void AddHex(const char* name, const Uint128& number, std::size_t size) { mText += name + HexText(number, size); }
    void AddHex(const char* name, std::uint64_t number, std::size_t size) { AddHex(name, Uint128{0, number}, size); }

    void AddPlace(const Part& part, const TextRange& given)
    {
        static constexpr const char* kOps[] = {"Digits", "Decimal",  "Bytes",      "Text",        "Mac",   "Wide",
                                               "Field",  "Variable", "LengthOpen", "LengthClose", "Escape"};
        mText += kOps[static_cast<std::size_t>(part.op)];
        Add(" at ", given.pos);
        Add("+", given.len);
        if (part.op == Op::Escape) return;
        Add(", offset ", part.offset);
        if (part.gap != 0) {
            Add(", gap ", part.gap);
        } else {
            Add(", stretch ", part.stretch);
        }
        mText += ": ";
    }

    void AddDefinition(const Part& part)
    {
        switch (part.op) {
        case Op::Digits:
        case Op::Decimal: return AddDecimal(mProgram.numbers[part.item], part.width);
        case Op::Mac:
            mText += part.isUpperCase ? "upper case" : "lower case";
            Add(", layout ", part.width);
            return AddCycle(mProgram.macs[part.item]);
        case Op::Bytes:
        case Op::Text: return AddNumber(part, mProgram.numbers[part.item]);
        case Op::Wide: return AddNumber(part, mProgram.wideNumbers[part.item]);
        case Op::Field: return AddField(part, mProgram.fields[part.item]);
        case Op::Variable: mText += '"' + NameOf(mProgram, part) + '"'; return;
        case Op::LengthOpen:
        case Op::LengthClose: return AddLength(mProgram.lengths[part.item]);
        default: return;
        }
    }

    void AddCycle(const Cycle& cycle)
    {
        Add(", count ", cycle.count);
        Add(", repeat ", cycle.repeat);
    }

    void AddDecimal(const NumberDefinition<std::uint64_t>& number, std::size_t width)
    {
        Add("start ", number.start);
        Add(", step ", number.step);
        AddCycle(number.cycle);
        Add(", modulus ", number.modulus);
        Add(", width ", width);
    }

    void AddFormat(const Part& part)
    {
        static constexpr const char* kFormats[] = {"little", "big", "hex", "mac", "ipv4", "ipv6"};
        mText += kFormats[static_cast<std::size_t>(part.format)];
    }

    /// The start with its own width, the mask with that of all other values.
    template <class Word>
    void AddNumber(const Part& part, const NumberDefinition<Word>& number)
    {
        std::size_t stepSize = 0;
        while (stepSize < sizeof(Word) && !(LowBytes<Word>(stepSize) == number.stepMask)) ++stepSize;
        AddFormat(part);
        AddHex(", start ", number.start, number.startSize);
        AddHex(", step ", number.step, stepSize);
        AddCycle(number.cycle);
        AddHex(", mask ", number.mask, number.fullSize);
        if (!number.hasMask) return;
        AddHex(", not mask ", number.notMask, number.fullSize);
        AddHex(", fixed ", number.fixed, number.fullSize);
    }

    void AddField(const Part& part, const FieldDefinition& field)
    {
        AddFormat(part);
        mText += ", start " + field.start.ToString() + ", step " + field.step.ToString();
        AddCycle(field.cycle);
        if (!field.hasMask) return;
        mText += ", mask " + field.mask.ToString() + ", not mask " + field.notMask.ToString();
        mText += ", fixed " + field.fixed.ToString();
    }

    void AddLength(const LengthDefinition& length)
    {
        mText += length.isInFront ? "in front" : "behind";
        Add(", size ", length.size);
        mText += length.isBigEndian ? ", big" : ", little";
    }

    const Program& mProgram;
    std::string mText;
};

} // namespace

std::string Dump(const Program& program)
{
    return Dumper(program).Lines();
}

std::string DumpValues(const Layer& layer, const Variables& variables)
{
    const Program& program = *layer.program;
    std::string text;
    for (std::size_t i = 0; i < program.parts.size(); ++i) {
        const TextRange& place = program.places[i].inText;
        text += ", " + Readable(std::string_view(program.text).substr(place.pos, place.len));
        text += " = " + ShownBy(program.parts[i], layer, variables);
    }
    return text;
}

std::string Quoted(std::string_view text)
{
    return '"' + Readable(text) + '"';
}

} // namespace zor::common::detail
