#include "support/MacroChecks.h"
#include "support/Rows.h"

#include <common/MacroExpander.h>

#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>

using namespace zor::common;
using namespace std::string_literals;
using namespace zor::common::test;

namespace {

static_assert(std::has_virtual_destructor_v<CMacroVarResolver> && std::has_virtual_destructor_v<CMacroExpanderToken>);
static_assert(!std::is_polymorphic_v<CMacroExpander> && !std::is_copy_constructible_v<CMacroExpander>);

CMacroVarMapResolver MakeVariables()
{
    CMacroVarMapResolver variables;
    const std::pair<std::string, std::string> values[] = {
        {"A", "0"},       {"BC", "22"},         {"abcd", "<abcd>"}, {"x", "<x>"}, {"a b$c", "<spaced>"},
        {"n\0l"s, "\0"s}, {"\xa0\xff", "\x80"}, {"A", "1"}};
    for (const auto& [name, value] : values) variables.SetValue(name, value);
    return variables;
}

/// To an expander a resolver like any other.
struct OtherMapResolver : public CMacroVarMapResolver {
    OtherMapResolver(const CMacroVarMapResolver& variables) : CMacroVarMapResolver(variables) {}
};

TEST(MacroExpanderText, ExpandsOrSaysWhyNot)
{
    CMacroVarMapResolver variables = MakeVariables();
    OtherMapResolver others(variables);
    for (CMacroVarResolver* const resolver : {&variables, static_cast<CMacroVarMapResolver*>(&others)}) {
        CMacroExpander used(resolver);
        for (const auto& row : Rows("macros.txt")) {
            SCOPED_TRACE(row[0]);
            CMacroExpander expander(resolver);
            std::string value = "before", error, usedError;
            const bool valid = row[1] == "yes";
            EXPECT_EQ(expander.EvalExpr(row[0], value, error), valid);
            EXPECT_EQ(error, valid ? "" : row[2]);
            EXPECT_EQ(value, valid ? row[2] : "before");
            EXPECT_EQ(expander.GetExpr(), valid ? row[0] : "");
            EXPECT_EQ(used.EvalExpr(row[0], value, usedError), valid);
            EXPECT_EQ(usedError, error);
            EXPECT_EQ(value, valid ? row[2] : "before");
        }
    }
}

TEST(MacroExpanderScan, EveryShortTextFollowsTheRules)
{
    std::vector<std::string> texts = {""};
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const std::string text = texts[i];
        ASSERT_NO_FATAL_FAILURE(test::CheckMacroScan(text));
        for (const char c : "$() ab"s) {
            if (text.size() < 6) texts.push_back(text + c);
        }
    }
}

TEST(MacroExpanderParse, ReplacesTheTokensAlsoOnFailure)
{
    CMacroVarMapResolver variables = MakeVariables();
    CMacroExpander expander(&variables);
    std::string error;
    ASSERT_TRUE(expander.SetExpr("kept"));
    EXPECT_TRUE(expander.ParseExpr("only parsed", error));
    EXPECT_EQ(Expanded(expander), "only parsed");
    EXPECT_EQ(expander.GetExpr(), "kept");
    EXPECT_FALSE(expander.ParseExpr("a$(A)$(nope)b", error));
    EXPECT_EQ(Expanded(expander), "a1b");
    EXPECT_FALSE(expander.ParseExpr("c$(A)$(nope)$(x(", error));
    EXPECT_EQ(error, kNested);
    EXPECT_EQ(Expanded(expander), "c1");
    EXPECT_FALSE(expander.SetExpr("$(nope)"));
    EXPECT_EQ(Expanded(expander), "kept");
    expander.ClearTokens();
    EXPECT_EQ(Expanded(expander), "");
    EXPECT_FALSE(expander.SetExpr("$(A", error));
    EXPECT_EQ(Expanded(expander), "kept");
    EXPECT_EQ(expander.GetExpr(), "kept");
}

TEST(MacroExpanderError, Accumulates)
{
    CMacroVarMapResolver variables = MakeVariables();
    CMacroExpander expander(&variables);
    std::string error = "earlier";
    EXPECT_FALSE(expander.SetExpr("$(A)", error));
    EXPECT_EQ(error, "earlier");
    EXPECT_EQ(expander.GetExpr(), "");
    EXPECT_FALSE(expander.SetExpr("$(p)$(q)", error));
    EXPECT_EQ(error, "earlier\n" + Unsupported("p") + "\n" + Unsupported("q"));
    EXPECT_FALSE(expander.SetExpr("$(p)$(", error));
    EXPECT_EQ(error, kMissing);
}

TEST(MacroExpanderAlias, OneObjectCountsAsCopiedFirst)
{
    CMacroVarMapResolver variables = MakeVariables();
    CMacroExpander expander(&variables);
    std::string text = "$(A)-$(BC) and much more text", error;
    EXPECT_TRUE(expander.EvalExpr(text, text, error));
    EXPECT_EQ(text, "1-22 and much more text");
    EXPECT_EQ(expander.GetExpr(), "$(A)-$(BC) and much more text");
    EXPECT_TRUE(expander.SetExpr(expander.GetExpr(), error));
    EXPECT_EQ(expander.GetExpr(), "$(A)-$(BC) and much more text");
    text = "$(p)";
    EXPECT_FALSE(expander.ParseExpr(text, text));
    EXPECT_EQ(text, "$(p)\n" + Unsupported("p"));
    EXPECT_FALSE(expander.SetExpr("$(A", expander.GetExpr()));
    EXPECT_EQ(expander.GetExpr(), kMissing);
    EXPECT_EQ(Expanded(expander), "1-22 and much more text");
    text = "x";
    EXPECT_TRUE(variables.GetValue(text, text));
    EXPECT_EQ(text, "<x>");
}

TEST(MacroExpanderResolver, NamesAndValuesAreItsOwnAffair)
{
    FickleResolver fickle;
    fickle.list = {"some", "none", "all", "some", "throw"};
    CMacroExpander expander(&fickle);
    std::string error;
    EXPECT_TRUE(expander.SetExpr("$(all),$(none),$(some).", error)) << error;
    EXPECT_EQ(Expanded(expander), "<all>,,<some>.");

    fickle.failing = true;
    EXPECT_THROW(expander.SetExpr("other", error), std::runtime_error);
    EXPECT_THROW(expander.ParseExpr("other", error), std::runtime_error);
    EXPECT_EQ(Expanded(expander) + expander.GetExpr(), "<all>,,<some>.$(all),$(none),$(some).");
    fickle.failing = false;
    std::string value = "kept";
    EXPECT_THROW(expander.EvalExpr("new $(throw)", value, error), std::runtime_error);
    EXPECT_EQ(value + Expanded(expander) + expander.GetExpr(), "kept<all>,,<some>.$(all),$(none),$(some).");
    fickle.listed = false;
    EXPECT_FALSE(expander.ParseExpr("$(all)", error));
    EXPECT_EQ(error, Unsupported("all"));

    CMacroVarMapResolver other;
    other.SetValue("all", "another");
    expander.SetResolver(&other);
    EXPECT_EQ(Expanded(expander), "another") << "asked at once, and not checked";
    expander.SetResolver(nullptr);
    EXPECT_EQ(Expanded(expander), "");
    EXPECT_FALSE(expander.SetExpr("$(all)"));
    EXPECT_TRUE(expander.SetExpr("plain 5$"));
    EXPECT_EQ(Expanded(expander), "plain 5$");
}

TEST(MacroVarMapResolver, GivesTheValuesOfTheMoment)
{
    std::optional<CMacroVarMapResolver> variables = MakeVariables();
    CMacroExpander expander(&*variables);
    std::string error;
    ASSERT_TRUE(expander.SetExpr("$(A)$(BC)", error));
    EXPECT_EQ(Expanded(expander), "122");
    variables->SetValue("A", "a text that is longer than any string keeps inside, ");
    EXPECT_EQ(Expanded(expander), "a text that is longer than any string keeps inside, 22");
    CMacroVarMapResolver others;
    others.SetValue("BC", "33");
    *variables = others;
    EXPECT_EQ(Expanded(expander), "33");
    others.SetValue("BC", "44");
    EXPECT_EQ(Expanded(expander), "33") << "copies share nothing";
    variables->SetValue("A", "2");
    EXPECT_EQ(Expanded(expander), "233");
    expander.SetResolver(&others);
    EXPECT_EQ(Expanded(expander), "44");
    expander.SetResolver(&*variables);
    EXPECT_EQ(Expanded(expander), "233");
    CMacroVarMapResolver copy(*variables);
    copy.SetValue("A", "5");
    expander.SetResolver(&copy);
    EXPECT_EQ(Expanded(expander), "533");
    expander.SetResolver(&*variables);
    variables.emplace(others); // at the same place
    EXPECT_EQ(Expanded(expander), "44");
    EXPECT_FALSE(expander.ParseExpr("$(A) $(BC)", error));
    EXPECT_EQ(error, Unsupported("A"));
    EXPECT_EQ(Expanded(expander), " 44");
    variables->SetValue("A", "3");
    EXPECT_EQ(Expanded(expander), "3 44");
}

/// A map whose answers are its own.
struct OverridingResolver : public CMacroVarMapResolver {
    bool GetVarNames(std::vector<std::string>& names) override
    {
        names = {"Z"};
        return true;
    }
    bool GetValue(const std::string&, std::string& value) override
    {
        value = "own";
        return true;
    }
};

TEST(MacroVarMapResolver, MayBeOverridden)
{
    OverridingResolver resolver;
    resolver.SetValue("A", "1");
    CMacroExpander expander(&resolver);
    std::string value, error;
    EXPECT_TRUE(expander.EvalExpr("$(Z)", value, error));
    EXPECT_EQ(value, "own");
    EXPECT_FALSE(expander.EvalExpr("$(A)", value, error));
}

TEST(MacroVarMapResolver, ListsInByteOrderAndEmptiesUnknownValues)
{
    CMacroVarMapResolver variables = MakeVariables();
    std::vector<std::string> names = {"stale"};
    EXPECT_TRUE(variables.GetVarNames(names));
    EXPECT_EQ(names, (std::vector<std::string>{"A", "BC", "a b$c", "abcd", "n\0l"s, "x", "\xa0\xff"}));
    std::string value = "stale";
    EXPECT_FALSE(variables.GetValue("B", value));
    EXPECT_EQ(value, "");
}

TEST(MacroTokens, AnswerForThemselves)
{
    std::string value = "stale";
    EXPECT_FALSE(CMacroVar(nullptr, "x").GetValue(value));
    CMacroExpander expander(nullptr);
    EXPECT_FALSE(CMacroVar(&expander, "x").GetValue(value));
    EXPECT_EQ(value, "stale");
    EXPECT_TRUE(CMacroString(nullptr, "text").GetValue(value));
    EXPECT_EQ(value, "text");
}

} // namespace
