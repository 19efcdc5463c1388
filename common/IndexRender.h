#ifndef ZOR_COMMON_INDEX_RENDER_H
#define ZOR_COMMON_INDEX_RENDER_H

/// \file
/// Internal: the values of an index program as text, one by one.

#include "IndexProgram.h"

#include <cstddef>
#include <cstdint>

namespace zor::common::detail {

/// The size of a value, in bytes.
std::size_t MeasureIndex(const IndexProgram& program, std::uint64_t index) noexcept;

/// Writes a value, touches nothing behind it, and returns its end.
char* RenderIndex(const IndexProgram& program, std::uint64_t index, char* out) noexcept;

/// Writes what a field whose text is in the frame shows at an index.
void WriteInFrame(const IndexProgram& program, const IndexField& field, std::uint64_t index, char* frame) noexcept;

/// The same at a turn.
void WriteTurn(const IndexProgram& program, const IndexField& field, std::uint64_t turn, char* frame) noexcept;

} // namespace zor::common::detail

#endif // ZOR_COMMON_INDEX_RENDER_H
