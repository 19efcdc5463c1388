#include "../tests/support/CompiledChecks.h"
#include "Fuzz.h"

ZOR_FUZZ_TARGET(CheckCompiledTemplate)
