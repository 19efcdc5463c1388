#include "support/CompiledChecks.h"
#include "support/Random.h"
#include "support/Rows.h"

#include <common/CompiledTemplate.h>

#include <gtest/gtest.h>

#include <algorithm>

using namespace zor::common;
using test::Random;
using test::Rows;
using test::ValueAt;

namespace {

TEST(CompiledTemplate, DrawnTemplatesFollowStepsAndSums)
{
    Random random(41);
    for (int round = 0; round < 6000; ++round) {
        ASSERT_NO_FATAL_FAILURE(test::CheckCompiledTemplate(random)) << "round " << round;
        if (HasFailure()) return;
    }
}

TEST(CompiledTemplate, BatchesHoldSingleValues)
{
    Random random(42);
    for (int round = 0; round < 3000; ++round) {
        ASSERT_NO_FATAL_FAILURE(test::CheckFrames(random)) << "round " << round;
        if (HasFailure()) return;
    }
}

/// Counters of all pairs of sizes are stepped together.
TEST(CompiledTemplate, BatchesStepTwoCountersOfAnySizes)
{
    const auto counter = [](std::size_t size, char start, const char* step) {
        return "@$(" + std::string(2 * size, start) + ",0," + std::string(2 * size - 2, '0') + step + ",big)";
    };
    constexpr std::uint64_t kFirst = 1000, kCount = 300;
    for (std::size_t first = 1; first <= 8; ++first) {
        for (std::size_t second = 1; second <= 8; ++second) {
            const CompiledTemplate compiled("@h " + counter(first, 'f', "03") + "aa" + counter(second, '7', "01"));
            const std::size_t size = first + 1 + second;
            for (const bool isPatch : {false, true}) {
                std::string frames(kCount * size, '\xaa'); // the literal byte, which patching leaves
                const FrameBuffers out(reinterpret_cast<unsigned char*>(frames.data()), size);
                ASSERT_TRUE(isPatch ? compiled.PatchFrames(IndexRange{kFirst, kCount}, out)
                                    : compiled.RenderFrames(IndexRange{kFirst, kCount}, out));
                for (std::uint64_t k = 0; k < kCount; ++k) {
                    ASSERT_EQ(frames.substr(k * size, size), ValueAt(compiled, kFirst + k))
                        << first << " and " << second;
                }
            }
        }
    }
}

TEST(CompiledTemplate, ChecksumsFollowCountersInSequence)
{
    Random random(44);
    for (int round = 0; round < 700; ++round) {
        ASSERT_NO_FATAL_FAILURE(test::CheckSummedFrames(random)) << "round " << round;
    }
}

std::string SpansOf(const CompiledTemplate& compiled)
{
    std::string text;
    for (const ByteSpan& span : compiled.GetChangingSpans()) {
        text += (text.empty() ? "" : " ") + std::to_string(span.offset) + "+" + std::to_string(span.size);
    }
    return text;
}

TEST(CompiledTemplate, TellsSizesPeriodsAndSpans)
{
    for (const auto& row : Rows("compiled-templates.txt")) {
        const CompiledTemplate compiled(row[0]);
        EXPECT_EQ(compiled.IsFixedSize(), row[1] == "1") << row[0];
        EXPECT_EQ(compiled.StepsAlike(), row[2] == "1") << row[0];
        EXPECT_EQ(std::to_string(compiled.GetPeriod()), row[3]) << row[0];
        EXPECT_EQ(SpansOf(compiled), row[4]) << row[0];
    }
    EXPECT_EQ(CompiledTemplate("@_(2,1)ab@x(8,3)@_").GetMaxSize(), 5u) << "a length of one byte";
}

TEST(CompiledTemplate, PeriodsOfSomeFields)
{
    const CompiledTemplate compiled("@x(0,4,1,0,2)@@@p@_(1,0)@x(0,5)@$(01,0,0001,hex)@_@x(0,6)");
    const auto period = [&](const std::vector<std::size_t>& fields) { return compiled.GetPeriod(fields); };
    EXPECT_EQ(period({}), 1u);
    EXPECT_EQ(period({0}), 12u);
    EXPECT_EQ(period({1}), 1u) << "the variable, as an escape is no field";
    EXPECT_EQ(period({3, 6}), 30u);
    EXPECT_EQ(period({2}), 0u) << "a length field changes with its stretch";
    EXPECT_EQ(period({4, 5}), 0u);
    EXPECT_EQ(period({0, 7, 99}), 12u) << "there is no such field";
}

/// The least period that a sequence of values shows, which must be at most half of them; 0 if there is none.
std::uint64_t PeriodByComparison(const CompiledTemplate& compiled, std::size_t values)
{
    std::vector<std::string> all;
    for (std::size_t i = 0; i < values; ++i) all.push_back(ValueAt(compiled, i));
    for (std::size_t period = 1; period <= values / 2; ++period) {
        if (std::equal(all.begin() + static_cast<std::ptrdiff_t>(period), all.end(), all.begin())) return period;
    }
    return 0;
}

TEST(CompiledTemplate, PeriodsAndSpansOfSmallCountersAreExact)
{
    Random random(43);
    for (int round = 0; round < 600; ++round) {
        const auto byte = [&](std::size_t digits) { return random.Text("0000123478f", digits); };
        const auto number = [&](std::size_t limit) { return std::to_string(random.Below(limit)); };
        const bool isHex = random.Below(4) != 0;
        const bool hasMask = isHex && random.Below(2) == 0;
        const bool hasCount = random.Below(2) == 0 || (isHex && !hasMask && random.Below(2) == 0);
        // The high byte of the start stands above the mask of one byte.
        std::vector<std::string> words = {random.Below(4) == 0 ? byte(4) : "00" + byte(2), hasCount ? number(300) : "0",
                                          byte(2), "hex", number(3)};
        if (hasMask) words.push_back(byte(2));
        if (!isHex) words = {number(9), words[1], number(12), "0", words[4], number(13)};
        std::string text = isHex ? "@$(" : "@x(";
        for (std::size_t i = 0; i < words.size(); ++i) text.append(i == 0 ? "" : ",").append(words[i]);
        text += ')';
        const CompiledTemplate compiled(text);
        if (!hasMask && compiled.GetPeriod() > 900) continue;
        const std::uint64_t expected = PeriodByComparison(compiled, 2000);
        ASSERT_EQ(compiled.GetPeriod(), expected) << text;
        if (!isHex || hasMask || expected == 0) continue;
        std::string first = ValueAt(compiled, 0), changing(first.size(), ' ');
        for (std::uint64_t i = 0; i < expected; ++i) {
            const std::string value = ValueAt(compiled, i);
            for (std::size_t at = 0; at < first.size(); ++at)
                changing[at] = value[at] == first[at] ? changing[at] : 'x';
        }
        std::string told(first.size(), ' ');
        for (const ByteSpan& span : compiled.GetChangingSpans()) told.replace(span.offset, span.size, span.size, 'x');
        ASSERT_EQ(told, changing) << text;
    }
}

TEST(CompiledTemplate, AllTemplatesOfThreeTokensFollowSteps)
{
    const auto tokens = Rows("wildcards-tokens.txt");
    const std::size_t count = tokens.size();
    for (std::size_t i = 0; i < count * count * count; ++i) {
        const std::string text = tokens[i / count / count][0] + tokens[i / count % count][0] + tokens[i % count][0];
        const CompiledTemplate compiled(text);
        ASSERT_TRUE(compiled.StepsAlike()) << text;
        Wildcards stepped(text, "@");
        std::string value;
        for (std::uint64_t index = 0; index < 9; ++index, stepped.NextValue()) {
            stepped.GetValue(value);
            ASSERT_EQ(ValueAt(compiled, index), value) << text << " at index " << index;
        }
    }
}

TEST(CompiledTemplate, TakesTheSettingsOfItsSource)
{
    Wildcards source("#x(1,3)#=(k)#v(1)", "#");
    source.AddVar("k", "-");
    source.SetVlanTagCount(1);
    source.SetVlanParams(1, 7, 1, 0, 0);
    const CompiledTemplate before(source);
    std::string value;
    source.GetNextValue(value);
    EXPECT_EQ(before, CompiledTemplate(source)) << "a position does not matter";
    source.AddVar("K", "+");
    const CompiledTemplate after(source);
    EXPECT_NE(before, after);
    EXPECT_EQ(ValueAt(before, 2) + ValueAt(after, 2), "3-93+9");
    EXPECT_NE(CompiledTemplate("a"), CompiledTemplate("b"));
    EXPECT_NE(CompiledTemplate("a"), CompiledTemplate("a", "#"));
    CompiledTemplate copy = before;
    copy = after;
    EXPECT_EQ(copy, after);
}

TEST(CompiledTemplate, RefusesBuffersThatOverlap)
{
    const CompiledTemplate compiled("@h 0102 @$(00,0,01,big)");
    unsigned char out[8] = {};
    EXPECT_FALSE(compiled.RenderFrames(IndexRange{0, 2}, {out, 2}));
    EXPECT_FALSE(compiled.PatchFrames(IndexRange{0, 2}, {out, 2}));
    EXPECT_EQ(std::count(out, out + 8, 0), 8);
    EXPECT_TRUE(compiled.RenderFrames(IndexRange{}, {out, 2})) << "no frame at all";
    EXPECT_TRUE(compiled.RenderFrames(IndexList(nullptr, 0), FrameBuffers(nullptr)));
    EXPECT_TRUE(compiled.RenderFrames(IndexRange{0, 2}, {out, 3}));

    const CompiledTemplate nothing("");
    EXPECT_TRUE(nothing.RenderFrames(IndexRange{0, 3}, FrameBuffers(nullptr, 0)));
    EXPECT_EQ(CompiledTemplate("@$(zz,0,01,big)").Render(0, nullptr, 0), 0u) << "value 0 is empty, all others are not";
    std::vector<std::size_t> offsets;
    EXPECT_EQ(nothing.RenderBatch(IndexRange{0, 3}, nullptr, 0, offsets), 3u);
    EXPECT_EQ(offsets, (std::vector<std::size_t>(4)));
}

} // namespace
