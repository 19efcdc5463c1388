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
    /// Whether turn 0 has a text that no other one has, and never comes back without a count.
    bool startsApart = false;
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
    bool IsMoving() const noexcept { return mCycle.turns != 1 || mCycle.startsApart; }

    /// A number that is shown as up to 8 bytes, big-endian, of which all bits but the lowest ones change.
    struct Word {
        std::uint8_t size = 0;   ///< In bytes; 0 is none.
        std::uint8_t lowest = 0; ///< The lowest bit that changes.
        std::uint64_t mask = 0;  ///< The bits that change, shifted down.
        std::uint64_t start = 0;
        std::uint64_t inverse = 0; ///< Of the step without its factors of 2.

        /// The turn, modulo a power of 2. Nothing if no turn has the text.
        std::optional<std::uint64_t> Read(const unsigned char* bytes) const noexcept
        {
            const std::uint64_t moved = Load(bytes) - start;
            if ((moved & LowBits(lowest)) != 0) return std::nullopt;
            return (moved >> lowest) * inverse & mask;
        }

    private:
        std::uint64_t Load(const unsigned char* bytes) const noexcept
        {
            switch (size) {
            case 8: return LoadBig64(bytes);
            case 4: return LoadBig32(bytes);
            case 2: return LoadBig16(bytes);
            case 1: return bytes[0];
            default: return __builtin_bswap64(LoadLittleBytes(bytes, size)) >> (64 - 8 * size);
            }
        }
    };

    /// A simple way to read the turn. All turns that it gives have the text that was read.
    const Word& GetWord() const noexcept { return mWord; }

    /// The turn, modulo the unit of the cycle. Nothing where the text is none that the number shows; but not each such
    /// text is noticed.
    std::optional<std::uint64_t> Read(const char* text, std::size_t size) const noexcept;

    /// Of a number that starts apart: whether a text is that of turn 0.
    bool IsFirst(const char* text, std::size_t size) const noexcept { return std::string_view(text, size) == mFirst; }

private:
    enum class Form : std::uint8_t { BigBytes, LittleBytes, HexDigits, Decimal, Ipv4, Ipv6 };

    /// Bits of the number that follow one another.
    struct BitSlice {
        std::size_t first;
        unsigned int count;
    };

    void SetMotion(const std::vector<BitRun>& runs, std::size_t shownBits);
    void SetCycle(const TurnRule& rule, std::uint64_t unit, bool startsApart);
    bool ReadNumber(const char* text, std::size_t size, Uint128& number) const noexcept;
    unsigned int DigitAt(const char* text, std::size_t size, std::size_t digit) const noexcept;

    TurnCycle mCycle{1, 1, 1, false, false};
    Form mForm = Form::BigBytes;
    std::uint8_t mBits = 0; ///< How many bits tell the turn.
    bool mIsModular = false;
    std::uint64_t mStart = 0;   ///< From the lowest bit that moves on; of a decimal number with a modulus, all of it.
    std::uint64_t mInverse = 0; ///< Of the step, likewise.
    Divisor mModulus;
    std::uint64_t mShared = 1; ///< What step and modulus have in common.
    std::vector<BitSlice> mSlices;
    Word mWord;
    std::size_t mFullSize = 0;
    std::string mFirst; ///< Where that is another text than at all other turns.
};

} // namespace zor::common::detail

#endif // ZOR_COMMON_TURN_READER_H
