#include "support/Rows.h"
#include "support/SchemaChecks.h"

#include <common/GoogleProtoBufParser.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

using namespace zor::common;
using namespace std::string_literals;
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
    for (const std::string& none : {""s, "/dev/null/none"s, testing::TempDir() + "zor-no-such-file"}) {
        EXPECT_FALSE(parser.readProtoFile(none, messages)) << none;
    }
    for (const char* broken : {"/proc/self/mem", "/", "/dev/null"}) { // which open, and no byte can be read from them
        EXPECT_TRUE(parser.readProtoFile(broken, messages)) << broken;
        std::ifstream file(broken);
        std::stringstream block("stale");
        EXPECT_FALSE(parser.readMessage(file, block)) << broken;
        EXPECT_EQ(block.str(), "");
    }
    const SchemaFile file(kA7);
    EXPECT_TRUE(parser.readProtoFile(file.path, messages));
    EXPECT_TRUE(parser.readProtoFile(file.path, messages));
    EXPECT_EQ(Text(messages), "// 1\nmessage  {\n}\n" + kA7 + kA7);
}

/// A pipe that a timer's signal feeds, a piece at a time, and in the end closes or breaks. So each read gets less than it
/// asks for, or is broken off by a signal.
struct SlowPipe {
    static inline int sEnds[2], sReader, sCalls;
    static inline std::string sText;
    static inline bool sBreaks;

    static void Feed(int)
    {
        if (++sCalls % 2 == 0) return; // the read is broken off with nothing to read
        const auto size =
            write(sEnds[1], sText.data(), std::min<std::size_t>(sText.size(), 7u << std::min(sCalls, 12)));
        if (size > 0) sText.erase(0, static_cast<std::size_t>(size));
        if (size == 0) sBreaks ? fcntl(sReader, F_SETFL, O_NONBLOCK) : dup2(sReader, sEnds[1]); // an error, or the end
    }
    static void Read(const std::string& text, bool breaks, std::vector<MessageInfo>& messages)
    {
        ASSERT_EQ(pipe(sEnds), 0);
        sReader = dup(0), close(sReader); // the number that the next file gets
        sText = text, sBreaks = breaks, sCalls = 0;
        struct sigaction feed = {};
        feed.sa_handler = Feed;
        itimerval interval = {{0, 300}, {0, 300}};
        ASSERT_TRUE(sigaction(SIGALRM, &feed, nullptr) == 0 && setitimer(ITIMER_REAL, &interval, nullptr) == 0);
        EXPECT_TRUE(CGoogleProtoBufParser().readProtoFile("/proc/self/fd/" + std::to_string(sEnds[0]), messages));
        interval = {};
        setitimer(ITIMER_REAL, &interval, nullptr);
        close(sEnds[0]), close(sEnds[1]);
    }
};

/// What is read up to the fault counts, and the fault ends the file: what stands before it is no last line.
TEST(GoogleProtoBufParser, FilesMayFailWhileTheyAreRead)
{
    const std::string last = "// 8\nmessage B { bool y=2; }";
    const std::string blanks(30000, '\n');
    for (const std::string& text : {""s, kA7 + last, std::string(kA7).append(blanks).append(last)}) {
        for (const bool breaks : {false, true}) {
            std::vector<MessageInfo> messages;
            ASSERT_NO_FATAL_FAILURE(SlowPipe::Read(text, breaks, messages));
            EXPECT_EQ(Text(messages), text.empty() ? "" : breaks ? kA7 : kA7 + kB8);
        }
    }
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

TEST(GoogleProtoBufParser, AStreamThatIsNotOpenForReadingIsAtItsEnd)
{
    std::stringstream unreadable("word", std::ios::out);
    std::string word = "stale";
    EXPECT_FALSE(CGoogleProtoBufParser().parseWord(unreadable, word));
    EXPECT_EQ(word, "");
    EXPECT_TRUE(unreadable.eof() && unreadable.fail());
}

TEST(GoogleProtoBufParser, StepsMoveAStreamAsPlainCallsDo)
{
    Random random(4);
    test::SchemaSteps steps;
    for (int round = 0; round < 80000; ++round) ASSERT_NO_FATAL_FAILURE(steps.Check(random));
    for (const int count : steps.done) EXPECT_GT(count, 500);
}

TEST(GoogleProtoBufParser, FilesAreReadAsTheirStepsDo)
{
    Random random(6);
    const test::SchemaSteps steps;
    for (int round = 0; round < 3000; ++round) ASSERT_NO_FATAL_FAILURE(steps.CheckFile(random));
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

TEST(GoogleProtoBufParser, SaysWhatIsNotRead)
{
    for (const auto& row : test::Rows("protobuf-faults.txt")) {
        std::string expected;
        for (std::size_t i = 1; i < row.size(); ++i) expected += row[i] + '\n';
        std::vector<CGoogleProtoBufMessageInfo> messages;
        EXPECT_EQ(test::SchemaFile(row[0]).Faults(messages), expected) << row[0];
    }
    std::vector<CGoogleProtoBufMessageInfo> messages;
    std::vector<SchemaDiagnostic> found;
    EXPECT_FALSE(CGoogleProtoBufParser().readProtoFile("", messages, found));
    EXPECT_TRUE(CGoogleProtoBufParser().readProtoFile("/", messages, found));
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[1].message, "The file cannot be read.");
}

} // namespace
