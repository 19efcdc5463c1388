#include "support/AuditChecks.h"

namespace zor::common::test {

TEST(SequenceAudit, SaysWhatALookAtEveryValueSays)
{
    Random random(1);
    for (int i = 0; i < 4000 && !HasFatalFailure(); ++i) CheckAudit(random);
}

} // namespace zor::common::test
