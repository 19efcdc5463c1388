#include "support/TrafficChecks.h"

#include <common/FrameBuilder.h>
#include <common/TemplateCheck.h>

#include <algorithm>
#include <locale>
#include <regex>
#include <stdexcept>

namespace zor::common::test {

TEST(Traffic, ShowsWhatLoopsShow)
{
    Random random(1);
    for (int i = 0; i < 1500 && !HasFatalFailure(); ++i) {
        SCOPED_TRACE(i);
        CheckTraffic(random);
    }
}

TEST(Traffic, IsAuditedLikeASearch)
{
    Random random(2);
    for (int i = 0; i < 3000 && !HasFatalFailure(); ++i) {
        SCOPED_TRACE(i);
        CheckTrafficAudit(random);
    }
}

namespace {

constexpr std::uint64_t kAll = ~std::uint64_t{0};

std::string Shown(const CompiledTemplate& of, std::size_t count, std::uint64_t from = 0)
{
    std::string text;
    for (std::size_t i = 0; i < count; ++i) text += ValueAt(of, from + i) + ' ';
    return text;
}

} // namespace

TEST(Traffic, FollowsTheOrderOfCreditsAndBlocks)
{
    const CompiledTemplate a("a@x(0,0,1)"), b("b@x(0,0,1)"), c("c");
    EXPECT_EQ(Shown(Mix({{a, 7}, {b, 4}, {c, 1}}), 13), "a0 b0 a1 a2 b1 a3 c a4 b2 a5 b3 a6 a7 ");
    EXPECT_EQ(Shown(Mix({{c, 0}, {b, 2}, {a, 2}, {c, 2}}), 7), "b0 a0 c b1 a1 c b2 ");
    EXPECT_EQ(Shown(Joined({{a, 2}, {c, 0}, {b, 3}}), 11), "a0 a1 b0 b1 b2 a2 a3 b3 b4 b5 a4 ");
    EXPECT_EQ(Shown(Joined({{c, 0}, {a, 3}}), 5), "a0 a1 a2 a3 a4 ");
    // Beyond 2^64 nothing begins, and what begins below has one round.
    const CompiledTemplate wide = Joined({{a, 2}, {b, kAll}, {c, 5}});
    EXPECT_EQ(Shown(wide, 3, kAll - 2), "b4294967291 b4294967292 b4294967293 ");
    EXPECT_EQ(wide.FindIndex("c"), std::nullopt);
    EXPECT_EQ(wide.FindIndex("a2"), std::nullopt);
    EXPECT_EQ(wide.FindIndex("b7", 100), 4294967305u);
    EXPECT_EQ(wide.GetPeriod(), 0u);
    EXPECT_EQ(Shown(Joined({{a, kAll}, {b, 1}}), 2, kAll - 1), "a4294967294 b0 ");
    EXPECT_EQ(Shown(Joined({{a, kAll}, {b, 1}, {c, 1}}), 1, kAll), "b0 ");

    const IndexOrder order(1000, 7);
    const CompiledTemplate shuffled = Shuffled(a, order);
    EXPECT_EQ(ValueAt(shuffled, 3001), "a" + std::to_string(order.GetIndexAt(1)));
    EXPECT_EQ(shuffled.FindIndex("a77", 5000), 5000 + order.GetPositionOf(77));
    EXPECT_EQ(shuffled.FindIndex("a1000"), std::nullopt);
    EXPECT_EQ(ValueAt(Shuffled(a, IndexOrder(0, 1)), 5),
              "a" + std::to_string(IndexOrder(0, 1).GetIndexAt(5) % 4294967296));
}

TEST(Traffic, RefusesWhatCannotBe)
{
    const CompiledTemplate a("a");
    std::vector<std::pair<CompiledTemplate, std::uint32_t>> many(65536, {a, 1});
    EXPECT_EQ(Mix(many).GetPeriod(), 65536u);
    EXPECT_NO_THROW(Mix({{a, 65535}, {a, 1}, {a, 0}}));
    many.push_back({a, 1});
    EXPECT_THROW(Mix(many), std::invalid_argument) << "a sum above 65536";
    EXPECT_THROW(Mix({{a, 0xffffffff}, {a, 2}}), std::invalid_argument);
    many.back().second = 0;
    EXPECT_THROW(Mix(many), std::invalid_argument) << "too many templates";
    EXPECT_THROW(Mix({}), std::invalid_argument);
    EXPECT_THROW(Mix({{a, 0}}), std::invalid_argument);
    EXPECT_THROW(Joined({}), std::invalid_argument);
    EXPECT_THROW(Joined({{a, 0}, {a, 0}}), std::invalid_argument);
    CompiledTemplate deep = a;
    for (int i = 0; i < 16; ++i) deep = Shuffled(deep, IndexOrder(4, 1));
    EXPECT_EQ(deep.FindIndex("a", 9), 9u);
    EXPECT_THROW(Shuffled(deep, IndexOrder(4, 1)), std::invalid_argument);
    EXPECT_THROW(Mix({{deep, 1}}), std::invalid_argument);
}

TEST(Traffic, TellsPeriodsAndWhatCanBeRead)
{
    const CompiledTemplate six("a@x(0,6,1)"), four("b@x(0,4,1)"), number("c@$(00000000,0,00000001,big)");
    const CompiledTemplate half("d@x(0,20,1)@x(0,2,1,0,99999)"); // of which nothing shows where a text ends
    ASSERT_EQ(half.GetReadableCount(), 0u);
    const struct {
        CompiledTemplate of;
        std::uint64_t period, readable;
    } cases[] = {
        {Mix({{six, 4}, {four, 2}}), 36, kAll},    // 9 and 12
        {Mix({{six, 5}}), 6, kAll},                // as if it stood alone
        {Joined({{six, 4}, {four, 2}}), 36, kAll}, // 18 and 12
        {Joined({{six, 4}}), 6, kAll},
        {Joined({{six, 1}, {six, 1}}), 12, kAll},
        {Mix({{CompiledTemplate("x"), 1}, {CompiledTemplate("x"), 2}}), 1, kAll}, // values that are alike
        {Mix({{number, 1}, {six, 1}}), std::uint64_t{3} << 33, kAll},
        {Mix({{six, 2}, {half, 1}}), 1800000, 1}, // 9 and 600000
        {Mix({{six, 2}, {half, 0}}), 6, kAll},
        {Joined({{six, 12}, {half, 1}}), 2600000, 12},
        {Shuffled(number, IndexOrder(1000, 1)), 1000, kAll},
        {Shuffled(half, IndexOrder(1000, 1)), 1000, 0},
        {Shuffled(Mix({{six, 2}, {half, 0}}), IndexOrder(100, 1)), 100, kAll},
        {Shuffled(six, IndexOrder(6 * 65536, 1)), 6 * 65536, kAll},
        {Shuffled(six, IndexOrder(6 * 65536 + 1, 1)), 6 * 65536 + 1, 0},
        {Shuffled(Shuffled(six, IndexOrder(6, 1)), IndexOrder(6 * 65536 + 1, 1)), 6 * 65536 + 1, 0},
        {Shuffled(Joined({{six, 12}, {half, 1}}), IndexOrder(12, 1)), 12, kAll},
        {Shuffled(Joined({{six, 12}, {half, 1}}), IndexOrder(13, 1)), 13, 0},
        {Mix({{Shuffled(half, IndexOrder(9, 1)), 1}, {six, 3}}), 72, 1},
        {Shuffled(number, IndexOrder(0, 1)), 0, 0}, // more than 65536 positions show one value
        {Shuffled(CompiledTemplate("@$(0000000000000000,0,0000000000000001,big)"), IndexOrder(0, 1)), 0, kAll},
        {Shuffled(CompiledTemplate("x"), IndexOrder(0, 1)), 1, 0},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(&each - cases);
        EXPECT_EQ(each.of.GetPeriod(), each.period);
        EXPECT_EQ(each.of.GetReadableCount(), each.readable);
        EXPECT_EQ(each.of.IsReadable(), each.readable == kAll);
        for (const std::uint64_t index : {0ul, 3ul, 11ul, 12345678901ul, kAll}) {
            const auto found = each.of.FindIndex(ValueAt(each.of, index), index);
            EXPECT_EQ(found, each.readable == kAll || index < each.readable ? std::optional(index) : std::nullopt);
        }
        const auto notes = CheckTemplate(each.of);
        const bool isTold = std::any_of(notes.begin(), notes.end(), [](const auto& note) { return note.code == 127; });
        EXPECT_TRUE(isTold || each.of.IsReadable());
    }
    EXPECT_THROW(SequenceAudit(Joined({{six, 12}, {half, 1}}), {0, 13}), std::invalid_argument);
    EXPECT_NO_THROW(SequenceAudit(Joined({{six, 12}, {half, 1}}), {0, 12}));
}

TEST(Traffic, ListsTheFieldsOfAllParts)
{
    const CompiledTemplate six("a@x(0,6,1)@$(0000,0,0001,hex)"), still("b@x(3,1,1)");
    const CompiledTemplate of = Mix({{six, 2}, {still, 1}, {six, 0}});
    const std::vector<TemplateField> fields = of.GetFields();
    ASSERT_EQ(fields.size(), 5u);
    const std::uint64_t periods[] = {9, 98304, 1, 1, 1}; // 3 * 6 / 2, 3 * 65536 / 2
    for (std::size_t i = 0; i < fields.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(fields[i].period, periods[i]);
        EXPECT_EQ(of.GetPeriod({i}), periods[i]);
        const TemplateField own = (i == 2 ? still : six).GetFields()[i == 2 ? 0 : i % 3];
        EXPECT_EQ(fields[i].pos, own.pos);
        EXPECT_EQ(fields[i].offset, own.offset);
        EXPECT_EQ(fields[i].last, own.last);
    }
    EXPECT_EQ(of.GetPeriod({0, 1, 99}), 294912u);
    EXPECT_EQ(Shuffled(of, IndexOrder(50, 1)).GetFields()[0].period, 50u);

    const std::string text = Diagram(of, DiagramStyle::Rfc, {"", "", "still"});
    EXPECT_NE(text.find("Template 3 of 3"), std::string::npos);
    EXPECT_NE(text.find("still: "), std::string::npos);
    const std::string json = Diagram(of, DiagramStyle::Json);
    const std::size_t first = json.find("\"templates\": [\n{\"size\": 6, ");
    EXPECT_NE(first, std::string::npos) << json;
    EXPECT_NE(json.find("}\n,\n{\"size\": 2, ", first), std::string::npos) << json;

    const std::string svg = Diagram(of, DiagramStyle::Svg); // an image of images, each below the heading of its own
    std::regex image;                                       // which the locale of the host should not change
    image.imbue(std::locale::classic());
    image.assign("<svg xmlns=\\S+ (?:y=.(\\d+). )?width=.(\\d+). height=.(\\d+).");
    std::vector<std::smatch> images(std::sregex_iterator(svg.begin(), svg.end(), image), {});
    ASSERT_EQ(images.size(), 4u);
    int bottom = 0, width = 0;
    for (std::size_t i = 1; i < images.size(); ++i) {
        EXPECT_EQ(std::stoi(images[i][1]), bottom + 28);
        bottom += 28 + std::stoi(images[i][3]);
        width = std::max(width, std::stoi(images[i][2]));
    }
    EXPECT_EQ(std::stoi(images[0][2]), width);
    EXPECT_EQ(std::stoi(images[0][3]), bottom);
    EXPECT_NE(svg.find(">Template 3 of 3"), std::string::npos);

    const CompiledTemplate wrapping("@x(4294967295,0,4294967295,0,0,5)");
    ASSERT_FALSE(wrapping.StepsAlike());
    EXPECT_TRUE(of.StepsAlike());
    EXPECT_FALSE(Mix({{six, 1}, {wrapping, 1}}).StepsAlike());
}

TEST(Traffic, IsEqualToWhatIsMadeInTheSameWay)
{
    const CompiledTemplate a("a@x(0,6,1)"), b("b");
    const CompiledTemplate all[] = {a,
                                    Mix({{a, 2}, {b, 1}}),
                                    Mix({{b, 1}, {a, 2}}),
                                    Joined({{a, 2}, {b, 1}}),
                                    Joined({{a, 2}, {b, 2}}),
                                    Shuffled(a, IndexOrder(6, 1)),
                                    Shuffled(a, IndexOrder(6, 2)),
                                    Shuffled(a, IndexOrder(7, 1))};
    for (const CompiledTemplate& left : all) {
        for (const CompiledTemplate& right : all) EXPECT_EQ(left == right, &left == &right);
    }
    EXPECT_EQ(Mix({{a, 2}, {b, 1}}), all[1]);
    EXPECT_EQ(Shuffled(CompiledTemplate("a@x(0,6,1)"), IndexOrder(6, 1)), all[5]);
    const auto holed = [](unsigned char fill) { return FrameBuilder().Fill(1, fill).Hole("stamp", 2).Compile(); };
    EXPECT_EQ(holed(1), holed(1));
    EXPECT_FALSE(holed(1) == holed(2));
    SequenceAudit left(all[1], {0, 9}), right(Mix({{a, 2}, {b, 1}}), {0, 9}), other(all[3], {0, 9});
    EXPECT_TRUE(left.Merge(right));
    EXPECT_FALSE(left.Merge(other));
}

/// What is tried is counted, and the least index is found where the counters without repeat tell too little.
TEST(Traffic, CountsWhatAnOrderHasToTry)
{
    const CompiledTemplate joined = Shuffled(CompiledTemplate("@h @$(00000000,0,00000001,big) @$(00,100,01,big)"),
                                             IndexOrder(1241174486730071, 15));
    ASSERT_TRUE(joined.IsReadable());
    for (const std::uint64_t index : {4u, 55u, 58u, 71u}) {
        EXPECT_EQ(joined.FindIndex(ValueAt(joined, index), index), index);
        EXPECT_LE(joined.FindIndex(ValueAt(joined, index)), index);
    }
    const CompiledTemplate slow("@h @$(00,3,01,big,254) @$(00,7,01,big,252)");
    EXPECT_TRUE(slow.IsReadable());
    EXPECT_FALSE(Shuffled(slow, IndexOrder(65536, 1)).IsReadable()) << "each of many candidates would be searched for";
    const CompiledTemplate still = Shuffled(CompiledTemplate("a"), IndexOrder(65536, 1));
    EXPECT_TRUE(still.IsReadable());
    EXPECT_EQ(Mix({{still, 1}, {still, 1}}).GetReadableCount(), 1u) << "of all parts together";
}

/// Behind an order, and in a range with gaps, packets near the expected one are found whatever else has their values.
TEST(Traffic, AuditsNearTheExpectedPacketFirst)
{
    const CompiledTemplate a("a@x(0,1000,1,3)"), b("b@x(0,1000,1,3)"), c("@x(0,1510,1,4)aa");
    AuditOptions options;
    options.ignored = {{3, 1}};
    const struct {
        CompiledTemplate of;
        IndexRange range;
        AuditOptions options;
    } cases[] = {{Shuffled(c, IndexOrder(100000, 1)), {0, 1000}, options},
                 {Mix({{a, 1}, {b, 1}}), {0, 100000, 1000003}, {}},
                 {Joined({{a, 5}, {b, 1}}), {0, 100000, 10000000019}, {}}};
    for (const auto& each : cases) {
        SCOPED_TRACE(&each - cases);
        SequenceAudit audit(each.of, each.range, each.options);
        for (std::uint64_t k = 0; k < each.range.count; k += k % 40 == 0 ? 7 : 1) {
            audit.Add(ValueAt(each.of, each.range.first + k * each.range.every));
            ASSERT_EQ(audit.GetCounts().foreign + audit.GetCounts().changed, 0u) << k;
        }
    }
    const CompiledTemplate untold = Mix({{a, 1}, {Shuffled(CompiledTemplate("x"), IndexOrder(131073, 1)), 1}});
    ASSERT_EQ(untold.GetReadableCount(), 1u);
    SequenceAudit one(untold, {0, 1});
    EXPECT_EQ(one.Add("a000"), SequenceAudit::Verdict::InOrder);
}

/// Where what is not ignored leaves too many indexes to try, 65,536 positions each way are looked at.
TEST(Traffic, AuditsNoFurtherThanItCanLook)
{
    constexpr std::uint64_t kCount = std::uint64_t{1} << 48;
    const CompiledTemplate packets =
        Shuffled(CompiledTemplate("@h @$(000000000000,0,000000000001,big)"), IndexOrder(kCount, 3));
    AuditOptions options;
    options.ignored = {{0, 3}};
    const auto isFound = [&](std::uint64_t index) {
        SequenceAudit audit(packets, {0, kCount}, options);
        std::uint64_t found = 0;
        return audit.Add(ValueAt(packets, index), &found) == SequenceAudit::Verdict::InOrder && found == index;
    };
    EXPECT_TRUE(isFound(65536));
    EXPECT_FALSE(isFound(65537));
}

/// Of a packet that may be of several templates, the one that differs least is reported.
TEST(Traffic, TellsWhichTemplateAPacketWasOf)
{
    std::vector<CompiledTemplate> flags;
    for (const bool isSyn : {true, false}) {
        TcpOptions options;
        options.flags = isSyn ? 0x02 : 0x10;
        FrameBuilder frame;
        frame.Ethernet(CMacAddress(1ul), CMacAddress(2ul))
            .Ipv4(Counting(CIpAddress(10, 0, 0, 1), 250), CIpAddress(2u))
            .Tcp(Counting<std::uint16_t>(1024, 60000), 80, options)
            .PadTo(60);
        flags.push_back(frame.Compile());
    }
    const CompiledTemplate packets = Mix({{flags[0], 1}, {flags[1], 1}});
    SequenceAudit audit(packets, {0, 1000});
    EXPECT_TRUE(audit.IsCertain());
    for (const std::uint64_t index : {6ul, 7ul, 10ul, 501ul}) {
        std::string packet = ValueAt(packets, index);
        std::uint64_t found = 0;
        packet[22] = '\x3f'; // the TTL
        EXPECT_EQ(audit.Add(packet, &found), SequenceAudit::Verdict::Changed);
        EXPECT_EQ(found, index);
    }
    AuditOptions options;
    options.ignored = {{47, 1}, {50, 2}}; // flags and checksum, so that both parts look alike
    EXPECT_FALSE(SequenceAudit(packets, {0, 1000}, options).IsCertain());
    EXPECT_THROW(SequenceAudit(Mix({{flags[0], 1}, {CompiledTemplate("@x(0,0,1)"), 1}}), {0, 10}, options),
                 std::invalid_argument);
}

/// Of two parts, of which one begins as the other, the size tells, unless packets are cut or the trailer may be as long
/// as the difference.
TEST(Traffic, TellsPartsBySizeWhereSizesAreWhole)
{
    const CompiledTemplate packets =
        Mix({{CompiledTemplate("@h 01 @$(00,0,01,big)"), 1}, {CompiledTemplate("@h 01 @$(00,0,01,big) 02 03"), 1}});
    const auto isCertain = [&packets](std::size_t leastSize, std::size_t trailer) {
        AuditOptions options;
        options.leastSize = leastSize;
        options.trailer = trailer;
        return SequenceAudit(packets, {0, 200}, options).IsCertain();
    };
    EXPECT_TRUE(isCertain(0, 0));
    EXPECT_TRUE(isCertain(0, 1));
    EXPECT_FALSE(isCertain(0, 2));
    EXPECT_FALSE(isCertain(2, 0));
}

/// Packets far from the expected position are found in an order of more than 2^32 indexes.
TEST(Traffic, AuditsLongOrders)
{
    constexpr std::uint64_t kCount = std::uint64_t{1} << 40;
    const CompiledTemplate packets =
        Shuffled(CompiledTemplate("@h @$(0000000000,0,0000000001,big)"), IndexOrder(kCount, 7));
    SequenceAudit audit(packets, {0, kCount});
    for (const std::uint64_t index : {kCount / 2 + 3, kCount / 4, kCount - 1}) {
        std::uint64_t found = 0;
        EXPECT_EQ(audit.Add(ValueAt(packets, index), &found),
                  index == kCount / 4 ? SequenceAudit::Verdict::Late : SequenceAudit::Verdict::InOrder);
        EXPECT_EQ(found, index);
    }
}

} // namespace zor::common::test
