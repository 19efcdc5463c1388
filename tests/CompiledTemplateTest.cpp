#include "support/CompiledChecks.h"
#include "support/Random.h"
#include "support/Rows.h"

#include <common/CompiledTemplate.h>

#include <gtest/gtest.h>

using namespace zor::common;
using test::Random;
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

} // namespace
