#include "IndexChecksum.h"

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
        for (const ByteSpan& expression : program.expressions) {
            if (Overlap(SpanOf(field), expression)) Refuse(i, "stands over an expression");
        }
    }
}

} // namespace

void AddChecksums(IndexProgram& program, const std::vector<ChecksumField>& fields)
{
    Check(program, fields);
    std::vector<ByteSpan> changing = program.changingSpans; // with the fields so far that change
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
        checksum.sum = SumOfNumber(field.initial);
        checksum.pieces.first = program.summedPieces.size();
        for (const ByteSpan& covered : field.covered) {
            const auto* const bytes = reinterpret_cast<const unsigned char*>(literal.data()) + covered.offset;
            checksum.sum = FoldSum(checksum.sum + SumOfBytes(bytes, covered.size));
            for (const ByteSpan& span : changing) {
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
        checksum.pieces.count = program.summedPieces.size() - checksum.pieces.first;
        if (checksum.pieces.count == 0) {
            const std::uint16_t held = ChecksumOf(checksum.sum, field.complement, field.zeroIsAllOnes);
            std::memcpy(program.frame.data() + field.at, &held, sizeof held);
        } else {
            program.checksums.push_back(checksum);
            changing.push_back(SpanOf(field));
        }
    }
    program.changingSpans = JoinSpans(std::move(changing));
}

namespace {

/// How many frames are summed at a time.
constexpr std::size_t kMaxChunk = 256;

/// Adds a piece of each frame to the frame's sum.
template <unsigned int Size>
void AddPiece(const SummedPiece& piece, unsigned char* const* frames, std::size_t count, std::uint64_t* sums)
{
    // A byte that stands second in its word counts 256 times as much, as the first one is the low one.
    const int shift = piece.startsSecond ? 8 : 0;
    const std::size_t offset = piece.offset;
    for (std::size_t k = 0; k < count; ++k) {
        std::uint64_t word = 0;
        std::memcpy(&word, frames[k] + offset, Size);
        sums[k] = SumOfWord(sums[k]) + ((Size > 4 ? SumOfWord(word) : word) << shift);
    }
}

using PieceAdder = void (*)(const SummedPiece&, unsigned char* const*, std::size_t, std::uint64_t*);

constexpr PieceAdder kPieceAdders[] = {AddPiece<1>, AddPiece<2>, AddPiece<3>, AddPiece<4>,
                                       AddPiece<5>, AddPiece<6>, AddPiece<7>, AddPiece<8>};

} // namespace

void WriteChecksums(const IndexProgram& program, unsigned char* const* frames, std::size_t count) noexcept
{
    std::uint64_t sums[kMaxChunk];
    for (std::size_t done = 0; done < count && !program.checksums.empty(); done += kMaxChunk) {
        const std::size_t chunk = std::min(count - done, kMaxChunk);
        for (const IndexChecksum& checksum : program.checksums) {
            std::fill_n(sums, chunk, checksum.sum);
            for (std::size_t i = 0; i < checksum.pieces.count; ++i) {
                const SummedPiece& piece = program.summedPieces[checksum.pieces.first + i];
                kPieceAdders[piece.size - 1u](piece, frames + done, chunk, sums);
            }
            for (std::size_t k = 0; k < chunk; ++k) {
                const std::uint16_t held = ChecksumOf(sums[k], checksum.complement, checksum.zeroIsAllOnes);
                std::memcpy(frames[done + k] + checksum.at, &held, sizeof held);
            }
        }
    }
}

} // namespace zor::common::detail
