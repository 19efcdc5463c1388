#ifndef ZOR_COMMON_DECIMAL_H
#define ZOR_COMMON_DECIMAL_H

/// \file
/// Internal: numbers in decimal, two digits at a time.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zor::common::detail {

/// The digits of the largest 64-bit number.
inline constexpr std::size_t kMaxDecimalSize = 20;

/// "00", "01" and so on to "99".
inline constexpr std::array<char, 200> kDecimalPairs = []() {
    std::array<char, 200> table{};
    for (std::size_t i = 0; i < 100; ++i) {
        table[2 * i] = static_cast<char>('0' + i / 10);
        table[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return table;
}();

/// 10 to the power of the index; in place of 1 stands 0, which makes the size of 0 come out as 1.
inline constexpr std::array<std::uint64_t, kMaxDecimalSize> kPowersOf10 = []() {
    std::array<std::uint64_t, kMaxDecimalSize> table{};
    std::uint64_t power = 1;
    for (std::size_t i = 1; i < table.size(); ++i) table[i] = power *= 10;
    return table;
}();

/// How many digits a number has.
inline std::size_t DecimalSize(std::uint64_t number) noexcept
{
    // The bits times log10(2), a little below: right, or one too small.
    const auto bits = static_cast<std::size_t>(64 - __builtin_clzll(number | 1));
    const std::size_t size = bits * 1233 >> 12;
    return size + (number >= kPowersOf10[size] ? 1 : 0);
}

/// Writes the last \a size digits of a number, zeros in front of a shorter one, and returns the end.
template <class Unsigned>
char* WriteDigits(char* out, Unsigned number, std::size_t size) noexcept
{
    char* const end = out + size;
    char* next = end;
    for (; next - out >= 2; number /= 100) {
        next -= 2;
        std::memcpy(next, &kDecimalPairs[2 * static_cast<std::size_t>(number % 100)], 2);
    }
    if (next != out) *out = static_cast<char>('0' + number % 10);
    return end;
}

/// Writes a number with zeros in front up to \a width, and returns the end.
template <class Unsigned>
char* WriteDecimal(char* out, Unsigned number, std::size_t width) noexcept
{
    return WriteDigits(out, number, std::max(DecimalSize(number), width));
}

} // namespace zor::common::detail

#endif // ZOR_COMMON_DECIMAL_H
