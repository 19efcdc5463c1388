#include "../tests/support/FindIndexChecks.h"
#include "Fuzz.h"

ZOR_FUZZ_TARGET(CheckFindIndex)
