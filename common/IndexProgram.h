#ifndef ZOR_COMMON_INDEX_PROGRAM_H
#define ZOR_COMMON_INDEX_PROGRAM_H

/// \file
/// Internal: the form of a template in which each value is a function of its 64-bit index, and what builds it.

#include "ByteSpan.h"
#include "ChecksumField.h"
#include "IndexCounter.h"
#include "IndexLanes.h"
#include "IndexOrder.h"
#include "TemplateProgram.h"
#include "TurnReader.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zor::common::detail {

/// Consecutive elements of a table.
struct Slice {
    std::size_t first = 0;
    std::size_t count = 0;
};

/// How bits of a number are written.
enum class Notation : std::uint8_t {
    Big,      ///< Bytes, the most significant one first.
    Little,   ///< Bytes, the least significant one first.
    LowerHex, ///< Hex digits.
    UpperHex,
    Decimal ///< Decimal digits, of the whole number.
};

/// Bytes of a text that follow one another, change, and show bits of one word of a number.
struct Piece {
    std::size_t offset = 0; ///< In the frame; of a resized text, in the text.
    std::uint32_t word = 0; ///< Which 64 bits of the number; 0 are the lowest.
    std::uint8_t shift = 0; ///< The lowest bit of the word that the piece shows.
    std::uint8_t size = 0;  ///< In bytes of the text: up to 8 for bytes, 16 for hex and 10 for decimal digits.
    Notation notation = Notation::Big;
};

/// How the text of a field is made.
enum class Shape : std::uint8_t {
    Piece,      ///< One piece of a number of up to 64 bits: offset, shift, size and notation are those of the field.
    Listed,     ///< Bytes of a table: offset and size are those of the field.
    Pieces,     ///< Pieces of a number by runs.
    Resized,    ///< Bytes or hex digits, of another size at turn 0 than at all others.
    Decimal,    ///< Decimal digits, as many as the number has.
    Ipv4,       ///< Dotted decimal of the lowest 4 bytes.
    Ipv6,       ///< Hex groups of the lowest 16 bytes.
    LengthOpen, ///< The first one of a pair of length fields.
    LengthClose ///< The second one.
};

/// How the number of a field follows from its turn.
enum class NumberRule : std::uint8_t {
    Linear,  ///< start + turn * step, in `bits` bits.
    Modular, ///< The same modulo `modulus`, in exact arithmetic; the start as it is at turn 0.
    Runs     ///< By bit runs; where the start stands apart, its words at turn 0.
};

/// What few fields have.
struct FieldDetails {
    Slice runs;
    Slice startWords; ///< The start, where it stands apart from its runs.
    Slice pieces;     ///< The lowest word first.
    Slice listed;     ///< In IndexProgram::tables: where turn 0 stands, and how far the next one is.
    Slice firstText;  ///< In IndexProgram::texts: what turn 0 of a resized text shows. All others are all pieces.
    std::size_t fullSize = 0; ///< Of the others.
    Divisor modulus;
    LengthDefinition length;
};

/// A place of the frame whose bytes change. An expression with several pieces may have several fields.
struct IndexField {
    Shape shape = Shape::Piece;
    NumberRule rule = NumberRule::Linear;
    Notation notation = Notation::Big; ///< Of a piece, as are shift and size.
    std::uint8_t shift = 0;            ///< The lowest bit of the number that is shown.
    std::uint8_t size = 0;             ///< In bytes of the frame.
    std::uint8_t bits = 64;            ///< How many a linear number has.
    std::uint8_t width = 0;            ///< Of a decimal number the least number of digits.
    bool startsApart = false;          ///< By runs: whether turn 0 shows what the runs do not give.
    std::uint32_t details = 0;         ///< Place in IndexProgram::details.
    std::uint32_t order = 0;           ///< 1 more than its place in IndexProgram::orders; 0 is none.
    TurnRule turns;
    std::uint64_t start = 0; ///< By any rule but runs.
    std::uint64_t step = 0;
    std::size_t offset = 0; ///< Where it stands in the frame.
    /// Of a text that is not in the frame: bytes of the frame from here to the next such field.
    std::size_t stretch = 0;

    /// Whether the frame holds the text, but for what changes.
    bool IsInFrame() const noexcept { return shape <= Shape::Pieces; }

    /// Whether it is decimal digits in the frame, of a number without a modulus and in sequence.
    bool IsPlainDecimal() const noexcept
    {
        return shape == Shape::Piece && rule == NumberRule::Linear && notation == Notation::Decimal && order == 0;
    }
};
static_assert(sizeof(IndexField) <= 80);

/// Bytes of the frame that change and that a checksum covers.
struct SummedPiece {
    std::size_t offset = 0;
    std::uint8_t size = 0;     ///< Up to 8.
    bool startsSecond = false; ///< Whether the first byte is the second one of its word.
};

/// A linear counter, written as bytes, that a checksum covers as a whole.
struct SummedCounter {
    std::uint32_t field = 0;   ///< Its place in IndexProgram::fields.
    bool startsSecond = false; ///< Whether its least significant byte is the second one of its word.
};

/// A checksum that follows what it covers.
struct IndexChecksum {
    std::size_t at = 0;
    std::uint64_t sum = 0; ///< Of all that never changes, as in InternetSum.h.
    Slice pieces;
    Slice counters; ///< All that changes, if that is linear counters alone; otherwise none.
    /// Of the pieces: what a sender writes late, which is holes and the checksums of \a held that are covered.
    Slice late;
    std::uint64_t sumWithoutLate = 0; ///< As \a sum, but for these.
    std::size_t place = 0;            ///< In the order in which checksums are worked out.
    bool zeroIsAllOnes = false;
    bool complement = true;
};

/// Where the text of an expression ends.
enum class Extent : std::uint8_t {
    InFrame,      ///< The frame holds it.
    Digits,       ///< Before the first character that is no decimal digit.
    DottedDigits, ///< Behind four groups of these.
    HexGroups,    ///< Before the first character that is neither a hex digit nor a colon.
    TwoSizes,     ///< One size at turn 0 and one at all others.
    LengthBytes,  ///< A length of a fixed number of bytes.
    LengthDigits, ///< A length in decimal digits.
    Nowhere       ///< It shows nothing.
};

/// How an expression moves.
enum class Motion : std::uint8_t {
    Counts,  ///< As its reader says.
    Listed,  ///< By a list of values, as IndexProgram::listed says.
    Shuffled ///< By a counter whose turns an order permutes, as IndexProgram::shuffled says.
};

/// An expression that shows values of a list, or a column of a table, in network order. Value t stands in
/// IndexProgram::tables at first + t * distance.
struct ListedExpression {
    std::size_t expression = 0; ///< Its place in IndexProgram::expressions, which says where it stands in the frame.
    std::size_t first = 0;
    std::size_t distance = 0;
    std::size_t size = 0;    ///< Of a value, in bytes.
    TurnRule turns;          ///< Its count is the number of values.
    std::uint32_t order = 0; ///< As IndexField::order.
};

/// An expression whose turns an order permutes.
struct ShuffledExpression {
    std::size_t expression = 0; ///< Its place in IndexProgram::expressions.
    TurnReader reader;          ///< Of the turn that the text shows: the order has it at the turn of the index.
    std::uint32_t order = 0;    ///< As IndexField::order.
};

/// Bytes that rendering leaves as they are, for a sender to write.
struct IndexHole {
    std::string name;
    ByteSpan place;
};

/// An expression that is no escape.
struct IndexExpression {
    std::string name; ///< Of a field of a FrameBuilder; empty for all others.
    Motion motion = Motion::Counts;
    std::uint64_t period = 1;   ///< In indexes; 0 is 2^64 or more, or never.
    std::uint64_t interval = 1; ///< How many indexes a turn lasts.
    ByteSpan text;              ///< In the frame. Without size where that does not hold it.
    Extent extent = Extent::InFrame;
    std::size_t minSize = 0; ///< Of the text, in bytes.
    std::size_t maxSize = 0;
    TurnReader reader; ///< Only of one that counts; the others are told of in tables of their own.

    /// Whether texts differ.
    bool IsMoving() const noexcept { return motion == Motion::Counts ? reader.IsMoving() : period != 1; }
};

/// What changes, in the order of the frame. It never changes once it is built and points at nothing outside, so any
/// number of threads may share one. Numbers that never change, variables, escapes and the lengths of stretches of a fixed
/// size are part of the frame.
struct IndexProgram {
    std::string frame;            ///< Literal text; where pieces stand, their bytes at index 0.
    std::size_t firstStretch = 0; ///< Bytes of the frame up to the first field that is not in it.
    std::vector<IndexField> fields;
    std::vector<FieldDetails> details; ///< The first one is that of fields without.
    std::vector<Piece> pieces;
    std::vector<BitRun> runs;
    std::vector<std::uint64_t> startWords;
    std::string texts;
    std::string tables; ///< Values of lists, in network order.
    std::vector<IndexOrder> orders;
    BatchPlan rendering; ///< After a copy of the frame. A lane of 8 bytes may write what stands behind its field.
    BatchPlan patching;  ///< Writes bytes of the fields alone.

    std::vector<IndexChecksum> checksums; ///< Each one before those that cover it.
    std::vector<IndexChecksum> held;      ///< Those that cover nothing that changes but holes. The frame holds them.
    std::vector<SummedPiece> summedPieces;
    std::vector<SummedCounter> summedCounters;

    std::size_t minSize = 0; ///< Of a value, in bytes.
    std::size_t maxSize = 0;
    bool isFixedSize = true;
    bool stepsAlike = true;              ///< Whether stepping a Wildcards gives these values.
    std::vector<ByteSpan> changingSpans; ///< Of a frame of fixed size; ascending, apart.
    std::vector<IndexExpression> expressions;
    std::vector<ListedExpression> listed;
    std::vector<ShuffledExpression> shuffled;
    std::vector<IndexHole> holes; ///< In the order of the frame.

    const FieldDetails& DetailsOf(const IndexField& field) const noexcept { return details[field.details]; }

    /// The turn of a field at an index.
    std::uint64_t TurnAt(const IndexField& field, std::uint64_t index) const noexcept
    {
        const std::uint64_t turn = field.turns.At(index);
        return field.order == 0 ? turn : orders[field.order - 1].GetIndexAt(turn);
    }

    /// The number of a field at a turn, by any rule but runs.
    std::uint64_t NumberAt(const IndexField& field, std::uint64_t turn) const noexcept
    {
        if (field.rule == NumberRule::Linear) return (field.start + turn * field.step) & LowBits(field.bits);
        if (turn == 0) return field.start;
        const Divisor& modulus = DetailsOf(field).modulus;
        return modulus.Remainder(field.start + modulus.Remainder(turn) * field.step);
    }
};

/// Builds a program from the first byte to the last. It knows nothing of the grammar.
class IndexProgramBuilder {
public:
    IndexProgramBuilder() : mProgram(std::make_shared<IndexProgram>()) { mProgram->details.resize(1); }

    void AddLiteral(std::string_view text) { mProgram->frame += text; }

    /// Text that stands for an expression.
    void AddText(std::string_view text)
    {
        AddExpression(1, text.size());
        AddLiteral(text);
    }

    /// \param first  the text at turn 0, here and below.
    void AddDecimal(const DecimalCounter& counter, std::string_view first);

    /// \param isUpperCase  the hex digits of a text.
    /// \param order        permutes the turns, if it is not null. It has as many as there are; \a first is what the
    ///                     turn at its position 0 shows.
    void AddHex(const HexCounter& counter, HexFormat format, std::string_view first, bool isUpperCase = false,
                const IndexOrder* order = nullptr);

    /// Adds the bytes of a table, and returns where it stands in IndexProgram::tables.
    std::size_t AddTable(std::string_view bytes);

    /// A number that shows what a table lists.
    /// \param listed  where the table stands, and when which value is shown.
    /// \param order   as for AddHex().
    void AddListed(ListedExpression listed, const IndexOrder* order);

    /// Zeros that the sender writes.
    void AddHole(const std::string& name, std::size_t size);

    /// Names the expression that was added last.
    void SetName(const std::string& name) { mProgram->expressions.back().name = name; }

    /// Begins the stretch that a pair of length fields measures. Pairs do not nest.
    void OpenLength(const LengthDefinition& length);

    /// Ends the stretch. Without one, nothing is shown.
    void CloseLength();

    /// Ends the program. Throws std::invalid_argument for checksums that do not fit.
    std::shared_ptr<const IndexProgram> Finish(const std::vector<ChecksumField>& checksums);

private:
    /// Where a stretch began, as places in the program.
    struct OpenStretch {
        LengthDefinition length;
        std::size_t offset;
        std::size_t field;
        std::size_t piece;
        std::size_t expression;
    };

    IndexExpression& AddExpression(std::uint64_t period, std::size_t textSize);
    void AddVaryingField(IndexField field, Extent extent, std::size_t minSize, std::size_t maxSize);
    void AddFrameFields(IndexField field, const std::vector<Piece>& pieces);
    void AddDetails(IndexField& field, const FieldDetails& details);
    std::uint32_t AddOrder(const IndexOrder* order);
    Slice AddPieces(const std::vector<Piece>& pieces);
    void SetNumber(IndexField& field, FieldDetails& details, const HexCounter& counter, const std::vector<BitRun>& runs,
                   std::size_t words);

    std::shared_ptr<IndexProgram> mProgram;
    std::optional<OpenStretch> mOpen;
    std::size_t mMinSize = 0; ///< Of the texts that are not in the frame.
    std::size_t mMaxSize = 0;
    std::size_t mLengthsInDigits = 0;
};

/// Ascending spans that do not touch, of the same bytes.
std::vector<ByteSpan> JoinSpans(std::vector<ByteSpan> spans);

} // namespace zor::common::detail

#endif // ZOR_COMMON_INDEX_PROGRAM_H
