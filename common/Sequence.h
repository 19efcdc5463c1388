#ifndef ZOR_COMMON_SEQUENCE_H
#define ZOR_COMMON_SEQUENCE_H

/// \file
/// Internal: how the numbers of a template count. A definition never changes; the caller keeps the value that counts.

#include "BigEndian.h"
#include "Hexfield.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace zor::common::detail {

/// How often a number changes its value and when it returns to its start. The value changes every repeat + 1 indexes;
/// change n shows the start again if n is a multiple of the count.
struct Cycle {
    std::uint32_t count = 0; ///< The number of values; 0 is without end.
    std::uint32_t repeat = 0;

    /// The number of changes from index 0 to \a index.
    template <class Unsigned>
    Unsigned ChangesAt(Unsigned index) const noexcept
    {
        return repeat == 0 ? index : static_cast<Unsigned>(index / (std::uint64_t{repeat} + 1));
    }

    /// How many of so many changes came after the start was last shown.
    template <class Unsigned>
    std::uint32_t SinceStart(Unsigned changes) const noexcept
    {
        return static_cast<std::uint32_t>(count == 0 || changes < count ? changes : changes % count);
    }

    std::uint32_t SinceStartAt(std::uint32_t index) const noexcept { return SinceStart(ChangesAt(index)); }
};

/// Where a number stands in its cycle.
struct Turn {
    std::uint32_t changesLeft = 0; ///< Changes until the start shows again. 0 counts as 2^32, for no count.
    std::uint32_t repeatsLeft = 0; ///< Repeats of the present value still to come.

    /// Sets changesLeft for the step to \a nextIndex. Without a count the start does not show again: the index wraps
    /// to 0 before 2^32 changes have been made, and this is called again there.
    void MoveTo(const Cycle& cycle, std::uint32_t nextIndex) noexcept
    {
        changesLeft = 0;
        if (cycle.count == 0) return;
        const std::uint32_t place = cycle.SinceStart(cycle.ChangesAt(std::uint64_t{nextIndex} + repeatsLeft));
        changesLeft = place == 0 ? 1 : cycle.count - place + 1;
    }

    /// Sets how many repeats of the value at \a index are still to come.
    void SetRepeats(const Cycle& cycle, std::uint32_t index) noexcept
    {
        if (cycle.repeat == 0) return;
        repeatsLeft = static_cast<std::uint32_t>(cycle.repeat - index % (std::uint64_t{cycle.repeat} + 1));
    }

    /// Takes one step. Returns whether the value changes; \a toStart is set only then.
    bool Step(const Cycle& cycle, bool& toStart) noexcept
    {
        if (repeatsLeft != 0) {
            --repeatsLeft;
            return false;
        }
        if (cycle.repeat != 0) repeatsLeft = cycle.repeat;
        toStart = Change(cycle);
        return true;
    }

    /// Makes a change, and returns whether it leads to the start.
    bool Change(const Cycle& cycle) noexcept
    {
        if (--changesLeft != 0) return false;
        changesLeft = cycle.count;
        return true;
    }
};

/// The number whose low \a size bytes are all ones.
template <class Word>
constexpr Word LowBytes(std::size_t size) noexcept
{
    return size >= sizeof(Word) ? ~Word{} : (Word{1} << static_cast<int>(8 * size)) - Word{1};
}
template <>
constexpr Uint128 LowBytes<Uint128>(std::size_t size) noexcept
{
    return size > 8 ? Uint128{LowBytes<std::uint64_t>(size - 8), ~std::uint64_t{0}}
                    : Uint128{0, LowBytes<std::uint64_t>(size)};
}

/// A number, and for a hex counter the number of bytes in which it is shown.
template <class Word>
struct Number {
    Word value{};
    std::uint32_t size = 0;
};

/// A number with its turn.
template <class Word>
struct Counter {
    Number<Word> number;
    Turn turn;
};

/// How a number counts. Only bits in the mask change: the others keep the values that they have in `fixed`, and carries
/// run across them. Without a mask, `mask` has all bits of the full width.
template <class Word>
struct NumberDefinition {
    Word start{};
    Word step{};
    Word mask{};
    Word notMask{}; ///< 0 without a mask.
    Word fixed{};
    Word stepMask{}; ///< All bits of the width of the step.
    Cycle cycle;
    std::uint32_t modulus = 0; ///< Sums are taken modulo this; 0 is without.
    std::uint8_t startSize = 0;
    std::uint8_t fullSize = 0; ///< The size from the first change on.
    bool hasMask = false;

    /// Whether it has only a start, a step and a count: no mask, repeats or modulus, and one size from the start on.
    bool IsPlain() const noexcept { return !hasMask && cycle.repeat == 0 && modulus == 0 && startSize == fullSize; }

    Word Sum(const Word& value, const Word& addend) const noexcept
    {
        return (((value | notMask) + addend) & mask) | fixed;
    }

    /// Changes \a number to the next value, or to the start.
    void Change(Number<Word>& number, bool toStart) const noexcept
    {
        if (toStart) {
            number = {start, startSize};
            return;
        }
        number.value = Sum(number.value, step);
        if (startSize != fullSize) number.size = fullSize;
        Reduce(number);
    }

    /// Takes a number modulo the modulus, if there is one.
    void Reduce(Number<Word>& number) const noexcept
    {
        if constexpr (sizeof(Word) == 8) {
            if (modulus != 0 && number.value >= modulus) number.value %= modulus;
        }
    }
};

/// Multiplies as Hexfield does: each 32-bit word on its own, without carries between words.
constexpr std::uint64_t TimesByWords(std::uint64_t number, std::uint32_t factor) noexcept
{
    const std::uint32_t low = static_cast<std::uint32_t>(number) * factor;
    const std::uint32_t high = static_cast<std::uint32_t>(number >> 32) * factor;
    return std::uint64_t{high} << 32 | low;
}
constexpr Uint128 TimesByWords(const Uint128& number, std::uint32_t factor) noexcept
{
    return {TimesByWords(number.high, factor), TimesByWords(number.low, factor)};
}

/// Adds as Hexfield does: a 32-bit word that is full in both numbers and receives a carry passes none on.
constexpr std::uint64_t SumByWords(std::uint64_t left, std::uint64_t right) noexcept
{
    return left + right; // the low word has no carry coming in, and the one out of the high word is not kept
}
constexpr Uint128 SumByWords(const Uint128& left, const Uint128& right) noexcept
{
    constexpr std::uint64_t kFull = 0xffffffff;
    const std::uint64_t word1 = right.low >> 32;
    const std::uint64_t word2 = right.high & kFull;
    if (word1 != kFull && word2 != kFull) return left + right;
    Uint128 sum{};
    std::uint64_t carry = 0;
    for (int shift = 0; shift < 128; shift += 32) {
        const std::uint64_t a = (left >> shift).low & kFull;
        const std::uint64_t b = (right >> shift).low & kFull;
        const std::uint64_t word = a + b + carry;
        carry = carry != 0 && a == kFull && b == kFull ? 0 : word >> 32;
        sum = sum | Uint128{0, word & kFull} << shift;
    }
    return sum;
}

/// Whether Hexfield may lose a carry when it adds a step to a field of so many bytes: if a 32-bit word of the step is full
/// that is neither its lowest one nor the topmost one of the field. Such a word passes no carry on where the field's own
/// word is full too.
/// \param step  its 64-bit words, the lowest one first, as many as the field takes.
inline bool LosesCarries(const std::uint64_t* step, std::size_t size) noexcept
{
    for (std::size_t word = 1; word + 1 < (size + 3) / 4; ++word) {
        if ((step[word / 2] >> 32 * (word % 2) & 0xffffffff) == 0xffffffff) return true;
    }
    return false;
}

/// How a hex counter of any width counts. A counter that is kept as a number has this too if it has a mask, to compute
/// its values at an index.
struct FieldDefinition {
    Hexfield start;
    Hexfield step;
    Hexfield mask;
    Hexfield notMask;
    Hexfield fixed;
    bool hasMask = false;
    Cycle cycle;

    /// In bytes, from the first change on.
    std::size_t GetFullSize() const noexcept
    {
        const std::size_t size = std::max(start.GetSize(), step.GetSize());
        return hasMask ? std::max<std::size_t>({size, mask.GetSize(), fixed.GetSize()}) : size;
    }

    /// Adds \a addend to \a value, within the mask.
    void Add(Hexfield& value, const Hexfield& addend) const
    {
        if (hasMask) value |= notMask;
        value += addend;
        if (!hasMask) return;
        value &= mask;
        value |= fixed;
    }

    /// Sets \a next to the value after \a value. Copying first and adding in place would make each step of a wide
    /// counter an eighth slower.
    void SetNext(Hexfield& next, const Hexfield& value) const
    {
        if (!hasMask) return next.SetToSum(value, step);
        next = value;
        Add(next, step);
    }

    /// Computes the value at an index by multiplying the step. \a product is scratch memory.
    void ValueAt(std::uint32_t index, Hexfield& value, Hexfield& product) const
    {
        const std::uint32_t changes = cycle.SinceStartAt(index);
        value = start;
        product = step;
        if (hasMask) {
            product.MaskMultiply(changes, mask);
        } else {
            product *= changes;
        }
        Add(value, product);
    }
};

/// The value of a number without a mask, so many changes after its start, computed by multiplying the step.
template <class Word>
[[gnu::always_inline]] inline Word ValueAfter(const NumberDefinition<Word>& definition, std::uint32_t changes) noexcept
{
    const Word product = TimesByWords(definition.step, changes) & definition.stepMask;
    return SumByWords(definition.start, product) & definition.mask;
}

/// The value at an index of a number without a mask.
template <class Word>
[[gnu::always_inline]] inline Number<Word> ValueAt(const NumberDefinition<Word>& definition,
                                                   std::uint32_t index) noexcept
{
    Number<Word> number = {ValueAfter(definition, definition.cycle.SinceStartAt(index)), definition.fullSize};
    definition.Reduce(number);
    return number;
}

/// The value of a field that is no wider than a word.
template <class Word>
Word NumberOf(const Hexfield& field) noexcept
{
    Word number{};
    for (unsigned int i = 0; i < field.GetSize(); ++i) number = number << 8 | Word{field.GetByte(i)};
    return number;
}
template <>
inline Uint128 NumberOf<Uint128>(const Hexfield& field) noexcept
{
    Uint128 number{};
    for (unsigned int i = 0; i < field.GetSize(); ++i) number = number << 8 | Uint128{0, field.GetByte(i)};
    return number;
}

/// The bits of \a number at the positions set in \a mask, moved together at the low end.
inline std::uint64_t GatherBits(std::uint64_t number, std::uint64_t mask) noexcept
{
    std::uint64_t result = 0;
    for (int place = 0; mask != 0; mask &= mask - 1, ++place) {
        result |= (number >> __builtin_ctzll(mask) & 1) << place;
    }
    return result;
}

/// The low bits of \a number moved to the positions set in \a mask.
inline std::uint64_t ScatterBits(std::uint64_t number, std::uint64_t mask) noexcept
{
    std::uint64_t result = 0;
    for (; mask != 0; mask &= mask - 1, number >>= 1) result |= (number & 1) << __builtin_ctzll(mask);
    return result;
}

/// How MAC addresses count, as 48-bit numbers.
struct MacDefinition {
    std::uint64_t first = 0; ///< The address at index 0, as last set.
    std::uint64_t step = 1;
    std::uint64_t mask = 0xffffffffffff;
    std::uint64_t fixed = 0; ///< The bits outside the mask.

    bool operator==(const MacDefinition& other) const = default;

    std::uint64_t Next(std::uint64_t address) const noexcept { return fixed | (mask & (step + (address | ~mask))); }

    /// The address after so many changes. Of the step, only the bits in the mask count.
    std::uint64_t ValueAt(std::uint32_t changes) const noexcept
    {
        constexpr std::uint64_t kAllBits = 0xffffffffffff;
        const std::uint64_t distance =
            mask == kAllBits ? step * changes : ScatterBits(GatherBits(step, mask) * changes, mask);
        return fixed | (mask & (((first & mask) | ~mask) + distance));
    }
};

} // namespace zor::common::detail

#endif // ZOR_COMMON_SEQUENCE_H
