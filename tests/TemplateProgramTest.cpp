// What the values of a template do not show: its compiled form with the places of its parts, and how numbers count.

#include "support/Random.h"
#include "support/Rows.h"

#include <common/TemplateCompiler.h>
#include <common/TemplateOverlay.h>

#include <gtest/gtest.h>

using namespace zor::common::detail;
using zor::common::Hexfield;
using zor::common::test::Random;

namespace {

TEST(TemplateProgram, DumpsItsParts)
{
    const PacketContext context = {{}, 2, 7, 9, {}, {}, {{100, 1, 2, 3, 65535}}};
    for (const auto& row : zor::common::test::Rows("template-programs.txt")) {
        std::string expected;
        for (std::size_t i = 2; i < row.size(); ++i) expected += row[i] + '\n';
        EXPECT_EQ(Dump(*CompileTemplate(row[0], row[1], context)), expected) << row[0];
    }
}

TEST(TemplateProgram, DumpsItsValues)
{
    const auto program = CompileTemplate("@x(5,1,1,3)@x@$(000a,0,0001,big)@$(0B,0,1,hex)@m@=(K)@=@=(none)@@"
                                         "@$(0002030405060708AA)@$(0102030405060708090a0b0c0d0e0f1011)@_.@b",
                                         "@", PacketContext());
    const Layer layer = {program, State(*program, 0x0102030405ff)};
    EXPECT_EQ(DumpValues(layer, {{"k", "a\"b\\\x9f"}, {"", "c"}}),
              R"(, @x(5,1,1,3) = 5, @x = 1, @$(000a,0,0001,big) = 000a, @$(0B,0,1,hex) = 0b, @m = 0102030405ff, )"
              R"(@=(K) = "a\"b\\\237", @= = "", @=(none) = "", @@ = -, @$(0002030405060708AA) = 0002030405060708aa, )"
              R"(@$(0102030405060708090a0b0c0d0e0f1011) = 0102030405060708090a0b0c0d0e0f1011, @_ = -, @b = 0)");
    EXPECT_EQ(Quoted(std::string(1000, 'q')), '"' + std::string(1000, 'q') + '"');
    EXPECT_EQ(Quoted(std::string(1001, 'q')), '"' + std::string(1000, 'q') + "...\"");
}

/// Where each byte of a rewritten hex template comes from, found character by character.
std::vector<TextRange> PlainPlaces(const std::string& text)
{
    std::vector<TextRange> places;
    const auto addBytes = [&](std::size_t from, std::size_t to) {
        for (std::size_t end = from; from < to; from = end + 1) {
            end = std::min(to, text.find_first_not_of("0123456789abcdefABCDEF", from));
            if ((end - from) % 2 != 0) places.push_back({from++, 1});
            for (; from < end; from += 2) places.insert(places.end(), text.substr(from, 2) == "40" ? 2 : 1, {from, 2});
        }
    };
    std::size_t from = 2;
    for (std::size_t at = 2; (at = text.find('@', at)) < text.size() - 1; from = at) {
        addBytes(from, at);
        const bool hasList = IsTemplateKind(text[at + 1]) && text.compare(at + 2, 1, "(") == 0;
        const std::size_t close = hasList ? text.find(')', at) : std::string::npos;
        for (const std::size_t end = close == std::string::npos ? at + 2 : close + 1; at < end; ++at)
            places.push_back({at, 1});
    }
    if (text.back() == '@') addBytes(from, text.size());
    addBytes(from, text.size());
    return places;
}

TEST(TemplateProgram, PlacesAreThoseOfTheDigits)
{
    static constexpr const char* kPieces[] = {"40", "4040", "@x(", "@m", ")", " ", "@", "@@", "23 "};
    Random random(41);
    for (int round = 0; round < 20000; ++round) {
        std::string text = "@h";
        for (std::size_t pieces = random.Below(7); pieces > 0; --pieces)
            text += random.Below(2) == 0 ? kPieces[random.Below(9)] : random.Text("04aF", random.Below(40));
        SCOPED_TRACE(text);
        SourceMap map;
        const std::size_t size = RewriteHexTemplate(text, "@", &map).size();
        const std::vector<TextRange> places = PlainPlaces(text);
        ASSERT_EQ(size, places.size());
        for (std::size_t pos = random.Below(3), len = 0; pos < size; pos += len + random.Below(3)) {
            len = std::min(1 + random.Below(4), size - pos);
            const TextRange first = places[pos], last = places[pos + len - 1], found = map.Find(text, {pos, len});
            const std::size_t end = std::max(first.pos + first.len, last.pos + last.len);
            ASSERT_TRUE(found.pos == std::min(first.pos, last.pos) && found.pos + found.len == end)
                << pos << '+' << len;
        }
    }
}

/// Follows a number by steps from an index on, and compares it with its value at each index.
template <class Word>
void FollowSteps(std::uint32_t index, const NumberDefinition<Word>& definition)
{
    Number<Word> number = {index == 0 ? definition.start : ValueAt(definition, index).value, 0};
    Turn turn;
    turn.SetRepeats(definition.cycle, index);
    turn.MoveTo(definition.cycle, index + 1);
    for (int i = 0; i < 40 && ++index != 0; ++i) {
        bool toStart = false;
        if (turn.Step(definition.cycle, toStart)) definition.Change(number, toStart);
        ASSERT_TRUE(ValueAt(definition, index).value == number.value) << "at index " << index;
    }
}

TEST(TemplateSequence, IndexesAreSoManyStepsWhereNoProductWraps)
{
    for (std::uint32_t i = 0; i < 6 * 5 * 4 * 256; ++i) {
        const Cycle cycle = {i % 6, i / 6 % 5};
        const std::uint64_t start = 0xfe + i / 30 % 4, step = i / 120, both = step << 32 | step;
        const std::uint32_t index = i % 31;
        SCOPED_TRACE(testing::Message() << start << " by " << step << ", count " << i % 6 << ", repeat " << i / 6 % 5);
        FollowSteps<std::uint64_t>(index, {start % 256, step, 0xff, 0, 0, 0xff, cycle, 0, 1, 1});
        FollowSteps<std::uint64_t>(0 - index, {start % 256, step, 0xff, 0, 0, 0xff, cycle, 0, 1, 1});
        FollowSteps<std::uint64_t>(index, {start, step % 4, 0xffff, 0, 0, 0xff, cycle, 0, 2, 2});
        FollowSteps<std::uint64_t>(index, {~start, both, ~0ull, 0, 0, ~0ull, cycle, 0, 8, 8});
        FollowSteps<std::uint64_t>(index,
                                   {0xffffffff - start, step << 24, 0xffffffff, 0, 0, 0xffffffff, cycle, 0, 0, 0});
        FollowSteps<std::uint64_t>(index, {start % 99, step, 0xffffffff, 0, 0, 0xffffffff, cycle, 99, 0, 0});
        FollowSteps<Uint128>(index, {{~0ull, ~start}, {both, both}, ~Uint128{}, {}, {}, ~Uint128{}, cycle, 0, 16, 16});
        const std::uint64_t mask = i % 64, first = 0x123456789abc;
        const MacDefinition mac = {first, step & mask, mask, first & ~mask};
        ASSERT_EQ(mac.ValueAt(index + 1), mac.Next(mac.ValueAt(index)));
        ASSERT_FALSE(HasFatalFailure());
    }
}

TEST(TemplateSequence, SumsAndProductsAreThoseOfAField)
{
    Random random(42);
    const auto draw = [&random](std::size_t size) {
        std::string text;
        while (text.size() < 2 * size) text += random.Below(2) == 0 ? "ffffffff" : random.Text("0017f", 8);
        return Hexfield(text.substr(0, 2 * size));
    };
    for (int round = 0; round < 40000; ++round) {
        const Hexfield left = draw(1 + random.Below(16)), right = draw(1 + random.Below(16)), sum = left + right;
        const auto factor = static_cast<std::uint32_t>(random.Number() >> random.Below(64));
        const Uint128 a = NumberOf<Uint128>(left), b = NumberOf<Uint128>(right);
        ASSERT_TRUE((SumByWords(a, b) & LowBytes<Uint128>(sum.GetSize())) == NumberOf<Uint128>(sum)) << left << right;
        ASSERT_TRUE((TimesByWords(a, factor) & LowBytes<Uint128>(left.GetSize())) == NumberOf<Uint128>(left * factor))
            << left << " * " << factor;
    }
}

} // namespace
