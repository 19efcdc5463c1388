#ifndef ZOR_COMMON_HEXFIELD_H
#define ZOR_COMMON_HEXFIELD_H

/// \file
/// Hexfield, a byte field of any width up to 65535 bytes, read as one number.

#include "Export.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iosfwd>
#include <new>
#include <string>
#include <string_view>
#include <utility>

namespace zor::common {

namespace detail {

struct FieldDefinition;

} // namespace detail

/// A field of packet bytes of 0 to 65535 bytes, read and written as one unsigned big-endian number.
///
/// Byte 0 is the first and most significant byte. Results wrap modulo 256 to the power of the width and report nothing.
/// If operands have different widths, the narrower one is extended by zero bytes in front, and the result has the
/// larger width. Only a failed allocation throws, and then the field is as it was. Distinct objects may be used from
/// distinct threads; both operands may be the same object.
/// \code
/// Hexfield counter("00ff");
/// counter += Hexfield("01");                // 0100
/// counter.ToString();                       // "0100"
/// counter.ToBinaryString(true);             // two characters, codes 1 and 0
/// (counter - Hexfield("0101")).ToString();  // "ffff"
/// \endcode
///
/// A field of up to 16 bytes is stored in the object and allocates nothing. A wider field keeps its capacity when it
/// gets narrower or when a narrower field is assigned to it.
///
/// Some operations work on the 32-bit words of the field, counted from the least significant end. Their results stay as
/// they are, because existing callers rely on them:
///
/// | operation | result | for |
/// |---|---|---|
/// | sum, difference | the carry out of a word is lost if both words are 0xffffffff and a carry comes in | widths above 8 bytes |
/// | product | each word is multiplied separately, without carries between words | widths above 4 bytes |
/// | `<`, `<=`, `>`, `>=` | numeric for equal widths; for different widths some words are ignored | widths above 4 bytes |
/// | `==` | fields of different widths are never equal | all widths |
/// | MaskMultiply() | a bit moves by the sum of its two positions in their words | masks above bit 0 |
class ZOR_COMMON_API Hexfield {
public:
    /// \name Construction and copying
    /// \{

    /// The one-byte field 00.
    Hexfield() noexcept : Hexfield(Width{1}, 0) {}

    /// Reads hexadecimal text, as CopyFromString() does.
    Hexfield(const std::string& text) { CopyFromString(text); }

    /// If \a binary is true, the characters are the bytes, as for CopyFromBinaryString(text, mostSignificantFirst).
    /// Otherwise \a text is hexadecimal and \a mostSignificantFirst is not used.
    Hexfield(const std::string& text, bool binary, bool mostSignificantFirst);

    /// A field of the same width and value.
    Hexfield(const Hexfield& other) : Hexfield(Width{other.mSize}) { CopyLanes(other); }

    Hexfield(Hexfield&& other) noexcept { Take(other); } ///< Leaves \a other with width 0.

    /// Copies width and value. If an allocation fails, this field stays as it is.
    Hexfield& operator=(const Hexfield& other)
    {
        if (this == &other) return *this;
        MakeRoom(other.LaneCount());
        mSize = other.mSize;
        CopyLanes(other);
        return *this;
    }

    /// Leaves \a other with width 0.
    Hexfield& operator=(Hexfield&& other) noexcept
    {
        if (this != &other) Take(other);
        return *this;
    }

    ~Hexfield() { FreeRoom(); } ///< Frees the memory of a wide field.

    /// \}
    /// \name Bytes
    /// \{

    /// The width in bytes.
    unsigned short GetSize() const noexcept { return mSize; }

    /// Byte \a index, counted from the most significant byte; 0 for an index beyond the width.
    unsigned char GetByte(unsigned int index) const noexcept
    {
        if (index >= mSize) return 0;
        const unsigned int place = mSize - 1u - index;
        return static_cast<unsigned char>(mLanes[place / 8] >> place % 8 * 8);
    }

    /// Replaces byte \a index, counted from the most significant byte; does nothing for an index beyond the width.
    void SetByte(unsigned int index, unsigned char value) noexcept
    {
        if (index >= mSize) return;
        const unsigned int place = mSize - 1u - index;
        Lane& lane = mLanes[place / 8];
        lane = (lane & ~(Lane{0xff} << place % 8 * 8)) | Lane{value} << place % 8 * 8;
    }

    /// Changes the width and keeps the value modulo 256^size: bytes are added and removed at the most significant end.
    void normalize(unsigned short size);

    /// \}
    /// \name Text and byte strings
    /// \{

    /// Two lower-case hex digits for each byte, without prefix or separators; empty for width 0.
    std::string ToString() const
    {
        std::string text(mSize > kWide ? 0 : 2 * std::size_t{mSize}, '\0');
        if (mSize > kWide) {
            AppendTo(text);
        } else {
            CopyToHexArray(text.data());
        }
        return text;
    }

    /// Reads hexadecimal text of any length, in upper and lower case. All other characters are skipped, and an odd
    /// number of digits gets a zero in front. The width becomes half the number of digits, rounded up, modulo 65536; of
    /// a longer text the last bytes are kept. Without digits the width is 0. A prefix has no meaning: the 0 of "0x12"
    /// is a digit, so the bytes are 00 12.
    void CopyFromString(const std::string& text);

    /// One character for each byte; the first one is the most or the least significant byte.
    std::string ToBinaryString(bool mostSignificantFirst) const;

    /// The inverse of ToBinaryString(); see CopyFromByteArray() for more than 65535 characters.
    void CopyFromBinaryString(const std::string& text, bool mostSignificantFirst);

    /// Reads \a length bytes, of which the first is the most or the least significant one. The width becomes the length
    /// modulo 65536. Of a longer array, the first bytes are kept if the most significant byte comes first, otherwise
    /// the last ones.
    void CopyFromByteArray(const unsigned char* bytes, unsigned int length, bool mostSignificantFirst);

    /// Writes exactly GetSize() bytes, the same as ToBinaryString() returns.
    void CopyToByteArray(unsigned char* bytes, bool mostSignificantFirst) const noexcept;

    /// Writes exactly 2 * GetSize() characters, the same as ToString() returns.
    void CopyToHexArray(char* digits) const noexcept;

    /// \}
    /// \name Comparison
    /// `!=` is the opposite of `==`, and `>`, `<=` and `>=` are defined by `<`.
    /// \{

    /// Whether widths and values are equal: false for 01 and 00 01.
    bool operator==(const Hexfield& other) const noexcept
    {
        return mSize == other.mSize && std::equal(mLanes, mLanes + LaneCount(), other.mLanes);
    }
    bool operator!=(const Hexfield& other) const noexcept { return !(*this == other); }

    /// Numeric for fields of the same width.
    ///
    /// For different widths, let w be the smaller width in bytes. A wider left field with a non-zero word at index w or
    /// above is not less. Otherwise the words from index (w - 1) / 4, rounded up, down to 0 decide (from index 1 if w
    /// is 0), and missing words are zero. Words of the wider field between these two ranges are ignored: the 12 bytes
    /// 01 00...00 are less than the 4 bytes 00 00 00 05.
    bool operator<(const Hexfield& other) const noexcept;
    bool operator>(const Hexfield& other) const noexcept { return other < *this; }
    bool operator<=(const Hexfield& other) const noexcept { return !(other < *this); }
    bool operator>=(const Hexfield& other) const noexcept { return !(*this < other); }

    /// \}
    /// \name Arithmetic
    /// \{

    /// The sum, word by word from the least significant word. The carry out of a word is 1 if the sum is below the word
    /// of either operand; so it is 0 if both words are 0xffffffff and a carry comes in.
    Hexfield operator+(const Hexfield& other) const
    {
        if (MeetInOneLane(other)) return Hexfield(WiderOf(other), mLanes[0] + other.mLanes[0]);
        if (MeetInTwoLanes(other) && !MayLoseCarry(other.mLanes[0], other.mLanes[1])) {
            const Lane low = mLanes[0] + other.mLanes[0];
            return Hexfield(Width{mSize}, low, mLanes[1] + other.mLanes[1] + (low < mLanes[0] ? 1 : 0));
        }
        return Combined<&Hexfield::SetSum>(other);
    }

    /// Widens this field to \a other's width first if that is larger.
    Hexfield& operator+=(const Hexfield& other)
    {
        if (MeetInOneLane(other)) return SetOneLane(WiderOf(other), mLanes[0] + other.mLanes[0]);
        if (MeetInTwoLanes(other) && !MayLoseCarry(other.mLanes[0], other.mLanes[1])) {
            const Lane low = mLanes[0] + other.mLanes[0];
            return SetTwoLanes(low, mLanes[1] + other.mLanes[1] + (low < mLanes[0] ? 1 : 0));
        }
        return CombineWith<&Hexfield::SetSum>(other);
    }

    /// The sum with \a value as a field of 1 to 4 bytes, as many as it needs: 05 + 0x1234 is 12 39.
    Hexfield operator+(unsigned int value) const;

    /// The sum with the two's complement of \a other, by the carry rule of the sum. So above 8 bytes, a word 0xffffffff
    /// of this field from which nothing is borrowed loses the carry, even if a small number is subtracted: 00000001
    /// ffffffff 00000005 minus 01 is 00000000 ffffffff 00000004. The difference of two fields of width 0 is the
    /// one-byte field 01, since the complement of width 0 is 01.
    Hexfield operator-(const Hexfield& other) const
    {
        Hexfield result(*this);
        return result -= other;
    }

    /// Widens this field to \a other's width first if that is larger.
    Hexfield& operator-=(const Hexfield& other)
    {
        if (MeetInOneLane(other)) return SetOneLane(WiderOf(other), mLanes[0] - other.mLanes[0]);
        if (MeetInTwoLanes(other) && !MayLoseCarry(~other.mLanes[0], ~other.mLanes[1])) {
            const Lane borrow = mLanes[0] < other.mLanes[0] ? 1 : 0;
            return SetTwoLanes(mLanes[0] - other.mLanes[0], mLanes[1] - other.mLanes[1] - borrow);
        }
        return Subtract(other);
    }

    /// The two's complement at the same width; for width 0 the one-byte field 01.
    Hexfield operator-() const { return MeetInOneLane(*this) ? Hexfield(Width{mSize}, -mLanes[0]) : Negative(); }

    /// Each 32-bit word times \a factor modulo 2^32, without carries between words; for up to 4 bytes this is the
    /// product. 00 00 00 01 80 00 00 00 times 2 is 00 00 00 02 00 00 00 00.
    Hexfield operator*(unsigned int factor) const;
    Hexfield& operator*=(unsigned int factor) noexcept; ///< The same in place.

    /// \}
    /// \name Bits
    /// Each bit by itself; the result has the larger width.
    /// \{

    Hexfield operator~() const; ///< Every byte inverted.

    Hexfield operator|(const Hexfield& other) const
    {
        if (MeetInOneLane(other)) return Hexfield(WiderOf(other), mLanes[0] | other.mLanes[0]);
        if (!MeetInTwoLanes(other)) return Combined<&Hexfield::SetOr>(other);
        return Hexfield(Width{mSize}, mLanes[0] | other.mLanes[0], mLanes[1] | other.mLanes[1]);
    }

    /// Widens this field to \a other's width first if that is larger.
    Hexfield& operator|=(const Hexfield& other)
    {
        if (MeetInOneLane(other)) return SetOneLane(WiderOf(other), mLanes[0] | other.mLanes[0]);
        if (!MeetInTwoLanes(other)) return CombineWith<&Hexfield::SetOr>(other);
        mLanes[0] |= other.mLanes[0];
        mLanes[1] |= other.mLanes[1];
        MaskTopLane();
        return *this;
    }

    /// The leading bytes of the wider operand become 0.
    Hexfield operator&(const Hexfield& other) const
    {
        if (MeetInOneLane(other)) return Hexfield(WiderOf(other), mLanes[0] & other.mLanes[0]);
        if (!MeetInTwoLanes(other)) return Combined<&Hexfield::SetAnd>(other);
        return Hexfield(Width{mSize}, mLanes[0] & other.mLanes[0], mLanes[1] & other.mLanes[1]);
    }

    /// Widens this field to \a other's width first if that is larger.
    Hexfield& operator&=(const Hexfield& other)
    {
        if (MeetInOneLane(other)) return SetOneLane(WiderOf(other), mLanes[0] & other.mLanes[0]);
        if (!MeetInTwoLanes(other)) return CombineWith<&Hexfield::SetAnd>(other);
        mLanes[0] &= other.mLanes[0];
        mLanes[1] &= other.mLanes[1];
        MaskTopLane();
        return *this;
    }

    /// Gathers the bits set in \a mask, multiplies them and ORs the product back into this field.
    ///
    /// Bit k is bit k % 32 of word k / 32, both counted from the least significant end. The j-th bit set in the mask,
    /// at position b, is moved from bit b % 32 of word b / 32 to bit b % 32 + j % 32 of word j / 32 of another field,
    /// which is multiplied as by `*`. Then bit j % 32 of its word j / 32 is moved to bit j % 32 + b % 32 of word b /
    /// 32. Bits that would leave a word are lost. If the mask has at most one bit in each word, at bit 0, the operation
    /// is a plain gather and deposit of the first bit. No bit of this field is cleared, and bits beyond the width that
    /// get into the top word stay in it: no text shows them, but later operations may.
    ///
    /// \param mask  positions beyond its width count as zero, and so do positions from 65536 on.
    void MaskMultiply(unsigned int factor, const Hexfield& mask) noexcept;

    /// \}

private:
    friend struct std::hash<Hexfield>;
    friend struct detail::FieldDefinition;

    /// 64 bits of the value, as the type that the add-with-carry instruction is written with.
    using Lane = unsigned long long;

    /// Lanes that fit in the object itself.
    static constexpr std::uint16_t kInsideLanes = 2;

    /// Fields wider than this, in bytes, are converted to text in pieces.
    static constexpr std::size_t kWide = 8192;

    /// A width in bytes, to make a field of it.
    enum class Width : std::uint16_t {};

    /// A field whose bytes are not set.
    explicit Hexfield(Width width) : mSize(static_cast<std::uint16_t>(width))
    {
        const std::size_t lanes = LaneCount();
        if (lanes <= kInsideLanes) return;
        mLanes = Allocate(lanes);
        mCapacity = static_cast<std::uint16_t>(lanes);
    }

    /// A field of 1 to 8 bytes.
    Hexfield(Width width, Lane lane) noexcept : mSize(static_cast<std::uint16_t>(width))
    {
        mLanes[0] = lane & TopMask();
    }

    /// A field of 9 to 16 bytes.
    Hexfield(Width width, Lane low, Lane high) noexcept : mSize(static_cast<std::uint16_t>(width))
    {
        mLanes[0] = low;
        mLanes[1] = high & TopMask();
    }

    // Fields of 1 to 8 bytes meet in one addition of 64 bits: a carry that the rule of the sum loses would only leave
    // the top word, and is dropped.
    bool MeetInOneLane(const Hexfield& other) const noexcept { return mSize - 1u < 8 && other.mSize - 1u < 8; }
    Width WiderOf(const Hexfield& other) const noexcept { return Width{std::max(mSize, other.mSize)}; }
    Hexfield& SetOneLane(Width width, Lane lane) noexcept
    {
        // A store that changes nothing would keep the next operation on this field waiting.
        if (Width{mSize} != width) mSize = static_cast<std::uint16_t>(width);
        mLanes[0] = lane & TopMask();
        return *this;
    }

    // Fields of one width of 9 to 16 bytes, those of IPv6 addresses, meet in two, unless a word that a carry may come
    // into is full in both. It pays: through the functions for any width, sums in place take 2.4 times as long,
    // differences 3 times, and bits 1.5 times.
    bool MeetInTwoLanes(const Hexfield& other) const noexcept { return mSize - 9u < 8 && mSize == other.mSize; }
    bool MayLoseCarry(Lane low, Lane high) const noexcept
    {
        constexpr Lane kFullWord = 0xffffffff;
        return (mLanes[0] & low) >> 32 == kFullWord || (mLanes[1] & high & kFullWord) == kFullWord;
    }
    Hexfield& SetTwoLanes(Lane low, Lane high) noexcept
    {
        mLanes[0] = low;
        mLanes[1] = high;
        MaskTopLane();
        return *this;
    }

    static constexpr std::size_t LanesFor(std::size_t size) noexcept { return (size + 7) / 8; }
    static constexpr std::size_t WordsFor(std::size_t size) noexcept { return (size + 3) / 4; }
    std::size_t LaneCount() const noexcept { return LanesFor(mSize); }

    /// The 32-bit word at an index, zero beyond the width.
    std::uint32_t Word(std::size_t index) const noexcept
    {
        return index < WordsFor(mSize) ? static_cast<std::uint32_t>(mLanes[index / 2] >> index % 2 * 32) : 0;
    }

    /// The bits of the top lane that lie within the width.
    Lane TopMask() const noexcept { return ~Lane{0} >> (64 - mSize % 8 * 8) % 64; }

    /// Clears the bits beyond the width.
    void MaskTopLane() noexcept
    {
        if (mSize % 8 != 0) mLanes[mSize / 8] &= TopMask();
    }

    void WidenTo(std::uint16_t size)
    {
        if (mSize < size) normalize(size);
    }

    /// Makes room for \a lanes of them, the first \a kept of which keep their values.
    void MakeRoom(std::size_t lanes, std::size_t kept = 0)
    {
        if (lanes > mCapacity) MakeRoomOutside(lanes, kept);
    }

    static Lane* Allocate(std::size_t lanes) { return static_cast<Lane*>(::operator new(lanes * sizeof(Lane))); }

    void FreeRoom() noexcept
    {
        if (mLanes != mInside) ::operator delete(mLanes);
    }

    void CopyLanes(const Hexfield& other) noexcept
    {
        const std::size_t count = LaneCount();
        if (count > kInsideLanes) {
            std::memcpy(mLanes, other.mLanes, count * sizeof(Lane));
        } else {
            for (std::size_t i = 0; i < count; ++i) mLanes[i] = other.mLanes[i];
        }
    }

    void Take(Hexfield& other) noexcept
    {
        mSize = std::exchange(other.mSize, std::uint16_t{0});
        if (other.mLanes == other.mInside) {
            CopyLanes(other);
        } else {
            FreeRoom();
            mLanes = std::exchange(other.mLanes, other.mInside);
            mCapacity = std::exchange(other.mCapacity, kInsideLanes);
        }
    }

    void MakeRoomOutside(std::size_t lanes, std::size_t kept);
    void AppendTo(std::string& text) const;
    ZOR_COMMON_LOCAL char* WriteTopLane(char* digits) const noexcept;
    ZOR_COMMON_LOCAL bool CopyFromDigits(const std::string& text);
    ZOR_COMMON_LOCAL void CopyFromSeparatedBytes(const std::string& text);
    ZOR_COMMON_LOCAL void CopyFromBytes(const unsigned char* bytes, std::size_t length, bool mostSignificantFirst);

    // The operators for any width. Set...() fills a field of the wider width, which may be an operand of that width.
    template <auto kSet>
    Hexfield Combined(const Hexfield& other) const
    {
        Hexfield result(WiderOf(other));
        (result.*kSet)(*this, other);
        return result;
    }
    template <auto kSet>
    Hexfield& CombineWith(const Hexfield& other)
    {
        WidenTo(other.mSize);
        (this->*kSet)(*this, other);
        return *this;
    }
    Hexfield& Subtract(const Hexfield& other)
    {
        if (mSize == 0 && other.mSize == 0) return SetOneLane(Width{1}, 1);
        WidenTo(other.mSize);
        Deduct(other);
        return *this;
    }
    Hexfield Negative() const
    {
        Hexfield result(Width{mSize});
        result.SetNegative(*this);
        return result;
    }
    void Deduct(const Hexfield& other) noexcept;
    ZOR_COMMON_LOCAL void DeductAny(const Hexfield& other) noexcept;
    void SetNegative(const Hexfield& field) noexcept;
    ZOR_COMMON_LOCAL void SetToSum(const Hexfield& left, const Hexfield& right);
    void SetSum(const Hexfield& left, const Hexfield& right) noexcept;
    ZOR_COMMON_LOCAL void SetSumOfWidths(const Hexfield& left, const Hexfield& right) noexcept;
    void SetAnd(const Hexfield& left, const Hexfield& right) noexcept;
    void SetOr(const Hexfield& left, const Hexfield& right) noexcept;

    /// The value, the least significant lane first, in LaneCount() lanes. The bits beyond the width are zero, except for
    /// those that MaskMultiply() leaves in the top word.
    Lane* mLanes = mInside;
    Lane mInside[kInsideLanes];
    std::uint16_t mSize = 0; ///< In bytes.
    std::uint16_t mCapacity = kInsideLanes;
};

/// Writes ToString().
ZOR_COMMON_API std::ostream& operator<<(std::ostream& out, const Hexfield& field);

/// Reads one word delimited by white space and passes it to Hexfield::CopyFromString(). If there is no word left, it
/// passes an empty text, so the width becomes 0. If the stream fails with badbit in the middle of a word, the field
/// does not change.
ZOR_COMMON_API std::istream& operator>>(std::istream& in, Hexfield& field);

} // namespace zor::common

/// Hashes the bytes and the width, so equal fields have the same hash. For fields of several widths use unordered
/// containers: `<` orders only fields of the same width.
template <>
struct std::hash<zor::common::Hexfield> {
    std::size_t operator()(const zor::common::Hexfield& field) const noexcept
    {
        const std::string_view value(reinterpret_cast<const char*>(field.mLanes),
                                     field.LaneCount() * sizeof *field.mLanes);
        return std::hash<std::string_view>()(value) + field.mSize;
    }
};

#endif // ZOR_COMMON_HEXFIELD_H
