// What allocates, and what a failing allocation leaves behind.

#include "support/FailingNew.h"

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

/// A text without room of its own, so that what is written to it is allocated.
std::string& Fresh(std::string& text)
{
    std::string().swap(text);
    return text;
}

/// Runs each operation with its first, second, ... allocation failing, until it succeeds, and then checks that each
/// failure has left the object as \a same sees it.
template <class T, class Same, class... Operations>
void FailEachAllocation(const T& start, Same same, Operations... operations)
{
    const auto failEach = [&](auto operation) {
        for (long failAt = 0; failAt < 1000; ++failAt) {
            T object(start);
            gFailAt = failAt;
            try {
                operation(object);
                gFailAt = -1;
                return;
            } catch (const std::bad_alloc&) {
                gFailAt = -1;
                EXPECT_TRUE(same(object)) << "allocation " << failAt;
            }
        }
        ADD_FAILURE() << "never succeeded";
    };
    (failEach(operations), ...);
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
            [&](auto& f) { f.normalize(99); });
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
    std::string out;
    for (const int steps : {0, 1, 3, 4}) { // before the parse, and with repeats owed
        for (int i = 0; i < steps; ++i) start.NextValue();
        const std::string expected = values(start);
        FailEachAllocation(
            start, [&](auto& object) { return values(object) == expected; }, [&](auto& w) { w.GetValue(Fresh(out)); },
            [&](auto& w) { w.GetNextValue(Fresh(out)); }, [&](auto& w) { w.GetValueAt(77, Fresh(out), true); },
            [&](auto& w) { w.NextValue(); }, [&](auto& w) { w.SetReadCursor(5); },
            [&](auto& w) { w = Wildcards(longText, "@"); }, [&](auto& w) { w.AddVarList(list); },
            [&](auto& w) { w.AddVar("A_variable_with_a_long_name", longText); },
            [&](auto& w) { w.SetVlanTagCount(200); });
        FailEachAllocation(
            start, [&](auto& object) { return Expanded(object) == Expanded(start); },
            [&](auto& w) { w.SetEtherParams(mac, mac, mac, 0), w.ParseExpr(); });
    }
    const Wildcards hexTemplate("@h 31 32 33 @x(1) 34" + std::string(100, '7') + "35", "@");
    FailEachAllocation(
        hexTemplate, [&](auto& object) { return Expanded(object) == Expanded(hexTemplate); },
        [&](auto& w) { w.GetValue(Fresh(out)); });
}

TEST(Allocation, FailuresLeaveMessagesAsTheyWere)
{
    const std::string text = "neither an address nor a name";
    const std::string before = "before";
    const auto same = [&before](const std::string& error) { return error == before; };
    FailEachAllocation(
        before, same, [&](auto& e) { CIpAddress().CopyFromString(text, &e); },
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
        [&](auto& out) { GoogleProtoBufEncoder::encodeBytes(bytes, out); });

    const std::string text = "message A_name_that_is_longer_than_any_string_keeps_inside { bool x = 1; }\n";
    const auto same = [](const CGoogleProtoBufMessageInfo& message) { return message.name == "old"; };
    CGoogleProtoBufMessageInfo old;
    old.name = "old";
    FailEachAllocation(old, same, [&](auto& message) {
        std::stringstream block(text);
        block.imbue(std::locale::classic());
        EXPECT_TRUE(CGoogleProtoBufParser().parseMessageFromStream(block, message));
    });
    const std::string path = testing::TempDir() + "zor-allocation.proto";
    std::ofstream(path) << "// 1\n" + text + "// 2\n" + text + "// 3\n" + text;
    FailEachAllocation(
        std::vector(1, old), [&](auto& messages) { return messages.size() == 1 && same(messages[0]); },
        [&](auto& messages) { CGoogleProtoBufParser().readProtoFile(path, messages); });
    std::remove(path.c_str());
}

} // namespace
