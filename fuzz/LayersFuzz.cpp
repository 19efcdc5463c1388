#include "../tests/support/ToolChecks.h"
#include "Fuzz.h"

ZOR_FUZZ_TARGET(CheckLayers)
