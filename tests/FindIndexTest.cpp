#include "support/FindIndexChecks.h"
#include "support/Rows.h"

#include <common/FrameBuilder.h>
#include <common/SequenceAudit.h>

#include <sstream>

namespace zor::common::test {

TEST(FindIndex, FindsWhatASearchFinds)
{
    Random random(1);
    for (int i = 0; i < 4000 && !HasFatalFailure(); ++i) CheckFindIndex(random);
}

TEST(FindIndex, TellsWhatCanBeRead)
{
    for (const auto& row : Rows("readable-templates.txt")) {
        SCOPED_TRACE(row[0]);
        const CompiledTemplate compiled(row[0]);
        const std::uint64_t readable = row[1] == "all" ? ~std::uint64_t{0} : std::stoull(row[1]);
        EXPECT_EQ(compiled.GetReadableCount(), readable);
        EXPECT_EQ(compiled.IsReadable(), row[1] == "all");
        std::istringstream indexes(row[2]);
        for (std::uint64_t index = 0; indexes >> index;) {
            const std::string value = ValueAt(compiled, index);
            EXPECT_EQ(compiled.FindIndex(value, index), index);
            const auto least = compiled.FindIndex(value);
            ASSERT_TRUE(least && *least <= index) << index;
            EXPECT_EQ(ValueAt(compiled, *least), value);
        }
        EXPECT_TRUE(row[1] == "all" || !compiled.FindIndex(ValueAt(compiled, readable), readable));
    }
}

TEST(FindIndex, ReadsListsTablesAndOrders)
{
    std::vector<std::vector<FrameCell>> table;
    for (std::uint32_t row = 0; row < 100000; ++row) {
        table.push_back({CIpAddress(0x0a000000 + row % 1000), CIpAddress(0xc0a80000 + row / 1000), 53});
    }
    FrameBuilder rows;
    rows.Ipv4(CIpAddress(1u), CIpAddress(2u)).Udp(1024, 53).Rows({"ipv4.src", "ipv4.dst", "udp.dport"}, table, 1);
    const CompiledTemplate compiled = rows.Compile();
    ASSERT_TRUE(compiled.IsReadable());
    for (const std::uint64_t index : {0ul, 1ul, 2ul, 77777ul, 199999ul, 200000ul, ~0ul}) {
        EXPECT_EQ(compiled.FindIndex(ValueAt(compiled, index), index), index);
    }
    EXPECT_EQ(compiled.FindIndex(ValueAt(compiled, 200007)), 6u);

    // A list with equal values tells nothing alone, but does no harm beside a number.
    FrameBuilder twice;
    twice.Ipv4(OneOf({CIpAddress(9u), CIpAddress(7u), CIpAddress(9u)}), CIpAddress(2u));
    EXPECT_EQ(twice.Compile().GetReadableCount(), 0u);
    EXPECT_EQ(twice.Number(Counting<std::uint32_t>(0, 0)).Compile().GetReadableCount(), std::uint64_t{1} << 32);

    FrameBuilder hosts; // in an order without memory
    hosts.Ipv4(Shuffled(Counting(CIpAddress(10, 0, 0, 0), 1 << 24), 42), CIpAddress(2u));
    const CompiledTemplate shuffled = hosts.Compile();
    ASSERT_TRUE(shuffled.IsReadable());
    for (const std::uint64_t index : {0ul, 5ul, 16777215ul, 16777216ul}) {
        EXPECT_EQ(shuffled.FindIndex(ValueAt(shuffled, index), index), index);
    }
}

TEST(FindIndex, PassesOverHoles)
{
    for (const bool isCounting : {true, false}) {
        FrameBuilder frame;
        frame.Ethernet(CMacAddress(1ul), CMacAddress(2ul)).Ipv4(CIpAddress(1u), CIpAddress(2u)).Udp(1024, 53);
        if (isCounting) frame.Number(Counting<std::uint32_t>(0, 0));
        frame.Hole("stamp", 9);
        const CompiledTemplate packets = frame.Compile();
        const ByteSpan stamp = frame.GetSpan("stamp");
        std::string packet = ValueAt(packets, 77);
        auto* const bytes = reinterpret_cast<unsigned char*>(packet.data());
        const std::vector<ChecksumField> checksums = frame.GetChecksums();
        const unsigned char now[] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
        SequenceAudit audit(packets, {0, 1000});
        bytes[stamp.offset] = 1;
        EXPECT_EQ(audit.Add(packet), SequenceAudit::Verdict::Changed) << "as the checksum does not follow";
        EXPECT_FALSE(packets.FindIndex(packet));
        bytes[stamp.offset] = 0;
        for (const ChecksumField& field : checksums) {
            if (field.at > 34) AdjustChecksum(field, bytes, stamp.offset, now, sizeof now);
        }
        std::copy_n(now, sizeof now, bytes + stamp.offset);
        EXPECT_EQ(packets.FindIndex(packet), isCounting ? 77u : 0u);
        EXPECT_EQ(audit.Add(packet), SequenceAudit::Verdict::InOrder);
    }
}

} // namespace zor::common::test
