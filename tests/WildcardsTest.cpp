#include "support/Random.h"
#include "support/Rows.h"
#include "support/WildcardsChecks.h"

#include <common/Wildcards.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

namespace zor::common {

const char* DumpForDebugger(const Wildcards& wildcards) noexcept; // which debuggers call

} // namespace zor::common

using namespace zor::common;
using namespace std::string_literals;
using test::Random;
using test::Rows;

namespace {

/// The values of index 0 and the steps after it, each followed by a "|".
std::string Values(Wildcards wildcards, int count)
{
    std::string all;
    std::string value;
    wildcards.GetValue(value);
    for (int i = 0; i < count; ++i, wildcards.GetNextValue(value)) all += value + '|';
    return all;
}

std::string Value(Wildcards& wildcards)
{
    std::string value;
    wildcards.GetValue(value);
    return value;
}

TEST(WildcardsSequence, StepsThroughTheValues)
{
    for (const auto& row : Rows("wildcards.txt")) {
        Wildcards wildcards(row[0], "@");
        wildcards.SetFirstBase(7);
        wildcards.SetSecondBase(9);
        const auto count = std::count(row[1].begin(), row[1].end(), '|');
        EXPECT_EQ(Values(wildcards, static_cast<int>(count)), row[1]) << row[0];
    }
}

TEST(WildcardsSequence, OtherMarkers)
{
    EXPECT_EQ(Values(Wildcards("#x(2)@x##", "#"), 1), "2@x#|");
    EXPECT_EQ(Values(Wildcards("@x\0x"s, ""), 1), "@x\0x|"s);
    EXPECT_EQ(Values(Wildcards("xx=xxx(3)", "x"), 1), "1=1x(3)|") << "a kind wins over the escape";
    EXPECT_EQ(Values(Wildcards("@<x@x@<", "@<"), 1), "@<x@x@<|") << "the kind is the character after the first";
    EXPECT_EQ(Values(Wildcards("a\0x\0\0"s, "\0"s), 1), "a1\0|"s);
    EXPECT_EQ(Values(Wildcards("@@a", "@@"), 1), "@@a|") << "a longer marker that escapes itself";
    EXPECT_EQ(Values(Wildcards("#<<", "#<<"), 1), "#<<|");
    EXPECT_EQ(Values(Wildcards("@h23 25#x@x", "#"), 1), "#%@x|") << "a hex template is rewritten for the marker @";
    EXPECT_EQ(Values(Wildcards("@h 23 78 @x 42", "#"), 1), "1@xB|") << "so a # among its bytes opens an expression";
}

TEST(WildcardsParse, MalformedListsRaiseAndChangeNothing)
{
    for (const char* list : {"(1,,)", "(,)", "( )", "(1, )", "(1,2,3,4,5,6,7,;)"}) {
        Wildcards wildcards("@x@$"s + list, "@");
        std::string value = "untouched";
        EXPECT_THROW(wildcards.GetValue(value), std::out_of_range) << list;
        EXPECT_THROW(wildcards.GetNextValue(value), std::out_of_range) << "and again";
        EXPECT_THROW(wildcards.SetReadCursor(1), std::out_of_range);
        wildcards.Expand(value);
        EXPECT_EQ(value, "@x@$"s + list);
    }
}

TEST(WildcardsIndex, CyclesKeepTheirOwnPlace)
{
    Wildcards wildcards("@x(0,70000,1)/@x(5,0,1,0,0,10)/@$(000000000000000000,2,1,hex)/@$(000000000000000000,3,1,hex)",
                        "@");
    wildcards.SetReadCursor(69998);
    EXPECT_EQ(Values(wildcards, 3), "69998/10/000000000000000000/000000000000000002|"
                                    "69999/0/000000000000000001/000000000000000000|"
                                    "0/1/000000000000000000/000000000000000001|");
}

TEST(WildcardsIndex, CountersGoOnFromEveryPlace)
{
    for (const char* templ : {"@x(7,0,1,0,2)",
                              "@x(7,3,1,0,1)",
                              "@x(98,2,2)",
                              "@x(4,3,3,0,2)",
                              "@x(8,2,1,0,1,9)",
                              "@x(5,4,9,2,0,30)",
                              "@$(ff,3,1,hex,1)",
                              "@$(ffffffffffffffffff,3,01,hex,2)",
                              "@$(10f0,3,1,hex,1,0f0f)",
                              "@m@_(1,0)@x(9,2)@_",
                              "@s@v(vpi)",
                              "@$(01,0,0100,hex)",
                              "@x(4,0,1,0,4294967295)@$(05,2,1,hex,4294967295)",
                              "@x(0,0) @$(0000,0,1,hex)",
                              "@x(1,4,2)",
                              "@x(10,5,17,3)",
                              "@$(fe,3,01)",
                              "@$(fffffe,5,01,big)",
                              "@$(fffffffffffffe,0,01,big)",
                              "@$(fffffffffffffffe,4,03,257)",
                              "@_(1,0)@$(fffe,3,01,big)@_"}) {
        for (int cursor = -3; cursor < 9; ++cursor) {
            for (int index = -3; index < 9; ++index) {
                test::WildcardsPair pair(templ, "@");
                SCOPED_TRACE(testing::Message() << templ << " from " << cursor << " and then from " << index);
                pair.Make([&](auto& object, auto&) { object.SetReadCursor(cursor); });
                pair.Make([&](auto& object, auto& out) { object.GetValueAt(index, out, true); });
                for (int step = 0; step < 6; ++step) {
                    pair.Make([](auto& object, auto& out) { object.GetNextValue(out); });
                }
                if (HasFailure()) return;
            }
        }
    }
}

TEST(WildcardsRules, ChainsOfAllOperationsFollowThem)
{
    Random random(31);
    for (int round = 0; round < 4500; ++round)
        ASSERT_NO_FATAL_FAILURE(test::CheckWildcards(random)) << "round " << round;
}

TEST(WildcardsRules, AllTemplatesOfThreeTokensFollowThem)
{
    const auto tokens = Rows("wildcards-tokens.txt");
    const std::size_t count = tokens.size();
    for (std::size_t i = 0; i < count * count * count; ++i) {
        const std::string text = tokens[i / count / count][0] + tokens[i / count % count][0] + tokens[i % count][0];
        test::WildcardsPair pair(text, "@");
        SCOPED_TRACE(text);
        pair.Make([](auto& object, auto& out) { object.GetValue(out); });
        for (int step = 0; step < 4; ++step) pair.Make([](auto& object, auto& out) { object.GetNextValue(out); });
        pair.Make([](auto& object, auto& out) { object.GetValueAt(7, out, false); });
        pair.Make([](auto& object, auto& out) { object.GetValueAt(-1, out, true); });
        pair.Make([](auto& object, auto& out) { object.GetNextValue(out); });
        ASSERT_FALSE(HasFailure());
    }
}

TEST(WildcardsRules, VariableListsFollowThem)
{
    Random random(32);
    for (int round = 0; round < 500; ++round)
        ASSERT_NO_FATAL_FAILURE(test::CheckVariableList(random)) << "round " << round;
}

TEST(WildcardsContext, MacAddressesCountWithinTheMask)
{
    const unsigned char mac[] = {0xaa, 0xbb, 0xcc, 0xdd, 0x05, 0xff}, one[] = {0, 0, 0, 0, 0, 1};
    const unsigned char lastByte[] = {0, 0, 0, 0, 0, 0xff}, all[] = {0xff, 0xff, 0xff, 0xff, 0xff, 0xff};
    const unsigned char high[] = {0x01, 0, 0, 0, 0, 1}, other[] = {1, 2, 3, 4, 5, 6}, step[] = {0, 0, 1, 0, 0, 1};
    Wildcards wildcards("@m @M(1) @m() @m(0)", "@");
    EXPECT_EQ(Values(Wildcards("@m", "@"), 2), "00-00-00-00-00-00|00-00-00-00-00-01|");
    wildcards.SetEtherParams(mac, one, lastByte, 1);
    EXPECT_EQ(Value(wildcards), "aa-bb-cc-dd-05-ff AABB.CCDD.05FF aabb.ccdd.05ff aa-bb-cc-dd-05-ff");
    wildcards.NextValue();
    wildcards.NextValue();
    EXPECT_EQ(Value(wildcards).substr(0, 17), "aa-bb-cc-dd-05-00");
    wildcards.SetCurrentMac(other);
    EXPECT_EQ(Value(wildcards).substr(0, 17), "01-02-03-04-05-06") << "at once, without a new parse";
    wildcards.NextValue();
    wildcards.NextValue();
    EXPECT_EQ(Value(wildcards).substr(0, 17), "aa-bb-cc-dd-05-07") << "the bits outside the mask stay as set first";
    Wildcards far("@m", "@");
    far.SetEtherParams(other, step, all, 0);
    std::string value;
    far.GetValueAt(0x12345678, value, false);
    EXPECT_EQ(value, "35-58-8d-38-5b-7e") << "010203040506 + 0x1000001 * 0x12345678";
    Wildcards carry("@m", "@");
    carry.SetEtherParams(all, high, all, 0);
    EXPECT_EQ(Values(carry, 3), "ff-ff-ff-ff-ff-ff|01-00-00-00-00-00|02-00-00-00-00-01|");
}

TEST(WildcardsContext, VlanVpiAndVciCounters)
{
    Wildcards wildcards("@v(2) @v(1,4) @v(vpi) @v(vci,2) @v(3) @v(0) @v() @v(word) @v", "@");
    wildcards.SetVlanTagCount(3);
    wildcards.SetVlanTagCount(2);
    wildcards.SetVlanParams(3, 1, 1, 1, 1);
    wildcards.SetVlanParams(0, 1, 1, 1, 1);
    wildcards.SetVlanParams(2, 100, 1, 0, 2);
    wildcards.SetVlanParams(1, 65533, 1, 0, 0);
    wildcards.SetVlanTagCount(3); // which keeps the definitions that there are
    wildcards.SetVpiParams(5, 1, 0, 0);
    wildcards.SetVciParams(7, 2, 1, 0);
    EXPECT_EQ(Values(wildcards, 3), "100 65533 5 07 0 0 65533 65533 @v|"
                                    "101 65534 6 07 0 0 65534 65534 @v|"
                                    "100 0000 7 09 0 0 0 0 @v|");
    wildcards.NextValue();
    wildcards.SetVpiParams(50, 1, 0, 0);
    EXPECT_EQ(Value(wildcards).substr(0, 11), "101 65534 6") << "a definition waits for a parse";
    Wildcards wrapping("@v(vpi)/@v(vci)", "@");
    wrapping.SetVpiParams(65533, 1, 1, 3);
    wrapping.SetVciParams(65530, 4, 0, 3);
    EXPECT_EQ(Values(wrapping, 7), "65533/65530|65533/65534|65534/3|65534/65530|0/65534|0/3|65533/65530|");
    Wildcards undefined("@v(1)", "@");
    undefined.SetVlanTagCount(1);
    EXPECT_EQ(Values(undefined, 2), "0|0|");
    const Wildcards::VarDefUint32 none;
    EXPECT_TRUE(none.start == 0 && none.step == 0 && none.repeat == 0 && none.count == 0 && none.modulus == ~0u);
    const Wildcards::SubsExpr expr;
    EXPECT_TRUE(expr.start == 1 && expr.count == 1 && expr.step == 1 && expr.repeat == 0 && expr.current == 1 &&
                expr.pos + expr.len + expr.modulus + expr.currentLow + expr.holdLeft + expr.width == 0);
}

TEST(WildcardsContext, ASecondParseAddsItsExpressions)
{
    const unsigned char mac[] = {1, 2, 3, 4, 5, 6};
    Wildcards wildcards("abc@x(7)", "@");
    EXPECT_EQ(Value(wildcards), "abc7");
    wildcards.SetEtherParams(mac, mac, mac, 0);
    EXPECT_EQ(Value(wildcards), "abc7") << "the first set replaces what the second one wrote, from the same place on";
    Wildcards twice("@x(1000,0)@x(5)", "@");
    twice.NextValue();
    twice.SetEtherParams(mac, mac, mac, 0);
    std::string value;
    EXPECT_THROW(twice.GetNextValue(value), std::out_of_range) << "10015 ends before place 10";
    EXPECT_THROW(twice.GetValueAt(2, value, true), std::out_of_range);
    twice.Expand(value);
    EXPECT_EQ(value, "10015") << "the parse that was made for it is taken back";
    // Each set at its places in what the text has become, with a tail that leaves room for them all.
    for (const char* templ :
         {"@_(1,0)abcdef@_(9)zz", "@=(v)@_(1,0)a@x(7)b@_@_(0,0)cd@x(8)@_@_(0,2,1)x@x(9)@_@_(1,2)y@_",
          "@x(98,9)@_(1,0)@x(9998,0)@_@_(0,0)@$(fffe,0,1,hex)@_", "@m@_@$(ff,4,0100,2)@b@_@@@s@p", "@x(3,6)"}) {
        test::WildcardsPair pair(templ + std::string(40, '.'), "@");
        SCOPED_TRACE(templ);
        pair.Make([](auto& object, auto&) { object.AddVar("v", std::string(90, 'v')); });
        for (int round = 0; round < 2; ++round) {
            for (int i = 0; i < 3; ++i) pair.Make([](auto& object, auto& out) { object.GetNextValue(out); });
            pair.Make([](auto& object, auto& out) { object.GetValueAt(11, out, true); });
            pair.Make([&](auto& object, auto&) { object.SetEtherParams(mac, mac, mac, 1); });
            pair.Compare();
        }
    }
}

TEST(WildcardsDump, SaysWhereAnObjectStands)
{
    const unsigned char mac[6] = {};
    Wildcards wildcards("@x(1,3)", "@");
    EXPECT_STREQ(DumpForDebugger(wildcards), R"~(not yet parsed = {template = "@x(1,3)", marker = "@"})~");
    wildcards.NextValue();
    wildcards.SetEtherParams(mac, mac, mac, 0);
    wildcards.NextValue();
    EXPECT_STREQ(DumpForDebugger(wildcards),
                 R"~(at index 1 = {template = "@x(1,3)", marker = "@", @x(1,3) = 3, @x(1,3) = 2})~");
}

TEST(WildcardsVariables, AreFoundInAnyCaseAndReadWhenRendered)
{
    Wildcards wildcards("@p,@=(Key),@=,@=(),@=(none)", "@");
    EXPECT_EQ(Value(wildcards), "Default_Port,,,,");
    wildcards.AddVar("PORT", "P1");
    wildcards.AddVar("kEY", "Value");
    EXPECT_EQ(Value(wildcards), "P1,Value,,,");
    std::string value = "pOrT";
    EXPECT_TRUE(wildcards.GetVar(value, value));
    EXPECT_EQ(value, "P1");
    EXPECT_FALSE(wildcards.GetVar("none", value));
    EXPECT_EQ(value, "");
    wildcards.AddVar("", "empty name");
    value = "left";
    EXPECT_FALSE(wildcards.GetVar("", value));
    EXPECT_EQ(value, "");
    wildcards.AddVar("\xc4", "high");
    EXPECT_TRUE(wildcards.GetVar("\xc4", value));
    EXPECT_FALSE(wildcards.GetVar("\xe4", value)) << "letters beyond ASCII have no case";
    EXPECT_EQ(Value(wildcards), "P1,Value,,,");
    wildcards.AddVarList("AZ=a list, KEY=another value,NONE=now");
    EXPECT_TRUE(wildcards.GetVar("az", value));
    EXPECT_EQ(Value(wildcards), "P1,another value,,,now") << "and after a value was rendered";
}

TEST(WildcardsVariables, ListsAreSplitAsDocumented)
{
    for (const auto& row : Rows("wildcards-variables.txt")) {
        Wildcards wildcards("", "@");
        wildcards.AddVarList(row[0]);
        std::string value;
        EXPECT_EQ(wildcards.GetVar(row[1], value), row.size() == 3) << row[0];
        EXPECT_EQ(value, row.size() == 3 ? row[2] : "") << row[0];
    }
}

TEST(WildcardsHexTemplate, DigitsAreReadInRuns)
{
    Random random(33);
    for (std::size_t size = 0; size < 600; ++size) {
        const std::string text = random.Mutated(random.Text("0123456789abcdefABCDEF", size), "\0 g@:-\xc3`/G"s);
        std::string bytes;
        Wildcards::ConvertAsciiHexToBin(text, bytes);
        ASSERT_EQ(bytes, test::PlainWildcards::Bytes(text)) << text;
    }
}

TEST(WildcardsHexTemplate, PublicStepsWorkOnTheirOwn)
{
    const auto converted = [](std::string text, const char* marker) {
        Wildcards::ConvertHexWildcardExpr(text, marker);
        return text;
    };
    EXPECT_EQ(converted("@h61 62@x61@", "b"), "abb@xaa") << "the bytes before an expression escape the given marker";
    EXPECT_EQ(converted("@h40", "b"), "@@") << "the last stretch escapes @ whatever the marker";
    EXPECT_EQ(converted("@h40@x40", ""), "@@x@@");
    EXPECT_EQ(converted("@h6162@x", "ab"), "aab@x") << "a longer marker has its first character doubled";
    std::string text = "1 2 3";
    Wildcards::ConvertAsciiHexToBin(text, text);
    EXPECT_EQ(text, "\1\2\3");
}

} // namespace
