#ifndef ZOR_COMMON_BYTE_SPAN_H
#define ZOR_COMMON_BYTE_SPAN_H

/// \file
/// ByteSpan, a piece of a frame.

#include <cstddef>

namespace zor::common {

/// Bytes of a frame that follow one another.
struct ByteSpan {
    std::size_t offset = 0; ///< In bytes from the start of the frame.
    std::size_t size = 0;   ///< In bytes.
};

/// Whether both are the same bytes.
constexpr bool operator==(const ByteSpan& left, const ByteSpan& right) noexcept
{
    return left.offset == right.offset && left.size == right.size;
}
/// Whether they are not.
constexpr bool operator!=(const ByteSpan& left, const ByteSpan& right) noexcept
{
    return !(left == right);
}

} // namespace zor::common

#endif // ZOR_COMMON_BYTE_SPAN_H
