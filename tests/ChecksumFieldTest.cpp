#include "support/ChecksumChecks.h"
#include "support/Random.h"
#include "support/Rows.h"

#include <common/CompiledTemplate.h>

#include <gtest/gtest.h>

#include <stdexcept>

using namespace zor::common;
using test::Random;
using test::Rows;

namespace {

const unsigned char* Bytes(const std::string& text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

TEST(InternetChecksum, SumsWords)
{
    EXPECT_EQ(InternetChecksum(nullptr, 0), 0xffff);
    EXPECT_EQ(InternetChecksum(nullptr, 0, 0xffff), 0);
    EXPECT_EQ(InternetChecksum(nullptr, 0, 0xffffffff), 0);
    EXPECT_EQ(InternetChecksum(Bytes("\x01"), 1), 0xfeff) << "an odd byte is the high one";
    // The example of RFC 1071.
    EXPECT_EQ(InternetChecksum(Bytes(std::string("\x00\x01\xf2\x03\xf4\xf5\xf6\xf7", 8)), 8), 0xffff - 0xddf2);
    Random random(51);
    for (std::size_t size = 0; size < 200; ++size) {
        std::string bytes(size, '\0');
        for (char& c : bytes) c = static_cast<char>(random.Byte());
        const auto initial = static_cast<std::uint32_t>(random.Number());
        const ChecksumField field{size, {{0, size}}, initial, false, true};
        EXPECT_EQ(InternetChecksum(Bytes(bytes), size, initial), test::PlainChecksum(field, bytes)) << size;
    }
}

TEST(AdjustChecksum, EqualsTheFullSum)
{
    Random random(52);
    for (int round = 0; round < 20000; ++round) {
        ASSERT_NO_FATAL_FAILURE(test::CheckAdjustment(random)) << "round " << round;
    }
}

/// "24 (14+20), 40 (26+8 34+26) +43 U" and so on: place, spans, initial sum, U where zero is all ones.
std::string Text(const std::vector<ChecksumField>& fields)
{
    std::string text;
    for (const ChecksumField& field : fields) {
        text += (text.empty() ? "" : ", ") + std::to_string(field.at) + " (";
        for (const ByteSpan& span : field.covered) {
            text += (text.back() == '(' ? "" : " ") + std::to_string(span.offset) + "+" + std::to_string(span.size);
        }
        text += ")" + (field.initial != 0 ? " +" + std::to_string(field.initial) : "");
        text += field.zeroIsAllOnes ? " U" : "";
    }
    return text;
}

TEST(FindChecksums, ReadsTheHeaders)
{
    for (const auto& row : Rows("checksum-frames.txt")) {
        std::string frame;
        Wildcards("@h" + row[1], "@").GetValue(frame);
        EXPECT_EQ(Text(FindChecksums(Bytes(frame), frame.size())), row[2]) << row[0];
    }
}

TEST(FindChecksums, TakesAnyBytes)
{
    Random random(53);
    for (int round = 0; round < 2000; ++round) {
        ASSERT_NO_FATAL_FAILURE(test::CheckFoundChecksums(random)) << "round " << round;
    }
}

TEST(CompiledTemplate, RefusesChecksumsThatDoNotFit)
{
    struct Case {
        const char* templ;
        std::vector<ChecksumField> fields;
        const char* message;
    };
    const Case cases[] = {
        {"@x(1,10)abcd", {{2, {}}}, "checksum field 0 needs a template whose values have one size"},
        {"@h00112233", {{3, {}}}, "checksum field 0 reaches beyond the frame"},
        {"@h00", {{0, {}}}, "checksum field 0 reaches beyond the frame"},
        {"@h00112233", {{~std::size_t{0}, {}}}, "checksum field 0 reaches beyond the frame"},
        {"@h00112233", {{0, {{2, 3}}}}, "checksum field 0 covers bytes beyond the frame"},
        {"@h00112233", {{0, {{2, ~std::size_t{0}}}}}, "checksum field 0 covers bytes beyond the frame"},
        {"@h00112233", {{0, {}}, {1, {}}}, "checksum field 1 overlaps another one"},
        {"@h0011@$(22,9,1,big)33", {{1, {}}}, "checksum field 0 stands over an expression"},
        {"@h0011@$(22,1,1,big)33", {{2, {}}}, "checksum field 0 stands over an expression"},
        {"ab@_(1,2)c@_(1)de", {{1, {}}}, "checksum field 0 stands over an expression"},
        {"ab@_(0,2)c@_(1)de", {{4, {}}}, "checksum field 0 stands over an expression"},
        {"ab@=(port)", {{2, {}}}, "checksum field 0 stands over an expression"},
    };
    for (const Case& test : cases) {
        try {
            const CompiledTemplate compiled(Wildcards(test.templ, "@"), test.fields);
            ADD_FAILURE() << test.templ << " raises nothing";
        } catch (const std::invalid_argument& error) {
            EXPECT_STREQ(error.what(), test.message) << test.templ;
        }
    }
    EXPECT_NO_THROW(CompiledTemplate(Wildcards("@h0011@@@@@_(1,1)@_@=(none)55", "@"), {{2, {{0, 6}}}}))
        << "an escape is literal text, and what shows nothing stands nowhere";
}

TEST(CompiledTemplate, ComparesChecksums)
{
    const Wildcards source("@h0000@$(00,0,01,big)", "@");
    const std::vector<ChecksumField> fields = {{0, {{2, 1}}}};
    const CompiledTemplate compiled(source, fields);
    EXPECT_EQ(compiled, CompiledTemplate(source, fields));
    EXPECT_NE(compiled, CompiledTemplate(source));
    EXPECT_NE(compiled, CompiledTemplate(source, {{0, {{2, 1}}, 1}}));
    EXPECT_EQ(compiled.GetChangingSpans(), (std::vector<ByteSpan>{{0, 3}})) << "with the checksum in front";
    EXPECT_TRUE(CompiledTemplate(source, {{0, {}}}).GetChangingSpans() == (std::vector<ByteSpan>{{2, 1}}));
}

} // namespace
