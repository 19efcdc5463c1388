#ifndef ZOR_COMMON_TESTS_HEXFIELD_MODEL_H
#define ZOR_COMMON_TESTS_HEXFIELD_MODEL_H

/// \file
/// A byte field by the plain rules.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace zor::common::test {

/// The rules word by word, on copies made as wide as they need to be.
struct HexfieldModel {
    unsigned int size = 0;
    std::vector<std::uint32_t> words;

    bool operator==(const HexfieldModel&) const = default;

    /// Of bytes, the first one being the most significant.
    static HexfieldModel Of(const std::string& bytes)
    {
        HexfieldModel model = HexfieldModel().At(static_cast<unsigned int>(bytes.size()));
        for (unsigned int i = 0; i < model.size; ++i) model.SetByte(i, static_cast<unsigned char>(bytes[i]));
        return model;
    }
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
    /// By the words that the documentation of the operator names.
    bool Less(const HexfieldModel& other) const
    {
        const std::size_t narrower = std::min(size, other.size);
        for (std::size_t i = narrower; size > other.size && i < words.size(); ++i) {
            if (words[i] != 0) return false;
        }
        for (std::size_t i = narrower == 0 ? 2 : (narrower + 2) / 4 + 1; i-- > 0;) {
            const std::uint32_t left = i < words.size() ? words[i] : 0;
            const std::uint32_t right = i < other.words.size() ? other.words[i] : 0;
            if (left != right) return left < right;
        }
        return false;
    }
    unsigned int Byte(unsigned int index) const
    {
        const unsigned int place = size - 1 - index;
        return words[place / 4] >> place % 4 * 8 & 0xff;
    }
    void SetByte(unsigned int index, unsigned int value)
    {
        const unsigned int place = size - 1 - index;
        words[place / 4] ^= (Byte(index) ^ value) << place % 4 * 8;
    }
    std::string Bytes() const
    {
        std::string bytes(size, '\0');
        for (unsigned int i = 0; i < size; ++i) bytes[i] = static_cast<char>(Byte(i));
        return bytes;
    }
    std::string Text() const
    {
        std::string text;
        for (unsigned int i = 0; i < 2 * size; ++i)
            text += "0123456789abcdef"[Byte(i / 2) >> (i % 2 == 0 ? 4 : 0) & 15];
        return text;
    }
};

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_HEXFIELD_MODEL_H
