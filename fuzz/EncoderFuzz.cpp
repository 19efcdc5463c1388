#include "../tests/support/EncoderChecks.h"
#include "Fuzz.h"

ZOR_FUZZ_TARGET(CheckEncoder)
