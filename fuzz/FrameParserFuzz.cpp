#include "../tests/support/FrameChecks.h"
#include "Fuzz.h"

ZOR_FUZZ_TARGET(CheckPacketBytes)
