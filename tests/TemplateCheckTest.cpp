// What CheckTemplate() finds, where, and how it says it.

#include "support/DiagnosticChecks.h"
#include "support/Rows.h"

#include <common/FrameBuilder.h>
#include <common/TemplateCheck.h>

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

using namespace zor::common;
using zor::common::test::Random;

namespace {

/// "109w 16+3 ipv4": code, severity, place, hint.
std::string Summary(const TemplateDiagnostic& found)
{
    std::string text = std::to_string(found.code) + "nwe"[static_cast<std::size_t>(found.severity)] + ' ' +
                       std::to_string(found.pos) + '+' + std::to_string(found.len);
    return found.hint.empty() ? text : text + ' ' + found.hint;
}

std::vector<std::string> Summaries(const std::vector<TemplateDiagnostic>& found)
{
    std::vector<std::string> summaries;
    summaries.reserve(found.size());
    for (const TemplateDiagnostic& each : found) summaries.push_back(Summary(each));
    return summaries;
}

TEST(TemplateCheck, FindsEachCodeAtItsPlace)
{
    for (const auto& row : test::Rows("template-faults.txt")) {
        const std::vector<std::string> expected(row.begin() + 2, row.end());
        EXPECT_EQ(Summaries(CheckTemplate(row[0], row[1])), expected) << row[0];
    }
}

TEST(TemplateCheck, KnowsTheSettingsOfASource)
{
    Wildcards source("@v(1) @v(2) @v(vpi) @v(0) @=(sit) @=(Site) @p @b(0,1,1,1,1,9) @s(0,0,1,0,0,9) @m", "@");
    source.SetVlanTagCount(1);
    source.SetVlanParams(1, 65540, 1, 0, 0);
    source.AddVar("SITE", "lab");
    source.SetFirstBase(10);
    source.SetSecondBase(3);
    const unsigned char mac[6] = {2, 0, 0, 0, 0, 1}, step[6] = {0, 0, 0, 0, 1, 1}, mask[6] = {0, 0, 0, 0, 0, 255};
    source.SetEtherParams(mac, step, mask, 0);
    const std::vector<std::string> expected = {"111w 0+5",   "113w 0+5",   "114n 0+5 @v(1,5)", "121n 0+5",
                                               "122w 6+5",   "122w 12+7",  "122w 20+5",        "123w 26+7 @=(site)",
                                               "111w 46+15", "113w 46+15", "111w 62+15",       "120n 78+2"};
    EXPECT_EQ(Summaries(CheckTemplate(source)), expected);
    source.SetCurrentMac(step);
    EXPECT_EQ(Summary(CheckTemplate(source).back()), "143w 78+2");
    std::string value; // a source that has been parsed is checked as it was given
    Wildcards hex("@h 1 @x", "@");
    hex.GetNextValue(value);
    EXPECT_EQ(Summaries(CheckTemplate(hex)), std::vector<std::string>{"117w 3+1 01"});
}

TEST(TemplateCheck, SaysOnlyWhatIsSo)
{
    Random random(5);
    for (int round = 0; round < 100000; ++round) ASSERT_NO_FATAL_FAILURE(test::CheckDiagnostics(random));
}

TEST(TemplateCheck, KnowsTheValuesOfCounters)
{
    Random random(6);
    for (int round = 0; round < 20000; ++round) ASSERT_NO_FATAL_FAILURE(test::CheckCounterFacts(random));

    // The product of a word is full at the last turn and meets a full word, which loses a carry that comes in there.
    const struct {
        const char* counter;
        bool isLost;
    } rows[] = {
        {"00000000ffffffffffffffff,4,000000005555555500000001", true},
        {"00000000ffffffff00000000,4,000000005555555500000001", false}, // no carry comes
        {"00000000ffffffffffffffff,3,000000005555555500000001", false}, // not yet full
        {"00000000fffffffefffffffe,4,000000005555555500000001", false},
        {"00000000fffffffffffffffcfffffffd,4,00000000555555550000000100000001", true}, // from two words below
        {"00000000fffffffffffffffcfffffffc,4,00000000555555550000000100000001", false},
        {"00000000fffffffffffffffbffffffff,4,00000000555555550000000100000001", false},
    };
    for (const auto& [counter, isLost] : rows) {
        SCOPED_TRACE(counter);
        Wildcards steps("@$(" + std::string(counter) + ",hex)", "@"), indexes(steps);
        std::string byStep, byIndex;
        bool differs = false;
        for (int turn = 0; turn < counter[std::string_view(counter).find(',') + 1] - '0'; ++turn, steps.NextValue()) {
            steps.GetValue(byStep);
            indexes.GetValueAt(turn, byIndex, false);
            differs = differs || byStep != byIndex;
        }
        EXPECT_EQ(differs, isLost);
        EXPECT_EQ(test::Has(CheckTemplate(indexes), 111), isLost);
    }
}

TEST(TemplateCheck, ListsTheFieldsOfATemplate)
{
    Random random(7);
    for (int round = 0; round < 5000; ++round) ASSERT_NO_FATAL_FAILURE(test::CheckFields(random));
    const auto list = [](const CompiledTemplate& compiled) {
        std::string all;
        for (const TemplateField& field : compiled.GetFields()) {
            const std::string place = std::to_string(field.pos) + '+' + std::to_string(field.len) + ' ' + field.kind;
            all += place + " at " + std::to_string(field.offset) + (field.isOffsetFixed ? "" : "~") + ' ' +
                   std::to_string(field.minSize) + '-' + std::to_string(field.maxSize) + ' ' + field.first + ' ' +
                   field.second + ' ' + field.last + ' ' + std::to_string(field.period) + ' ' + field.name + '\n';
        }
        return all;
    };
    EXPECT_EQ(list(CompiledTemplate("@@ @x(8,3,2,0,1)@_(0,0)ab@x(9,2)@_ @=(no)@p @$(0A0000FF,0,01,ipv4)@m(1)")),
              "3+13 x at 2 1-2 8 10 12 6 \n16+7 _ at 3~ 0-0    2 \n25+7 x at 5~ 1-2 9 10 10 2 \n"
              "32+2 _ at 6~ 1-1 3 4 4 2 \n35+6 = at 8~ 0-0    1 \n41+2 p at 8~ 12-12 Default_Port Default_Port "
              "Default_Port 1 \n"
              "44+22 $ at 21~ 7-15 10.0.0.255 10.0.1.0 10.0.0.254 4294967296 \n"
              "66+5 m at 31~ 14-14 0000.0000.0000 0000.0000.0001 ffff.ffff.ffff 281474976710656 \n");
    EXPECT_EQ(list(CompiledTemplate("@h 40 @$(41,0,0001,hex) 40 7828 35 29")), "6+17 $ at 1 2-4 41 0042  0 \n");
    const auto frame =
        FrameBuilder().Ethernet(CMacAddress(1ul), CMacAddress(2ul)).Number(Counting<std::uint8_t>(65, 3));
    EXPECT_EQ(list(frame.Compile()), "32+15 $ at 14 1-1 A B C 3 number\n");
    const auto holed = FrameBuilder().Number(7, 2).Hole("stamp", 2).Number(Counting<std::uint8_t>(65, 3));
    EXPECT_EQ(list(holed.Compile()), "0+0 $ at 4 1-1 A B C 3 number#2\n");
}

TEST(TemplateCheck, CountsFlowsAndTellsWhatCannotBeRead)
{
    const auto messages = [](const std::string& text) {
        std::string all;
        for (const TemplateDiagnostic& found : CheckTemplate(CompiledTemplate(text)))
            all += Summary(found) + ' ' + found.message + '\n';
        return all;
    };
    EXPECT_EQ(messages("@x(1,5,1,1) @$(00000000,0,00000001,big)"), "");
    EXPECT_EQ(
        messages("@x(1,6,1,1):@x(1,4,1,1):@x(0,2,1,1)"),
        "126n 0+11 The counters advance together and show 12 of 48 combinations. For all of them, cross the counters: "
        "give them repeats of 0, 5, 23.\n");
    EXPECT_EQ(messages("@x(1,2147483648):@x(1,2147483648):@x(1,2147483648)"),
              "126n 0+16 The counters advance together and show 2147483648 of 2^64 or more combinations. For all of "
              "them, cross the counters: give them repeats of 0, 2147483647, 4611686018427387903.\n");
    EXPECT_EQ(messages("@x(1,5,1,1,4):@x(1,5,1,1)"), "");
    EXPECT_EQ(messages("@x(1,6):@x(1,5)"), "");
    EXPECT_EQ(messages("@x(1,0)@x(1,90)"), "127n 0+7 The index cannot be told from a value, because nothing shows "
                                           "where the text of this expression ends.\n");
    EXPECT_EQ(
        messages("@x(1,7,1,1,9) @x(1,7,1,1,99999):@x(1,9,1,1,77777)"),
        "127n 14+17 From index 700000 on, the index cannot be told from a value, because counters that repeat their "
        "values leave more than 65536 indexes to try.\n");
    EXPECT_EQ(
        messages("@$(0102030405060708,70000,00010001,hex,70000,0f0f0f0f)"),
        "127n 0+54 The index cannot be told from a value, because this counter shows the same text at several turns "
        "of its period.\n");
}

TEST(TemplateCheck, DrawsTheFrameOfTheReadme)
{
    const FrameBuilder frame = FrameBuilder()
                                   .Ethernet(CMacAddress(0x020000000001), CMacAddress(0x0200000000fe))
                                   .Vlan(Counting<std::uint16_t>(100, 4))
                                   .Ipv4(Counting(CIpAddress(10, 0, 0, 1), 250), CIpAddress(192, 168, 0, 1))
                                   .Udp(Counting<std::uint16_t>(1024, 60000), 53)
                                   .Number(Counting<std::uint32_t>(0, 0))
                                   .PadTo(60)
                                   .Cross({"udp.sport", "ipv4.src", "vlan.id"});
    std::ifstream in(ZOR_COMMON_TEST_DATA "/../../docs/frame.svg");
    const std::string kept((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(Diagram(frame.Compile(), DiagramStyle::Svg), kept);
    const std::string named = Diagram(CompiledTemplate("@x(1,5)"), DiagramStyle::Svg, {"<a> & \"\xc3\xb6\"\x01\xff"});
    EXPECT_NE(named.find("&lt;a&gt; &amp; &quot;\xc3\xb6&quot;??: "), std::string::npos) << named;
    const std::string row =
        Diagram(CompiledTemplate("@x(1,5)"), DiagramStyle::Rfc, {"\xc3\xb6lmnopqrstuvw\xf0\x9f\x9a\x80 no"});
    EXPECT_NE(row.find("|\xc3\xb6lmnopqrstuvw *|\n"), std::string::npos) << row; // cut between characters
    EXPECT_NE(row.find("* \xc3\xb6lmnopqrstuvw\xf0\x9f\x9a\x80 no: "), std::string::npos) << row;
    EXPECT_EQ(Diagram(CompiledTemplate("@h @$(07,3,01,big)"), DiagramStyle::Json, {"a\"\n"}),
              "{\"size\": 1, \"isFixedSize\": true, \"period\": 3, \"first\": \"07\",\n \"fields\": [\n"
              "  {\"name\": \"a\\\"\\u000a\", \"kind\": \"$\", \"pos\": 3, \"len\": 15, \"offset\": 0, "
              "\"isOffsetFixed\": true, \"minSize\": 1, \"maxSize\": 1, \"first\": \"07\", \"second\": \"08\", "
              "\"last\": \"09\", \"period\": 3}]}\n");
}

TEST(TemplateCheck, ShowsNamesThatAreCharacters)
{
    const struct {
        const char* name;
        std::size_t faults; // bytes that are shown as "?"; 0: the name as it is
    } rows[] = {
        {" ~", 0},
        {"\x7f", 1},
        {"\xc1\xbf", 2},
        {"\xc2\x9f", 2},
        {"\xc2\xa0", 0},
        {"\xdf\xbf", 0},
        {"\xe2\x82", 2},
        {"\xe0\x9f\xbf", 3},
        {"\xe0\xa0\x80", 0},
        {"\xed\x9f\xbf", 0},
        {"\xed\xa0\x80", 3},
        {"\xed\xbf\xbf", 3},
        {"\xee\x80\x80", 0},
        {"\xef\xbf\xbd", 0},
        {"\xef\xbf\xbe", 3},
        {"\xf0\x8f\xbf\xbf", 4},
        {"\xf0\x90\x80\x80", 0},
        {"\xf4\x8f\xbf\xbf", 0},
        {"\xf4\x90\x80\x80", 4},
        {"\xf5\x80\x80\x80", 4},
    };
    for (const auto& [name, faults] : rows) {
        const std::string shown = faults == 0 ? name : std::string(faults, '?');
        const std::string svg = Diagram(CompiledTemplate("@x(1,5)"), DiagramStyle::Svg, {name});
        EXPECT_NE(svg.find('>' + shown + ": "), std::string::npos) << shown << svg;
    }
}

TEST(TemplateCheck, ShowsTheLineWithCarets)
{
    const TemplateDiagnostic found = {7, TemplateDiagnostic::Severity::Error, 9, 3, "No.", "yes"};
    EXPECT_EQ(ToText(found, "one\n\ttw\xc3\xb6 \x01 x\r\nthree", "a b"),
              "a b:2:6: error ZT007: No.\n  \ttw\xc3\xb6 ? x\n  \t   ^^^\n  instead: yes\n");
    EXPECT_EQ(ToText({117, {}, 99, 5, "m", ""}, "ab", ""), "1:3: note ZT117: m\n  ab\n    ^\n");
    EXPECT_EQ(ToText({117, {}, 1, 9, "m", ""}, "ab\ncd", ""), "1:2: note ZT117: m\n  ab\n   ^\n");
    const std::string text = std::string(300, 'a') + "bc" + std::string(300, 'd');
    EXPECT_EQ(ToText({117, {}, 300, 2, "m", ""}, text, "t"),
              "t:1:301: note ZT117: m\n  ..." + text.substr(240, 160) + "...\n" + std::string(65, ' ') + "^^\n");
}

} // namespace
