// What allocates, and what a failing allocation leaves behind.

#include "support/FailingNew.h"
#include "support/SchemaChecks.h"

#include <common/FieldExtractor.h>
#include <common/GoogleProtoBuf.h>
#include <common/GoogleProtoBufParser.h>
#include <common/Ipv6Address.h>
#include <common/MacroExpander.h>
#include <common/Wildcards.h>
#include <common/WorldWideName.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>

using namespace zor::common;
using test::gAllocations;
using test::gFailAt;
using test::gLive;

namespace {

constexpr const char* kTemplate =
    "@x(0,0,7,5)@m@$(0A000001,5,0100,ipv4)@$(ffffffffffff,0,1,ipv6)@$(00ff,0,1,hex,1,f00f)"
    "@_(1,0)@=(A_variable_with_a_long_name)@_@$(01,0,00000000000000000001,big)";

TEST(Allocation, NoneOnceWarm)
{
    Wildcards wildcards(kTemplate, "@");
    wildcards.AddVar("a_variable_with_a_long_name", "and a value that is longer than any string keeps inside");
    std::string value;
    wildcards.GetValueAt(9999, value, false);
    for (int i = 0; i < 20; ++i) wildcards.GetNextValue(value);
    const long before = gAllocations;
    for (int i = 0; i < 1000; ++i) wildcards.GetNextValue(value);
    wildcards.GetValue(value);
    wildcards.Expand(value);
    wildcards.NextValue();
    EXPECT_EQ(gAllocations - before, 0);

    Hexfield field(std::string(80, '7'));
    const Hexfield other(std::string(60, 'f'));
    const long beforeField = gAllocations;
    field += other;
    field -= other;
    field |= other;
    field &= other;
    field *= 3;
    field.MaskMultiply(3, other);
    field = other;
    EXPECT_EQ(gAllocations - beforeField, 0);
}

TEST(Allocation, NoneForNarrowFields)
{
    const std::string text(32, '7');
    const long before = gAllocations;
    Hexfield field(text);
    Hexfield other = (-field + field - (field & ~field)) | field;
    std::swap(field, other);
    field.normalize(3);
    field = other + 5;
    EXPECT_EQ(gAllocations - before, 0);
    field.normalize(17);
    EXPECT_EQ(gAllocations - before, 1);
}

std::string Expanded(const Wildcards& object)
{
    std::string text;
    object.Expand(text);
    return text;
}

/// A call that writes to a text without room of its own, so that what is written to it is allocated.
template <class Call>
auto Into(Call call)
{
    return [call](auto& object) {
        std::string text;
        call(object, text);
    };
}

/// Runs each operation with its first, second, ... allocation failing, until it succeeds, and then checks that each
/// failure has left the object as \a same sees it, and nothing allocated.
template <class T, class Same, class... Operations>
void FailEachAllocation(const T& start, Same same, Operations... operations)
{
    int number = 0;
    const auto failEach = [&](auto operation) {
        ++number;
        bool done = false;
        for (long failAt = 0; !done; ++failAt) {
            const long live = gLive;
            {
                T object(start);
                gFailAt = failAt;
                try {
                    operation(object);
                    gFailAt = -1;
                    done = true;
                } catch (const std::bad_alloc&) {
                    gFailAt = -1;
                    EXPECT_TRUE(same(object)) << "operation " << number << ", allocation " << failAt;
                }
            }
            EXPECT_TRUE(gLive == live || done) << "operation " << number << ", allocation " << failAt;
            ASSERT_LT(failAt, 1000) << "never succeeded";
        }
    };
    (failEach(operations), ...);
}

TEST(Allocation, NoneForUsualAddressTexts)
{
    for (const std::string text :
         {"::", "::1", "1::", "1::8", "2001:db8::1:0:0:1", "1:2:3:4:5:6:7::", "::2:3:4:5:6:7:8", "::1.2.3.4",
          "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", "0:0:0:0:0:ffff:255.255.255.255", "64:ff9b::1.2.3.4"}) {
        const long before = gAllocations;
        EXPECT_TRUE(CIpv6Address().CopyFromString(text, nullptr));
        EXPECT_EQ(gAllocations - before, 0) << text;
    }
}

TEST(Allocation, FailuresLeaveFieldsAsTheyWere)
{
    const Hexfield wide(std::string(100, '9'));
    const std::string text(80, '7');
    const std::string separated = "77:" + text.substr(0, 47) + "7";
    for (const Hexfield& start : {Hexfield("0102030405"), Hexfield(std::string(38, '1'))}) {
        FailEachAllocation(
            start, [&](auto& field) { return field == start; }, [&](auto& f) { f = wide; }, [&](auto& f) { f += wide; },
            [&](auto& f) { f -= wide; }, [&](auto& f) { f |= wide; }, [&](auto& f) { f &= wide; },
            [&](auto& f) { f = f + wide; }, [&](auto& f) { f.CopyFromString(text); },
            [&](auto& f) { f.CopyFromString(separated); }, [&](auto& f) { f.CopyFromBinaryString(text, true); },
            [&](auto& f) { f.normalize(99); }, [&](auto& f) { f = f - wide; }, [&](auto& f) { f = (f | wide) & wide; },
            [&](auto& f) { f = ~-wide; }, [&](auto& f) { f = wide * 3 + 5; }, [&](auto& f) { f = Hexfield(text); },
            [&](auto& f) { f = Hexfield(text, true, false); });
    }
}

TEST(Allocation, FailuresLeaveWildcardsAsTheyWere)
{
    Wildcards start(kTemplate, "@");
    start.AddVar("a_variable_with_a_long_name", "old value");
    const auto values = [](Wildcards object) {
        std::string all = Expanded(object); // which shows whether there was a parse
        std::string value;
        for (int i = 0; i < 8; ++i, all += value) object.GetNextValue(value);
        std::string variable;
        object.GetVar("another_variable_with_a_long_name", variable);
        return all + variable;
    };
    const std::string longText(100, 'v');
    const std::string list = "another_variable_with_a_long_name=x,a_variable_with_a_long_name=" + longText;
    const unsigned char mac[6] = {};
    Wildcards other("@x(5,0)@$(0102030405060708090a0b0c0d0e0f1011)@=(name)" + longText, "@");
    other.NextValue(), other.AddVar(longText, longText);
    for (const int steps : {0, 1, 3, 4}) { // before the parse, and with repeats owed
        for (int i = 0; i < steps; ++i) start.NextValue();
        const std::string expected = values(start);
        FailEachAllocation(
            start, [&](auto& object) { return values(object) == expected; },
            Into([](auto& w, auto& out) { w.GetValue(out); }), Into([](auto& w, auto& out) { w.GetNextValue(out); }),
            Into([](auto& w, auto& out) { w.GetValueAt(77, out, true); }), [&](auto& w) { w.NextValue(); },
            [&](auto& w) { w.SetReadCursor(5); }, [&](auto& w) { w = Wildcards(longText, "@"); },
            [&](auto& w) { w.AddVarList(list); }, [&](auto& w) { w.AddVar("A_variable_with_a_long_name", longText); },
            [&](auto& w) { w.SetVlanTagCount(200); },
            [&](auto& w) {
                w.AddVarList(std::vector{list, longText + "=y"});
            },
            [&](auto& w) { w = other; },
            Into([&](auto& w, auto& out) { w.GetVar("a_variable_with_a_long_name", out); }));
        const std::string expanded = Expanded(start);
        FailEachAllocation(
            start, [&](auto& object) { return Expanded(object) == expanded; },
            [&](auto& w) { w.SetEtherParams(mac, mac, mac, 0), w.ParseExpr(); });
    }
    const Wildcards hexTemplate("@h 31 32 33 @x(1) 34" + std::string(100, '7') + "35", "@");
    const std::string expanded = Expanded(hexTemplate);
    FailEachAllocation(
        hexTemplate, [&](auto& object) { return Expanded(object) == expanded; },
        Into([](auto& w, auto& out) { w.GetValue(out); }));
}

TEST(Allocation, FailuresLeaveTextsAsTheyWere)
{
    const std::string text = "neither an address nor a name";
    const std::string before = "before";
    const auto same = [&before](const std::string& error) { return error == before; };
    const std::string hex(80, '7');
    FailEachAllocation(
        before, same, [&](auto& t) { t = CIpAddress(0xfffefdfc).ToString() + text; },
        [&](auto& t) { t = CIpv6Address(~0ul, 1).ToString(); }, [&](auto& t) { t = CMacAddress().ToString(); },
        [&](auto& t) { t = CWorldWideName().ToString(); }, [&](auto& t) { t = Hexfield(hex).ToString(); },
        [&](auto& t) { t = Hexfield(hex).ToBinaryString(true); },
        [&](auto& t) { Wildcards::ConvertAsciiHexToBin(hex, t); },
        [&](auto& e) { CIpAddress().CopyFromString(text, &e); },
        [&](auto& e) { CIpv6Address().CopyFromString(text, &e); },
        [&](auto& e) { CMacAddress().CopyFromString(text, &e); },
        [&](auto& e) { CWorldWideName().CopyFromString(text, &e); });
}

TEST(Allocation, ExtractorAllocatesForTheOutputAlone)
{
    std::vector<unsigned char> in(2000, 0x5a);
    const std::vector<unsigned char> start(100, 1);
    for (const unsigned int offset : {0u, 3u}) {
        for (const unsigned int length : {15u, 64u, 4001u}) {
            const FieldExtractor field(offset, length);
            std::vector<unsigned char> out;
            const long before = gAllocations;
            field.ExtractField(in, out, false);
            EXPECT_EQ(gAllocations - before, 1);
            field.ExtractField(in, out, false);
            EXPECT_EQ(gAllocations - before, 1);
            for (int i = 0; i < 1000; ++i) field.ExtractField(in, out, true);
            EXPECT_LT(gAllocations - before, 20) << "appending doubles the room";
            for (const bool append : {false, true}) {
                FailEachAllocation(
                    start, [&](auto& v) { return v == start; }, [&](auto& v) { field.ExtractField(in, v, append); });
            }
        }
    }
}

TEST(Allocation, FailuresLeaveResolversAsTheyWere)
{
    const std::string name(100, 'n'), value(100, 'v');
    CMacroVarMapResolver start, other;
    start.SetValue(name, value);
    other.SetValue(name, name), other.SetValue(value, value);
    FailEachAllocation(
        start,
        [&](auto& variables) {
            std::vector<std::string> names;
            std::string found;
            return variables.GetVarNames(names) && names.size() == 1 && variables.GetValue(name, found) &&
                   found == value;
        },
        [&](auto& v) { v.SetValue(value, name); }, [&](auto& v) { v.SetValue(name, value + value); },
        [&](auto& v) { v = other; });
    FailEachAllocation(
        std::string("old"), [](auto& text) { return text == "old"; }, [&](auto& t) { start.GetValue(name, t); },
        [&](auto& t) {
            std::string error;
            CMacroExpander(&start).EvalExpr("$(" + name + ") and more than fits", t, error);
        });
    FailEachAllocation(
        std::vector<std::string>(1), [](auto& names) { return names.size() == 1 && names[0].empty(); },
        [&](auto& names) { start.GetVarNames(names); });
}

TEST(Allocation, FailuresLeaveExpandersAsTheyWere)
{
    CMacroVarMapResolver variables;
    variables.SetValue("first name", "a value that is longer than any string keeps inside");
    CMacroExpander expander(&variables);
    expander.SetExpr("$(first name) and more text");
    std::string expected;
    expander.GetValue(expected);
    const std::string literal(100, 'l');
    for (const char* expr : {"$(unknown)$(other)", "$(first name", "$(first name)"}) { // the last one is accepted
        const std::string text = literal + expr;
        for (long failAt = 0, failed = 1; failed != 0; ++failAt) {
            std::string error, value;
            gFailAt = failAt;
            try {
                expander.SetExpr(text, error);
                failed = 0;
            } catch (const std::bad_alloc&) {
                gFailAt = -1;
                expander.GetValue(value);
                EXPECT_EQ(value, expected) << failAt;
                EXPECT_TRUE(expander.GetExpr() == "$(first name) and more text" && error.empty()) << failAt;
            }
            gFailAt = -1;
        }
    }
    expander.GetValue(expected);
    const long before = gAllocations;
    expander.GetValue(expected);
    EXPECT_EQ(gAllocations - before, 0);
    const std::string one = literal + "$(first name) in the one", other = literal + "$(first name) in the other";
    for (const std::string& text : {one, other, one}) expander.SetExpr(text);
    const long beforeParse = gAllocations;
    expander.SetExpr(other);
    std::string error;
    expander.ParseExpr(one, error);
    EXPECT_EQ(gAllocations - beforeParse, 0) << "the tokens of the expression before the last are used again";
    expander.ClearTokens();
    expander.SetExpr(other);
    EXPECT_GT(gAllocations - beforeParse, 0) << "none are left to be used";
}

TEST(Allocation, FailuresLeaveEncodedBytesAndMessagesAsTheyWere)
{
    const std::vector<unsigned char> bytes(100, 'b');
    FailEachAllocation(
        bytes, [&](auto& out) { return out == bytes; },
        [&](auto& out) { GoogleProtoBufEncoder::encodeBytes(bytes, out); },
        [&](auto& out) { GoogleProtoBufEncoder::encodeBytes(out, out); },
        [&](auto& out) { GoogleProtoBufEncoder::encodeUint64(~0ull, out); },
        [&](auto& out) { GoogleProtoBufEncoder::encodeTag(1, 2, out); },
        [&](auto& out) { GoogleProtoBufEncoder::encodeString(std::string(120, 't'), out); },
        [&](auto& out) { GoogleProtoBufEncoder::encodeMsbUint(bytes.data(), 8, out); });

    const std::string text = "message A_name_that_is_longer_than_any_string_keeps_inside { bool x = 1; }\n";
    const auto same = [](const CGoogleProtoBufMessageInfo& m) { return m.name == "old" && m.fields.empty(); };
    CGoogleProtoBufMessageInfo old;
    old.name = "old";
    FailEachAllocation(old, same, [&](auto& message) {
        std::stringstream block(text);
        block.imbue(std::locale::classic());
        EXPECT_TRUE(CGoogleProtoBufParser().parseMessageFromStream(block, message));
    });
    const auto step = [&](const std::string& in, auto parse) {
        return [in, parse](std::string& word) {
            std::stringstream block(in);
            block.imbue(std::locale::classic());
            parse(block, word);
        };
    };
    CGoogleProtoBufParser parser;
    auto type = CGoogleProtoBufFieldInfo::TypeBool;
    FailEachAllocation(
        std::string("old"), [&](auto& word) { return word == "old" && type == CGoogleProtoBufFieldInfo::TypeBool; },
        step("A_word_that_is_longer_than_any_string_keeps", [&](auto& in, auto& word) { parser.parseWord(in, word); }),
        step("A_type_that_is_longer_than_a_string", [&](auto& in, auto& word) { parser.parseType(in, type, word); }));
    CGoogleProtoBufFieldInfo field;
    field.name = "old";
    FailEachAllocation(
        field, [&](auto& f) { return f.name == "old"; },
        [&](auto& f) {
            std::stringstream block("bool A_name_that_is_longer_than_any_string_keeps_inside = 1;");
            block.imbue(std::locale::classic());
            EXPECT_TRUE(parser.parseFieldFromStream(block, f));
        });
    const test::SchemaFile file("// 1\n" + text + "// 2\n" + text + "// 3\n" + text);
    CGoogleProtoBufMessageInfo other;
    other.name = text, other.fields.assign(3, field);
    FailEachAllocation(
        std::vector(1, old), [&](auto& messages) { return messages.size() == 1 && same(messages[0]); },
        [&](auto& messages) { EXPECT_TRUE(CGoogleProtoBufParser().readProtoFile(file.path, messages)); },
        [&](auto& messages) { messages[0] = other; });
}

/// Gives one character at a time, so that a word grows as it is read.
struct Trickle : std::streambuf {
    explicit Trickle(const std::string& text) : mText(text) {}
    int_type underflow() override
    {
        if (mNext == mText.size()) return traits_type::eof();
        setg(mText.data() + mNext, mText.data() + mNext, mText.data() + mNext + 1), ++mNext;
        return traits_type::to_int_type(*gptr());
    }

private:
    std::string mText;
    std::size_t mNext = 0;
};

TEST(Allocation, AWordThatBreaksOffIsNone)
{
    const auto read = [](const auto& start, const std::string& text) {
        FailEachAllocation(
            start, [&](auto& value) { return value == start; },
            [&](auto& value) {
                Trickle buffer(text);
                std::istream in(&buffer);
                in.imbue(std::locale::classic());
                in >> value;
                if (in.bad()) throw std::bad_alloc(); // which the stream has caught
                EXPECT_FALSE(value == start);
            });
    };
    read(CIpv6Address(), "1:2:3:4:5:6:7:0008");
    read(Hexfield("12"), std::string(70, '3'));
}

} // namespace
