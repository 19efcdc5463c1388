#include "support/Rows.h"
#include "support/SchemaChecks.h"

#include <common/GoogleProtoBufParser.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <unistd.h>

using namespace zor::common;
using namespace std::string_literals;
using test::FieldInfo;
using test::MessageInfo;
using test::Random;
using test::Rows;
using test::SchemaFile;
using test::Text;

namespace {

TEST(GoogleProtoBufParser, FilesGiveTheMessagesThatCanBeRead)
{
    for (const auto& row : Rows("protobuf-schemas.txt")) {
        SCOPED_TRACE(row[0]);
        EXPECT_EQ(SchemaFile(row[1]).Read(), row[2] == "nothing" ? "" : row[2]);
    }
}

const std::string kBody = "message A {\nrequired int32 x = 1;\n}\n";
const std::string kA7 = "// 7\nmessage A {\n  required int32 x=1;\n}\n";
const std::string kB8 = "// 8\nmessage B {\n  optional bool y=2;\n}\n";

TEST(GoogleProtoBufParser, AppendsAndAnswersByWhetherTheFileOpens)
{
    CGoogleProtoBufParser parser;
    std::vector<MessageInfo> messages(1);
    EXPECT_FALSE(parser.readProtoFile(testing::TempDir() + "zor-no-such-file", messages));
    EXPECT_TRUE(parser.readProtoFile(testing::TempDir(), messages));
    EXPECT_TRUE(parser.readProtoFile("/dev/urandom", messages)) << "no block, and so no more of it is read";
    const SchemaFile file(kA7);
    EXPECT_TRUE(parser.readProtoFile(file.path, messages));
    EXPECT_TRUE(parser.readProtoFile(file.path, messages));
    EXPECT_EQ(Text(messages), "// 1\nmessage  {\n}\n" + kA7 + kA7);
}

/// A block as text, where the file stands after it, and where the stream of the block stands.
TEST(GoogleProtoBufParser, CutsBlocksOneByOne)
{
    const SchemaFile source("word\npackage p; }\n// 7\r\nmessage A }x}\npackage }\nmessage\npackage }");
    std::ifstream file(source.path);
    std::stringstream block("stale");
    block.setstate(std::ios::failbit);
    const struct {
        const char* text;
        int position;
    } rows[] = {{"// 7\r\nmessage A }x}\n", 35}, {"x}\n", 37}, {"message\npackage }\n", 65}};
    for (const auto& row : rows) {
        ASSERT_TRUE(CGoogleProtoBufParser().readMessage(file, block));
        EXPECT_EQ(block.str(), row.text);
        EXPECT_TRUE(block.good());
        EXPECT_EQ(block.tellg(), 0);
        EXPECT_EQ(file.tellg(), row.position);
        block.setstate(std::ios::eofbit);
    }
    EXPECT_FALSE(CGoogleProtoBufParser().readMessage(file, block));
    EXPECT_EQ(block.str(), "");
}

TEST(GoogleProtoBufParser, AnEmptyTokenComesNextWhateverTheState)
{
    std::stringstream failed("x");
    failed.setstate(std::ios::failbit);
    EXPECT_TRUE(CGoogleProtoBufParser().tryParseToken(failed, ""));
    EXPECT_FALSE(CGoogleProtoBufParser().tryParseToken(failed, "x"));
}

TEST(GoogleProtoBufParser, ErrorTextsOfTypes)
{
    CGoogleProtoBufParser parser;
    std::stringstream in("sint32 Int32;");
    in.imbue(std::locale::classic());
    std::string error = "kept";
    FieldInfo::FieldType type = FieldInfo::TypeNone;
    EXPECT_TRUE(parser.parseType(in, type, error));
    EXPECT_EQ(error, "kept");
    EXPECT_EQ(type, FieldInfo::TypeSint32);
    EXPECT_FALSE(parser.parseType(in, type, error));
    EXPECT_EQ(error, "ParseType Failed to convert \"Int32\" to FieldType");
    EXPECT_EQ(type, FieldInfo::TypeNone);
    type = FieldInfo::TypeBool;
    EXPECT_FALSE(parser.parseType(in, type, error));
    EXPECT_EQ(error, "ParseType failed to read a word");
    EXPECT_FALSE(parser.parseType(in, type));
    EXPECT_EQ(type, FieldInfo::TypeBool);
}

TEST(GoogleProtoBufParser, StepsMoveAStreamAsPlainCallsDo)
{
    Random random(4);
    test::SchemaSteps steps;
    for (int round = 0; round < 60000; ++round) ASSERT_NO_FATAL_FAILURE(steps.Check(random));
    for (const int count : steps.done) EXPECT_GT(count, 1000);
}

TEST(GoogleProtoBufParser, FilesAreReadAsPlainCallsDo)
{
    Random random(6);
    const test::SchemaSteps steps;
    for (int round = 0; round < 5000; ++round) ASSERT_NO_FATAL_FAILURE(steps.CheckFile(random));
}

/// A file is read in pieces, and a piece ends anywhere.
TEST(GoogleProtoBufParser, LongFilesAreReadWhole)
{
    Random random(5);
    std::string text, expected;
    while (text.size() < 3000000) {
        text += "// " + std::string(random.Below(3000), ' ') + "7\n";
        if (random.Below(3) == 0) text += "word\npackage p;\n//7\n";
        const bool whole = random.Below(4) != 0;
        text += whole ? kBody : "message A {\n}\n";
        expected += whole ? kA7 : "";
    }
    EXPECT_EQ(SchemaFile(text).Read(), expected);
}

/// Each of these takes minutes when something is read once more for every line, word or brace.
TEST(GoogleProtoBufParser, TimeIsLinearInTheSizeOfTheFile)
{
    const std::string open = "message A{required int32 x=1;";
    std::string many;
    for (int i = 0; i < 10000; ++i) many += kA7;
    const std::string texts[] = {many, "// 7\n" + open + std::string(100000, '}'),
                                 "// 7\n" + open + "bool" + std::string(1 << 20, 'y') + ";}\n" + kB8,
                                 "//" + std::string(1 << 20, ' ') + "7\n" + open + "}",
                                 std::string(1 << 20, '\n') + "word\n// 7\n" + open + "}\n" + kB8};
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(SchemaFile(texts[0]).Read(), texts[0]);
    EXPECT_EQ(SchemaFile(texts[1]).Read(), kA7);
    EXPECT_EQ(SchemaFile(texts[2]).Read(), kB8);
    EXPECT_EQ(SchemaFile(texts[3]).Read(), kA7);
    EXPECT_EQ(SchemaFile(texts[4]).Read(), kB8);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

} // namespace
