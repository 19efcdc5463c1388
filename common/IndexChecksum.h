#ifndef ZOR_COMMON_INDEX_CHECKSUM_H
#define ZOR_COMMON_INDEX_CHECKSUM_H

/// \file
/// Internal: checksums in the frames of an index program.

#include "ChecksumField.h"
#include "IndexProgram.h"

#include <cstddef>
#include <vector>

namespace zor::common::detail {

/// Makes fields of a program follow what they cover, in the order of the list. One that covers nothing that changes
/// becomes part of the frame. Throws std::invalid_argument, which says why, for a program without fixed size, a field or a
/// span that reaches beyond the frame, a field that overlaps another one or stands over an expression.
void AddChecksums(IndexProgram& program, const std::vector<ChecksumField>& fields);

/// The most frames that checksums are written into at a time.
inline constexpr std::size_t kMaxSummedFrames = 256;

/// Writes the checksums of up to kMaxSummedFrames frames in which everything else is as it should be.
void WriteChecksums(const IndexProgram& program, unsigned char* const* frames, std::size_t count) noexcept;

/// The same for frames of indexes from \a first on, none above 2^64 - 1.
void WriteChecksumsInSequence(const IndexProgram& program, std::uint64_t first, unsigned char* const* frames,
                              std::size_t count) noexcept;

/// What a field of a frame must hold for what else the frame holds, in the byte order of memory. What a sender has written
/// into holes counts.
std::uint16_t ChecksumIn(const IndexProgram& program, const IndexChecksum& checksum,
                         const unsigned char* frame) noexcept;

} // namespace zor::common::detail

#endif // ZOR_COMMON_INDEX_CHECKSUM_H
