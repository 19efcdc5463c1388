#include "support/FieldChecks.h"
#include "support/Random.h"
#include "support/Rows.h"

#include <common/Hexfield.h>
#include <common/WideSteps.h>

#include <gtest/gtest.h>

#include <cctype>
#include <iomanip>
#include <sstream>
#include <type_traits>
#include <vector>

using namespace zor::common;
using test::Random;
using test::Rows;

namespace {

TEST(HexfieldText, ReadsDigitsAndSkipsTheRest)
{
    for (const auto& row : Rows("hexfield-text.txt")) EXPECT_EQ(Hexfield(row[0]).ToString(), row[1]) << row[0];
    EXPECT_EQ(Hexfield("0a0b", false, false).ToString(), "0a0b") << "hexadecimal has no order";
    EXPECT_EQ(Hexfield().ToString(), "00");
    for (int c = 0; c < 256; ++c) EXPECT_EQ(Hexfield(std::string(1, static_cast<char>(c))).GetSize(), isxdigit(c) != 0);
}

TEST(HexfieldText, StreamsTakeAFieldAsTheyTakeAString)
{
    std::istringstream in(" 12-34 xyz 5678 5");
    in.imbue(std::locale::classic());
    Hexfield field;
    in >> field;
    EXPECT_EQ(field.ToString(), "1234");
    in >> field;
    EXPECT_EQ(field.GetSize(), 0);
    EXPECT_TRUE(in.good()) << "a word without digits is a word";
    in >> std::setw(3) >> field;
    EXPECT_EQ(field.ToString(), "0567");
    in >> field >> field;
    EXPECT_EQ(field.ToString(), "05");
    EXPECT_TRUE(in.eof() && !in.fail());
    in >> field;
    EXPECT_EQ(field.GetSize(), 0) << "without a word left there is nothing to read";
    EXPECT_TRUE(in.fail());
    in.clear();
    in.exceptions(std::ios::failbit);
    field = Hexfield("12");
    EXPECT_THROW(in >> field, std::ios::failure);

    std::ostringstream out;
    out << std::setw(6) << std::setfill('*') << field << field << std::setw(6) << std::left << field;
    EXPECT_EQ(out.str(), "****121212****");
}

TEST(HexfieldText, FormsOfTextAgreeWithTheirDigits)
{
    Random random(11);
    for (int round = 0; round < 20000; ++round) ASSERT_NO_FATAL_FAILURE(test::CheckHexfieldText(random));
}

TEST(HexfieldText, MoreThan65535BytesKeepWhatTheWidthHolds)
{
    std::string bytes(65536 + 6, '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7 % 251);
    EXPECT_EQ(Hexfield(bytes, true, true).ToBinaryString(true), bytes.substr(0, 6));
    EXPECT_EQ(Hexfield(bytes, true, false).ToBinaryString(false), bytes.substr(65536));
    EXPECT_EQ(Hexfield(bytes.substr(6), true, true).GetSize(), 0);
    EXPECT_EQ(Hexfield(bytes, true, true), Hexfield(bytes.substr(0, 6), true, true)) << "and nothing beyond the width";
    for (const std::size_t count : {16384u, 16386u, 16389u, 40001u, 131068u, 131069u, 131070u, 131071u, 131072u,
                                    131073u, 131074u, 131088u, 131106u}) {
        std::string digits(count, '0'), separated;
        for (std::size_t i = 0; i < count; ++i) {
            digits[i] = "0123456789abcdef"[i % 251 % 16];
            if (i > 0 && (count - i) % 2 == 0) separated += ':';
            separated += digits[i];
        }
        const std::size_t size = (count + 1) / 2 % 65536;
        const std::string kept = ("0" + digits).substr(count + 1 - 2 * size);
        for (const std::string& text : {digits, separated, ":" + digits}) {
            ASSERT_TRUE(Hexfield(text) == Hexfield(kept)) << count << ' ' << text.size();
            ASSERT_TRUE(Hexfield(text).ToString() == kept) << count << ' ' << text.size();
        }
    }
}

static_assert(std::is_nothrow_move_constructible_v<Hexfield> && std::is_nothrow_move_assignable_v<Hexfield>);

TEST(HexfieldArithmetic, AgreesWithTheRulesInLongChains)
{
    Random random(8);
    test::HexfieldChain chain;
    for (int step = 0; step < 100000; ++step) ASSERT_NO_FATAL_FAILURE(chain.Step(random)) << "step " << step;
}

TEST(HexfieldArithmetic, WidestFields)
{
    EXPECT_EQ((Hexfield("05") + 0xffffff).ToString(), "000004") << "the largest number of 3 bytes";
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

/// Whether the block functions do anything. Then they do all that they are meant for.
bool HasBlocks()
{
#ifdef __x86_64__
    return detail::HasAvx2();
#else
    return false;
#endif
}

/// Blocks of text beside steps of 16 digits, and nothing written beyond what they are done with.
TEST(WideSteps, BlocksAgreeWithSteps)
{
    Random random(13);
    for (int round = 0; round < 20000; ++round) {
        const std::size_t count = random.Below(14);
        std::string digits;
        std::vector<unsigned long long> expected(count);
        for (std::size_t i = 0; i < 16 * count; ++i) digits += "0123456789abcdefABCDEF"[random.Below(22)];
        SCOPED_TRACE(digits);
        const auto readStep = [&](std::size_t i) {
            return detail::portable::ReadHexLane(&digits[16 * (count - 1 - i)], expected[i]);
        };
        std::string written(16 * count, '#'), lowerCase(16 * count, '#');
        for (std::size_t i = 0; i < count; ++i) {
            ASSERT_TRUE(readStep(i));
            detail::portable::WriteHexLane(&lowerCase[16 * (count - 1 - i)], expected[i]);
        }
        const std::size_t size = 16 * detail::WriteHexLanes(written.data(), expected.data(), count);
        ASSERT_EQ(size, HasBlocks() ? count / 4 * 64 : 0);
        ASSERT_EQ(written, lowerCase.substr(0, size) + std::string(written.size() - size, '#'));

        std::vector<unsigned char> bytes(8 * count, '#');
        const std::size_t read = detail::ReadHexBytes(digits.data(), digits.size(), bytes.data()) / 2;
        ASSERT_EQ(read, size / 2);
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            ASSERT_EQ(bytes[i], i < read ? expected[count - 1 - i / 8] >> (56 - i % 8 * 8) & 0xff : '#') << i;
        }

        if (count > 0 && round % 2 == 0) digits[random.Below(digits.size())] = static_cast<char>(random.Byte());
        std::vector<unsigned long long> lanes(count, 7);
        const std::size_t done = detail::ReadHexLanes(digits.data() + digits.size(), lanes.data(), count);
        for (std::size_t i = 0; i < count; ++i) {
            ASSERT_TRUE(i >= done || readStep(i)) << i;
            ASSERT_EQ(lanes[i], i < done ? expected[i] : 7) << i;
        }
    }
}

/// Separated bytes with one wrong character, or none: the blocks before it are passed over. All lanes are those of the
/// digits.
TEST(WideSteps, SeparatedBytesAreTheirDigits)
{
    Random random(14);
    for (int round = 0; round < 20000; ++round) {
        const std::size_t count = random.Below(14);
        std::string digits, text;
        for (std::size_t i = 0; i < 16 * count; ++i) {
            digits += "0123456789abcdefABCDEF"[random.Below(22)];
            if (i > 0 && i % 2 == 0) text += ": -g\n/@G`\xc1\xff"[random.Below(11)];
            text += digits.back();
        }
        std::vector<unsigned long long> lanes(count, 7);
        ASSERT_EQ(detail::ReadSeparatedLanes(text.data() + text.size(), lanes.data(), count), HasBlocks() ? count : 0);
        for (std::size_t i = 0; i < count && HasBlocks(); ++i) {
            unsigned long long expected = 0;
            ASSERT_TRUE(detail::portable::ReadHexLane(&digits[16 * (count - 1 - i)], expected));
            ASSERT_EQ(lanes[i], expected) << text << ' ' << i;
        }

        std::size_t right = text.size();
        if (count > 0 && round % 2 == 0) {
            right = random.Below(text.size());
            text[right] = right % 3 == 2 ? "09afAF"[random.Below(6)] : "/:@G`g\xff"[random.Below(7)];
        }
        ASSERT_EQ(detail::SkipSeparatedBytes(text.data(), text.size()), HasBlocks() ? right / 96 * 96 : 0) << text;
    }
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
        ASSERT_EQ(detail::BlockHasWord(lanes, ~0u), portable::BlockHasWord(lanes, ~0u));
        for (auto& lane : lanes) lane = ~lane;
        ASSERT_EQ(detail::BlockHasWord(lanes, 0), portable::BlockHasWord(lanes, 0));

        const unsigned long long left = lanes[0], right = round % 2 == 0 ? lanes[1] : ~left + random.Below(3) - 1;
        for (const bool carry : {false, true}) {
            const unsigned char carryOut = portable::AddWithCarry(carry, left, right, &expected);
            ASSERT_EQ(detail::AddWithCarry(carry, left, right, &number), carryOut);
            ASSERT_EQ(number, expected);
            const unsigned char borrowOut = portable::SubtractWithBorrow(carry, left, right, &expected);
            ASSERT_EQ(detail::SubtractWithBorrow(carry, left, right, &number), borrowOut);
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
