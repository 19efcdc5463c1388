#include "GoogleProtoBuf.h"

#include "BigEndian.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace zor::common {

namespace {

/// The bytes of the longest varint: 64 bits in groups of 7.
constexpr std::size_t kVarintRoom = 10;

/// Bytes for which a vector has room. Worked out as the vector does when it is inserted into, so that the compiler finds
/// the answer there too and leaves out what would move the bytes.
std::size_t RoomIn(const std::vector<unsigned char>& out)
{
    return static_cast<std::size_t>((out.data() + out.capacity()) - (out.data() + out.size()));
}

/// Writes a varint of two bytes and more, without a branch that depends on its size, which it returns. Bit 7 of the last
/// byte is still to be cleared.
std::size_t WriteVarint(std::uint64_t value, unsigned char (&out)[kVarintRoom])
{
    const auto last = static_cast<unsigned int>(63 ^ __builtin_clzll(value)); // the bit
    const std::size_t size = (9 * last + 73) / 64;                            // a seventh of the bits, rounded up
    // Eight groups of 7 bits move apart into eight bytes, halves first, then quarters and eighths. The upper group of two
    // moves by as much as is added to it.
    std::uint64_t groups = (value & 0x000000000fffffff) | (value << 4 & 0x0fffffff00000000);
    groups += 3 * (groups & 0x0fffc0000fffc000);
    groups += groups & 0x3f803f803f803f80;
    detail::StoreLittle(out, groups | 0x8080808080808080);
    // The ninth byte has no room for bit 63, which goes on to the tenth.
    const std::uint64_t top = value >> 56;
    detail::StoreLittle(out + 8, static_cast<std::uint16_t>(top + (value >> 63 << 7) + 0x80));
    return size;
}

/// Appends a varint of two bytes and more to a vector with room for the longest.
///
/// Ten bytes are inserted, which is three stores where it is inlined, and those too many taken away. An insertion that is
/// called takes twice the time of all of it.
void AppendInRoom(std::uint64_t value, std::vector<unsigned char>& out)
{
    unsigned char bytes[kVarintRoom];
    const std::size_t tooMany = kVarintRoom - WriteVarint(value, bytes);
    out.insert(out.end(), std::begin(bytes), std::end(bytes));
    out.erase(out.end() - static_cast<std::ptrdiff_t>(tooMany), out.end());
    out.back() &= 0x7f;
}

[[gnu::noinline]] void AppendToFull(std::uint64_t value, std::vector<unsigned char>& out)
{
    unsigned char bytes[kVarintRoom];
    out.insert(out.end(), bytes, bytes + WriteVarint(value, bytes));
    out.back() &= 0x7f;
}

[[gnu::noinline]] void MakeRoom(std::size_t size, std::vector<unsigned char>& out)
{
    out.reserve(std::max(out.size() + size, 2 * out.capacity())); // doubling keeps appending linear
}

} // namespace

// Flattened, as insertions are inlined only where that is asked for.

/// Aligned to a cache line: where the linker puts the function into the last quarter of one, it takes an eighth longer.
[[gnu::flatten, gnu::aligned(64)]] void GoogleProtoBufEncoder::AppendVarint(std::uint64_t value,
                                                                            std::vector<unsigned char>& out)
{
    if (RoomIn(out) < kVarintRoom) return AppendToFull(value, out);
    AppendInRoom(value, out);
}

[[gnu::flatten]] void GoogleProtoBufEncoder::AppendBytes(const unsigned char* bytes, std::size_t size,
                                                         std::vector<unsigned char>& out)
{
    // The length takes room together with the bytes, so that running out of memory leaves no length alone.
    const std::size_t needed = kVarintRoom + size;
    if (RoomIn(out) < needed) MakeRoom(needed, out);
    if (RoomIn(out) < needed) __builtin_unreachable();
    const auto length = static_cast<std::uint32_t>(size);
    if (length < 0x80) {
        out.push_back(static_cast<unsigned char>(length));
    } else {
        AppendInRoom(length, out);
    }
    if (RoomIn(out) < size) __builtin_unreachable();
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
