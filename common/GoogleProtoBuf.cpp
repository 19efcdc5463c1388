#include "GoogleProtoBuf.h"

#include "BigEndian.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace zor::common {

namespace {

/// The bytes of the longest varint: 64 bits in groups of 7.
constexpr std::size_t kVarintRoom = 10;

/// Writes a varint and returns its size. All ten bytes are written, so that no branch depends on the size.
std::size_t WriteVarint(std::uint64_t value, unsigned char* out)
{
    const auto bits = static_cast<std::size_t>(64 - __builtin_clzll(value | 1));
    const std::size_t size = (9 * bits + 64) / 64; // a seventh of the bits, rounded up
    // Eight groups of 7 bits move apart into eight bytes, halves first, then quarters and eighths.
    std::uint64_t groups = value & 0x00ffffffffffffff;
    groups = (groups & 0x000000000fffffff) | (groups & 0x00fffffff0000000) << 4;
    groups = (groups & 0x00003fff00003fff) | (groups & 0x0fffc0000fffc000) << 2;
    groups = (groups & 0x007f007f007f007f) | (groups & 0x3f803f803f803f80) << 1;
    detail::StoreLittle(out, groups | 0x8080808080808080);
    out[8] = static_cast<unsigned char>(value >> 56 | 0x80);
    out[9] = static_cast<unsigned char>(value >> 63);
    out[size - 1] &= 0x7f;
    return size;
}

} // namespace

void GoogleProtoBufEncoder::AppendVarint(std::uint64_t value, std::vector<unsigned char>& out)
{
    const std::size_t before = out.size();
    if (out.capacity() - before < kVarintRoom) {
        unsigned char bytes[kVarintRoom];
        out.insert(out.end(), bytes, bytes + WriteVarint(value, bytes));
        return;
    }
    // One insertion of always the same size costs less than one of the varint's own.
    static constexpr unsigned char kRoom[kVarintRoom] = {};
    out.insert(out.end(), std::begin(kRoom), std::end(kRoom));
    out.resize(before + WriteVarint(value, out.data() + before));
}

void GoogleProtoBufEncoder::AppendBytes(const unsigned char* bytes, std::size_t size, std::vector<unsigned char>& out)
{
    // The length takes room together with the bytes, so that running out of memory leaves no length alone. Doubling
    // keeps appending linear.
    const std::size_t needed = out.size() + kVarintRoom + size;
    if (out.capacity() < needed) out.reserve(std::max(needed, 2 * out.capacity()));
    encodeUint32(static_cast<std::uint32_t>(size), out);
    out.insert(out.end(), bytes, bytes + size);
}

void GoogleProtoBufEncoder::encodeBytes(const std::vector<unsigned char>& bytes, std::vector<unsigned char>& out)
{
    if (&bytes == &out) return encodeBytes(std::vector<unsigned char>(bytes), out);
    AppendBytes(bytes.data(), bytes.size(), out);
}

void GoogleProtoBufEncoder::encodeMsbUint(const unsigned char* bytes, std::uint32_t length,
                                          std::vector<unsigned char>& out)
{
    const std::uint32_t count = std::min<std::uint32_t>(length, 8);
    std::uint64_t value = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t shift = 8 * (count - 1 - i) % 32;
        const auto shifted = static_cast<std::int32_t>(std::uint32_t{bytes[i]} << shift);
        value |= static_cast<std::uint64_t>(std::int64_t{shifted});
    }
    encodeUint64(value, out);
}

} // namespace zor::common
