#include "../tests/support/SchemaChecks.h"
#include "Fuzz.h"

ZOR_FUZZ_TARGET(CheckSchemaSteps)
