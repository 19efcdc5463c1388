#include "support/TrafficChecks.h"

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

} // namespace zor::common::test
