#include "../tests/support/MacroChecks.h"
#include "Fuzz.h"

ZOR_FUZZ_TARGET(CheckMacro)
