#include "support/Rows.h"
#include "support/SchemaChecks.h"

#include <common/GoogleProtoBufParser.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
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

/// What is read up to the fault counts, and the fault ends the file: in mid-message, so that no more comes of it.
TEST(GoogleProtoBufParser, FilesMayFailWhileTheyAreRead)
{
    CGoogleProtoBufParser parser;
    const std::string path = testing::TempDir() + "zor-" + std::to_string(getpid()) + ".fifo";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    struct sigaction ignore = {};
    ignore.sa_handler = [](int) {};
    ASSERT_TRUE(sigaction(SIGUSR1, &ignore, nullptr) == 0 && sigaction(SIGPIPE, &ignore, nullptr) == 0);
    const std::string half = "// 8\nmessage B {\nrequired";
    const std::string texts[] = {"", kA7 + half, kA7 + kA7 + std::string(70000, '\n') + half};
    for (const std::string& text : texts) {
        std::thread writer([&, reader = pthread_self()] { // in pieces, each written by itself
            std::ofstream pipe(path);
            for (std::size_t i = 0, n = 7; i < text.size(); i += n, n *= 2) {
                usleep(1000), pthread_kill(reader, SIGUSR1); // which ends a read before it has got all, or any byte
                pipe << text.substr(i, n) << std::flush;
            }
        });
        std::vector<MessageInfo> messages;
        EXPECT_TRUE(parser.readProtoFile(path, messages));
        writer.join();
        EXPECT_EQ(Text(messages), text.empty() ? "" : text.size() < 1000 ? kA7 : kA7 + kA7);
    }
    std::remove(path.c_str());

    // It opens and no byte can be read from it; a stream sees the same.
    for (const char* broken : {"/proc/self/mem", "/", "/dev/null"}) {
        std::vector<MessageInfo> messages;
        EXPECT_TRUE(parser.readProtoFile(broken, messages)) << broken;
        EXPECT_TRUE(messages.empty());
        std::ifstream file(broken);
        std::stringstream block("stale");
        EXPECT_FALSE(parser.readMessage(file, block)) << broken;
        EXPECT_EQ(block.str(), "");
    }
    std::vector<MessageInfo> messages;
    EXPECT_FALSE(parser.readProtoFile("", messages));
    EXPECT_FALSE(parser.readProtoFile("/dev/null/none", messages));
}

/// Cut short between two blocks: the reader sees the end where its buffer ends.
TEST(GoogleProtoBufParser, FilesMayChangeWhileTheyAreRead)
{
    std::string text;
    while (text.size() < 40000) text += kA7;
    const SchemaFile cut(text);
    std::ifstream file(cut.path);
    std::stringstream block;
    ASSERT_TRUE(CGoogleProtoBufParser().readMessage(file, block));
    EXPECT_EQ(block.str(), kA7);
    ASSERT_EQ(truncate(cut.path.c_str(), 3), 0);
    int blocks = 0;
    while (CGoogleProtoBufParser().readMessage(file, block)) ++blocks;
    EXPECT_LT(blocks, 40000 / 40) << "no more than its buffer held";
    EXPECT_TRUE(file.fail());
}

/// A buffer that breaks in the middle of a line.
TEST(GoogleProtoBufParser, BlocksOfAStreamThatBreaks)
{
    struct Broken : std::filebuf {
        int_type underflow() override { throw std::runtime_error("broken"); }
    };
    std::ifstream file;
    Broken broken;
    file.basic_ios<char>::rdbuf(&broken);
    std::stringstream block("stale");
    EXPECT_FALSE(CGoogleProtoBufParser().readMessage(file, block));
    EXPECT_TRUE(file.bad());
    EXPECT_EQ(block.str(), "");
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
    std::stringstream unreadable("word", std::ios::out);
    std::string word = "stale";
    EXPECT_FALSE(CGoogleProtoBufParser().parseWord(unreadable, word));
    EXPECT_EQ(word, "");
    EXPECT_TRUE(unreadable.eof() && unreadable.fail());
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
TEST(GoogleProtoBufParser, HostileFilesAreReadWhole)
{
    const std::string open = "message A{required int32 x=1;";
    std::string many;
    for (int i = 0; i < 2000; ++i) many += kA7;
    const std::string texts[] = {many, "// 7\n" + open + std::string(10000, '}'),
                                 "// 7\n" + open + "bool" + std::string(1 << 17, 'y') + ";}\n" + kB8,
                                 "//" + std::string(1 << 17, ' ') + "7\n" + open + "}",
                                 std::string(1 << 17, '\n') + "word\n// 7\n" + open + "}\n" + kB8};
    EXPECT_EQ(SchemaFile(texts[0]).Read(), texts[0]);
    EXPECT_EQ(SchemaFile(texts[1]).Read(), kA7);
    EXPECT_EQ(SchemaFile(texts[2]).Read(), kB8);
    EXPECT_EQ(SchemaFile(texts[3]).Read(), kA7);
    EXPECT_EQ(SchemaFile(texts[4]).Read(), kB8);
}

} // namespace
