#ifndef ZOR_COMMON_FUZZ_FUZZ_H
#define ZOR_COMMON_FUZZ_FUZZ_H

/// \file
/// What a fuzz target is: a check that draws from the fuzzer's bytes what it draws from a generator in the tests.

#include "../tests/support/Random.h"

#include <gtest/gtest.h>

#include <cstddef>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size);

/// Runs a check of the tests once for each input, and ends the process where it finds a difference and has described it.
#define ZOR_FUZZ_TARGET(check)                                                                                         \
    int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size)                                           \
    {                                                                                                                  \
        zor::common::test::Random random(bytes, size);                                                                 \
        zor::common::test::check(random);                                                                              \
        if (testing::Test::HasFailure()) __builtin_trap();                                                             \
        return 0;                                                                                                      \
    }

#endif // ZOR_COMMON_FUZZ_FUZZ_H
