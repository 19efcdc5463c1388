#include "support/FindIndexChecks.h"
#include "support/Rows.h"

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

} // namespace zor::common::test
