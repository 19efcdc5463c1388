#include "TurnReader.h"

#include "AddressText.h"

#include <algorithm>
#include <numeric>

namespace zor::common::detail {

namespace {

constexpr std::size_t kLongestNumber = 16; ///< In bytes, that is read as a whole.

/// The number times which an odd one is 1 modulo 2^64. Each round doubles the bits that are right, of which an odd number
/// has three to begin with.
std::uint64_t InverseOfOdd(std::uint64_t odd)
{
    std::uint64_t inverse = odd;
    for (int bits = 3; bits < 64; bits *= 2) inverse *= 2 - odd * inverse;
    return inverse;
}

/// Reads an address, which is all of the text.
template <class Address, std::size_t Size>
bool ReadAddress(const char* text, const char* end, Uint128& number)
{
    Address address;
    const TextResult result = FromChars(text, end, address);
    unsigned char bytes[16] = {};
    address.CopyTo(bytes + sizeof bytes - Size);
    number = LoadBig128(bytes);
    return result.fault == TextFault::None && result.end == end;
}

/// Reads a decimal number of up to 32 bits, which is all of the text.
bool ReadDecimal(const char* text, const char* end, std::uint64_t& number)
{
    if (text == end) return false;
    for (number = 0; text != end; ++text) {
        const unsigned int digit = DecimalDigitValue(*text);
        if (digit > 9) return false;
        number = 10 * number + digit;
        if (number >> 32 != 0) return false;
    }
    return true;
}

} // namespace

/// Sets when a turn shows again.
/// \param unit  after how many turns the text that turn 1 shows appears again; 0 is 2^64 or more.
void TurnReader::SetCycle(const TurnRule& rule, std::uint64_t unit, bool startsApart)
{
    const std::uint64_t count = rule.count.GetNumber();
    mCycle.interval = rule.interval.GetNumber();
    mCycle.hasCount = count != 0;
    mCycle.startsApart = startsApart;
    const bool fitsCount = unit != 0 && count % unit == 0; // then the last turn is as far from the first as any
    mCycle.turns = count == 0 || (fitsCount && !startsApart) ? unit : count;
    mCycle.unit = mCycle.turns == 0 || (unit != 0 && unit < mCycle.turns) ? unit : mCycle.turns;
}

TurnReader::TurnReader(const DecimalCounter& counter, std::string_view first) : mForm(Form::Decimal)
{
    const std::uint64_t modulus = counter.modulus;
    if (modulus == 0) {
        BitRun run;
        run.start = counter.start;
        run.step = counter.step;
        run.bits = 32;
        SetMotion({run}, 32);
        SetCycle(counter.turns, mSlices.empty() ? 1 : std::uint64_t{1} << mBits, false);
        return;
    }
    mIsModular = true;
    mModulus = Divisor(modulus);
    mStart = counter.start;
    mShared = std::gcd(std::uint64_t{counter.step}, modulus);
    const std::uint64_t turns = modulus / mShared;
    mInverse = InverseOf(counter.step / mShared, turns);
    const bool startsApart = counter.start >= modulus && counter.turns.count.GetNumber() != 1;
    if (startsApart) mFirst = first;
    SetCycle(counter.turns, turns, startsApart);
}

TurnReader::TurnReader(const HexCounter& counter, const std::vector<BitRun>& runs, HexFormat format,
                       std::string_view first)
{
    std::size_t shownBits = 8 * counter.size;
    bool hasTwoSizes = counter.startSize != counter.size;
    switch (format) {
    case HexFormat::Little: mForm = Form::LittleBytes; break;
    case HexFormat::Big: mForm = Form::BigBytes; break;
    case HexFormat::Ipv4: mForm = Form::Ipv4; break;
    case HexFormat::Ipv6: mForm = Form::Ipv6; break;
    default: mForm = Form::HexDigits; break;
    }
    const bool isInBytes = format == HexFormat::Little || format == HexFormat::Big;
    mFullSize = isInBytes ? counter.size : 2 * counter.size;
    if (!isInBytes && format != HexFormat::Hex) {
        hasTwoSizes = false;
        shownBits = std::min<std::size_t>(shownBits, format == HexFormat::Ipv4  ? 32
                                                     : format == HexFormat::Mac ? 48
                                                                                : 128);
        mFullSize = first.size();
    }
    bool startsApart = hasTwoSizes;
    for (std::size_t word = 0; counter.hasMask && word < counter.mask.size() && kWordBits * word < shownBits; ++word) {
        const std::uint64_t shown =
            LowBits(static_cast<unsigned int>(std::min(shownBits - kWordBits * word, kWordBits)));
        startsApart |= (((counter.start[word] & ~counter.mask[word]) ^ counter.fixed[word]) & shown) != 0;
    }
    startsApart &= counter.turns.count.GetNumber() != 1;
    SetMotion(runs, shownBits);
    if (startsApart) mFirst = first;
    const bool isMoving = !mSlices.empty();
    SetCycle(counter.turns, !isMoving ? 1 : mBits < 64 ? std::uint64_t{1} << mBits : 0, startsApart);
    if (format == HexFormat::Big && counter.size <= kWordBytes && !counter.hasMask && !hasTwoSizes && isMoving) {
        mWord.size = static_cast<std::uint8_t>(counter.size);
        mWord.lowest = static_cast<std::uint8_t>(mSlices.front().first);
        mWord.mask = LowBits(mBits);
        mWord.start = counter.start.front();
        mWord.inverse = mInverse;
    }
}

/// Finds the bits that tell most about the turn, up to 64 of them.
/// \param shownBits  how many the text shows.
void TurnReader::SetMotion(const std::vector<BitRun>& runs, std::size_t shownBits)
{
    std::vector<BitSlice> slices; // of the present group
    std::uint64_t start = 0;
    std::uint64_t step = 0;
    unsigned int bits = 0;
    bool hasCarry = false; // whether each step hands a carry to the group
    const auto end = [&] {
        if (bits > mBits) {
            mSlices = slices;
            mStart = start;
            mInverse = InverseOfOdd(step | 1);
            mBits = static_cast<std::uint8_t>(bits);
        }
        slices.clear();
        start = step = bits = 0;
    };
    std::size_t place = 0; // of the run in the number
    for (const BitRun& run : runs) {
        if (place >= shownBits) break;
        const auto shown = static_cast<unsigned int>(std::min<std::size_t>(run.bits, shownBits - place));
        if (run.isHole) {
            if (run.step != 0) {
                end();
                hasCarry = true;
            }
        } else {
            // With a carry, the lowest bit that moves is that of step + 1, above which both are the same.
            const std::uint64_t moving = (hasCarry ? ~run.step : run.step) & LowBits(shown);
            if (bits != 0 || moving != 0) {
                const unsigned int lowest = bits != 0 ? 0 : static_cast<unsigned int>(__builtin_ctzll(moving));
                const unsigned int count = std::min(shown - lowest, 64 - bits);
                if (count != 0) {
                    slices.push_back({place + lowest, count});
                    start |= (run.start >> lowest & LowBits(count)) << bits;
                    step |= (run.step >> lowest & LowBits(count)) << bits;
                    bits += count;
                }
            }
        }
        place += run.bits;
    }
    end();
}

/// A hex digit of a number that is longer than what is read as a whole, counted from the lowest one.
/// \param size  is the full one, which has all digits that the slices name.
unsigned int TurnReader::DigitAt(const char* text, std::size_t size, std::size_t digit) const noexcept
{
    if (mForm == Form::HexDigits) return HexDigitValue(text[size - 1 - digit]) & 15;
    const std::size_t byte = digit / 2;
    const auto value = static_cast<unsigned char>(text[mForm == Form::BigBytes ? size - 1 - byte : byte]);
    return digit % 2 == 0 ? value & 15u : value >> 4u;
}

/// The number that a text shows, if it has up to 16 bytes.
bool TurnReader::ReadNumber(const char* text, std::size_t size, Uint128& number) const noexcept
{
    const char* const end = text + size;
    number = {0, 0};
    switch (mForm) {
    case Form::BigBytes:
        for (; text != end; ++text) number = number << 8 | Uint128{0, static_cast<unsigned char>(*text)};
        return true;
    case Form::LittleBytes:
        for (const char* next = end; next != text;)
            number = number << 8 | Uint128{0, static_cast<unsigned char>(*--next)};
        return true;
    case Form::HexDigits:
        for (; text != end; ++text) {
            const unsigned int digit = HexDigitValue(*text);
            if (digit <= 15) number = number << 4 | Uint128{0, digit};
        }
        return true;
    case Form::Decimal: return ReadDecimal(text, end, number.low);
    case Form::Ipv4: return ReadAddress<CIpAddress, 4>(text, end, number);
    case Form::Ipv6: return ReadAddress<CIpv6Address, 16>(text, end, number);
    }
    return false;
}

std::optional<std::uint64_t> TurnReader::Read(const char* text, std::size_t size) const noexcept
{
    if (mCycle.startsApart && IsFirst(text, size)) return 0;
    const bool isHex = mForm <= Form::HexDigits;
    if (isHex && size != mFullSize) return std::nullopt;
    std::uint64_t distance = 0;
    if (isHex && mFullSize > (mForm == Form::HexDigits ? 2 * kLongestNumber : kLongestNumber)) {
        unsigned int bits = 0;
        for (const BitSlice& slice : mSlices) {
            std::uint64_t word = 0;
            for (std::size_t bit = slice.first / 4 * 4; bit < slice.first + slice.count; bit += 4) {
                const std::uint64_t digit = DigitAt(text, size, bit / 4);
                word |= bit < slice.first ? digit >> (slice.first - bit) : digit << (bit - slice.first);
            }
            distance |= (word & LowBits(slice.count)) << bits;
            bits += slice.count;
        }
    } else {
        Uint128 number{};
        if (!ReadNumber(text, size, number)) return std::nullopt;
        if (mIsModular) {
            const std::uint64_t modulus = mModulus.GetNumber();
            if (number.low >= modulus) return std::nullopt;
            const std::uint64_t moved = number.low + modulus - mModulus.Remainder(mStart);
            const std::uint64_t steps = mModulus.Remainder(moved);
            return steps % mShared != 0 ? std::nullopt
                                        : std::optional(steps / mShared * mInverse % (modulus / mShared));
        }
        unsigned int bits = 0;
        for (const BitSlice& slice : mSlices) {
            distance |= ((number >> static_cast<int>(slice.first)).low & LowBits(slice.count)) << bits;
            bits += slice.count;
        }
    }
    return ((distance - mStart) * mInverse) & LowBits(mBits);
}

} // namespace zor::common::detail
