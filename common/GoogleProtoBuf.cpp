#include "GoogleProtoBuf.h"

#include <algorithm>
#include <cstddef>

namespace zor::common {

namespace {

/// The bytes of the longest varint: 64 bits in groups of 7.
constexpr std::size_t kVarintRoom = 10;

template <class Unsigned>
void AppendVarint(Unsigned value, std::vector<unsigned char>& out)
{
    if (value < 0x80) { // a shorter way for nearly every tag and length
        out.push_back(static_cast<unsigned char>(value));
        return;
    }
    unsigned char bytes[kVarintRoom];
    unsigned char* end = bytes;
    while (value >= 0x80) {
        *end++ = static_cast<unsigned char>(value | 0x80);
        value >>= 7;
    }
    *end++ = static_cast<unsigned char>(value);
    out.insert(out.end(), bytes, end);
}

/// The length takes room together with the bytes, so that running out of memory leaves no length alone.
void AppendWithLength(const unsigned char* bytes, std::size_t size, std::vector<unsigned char>& out)
{
    const std::size_t needed = out.size() + kVarintRoom + size;
    if (out.capacity() < needed) out.reserve(std::max(needed, 2 * out.capacity()));
    AppendVarint(static_cast<std::uint32_t>(size), out);
    out.insert(out.end(), bytes, bytes + size);
}

} // namespace

void GoogleProtoBufEncoder::encodeUint64(const std::uint64_t& value, std::vector<unsigned char>& out)
{
    AppendVarint(value, out);
}

void GoogleProtoBufEncoder::encodeUint32(const std::uint32_t& value, std::vector<unsigned char>& out)
{
    AppendVarint(value, out);
}

void GoogleProtoBufEncoder::encodeInt64(const std::int64_t& value, std::vector<unsigned char>& out)
{
    AppendVarint(static_cast<std::uint64_t>(value), out);
}

void GoogleProtoBufEncoder::encodeInt32(const std::int32_t& value, std::vector<unsigned char>& out)
{
    encodeInt64(value, out);
}

void GoogleProtoBufEncoder::encodeSint64(const std::int64_t& value, std::vector<unsigned char>& out)
{
    AppendVarint(static_cast<std::uint64_t>(value) << 1 ^ static_cast<std::uint64_t>(value >> 63), out);
}

void GoogleProtoBufEncoder::encodeSint32(const std::int32_t& value, std::vector<unsigned char>& out)
{
    AppendVarint(static_cast<std::uint32_t>(value) << 1 ^ static_cast<std::uint32_t>(value >> 31), out);
}

void GoogleProtoBufEncoder::encodeTag(const std::uint32_t& fieldNumber, const std::uint32_t& wireType,
                                      std::vector<unsigned char>& out)
{
    AppendVarint(fieldNumber << 3 | (wireType & 3), out);
}

void GoogleProtoBufEncoder::encodeString(const std::string& text, std::vector<unsigned char>& out)
{
    AppendWithLength(reinterpret_cast<const unsigned char*>(text.data()), text.size(), out);
}

void GoogleProtoBufEncoder::encodeBytes(const std::vector<unsigned char>& bytes, std::vector<unsigned char>& out)
{
    if (&bytes == &out) return encodeBytes(std::vector<unsigned char>(bytes), out);
    AppendWithLength(bytes.data(), bytes.size(), out);
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
    AppendVarint(value, out);
}

} // namespace zor::common
