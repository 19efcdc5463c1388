#ifndef ZOR_COMMON_HEXFIELD_H
#define ZOR_COMMON_HEXFIELD_H

/// \file
/// Hexfield, a byte field of any width up to 65535 bytes, read as one number.

#include "Export.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace zor::common {

/// A field of packet bytes of 0 to 65535 bytes, read and written as one unsigned big-endian number.
///
/// Byte 0 is the first and most significant one. Results wrap modulo 256 to the power of the width and report
/// nothing. Operands of different widths meet as if the narrower had zero bytes in front, and the result has the
/// larger width. Only running out of memory throws, and then the field is as it was. Distinct objects may be used
/// from distinct threads; operands may be one object.
/// \code
/// Hexfield counter("00ff");
/// counter += Hexfield("01");                // 0100
/// counter.ToString();                       // "0100"
/// counter.ToBinaryString(true);             // two characters, codes 1 and 0
/// (counter - Hexfield("0101")).ToString();  // "ffff"
/// \endcode
///
/// The field is kept as 32-bit words, and some results show it. They are relied on and stay:
///
/// | operation | what to know | where it matters |
/// |---|---|---|
/// | sum, difference | a carry is lost behind two words 0xffffffff with a carry coming in | above 4 bytes |
/// | product | each word by itself: no carry from one word to the next | above 4 bytes |
/// | `<` and its kin | numeric for equal widths; of different widths some words are passed over | above 4 bytes |
/// | `==` | fields of different widths are never equal | always |
/// | MaskMultiply() | a bit moves by the sum of its two places in their words | masks above bit 0 |
class ZOR_COMMON_API Hexfield {
public:
    /// \name Construction and copying
    /// \{

    /// The one-byte field 00.
    Hexfield() : mSize(1), mWords(1) {}

    /// Reads hexadecimal text, as CopyFromString() does.
    Hexfield(const std::string& text) { CopyFromString(text); }

    /// With \a binary, the characters are the bytes, as for CopyFromBinaryString(text, mostSignificantFirst);
    /// without, \a text is hexadecimal and \a mostSignificantFirst is not used.
    Hexfield(const std::string& text, bool binary, bool mostSignificantFirst);

    Hexfield(const Hexfield&) = default;
    Hexfield(Hexfield&& other) noexcept; ///< Leaves \a other with width 0.
    Hexfield& operator=(const Hexfield& other);
    Hexfield& operator=(Hexfield&& other) noexcept; ///< Leaves \a other with width 0.
    ~Hexfield() = default;

    /// \}
    /// \name Bytes
    /// \{

    /// The width in bytes.
    unsigned short GetSize() const noexcept { return mSize; }

    /// Byte \a index, counted from the most significant one; 0 from the width on.
    unsigned char GetByte(unsigned int index) const noexcept
    {
        if (index >= mSize) return 0;
        const unsigned int place = mSize - 1u - index;
        return static_cast<unsigned char>(mWords[place / 4] >> place % 4 * 8);
    }

    /// Replaces byte \a index, counted from the most significant one; does nothing from the width on.
    void SetByte(unsigned int index, unsigned char value) noexcept
    {
        if (index >= mSize) return;
        const unsigned int place = mSize - 1u - index;
        std::uint32_t& word = mWords[place / 4];
        word = (word & ~(0xffu << place % 4 * 8)) | static_cast<std::uint32_t>(value) << place % 4 * 8;
    }

    /// Changes the width and keeps the value modulo 256^size: bytes come and go at the most significant end.
    void normalize(unsigned short size);

    /// \}
    /// \name Text and byte strings
    /// \{

    /// Two lower-case hex digits a byte, without prefix or separators; nothing for width 0.
    std::string ToString() const;

    /// Reads hexadecimal text of any length: digits of both cases count, every other character is skipped, an odd
    /// number of digits gets a zero in front. The width becomes half the number of digits, rounded up, modulo
    /// 65536; the last bytes of a longer text are kept. Without digits the width is 0. No prefix is known: the 0 of
    /// "0x12" is a digit, so that reads as 00 12.
    void CopyFromString(const std::string& text);

    /// One character a byte, the first one being the most or the least significant byte.
    std::string ToBinaryString(bool mostSignificantFirst) const;

    /// The inverse of ToBinaryString(); see CopyFromByteArray() for more than 65535 characters.
    void CopyFromBinaryString(const std::string& text, bool mostSignificantFirst);

    /// Reads \a length bytes, the first one being the most or the least significant one. The width becomes the
    /// length modulo 65536. Of more bytes than that, the first ones are kept when the most significant comes first,
    /// the last ones otherwise.
    void CopyFromByteArray(const unsigned char* bytes, unsigned int length, bool mostSignificantFirst);

    /// Writes exactly GetSize() bytes, the same as ToBinaryString() returns.
    void CopyToByteArray(unsigned char* bytes, bool mostSignificantFirst) const noexcept;

    /// Writes exactly 2 * GetSize() characters, the same as ToString() returns.
    void CopyToHexArray(char* digits) const noexcept;

    /// \}
    /// \name Comparison
    /// \{

    /// Whether widths and values are equal: 01 and 00 01 are not.
    bool operator==(const Hexfield& other) const noexcept { return mSize == other.mSize && mWords == other.mWords; }
    bool operator!=(const Hexfield& other) const noexcept { return !(*this == other); }

    /// Numeric for fields of one width.
    ///
    /// For different widths, w being the narrower one in bytes, a wider left field with a non-zero word at an index of
    /// w or above is not less. Then the words decide from index (w - 1) / 4, rounded up, down to 0 (from 1 where w is
    /// 0), missing ones reading as zero. Words of the wider field between the two ranges are passed over: the 12 bytes
    /// 01 00...00 are less than the 4 bytes 00 00 00 05.
    bool operator<(const Hexfield& other) const noexcept;
    bool operator>(const Hexfield& other) const noexcept { return other < *this; }
    bool operator<=(const Hexfield& other) const noexcept { return !(other < *this); }
    bool operator>=(const Hexfield& other) const noexcept { return !(*this < other); }

    /// \}
    /// \name Arithmetic
    /// \{

    /// The sum, word by word from the least significant one. The carry out of a word is 1 when the sum is below
    /// either operand's word; so it is 0 where both words are 0xffffffff and a carry comes in.
    Hexfield operator+(const Hexfield& other) const;
    Hexfield& operator+=(const Hexfield& other); ///< Widens this field to \a other's width first if that is larger.

    /// The sum with \a value as a field of 1 to 4 bytes, as many as it needs: 05 + 0x1234 is 12 39.
    Hexfield operator+(unsigned int value) const;

    /// The sum with the two's complement of \a other, by the carry rule of the sum. Two fields of width 0 give the
    /// one-byte field 01, the complement of nothing being that.
    Hexfield operator-(const Hexfield& other) const;
    Hexfield& operator-=(const Hexfield& other); ///< Widens this field to \a other's width first if that is larger.

    /// The two's complement at the same width; for width 0 the one-byte field 01.
    Hexfield operator-() const;

    /// Each 32-bit word times \a factor modulo 2^32, without carries between words; for up to 4 bytes this is the
    /// product. 00 00 00 01 80 00 00 00 times 2 is 00 00 00 02 00 00 00 00.
    Hexfield operator*(unsigned int factor) const;
    Hexfield& operator*=(unsigned int factor) noexcept;

    /// \}
    /// \name Bits
    /// \{

    Hexfield operator~() const; ///< Every byte inverted.

    Hexfield operator|(const Hexfield& other) const;
    Hexfield& operator|=(const Hexfield& other); ///< Widens this field to \a other's width first if that is larger.

    /// The leading bytes of the wider operand become 0.
    Hexfield operator&(const Hexfield& other) const;
    Hexfield& operator&=(const Hexfield& other); ///< Widens this field to \a other's width first if that is larger.

    /// Gathers the bits set in \a mask, multiplies them and ORs the product back into this field.
    ///
    /// Bit k is bit k % 32 of word k / 32, both counted from the least significant end. The j-th bit set in the
    /// mask, at position b, is gathered from place b % 32 of word b / 32 to place b % 32 + j % 32 of word j / 32; the
    /// gathered field is multiplied as by `*`; then place j % 32 of its word j / 32 goes to place j % 32 + b % 32 of
    /// word b / 32. What would leave a word is lost. With at most one mask bit a word, at place 0, that is a plain
    /// gather and deposit of the first of them. No bit of this field is cleared, and bits beyond the width that
    /// arrive in the top word stay in it: no text shows them, but later operations may.
    ///
    /// \param mask  positions beyond it count as zero, and so do positions from 65536 on.
    void MaskMultiply(unsigned int factor, const Hexfield& mask);

    /// \}

private:
    static constexpr std::size_t WordsFor(unsigned int size) noexcept { return (size + 3) / 4; }

    /// The word at an index, zero beyond the stored ones.
    std::uint32_t Word(std::size_t index) const noexcept { return index < mWords.size() ? mWords[index] : 0; }

    /// Clears the bits beyond the width in the top word.
    void MaskTopWord() noexcept
    {
        if (mSize % 4 != 0) mWords.back() &= (1u << mSize % 4 * 8) - 1;
    }

    void WidenTo(unsigned short size)
    {
        if (mSize < size) normalize(size);
    }

    void CopyFromBytes(const unsigned char* bytes, std::size_t length, bool mostSignificantFirst);
    void AddWords(const std::uint32_t* words, std::size_t count) noexcept;

    unsigned short mSize = 0;          ///< In bytes.
    std::vector<std::uint32_t> mWords; ///< Least significant word first, WordsFor(mSize) of them.
};

/// Writes ToString().
ZOR_COMMON_API std::ostream& operator<<(std::ostream& out, const Hexfield& field);

/// Reads one word delimited by white space and passes it to Hexfield::CopyFromString(). Where there is no word left,
/// that is the empty text, which gives width 0.
ZOR_COMMON_API std::istream& operator>>(std::istream& in, Hexfield& field);

} // namespace zor::common

#endif // ZOR_COMMON_HEXFIELD_H
