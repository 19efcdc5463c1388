#include "../tests/support/TrafficChecks.h"
#include "Fuzz.h"

namespace zor::common::test {

inline void CheckTrafficAndItsAudit(Random& random)
{
    CheckTraffic(random);
    CheckTrafficAudit(random);
}

} // namespace zor::common::test

ZOR_FUZZ_TARGET(CheckTrafficAndItsAudit)
