#ifndef ZOR_COMMON_BYTE_SPAN_H
#define ZOR_COMMON_BYTE_SPAN_H

/// \file
/// ByteSpan, the place of some bytes in a frame.

#include <cstddef>

namespace zor::common {

/// Consecutive bytes of a frame.
struct ByteSpan {
    std::size_t offset = 0; ///< In bytes from the start of the frame.
    std::size_t size = 0;   ///< In bytes.
};

/// Whether offset and size are equal.
constexpr bool operator==(const ByteSpan& left, const ByteSpan& right) noexcept
{
    return left.offset == right.offset && left.size == right.size;
}
/// Whether offset or size differ.
constexpr bool operator!=(const ByteSpan& left, const ByteSpan& right) noexcept
{
    return !(left == right);
}

} // namespace zor::common

#endif // ZOR_COMMON_BYTE_SPAN_H
