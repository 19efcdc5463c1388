#ifndef ZOR_COMMON_TEMPLATE_PROGRAM_H
#define ZOR_COMMON_TEMPLATE_PROGRAM_H

/// \file
/// Internal: the compiled form of a template, and what builds it.

#include "Sequence.h"
#include "TemplateSyntax.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace zor::common::detail {

/// What stands at one place of a template. Each comment names the table of the program that `item` indexes.
enum class Op : std::uint8_t {
    Digits,      ///< A number in a fixed number of decimal digits: numbers.
    Decimal,     ///< A number in decimal: numbers.
    Bytes,       ///< A hex counter of up to 8 bytes as raw bytes: numbers.
    Text,        ///< The same in one of the text formats: numbers.
    Mac,         ///< A MAC address: macs.
    Wide,        ///< A hex counter of 9 to 16 bytes: wideNumbers.
    Field,       ///< A longer one, or one whose sums may lose carries: fields.
    Variable,    ///< The value of a variable: variables.
    LengthOpen,  ///< The first one of a pair of length fields: lengths.
    LengthClose, ///< The second one, or one left over, which shows nothing: lengths.
    Escape       ///< The marker, which is part of the frame: no table.
};

/// The formats of a hex counter.
enum class HexFormat : std::uint8_t { Little, Big, Hex, Mac, Ipv4, Ipv6 };

/// One expression or escape. The parts of a program are in the order of its text and do not overlap.
struct Part {
    Op op = Op::Escape;
    HexFormat format = HexFormat::Little; ///< Of a hex counter.
    std::uint8_t width = 0;               ///< Of a decimal number the least number of digits; of a MAC address 0 or 1.
    bool isUpperCase = false;             ///< The digits of a MAC address.
    std::uint32_t item = 0;
    std::size_t offset = 0; ///< Where it stands in the frame.
    std::uint32_t gap = 0; ///< Bytes of the frame reserved for its text, if that always has the same size; otherwise 0.
    bool isPlain = false;  ///< Whether it is a plain number in a gap, as digits or bytes.
    std::size_t stretch = 0; ///< Without a gap: bytes of the frame from here to the next part without one.
};
static_assert(sizeof(Part) == 32 && std::is_trivially_copyable_v<Part>);

/// Where an expression stands.
struct PartPlace {
    TextRange inText; ///< In Program::text.
    TextRange given;  ///< In the text that was compiled, before a hex template was rewritten.
};

/// How a length is shown.
struct LengthDefinition {
    bool isInFront = true;  ///< Of what it measures; otherwise behind it.
    std::uint32_t size = 1; ///< In bytes; 0 is in decimal digits.
    bool isBigEndian = true;
};

/// A variable that a program shows.
struct VariableUse {
    std::uint32_t item = 0;
    std::size_t places = 0; ///< How often it stands in the program.
};

/// For a hex counter that is kept as a number and has a mask: what computes its values at an index.
struct MaskedNumber {
    bool isWide = false;
    std::uint32_t item = 0;
    FieldDefinition field;
};

/// The compiled form of a template, which never changes once it is built: any number of threads may share one. It
/// points at nothing outside. The frame holds the literal text, escapes as what they stand for, and gaps.
struct Program {
    std::string text;   ///< The text that PartPlace::inText refers to.
    std::string marker; ///< What an escape stands for.
    std::string frame;
    std::size_t firstStretch = 0; ///< Bytes of the frame up to the first part without a gap.
    std::size_t room = 0;         ///< The bytes that rendering touches at most, without those of variables.
    std::vector<Part> parts;
    std::vector<PartPlace> places; ///< One for each part.

    bool isFixedSize = false;    ///< Whether all parts have gaps, so that each value has the size of the frame.
    bool hasOnlyNumbers = false; ///< Whether nothing counts but `numbers`, without masks.
    std::vector<NumberDefinition<std::uint64_t>> numbers;
    std::vector<NumberDefinition<Uint128>> wideNumbers;
    std::vector<FieldDefinition> fields;
    std::vector<MaskedNumber> maskedNumbers;
    std::vector<Cycle> macs;
    std::vector<LengthDefinition> lengths;
    std::map<std::string, VariableUse, std::less<>> variables; ///< By name, in lower case.
};

/// The largest number of bytes that the writer of a part touches, which may exceed its text; 0 for a variable and a
/// length field.
std::size_t MaxSizeOf(const Program& program, const Part& part) noexcept;

/// One line for each part, for tests and debuggers: what it is, its place in the text as it was given, its offset in the
/// frame, the size of its gap or stretch, and how it counts.
std::string Dump(const Program& program);

/// Builds a program from the first part to the last. It knows nothing of the grammar.
class ProgramBuilder {
public:
    explicit ProgramBuilder(std::string_view marker);

    /// Appends literal text to the frame.
    void AddLiteral(std::string_view text) { mProgram->frame += text; }

    void AddEscape(const PartPlace& place);
    void AddDecimal(const PartPlace& place, const NumberDefinition<std::uint64_t>& number, std::uint8_t width);
    void AddMac(const PartPlace& place, std::uint32_t repeat, std::uint8_t layout, bool isUpperCase);
    void AddHex(const PartPlace& place, FieldDefinition field, HexFormat format);
    void AddVariable(const PartPlace& place, std::string name);
    void AddLength(const PartPlace& place, const LengthDefinition& length);

    /// Ends the program.
    /// \param text  the text that the places refer to.
    std::shared_ptr<const Program> Finish(std::string text);

private:
    template <class Word>
    static NumberDefinition<Word> NumberOfField(const FieldDefinition& field);
    void AddPart(const PartPlace& place, Part part, std::size_t gap);
    void PairLengths() noexcept;
    void MeasureStretches() noexcept;

    std::shared_ptr<Program> mProgram;
};

} // namespace zor::common::detail

#endif // ZOR_COMMON_TEMPLATE_PROGRAM_H
