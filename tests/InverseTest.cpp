#include "support/InverseChecks.h"

namespace zor::common::test {

TEST(FindIndex, FindsWhatASearchFinds)
{
    Random random(1);
    for (int i = 0; i < 4000 && !HasFatalFailure(); ++i) CheckInverse(random);
}

} // namespace zor::common::test
