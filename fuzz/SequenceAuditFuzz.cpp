#include "../tests/support/AuditChecks.h"
#include "Fuzz.h"

ZOR_FUZZ_TARGET(CheckAudit)
