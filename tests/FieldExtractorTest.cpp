#include "support/Random.h"
#include "support/Rows.h"

#include <common/FieldExtractor.h>

#include <gtest/gtest.h>

#include <cmath>

using namespace zor::common;
using test::Random;
using test::Rows;
using Bytes = std::vector<unsigned char>;

namespace {

static_assert(sizeof(FieldExtractor) == 8 && std::is_trivially_copyable_v<FieldExtractor>);

Bytes FromHex(const std::string& digits)
{
    Bytes bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        bytes.push_back(static_cast<unsigned char>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

TEST(FieldExtractor, CutsLeftAligned)
{
    for (const auto& row : Rows("bit-fields.txt")) {
        SCOPED_TRACE(row[0] + " " + row[1] + " " + row[2]);
        const FieldExtractor field(static_cast<unsigned int>(std::stoul(row[1])),
                                   static_cast<unsigned int>(std::stoul(row[2])));
        const bool fits = row[3] != "too short";
        Bytes in = FromHex(row[0]), out = {1, 2, 3};
        EXPECT_EQ(field.Validate(static_cast<unsigned int>(in.size())), fits);
        EXPECT_EQ(field.ExtractField(in, out, false), fits);
        EXPECT_EQ(out, fits ? FromHex(row[3]) : Bytes({1, 2, 3}));
    }
}

/// The field bit by bit, with zeros where the input ends. Bits of a last partial byte come from one input byte.
Bytes CutByBit(const Bytes& in, unsigned int offset, unsigned int length, bool aligned)
{
    if (aligned) offset -= offset % 8;
    Bytes out((length + 7) / 8);
    for (unsigned int i = 0; i < length; ++i) {
        const unsigned int from = offset + i;
        if (from / 8 >= in.size()) continue;
        if (length / 8 == i / 8 && from / 8 != (offset + i / 8 * 8) / 8) continue;
        if ((in[from / 8] & 128 >> from % 8) != 0) out[i / 8] |= static_cast<unsigned char>(128 >> i % 8);
    }
    return out;
}

TEST(FieldExtractor, AgreesWithSingleBits)
{
    Random random(31);
    int fitting = 0;
    for (int round = 0; round < 30000; ++round) {
        const std::size_t size = random.Below(round % 50 == 0 ? 1500 : 40);
        Bytes in(size);
        for (unsigned char& byte : in) byte = random.Byte();
        unsigned int offset = static_cast<unsigned int>(random.Below(8 * size + 20));
        if (random.Below(3) == 0) offset -= offset % 8;
        const auto length = round % 9 == 0 ? 64 : static_cast<unsigned int>(random.Below(8 * size + 30 - offset));
        const FieldExtractor field(offset, length);
        SCOPED_TRACE(testing::Message() << offset << ", " << length << " of " << size);

        Bytes before(round % 3 == 0 ? (length + 7) / 8 : random.Below(2 * size + 1), 0x5a);
        const bool reserve = random.Below(2) == 0;
        const Bytes cut = CutByBit(in, offset, length, false);
        const bool fits = offset + length <= 8 * size;
        fitting += fits;
        for (const bool same : {false, true}) { // whether input and output are one vector
            const Bytes start = same ? in : before;
            Bytes joined = start, source = in, out = start;
            if (reserve) out.reserve(start.size() + size + 4);
            Bytes& input = same ? out : source;
            joined.insert(joined.end(), cut.begin(), cut.end());
            ASSERT_EQ(field.ExtractField(input, out, true), fits);
            ASSERT_EQ(out, fits ? joined : start);
            out = start;
            ASSERT_EQ(field.ExtractField(input, out, false), fits);
            ASSERT_EQ(out, fits ? cut : start);
            out = start;
            field.ExtractNonByteAligned(input, out);
            ASSERT_EQ(out, joined);
            out = start;
            field.ExtractByteAligned(input, out);
            ASSERT_EQ(out, CutByBit(in, offset, length, true));
            ASSERT_EQ(source, in);
        }
    }
    EXPECT_GT(fitting, 10000);
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

TEST(FieldExtractor, MasksTheLowBits)
{
    for (unsigned int n = 0; n < 256; ++n) {
        EXPECT_EQ(FieldExtractor::MakeMask(static_cast<unsigned char>(n)), n < 32 ? std::exp2(n) - 1 : 4294967295.0);
    }
}

} // namespace
