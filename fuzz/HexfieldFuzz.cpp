#include "../tests/support/FieldChecks.h"
#include "Fuzz.h"

ZOR_FUZZ_TARGET(CheckHexfield)
