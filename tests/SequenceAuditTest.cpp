#include "support/AuditChecks.h"

#include <common/FrameBuilder.h>
#include <common/Traffic.h>

#include <chrono>
#include <numeric>
#include <thread>

namespace zor::common::test {

namespace {

using Verdict = SequenceAudit::Verdict;

/// Literal bytes, an address that counts, and a sequence number behind it.
constexpr const char* kFrames = "@h 0102 @$(0A000001,250,00000001,big) 0304 @$(00000000,0,00000001,big) 05";

Verdict AddAt(SequenceAudit& audit, const CompiledTemplate& of, std::uint64_t index)
{
    return audit.Add(ValueAt(of, index));
}

} // namespace

TEST(SequenceAudit, SaysWhatALookAtEveryValueSays)
{
    Random random(1);
    for (int i = 0; i < 4000 && !HasFatalFailure(); ++i) CheckAudit(random);
}

TEST(SequenceAudit, RefusesRangesAndOptionsThatCannotBe)
{
    constexpr std::uint64_t kLast = ~std::uint64_t{0};
    const CompiledTemplate frames(kFrames), varying("@x(0,0,1)"), partly("@x(0,0,1)@x(0,0,1)@$(00,0,01,hex)");
    ASSERT_EQ(partly.GetReadableCount(), 256u);
    const auto make = [](const CompiledTemplate& of, const IndexRange& range, const AuditOptions& options = {}) {
        return SequenceAudit(of, range, options).GetCounts().missing;
    };
    EXPECT_THROW(make(frames, {0, 5, 0}), std::invalid_argument);
    EXPECT_THROW(make(frames, {kLast, 2, 1}), std::invalid_argument);
    EXPECT_THROW(make(frames, {5, 3, kLast / 2}), std::invalid_argument);
    EXPECT_EQ(make(frames, {kLast, 1, 1}), 1u);
    EXPECT_EQ(make(frames, {kLast, 0, 5}), 0u);
    EXPECT_EQ(make(frames, {0, kLast, 1}), kLast);
    EXPECT_THROW(make(partly, {0, 257, 1}), std::invalid_argument);
    EXPECT_EQ(make(partly, {0, 256, 1}), 256u);
    AuditOptions ignoring;
    ignoring.ignored = {{0, 1}};
    EXPECT_THROW(make(varying, {0, 5, 1}, ignoring), std::invalid_argument);
    EXPECT_EQ(make(frames, {0, 5, 1}, ignoring), 5u);
}

TEST(SequenceAudit, IsCertainWhereValuesOccurOnce)
{
    const auto isCertain = [](const char* text, const IndexRange& range, const AuditOptions& options = {}) {
        return SequenceAudit(CompiledTemplate(text), range, options).IsCertain();
    };
    constexpr std::uint64_t kTurn = std::uint64_t{1} << 32;
    EXPECT_TRUE(isCertain(kFrames, {5, kTurn}));
    EXPECT_TRUE(isCertain(kFrames, {5, 125 * kTurn})) << "the address tells more";
    EXPECT_FALSE(isCertain(kFrames, {5, 125 * kTurn + 1}));
    EXPECT_TRUE(isCertain("@h @$(00,0,01,big)", {0, 256}));
    EXPECT_FALSE(isCertain("@h @$(00,0,01,big)", {0, 257}));
    EXPECT_TRUE(isCertain("@h @$(00,0,01,big)", {0, 256, 7}));
    EXPECT_FALSE(isCertain("@h @$(00,0,01,big)", {0, 65, 4}));
    EXPECT_TRUE(isCertain("@h @$(00,0,01,big,3)", {0, 256, 4}));
    EXPECT_FALSE(isCertain("@h @$(00,0,01,big,3)", {0, 2}));
    EXPECT_FALSE(isCertain("plain", {0, 2}));
    EXPECT_FALSE(isCertain("@x(0,0,1)@x(0,0,1)", {0, 1})) << "which nothing can be told of";
    AuditOptions options;
    options.ignored = {{8, 1}}; // of the sequence number
    EXPECT_TRUE(isCertain(kFrames, {5, 250}, options));
    EXPECT_FALSE(isCertain(kFrames, {5, 251}, options));
    options.ignored = {{2, 4}};
    EXPECT_TRUE(isCertain(kFrames, {5, kTurn}, options));
    EXPECT_FALSE(isCertain(kFrames, {5, kTurn + 1}, options));
    options.leastSize = 11; // without the end of the sequence number
    EXPECT_FALSE(isCertain(kFrames, {5, kTurn}, options));
    options.leastSize = 12;
    EXPECT_TRUE(isCertain(kFrames, {5, kTurn}, options));
    options = {};
    options.trailer = 1;
    EXPECT_FALSE(isCertain("@x(0,0,1)", {0, 5}, options));
}

TEST(SequenceAudit, TakesCutPacketsThatHoldWhatTellsTheIndex)
{
    const CompiledTemplate frames(kFrames);
    AuditOptions options;
    options.leastSize = 3;
    SequenceAudit audit(frames, {0, 100000}, options);
    const std::string value = ValueAt(frames, 7);
    EXPECT_EQ(audit.Add(value.substr(0, 12)), Verdict::InOrder);
    EXPECT_EQ(audit.Add(value.substr(0, 11)), Verdict::Foreign) << "the address alone stands for many";
    EXPECT_EQ(audit.Add(value.substr(0, 2)), Verdict::Foreign);
    std::string changed = ValueAt(frames, 8).substr(0, 12);
    changed[6] = 'x';
    std::uint64_t index = 0;
    EXPECT_EQ(audit.Add(changed, &index), Verdict::Changed);
    EXPECT_EQ(index, 8u);

    SequenceAudit few(frames, {0, 250}, options); // which the address tells
    EXPECT_EQ(few.Add(value.substr(0, 6)), Verdict::InOrder);
    EXPECT_EQ(few.Add(value.substr(0, 11)), Verdict::Duplicate);

    // What is left of these tells nothing, although neither does all of it tell a single index.
    for (const char* const text : {"@h aabb @$(0000,20000,0001,big,1)", "@h aabb @$(00,300,01,big)"}) {
        options.leastSize = 2;
        const CompiledTemplate repeating(text);
        SequenceAudit bare(repeating, {0, 100}, options);
        EXPECT_EQ(AddAt(bare, repeating, 7), Verdict::InOrder);
        EXPECT_EQ(bare.Add(ValueAt(repeating, 7).substr(0, 2)), Verdict::Foreign) << text;
    }

    const CompiledTemplate joined("@h @$(00,4,01,big) @$(0000,6,0101,big,4)"); // of which the first one tells most
    options.leastSize = 1;
    SequenceAudit parts(joined, {0, 60}, options);
    EXPECT_EQ(parts.Add(ValueAt(joined, 0).substr(0, 1)), Verdict::InOrder);
    EXPECT_EQ(parts.Add(ValueAt(joined, 5).substr(0, 2), &index), Verdict::InOrder)
        << "half of the second one is there";
    EXPECT_EQ(index, 5u);
}

TEST(SequenceAudit, NothingIsTaggedAndNothingIsFoundWithoutCounters)
{
    const CompiledTemplate untold("@x(0,0,1)@x(0,0,1)"), constant("always");
    SequenceAudit none(untold, {0, 5});
    EXPECT_EQ(none.Add("00"), Verdict::Foreign);
    SequenceAudit same(constant, {0, 3});
    EXPECT_EQ(same.Add("always"), Verdict::InOrder);
    EXPECT_EQ(same.Add("always"), Verdict::InOrder) << "the nearest to what comes next";
    EXPECT_EQ(same.Add("alway"), Verdict::Foreign);
    EXPECT_EQ(same.Add(nullptr, 0), Verdict::Foreign);
}

/// A window goes through many pages, of which none is forgotten that it still reaches into.
TEST(SequenceAudit, KeepsTheWholeWindow)
{
    const CompiledTemplate frames(kFrames);
    constexpr std::uint64_t kCount = 600000;
    AuditOptions options;
    options.window = 1000;
    SequenceAudit audit(frames, {0, kCount}, options);
    for (std::uint64_t i = 0; i < kCount; ++i) {
        if (i % 7 != 0) AddAt(audit, frames, i);
        if (i < 5000 || i % 97 != 0) continue;
        ASSERT_EQ(AddAt(audit, frames, i / 7 * 7 - 7 * 130 + 1), Verdict::Duplicate) << i;
        ASSERT_EQ(AddAt(audit, frames, i - 1010), Verdict::TooOld) << i;
    }
    const std::vector<IndexRange> missing = audit.GetMissing(kCount);
    ASSERT_EQ(missing.size(), 143u); // of every seventh one
    EXPECT_EQ(missing.front().first, 598999u / 7 * 7 + 7);
    EXPECT_EQ(audit.GetCounts().missing, (kCount + 6) / 7);
}

/// Missing indexes are looked up in pages of 32,768; the last word of one counts as well.
TEST(SequenceAudit, ListsGapsUpToTheEndOfAPage)
{
    const CompiledTemplate frames(kFrames);
    SequenceAudit audit(frames, {0, 40000});
    for (const std::uint64_t index : {0u, 32767u, 39999u}) EXPECT_EQ(AddAt(audit, frames, index), Verdict::InOrder);
    const std::vector<IndexRange> missing = audit.GetMissing(9);
    ASSERT_EQ(missing.size(), 2u);
    EXPECT_EQ(std::make_pair(missing[0].first, missing[0].count), std::make_pair(1ul, 32766ul));
    EXPECT_EQ(std::make_pair(missing[1].first, missing[1].count), std::make_pair(32768ul, 7231ul));
}

/// Packets of a range with gaps are found, however long turns last and however many are lost in between.
TEST(SequenceAudit, FindsPacketsOfSparseRanges)
{
    const CompiledTemplate longTurns("@h @$(0000,20000,0001,big,199999)"), numbers("@h @$(00000000,0,00000001,big)");
    const struct {
        CompiledTemplate of;
        IndexRange range;
        std::vector<std::uint64_t> positions;
    } rows[] = {
        {CompiledTemplate("seq @x(0,65536) row @x(0,101,1,0,99998)."), {10000000, 1000, 5}, {0, 1, 2, 500, 7, 999}},
        {CompiledTemplate("@x(0,100,1,0,999999)."), {0, 50, 2000001}, {0, 1, 2, 3, 20, 11}},
        {CompiledTemplate("@x(0,7) @x(0,11,1,0,299) @x(0,13,1,0,24999)."), {3000000, 1000, 101}, {0, 1, 2, 3, 5}},
        {CompiledTemplate("@h @$(00,100,01,big,999999)"), {0, 50, 2000001}, {0, 1, 3, 4, 5, 2}},
        {CompiledTemplate("@h @$(0000,0,0001,big) @$(00,101,01,big,99998)"),
         Stripe({0, 7000000, 1}, 3, 7),
         {0, 1, 70000, 140000, 90000, 139999}},
        {Mix({{longTurns, 1}}), {150000, 10000, 200000}, {0, 4000, 9000, 9001, 5000}},
        {Shuffled(numbers, IndexOrder(1000, 1)), {61, 63, 4294967295}, {0, 1, 30, 31, 62, 7}},
    };
    for (const auto& row : rows) {
        SequenceAudit audit(row.of, row.range);
        std::uint64_t greatest = 0;
        for (const std::uint64_t position : row.positions) {
            const std::uint64_t expected = row.range.first + position * row.range.every;
            std::uint64_t index = 0;
            EXPECT_EQ(audit.Add(ValueAt(row.of, expected), &index),
                      position >= greatest ? Verdict::InOrder : Verdict::Late)
                << "row " << &row - rows << " position " << position;
            EXPECT_EQ(index, expected);
            greatest = std::max(greatest, position);
        }
    }
}

/// The other expressions may find no index above a limit; then positions near the expected one are compared.
TEST(SequenceAudit, ComparesWhatIgnoredBytesLeave)
{
    const CompiledTemplate frames(
        "@h @$(00000000,0,00000001,big) @$(00,251,01,big) @$(00,3,01,big,99999) @$(00,3,01,big,149998)");
    AuditOptions options;
    options.ignored = {{0, 4}};
    SequenceAudit audit(frames, {0, 1000000}, options);
    EXPECT_FALSE(audit.IsCertain());
    constexpr std::uint64_t kLost = 99850, kNext = 100050;
    for (std::uint64_t i = 0; i < kNext; ++i) {
        if (i == kLost) continue;
        ASSERT_EQ(AddAt(audit, frames, i), Verdict::InOrder) << i;
    }
    std::uint64_t index = 0;
    EXPECT_EQ(audit.Add(ValueAt(frames, kLost), &index), Verdict::Late);
    EXPECT_EQ(index, kLost);
    const std::string later = ValueAt(frames, 151234); // which no index before has
    EXPECT_EQ(audit.Add(later, &index), Verdict::InOrder);
    EXPECT_EQ(index, 151234u - 4 * 251) << "the first one from 149999 on";

    FrameBuilder listed; // whose list does not tell its row
    listed.Number(Counting<std::uint8_t>(0, 8)).Number(OneOf<std::uint8_t>({1, 2, 2}));
    options.ignored = {{0, 1}};
    SequenceAudit rows(listed.Compile(), {0, 8}, options);
    for (const std::uint64_t i : {0u, 1u, 3u, 4u}) EXPECT_EQ(AddAt(rows, listed.Compile(), i), Verdict::InOrder) << i;

    const CompiledTemplate unreadable = Shuffled(CompiledTemplate("@x(0,3)-@x(0,0)1"), IndexOrder(7, 1));
    EXPECT_FALSE(SequenceAudit(unreadable, {0, 1}).IsCertain());
}

/// A number in front of a length byte that may be a digit too: "1215" and the dots are 1, a length of 50 and 15, and they
/// are 12, a length of 49 and 5.
TEST(SequenceAudit, ReadsAValueInEachWay)
{
    const CompiledTemplate twofold("@x(0,1000)@_(1,1)@x(0,1001)" + std::string(48, '.') + "@_");
    constexpr std::uint64_t kLow = 7012, kHigh = 987001, kPeriod = 1001000;
    const std::string value = ValueAt(twofold, kLow);
    ASSERT_EQ(value, ValueAt(twofold, kHigh));
    EXPECT_EQ(twofold.FindIndex(value), kLow);
    EXPECT_EQ(twofold.FindIndex(value, kLow + 1), kHigh);
    EXPECT_FALSE(SequenceAudit(twofold, {0, kPeriod}).IsCertain());
    EXPECT_TRUE(SequenceAudit(CompiledTemplate("@x(0,1000)@_(1,1)abc@_"), {0, 1000}).IsCertain());
    EXPECT_TRUE(SequenceAudit(CompiledTemplate("@$(07,300,0001,hex)-"), {0, 300}).IsCertain()) << "of two sizes";
    for (const std::uint64_t before : {kLow - 2, kHigh - 2, kPeriod - 1}) {
        SequenceAudit audit(twofold, {0, kPeriod});
        std::uint64_t index = 0;
        EXPECT_EQ(AddAt(audit, twofold, before), Verdict::InOrder);
        const std::uint64_t nearest = before < kHigh / 2 ? kLow : kHigh;
        EXPECT_EQ(audit.Add(value, &index), before < nearest ? Verdict::InOrder : Verdict::Late);
        EXPECT_EQ(index, nearest);
    }
}

/// Where each search for an index is long, they are few: a packet with a flipped bit does not hold up the receiver.
TEST(SequenceAudit, DoesNotSearchForLong)
{
    const CompiledTemplate frames("@x(0,256,1,10,255)-@x(0,255,1,10,254)-@$(00000000,0,00000001,big)");
    AuditOptions options;
    options.ignored = {{22, 1}}; // of the sequence number
    SequenceAudit audit(frames, {0, std::uint64_t{1} << 33}, options);
    EXPECT_EQ(AddAt(audit, frames, 200), Verdict::InOrder);
    EXPECT_EQ(AddAt(audit, frames, 130), Verdict::Late);
    std::string changed = ValueAt(frames, 1000);
    changed[23] = static_cast<char>(changed[23] ^ 1);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(audit.Add(changed), Verdict::Foreign);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
}

TEST(SequenceAudit, MergesOtherPacketsOfTheSameRunAlone)
{
    const CompiledTemplate frames(kFrames);
    const auto make = [&](const IndexRange& range, const AuditOptions& options = {}) {
        return SequenceAudit(frames, range, options);
    };
    SequenceAudit audit = make({0, 100});
    AddAt(audit, frames, 5);
    EXPECT_FALSE(audit.Merge(audit));
    for (const IndexRange& range : {IndexRange{1, 100}, {0, 101}, {0, 100, 2}}) EXPECT_FALSE(audit.Merge(make(range)));
    AuditOptions windowed, others[4];
    windowed.window = others[0].window = 9;
    others[1].trailer = 1;
    others[2].leastSize = 10;
    others[3].ignored = {{0, 1}};
    for (const AuditOptions& other : others) EXPECT_FALSE(audit.Merge(make({0, 100}, other)));
    others[0].ignored = {{0, 2}};
    others[0].window = 0;
    EXPECT_FALSE(make({0, 100}, others[3]).Merge(make({0, 100}, others[0])));
    EXPECT_FALSE(audit.Merge(SequenceAudit(CompiledTemplate(std::string(kFrames) + "06"), {0, 100})));
    EXPECT_FALSE(make({0, 100}, windowed).Merge(make({0, 100}, windowed)));
    EXPECT_EQ(audit.GetCounts().received, 1u);

    SequenceAudit copy = audit, moved = std::move(copy);
    copy = audit;
    EXPECT_TRUE(audit.Merge(copy));
    EXPECT_EQ(audit.GetCounts().duplicate, 1u);
    EXPECT_EQ(moved.GetCounts().duplicate, 0u);

    EXPECT_TRUE(audit.Restore(make({0, 100}).Save())) << "of an audit that has seen nothing";
    AddAt(audit, frames, 0);
    EXPECT_EQ(audit.GetCounts().inOrder, 1u);
}

TEST(SequenceAudit, RestoresNothingThatNoAuditSaves)
{
    const CompiledTemplate frames(kFrames);
    AuditOptions options;
    options.window = 9;
    SequenceAudit unseen(frames, {0, 100}), late = unseen, windowed(frames, {0, 100}, options);
    for (SequenceAudit* const audit : {&late, &windowed}) {
        AddAt(*audit, frames, 20);
        EXPECT_EQ(AddAt(*audit, frames, 15), Verdict::Late);
    }
    const struct {
        SequenceAudit& audit;
        std::size_t number; ///< In the order of saving.
        char value;
        bool isTaken;
    } rows[] = {
        {unseen, 7, 1, false},                              // a duplicate of nothing
        {late, 7, 1, true},                                 // a duplicate
        {late, 10, 1, false},                               // too old without a window
        {windowed, 10, 1, true}, {late, 11, 0, false},      // late by nothing
        {late, 11, 9, true},                                // as after joining two audits
        {windowed, 11, 9, true}, {windowed, 11, 10, false}, // later than the window is long
    };
    for (const auto& row : rows) {
        std::string saved = row.audit.Save();
        saved[8 * row.number + 7] = row.value;
        EXPECT_EQ(SequenceAudit(row.audit).Restore(saved), row.isTaken) << "row " << &row - rows;
    }
}

/// What each thread has received goes to an audit of its own.
TEST(SequenceAudit, ThreadsShareTheTemplate)
{
    const CompiledTemplate frames(kFrames);
    constexpr std::uint64_t kCount = 100000;
    std::vector<SequenceAudit> audits(3, SequenceAudit(frames, {0, kCount}));
    std::vector<std::thread> threads;
    for (std::uint64_t k = 0; k < audits.size(); ++k) {
        threads.emplace_back([&, k] {
            const IndexRange part = Stripe({0, kCount}, k, 3);
            for (std::uint64_t i = 0; i < part.count; ++i) AddAt(audits[k], frames, part.first + i * part.every);
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_TRUE(audits[0].Merge(audits[1]));
    EXPECT_TRUE(audits[0].Merge(audits[2]));
    EXPECT_EQ(audits[0].GetCounts().missing, 0u);
    EXPECT_EQ(audits[0].GetCounts().inOrder, kCount);
}

} // namespace zor::common::test
