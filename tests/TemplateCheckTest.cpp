// What CheckTemplate() finds, where, and how it says it.

#include "support/DiagnosticChecks.h"
#include "support/Rows.h"

#include <common/TemplateCheck.h>

#include <gtest/gtest.h>

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
                                               "111w 46+15", "113w 46+15", "111n 62+15",       "120n 78+2"};
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
