#include "support/Random.h"
#include "support/Rows.h"

#include <common/Hexfield.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <type_traits>

using namespace zor::common;
using namespace std::string_literals;
using test::Random;
using test::Rows;

namespace {

Hexfield Field(const std::string& text)
{
    return Hexfield(text);
}

TEST(HexfieldText, ReadsDigitsAndSkipsTheRest)
{
    for (const auto& row : Rows("hexfield-text.txt")) EXPECT_EQ(Field(row[0]).ToString(), row[1]) << row[0];
    Hexfield field("01020304050607");
    field.CopyFromString("f");
    EXPECT_EQ(field.ToString(), "0f") << "nothing of the old value stays";
    std::istringstream in(" 12-34 5");
    std::ostringstream out;
    in >> field;
    out << field << '.';
    in >> field >> field;
    out << field.GetSize();
    EXPECT_EQ(out.str(), "1234.0") << "without a word left there is nothing to read";
}

TEST(HexfieldText, EveryCharacterIsADigitOrSkipped)
{
    for (int c = 0; c < 256; ++c) {
        const bool digit = c < 128 && std::isxdigit(c) != 0;
        const Hexfield field(std::string(1, static_cast<char>(c)));
        ASSERT_EQ(field.GetSize(), digit ? 1 : 0) << c;
        ASSERT_EQ(field.GetByte(0), digit ? std::stoi(std::string(1, static_cast<char>(c)), nullptr, 16) : 0) << c;
    }
}

TEST(HexfieldText, ByteStringsInBothOrders)
{
    for (const std::string& bytes :
         {""s, "\1"s, "\1\2"s, "\1\2\3"s, "\1\2\3\4"s, "\1\2\3\4\5"s, "\xff\0\x80\0\0\0\0\1\0"s}) {
        const std::string reversed(bytes.rbegin(), bytes.rend());
        for (const bool bigEndian : {true, false}) {
            Hexfield field("ffffffffffffffffffffff");
            field.CopyFromBinaryString(bytes, bigEndian);
            EXPECT_EQ(field.GetSize(), bytes.size());
            EXPECT_EQ(field.ToBinaryString(true), bigEndian ? bytes : reversed);
            EXPECT_EQ(field.ToBinaryString(false), bigEndian ? reversed : bytes);
            EXPECT_EQ(Hexfield(bytes, true, bigEndian), field);
            Hexfield fromArray;
            fromArray.CopyFromByteArray(reinterpret_cast<const unsigned char*>(bytes.data()),
                                        static_cast<unsigned int>(bytes.size()), bigEndian);
            EXPECT_EQ(fromArray, field);
        }
    }
    EXPECT_EQ(Hexfield("0a0b", false, false).ToString(), "0a0b") << "hexadecimal has no order";
}

TEST(HexfieldText, MoreThan65535BytesKeepWhatTheWidthHolds)
{
    std::string bytes(65536 + 6, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7 % 251);
    EXPECT_EQ(Hexfield(bytes, true, true).ToBinaryString(true), bytes.substr(0, 6));
    EXPECT_EQ(Hexfield(bytes, true, false).ToBinaryString(false), bytes.substr(65536));
    EXPECT_EQ(Hexfield(bytes.substr(6), true, true).GetSize(), 0);
    EXPECT_EQ(Hexfield(std::string(131071, '5')).GetSize(), 0) << "65536 bytes, the first of one digit";
    EXPECT_EQ(Hexfield(std::string(131070, '5') + "abcd").ToString(), "cd");
    EXPECT_EQ(Hexfield("1" + std::string(131070, '5') + "abcd").ToString(), "abcd");
    const std::string full(131070, 'e');
    EXPECT_EQ(Hexfield(full).ToString(), full);
}

TEST(HexfieldBytes, AreNumberedFromTheFront)
{
    Hexfield field("0102030405");
    for (unsigned int i = 0; i < 5; ++i) EXPECT_EQ(field.GetByte(i), i + 1);
    EXPECT_EQ(field.GetByte(5), 0);
    EXPECT_EQ(field.GetByte(~0u), 0);
    field.SetByte(5, 0xff);
    field.SetByte(0, 0xaa);
    field.SetByte(4, 0xbb);
    EXPECT_EQ(field.ToString(), "aa020304bb");
}

TEST(HexfieldValue, CopiesMovesAndResizes)
{
    static_assert(std::is_nothrow_move_constructible_v<Hexfield> && std::is_nothrow_move_assignable_v<Hexfield>);
    EXPECT_EQ(Hexfield().ToString(), "00");
    Hexfield field("aabbccddee");
    Hexfield& same = field;
    field = same;
    EXPECT_EQ(field.ToString(), "aabbccddee");
    Hexfield taken(std::move(field));
    EXPECT_EQ(field.GetSize(), 0); // NOLINT(bugprone-use-after-move): the state is documented
    EXPECT_EQ(field.GetByte(0), 0);
    field = std::move(taken);
    EXPECT_EQ(taken.ToString(), ""); // NOLINT(bugprone-use-after-move)
    const struct {
        unsigned short size;
        const char* expected;
    } rows[] = {{5, "aabbccddee"}, {4, "bbccddee"}, {3, "ccddee"}, {6, "000000ccddee"},
                {1, "ee"},         {0, ""},         {2, "0000"}};
    for (const auto& row : rows) {
        field.normalize(row.size);
        EXPECT_EQ(field.ToString(), row.expected);
    }
}

TEST(HexfieldComparison, EqualNeedsEqualWidthsAndLessLooksAtWordsByByteCounts)
{
    for (const auto& row : Rows("hexfield-comparison.txt")) {
        const Hexfield left(row[0]);
        const Hexfield right(row[1]);
        std::string holds;
        if (left == right) holds += " ==";
        if (left < right) holds += " <";
        if (left > right) holds += " >";
        EXPECT_EQ(holds, row[2].empty() ? "" : " " + row[2]) << row[0] << " and " << row[1];
        EXPECT_EQ(left != right, !(left == right));
        EXPECT_EQ(left >= right, !(left < right));
        EXPECT_EQ(left <= right, !(left > right));
    }
}

TEST(HexfieldArithmetic, KnownResults)
{
    const auto f = Field;
    const struct {
        const char* name;
        Hexfield result;
        const char* expected;
    } rows[] = {
        {"carry over words", f("00ffffffff") + 1, "0100000000"},
        {"lost carry", f("00000000ffffffffffffffff") + f("00000000ffffffff00000001"), "00000000ffffffff00000000"},
        {"lost carry in a difference", f("00000000ffffffffffffffff") - f("00000000000000000000ffff"),
         "ffffffffffffffffffff0000"},
        {"number of two bytes, still", f("05") + 0xffff, "0004"},
        {"number of three bytes, still", f("05") + 0xffffff, "000004"},
        {"zero to nothing", f("") + 0, "00"},
        {"negative nothing", -f(""), "01"},
    };
    for (const auto& row : rows) EXPECT_EQ(row.result.ToString(), row.expected) << row.name;

    Hexfield field("03");
    field.MaskMultiply(2, Field("03"));
    EXPECT_EQ(field.ToString(), "07");
    field = Field("01");
    field.MaskMultiply(3, Field("01"));
    EXPECT_EQ(field.ToString(), "01");
    field = Field("000000030000000500000007");
    field.MaskMultiply(3, Field("000000010000000000000001"));
    EXPECT_EQ(field.ToString(), "000000030000000500000007") << "bit 1 is carried to no mask position";
}

/// The rules word by word, on copies made as wide as they need to be.
struct Model {
    unsigned int size = 0;
    std::vector<std::uint32_t> words;

    void Mask()
    {
        if (size % 4 != 0) words[(size + 3) / 4 - 1] &= (1u << size % 4 * 8) - 1;
    }
    Model At(unsigned int newSize) const
    {
        Model result = *this;
        if (newSize == size) return result;
        result.words.resize((newSize + 3) / 4, 0);
        result.size = newSize;
        result.Mask();
        return result;
    }
    template <class Step>
    Model With(const Model& other, Step step) const
    {
        if (size < other.size) return other.With(*this, step);
        const Model right = other.At(size);
        Model result = *this;
        for (std::size_t i = 0; i < words.size(); ++i) result.words[i] = step(words[i], right.words[i]);
        result.Mask();
        return result;
    }
    Model Plus(const Model& other) const
    {
        std::uint32_t carry = 0;
        return With(other, [&carry](std::uint32_t a, std::uint32_t b) {
            const std::uint32_t s = a + b + carry;
            carry = s < a ? 1 : s < b ? 1 : 0;
            return s;
        });
    }
    Model Plus(std::uint32_t value) const
    {
        return Plus(Model{value >> 24 != 0 ? 4u : value >> 16 != 0 ? 3u : value >> 8 != 0 ? 2u : 1u, {value}});
    }
    Model Inverted() const
    {
        Model result = *this;
        for (std::uint32_t& word : result.words) word = ~word;
        result.Mask();
        return result;
    }
    Model Minus(const Model& other) const
    {
        const unsigned int width = std::max(size, other.size);
        return At(width).Plus(other.At(width).Inverted().Plus(1));
    }
    Model Times(std::uint32_t factor) const
    {
        Model result = *this;
        for (std::uint32_t& word : result.words) word *= factor;
        result.Mask();
        return result;
    }
    void MaskMultiply(std::uint32_t factor, const Model& mask)
    {
        std::vector<std::pair<unsigned int, unsigned int>> pairs;
        for (unsigned int b = 0; b < size * 8 && b < 65536; ++b) {
            const bool set = b / 32 < mask.words.size() && (mask.words[b / 32] >> b % 32 & 1) != 0;
            if (set) pairs.emplace_back(b, pairs.size());
        }
        Model packed{size, std::vector<std::uint32_t>(words.size())};
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
TEST(HexfieldArithmetic, AgreesWithTheRulesInLongChains)
{
    Random random(8);
    const auto draw = [&random](Hexfield& field, Model& model, unsigned int limit) {
        std::string bytes(random.Below(limit), '\0');
        for (char& byte : bytes) byte = static_cast<char>(random.Byte());
        field = Hexfield(bytes, true, true);
        model = Model{static_cast<unsigned int>(bytes.size()), {}};
        for (unsigned int i = 0; i < (bytes.size() + 3) / 4 * 4; ++i) {
            if (i % 4 == 0) model.words.push_back(0);
            const unsigned int byte = i < bytes.size() ? static_cast<unsigned char>(bytes[bytes.size() - 1 - i]) : 0;
            model.words.back() |= byte << i % 4 * 8;
        }
    };
    Hexfield field[2];
    Model model[2] = {{1, {0}}, {1, {0}}};
    for (int round = 0; round < 200000; ++round) {
        const std::size_t a = random.Below(2);
        const std::size_t b = random.Below(2); // often the same object
        Hexfield &x = field[a], &y = field[b];
        Model& m = model[a];
        const Model n = model[b];
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
        case 13: x.normalize(static_cast<unsigned short>(number % 24)), m = m.At(number % 24); break;
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
        case 15: draw(x, m, round % 1000 == 0 ? 300 : 24); break;
        default: x.MaskMultiply(number, y), m.MaskMultiply(number, n); break;
        }
        ASSERT_EQ(x.ToString(), m.Text()) << "round " << round << ", operation " << operation;
        ASSERT_EQ(x.GetSize(), m.size) << "round " << round << ", operation " << operation;
    }
}

TEST(HexfieldArithmetic, WidestFields)
{
    const Hexfield ones(std::string(65535 * 2, 'f'));
    EXPECT_EQ((ones + 1).ToString(), std::string(65535 * 2, '0'));
    EXPECT_EQ((-ones).ToString(), std::string(65535 * 2 - 1, '0') + "1");
    EXPECT_EQ((ones & Hexfield("0102")).ToString(), std::string(65533 * 2, '0') + "0102");
    EXPECT_EQ((Hexfield("01") - ones).ToString(), std::string(65535 * 2 - 1, '0') + "2");
    Hexfield field(std::string(8196 * 2, '0'));
    field.SetByte(3, 1); // bit 65536, the first position that takes no part
    field.SetByte(7, 1); // bit 65504, which does: times 3 it arrives one place up, and goes up one more
    field.MaskMultiply(3, ones);
    EXPECT_EQ(field.GetByte(3), 1);
    EXPECT_EQ(field.GetByte(7), 5);
}

} // namespace
