#include "TemplateRender.h"

#include "AddressForms.h"
#include "BigEndian.h"
#include "Decimal.h"

#include <algorithm>
#include <cassert>
#include <cstring>

namespace zor::common::detail {

namespace {

/// Writes a hex counter of up to 8 bytes as these bytes.
inline char* WriteBytes(char* out, HexFormat format, std::uint64_t number, unsigned int size)
{
    auto* const bytes = reinterpret_cast<unsigned char*>(out);
    if (format == HexFormat::Big) {
        StoreBigBytes(bytes, number, size);
    } else {
        StoreLittleBytes(bytes, number, size);
    }
    return out + size;
}

/// Writes the last 16 bytes of a hex counter in one of the address formats.
inline char* WriteAddress(char* out, HexFormat format, const unsigned char* bytes)
{
    switch (format) {
    case HexFormat::Mac: return WriteHexBytes(out, bytes + 10, 6, 1, '-');
    case HexFormat::Ipv4: return WriteDottedDecimal(out, bytes + 12);
    default: return WriteHexGroups(out, bytes, 8, 1);
    }
}

/// Writes a hex counter of up to 8 bytes in one of the text formats.
char* WriteText(char* out, HexFormat format, std::uint64_t number, unsigned int size)
{
    unsigned char bytes[16] = {};
    if (format != HexFormat::Hex) {
        StoreBig64(bytes + 8, number);
        return WriteAddress(out, format, bytes);
    }
    while (size-- > 0) out = WriteHexByte(out, static_cast<unsigned char>(number >> 8 * size));
    return out;
}

/// Writes a hex counter of up to 16 bytes in any format.
char* WriteWide(char* out, HexFormat format, const Uint128& number, unsigned int size)
{
    unsigned char bytes[16];
    StoreBig128(bytes, number);
    switch (format) {
    case HexFormat::Hex:
        for (unsigned int i = 16 - size; i < 16; ++i) out = WriteHexByte(out, bytes[i]);
        return out;
    case HexFormat::Mac:
    case HexFormat::Ipv4:
    case HexFormat::Ipv6: return WriteAddress(out, format, bytes);
    case HexFormat::Big: std::memcpy(out, bytes + 16 - size, size); return out + size;
    default:
        for (unsigned int i = 0; i < size; ++i) out[i] = static_cast<char>(bytes[15 - i]);
        return out + size;
    }
}

/// Writes a hex counter of any width in any format.
char* WriteField(char* out, HexFormat format, const Hexfield& field)
{
    const std::size_t size = field.GetSize();
    switch (format) {
    case HexFormat::Hex: field.CopyToHexArray(out); return out + 2 * size;
    case HexFormat::Mac:
    case HexFormat::Ipv4:
    case HexFormat::Ipv6: {
        unsigned char bytes[16] = {};
        for (std::size_t i = 0; i < 16 && i < size; ++i) {
            bytes[15 - i] = field.GetByte(static_cast<unsigned int>(size - 1 - i));
        }
        return WriteAddress(out, format, bytes);
    }
    default: field.CopyToByteArray(reinterpret_cast<unsigned char*>(out), format == HexFormat::Big); return out + size;
    }
}

char* WriteMac(char* out, const Part& part, std::uint64_t address)
{
    unsigned char bytes[6];
    StoreBig48(bytes, address);
    const auto& hexBytes = part.isUpperCase ? kUpperHexBytes : kLowerHexBytes;
    return part.width == 0 ? WriteHexBytes(out, bytes, 6, 1, '-', hexBytes)
                           : WriteHexBytes(out, bytes, 6, 2, '.', hexBytes);
}

/// Writes the value of a part, for the ops up to Op::Field.
/// \param number  gives the number of an item, and is called once for each part that shows one.
template <class NumberSource>
[[gnu::always_inline]] inline char* WriteValue(char* out, const Part& part, const Values& values, NumberSource number)
{
    if (part.op <= Op::Text) { // one call, so that the number is inlined once
        const Number<std::uint64_t> shown = number(part.item);
        switch (part.op) {
        case Op::Digits: return WriteDigits(out, static_cast<std::uint32_t>(shown.value), part.gap);
        case Op::Decimal: return WriteDecimal(out, static_cast<std::uint32_t>(shown.value), part.width);
        case Op::Bytes: return WriteBytes(out, part.format, shown.value, shown.size);
        default: return WriteText(out, part.format, shown.value, shown.size);
        }
    }
    switch (part.op) {
    case Op::Mac: return WriteMac(out, part, values.macs[part.item]);
    case Op::Wide: {
        const Number<Uint128>& shown = values.wideNumbers[part.item];
        return WriteWide(out, part.format, shown.value, shown.size);
    }
    default: return WriteField(out, part.format, values.fields[part.item]);
    }
}

/// Writes a plain number. Most counters are plain, and twelve of them take a sixth less time than by WriteValue().
[[gnu::always_inline]] inline void WritePlain(char* out, const Part& part, std::uint64_t number)
{
    if (part.op == Op::Digits) {
        WriteDigits(out, static_cast<std::uint32_t>(number), part.gap);
    } else {
        WriteBytes(out, part.format, number, part.gap);
    }
}

/// Renders a program of fixed size. By RenderParts(), twelve counters take an eighth longer.
template <class NumberSource>
[[gnu::always_inline]] inline char* RenderFrame(const Program& program, const Values& values, char* out,
                                                NumberSource number)
{
    CopyText(out, program.frame.data(), program.frame.size());
    for (const Part& part : program.parts) {
        char* const place = out + part.offset;
        if (part.isPlain) {
            WritePlain(place, part, number.Plain(part.item));
        } else if (part.op <= Op::Field) {
            WriteValue(place, part, values, number);
        }
    }
    return out + program.frame.size();
}

/// The pass of all three Render functions.
template <class NumberSource>
[[gnu::always_inline]] inline char* RenderParts(const Program& program, const Values& values,
                                                const VariableValues& variables, char* out, NumberSource number)
{
    if (program.isFixedSize) return RenderFrame(program, values, out, number);
    const char* const frame = program.frame.data();
    char* base = out; // where offset 0 of the frame would be, after the sizes of the texts so far
    const LengthDefinition* opening = nullptr;
    char* measuredFrom = nullptr;
    CopyText(out, frame, program.firstStretch);
    for (const Part& part : program.parts) {
        char* const place = base + part.offset;
        if (part.isPlain) {
            WritePlain(place, part, number.Plain(part.item));
            continue;
        }
        char* end = place;
        if (part.op <= Op::Field) {
            end = WriteValue(place, part, values, number);
            if (part.gap != 0) continue;
        } else if (part.op == Op::Variable) {
            assert(part.item < variables.size());
            if (const std::string* const value = variables[part.item]) {
                CopyText(place, value->data(), value->size());
                end += value->size();
            }
        } else if (part.op == Op::LengthOpen) {
            opening = &program.lengths[part.item];
            measuredFrom = place;
        } else if (part.op == Op::LengthClose && opening) {
            end = InsertLength(measuredFrom, place, *opening);
        }
        base += end - place;
        CopyText(end, frame + part.offset, part.stretch);
    }
    return base + program.frame.size();
}

} // namespace

std::string LengthText(const LengthDefinition& definition, std::size_t length)
{
    if (definition.size == 0) return std::to_string(length);
    std::string text(definition.size, '\0');
    WriteLengthBytes(text.data(), text.size(), length, definition.isBigEndian);
    return text;
}

void WriteLengthBytes(char* out, std::size_t size, std::uint64_t length, bool isBigEndian) noexcept
{
    std::memset(out, 0, size);
    for (std::size_t k = 0; k < size && k < sizeof length; ++k) {
        out[isBigEndian ? size - 1 - k : k] = static_cast<char>(length >> 8 * k);
    }
}

char* InsertLength(char* start, char* end, const LengthDefinition& definition) noexcept
{
    const auto length = static_cast<std::size_t>(end - start);
    char* const place = definition.isInFront ? start : end;
    char digits[kMaxDecimalSize];
    const std::size_t size =
        definition.size == 0 ? static_cast<std::size_t>(WriteDecimal(digits, length, 0) - digits) : definition.size;
    std::memmove(place + size, place, static_cast<std::size_t>(end - place));
    if (definition.size == 0) {
        std::memcpy(place, digits, size);
    } else {
        WriteLengthBytes(place, size, length, definition.isBigEndian);
    }
    return end + size;
}

char* Render(const Program& program, const Values& values, const VariableValues& variables, char* out) noexcept
{
    struct {
        const Counter<std::uint64_t>* counters;

        const Number<std::uint64_t>& operator()(std::size_t item) const { return counters[item].number; }
        std::uint64_t Plain(std::size_t item) const { return counters[item].number.value; }
    } const current = {values.numbers.data()};
    return RenderParts(program, values, variables, out, current);
}

char* RenderNext(const Program& program, State& state, const VariableValues& variables, char* out) noexcept
{
    return RenderParts(program, state.GetValues(), variables, out, state.GetNumberStepper(program));
}

char* RenderAt(const Program& program, const IndexedValues& values, const VariableValues& variables, char* out) noexcept
{
    return RenderParts(program, values.GetTables(), variables, out, values.GetNumberSource(program));
}

std::string TextOf(const Program& program, const Part& part, const Values& values)
{
    Part free = part;
    if (free.op == Op::Digits) free.op = Op::Decimal;
    std::string text(std::max<std::size_t>(MaxSizeOf(program, free), part.width + kMaxDecimalSize), '\0');
    const char* const end =
        WriteValue(text.data(), free, values, [&values](std::size_t item) { return values.numbers[item].number; });
    text.resize(static_cast<std::size_t>(end - text.data()));
    return text;
}

} // namespace zor::common::detail
