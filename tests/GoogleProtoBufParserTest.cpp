#include "support/Random.h"
#include "support/Rows.h"

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
using FieldInfo = CGoogleProtoBufFieldInfo;
using MessageInfo = CGoogleProtoBufMessageInfo;
using test::Random;
using test::Rows;

namespace {

/// The steps in plain stream calls, as slow as they come.
namespace plain {

bool Token(std::istream& in, const std::string& token)
{
    const auto start = in.tellg();
    std::size_t matched = 0;
    while (matched < token.size() && !in.eof()) {
        char c = '\0';
        if (!(in >> c)) break;
        if (c == token[matched]) {
            ++matched;
        } else if (matched > 0 || (c != '\t' && c != '\n' && c != ' ')) {
            break;
        }
    }
    if (matched == token.size()) return true;
    if (in.eof()) in.clear();
    in.seekg(start);
    return false;
}

bool Word(std::istream& in, std::string& word)
{
    if (in.eof()) return false;
    if (!(in >> word)) word.clear();
    const std::size_t length = word.find_first_of("={};");
    if (length != std::string::npos) {
        if (in.eof()) in.clear();
        in.seekg(static_cast<std::streamoff>(length) - static_cast<std::streamoff>(word.size()), std::ios::cur);
        word.resize(length);
    }
    return !word.empty();
}

bool Line(std::istream& in)
{
    std::string line;
    return static_cast<bool>(std::getline(in, line));
}

bool Tlv(std::istream& in, std::int32_t& tlv)
{
    std::vector<std::streampos> comments;
    while (!in.eof() && !Token(in, "message")) {
        const bool comment = Token(in, "//");
        if (!comment) comments.clear();
        if (comment) comments.push_back(in.tellg());
        if (!Line(in)) return false;
    }
    if (comments.empty()) return false;
    in.seekg(comments[0]);
    std::string word;
    do {
        if (!Word(in, word)) return false;
    } while (word.find_first_not_of("0123456789") != std::string::npos);
    tlv = std::atoi(word.c_str());
    return true;
}

bool Field(std::istream& in, FieldInfo& field)
{
    field.reset();
    if (!Token(in, "optional")) {
        field.optional = !Token(in, "required");
        field.repeated = field.optional && Token(in, "repeated");
    }
    std::string word;
    if (!Word(in, word)) return false;
    field.type = FieldInfo::stringToFieldType(word);
    if (field.type == FieldInfo::TypeNone || !Word(in, word)) return false;
    field.name = word;
    if (!Token(in, "=") || !Word(in, word)) return false;
    field.tag = std::atoi(word.c_str());
    return Token(in, ";");
}

bool Message(std::istream& in, MessageInfo& message)
{
    message.reset();
    std::string word;
    while (true) {
        if (in.eof()) return true;
        if (Token(in, "message")) break;
        if (!Token(in, "//")) {
            Word(in, word);
            return false;
        }
        if (!Line(in)) return false;
    }
    if (!Word(in, word)) return false;
    message.name = word;
    if (!Token(in, "{")) return false;
    FieldInfo field;
    while (!in.eof()) {
        if (!Field(in, field)) return false;
        message.fields.push_back(field);
        if (Token(in, "}")) return true;
        if (Token(in, "//") && !Line(in)) return false;
    }
    return true;
}

} // namespace plain

std::string Text(const std::vector<MessageInfo>& messages)
{
    std::ostringstream text;
    for (const MessageInfo& message : messages) message.protoIdlToStream(text << "// " << message.tlvType << '\n');
    return text.str();
}

/// A schema file for the time of a test.
class SchemaFile {
public:
    explicit SchemaFile(const std::string& text) { std::ofstream(path, std::ios::binary) << text; }
    SchemaFile(const SchemaFile&) = delete;
    SchemaFile& operator=(const SchemaFile&) = delete;
    ~SchemaFile() { std::remove(path.c_str()); }

    std::string Read() const
    {
        std::vector<MessageInfo> messages;
        EXPECT_TRUE(CGoogleProtoBufParser().readProtoFile(path, messages));
        return Text(messages);
    }

    const std::string path = testing::TempDir() + "zor-" + std::to_string(getpid()) + ".proto";
};

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

TEST(GoogleProtoBufParser, ErrorTextsOfTypes)
{
    CGoogleProtoBufParser parser;
    std::stringstream in("sint32 Int32;");
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

/// A locale for which a newline is no white space, and "x" is.
class OddBlanks : public std::ctype<char> {
public:
    OddBlanks() : ctype(Table()) {}

private:
    static const mask* Table()
    {
        static std::vector<mask> table(classic_table(), classic_table() + table_size);
        table['\n'] = cntrl;
        table['x'] = space;
        return table.data();
    }
};

const std::locale kOddBlanks(std::locale::classic(), new OddBlanks);

/// Random steps on random texts: result, output, position and state of each are those of plain stream calls.
TEST(GoogleProtoBufParser, StepsMoveAStreamAsPlainCallsDo)
{
    CGoogleProtoBufParser parser;
    Random random(4);
    std::vector<std::string> pieces = {"\0\xff\v"s};
    std::istringstream list(
        "// c 7\n|message |A{|required|int32| x|=|1|;|}| |\n|mess age|/|bool y=2; |\t\n\n|//8|uint64 z=3;");
    for (std::string piece; std::getline(list, piece, '|');) pieces.push_back(piece);
    int done[6] = {};
    for (int round = 0; round < 60000; ++round) {
        std::string text = random.Below(2) == 0 ? "// 7\nmessage A {\nint32 x = 1; // c\n bool y=2;}" : "";
        for (std::size_t n = random.Below(9); n > 0; --n) text += pieces[random.Below(std::size(pieces))];
        text = random.Mutated(text, "m/o{}=; \n\t7x\r\0\xa0"s);
        std::stringstream ours(text), theirs(text);
        if (random.Below(8) == 0) theirs >> std::noskipws, ours >> std::noskipws;
        if (random.Below(8) == 0) theirs.imbue(kOddBlanks), ours.imbue(kOddBlanks);
        const auto state = static_cast<std::ios::iostate>(random.Below(8) == 0 ? random.Below(8) : 0);
        theirs.setstate(state), ours.setstate(state);
        std::string ourWord = "stale", theirWord = "stale";
        std::int32_t ourTlv = -1, theirTlv = -1;
        MessageInfo ourMessage, theirMessage;
        ourMessage.tlvType = theirMessage.tlvType = 42;
        FieldInfo ourField, theirField;
        for (int steps = 0; steps < 6; ++steps) {
            const std::size_t step = random.Below(6);
            const std::string token = pieces[random.Below(std::size(pieces))];
            bool us = false, them = false;
            switch (step) {
            case 0: us = parser.tryParseToken(ours, token), them = plain::Token(theirs, token); break;
            case 1: us = parser.parseWord(ours, ourWord), them = plain::Word(theirs, theirWord); break;
            case 2: us = parser.parseFieldFromStream(ours, ourField), them = plain::Field(theirs, theirField); break;
            case 3:
                us = parser.parseMessageFromStream(ours, ourMessage), them = plain::Message(theirs, theirMessage);
                break;
            case 4: us = parser.parseTlvTypeFromStream(ours, ourTlv), them = plain::Tlv(theirs, theirTlv); break;
            default: us = !!std::getline(ours, ourWord), them = !!std::getline(theirs, theirWord);
            }
            SCOPED_TRACE("step " + std::to_string(step) + " on \"" + text + '"');
            ASSERT_EQ(us, them);
            ASSERT_EQ(ours.rdstate(), theirs.rdstate());
            ASSERT_EQ(ours.rdbuf()->pubseekoff(0, std::ios::cur, std::ios::in),
                      theirs.rdbuf()->pubseekoff(0, std::ios::cur, std::ios::in));
            ASSERT_EQ(ourWord, theirWord);
            ASSERT_EQ(ourTlv, theirTlv);
            ASSERT_EQ(Text({ourMessage}), Text({theirMessage}));
            ourMessage.fields = {ourField}, theirMessage.fields = {theirField};
            ASSERT_EQ(Text({ourMessage}), Text({theirMessage}));
            done[step] += us;
            if (random.Below(8) == 0) ours.clear(), theirs.clear();
        }
    }
    for (const int count : done) EXPECT_GT(count, 1000);
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
