#include "IndexBatch.h"

#include "IndexChecksum.h"
#include "IndexRender.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <type_traits>

namespace zor::common::detail {

namespace {

/// Frames are written in chunks, and a chunk field by field. So the frame that a field has brought into the first cache
/// is there for the next field, and what is prepared for a field serves many frames.
constexpr std::size_t kMaxChunk = 256;
constexpr std::size_t kMinChunk = 16;
constexpr std::size_t kChunkBytes = 16384;

struct Chunk {
    unsigned char* const* frames = nullptr;
    const std::uint64_t* indexes = nullptr; ///< Null if they are in sequence.
    std::uint64_t first = 0;                ///< Of a sequence.
    std::size_t count = 0;

    std::uint64_t IndexAt(std::size_t k) const noexcept { return indexes ? indexes[k] : first + k; }
};

/// Writes the bytes of a piece of a linear counter into frames.
///
/// What stands below a piece never changes, or the piece would begin there. So the bits from its lowest one on are a
/// linear counter too.
template <unsigned int Size, bool IsBigEndian>
class LinearPiece {
    using Word = std::conditional_t<(Size <= 4), std::uint32_t, std::uint64_t>;

public:
    explicit LinearPiece(const IndexField& field) noexcept
        : mStart(Shifted(field.start >> field.shift)),
          mStep(Shifted(((field.start + field.step) >> field.shift) - (field.start >> field.shift))),
          mOffset(field.offset)
    {
    }

    /// Writes the same turn into frames from \a k to \a end.
    void Hold(unsigned char* const* frames, std::size_t k, std::size_t end, std::uint64_t turn) const noexcept
    {
        const Word word = At(turn);
        for (; k < end; ++k) Store(frames[k], word);
    }

    /// Writes a turn and those after it.
    void Count(unsigned char* const* frames, std::size_t k, std::size_t end, std::uint64_t turn) const noexcept
    {
        Word word = At(turn);
#pragma GCC unroll 4
        for (; k < end; ++k, word += mStep) Store(frames[k], word);
    }

    /// Writes the turns that \a turnOf gives for listed indexes.
    template <class TurnOf>
    void List(const Chunk& chunk, TurnOf turnOf) const noexcept
    {
#pragma GCC unroll 4
        for (std::size_t k = 0; k < chunk.count; ++k) Store(chunk.frames[k], At(turnOf(chunk.indexes[k])));
    }

private:
    /// Moves the bytes to the top of a word, where swapping brings them to the low end.
    static Word Shifted(std::uint64_t number) noexcept
    {
        return static_cast<Word>(IsBigEndian ? number << 8 * (sizeof(Word) - Size) : number);
    }

    Word At(std::uint64_t turn) const noexcept
    {
        return static_cast<Word>(mStart + static_cast<Word>(turn) * mStep);
    }

    void Store(unsigned char* frame, Word word) const noexcept
    {
        if constexpr (IsBigEndian) {
            if constexpr (sizeof(Word) == 4) {
                word = __builtin_bswap32(word);
            } else {
                word = __builtin_bswap64(word);
            }
        }
        std::memcpy(frame + mOffset, &word, Size);
    }

    Word mStart;
    Word mStep;
    std::size_t mOffset;
};

template <unsigned int Size, bool IsBigEndian>
void WriteLinear(const IndexField& field, const Chunk& chunk)
{
    const LinearPiece<Size, IsBigEndian> piece(field);
    const Divisor interval = field.turns.interval;
    const Divisor count = field.turns.count;
    if (chunk.indexes) {
        if (interval.GetNumber() != 1) {
            piece.List(chunk, [turns = field.turns](std::uint64_t index) { return turns.At(index); });
        } else if (count.GetNumber() != 0) { // in drawn order, no branch could be predicted
            piece.List(chunk, [count](std::uint64_t index) { return count.Remainder(index); });
        } else {
            piece.List(chunk, [](std::uint64_t index) { return index; });
        }
        return;
    }
    std::uint64_t turn = field.turns.At(chunk.first);
    if (interval.GetNumber() == 1) {
        for (std::size_t k = 0; k < chunk.count; turn = 0) {
            std::uint64_t run = chunk.count - k;
            if (count.GetNumber() != 0) run = std::min(run, count.GetNumber() - turn);
            piece.Count(chunk.frames, k, k + run, turn);
            k += run;
        }
        return;
    }
    std::uint64_t held = interval.Remainder(chunk.first);
    for (std::size_t k = 0; k < chunk.count; held = 0) {
        const std::uint64_t run = std::min<std::uint64_t>(chunk.count - k, interval.GetNumber() - held);
        piece.Hold(chunk.frames, k, k + run, turn);
        k += run;
        turn = turn + 1 == count.GetNumber() ? 0 : turn + 1;
    }
}

using LinearWriter = void (*)(const IndexField&, const Chunk&);

template <bool IsBigEndian>
constexpr std::array<LinearWriter, 8> kLinearWriters = {
    WriteLinear<1, IsBigEndian>, WriteLinear<2, IsBigEndian>, WriteLinear<3, IsBigEndian>, WriteLinear<4, IsBigEndian>,
    WriteLinear<5, IsBigEndian>, WriteLinear<6, IsBigEndian>, WriteLinear<7, IsBigEndian>, WriteLinear<8, IsBigEndian>};

void WriteField(const IndexProgram& program, const IndexField& field, const Chunk& chunk)
{
    if (field.shape == Shape::Piece && field.rule == NumberRule::Linear && field.notation <= Notation::Little) {
        const auto& writers = field.notation == Notation::Big ? kLinearWriters<true> : kLinearWriters<false>;
        return writers[field.size - 1u](field, chunk);
    }
    for (std::size_t k = 0; k < chunk.count; ++k) {
        WriteInFrame(program, field, chunk.IndexAt(k), reinterpret_cast<char*>(chunk.frames[k]));
    }
}

/// Copies the frame into each buffer. A short one stays in registers meanwhile.
void CopyFrame(const std::string& frame, const Chunk& chunk)
{
    using Vector = unsigned long __attribute__((vector_size(16)));
    const std::size_t size = frame.size();
    if (size < 32 || size > 64) {
        for (std::size_t k = 0; k < chunk.count; ++k) std::memcpy(chunk.frames[k], frame.data(), size);
        return;
    }
    Vector first[2]; // the last two may overlap the first two
    Vector last[2];
    std::memcpy(first, frame.data(), sizeof first);
    std::memcpy(last, frame.data() + size - sizeof last, sizeof last);
    for (std::size_t k = 0; k < chunk.count; ++k) {
        std::memcpy(chunk.frames[k], first, sizeof first);
        std::memcpy(chunk.frames[k] + size - sizeof last, last, sizeof last);
    }
}

} // namespace

void WriteFrames(const IndexProgram& program, const IndexList& indexes, const FrameBuffers& frames,
                 bool isPatch) noexcept
{
    unsigned char* framesOfChunk[kMaxChunk];
    std::uint64_t indexesOfChunk[kMaxChunk];
    const std::size_t most =
        isPatch ? kMaxChunk : std::clamp<std::size_t>(kChunkBytes / (program.frame.size() + 1), kMinChunk, kMaxChunk);
    for (std::uint64_t done = 0; done < indexes.GetCount();) {
        Chunk chunk;
        chunk.count = static_cast<std::size_t>(std::min<std::uint64_t>(most, indexes.GetCount() - done));
        chunk.first = indexes[done];
        if (indexes.IsInSequence()) { // up to the end of all indexes
            chunk.count = static_cast<std::size_t>(std::min<std::uint64_t>(chunk.count - 1, ~chunk.first) + 1);
        } else if (indexes.GetListed()) {
            chunk.indexes = indexes.GetListed() + done;
        } else {
            for (std::size_t k = 0; k < chunk.count; ++k) indexesOfChunk[k] = indexes[done + k];
            chunk.indexes = indexesOfChunk;
        }
        if (frames.GetEach()) {
            chunk.frames = frames.GetEach() + done;
        } else {
            for (std::size_t k = 0; k < chunk.count; ++k) framesOfChunk[k] = frames[done + k];
            chunk.frames = framesOfChunk;
        }
        if (!isPatch) CopyFrame(program.frame, chunk);
        for (const IndexField& field : program.fields) WriteField(program, field, chunk);
        if (chunk.indexes) {
            WriteChecksums(program, chunk.frames, chunk.count);
        } else {
            WriteChecksumsInSequence(program, chunk.first, chunk.frames, chunk.count);
        }
        done += chunk.count;
    }
}

} // namespace zor::common::detail
