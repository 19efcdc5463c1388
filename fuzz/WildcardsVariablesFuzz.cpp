#include "../tests/support/WildcardsChecks.h"
#include "Fuzz.h"

ZOR_FUZZ_TARGET(CheckVariableList)
