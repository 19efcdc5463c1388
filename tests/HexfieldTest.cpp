#include "support/FieldChecks.h"
#include "support/Random.h"
#include "support/Rows.h"

#include <common/Hexfield.h>
#include <common/WideSteps.h>

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
    in.imbue(std::locale::classic());
    in >> field;
    out << field << '.';
    in >> field >> field;
    out << field.GetSize();
    EXPECT_EQ(out.str(), "1234.0") << "without a word left there is nothing to read";
}

TEST(HexfieldText, EveryCharacterIsADigitOrSkipped)
{
    for (int c = 0; c < 256; ++c) {
        const bool digit = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
        const Hexfield field(std::string(1, static_cast<char>(c)));
        ASSERT_EQ(field.GetSize(), digit ? 1 : 0) << c;
        ASSERT_EQ(field.GetByte(0), digit ? std::stoi(std::string(1, static_cast<char>(c)), nullptr, 16) : 0) << c;
    }
}

TEST(HexfieldText, FormsOfTextAgreeWithTheirDigits)
{
    Random random(11);
    for (int round = 0; round < 20000; ++round) ASSERT_NO_FATAL_FAILURE(test::CheckHexfieldText(random));
}

TEST(HexfieldText, ByteStringsInBothOrders)
{
    for (const std::string& bytes : {""s, "\1"s, "\1\2"s, "\1\2\3"s, "\1\2\3\4"s, "\1\2\3\4\5"s,
                                     "\xff\0\x80\0\0\0\0\1\0"s, "abcdefghijklmnopqrstuvwxyz"s}) {
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
    EXPECT_EQ(Hexfield(std::string(131074, '1')), Hexfield("11")) << "and nothing beyond the width";
    EXPECT_EQ(Hexfield("1" + std::string(131070, '5') + "abcd").ToString(), "abcd");
    const std::string full(131070, 'e');
    EXPECT_EQ(Hexfield(full).ToString(), full);
}

TEST(HexfieldBytes, AreNumberedFromTheFront)
{
    Hexfield field("0102030405");
    for (unsigned int i = 0; i < 5; ++i) EXPECT_EQ(field.GetByte(i), i + 1);
    EXPECT_EQ(field.GetByte(5), 0);
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

TEST(HexfieldValue, IsTheSameInsideTheObjectAndOutside)
{
    const auto text = [](std::size_t size, char digit) { return std::string(2 * size, digit); };
    for (const std::size_t left : {0u, 1u, 8u, 9u, 16u, 17u, 24u, 65u}) {
        for (const std::size_t right : {0u, 1u, 8u, 9u, 16u, 17u, 24u, 65u}) {
            Hexfield a(text(left, 'a'));
            Hexfield b(text(right, 'b'));
            std::swap(a, b);
            EXPECT_EQ(a.ToString() + ' ' + b.ToString(), text(right, 'b') + ' ' + text(left, 'a'));
            Hexfield copy(a);
            copy = b;
            b.normalize(0);
            b = a;
            EXPECT_EQ(copy.ToString() + ' ' + b.ToString(), text(left, 'a') + ' ' + text(right, 'b'));
            a = std::move(copy);
            Hexfield& itself = a;
            a = std::move(itself);
            EXPECT_EQ(a.ToString(), text(left, 'a'));
            EXPECT_EQ(copy.GetSize(), 0); // NOLINT(bugprone-use-after-move): the state is documented
            copy = a;
            EXPECT_EQ(copy, a);
            EXPECT_EQ(std::hash<Hexfield>()(copy), std::hash<Hexfield>()(Hexfield(text(left, 'a'))));
        }
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
        EXPECT_EQ(left == right, std::hash<Hexfield>()(left) == std::hash<Hexfield>()(right));
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
    };
    for (const auto& row : rows) EXPECT_EQ(row.result.ToString(), row.expected) << row.name;

    const auto masked = [&](Hexfield field, unsigned int factor, const char* mask) {
        field.MaskMultiply(factor, f(mask));
        return field.ToString();
    };
    EXPECT_EQ(masked(f("03"), 2, "03") + masked(f("01"), 3, "01"), "0701");
    EXPECT_EQ(masked(f("000000030000000500000007"), 3, "000000010000000000000001"), "000000030000000500000007")
        << "bit 1 is carried to no mask position";
}

TEST(HexfieldArithmetic, AgreesWithTheRulesInLongChains)
{
    Random random(8);
    test::HexfieldChain chain;
    for (int step = 0; step < 200000; ++step) ASSERT_NO_FATAL_FAILURE(chain.Step(random)) << "step " << step;
}

TEST(HexfieldArithmetic, WidestFields)
{
    const Hexfield ones(std::string(65535 * 2, 'f'));
    EXPECT_EQ((ones + 1).ToString(), std::string(65535 * 2, '0'));
    EXPECT_EQ((Hexfield("01") - ones).ToString(), std::string(65535 * 2 - 1, '0') + "2");
    Hexfield field(std::string(8196 * 2, '0'));
    field.SetByte(3, 1); // bit 65536, the first position that takes no part
    field.SetByte(7, 1); // bit 65504, which does: times 3 it arrives one place up, and goes up one more
    field.MaskMultiply(3, ones);
    EXPECT_EQ(field.GetByte(3), 1);
    EXPECT_EQ(field.GetByte(7), 5);
}

/// Each beside its portable twin, which is the plain rule.
TEST(WideSteps, AgreeWithTheirTwins)
{
    namespace portable = detail::portable;
    Random random(12);
    for (int round = 0; round < 100000; ++round) {
        std::string digits;
        for (int i = 0; i < 16; ++i) digits += "0123456789abcdefABCDEF"[random.Below(22)];
        if (round < 256 * 16) digits[static_cast<std::size_t>(round % 16)] = static_cast<char>(round / 16);
        unsigned long long number = 0, expected = 0;
        const bool read = portable::ReadHexLane(digits.data(), expected);
        ASSERT_EQ(detail::ReadHexLane(digits.data(), number), read) << digits;
        if (read) {
            ASSERT_EQ(number, expected) << digits;
        }

        number = random.Number();
        char text[16], expectedText[16];
        detail::WriteHexLane(text, number);
        portable::WriteHexLane(expectedText, number);
        ASSERT_EQ(std::string(text, 16), std::string(expectedText, 16));

        unsigned long long lanes[detail::kBlockLanes];
        for (auto& lane : lanes)
            lane = random.Number() | (random.Below(16) == 0 ? 0xffffffffull << random.Below(40) : 0);
        for (const std::uint32_t word : {0xffffffffu, static_cast<std::uint32_t>(lanes[round % 8] >> round % 2 * 32)}) {
            ASSERT_EQ(detail::BlockHasWord(lanes, word), portable::BlockHasWord(lanes, word));
        }

        const unsigned long long left = lanes[0], right = round % 2 == 0 ? lanes[1] : ~left + random.Below(3) - 1;
        for (const bool carry : {false, true}) {
            const unsigned char carryOut = portable::AddWithCarry(carry, left, right, &expected);
            ASSERT_EQ(detail::AddWithCarry(carry, left, right, &number), carryOut);
            ASSERT_EQ(number, expected);
        }

        const std::uint64_t divisor = (random.Number() >> random.Below(64)) | 1;
        const std::uint64_t high = round % 4 == 0 ? divisor - 1 : left % divisor;
        std::uint64_t rest = 0, expectedRest = 0;
        const std::uint64_t quotient = portable::DivideToWord(high, right, divisor, expectedRest);
        ASSERT_EQ(detail::DivideToWord(high, right, divisor, rest), quotient) << high << ':' << right << '/' << divisor;
        ASSERT_EQ(rest, expectedRest) << high << ':' << right << '/' << divisor;
    }
}

} // namespace
