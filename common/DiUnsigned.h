#ifndef ZOR_COMMON_DI_UNSIGNED_H
#define ZOR_COMMON_DI_UNSIGNED_H

/// \file
/// di_unsigned, unsigned numbers of any fixed width, and arithmetic on their digits.

#include "BigEndian.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace zor::common {

/// The constants of a digit type: for each bit i of a digit the value 2^i, then for each i the mask 2^i - 1,
/// then the number of bits in half a digit and the mask of these bits.
template <class W, class D>
struct di_unsignedtable {
    static constexpr W kBits = 8 * sizeof(D); ///< The bits of a digit: 8.

    /// For 8 bits: 1, 2, 4 to 128; 0, 1, 3 to 127; 4; 15.
    static constexpr std::array<D, 2 * kBits + 2> table = []() {
        std::array<D, 2 * kBits + 2> entries{};
        for (W i = 0; i < kBits; ++i) {
            entries[i] = static_cast<D>(1u << i);
            entries[kBits + i] = static_cast<D>((1u << i) - 1);
        }
        entries[2 * kBits] = static_cast<D>(kBits / 2);
        entries[2 * kBits + 1] = static_cast<D>((1u << kBits / 2) - 1);
        return entries;
    }();
};

/// a + b + carry modulo 256; \a carry becomes whether the sum exceeded 255.
template <class D>
constexpr D di_addunit(bool* carry, D a, D b) noexcept
{
    static_assert(sizeof(D) == 1, "digits are bytes");
    const unsigned int sum = static_cast<unsigned int>(a) + b + (*carry ? 1 : 0);
    *carry = sum > 0xff;
    return static_cast<D>(sum);
}

/// a - b - borrow modulo 256; \a borrow becomes whether the difference was negative.
template <class D>
constexpr D di_subunit(bool* borrow, D a, D b) noexcept
{
    static_assert(sizeof(D) == 1, "digits are bytes");
    const unsigned int subtrahend = static_cast<unsigned int>(b) + (*borrow ? 1 : 0);
    *borrow = a < subtrahend;
    return static_cast<D>(a - subtrahend);
}

/// di_addunit() as a type, for di_addsub().
template <class D>
struct di_addfunctor {
    /// The sum of di_addunit().
    constexpr D operator()(bool* carry, D a, D b) const noexcept { return di_addunit<D>(carry, a, b); }
};

/// di_subunit() as a type, for di_addsub().
template <class D>
struct di_subfunctor {
    /// The difference of di_subunit().
    constexpr D operator()(bool* borrow, D a, D b) const noexcept { return di_subunit<D>(borrow, a, b); }
};

/// Adds \a src to \a dst or subtracts it, both with the least significant digit first. A shorter \a src is extended
/// with zeros. If it has at least as many digits as \a dst, only the bits of \a headmask are used of the digit that is
/// added to the top digit of \a dst; a mask of 0 means all bits.
///
/// \tparam F  di_addfunctor or di_subfunctor.
/// \return    with a head mask, whether the bit above it is set in the top digit afterwards; otherwise the carry or
///            borrow out of the top digit. False if \a dst has no digits.
template <class W, class D, class F>
constexpr bool di_addsub(D* dst, const D* src, W dstDigits, W srcDigits, D headmask) noexcept
{
    if (dstDigits == 0) return false;
    const F combine{};
    bool carry = false;
    if (dstDigits > srcDigits) {
        for (W i = 0; i < srcDigits; ++i) dst[i] = combine(&carry, dst[i], src[i]);
        for (W i = srcDigits; i < dstDigits && carry; ++i) dst[i] = combine(&carry, dst[i], D{0});
    } else {
        const W top = dstDigits - 1;
        for (W i = 0; i < top; ++i) dst[i] = combine(&carry, dst[i], src[i]);
        const D topDigit = headmask != 0 ? static_cast<D>(src[top] & headmask) : src[top];
        dst[top] = combine(&carry, dst[top], topDigit);
    }
    return headmask != 0 ? (dst[dstDigits - 1] & (headmask + 1)) != 0 : carry;
}

namespace detail {

/// Long division of numbers of 32-bit words, least significant word first: dividend = quotient * divisor +
/// remainder. A divisor of zero gives the quotient 0 and the remainder \a dividend.
///
/// A quotient word is estimated from the two top words of the remainder so far and the top word of the divisor, whose
/// highest bit is set. So the estimate is at most 2 too large. The second word of the divisor corrects nearly all
/// estimates, and adding the divisor back corrects the others.
template <std::size_t Words>
constexpr void DivideWords(const std::uint32_t (&dividend)[Words], const std::uint32_t (&divisor)[Words],
                           std::uint32_t (&quotient)[Words], std::uint32_t (&remainder)[Words]) noexcept
{
    std::size_t dividendSize = Words;
    while (dividendSize > 0 && dividend[dividendSize - 1] == 0) --dividendSize;
    std::size_t size = Words;
    while (size > 0 && divisor[size - 1] == 0) --size;
    for (std::size_t i = 0; i < Words; ++i) {
        quotient[i] = 0;
        remainder[i] = dividend[i];
    }
    if (size == 0 || dividendSize < size) return;

    if (size == 1) {
        std::uint64_t rest = 0;
        for (std::size_t i = dividendSize; i-- > 0;) {
            rest = rest << 32 | dividend[i];
            quotient[i] = static_cast<std::uint32_t>(rest / divisor[0]);
            rest %= divisor[0];
            remainder[i] = 0;
        }
        remainder[0] = static_cast<std::uint32_t>(rest);
        return;
    }

    const int shift = __builtin_clz(divisor[size - 1]);
    const auto shifted = [shift](std::uint32_t high, std::uint32_t low) {
        return static_cast<std::uint32_t>((std::uint64_t{high} << 32 | low) << shift >> 32);
    };
    std::uint32_t part[Words] = {};
    std::uint32_t left[Words + 1] = {};
    for (std::size_t i = size; i-- > 0;) part[i] = shifted(divisor[i], i > 0 ? divisor[i - 1] : 0);
    left[dividendSize] = shifted(0, dividend[dividendSize - 1]);
    for (std::size_t i = dividendSize; i-- > 0;) left[i] = shifted(dividend[i], i > 0 ? dividend[i - 1] : 0);

    for (std::size_t i = dividendSize - size + 1; i-- > 0;) {
        const std::uint64_t top = std::uint64_t{left[i + size]} << 32 | left[i + size - 1];
        std::uint64_t digit = top / part[size - 1];
        std::uint64_t rest = top % part[size - 1];
        while (digit >> 32 != 0 || digit * part[size - 2] > (rest << 32 | left[i + size - 2])) {
            --digit;
            rest += part[size - 1];
            if (rest >> 32 != 0) break;
        }
        std::uint64_t carry = 0;
        std::uint64_t borrow = 0;
        for (std::size_t k = 0; k < size; ++k) {
            carry += digit * part[k];
            const std::uint64_t difference = std::uint64_t{left[i + k]} - static_cast<std::uint32_t>(carry) - borrow;
            left[i + k] = static_cast<std::uint32_t>(difference);
            borrow = difference >> 63;
            carry >>= 32;
        }
        const std::uint64_t difference = std::uint64_t{left[i + size]} - carry - borrow;
        left[i + size] = static_cast<std::uint32_t>(difference);
        if (difference >> 63 != 0) {
            --digit;
            carry = 0;
            for (std::size_t k = 0; k < size; ++k) {
                carry += std::uint64_t{left[i + k]} + part[k];
                left[i + k] = static_cast<std::uint32_t>(carry);
                carry >>= 32;
            }
            left[i + size] += static_cast<std::uint32_t>(carry);
        }
        quotient[i] = static_cast<std::uint32_t>(digit);
    }
    for (std::size_t i = 0; i < Words; ++i) {
        remainder[i] = i < size ? static_cast<std::uint32_t>((std::uint64_t{left[i + 1]} << 32 | left[i]) >> shift) : 0;
    }
}

} // namespace detail

/// An unsigned number of N bits in byte digits, least significant digit first.
///
/// A plain record: operations do not cut the digits to the width; clearhead() does.
/// \tparam W  the type of counts, unsigned int.
/// \tparam D  the type of digits, unsigned char.
/// \tparam N  the width in bits.
template <class W, class D, W N>
struct di_unsigned {
    static_assert(sizeof(D) == 1, "digits are bytes");
    static_assert(N > 0, "a number has at least one bit");

    static constexpr W kDigits = (N + 7) / 8; ///< How many digits hold N bits.

    /// The carry, borrow or bit beyond the width of the last addition or subtraction whose caller stored it.
    bool overflow = false;

    /// The bits of the top digit that belong to the number; 0 if all eight do.
    D headmask = di_unsignedtable<W, D>::table[8 + N % 8];

    /// The number, least significant digit first.
    D digits[kDigits] = {};

    /// Shifts all digits up by \a count bits. The top digit keeps all eight bits, also those beyond the width; a count
    /// of 8 * kDigits or more clears the digits.
    constexpr void leftshiftbit(W count) noexcept
    {
        const W whole = count / 8;
        for (W i = kDigits; i-- > 0;) {
            const unsigned int high = i >= whole ? digits[i - whole] : 0u;
            const unsigned int low = i > whole ? digits[i - whole - 1] : 0u;
            digits[i] = static_cast<D>((high << 8 | low) << count % 8 >> 8);
        }
    }

    /// Shifts all digits down by \a count bits and fills with zeros.
    constexpr void rightshiftbit(W count) noexcept
    {
        const W whole = count / 8;
        for (W i = 0; i < kDigits; ++i) {
            const unsigned int low = whole < kDigits - i ? digits[i + whole] : 0u;
            const unsigned int high = whole + 1 < kDigits - i ? digits[i + whole + 1] : 0u;
            digits[i] = static_cast<D>((high << 8 | low) >> count % 8);
        }
    }

    /// Clears the bits of the top digit that lie beyond the width.
    constexpr void clearhead() noexcept
    {
        if (headmask != 0) digits[kDigits - 1] &= headmask;
    }

    /// Copies the digits of a number of any width, extended with zeros or cut to this width, but not its flag and mask.
    template <W M>
    constexpr di_unsigned& assign(const di_unsigned<W, D, M>& src) noexcept
    {
        for (W i = 0; i < kDigits; ++i) digits[i] = i < src.kDigits ? src.digits[i] : D{0};
        clearhead();
        return *this;
    }

    /// This number divided by \a divisor.
    ///
    /// \param divisor    zero gives the quotient 0 and this number as remainder.
    /// \param remainder  receives the remainder, with the overflow flag of this number. May be this number or the
    ///                   divisor.
    template <W M>
    constexpr di_unsigned div1(const di_unsigned<W, D, M>& divisor, di_unsigned<W, D, M>* remainder) const noexcept
    {
        static_assert(M == N, "dividend and divisor have one width");
        Words dividendWords = ToWords();
        Words divisorWords = divisor.ToWords();
        Words quotientWords{};
        Words remainderWords{};
        detail::DivideWords(dividendWords.words, divisorWords.words, quotientWords.words, remainderWords.words);
        di_unsigned quotient;
        quotient.SetWords(quotientWords);
        di_unsigned rest = *this;
        rest.SetWords(remainderWords);
        *remainder = rest;
        return quotient;
    }

private:
    static constexpr std::size_t kWords = (kDigits + 3) / 4;

    struct Words {
        std::uint32_t words[kWords];
    };

    constexpr Words ToWords() const noexcept
    {
        unsigned char bytes[4 * kWords] = {};
        for (W i = 0; i < kDigits; ++i) bytes[i] = digits[i];
        Words result{};
        for (std::size_t i = 0; i < kWords; ++i) result.words[i] = detail::LoadLittle32(bytes + 4 * i);
        return result;
    }

    constexpr void SetWords(const Words& number) noexcept
    {
        unsigned char bytes[4 * kWords] = {};
        for (std::size_t i = 0; i < kWords; ++i) detail::StoreLittle(bytes + 4 * i, number.words[i]);
        for (W i = 0; i < kDigits; ++i) digits[i] = bytes[i];
    }
};

} // namespace zor::common

#endif // ZOR_COMMON_DI_UNSIGNED_H
