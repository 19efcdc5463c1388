#include "Hexfield.h"

#include "BigEndian.h"
#include "Digits.h"

#include <algorithm>
#include <istream>
#include <ostream>
#include <utility>

namespace zor::common {

Hexfield::Hexfield(const std::string& text, bool binary, bool mostSignificantFirst)
{
    if (binary) {
        CopyFromBinaryString(text, mostSignificantFirst);
    } else {
        CopyFromString(text);
    }
}

Hexfield::Hexfield(Hexfield&& other) noexcept
    : mSize(std::exchange(other.mSize, static_cast<unsigned short>(0))), mWords(std::move(other.mWords))
{
    other.mWords.clear();
}

Hexfield& Hexfield::operator=(const Hexfield& other)
{
    if (this == &other) return *this;
    mWords = other.mWords; // the only step that can fail comes first, and leaves the words as they are if it does
    mSize = other.mSize;
    return *this;
}

Hexfield& Hexfield::operator=(Hexfield&& other) noexcept
{
    if (this != &other) {
        mSize = std::exchange(other.mSize, static_cast<unsigned short>(0));
        mWords.swap(other.mWords);
        other.mWords.clear();
    }
    return *this;
}

void Hexfield::normalize(unsigned short size)
{
    if (size == mSize) return;
    mWords.resize(WordsFor(size));
    mSize = size;
    MaskTopWord();
}

std::string Hexfield::ToString() const
{
    std::string text(2 * std::size_t{mSize}, '\0');
    CopyToHexArray(text.data());
    return text;
}

void Hexfield::CopyToHexArray(char* digits) const noexcept
{
    for (unsigned int place = mSize; place-- > 0;) {
        digits = detail::WriteHexByte(digits, static_cast<unsigned char>(mWords[place / 4] >> place % 4 * 8));
    }
}

void Hexfield::CopyFromString(const std::string& text)
{
    const auto digits =
        std::count_if(text.begin(), text.end(), [](char c) { return detail::HexDigitValue(c) != detail::kNoDigit; });
    const auto size = static_cast<unsigned short>((digits + 1) / 2);
    mWords.resize(WordsFor(size));
    mSize = size;
    const char* next = text.data() + text.size();
    auto left = std::min<std::size_t>(static_cast<std::size_t>(digits), 2u * size);
    for (std::uint32_t& word : mWords) {
        word = 0;
        for (int shift = 0; shift < 32 && left > 0; shift += 4, --left) {
            std::uint32_t value = detail::kNoDigit;
            while (value == detail::kNoDigit) value = detail::HexDigitValue(*--next);
            word |= value << shift;
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
    const unsigned int whole = mSize / 4;
    const unsigned int rest = mSize % 4;
    if (mostSignificantFirst) {
        for (unsigned int i = rest; i-- > 0;) *bytes++ = static_cast<unsigned char>(mWords[whole] >> 8 * i);
        for (unsigned int i = whole; i-- > 0; bytes += 4) detail::StoreBig32(bytes, mWords[i]);
    } else {
        for (unsigned int i = 0; i < whole; ++i, bytes += 4) detail::StoreLittle(bytes, mWords[i]);
        for (unsigned int i = 0; i < rest; ++i) *bytes++ = static_cast<unsigned char>(mWords[whole] >> 8 * i);
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
    const auto size = static_cast<unsigned short>(length);
    mWords.resize(WordsFor(size));
    mSize = size;
    const std::size_t whole = size / 4;
    const std::size_t rest = size % 4;
    if (mostSignificantFirst) {
        for (std::size_t i = 0; i < whole; ++i) mWords[i] = detail::LoadBig32(bytes + size - 4 * (i + 1));
        if (rest == 0) return;
        mWords[whole] = 0;
        for (std::size_t i = 0; i < rest; ++i) mWords[whole] = mWords[whole] << 8 | bytes[i];
    } else {
        bytes += length - size;
        for (std::size_t i = 0; i < whole; ++i) mWords[i] = detail::LoadLittle32(bytes + 4 * i);
        if (rest == 0) return;
        mWords[whole] = 0;
        for (std::size_t i = rest; i-- > 0;) mWords[whole] = mWords[whole] << 8 | bytes[4 * whole + i];
    }
}

bool Hexfield::operator<(const Hexfield& other) const noexcept
{
    int place = mSize - 1;
    if (mSize > other.mSize) {
        // Words are looked up by byte counts here, so most of these places lie beyond the stored words.
        for (place = std::min(place, static_cast<int>(mWords.size()) - 1); place >= other.mSize; --place) {
            if (mWords[static_cast<std::size_t>(place)] != 0) return false;
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

/// Adds zero-extended words by the carry rule of the sum; the carry out of the top is dropped.
void Hexfield::AddWords(const std::uint32_t* words, std::size_t count) noexcept
{
    std::uint32_t carry = 0;
    std::size_t i = 0;
    for (; i < count; ++i) {
        const std::uint32_t left = mWords[i];
        const std::uint32_t right = words[i];
        const std::uint32_t sum = left + right + carry;
        carry = sum < left || sum < right ? 1 : 0;
        mWords[i] = sum;
    }
    for (; carry != 0 && i < mWords.size(); ++i) {
        ++mWords[i];
        carry = mWords[i] == 0 ? 1 : 0;
    }
    MaskTopWord();
}

Hexfield Hexfield::operator+(const Hexfield& other) const
{
    const bool wider = mSize >= other.mSize;
    Hexfield result(wider ? *this : other);
    return result += wider ? other : *this;
}

Hexfield& Hexfield::operator+=(const Hexfield& other)
{
    WidenTo(other.mSize);
    AddWords(other.mWords.data(), other.mWords.size());
    return *this;
}

Hexfield Hexfield::operator+(unsigned int value) const
{
    Hexfield result(*this);
    result.WidenTo(value > 0xffffff ? 4 : value > 0xffff ? 3 : value > 0xff ? 2 : 1);
    const std::uint32_t word = value;
    result.AddWords(&word, 1);
    return result;
}

Hexfield Hexfield::operator-(const Hexfield& other) const
{
    Hexfield result(*this);
    return result -= other;
}

Hexfield& Hexfield::operator-=(const Hexfield& other)
{
    if (mSize == 0 && other.mSize == 0) return *this = -other;
    WidenTo(other.mSize);
    std::uint32_t one = 1; // the carry that turns the inverted words into the two's complement
    std::uint32_t carry = 0;
    for (std::size_t i = 0; i < mWords.size(); ++i) {
        const std::uint32_t left = mWords[i];
        const std::uint32_t right = ~other.Word(i) + one;
        one = one != 0 && right == 0 ? 1 : 0;
        const std::uint32_t sum = left + right + carry;
        carry = sum < left || sum < right ? 1 : 0;
        mWords[i] = sum;
    }
    MaskTopWord();
    return *this;
}

Hexfield Hexfield::operator-() const
{
    return ~*this + 1;
}

Hexfield Hexfield::operator*(unsigned int factor) const
{
    Hexfield result(*this);
    return result *= factor;
}

Hexfield& Hexfield::operator*=(unsigned int factor) noexcept
{
    for (std::uint32_t& word : mWords) word *= factor;
    MaskTopWord();
    return *this;
}

Hexfield Hexfield::operator~() const
{
    Hexfield result(*this);
    for (std::uint32_t& word : result.mWords) word = ~word;
    result.MaskTopWord();
    return result;
}

Hexfield Hexfield::operator|(const Hexfield& other) const
{
    const bool wider = mSize >= other.mSize;
    Hexfield result(wider ? *this : other);
    return result |= wider ? other : *this;
}

Hexfield& Hexfield::operator|=(const Hexfield& other)
{
    WidenTo(other.mSize);
    for (std::size_t i = 0; i < other.mWords.size(); ++i) mWords[i] |= other.mWords[i];
    MaskTopWord();
    return *this;
}

Hexfield Hexfield::operator&(const Hexfield& other) const
{
    const bool wider = mSize >= other.mSize;
    Hexfield result(wider ? *this : other);
    return result &= wider ? other : *this;
}

Hexfield& Hexfield::operator&=(const Hexfield& other)
{
    WidenTo(other.mSize);
    const std::size_t common = other.mWords.size();
    for (std::size_t i = 0; i < common; ++i) mWords[i] &= other.mWords[i];
    std::fill(mWords.begin() + static_cast<std::ptrdiff_t>(common), mWords.end(), 0u);
    MaskTopWord();
    return *this;
}

void Hexfield::MaskMultiply(unsigned int factor, const Hexfield& mask)
{
    constexpr std::size_t kPositionWords = 65536 / 32; // positions are numbers of 16 bits
    const std::size_t words = std::min({mWords.size(), mask.mWords.size(), kPositionWords});

    // Calls visit(word index, place in the word, number of the bit) for each mask bit within the field's width.
    const auto forEachBit = [&](auto visit) {
        unsigned int number = 0;
        for (std::size_t i = 0; i < words; ++i) {
            std::uint32_t bits = mask.mWords[i];
            if (i == mWords.size() - 1 && mSize % 4 != 0) bits &= (1u << mSize % 4 * 8) - 1;
            for (; bits != 0; bits &= bits - 1) visit(i, __builtin_ctz(bits), number++);
        }
    };

    Hexfield packed(*this);
    std::fill(packed.mWords.begin(), packed.mWords.end(), 0u);
    forEachBit([&](std::size_t i, int place, unsigned int number) {
        packed.mWords[number / 32] |= (mWords[i] & 1u << place) << number % 32;
    });
    packed *= factor;
    forEachBit([&](std::size_t i, int place, unsigned int number) {
        mWords[i] |= (packed.mWords[number / 32] & 1u << number % 32) << place;
    });
}

std::ostream& operator<<(std::ostream& out, const Hexfield& field)
{
    return out << field.ToString();
}

std::istream& operator>>(std::istream& in, Hexfield& field)
{
    std::string word;
    in >> word;
    field.CopyFromString(word);
    return in;
}

} // namespace zor::common
