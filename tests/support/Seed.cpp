/// \file
/// Linked into every test program: if a test fails, prints the seed of the run, so that its inputs can be drawn again.

#include "Random.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace {

class SeedNote : public testing::EmptyTestEventListener {
    void OnTestProgramEnd(const testing::UnitTest& tests) override
    {
        if (tests.Passed()) return;
        std::printf("Inputs were drawn with ZOR_TEST_SEED=%llu.\n",
                    static_cast<unsigned long long>(zor::common::test::Random::RunSeed()));
    }
};

[[maybe_unused]] const bool kInstalled = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new SeedNote);
    return true;
}();

} // namespace
