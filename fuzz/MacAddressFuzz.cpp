#include "../tests/support/AddressChecks.h"
#include "Fuzz.h"

ZOR_FUZZ_TARGET(CheckGroupsText<zor::common::CMacAddress>)
