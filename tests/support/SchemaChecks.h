#ifndef ZOR_COMMON_TESTS_SCHEMA_CHECKS_H
#define ZOR_COMMON_TESTS_SCHEMA_CHECKS_H

/// \file
/// Schema reading, checked against plain stream calls on what a test or a fuzzer draws.

#include "Random.h"

#include <common/GoogleProtoBufParser.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

namespace zor::common::test {

using FieldInfo = CGoogleProtoBufFieldInfo;
using MessageInfo = CGoogleProtoBufMessageInfo;

/// The steps in plain stream calls, as slow as they come.
namespace plain {

inline bool Token(std::istream& in, const std::string& token)
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

inline bool Word(std::istream& in, std::string& word)
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

inline bool Line(std::istream& in)
{
    std::string line;
    return static_cast<bool>(std::getline(in, line));
}

inline bool Tlv(std::istream& in, std::int32_t& tlv)
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

inline bool Field(std::istream& in, FieldInfo& field)
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

inline bool Message(std::istream& in, MessageInfo& message)
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

/// Cuts the next block.
inline bool Block(std::istream& file, std::stringstream& block)
{
    block.str("");
    block.clear();
    bool started = false;
    for (std::string line; std::getline(file, line);) {
        if (!started && line.compare(0, 7, "package") == 0) {
            block.str("");
            continue;
        }
        started = started || line.compare(0, 7, "message") == 0;
        block << line << '\n';
        const std::size_t brace = line.find('}');
        if (brace == std::string::npos) continue;
        file.clear();
        const bool newline = file.tellg() != std::streampos(0) && (file.unget(), file.get() == '\n');
        file.seekg(static_cast<std::streamoff>(brace) + 1 - static_cast<std::streamoff>(line.size()) -
                       (newline ? 1 : 0),
                   std::ios::cur);
        return true;
    }
    return false;
}

inline std::vector<MessageInfo> File(std::istream& file)
{
    std::vector<MessageInfo> messages;
    std::stringstream block;
    block.imbue(std::locale::classic());
    std::int32_t tlv = 0;
    while (Block(file, block)) {
        if (!Tlv(block, tlv)) break;
        block.clear();
        block.seekg(0);
        MessageInfo message;
        if (!Message(block, message)) continue;
        message.tlvType = tlv;
        messages.push_back(message);
    }
    return messages;
}

} // namespace plain

inline std::string Text(const std::vector<MessageInfo>& messages)
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
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

/// A locale for which a newline is no white space, and "x" is.
class OddBlanks : public std::ctype<char> {
public:
    OddBlanks() : ctype(Table()) {}

private:
    static const mask* Table()
    {
        static std::vector<mask> table(classic_table(), classic_table() + table_size);
        table['\n'] = table['\t'] = cntrl;
        table['x'] = space;
        return table.data();
    }
};

inline const std::locale kOddBlanks(std::locale::classic(), new OddBlanks);

/// Random steps on random texts: result, output, position and state of each are those of plain stream calls.
struct SchemaSteps {
    SchemaSteps()
    {
        using namespace std::string_literals;
        std::istringstream list(
            "// c 7\n|message |A{|required|int32| x|=|1|;|}| |\n|mess age|/|bool y=2; |\t\n\n|//8|uint64 z=3;");
        pieces.push_back("\0\xff\v"s);
        for (std::string piece; std::getline(list, piece, '|');) pieces.push_back(piece);
    }

    void Check(Random& random)
    {
        using namespace std::string_literals;
        CGoogleProtoBufParser parser;
        std::string text = random.Below(2) == 0 ? "// 7\nmessage A {\nint32 x =\t1; // c\n bool y=2;}" : "";
        for (std::size_t n = random.Below(9); n > 0; --n) text += pieces[random.Below(std::size(pieces))];
        if (random.Below(2) == 0) text = random.Mutated(text, "m/o{}=; \n\t7x\r\0\xa0"s);
        std::stringstream ours(text), theirs(text);
        ours.imbue(std::locale::classic()), theirs.imbue(std::locale::classic());
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

    /// A file, which the parser reads in another way than its steps.
    void CheckFile(Random& random) const
    {
        std::string text = random.Below(2) == 0 ? "// 7\nmessage A {\nint32 x = 1; // c\n bool y=2;}\n" : "";
        for (std::size_t n = random.Below(30); n > 0; --n) text += pieces[random.Below(pieces.size())];
        if (random.Below(2) == 0) text = random.Mutated(text, "m/o{}=; \n\t7x\r");
        std::istringstream plainFile(text);
        plainFile.imbue(std::locale::classic());
        std::vector<MessageInfo> expected = plain::File(plainFile);
        ASSERT_EQ(SchemaFile(text).Read(), Text(expected)) << text;
    }

    std::vector<std::string> pieces;
    int done[6] = {};
};

inline void CheckSchemaSteps(Random& random)
{
    SchemaSteps().Check(random);
}

inline void CheckSchemaFile(Random& random)
{
    SchemaSteps().CheckFile(random);
}

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_SCHEMA_CHECKS_H
