#include "../tests/support/IndexChecks.h"
#include "Fuzz.h"

ZOR_FUZZ_TARGET(CheckIndexOrder)
