#include "Hexfield.h"

#include "BigEndian.h"
#include "Characters.h"
#include "WideSteps.h"
#include "WordPair.h"

#include <algorithm>
#include <istream>
#include <ostream>
#include <utility>

namespace zor::common {

namespace {

using Lane = unsigned long long; // as in the class

} // namespace

Hexfield::Hexfield(const std::string& text, bool binary, bool mostSignificantFirst)
{
    if (binary) {
        CopyFromBinaryString(text, mostSignificantFirst);
    } else {
        CopyFromString(text);
    }
}

void Hexfield::MakeRoomOutside(std::size_t lanes, std::size_t kept)
{
    Lane* const outside = Allocate(lanes); // the only step that can fail
    if (kept > 0) std::memcpy(outside, mLanes, kept * sizeof(Lane));
    FreeRoom();
    mLanes = outside;
    mCapacity = static_cast<std::uint16_t>(lanes);
}

void Hexfield::normalize(unsigned short size)
{
    if (size == mSize) return;
    const std::size_t before = LaneCount();
    const std::size_t after = LanesFor(size);
    if (after > mCapacity) MakeRoom(std::max(after, std::min(2 * before, LanesFor(0xffff))), before);
    if (after > before) std::fill_n(mLanes + before, after - before, 0u);
    mSize = size;
    MaskTopLane();
}

/// Writes a lane that the width fills in part, and returns where the whole ones go.
char* Hexfield::WriteTopLane(char* digits) const noexcept
{
    const std::size_t rest = mSize % 8;
    // The lane moved up, so that its bytes come first; what is written behind them is overwritten.
    const Lane top = mLanes[mSize / 8] << (64 - 8 * rest) % 64;
    if (mSize >= 8) {
        detail::WriteHexLane(digits, top);
    } else {
        char text[16];
        detail::WriteHexLane(text, top);
        std::memcpy(digits, text, 2 * rest);
    }
    return digits + 2 * rest;
}

namespace {

/// Writes whole lanes, the last one first.
void WriteLanes(char* digits, const Lane* lanes, std::size_t count) noexcept
{
    const std::size_t inBlocks = detail::WriteHexLanes(digits, lanes, count);
    digits += 16 * inBlocks;
    count -= inBlocks;
#pragma GCC unroll 4
    for (; count-- > 0; digits += 16) detail::WriteHexLane(digits, lanes[count]);
}

} // namespace

void Hexfield::CopyToHexArray(char* digits) const noexcept
{
    if (mSize % 8 != 0) digits = WriteTopLane(digits);
    WriteLanes(digits, mLanes, mSize / 8);
}

/// Appends the digits of a wide field piece by piece, so that what the string clears is still in the first cache when it
/// is written. All at once takes a seventh longer for 65,535 bytes.
void Hexfield::AppendTo(std::string& text) const
{
    const std::size_t start = text.size();
    text.reserve(start + 2 * std::size_t{mSize});
    if (const std::size_t rest = mSize % 8; rest != 0) {
        text.resize(start + 16);
        WriteTopLane(text.data() + start);
        text.resize(start + 2 * rest);
    }
    for (std::size_t left = mSize / 8; left > 0;) {
        const std::size_t lanes = std::min<std::size_t>(left, 256);
        const std::size_t done = text.size();
        text.resize(done + 16 * lanes);
        left -= lanes;
        WriteLanes(text.data() + done, mLanes + left, lanes);
    }
}

/// Reads text of nothing but digits, as long as all of them count. False says that it is of another form, and leaves
/// either the field as it is or room for all digits, but no value.
bool Hexfield::CopyFromDigits(const std::string& text)
{
    constexpr std::size_t kMostDigits = 2 * 0xffff;
    if (text.size() > kMostDigits) return false;
    const std::size_t size = (text.size() + 1) / 2;
    const std::size_t whole = text.size() / 16;
    const char* first = text.data() + text.size();
    Lane lane;
    for (std::size_t i = 0; i < whole; ++i) {
        first -= 16;
        if (!detail::ReadHexLane(first, lane)) return false;
        if (i > 0) {
            mLanes[i] = lane;
            continue;
        }
        MakeRoom(LanesFor(size)); // not before: most text of other forms would not need as much
        mLanes[0] = lane;
        const std::size_t inBlocks = detail::ReadHexLanes(first, mLanes + 1, whole - 1);
        first -= 16 * inBlocks;
        i += inBlocks;
    }
    if (const std::size_t rest = text.size() % 16; rest != 0) {
        char digits[16] = {'0', '0', '0', '0', '0', '0', '0', '0', '0', '0', '0', '0', '0', '0', '0', '0'};
        text.copy(digits + 16 - rest, rest);
        if (!detail::ReadHexLane(digits, lane)) return false;
        mLanes[whole] = lane;
    }
    mSize = static_cast<std::uint16_t>(size);
    return true;
}

namespace {

using detail::IsHexDigit;

/// Whether text is two digits a byte with one other character between the bytes, and all of them count.
bool IsSeparatedBytes(const std::string& text)
{
    if (text.size() % 3 != 2 || text.size() / 3 >= 0xffff) return false;
    for (std::size_t i = detail::SkipSeparatedBytes(text.data(), text.size()); i < text.size(); i += 3) {
        if (!IsHexDigit(text[i]) || !IsHexDigit(text[i + 1])) return false;
        if (IsHexDigit(text.c_str()[i + 2])) return false; // behind the last byte there is the closing NUL
    }
    return true;
}

} // namespace

void Hexfield::CopyFromSeparatedBytes(const std::string& text)
{
    const std::size_t size = text.size() / 3 + 1;
    MakeRoom(LanesFor(size));
    mSize = static_cast<std::uint16_t>(size);
    const std::size_t whole = detail::ReadSeparatedLanes(text.data() + text.size(), mLanes, size / 8);
    const char* last = text.data() + text.size() - 2 - 24 * whole;
    for (std::size_t i = 8 * whole; i < size; i += 8) {
        Lane lane = 0;
        for (std::size_t place = 0, bytes = std::min<std::size_t>(size - i, 8); place < bytes; ++place, last -= 3) {
            lane |= Lane{detail::HexDigitValue(last[0]) << 4 | detail::HexDigitValue(last[1])} << 8 * place;
        }
        mLanes[i / 8] = lane;
    }
}

void Hexfield::CopyFromString(const std::string& text)
{
    if (CopyFromDigits(text)) return;
    if (IsSeparatedBytes(text)) return CopyFromSeparatedBytes(text);
    const auto digits = std::count_if(text.begin(), text.end(), IsHexDigit);
    const auto size = static_cast<std::uint16_t>((digits + 1) / 2);
    MakeRoom(LanesFor(size));
    mSize = size;
    const char* next = text.data() + text.size();
    auto left = std::min<std::size_t>(static_cast<std::size_t>(digits), 2 * std::size_t{size});
    for (std::size_t i = 0; i < LaneCount(); ++i) {
        mLanes[i] = 0;
        for (int shift = 0; shift < 64 && left > 0; shift += 4, --left) {
            Lane value = detail::kNoDigit;
            while (value == detail::kNoDigit) value = detail::HexDigitValue(*--next);
            mLanes[i] |= value << shift;
        }
    }
}

std::string Hexfield::ToBinaryString(bool mostSignificantFirst) const
{
    std::string text(mSize, '\0');
    CopyToByteArray(reinterpret_cast<unsigned char*>(text.data()), mostSignificantFirst);
    return text;
}

void Hexfield::CopyToByteArray(unsigned char* bytes, bool mostSignificantFirst) const noexcept
{
    const unsigned int whole = mSize / 8;
    const unsigned int rest = mSize % 8;
    if (mostSignificantFirst) {
        for (unsigned int i = rest; i-- > 0;) *bytes++ = static_cast<unsigned char>(mLanes[whole] >> 8 * i);
        for (unsigned int i = whole; i-- > 0; bytes += 8) detail::StoreBig64(bytes, mLanes[i]);
    } else {
        for (unsigned int i = 0; i < whole; ++i, bytes += 8) detail::StoreLittle(bytes, mLanes[i]);
        for (unsigned int i = 0; i < rest; ++i) *bytes++ = static_cast<unsigned char>(mLanes[whole] >> 8 * i);
    }
}

void Hexfield::CopyFromBinaryString(const std::string& text, bool mostSignificantFirst)
{
    CopyFromBytes(reinterpret_cast<const unsigned char*>(text.data()), text.size(), mostSignificantFirst);
}

void Hexfield::CopyFromByteArray(const unsigned char* bytes, unsigned int length, bool mostSignificantFirst)
{
    CopyFromBytes(bytes, length, mostSignificantFirst);
}

void Hexfield::CopyFromBytes(const unsigned char* bytes, std::size_t length, bool mostSignificantFirst)
{
    const auto size = static_cast<std::uint16_t>(length);
    MakeRoom(LanesFor(size));
    mSize = size;
    const std::size_t whole = size / 8;
    const std::size_t rest = size % 8;
    if (mostSignificantFirst) {
        for (std::size_t i = 0; i < whole; ++i) mLanes[i] = detail::LoadBig64(bytes + size - 8 * (i + 1));
        if (rest == 0) return;
        mLanes[whole] = 0;
        for (std::size_t i = 0; i < rest; ++i) mLanes[whole] = mLanes[whole] << 8 | bytes[i];
    } else {
        bytes += length - size;
        for (std::size_t i = 0; i < whole; ++i) mLanes[i] = detail::LoadLittle64(bytes + 8 * i);
        if (rest == 0) return;
        mLanes[whole] = 0;
        for (std::size_t i = rest; i-- > 0;) mLanes[whole] = mLanes[whole] << 8 | bytes[8 * whole + i];
    }
}

bool Hexfield::operator<(const Hexfield& other) const noexcept
{
    int place = mSize - 1;
    if (mSize > other.mSize) {
        // Words are looked up by byte counts here, so most of these places lie beyond the stored words.
        for (place = std::min(place, static_cast<int>(WordsFor(mSize)) - 1); place >= other.mSize; --place) {
            if (Word(static_cast<std::size_t>(place)) != 0) return false;
        }
        place = other.mSize - 1;
    }
    // A narrower field has no words at the places from its width on, so there is nothing to look at then.
    for (int i = place / 4 + (place % 4 != 0 ? 1 : 0); i >= 0; --i) {
        const std::uint32_t left = Word(static_cast<std::size_t>(i));
        const std::uint32_t right = other.Word(static_cast<std::size_t>(i));
        if (left != right) return left < right;
    }
    return false;
}

namespace {

// The sums below add right, or with kInverted its inverse, and carry to left by the carry rule of the sum, and return
// the carry. They take out and left or right at the same place. A carry can be lost only where a word is full in both
// operands, so without one whole lanes add up to the same. An inverse and a carry are a difference without a borrow.

/// Word by word.
template <bool kInverted>
[[gnu::noinline]] unsigned char AddByWords(unsigned char carry, Lane* out, const Lane* left, const Lane* right,
                                           std::size_t count) noexcept
{
    for (std::size_t i = 0; i < count; ++i) {
        const Lane addend = kInverted ? ~right[i] : right[i];
        Lane result = 0;
        for (const int shift : {0, 32}) {
            const auto a = static_cast<std::uint32_t>(left[i] >> shift);
            const auto b = static_cast<std::uint32_t>(addend >> shift);
            const std::uint32_t sum = a + b + carry;
            carry = sum < a || sum < b ? 1 : 0;
            result |= Lane{sum} << shift;
        }
        out[i] = result;
    }
    return carry;
}

/// A word that is full in the addend, as it stands in right.
template <bool kInverted>
constexpr std::uint32_t kFullAddend = kInverted ? 0 : ~0u;

constexpr bool LaneHasWord(Lane lane, std::uint32_t word) noexcept
{
    return (lane & 0xffffffff) == word || lane >> 32 == word;
}

/// What goes on from one lane to the next: the carry of a sum, the borrow of a difference, which is its opposite.
template <bool kInverted>
constexpr unsigned char ChainOf(unsigned char carry) noexcept
{
    return kInverted ? 1 - carry : carry;
}

/// One lane, where no word is full in both.
template <bool kInverted>
[[gnu::always_inline]] inline unsigned char AddLane(unsigned char chain, Lane* out, Lane left, Lane right) noexcept
{
    return kInverted ? detail::SubtractWithBorrow(chain, left, right, out)
                     : detail::AddWithCarry(chain, left, right, out);
}

/// Lane by lane, up to one with a word that is full in both.
template <bool kInverted>
[[gnu::noinline]] unsigned char AddByLanes(unsigned char chain, Lane* out, const Lane* left, const Lane* right,
                                           std::size_t count) noexcept
{
    for (std::size_t i = 0; i < count; ++i) {
        if (LaneHasWord(right[i], kFullAddend<kInverted>) && LaneHasWord(left[i], ~0u)) {
            return AddByWords<kInverted>(ChainOf<kInverted>(chain), out + i, left + i, right + i, count - i);
        }
        chain = AddLane<kInverted>(chain, out + i, left[i], right[i]);
    }
    return ChainOf<kInverted>(chain);
}

/// A block of lanes in one chain, where no word is full in both.
template <bool kInverted, std::size_t... I>
[[gnu::always_inline]] inline unsigned char AddBlock(unsigned char chain, Lane* out, const Lane* left,
                                                     const Lane* right, std::index_sequence<I...>) noexcept
{
    ((chain = AddLane<kInverted>(chain, out + I, left[I], right[I])), ...);
    return chain;
}

/// Block by block, up to one with a word that is full in both.
template <bool kInverted>
[[gnu::always_inline]] inline unsigned char AddLanes(unsigned char carry, Lane* out, const Lane* left,
                                                     const Lane* right, std::size_t count) noexcept
{
    constexpr std::size_t kBlock = detail::kBlockLanes;
    unsigned char chain = ChainOf<kInverted>(carry);
    for (; count >= kBlock; count -= kBlock, out += kBlock, left += kBlock, right += kBlock) {
        if (detail::BlockHasWord(right, kFullAddend<kInverted>) && detail::BlockHasWord(left, ~0u)) {
            return AddByWords<kInverted>(ChainOf<kInverted>(chain), out, left, right, count);
        }
        chain = AddBlock<kInverted>(chain, out, left, right, std::make_index_sequence<kBlock>());
    }
    return count == 0 ? ChainOf<kInverted>(chain) : AddByLanes<kInverted>(chain, out, left, right, count);
}

/// Writes \a lanes plus \a carry. \a out may be \a lanes.
void AddCarry(unsigned char carry, Lane* out, const Lane* lanes, std::size_t count) noexcept
{
    std::size_t i = 0;
    do { // a carry comes as often as not, but seldom goes on
        out[i] = lanes[i] + carry;
        carry = out[i] < carry ? 1 : 0;
        ++i;
    } while (i < count && carry != 0);
    if (out != lanes) std::copy(lanes + i, lanes + count, out + i);
}

/// Adds lanes of ones and \a carry, as a narrower field has when it is inverted.
void AddOnes(unsigned char carry, Lane* lanes, std::size_t count) noexcept
{
    for (std::size_t i = 0; i < count; ++i) {
        if (LaneHasWord(lanes[i], ~0u)) {
            const Lane zero = 0;
            carry = AddByWords<true>(carry, lanes + i, lanes + i, &zero, 1);
        } else if (carry == 0) {
            carry = lanes[i] != 0 ? 1 : 0;
            --lanes[i];
        }
    }
}

/// Writes \a combine of each two lanes, which works bit by bit. \a out may be either.
template <class Combine>
void CombineLanes(Lane* out, const Lane* left, const Lane* right, std::size_t count, Combine combine) noexcept
{
    std::size_t i = 0;
#pragma GCC unroll 4
    for (; count - i >= 2; i += 2) {
        detail::WordPair leftPair;
        detail::WordPair rightPair;
        std::memcpy(&leftPair, left + i, sizeof leftPair);
        std::memcpy(&rightPair, right + i, sizeof rightPair);
        leftPair = combine(leftPair, rightPair);
        std::memcpy(out + i, &leftPair, sizeof leftPair);
    }
    if (i < count) out[i] = combine(left[i], right[i]);
}

constexpr auto kOr = [](auto left, auto right) { return left | right; };
constexpr auto kAnd = [](auto left, auto right) { return left & right; };
constexpr auto kInvert = [](auto lane, auto) { return ~lane; };

} // namespace

/// Sets a field that is neither operand, of any width.
void Hexfield::SetToSum(const Hexfield& left, const Hexfield& right)
{
    const auto size = std::max(left.mSize, right.mSize);
    MakeRoom(LanesFor(size));
    mSize = size;
    SetSum(left, right);
}

void Hexfield::SetSum(const Hexfield& left, const Hexfield& right) noexcept
{
    if (left.mSize != right.mSize) return SetSumOfWidths(left, right);
    AddLanes<false>(0, mLanes, left.mLanes, right.mLanes, LaneCount());
    MaskTopLane();
}

/// The same for different widths. A function of its own, as it takes the registers that the other one saves.
[[gnu::noinline]] void Hexfield::SetSumOfWidths(const Hexfield& left, const Hexfield& right) noexcept
{
    if (left.mSize < right.mSize) return SetSumOfWidths(right, left);
    const std::size_t common = right.LaneCount();
    const std::size_t rest = LaneCount() - common;
    const unsigned char carry = AddLanes<false>(0, mLanes, left.mLanes, right.mLanes, common);
    if (rest > 0) AddCarry(carry, mLanes + common, left.mLanes + common, rest);
    MaskTopLane();
}

void Hexfield::SetAnd(const Hexfield& left, const Hexfield& right) noexcept
{
    if (left.mSize < right.mSize) return SetAnd(right, left);
    const std::size_t common = right.LaneCount();
    const std::size_t rest = LaneCount() - common;
    CombineLanes(mLanes, left.mLanes, right.mLanes, common, kAnd);
    if (rest > 0) std::fill_n(mLanes + common, rest, Lane{0});
    MaskTopLane();
}

void Hexfield::SetOr(const Hexfield& left, const Hexfield& right) noexcept
{
    if (left.mSize < right.mSize) return SetOr(right, left);
    const std::size_t common = right.LaneCount();
    const std::size_t rest = LaneCount() - common;
    CombineLanes(mLanes, left.mLanes, right.mLanes, common, kOr);
    if (rest > 0 && this != &left) std::copy_n(left.mLanes + common, rest, mLanes + common);
    MaskTopLane();
}

Hexfield Hexfield::operator+(unsigned int value) const
{
    const std::uint16_t size = value > 0xffffff ? 4 : value > 0xffff ? 3 : value > 0xff ? 2 : 1;
    const Hexfield addend(Width{size}, value);
    return MeetInOneLane(addend) ? Hexfield(WiderOf(addend), mLanes[0] + value) : Combined<&Hexfield::SetSum>(addend);
}

/// Subtracts a field that is not wider.
void Hexfield::Deduct(const Hexfield& other) noexcept
{
    // A low word that is not zero, of a field as wide, needs none of the care below.
    if (mSize != other.mSize || (other.mLanes[0] & 0xffffffff) == 0) return DeductAny(other);
    AddLanes<true>(1, mLanes, mLanes, other.mLanes, LaneCount());
    MaskTopLane();
}

[[gnu::noinline]] void Hexfield::DeductAny(const Hexfield& other) noexcept
{
    const std::size_t common = other.LaneCount();
    // The two's complement that is added is the inverse plus 1. Zero words at the low end of the subtrahend are zero in
    // it too, so the sum starts behind them, with a carry coming in for the 1. No carry is lost there: the inverse of a
    // word that is not zero is not full.
    std::size_t i = 0;
    while (i < common && other.mLanes[i] == 0) ++i;
    if (i < common) {
        unsigned char carry = 1;
        if (const Lane right = other.mLanes[i]; (right & 0xffffffff) == 0) {
            carry = mLanes[i] >= right ? 1 : 0;
            mLanes[i] -= right;
            ++i;
        }
        carry = AddLanes<true>(carry, mLanes + i, mLanes + i, other.mLanes + i, common - i);
        AddOnes(carry, mLanes + common, LaneCount() - common);
    }
    MaskTopLane();
}

void Hexfield::SetNegative(const Hexfield& field) noexcept
{
    if (mSize == 0) {
        SetOneLane(Width{1}, 1);
        return;
    }
    const std::size_t count = LaneCount();
    std::size_t i = 0;
    for (; i + 1 < count && field.mLanes[i] == 0; ++i) mLanes[i] = 0;
    mLanes[i] = -field.mLanes[i];
    ++i;
    CombineLanes(mLanes + i, field.mLanes + i, field.mLanes + i, count - i, kInvert);
    MaskTopLane();
}

Hexfield Hexfield::operator*(unsigned int factor) const
{
    Hexfield result(*this);
    return result *= factor;
}

Hexfield& Hexfield::operator*=(unsigned int factor) noexcept
{
    for (std::size_t i = 0, count = LaneCount(); i < count; ++i) {
        const Lane low = (mLanes[i] & 0xffffffff) * factor & 0xffffffff;
        mLanes[i] = (mLanes[i] >> 32) * factor << 32 | low;
    }
    MaskTopLane();
    return *this;
}

Hexfield Hexfield::operator~() const
{
    Hexfield result(Width{mSize});
    CombineLanes(result.mLanes, mLanes, mLanes, LaneCount(), kInvert);
    result.MaskTopLane();
    return result;
}

void Hexfield::MaskMultiply(unsigned int factor, const Hexfield& mask) noexcept
{
    constexpr std::size_t kPositionWords = 65536 / 32; // positions are numbers of 16 bits
    const std::size_t top = WordsFor(mSize) - 1;
    const std::uint32_t inTop = mSize % 4 != 0 ? (1u << mSize % 4 * 8) - 1 : ~0u; // the bits within the width there
    const std::size_t words = std::min({WordsFor(mSize), WordsFor(mask.mSize), kPositionWords});

    // The mask bits go by as many as are gathered in one word. What their product brings back comes to words at or
    // before the one that the next bits are gathered from, and of that one the old value is used up to its end.
    struct {
        std::size_t word;
        int place;
    } bits[32];
    std::size_t number = 0; // of the bit, from the first one on
    std::uint32_t packed = 0;
    const auto depositProduct = [&] {
        packed *= factor;
        for (std::size_t i = 0; i <= (number - 1) % 32; ++i) {
            const std::uint32_t moved = (packed & 1u << i) << bits[i].place;
            mLanes[bits[i].word / 2] |= Lane{moved} << bits[i].word % 2 * 32;
        }
        packed = 0;
    };
    for (std::size_t i = 0; i < words; ++i) {
        const std::uint32_t value = Word(i);
        for (std::uint32_t left = mask.Word(i) & (i == top ? inTop : ~0u); left != 0; left &= left - 1) {
            const int place = __builtin_ctz(left);
            packed |= (value & 1u << place) << number % 32;
            bits[number % 32] = {i, place};
            if (++number % 32 == 0) depositProduct();
        }
    }
    if (number % 32 != 0) depositProduct();
}

std::ostream& operator<<(std::ostream& out, const Hexfield& field)
{
    return out << field.ToString();
}

std::istream& operator>>(std::istream& in, Hexfield& field)
{
    std::string word;
    const bool wasBad = in.bad(); // so that there is no word left to break off
    in >> word;
    if (wasBad || !in.bad()) field.CopyFromString(word);
    return in;
}

} // namespace zor::common
