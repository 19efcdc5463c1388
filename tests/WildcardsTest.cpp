#include "support/Random.h"
#include "support/Rows.h"
#include "support/WildcardsChecks.h"

#include <common/Wildcards.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <stdexcept>

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

TEST(WildcardsParse, NumbersAreReadAsFromAStream)
{
    Random random(9);
    for (int round = 0; round < 20000; ++round) {
        const std::string token =
            random.Mutated(std::to_string(random.Number() >> random.Below(64)), "0123456789+-x\r\v");
        if (token.empty()) continue;
        std::istringstream in(token);
        in.imbue(std::locale::classic());
        unsigned int number = 0;
        if (!(in >> number)) number = 1;
        Wildcards wildcards("@x(" + token + ")", "@");
        ASSERT_EQ(Value(wildcards), std::to_string(number)) << '"' << token << '"';
    }
}

TEST(WildcardsIndex, IsTheValueAfterSoManySteps)
{
    const unsigned char mac[] = {0x00, 0x11, 0x22, 0x33, 0x44, 0xfe};
    const unsigned char step[] = {0, 0, 0, 0x01, 0, 0x30}; // bits outside the mask would carry when stepped alone
    const unsigned char mask[] = {0x00, 0x00, 0x00, 0x0f, 0x0f, 0xf0};
    for (const char* templ : {"@x(5,7,3,4,2)", "@x(3,0,5,0,0,16)-@s", "@m @M(1)", "@$(fffe,0,3,hex)",
                              "@$(00,5,7,hex,3)", "@v(1)/@v(vpi,3)/@v(vci)", "@_(1,0)@x(8,0)@_"}) {
        Wildcards wildcards(templ, "@");
        wildcards.SetEtherParams(mac, step, mask, 1);
        wildcards.SetVlanTagCount(1);
        wildcards.SetVlanParams(1, 4000, 9, 1, 3);
        wildcards.SetVpiParams(65530, 1, 0, 0);
        wildcards.SetVciParams(1, 65530, 2, 0);
        Wildcards stepped = wildcards;
        std::vector<std::string> values(1);
        stepped.GetValue(values[0]);
        while (values.size() < 80) stepped.GetNextValue(values.emplace_back());
        for (int i = 0; i < 70; ++i) {
            std::string value;
            wildcards.GetValueAt(i, value, false);
            ASSERT_EQ(value, values[static_cast<std::size_t>(i)]) << templ << " at " << i;
            ASSERT_EQ(Value(wildcards), values[0]) << "nothing is moved";
            Wildcards moved = wildcards;
            moved.SetReadCursor(i);
            for (std::size_t k = static_cast<std::size_t>(i); k < 80; ++k, moved.GetNextValue(value)) {
                ASSERT_EQ(Value(moved), values[k]) << templ << " from " << i;
            }
        }
    }
}

TEST(WildcardsIndex, CommitsNegativeIndexesAndExtremes)
{
    Wildcards wildcards("@x(0,3,1,0,1)", "@");
    std::string value;
    wildcards.GetValueAt(5, value, true);
    EXPECT_EQ(value, "2");
    wildcards.GetNextValue(value);
    EXPECT_EQ(value, "2") << "the repeat owed at the start is owed still";
    wildcards.GetNextValue(value);
    EXPECT_EQ(value, "0") << "index 7 returns to the start";
    Wildcards unbounded("@x(0,0) @$(0000,0,1,hex)", "@");
    unbounded.GetValueAt(-1, value, false);
    EXPECT_EQ(value, "4294967295 00ff") << "the step is multiplied at its own width";
    unbounded.SetReadCursor(-1);
    unbounded.GetNextValue(value);
    EXPECT_EQ(value, "0 0100");
    Wildcards endless("@x(4,0,1,0,4294967295)@$(05,2,1,hex,4294967295)", "@");
    endless.GetValueAt(-1, value, true);
    EXPECT_EQ(value, "405");
    endless.SetReadCursor(-1); // no repeat is left then
    endless.GetNextValue(value);
    EXPECT_EQ(value, "505") << "and 0 turns are done, a multiple of the count";
    Wildcards wide("@$(01,0,0100,hex)", "@");
    wide.GetValueAt(0, value, false);
    EXPECT_EQ(value, "0001") << "the step's width counts at every index";
    EXPECT_EQ(Value(wide), "01");
}

TEST(WildcardsIndex, AMaskedHexCounterMultipliesItsStepWithinTheMask)
{
    Wildcards wildcards("@$(12fe,9,1,hex,0,00ff)", "@");
    std::string value;
    std::string all;
    for (int i = 0; i < 5; ++i) {
        wildcards.GetValueAt(i, value, false);
        all += value + '|';
    }
    EXPECT_EQ(all, "12ff|12ff|1203|1203|120f|") << "the product is ORed into the step, each bit at twice its place";
}

TEST(WildcardsRules, RandomTemplatesAndOperationsFollowThem)
{
    Random random(31);
    for (int round = 0; round < 6000; ++round)
        ASSERT_NO_FATAL_FAILURE(test::CheckWildcards(random)) << "round " << round;
}

TEST(WildcardsRules, IndexesAndVariableListsFollowThem)
{
    Random random(32);
    for (int round = 0; round < 3000; ++round) {
        ASSERT_NO_FATAL_FAILURE(test::CheckIndexAgainstSteps(random)) << "round " << round;
        ASSERT_NO_FATAL_FAILURE(test::CheckVariableList(random)) << "round " << round;
    }
}

TEST(WildcardsContext, MacAddressesCountWithinTheMask)
{
    const unsigned char mac[] = {0xaa, 0xbb, 0xcc, 0xdd, 0x05, 0xff};
    const unsigned char one[] = {0, 0, 0, 0, 0, 1};
    const unsigned char lastByte[] = {0, 0, 0, 0, 0, 0xff};
    Wildcards wildcards("@m @M(1) @m() @m(0)", "@");
    EXPECT_EQ(Values(Wildcards("@m", "@"), 2), "00-00-00-00-00-00|00-00-00-00-00-01|");
    wildcards.SetEtherParams(mac, one, lastByte, 1);
    EXPECT_EQ(Value(wildcards), "aa-bb-cc-dd-05-ff AABB.CCDD.05FF aabb.ccdd.05ff aa-bb-cc-dd-05-ff");
    wildcards.NextValue();
    wildcards.NextValue();
    EXPECT_EQ(Value(wildcards).substr(0, 17), "aa-bb-cc-dd-05-00");
    const unsigned char other[] = {1, 2, 3, 4, 5, 6};
    wildcards.SetCurrentMac(other);
    EXPECT_EQ(Value(wildcards).substr(0, 17), "01-02-03-04-05-06") << "at once, without a new parse";
    wildcards.NextValue();
    wildcards.NextValue();
    EXPECT_EQ(Value(wildcards).substr(0, 17), "aa-bb-cc-dd-05-07") << "the bits outside the mask stay as set first";
    const unsigned char high[] = {0x01, 0, 0, 0, 0, 1};
    const unsigned char all[] = {0xff, 0xff, 0xff, 0xff, 0xff, 0xff};
    Wildcards far("@m", "@");
    const unsigned char step[] = {0, 0, 1, 0, 0, 1};
    far.SetEtherParams(other, step, all, 0);
    std::string value;
    far.GetValueAt(0x12345678, value, false);
    EXPECT_EQ(value, "35-58-8d-38-5b-7e") << "010203040506 + 0x1000001 * 0x12345678";
    Wildcards besides("@m@M(1)@x(5,9)", "@");
    EXPECT_EQ(Value(besides), "00-00-00-00-00-000000.0000.00005");
    besides.SetCurrentMac(other);
    EXPECT_EQ(Value(besides), "01-02-03-04-05-060102.0304.05065") << "only MAC addresses change";
    const unsigned char nearlyAll[] = {0xff, 0xff, 0xff, 0xff, 0xff, 0xfe};
    besides.SetCurrentMac(nearlyAll);
    EXPECT_EQ(Values(besides, 2), "ff-ff-ff-ff-ff-feFFFF.FFFF.FFFE5|ff-ff-ff-ff-ff-ffFFFF.FFFF.FFFF6|");
    Wildcards fixed("@m", "@");
    fixed.SetEtherParams(mac, one, lastByte, 0);
    fixed.ParseExpr();
    fixed.SetCurrentMac(other);
    fixed.Expand(value);
    EXPECT_EQ(value, "01-02-03-04-05-06") << "parsed before";
    fixed.GetValueAt(1, value, false);
    EXPECT_EQ(value, "aa-bb-cc-dd-05-07");
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
    Wildcards restarted("@x(0,3)", "@");
    restarted.NextValue();
    restarted.NextValue();
    restarted.SetEtherParams(mac, mac, mac, 0);
    restarted.GetNextValue(value);
    EXPECT_EQ(value, "3") << "the index is 1 again, so nothing returns to its start";
    Wildcards further("@x(0,6)", "@");
    further.SetReadCursor(5);
    further.SetEtherParams(mac, mac, mac, 0);
    for (int i = 0; i < 5; ++i) further.NextValue();
    further.Expand(value);
    EXPECT_EQ(value, "10") << "in place of the 5 of the second set: the first one's count is off, so it has two digits";
    Wildcards pair("@_(1,0)abcdef@_(9)zz", "@");
    EXPECT_EQ(Value(pair), "6abcdefzz");
    pair.SetEtherParams(mac, mac, mac, 0);
    EXPECT_THROW(Value(pair), std::out_of_range);
    std::string digits;
    for (int i = 0; i < 150; ++i) digits += static_cast<char>('0' + i % 10);
    Wildcards longer("@=(v)@_(1,0)a@x(7)b@_@_(0,0)cd@x(8)@_@_(0,2,1)x@x(9)@_@_(1,2,0)y@_", "@");
    longer.AddVar("v", digits);
    const std::string tail = "3a7bcd83x9\0\2\1\0y"s;
    EXPECT_EQ(Value(longer), digits + tail);
    longer.SetEtherParams(mac, mac, mac, 0);
    EXPECT_EQ(Value(longer), digits +
                                 "3278898369\0\2\1\0"
                                 "3"s +
                                 digits.substr(66) + tail)
        << "each set at its places in what the text has become";
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
    Wildcards wildcards("", "@");
    wildcards.AddVarList(std::vector<std::string>{"a=1,2", "none", "B= x=y", "a=3"});
    std::string value;
    EXPECT_TRUE(wildcards.GetVar("a", value) && value == "3");
    EXPECT_TRUE(wildcards.GetVar("b", value) && value == " x=y");
    EXPECT_FALSE(wildcards.GetVar("none", value));
}

TEST(WildcardsCopy, GoesOnByItself)
{
    const unsigned char mac[] = {1, 2, 3, 4, 5, 6};
    const unsigned char mask[] = {0, 0, 0, 0, 0, 0xff};
    Wildcards original("@x(0,0,1,0,1) @$(00,0,1,hex) @=(k) @m @b @s @v(1) @v(vpi) @v(vci)", "@");
    original.AddVar("k", "v");
    original.SetEtherParams(mac, mac, mask, 1);
    original.SetFirstBase(8);
    original.SetSecondBase(9);
    original.SetVlanTagCount(1);
    original.SetVlanParams(1, 10, 1, 0, 0);
    original.SetVpiParams(20, 1, 0, 0);
    original.SetVciParams(30, 1, 0, 0);
    Wildcards unparsed("@m", "#");
    unparsed = original;
    for (int i = 0; i < 3; ++i) original.NextValue();
    EXPECT_EQ(Value(original) + '|', Values(unparsed, 4).substr(Values(unparsed, 3).size()));
    Wildcards copy(original);
    Wildcards assigned("@=(k) @m", "@");
    EXPECT_EQ(Value(assigned), " 00-00-00-00-00-00");
    assigned = original;
    original.NextValue();
    original.AddVar("k", "w");
    EXPECT_EQ(Value(original), "2 04 w 01-02-03-04-05-12 8 13 14 24 34");
    const std::string from3 = "1 03 v 01-02-03-04-05-0c 8 12 13 23 33|2 04 v 01-02-03-04-05-12 8 13 14 24 34|";
    EXPECT_EQ(Values(copy, 2), from3);
    EXPECT_EQ(Values(assigned, 2), from3);
    EXPECT_EQ(Values(unparsed, 5).substr(Values(unparsed, 3).size()), from3);
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
    Wildcards::ConvertAsciiHexToBin("xy123Zab c\xc3", text);
    EXPECT_EQ(text, "\x01\x23\xab\x0c");
}

} // namespace
