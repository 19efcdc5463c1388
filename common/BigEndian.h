#ifndef ZOR_COMMON_BIG_ENDIAN_H
#define ZOR_COMMON_BIG_ENDIAN_H

/// \file
/// Internal: numbers to and from bytes in either order, and the 128-bit arithmetic on two 64-bit halves. The byte order
/// of the processor is asked for here only: other files use kIsLittleEndian or the functions below.

#include <cstddef>
#include <cstdint>
#include <cstring>

static_assert(sizeof(unsigned long) == 8, "integers of 64 bits are passed as unsigned long");

namespace zor::common::detail {

inline constexpr bool kIsLittleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

// A load is spelled out byte by byte, which compilers turn into one move, swapped where needed. For a store
// they do so only now and then, so StoreLittle says what is meant and keeps a loop for constant expressions.

/// Stores an unsigned number of any width, least significant byte first.
template <class Number>
constexpr void StoreLittle(unsigned char* bytes, Number value) noexcept
{
    if (__builtin_is_constant_evaluated() || !kIsLittleEndian) {
        for (std::size_t i = 0; i < sizeof value; ++i) {
            bytes[i] = static_cast<unsigned char>(value >> 8 * i);
        }
    } else {
        std::memcpy(bytes, &value, sizeof value);
    }
}

/// Stores the low \a size bytes of a word, up to 8, least significant first.
inline void StoreLittleBytes(unsigned char* bytes, std::uint64_t word, std::size_t size) noexcept
{
    if (size == 8) {
        StoreLittle(bytes, word);
    } else if (size >= 4) { // two stores that may overlap
        StoreLittle(bytes, static_cast<std::uint32_t>(word));
        StoreLittle(bytes + size - 4, static_cast<std::uint32_t>(word >> 8 * (size - 4)));
    } else {
        for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(word >> 8 * i);
    }
}

/// Stores the low \a Size bytes of a word, up to 8, least significant first.
template <std::size_t Size>
void StoreLittleWord(unsigned char* bytes, std::uint64_t word) noexcept
{
    static_assert(Size <= sizeof word);
    if (!kIsLittleEndian) word = __builtin_bswap64(word);
    std::memcpy(bytes, &word, Size);
}

/// The number of \a Size bytes, up to 8, least significant first.
template <std::size_t Size>
std::uint64_t LoadLittleWord(const unsigned char* bytes) noexcept
{
    std::uint64_t word = 0;
    static_assert(Size <= sizeof word);
    std::memcpy(&word, bytes, Size);
    return kIsLittleEndian ? word : __builtin_bswap64(word);
}

template <std::size_t Size>
constexpr void CopyBytes(unsigned char* out, const unsigned char* bytes) noexcept
{
    if (__builtin_is_constant_evaluated()) {
        for (std::size_t i = 0; i < Size; ++i) out[i] = bytes[i];
    } else {
        std::memcpy(out, bytes, Size);
    }
}

constexpr std::uint32_t LoadLittle32(const unsigned char* bytes) noexcept
{
    return std::uint32_t{bytes[3]} << 24 | std::uint32_t{bytes[2]} << 16 | std::uint32_t{bytes[1]} << 8 |
           std::uint32_t{bytes[0]};
}

constexpr std::uint64_t LoadLittle64(const unsigned char* bytes) noexcept
{
    return std::uint64_t{LoadLittle32(bytes + 4)} << 32 | LoadLittle32(bytes);
}

/// The number of \a size bytes, from 1 to 8, least significant first.
inline std::uint64_t LoadLittleBytes(const unsigned char* bytes, std::size_t size) noexcept
{
    if (size >= 4) { // two loads that may overlap
        const std::uint64_t high = LoadLittle32(bytes + size - 4);
        return high << 8 * (size - 4) | LoadLittle32(bytes);
    }
    std::uint64_t number = bytes[0];
    if (size >= 2) number |= std::uint64_t{bytes[1]} << 8;
    if (size == 3) number |= std::uint64_t{bytes[2]} << 16;
    return number;
}

constexpr std::uint16_t LoadBig16(const unsigned char* bytes) noexcept
{
    return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
}

constexpr std::uint32_t LoadBig32(const unsigned char* bytes) noexcept
{
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8 |
           std::uint32_t{bytes[3]};
}

/// Six bytes as one number, read as four and two: one six-byte copy stalls on the store before it.
constexpr std::uint64_t LoadBig48(const unsigned char* bytes) noexcept
{
    return std::uint64_t{LoadBig32(bytes)} << 16 | LoadBig16(bytes + 4);
}

constexpr std::uint64_t LoadBig64(const unsigned char* bytes) noexcept
{
    return std::uint64_t{bytes[0]} << 56 | std::uint64_t{bytes[1]} << 48 | std::uint64_t{bytes[2]} << 40 |
           std::uint64_t{bytes[3]} << 32 | std::uint64_t{bytes[4]} << 24 | std::uint64_t{bytes[5]} << 16 |
           std::uint64_t{bytes[6]} << 8 | std::uint64_t{bytes[7]};
}

constexpr void StoreBig16(unsigned char* bytes, std::uint16_t value) noexcept
{
    StoreLittle(bytes, __builtin_bswap16(value));
}

constexpr void StoreBig32(unsigned char* bytes, std::uint32_t value) noexcept
{
    StoreLittle(bytes, __builtin_bswap32(value));
}

/// The low 48 bits of \a value; the 16 bits above them are dropped.
constexpr void StoreBig48(unsigned char* bytes, std::uint64_t value) noexcept
{
    StoreBig32(bytes, static_cast<std::uint32_t>(value >> 16));
    StoreBig16(bytes + 4, static_cast<std::uint16_t>(value));
}

constexpr void StoreBig64(unsigned char* bytes, std::uint64_t value) noexcept
{
    StoreLittle(bytes, __builtin_bswap64(value));
}

/// Stores the top \a size bytes of a word, from 1 to 8, most significant first, by two stores that may overlap.
inline void StoreTopBytes(unsigned char* out, std::uint64_t word, std::size_t size) noexcept
{
    word = __builtin_bswap64(word);
    const auto storeEnds = [&](auto half) {
        StoreLittle(out, static_cast<decltype(half)>(word));
        StoreLittle(out + size - sizeof half, static_cast<decltype(half)>(word >> 8 * (size - sizeof half)));
    };
    if (size >= 4) {
        storeEnds(std::uint32_t{});
    } else if (size >= 2) {
        storeEnds(std::uint16_t{});
    } else {
        *out = static_cast<unsigned char>(word);
    }
}

/// Stores the low \a size bytes of a word, up to 8, most significant first.
inline void StoreBigBytes(unsigned char* bytes, std::uint64_t word, std::size_t size) noexcept
{
    if (size >= 4) { // two stores that may overlap
        StoreBig32(bytes, static_cast<std::uint32_t>(word >> 8 * (size - 4)));
        StoreBig32(bytes + size - 4, static_cast<std::uint32_t>(word));
    } else {
        for (std::size_t i = 0; i < size; ++i) bytes[size - 1 - i] = static_cast<unsigned char>(word >> 8 * i);
    }
}

/// The nearest index into \a size bytes: negative ones select the first, too large ones the last.
constexpr int ClampIndex(int index, int size) noexcept
{
    return index < 0 ? 0 : index < size ? index : size - 1;
}

/// A 128-bit number as two halves, for headers that must not name the compiler's own 128-bit type.
struct Uint128 {
    std::uint64_t high;
    std::uint64_t low;
};

constexpr Uint128 LoadBig128(const unsigned char* bytes) noexcept
{
    return {LoadBig64(bytes), LoadBig64(bytes + 8)};
}

constexpr void StoreBig128(unsigned char* bytes, Uint128 value) noexcept
{
    StoreBig64(bytes, value.high);
    StoreBig64(bytes + 8, value.low);
}

constexpr bool operator==(Uint128 left, Uint128 right) noexcept
{
    return ((left.high ^ right.high) | (left.low ^ right.low)) == 0;
}

constexpr bool operator<(Uint128 left, Uint128 right) noexcept
{
    return left.high != right.high ? left.high < right.high : left.low < right.low;
}

constexpr Uint128 operator+(Uint128 left, Uint128 right) noexcept
{
    const std::uint64_t low = left.low + right.low;
    return {left.high + right.high + (low < left.low ? 1 : 0), low};
}

constexpr Uint128 operator-(Uint128 left, Uint128 right) noexcept
{
    return {left.high - right.high - (left.low < right.low ? 1 : 0), left.low - right.low};
}

constexpr Uint128 operator|(Uint128 left, Uint128 right) noexcept
{
    return {left.high | right.high, left.low | right.low};
}

constexpr Uint128 operator&(Uint128 left, Uint128 right) noexcept
{
    return {left.high & right.high, left.low & right.low};
}

constexpr Uint128 operator~(Uint128 number) noexcept
{
    return {~number.high, ~number.low};
}

/// Zeros come in; 128 and more clear the number, a negative count leaves it alone.
constexpr Uint128 operator<<(Uint128 number, int count) noexcept
{
    if (count <= 0) return number;
    if (count >= 128) return {0, 0};
    if (count >= 64) return {number.low << (count - 64), 0};
    return {number.high << count | number.low >> (64 - count), number.low << count};
}

constexpr Uint128 operator>>(Uint128 number, int count) noexcept
{
    if (count <= 0) return number;
    if (count >= 128) return {0, 0};
    if (count >= 64) return {0, number.high >> (count - 64)};
    return {number.high >> count, number.low >> count | number.high << (64 - count)};
}

/// The number whose top \a length bits are set; \a length above 128 counts as 128.
constexpr Uint128 TopBits128(unsigned int length) noexcept
{
    const Uint128 all = {~std::uint64_t{0}, ~std::uint64_t{0}};
    return length >= 128 ? all : all << static_cast<int>(128 - length);
}

} // namespace zor::common::detail

#endif // ZOR_COMMON_BIG_ENDIAN_H
