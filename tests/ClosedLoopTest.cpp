#include "../benchmarks/ClosedLoop.h"

#include <gtest/gtest.h>

namespace zor::common::bench {

TEST(ClosedLoop, AccountsForEachPacketOfAllRecipes)
{
    const Pool pool;
    for (const Recipe& recipe : AllRecipes()) {
        SCOPED_TRACE(recipe.name);
        EXPECT_TRUE(SequenceAudit(recipe.packets, IndexRange{0, std::uint64_t{1} << 21}).IsCertain());
        for (const std::uint64_t seed : {1u, 2u, 3u}) {
            EXPECT_TRUE(RunLoop(recipe, std::uint64_t{1} << 14, seed, pool)) << "seed " << seed;
        }
        std::string frame;
        recipe.packets.GetValueAt(12345, frame);
        const auto* const bytes = reinterpret_cast<const unsigned char*>(frame.data());
        const std::vector<ChecksumField> checksums = FindChecksums(bytes, frame.size());
        EXPECT_FALSE(checksums.empty());
        for (const ChecksumField& checksum : checksums) {
            std::string summed;
            for (const ByteSpan& span : checksum.covered) summed += frame.substr(span.offset, span.size);
            const std::string_view field = std::string_view(frame).substr(checksum.at, 2);
            const bool isLeftOut = field == std::string_view("\0\0", 2); // of the outer header of a tunnel
            const auto* const all = reinterpret_cast<const unsigned char*>(summed.data());
            EXPECT_TRUE(isLeftOut || InternetChecksum(all, summed.size(), checksum.initial) == 0) << checksum.at;
        }
    }
}

} // namespace zor::common::bench
