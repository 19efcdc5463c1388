#ifndef ZOR_COMMON_TESTS_FIELD_CHECKS_H
#define ZOR_COMMON_TESTS_FIELD_CHECKS_H

/// \file
/// Byte fields and bit fields, checked against the plain rules on what a test or a fuzzer draws.

#include "Random.h"

#include <common/FieldExtractor.h>
#include <common/Hexfield.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

namespace zor::common::test {

/// Whatever stands between the digits, and wherever a form that is read by steps of its own breaks off.
inline void CheckHexfieldText(Random& random)
{
    Hexfield used(random.Text("0f", random.Below(60)));
    std::string text;
    const std::size_t bytes = random.Below(60);
    const auto form = random.Below(3);
    for (std::size_t i = 0; i < bytes; ++i) {
        if (i > 0 && (form == 1 || (form == 2 && i % 2 == 0))) text += ":- g"[random.Below(4)];
        for (int k = 0; k < 2; ++k) text += "0123456789abcdefABCDEF"[random.Below(22)];
    }
    if (!text.empty() && random.Below(2) == 0) text[random.Below(text.size())] = static_cast<char>(random.Byte());
    if (random.Below(4) == 0) text.erase(0, random.Below(3));
    if (random.Below(8) == 0) text = random.Mutated(text, "09afAF:g");
    std::string digits;
    std::copy_if(text.begin(), text.end(), std::back_inserter(digits),
                 [](char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f'); });
    if (digits.size() % 2 != 0) digits.insert(0, 1, '0');
    std::transform(digits.begin(), digits.end(), digits.begin(),
                   [](char c) { return c >= 'A' && c <= 'F' ? static_cast<char>(c + ('a' - 'A')) : c; });
    used.CopyFromString(text);
    ASSERT_EQ(used.ToString(), digits) << text;
    ASSERT_EQ(Hexfield(text), used) << text;
}

/// The rules word by word, on copies made as wide as they need to be.
struct HexfieldModel {
    unsigned int size = 0;
    std::vector<std::uint32_t> words;

    void Mask()
    {
        if (size % 4 != 0) words[(size + 3) / 4 - 1] &= (1u << size % 4 * 8) - 1;
    }
    HexfieldModel At(unsigned int newSize) const
    {
        HexfieldModel result = *this;
        if (newSize == size) return result;
        result.words.resize((newSize + 3) / 4, 0);
        result.size = newSize;
        result.Mask();
        return result;
    }
    template <class Step>
    HexfieldModel With(const HexfieldModel& other, Step step) const
    {
        if (size < other.size) return other.With(*this, step);
        const HexfieldModel right = other.At(size);
        HexfieldModel result = *this;
        for (std::size_t i = 0; i < words.size(); ++i) result.words[i] = step(words[i], right.words[i]);
        result.Mask();
        return result;
    }
    HexfieldModel Plus(const HexfieldModel& other) const
    {
        std::uint32_t carry = 0;
        return With(other, [&carry](std::uint32_t a, std::uint32_t b) {
            const std::uint32_t s = a + b + carry;
            carry = s < a ? 1 : s < b ? 1 : 0;
            return s;
        });
    }
    HexfieldModel Plus(std::uint32_t value) const
    {
        return Plus(HexfieldModel{value >> 24 != 0 ? 4u : value >> 16 != 0 ? 3u : value >> 8 != 0 ? 2u : 1u, {value}});
    }
    HexfieldModel Inverted() const
    {
        HexfieldModel result = *this;
        for (std::uint32_t& word : result.words) word = ~word;
        result.Mask();
        return result;
    }
    HexfieldModel Minus(const HexfieldModel& other) const
    {
        const unsigned int width = std::max(size, other.size);
        return At(width).Plus(other.At(width).Inverted().Plus(1));
    }
    HexfieldModel Times(std::uint32_t factor) const
    {
        HexfieldModel result = *this;
        for (std::uint32_t& word : result.words) word *= factor;
        result.Mask();
        return result;
    }
    void MaskMultiply(std::uint32_t factor, const HexfieldModel& mask)
    {
        std::vector<std::pair<unsigned int, unsigned int>> pairs;
        for (unsigned int b = 0; b < size * 8 && b < 65536; ++b) {
            const bool set = b / 32 < mask.words.size() && (mask.words[b / 32] >> b % 32 & 1) != 0;
            if (set) pairs.emplace_back(b, pairs.size());
        }
        HexfieldModel packed{size, std::vector<std::uint32_t>(words.size())};
        for (const auto& [b, j] : pairs) packed.words[j / 32] |= (words[b / 32] & 1u << b % 32) << j % 32;
        packed = packed.Times(factor);
        for (const auto& [b, j] : pairs) words[b / 32] |= (packed.words[j / 32] & 1u << j % 32) << b % 32;
    }
    std::string Text() const
    {
        std::string text;
        for (unsigned int i = size; i-- > 0;) {
            for (const int shift : {4, 0}) text += "0123456789abcdef"[words[i / 4] >> (i % 4 * 8) >> shift & 15];
        }
        return text;
    }
};

/// Chains of operations, so that the bits which MaskMultiply leaves beyond the width take part in what follows.
class HexfieldChain {
public:
    void Step(Random& random)
    {
        const std::size_t a = random.Below(2);
        const std::size_t b = random.Below(2); // often the same object
        Hexfield &x = mFields[a], &y = mFields[b];
        HexfieldModel& m = mModels[a];
        const HexfieldModel n = mModels[b];
        const auto number = static_cast<unsigned int>(random.Number() >> random.Below(64));
        const auto operation = random.Below(20);
        switch (operation) {
        case 0: x += y, m = m.Plus(n); break;
        case 1: x = x + y, m = m.Plus(n); break;
        case 2: x -= y, m = m.Minus(n); break;
        case 3: x = x - y, m = m.Minus(n); break;
        case 4: x |= y, m = m.With(n, std::bit_or<std::uint32_t>()); break;
        case 5: x = x | y, m = m.With(n, std::bit_or<std::uint32_t>()); break;
        case 6: x &= y, m = m.With(n, std::bit_and<std::uint32_t>()); break;
        case 7: x = x & y, m = m.With(n, std::bit_and<std::uint32_t>()); break;
        case 8: x = x + number, m = m.Plus(number); break;
        case 9: x = ~x, m = m.Inverted(); break;
        case 10: x = -x, m = m.Inverted().Plus(1); break;
        case 11: x = x * number, m = m.Times(number); break;
        case 12: x *= number, m = m.Times(number); break;
        case 13: {
            const auto width = static_cast<unsigned int>(random.Below(random.Below(8) == 0 ? 160 : 24));
            x.normalize(static_cast<unsigned short>(width)), m = m.At(width);
            break;
        }
        case 14: {
            const auto index = static_cast<unsigned int>(random.Below(24));
            x.SetByte(index, 0xa5);
            if (index < m.size) {
                std::uint32_t& word = m.words[(m.size - 1 - index) / 4];
                const unsigned int shift = (m.size - 1 - index) % 4 * 8;
                word = (word & ~(0xffu << shift)) | 0xa5u << shift;
            }
            break;
        }
        case 15: Draw(random, x, m); break;
        default: x.MaskMultiply(number, y), m.MaskMultiply(number, n); break;
        }
        ASSERT_EQ(x.ToString(), m.Text()) << "operation " << operation;
        ASSERT_EQ(x.GetSize(), m.size) << "operation " << operation;
    }

private:
    /// Words of 00 and ff, which lose carries, and others.
    static void Draw(Random& random, Hexfield& field, HexfieldModel& model)
    {
        std::string bytes(random.Below(random.Below(8) == 0 ? 300 : 24), '\0');
        for (std::size_t i = 0, kind = 0; i < bytes.size(); ++i) {
            if ((bytes.size() - i) % 4 == 0) kind = random.Below(3);
            bytes[i] = static_cast<char>(kind == 0 ? 0 : kind == 1 ? 0xff : random.Byte());
        }
        field = Hexfield(bytes, true, true);
        model = HexfieldModel{static_cast<unsigned int>(bytes.size()), {}};
        for (unsigned int i = 0; i < (bytes.size() + 3) / 4 * 4; ++i) {
            if (i % 4 == 0) model.words.push_back(0);
            const unsigned int byte = i < bytes.size() ? static_cast<unsigned char>(bytes[bytes.size() - 1 - i]) : 0;
            model.words.back() |= byte << i % 4 * 8;
        }
    }

    Hexfield mFields[2];
    HexfieldModel mModels[2] = {{1, {0}}, {1, {0}}};
};

inline void CheckHexfield(Random& random)
{
    HexfieldChain chain;
    for (int step = 0; step < 40 && random.HasMore() && !testing::Test::HasFailure(); ++step) chain.Step(random);
}

using Bytes = std::vector<unsigned char>;

/// The field bit by bit, with zeros where the input ends. Bits of a last partial byte come from one input byte.
inline Bytes CutByBit(const Bytes& in, unsigned int offset, unsigned int length, bool aligned)
{
    if (aligned) offset -= offset % 8;
    Bytes out((length + 7) / 8);
    for (unsigned int i = 0; i < length; ++i) {
        const unsigned int from = offset + i;
        if (from / 8 >= in.size()) continue;
        if (length / 8 == i / 8 && from / 8 != (offset + i / 8 * 8) / 8) continue;
        if ((in[from / 8] & 128 >> from % 8) != 0) out[i / 8] |= static_cast<unsigned char>(128 >> i % 8);
    }
    return out;
}

inline void CheckFieldExtractor(Random& random)
{
    const std::size_t size = random.Below(random.Below(50) == 0 ? 1500 : 40);
    Bytes in(size);
    for (unsigned char& byte : in) byte = random.Byte();
    unsigned int offset = static_cast<unsigned int>(random.Below(8 * size + 20));
    if (random.Below(3) == 0) offset -= offset % 8;
    const auto length = random.Below(9) == 0 ? 64 : static_cast<unsigned int>(random.Below(8 * size + 30 - offset));
    const FieldExtractor field(offset, length);
    SCOPED_TRACE(testing::Message() << offset << ", " << length << " of " << size);

    Bytes before(random.Below(3) == 0 ? (length + 7) / 8 : random.Below(2 * size + 1), 0x5a);
    const bool reserve = random.Below(2) == 0;
    const Bytes cut = CutByBit(in, offset, length, false);
    const bool fits = offset + length <= 8 * size;
    random.accepted += fits;
    for (const bool same : {false, true}) { // whether input and output are one vector
        const Bytes start = same ? in : before;
        Bytes joined = start, source = in, out = start;
        if (reserve) out.reserve(start.size() + size + 4);
        Bytes& input = same ? out : source;
        joined.insert(joined.end(), cut.begin(), cut.end());
        ASSERT_EQ(field.ExtractField(input, out, true), fits);
        ASSERT_EQ(out, fits ? joined : start);
        out = start;
        ASSERT_EQ(field.ExtractField(input, out, false), fits);
        ASSERT_EQ(out, fits ? cut : start);
        out = start;
        field.ExtractNonByteAligned(input, out);
        ASSERT_EQ(out, joined);
        out = start;
        field.ExtractByteAligned(input, out);
        ASSERT_EQ(out, CutByBit(in, offset, length, true));
        ASSERT_EQ(source, in);
    }
}

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_FIELD_CHECKS_H
