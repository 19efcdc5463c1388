#include "../tests/support/AddressChecks.h"
#include "Fuzz.h"

ZOR_FUZZ_TARGET(CheckStrictTexts)
