#include "../tests/support/ChecksumChecks.h"
#include "Fuzz.h"

ZOR_FUZZ_TARGET(CheckFoundChecksums)
