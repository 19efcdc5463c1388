#include "../tests/support/DiagnosticChecks.h"
#include "Fuzz.h"

ZOR_FUZZ_TARGET(CheckDiagnostics)
