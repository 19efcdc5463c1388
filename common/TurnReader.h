#ifndef ZOR_COMMON_TURN_READER_H
#define ZOR_COMMON_TURN_READER_H

/// \file
/// Internal: from the text of a number back to its turn.

#include "BigEndian.h"
#include "IndexCounter.h"
#include "TemplateProgram.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zor::common::detail {

/// When a text shows which turn.
struct TurnCycle {
    std::uint64_t interval = 1; ///< How many indexes a turn lasts.
    std::uint64_t turns = 0;    ///< After how many turns the first one is shown again; 0 is 2^64 or more.
    std::uint64_t unit = 0;     ///< Texts tell turns modulo this; 0 is 2^64 or more. Never above \a turns.
    bool startsApart =
        false; ///< Whether turn 0 has a text that no other one has, and never comes back without a count.
    bool hasCount = false;
};

/// Reads a turn.
///
/// The numbers of a counter modulo a power of 2 are start + turn * step, so a turn is the distance from the start, shifted
/// to the lowest bit of the step, times the inverse of what is left of the step, which is odd. With a mask that holds for
/// each group of bits between which carries pass. The group with the longest period tells all about the turn.
class TurnReader {
public:
    TurnReader() = default; ///< Of a text that never changes.

    /// \param first  the text at turn 0, here and below.
    TurnReader(const DecimalCounter& counter, std::string_view first);

    /// \param runs  of the counter.
    TurnReader(const HexCounter& counter, const std::vector<BitRun>& runs, HexFormat format, std::string_view first);

    const TurnCycle& GetCycle() const noexcept { return mCycle; }

    /// Whether texts differ.
    bool IsMoving() const noexcept { return mCycle.turns != 1; }

    /// The turn, modulo the unit of the cycle. Nothing where the text is none that the number shows; but not each such
    /// text is noticed.
    std::optional<std::uint64_t> Read(const char* text, std::size_t size) const noexcept
    {
        if (mWordSize == 0) return ReadText(text, size);
        const std::uint64_t number = LoadBigWord(reinterpret_cast<const unsigned char*>(text), mWordSize);
        return (((number >> mLowest) - mStart) * mInverse) & LowBits(mBits);
    }

    /// Of a number that starts apart: whether a text is that of turn 0.
    bool IsFirst(const char* text, std::size_t size) const noexcept { return std::string_view(text, size) == mFirst; }

    /// The size of texts of turns other than 0, if all of them have one size.
    std::size_t GetFullSize() const noexcept { return mFullSize; }

    const std::string& GetFirst() const noexcept { return mFirst; }

private:
    enum class Form : std::uint8_t { BigBytes, LittleBytes, HexDigits, Decimal, Ipv4, Ipv6 };

    /// Bits of the number that follow one another.
    struct BitSlice {
        std::size_t first;
        unsigned int count;
    };

    /// A big-endian number of \a size bytes, which are all that may be read; from 1 to 8.
    static std::uint64_t LoadBigWord(const unsigned char* bytes, unsigned int size) noexcept
    {
        if (size == 8) return LoadBig64(bytes);
        if (size == 4) return LoadBig32(bytes);
        if (size == 2) return LoadBig16(bytes);
        if (size == 1) return bytes[0];
        std::uint64_t number = LoadBig16(bytes);
        for (unsigned int i = 2; i < size; ++i) number = number << 8 | bytes[i];
        return number;
    }

    void SetMotion(const std::vector<BitRun>& runs, std::size_t shownBits);
    void SetCycle(const TurnRule& rule, std::uint64_t unit, bool startsApart);
    std::optional<std::uint64_t> ReadText(const char* text, std::size_t size) const noexcept;
    bool ReadNumber(const char* text, std::size_t size, Uint128& number) const noexcept;
    unsigned int DigitAt(const char* text, std::size_t size, std::size_t digit) const noexcept;

    TurnCycle mCycle{1, 1, 1, false, false};
    Form mForm = Form::BigBytes;
    std::uint8_t mWordSize = 0; ///< Of a number that is shown as so many bytes, big-endian, without more ado.
    std::uint8_t mLowest = 0;   ///< Of such a number: the lowest bit that moves.
    std::uint8_t mBits = 0;     ///< How many bits tell the turn.
    bool mIsModular = false;
    std::uint64_t mStart = 0;   ///< From the lowest bit that moves on; of a decimal number with a modulus, all of it.
    std::uint64_t mInverse = 0; ///< Of the step, likewise.
    Divisor mModulus;
    std::uint64_t mShared = 1; ///< What step and modulus have in common.
    std::vector<BitSlice> mSlices;
    std::size_t mFullSize = 0;
    std::string mFirst; ///< Where that is another text than at all other turns.
};

} // namespace zor::common::detail

#endif // ZOR_COMMON_TURN_READER_H
