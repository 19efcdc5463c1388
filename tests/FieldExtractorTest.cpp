#include "support/FieldChecks.h"
#include "support/Random.h"

#include <common/FieldExtractor.h>

#include <gtest/gtest.h>

#include <cmath>

using namespace zor::common;
using test::Bytes;
using test::Random;

namespace {

static_assert(std::is_trivially_copyable_v<FieldExtractor>);

TEST(FieldExtractor, AgreesWithSingleBits)
{
    Random random(31);
    for (int round = 0; round < 30000; ++round) ASSERT_NO_FATAL_FAILURE(test::CheckFieldExtractor(random));
    EXPECT_GT(random.accepted, 10000);
}

TEST(FieldExtractor, FieldsBeyondThirtyTwoBitsNeverFit)
{
    const struct {
        unsigned int offset, length, size;
        bool valid;
    } rows[] = {{0xffffffff, 1, 0, true}, {0xffffffff, 2, 0, false},          {0xffffffff, 9, 1, true},
                {8, 0xffffffff, 1, true}, {0xffffffff, 0, 0x1fffffff, false}, {0xffffffff, 0, 0x20000000, true}};
    for (const auto& row : rows) {
        const FieldExtractor field(row.offset, row.length);
        EXPECT_EQ(field.Validate(row.size), row.valid) << row.offset << ", " << row.length;
        Bytes in = {1, 2}, out = {3};
        EXPECT_FALSE(field.ExtractField(in, out, false));
        EXPECT_EQ(out, Bytes{3});
    }
}

TEST(FieldExtractor, NumbersOfAnyPlaceAndLength)
{
    constexpr unsigned char kBytes[] = {0x12, 0x34, 0x56, 0x78, 0x9a, 0xbc, 0xde, 0xf0, 0x0f};
    static_assert(FieldExtractor::Get(kBytes, 9, 4, 12) == 0x234 &&
                  FieldExtractor::Get(kBytes, 9, 4, 64) == 0x23456789abcdef00);
    static_assert(FieldExtractor::Get(kBytes, 9, 8, 64) == 0x3456789abcdef00f &&
                  FieldExtractor::Get(kBytes, 9, 71, 1) == 1);
    for (unsigned int length = 0; length < 200; ++length) {
        for (unsigned int offset = 0; offset < 90; ++offset) {
            std::uint64_t expected = 0;
            for (std::size_t i = offset; i < offset + length && length <= 64; ++i)
                expected = expected << 1 | (i < 72 && (kBytes[i / 8] & 128 >> i % 8) != 0 ? 1 : 0);
            ASSERT_EQ(FieldExtractor::Get(kBytes, 9, offset, length), expected) << offset << ", " << length;
        }
    }
    constexpr std::size_t kHuge = ~std::size_t{0};
    EXPECT_EQ(FieldExtractor::Get(kBytes, 9, kHuge, 64) + FieldExtractor::Get(kBytes, 9, 0, kHuge) +
                  FieldExtractor::Get(nullptr, 0, 0, 8),
              0u);
}

TEST(FieldExtractor, MasksTheLowBits)
{
    for (unsigned int n = 0; n < 256; ++n) {
        EXPECT_EQ(FieldExtractor::MakeMask(static_cast<unsigned char>(n)), n < 32 ? std::exp2(n) - 1 : 4294967295.0);
    }
}

} // namespace
