#include "IndexChecksum.h"

#include "BigEndian.h"
#include "InternetSum.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>

namespace zor::common::detail {

namespace {

bool Overlap(const ByteSpan& left, const ByteSpan& right)
{
    return left.size != 0 && right.size != 0 && left.offset < right.offset + right.size &&
           right.offset < left.offset + left.size;
}

/// What both spans have, given that they overlap.
ByteSpan Common(const ByteSpan& left, const ByteSpan& right)
{
    const std::size_t offset = std::max(left.offset, right.offset);
    return {offset, std::min(left.offset + left.size, right.offset + right.size) - offset};
}

ByteSpan SpanOf(const ChecksumField& field)
{
    return {field.at, 2};
}

[[noreturn]] void Refuse(std::size_t number, const char* why)
{
    throw std::invalid_argument("checksum field " + std::to_string(number) + " " + why);
}

void Check(const IndexProgram& program, const std::vector<ChecksumField>& fields)
{
    const std::size_t size = program.frame.size();
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const ChecksumField& field = fields[i];
        if (!program.isFixedSize) Refuse(i, "needs a template whose values have one size");
        if (size < 2 || field.at > size - 2) Refuse(i, "reaches beyond the frame");
        for (const ByteSpan& span : field.covered) {
            if (span.offset > size || span.size > size - span.offset) Refuse(i, "covers bytes beyond the frame");
        }
        for (std::size_t other = 0; other < i; ++other) {
            if (Overlap(SpanOf(field), SpanOf(fields[other]))) Refuse(i, "overlaps another one");
        }
        for (const IndexExpression& expression : program.expressions) {
            if (Overlap(SpanOf(field), expression.text)) Refuse(i, "stands over an expression");
        }
    }
}

/// Checksums over many counters, and over counters that often start again, are summed from the bytes of the frames.
constexpr std::size_t kMostCounters = 8;
constexpr std::uint64_t kLongRun = 32;

/// Whether a field is a counter that goes on by the same step for many indexes.
bool IsSteppedCounter(const IndexField& field)
{
    return field.shape == Shape::Piece && field.rule == NumberRule::Linear && field.order == 0 &&
           field.notation <= Notation::Little && field.turns.GetRun() >= kLongRun;
}

/// The sum of what a checksum covers in a frame.
std::uint64_t SumOfCovered(const ChecksumField& checksum, const std::string& frame)
{
    const auto* const bytes = reinterpret_cast<const unsigned char*>(frame.data());
    std::uint64_t sum = SumOfNumber(checksum.initial);
    for (const ByteSpan& covered : checksum.covered) {
        sum = FoldSum(sum + SumOfBytes(bytes + covered.offset, covered.size));
    }
    return sum;
}

/// Lists the bytes of some spans that a checksum covers.
Slice AddPieces(IndexProgram& program, const ChecksumField& checksum, const std::vector<ByteSpan>& spans)
{
    const std::size_t first = program.summedPieces.size();
    for (const ByteSpan& covered : checksum.covered) {
        for (const ByteSpan& span : spans) {
            if (!Overlap(covered, span)) continue;
            ByteSpan rest = Common(covered, span);
            while (rest.size != 0) {
                const std::size_t size = std::min<std::size_t>(rest.size, 8);
                program.summedPieces.push_back(
                    {rest.offset, static_cast<std::uint8_t>(size), (rest.offset - covered.offset) % 2 != 0});
                rest.offset += size;
                rest.size -= size;
            }
        }
    }
    return {first, program.summedPieces.size() - first};
}

/// Lists the counters that a checksum covers, or none if it covers anything else that changes.
Slice AddCounters(IndexProgram& program, const ChecksumField& checksum)
{
    std::vector<SummedCounter> counters;
    for (const ByteSpan& covered : checksum.covered) {
        for (const IndexChecksum& other : program.checksums) {
            if (Overlap(covered, {other.at, 2})) return {};
        }
        for (const Piece& piece : program.pieces) {
            if (Overlap(covered, {piece.offset, piece.size})) return {};
        }
        for (std::uint32_t i = 0; i < program.fields.size(); ++i) {
            const IndexField& field = program.fields[i];
            const ByteSpan span = {field.offset, field.size};
            if (field.shape > Shape::Listed || !Overlap(covered, span)) continue;
            if (!IsSteppedCounter(field) || Common(covered, span) != span || counters.size() == kMostCounters)
                return {};
            const bool isBig = field.notation == Notation::Big;
            const std::size_t lowest = span.offset - covered.offset + (isBig ? span.size - 1 : 0);
            counters.push_back({i, lowest % 2 != 0});
        }
    }
    const Slice slice = {program.summedCounters.size(), counters.size()};
    program.summedCounters.insert(program.summedCounters.end(), counters.begin(), counters.end());
    return slice;
}

} // namespace

void AddChecksums(IndexProgram& program, const std::vector<ChecksumField>& fields)
{
    Check(program, fields);
    std::vector<ByteSpan> changing = program.changingSpans; // with the fields so far that change
    std::vector<ByteSpan> late;
    for (const IndexHole& hole : program.holes) late.push_back(hole.place);
    for (const ChecksumField& field : fields) {
        std::string literal = program.frame; // the bytes that are summed here, once for all
        const auto clear = [&literal](const ByteSpan& span) {
            std::fill_n(literal.begin() + static_cast<std::ptrdiff_t>(span.offset), span.size, '\0');
        };
        std::for_each(changing.begin(), changing.end(), clear);
        clear(SpanOf(field));

        IndexChecksum checksum;
        checksum.at = field.at;
        checksum.complement = field.complement;
        checksum.zeroIsAllOnes = field.zeroIsAllOnes;
        checksum.place = static_cast<std::size_t>(&field - fields.data());
        checksum.sum = SumOfCovered(field, literal);
        checksum.pieces = AddPieces(program, field, changing);
        checksum.late = AddPieces(program, field, late);
        std::for_each(late.begin(), late.end(), clear);
        checksum.sumWithoutLate = SumOfCovered(field, literal);
        if (checksum.sum != 0) checksum.counters = AddCounters(program, field);
        if (checksum.pieces.count == 0) {
            const std::uint16_t held = ChecksumOf(checksum.sum, field.complement, field.zeroIsAllOnes);
            StoreLittle(reinterpret_cast<unsigned char*>(program.frame.data()) + field.at, held);
            if (checksum.late.count == 0) continue;
            program.held.push_back(checksum);
            late.push_back(SpanOf(field));
        } else {
            program.checksums.push_back(checksum);
            changing.push_back(SpanOf(field));
        }
    }
    program.changingSpans = JoinSpans(std::move(changing));
}

namespace {

/// Adds a piece of each frame to the frame's sum.
template <unsigned int Size>
void AddPiece(const SummedPiece& piece, unsigned char* const* frames, std::size_t count, std::uint64_t* sums)
{
    // A byte that stands second in its word counts 256 times as much, as the first one is the low one.
    const int shift = piece.startsSecond ? 8 : 0;
    const std::size_t offset = piece.offset;
    for (std::size_t k = 0; k < count; ++k) {
        const std::uint64_t word = LoadLittleWord<Size>(frames[k] + offset);
        sums[k] = SumOfWord(sums[k]) + ((Size > 4 ? SumOfWord(word) : word) << shift);
    }
}

using PieceAdder = void (*)(const SummedPiece&, unsigned char* const*, std::size_t, std::uint64_t*);

constexpr PieceAdder kPieceAdders[] = {AddPiece<1>, AddPiece<2>, AddPiece<3>, AddPiece<4>,
                                       AddPiece<5>, AddPiece<6>, AddPiece<7>, AddPiece<8>};

/// Sums what the frames hold.
void WriteBySums(const IndexProgram& program, const IndexChecksum& checksum, unsigned char* const* frames,
                 std::size_t count)
{
    std::uint64_t sums[kMaxSummedFrames];
    std::fill_n(sums, count, checksum.sum);
    for (std::size_t i = 0; i < checksum.pieces.count; ++i) {
        const SummedPiece& piece = program.summedPieces[checksum.pieces.first + i];
        kPieceAdders[piece.size - 1u](piece, frames, count, sums);
    }
    for (std::size_t k = 0; k < count; ++k) {
        StoreLittle(frames[k] + checksum.at, ChecksumOf(sums[k], checksum.complement, checksum.zeroIsAllOnes));
    }
}

/// A counter from some index on.
struct CounterRun {
    CounterRun(const IndexField& field, std::uint64_t index) noexcept
    {
        const std::uint64_t mask = LowBits(8u * field.size);
        const std::uint64_t turn = field.turns.At(index);
        const std::uint64_t interval = field.turns.interval.GetNumber();
        value = (field.start + turn * field.step) >> field.shift & mask;
        if (interval != 1) {
            more = interval - 1 - field.turns.interval.Remainder(index);
            return;
        }
        more = field.turns.count.GetNumber() - 1 - turn; // without a count, this is beyond any chunk
        up = (((field.start + field.step) >> field.shift) - (field.start >> field.shift)) & mask;
        if (up > mask / 2) {
            down = mask - up + 1;
            up = 0;
        }
        // Up to where its bytes wrap. Counters seldom do, so that the division is left out in most cases.
        if (Product{up} * kMaxSummedFrames > mask - value) more = std::min(more, (mask - value) / up);
        if (Product{down} * kMaxSummedFrames > value) more = std::min(more, value / down);
    }

    std::uint64_t value;
    std::uint64_t up = 0;   ///< What each index adds, or
    std::uint64_t down = 0; ///< takes away.
    std::uint64_t more;     ///< For how many more indexes that is so.
};

/// Steps the sum itself: what counters add to it is a counter modulo 65535.
void WriteBySteps(const IndexProgram& program, const IndexChecksum& checksum, std::uint64_t first,
                  unsigned char* const* frames, std::size_t count)
{
    using Lanes = std::uint32_t __attribute__((vector_size(16)));
    std::uint32_t held[kMaxSummedFrames + 4];
    const SummedCounter* const counters = program.summedCounters.data() + checksum.counters.first;
    for (std::size_t k = 0; k < count;) {
        std::uint64_t sum = checksum.sum;
        std::uint64_t step = 0;
        std::uint64_t more = count - k - 1;
        for (std::size_t i = 0; i < checksum.counters.count; ++i) {
            const CounterRun run(program.fields[counters[i].field], first + k);
            const int shift = counters[i].startsSecond ? 8 : 0;
            sum += std::uint64_t{FoldSum(run.value)} << shift;
            step += std::uint64_t{run.down != 0 ? 0xffffu - FoldSum(run.down) : FoldSum(run.up)} << shift;
            more = std::min(more, run.more);
        }
        const std::uint32_t start = FoldSum(sum);
        const std::uint32_t by = FoldSum(step);
        const std::uint32_t flip = checksum.complement ? 0xffff : 0;
        const std::uint32_t zero = checksum.zeroIsAllOnes ? 0xffff : 0;
        const std::uint32_t byFour = FoldSum(4 * std::uint64_t{by});
        Lanes sums = {start, FoldSum(start + by), FoldSum(start + 2 * by), FoldSum(start + 3 * by)};
        for (std::size_t i = 0; i <= more; i += 4) {
            Lanes next = sums ^ flip;
            next |= reinterpret_cast<Lanes>(next == 0) & zero;
            std::memcpy(held + i, &next, sizeof next);
            sums += byFour;
            sums = (sums & 0xffff) + (sums >> 16);
        }
        unsigned char* const* const run = frames + k;
        const std::size_t at = checksum.at;
#pragma GCC unroll 4
        for (std::size_t i = 0; i <= more; ++i) StoreLittle(run[i] + at, static_cast<std::uint16_t>(held[i]));
        k += more + 1;
    }
}

} // namespace

void WriteChecksums(const IndexProgram& program, unsigned char* const* frames, std::size_t count) noexcept
{
    for (const IndexChecksum& checksum : program.checksums) WriteBySums(program, checksum, frames, count);
}

void WriteChecksumsInSequence(const IndexProgram& program, std::uint64_t first, unsigned char* const* frames,
                              std::size_t count) noexcept
{
    for (const IndexChecksum& checksum : program.checksums) {
        if (checksum.counters.count != 0) {
            WriteBySteps(program, checksum, first, frames, count);
        } else {
            WriteBySums(program, checksum, frames, count);
        }
    }
}

std::uint16_t ChecksumIn(const IndexProgram& program, const IndexChecksum& checksum,
                         const unsigned char* frame) noexcept
{
    std::uint64_t sum = checksum.sumWithoutLate;
    for (const Slice& slice : {checksum.pieces, checksum.late}) {
        for (std::size_t i = slice.first; i < slice.first + slice.count; ++i) {
            const SummedPiece& piece = program.summedPieces[i];
            const std::uint64_t word = SumOfWord(LoadLittleBytes(frame + piece.offset, piece.size));
            sum += piece.startsSecond ? word << 8 : word;
        }
    }
    return ChecksumOf(sum, checksum.complement, checksum.zeroIsAllOnes);
}

} // namespace zor::common::detail
