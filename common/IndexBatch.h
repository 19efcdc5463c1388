#ifndef ZOR_COMMON_INDEX_BATCH_H
#define ZOR_COMMON_INDEX_BATCH_H

/// \file
/// Internal: many frames of an index program at a time.

#include "CompiledTemplate.h"
#include "IndexProgram.h"

namespace zor::common::detail {

/// Writes the values of a program of fixed size, one to a buffer.
/// \param isPatch  whether the buffers hold values already, so that only the changing spans are written.
void WriteFrames(const IndexProgram& program, const IndexList& indexes, const FrameBuffers& frames,
                 bool isPatch) noexcept;

} // namespace zor::common::detail

#endif // ZOR_COMMON_INDEX_BATCH_H
