#ifndef ZOR_COMMON_INDEX_BATCH_H
#define ZOR_COMMON_INDEX_BATCH_H

/// \file
/// Internal: many frames of an index program at a time.

#include "CompiledTemplate.h"
#include "IndexProgram.h"

#include <cstddef>
#include <cstdint>

namespace zor::common::detail {

/// What the lists of a batch hold.
struct BatchAccess {
    static std::uint64_t CountOf(const IndexList& list) noexcept { return list.mRange.count; }

    /// The index of a place below the count.
    static std::uint64_t IndexAt(const IndexList& list, std::uint64_t k) noexcept
    {
        return list.mListed ? list.mListed[k] : list.mRange.first + k * list.mRange.every;
    }

    /// The first places of a list.
    static IndexList FirstOf(const IndexList& list, std::uint64_t count) noexcept
    {
        IndexList first = list;
        first.mRange.count = count;
        return first;
    }

    /// Null for a range.
    static const std::uint64_t* ListedOf(const IndexList& list) noexcept { return list.mListed; }

    /// Whether each index is the one before plus 1, modulo 2^64.
    static bool IsInSequence(const IndexList& list) noexcept { return !list.mListed && list.mRange.every == 1; }

    static unsigned char* FrameAt(const FrameBuffers& frames, std::uint64_t k) noexcept
    {
        return frames.mEach ? frames.mEach[k] : frames.mFirst + k * frames.mStride;
    }

    /// Null if the buffers have a stride.
    static unsigned char* const* EachOf(const FrameBuffers& frames) noexcept { return frames.mEach; }
    static std::size_t StrideOf(const FrameBuffers& frames) noexcept { return frames.mStride; }

    /// Whether a frame ends before the next buffer, as far as that is known.
    static bool CanHold(const FrameBuffers& frames, std::size_t size) noexcept
    {
        return frames.mEach || frames.mStride >= size;
    }
};

/// Writes the first \a count values of a list, of a program of fixed size, one to a buffer.
/// \param isPatch  whether the buffers hold values already, so that only the changing spans are written.
void WriteFrames(const IndexProgram& program, const IndexList& indexes, std::uint64_t count, const FrameBuffers& frames,
                 bool isPatch) noexcept;

/// Writes the first \a count values of a list, each one that fits into \a room bytes.
/// \param sizes  gets the size of each one, as CompiledTemplate::RenderFrames() says.
/// \return       whether all were written.
bool WriteSizedFrames(const IndexProgram& program, const IndexList& indexes, std::uint64_t count,
                      const FrameBuffers& frames, std::size_t room, std::uint32_t* sizes) noexcept;

} // namespace zor::common::detail

#endif // ZOR_COMMON_INDEX_BATCH_H
