#ifndef ZOR_COMMON_TESTS_SCHEMA_CHECKS_H
#define ZOR_COMMON_TESTS_SCHEMA_CHECKS_H

/// \file
/// Schema reading, checked against plain stream calls on what a test or a fuzzer draws.

#include "Random.h"
#include "SchemaModel.h"

#include <common/GoogleProtoBufParser.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

namespace zor::common::test {

/// All of a field, also what its text does not show.
inline std::string Members(const FieldInfo& field)
{
    return field.name + ' ' + std::to_string(field.type) + (field.optional ? " optional" : "") +
           (field.repeated ? " repeated" : "") + '=' + std::to_string(field.tag) + '\n';
}

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
        std::vector<MessageInfo> same;
        Faults(same);
        EXPECT_EQ(Text(messages), Text(same));
        return Text(messages);
    }

    /// What is said of the file: "3:5 w message -> hint", each on a line.
    std::string Faults(std::vector<MessageInfo>& messages) const
    {
        std::vector<SchemaDiagnostic> found;
        EXPECT_TRUE(CGoogleProtoBufParser().readProtoFile(path, messages, found));
        std::string faults;
        for (const SchemaDiagnostic& each : found) {
            faults += std::to_string(each.line) + ':' + std::to_string(each.column) + ' ' +
                      "nwe"[static_cast<std::size_t>(each.severity)] + ' ' + each.message +
                      (each.hint.empty() ? "" : " -> ") + each.hint + '\n';
        }
        return faults;
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

/// A stream and the outputs of the steps, which are used again from step to step.
struct SchemaOutputs {
    std::stringstream in;
    std::string word = "stale", error = "stale";
    std::int32_t tlv = -1;
    FieldInfo::FieldType type = FieldInfo::TypeBool;
    FieldInfo field;
    MessageInfo message;

    explicit SchemaOutputs(const std::string& text) : in(text)
    {
        in.imbue(std::locale::classic());
        message.name = "stale", message.tlvType = 42, message.fields.resize(2), field.tag = 7, field.optional = false;
    }

    std::string Seen() const
    {
        const auto position = in.rdbuf()->pubseekoff(0, std::ios::cur, std::ios::in);
        std::string all = std::to_string(position) + ' ' + std::to_string(in.rdstate()) + ' ' + std::to_string(tlv) +
                          ' ' + std::to_string(type) + '\n' + word + '\n' + error + '\n' + Members(field) +
                          message.name + ' ' + std::to_string(message.tlvType) + '\n';
        for (const FieldInfo& read : message.fields) all += Members(read);
        return all;
    }
};

/// A step of the parser, and the same in plain stream calls.
struct SchemaStep {
    const char* name;
    bool (*run)(CGoogleProtoBufParser& parser, SchemaOutputs& outputs, const std::string& token);
    bool (*plain)(SchemaOutputs& outputs, const std::string& token);
};

inline constexpr SchemaStep kSchemaSteps[] = {
    {"token", [](auto& parser, auto& o, auto& token) { return parser.tryParseToken(o.in, token); },
     [](auto& o, auto& token) { return plain::Token(o.in, token); }},
    {"word", [](auto& parser, auto& o, auto&) { return parser.parseWord(o.in, o.word); },
     [](auto& o, auto&) { return plain::Word(o.in, o.word); }},
    {"field", [](auto& parser, auto& o, auto&) { return parser.parseFieldFromStream(o.in, o.field); },
     [](auto& o, auto&) { return plain::Field(o.in, o.field); }},
    {"message", [](auto& parser, auto& o, auto&) { return parser.parseMessageFromStream(o.in, o.message); },
     [](auto& o, auto&) { return plain::Message(o.in, o.message); }},
    {"TLV type", [](auto& parser, auto& o, auto&) { return parser.parseTlvTypeFromStream(o.in, o.tlv); },
     [](auto& o, auto&) { return plain::Tlv(o.in, o.tlv); }},
    {"type without a reason", [](auto& parser, auto& o, auto&) { return parser.parseType(o.in, o.type); },
     [](auto& o, auto&) { return plain::Type(o.in, o.type); }},
    {"type", [](auto& parser, auto& o, auto&) { return parser.parseType(o.in, o.type, o.error); },
     [](auto& o, auto&) { return plain::Type(o.in, o.type, &o.error); }},
};

/// Random steps on random texts: result, output, position and state of each are those of plain stream calls.
struct SchemaSteps {
    SchemaSteps()
    {
        using namespace std::string_literals;
        std::istringstream list("// c 7\n|message |A{|required|repeated |optional|int32| x|=|1|;|}| |\n||mess "
                                "age|/|bool y=2; |\t\n\n|//8|uint64 z=3;");
        pieces.push_back("\0\xff\v"s);
        for (std::string piece; std::getline(list, piece, '|');) pieces.push_back(piece);
    }

    std::string Draw(Random& random, std::size_t most) const
    {
        using namespace std::string_literals;
        return random.TextBy([&] {
            std::string text = random.Below(2) == 0 ? "// 7\nmessage A {\nint32 x =\t1; // c\n bool y=2;}" : "";
            for (std::size_t n = random.Below(most); n > 0; --n) text += pieces[random.Below(std::size(pieces))];
            return random.Below(2) == 0 ? random.Mutated(text, "m/o{}=; \n\t7x\r\0\xa0"s) : text;
        });
    }

    void Check(Random& random)
    {
        CGoogleProtoBufParser parser;
        const std::string text = Draw(random, 9);
        SchemaOutputs ours(text), theirs(text);
        const std::size_t form = random.Below(16);
        const auto state = static_cast<std::ios::iostate>(random.Below(8) == 0 ? random.Below(8) : 0);
        for (SchemaOutputs* const side : {&ours, &theirs}) {
            if (form % 8 == 0) side->in >> std::noskipws;
            if (form / 2 == 0) side->in.imbue(kOddBlanks);
            side->in.setstate(state);
        }
        for (int steps = 0; steps < 6; ++steps) {
            const std::size_t number = random.Below(std::size(kSchemaSteps));
            const SchemaStep& step = kSchemaSteps[number];
            const std::string token = pieces[random.Below(std::size(pieces))];
            SCOPED_TRACE(step.name + (" on \"" + text + '"'));
            const bool expected = step.plain(theirs, token);
            // An exceptions mask raises when the step is done and its outputs are set.
            const auto mask = static_cast<std::ios::iostate>(random.Below(4) == 0 ? random.Below(8) : 0);
            const auto raises = mask & ~ours.in.rdstate();
            ours.in.exceptions(raises);
            try {
                ASSERT_EQ(step.run(parser, ours, token), expected);
                ASSERT_EQ(theirs.in.rdstate() & raises, 0);
            } catch (const std::ios::failure&) {
                ASSERT_NE(theirs.in.rdstate() & raises, 0);
            }
            ours.in.exceptions(std::ios::goodbit);
            ASSERT_EQ(ours.Seen(), theirs.Seen());
            done[number] += expected;
            if (random.Below(8) == 0) ours.in.clear(), theirs.in.clear();
        }
    }

    /// A file, which the parser reads in another way than its steps do.
    void CheckFile(Random& random) const
    {
        CGoogleProtoBufParser parser;
        const SchemaFile source(Draw(random, 30));
        std::ifstream file(source.path);
        std::stringstream block;
        block.imbue(std::locale::classic());
        std::vector<MessageInfo> expected;
        for (std::int32_t tlv = 0; parser.readMessage(file, block) && parser.parseTlvTypeFromStream(block, tlv);) {
            block.clear();
            block.seekg(0);
            MessageInfo message;
            if (!parser.parseMessageFromStream(block, message)) continue;
            message.tlvType = tlv;
            expected.push_back(message);
        }
        ASSERT_EQ(source.Read(), Text(expected));
    }

    std::vector<std::string> pieces;
    int done[std::size(kSchemaSteps)] = {};
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
