#include "support/MacroChecks.h"
#include "support/Rows.h"

#include <common/MacroExpander.h>

#include <gtest/gtest.h>

#include <stdexcept>

using namespace zor::common;
using namespace std::string_literals;
using namespace zor::common::test;

namespace {

static_assert(std::has_virtual_destructor_v<CMacroVarResolver> && std::has_virtual_destructor_v<CMacroExpanderToken>);
static_assert(!std::is_polymorphic_v<CMacroExpander> && !std::is_copy_constructible_v<CMacroExpander>);

constexpr char kMissing[] = "Missing closing parenthesis.";

std::string Unsupported(const std::string& name)
{
    return "Variable \"" + name + "\" is not supported.";
}

const Variables kVariables = {{"A", "1"},          {"BC", "22"},          {"abcd", "<abcd>"},
                              {"x", "<x>"},        {"a b$c", "<spaced>"}, {"n\0l"s, "\0"s},
                              {"\xa0\xff", "\x80"}};

CMacroVarMapResolver MakeVariables()
{
    CMacroVarMapResolver variables;
    for (const auto& [name, value] : kVariables) variables.SetValue(name, value);
    return variables;
}

TEST(MacroExpanderText, ExpandsOrSaysWhyNot)
{
    CMacroVarMapResolver variables = MakeVariables();
    PlainResolver plain(kVariables);
    for (CMacroVarResolver* const resolver :
         {static_cast<CMacroVarResolver*>(&variables), static_cast<CMacroVarResolver*>(&plain)}) {
        for (const auto& row : Rows("macros.txt")) {
            SCOPED_TRACE(row[0]);
            CMacroExpander expander(resolver);
            std::string value = "before", error;
            const bool valid = row[1] == "yes";
            EXPECT_EQ(expander.EvalExpr(row[0], value, error), valid);
            EXPECT_EQ(error, valid ? "" : row[2]);
            EXPECT_EQ(value, valid ? row[2] : "before");
            error.clear();
            expander.ParseExpr(row[0], error);
            EXPECT_EQ(Expanded(expander), valid ? row[2] : row[3]) << "up to a fault, or without unknown variables";
        }
    }
}

TEST(MacroExpanderState, IsThatOfANewOne)
{
    Random random(61);
    for (int round = 0; round < 80; ++round) {
        MacroChain chain;
        for (int step = 0; step < 300; ++step) ASSERT_NO_FATAL_FAILURE(chain.Step(random)) << round << ", " << step;
    }
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

/// A map whose answers are its own: it may answer no and leave things behind, or throw.
struct FickleResolver : public CMacroVarMapResolver {
    bool listed = true, failing = false;

    bool GetVarNames(std::vector<std::string>& names) override
    {
        if (failing) throw std::runtime_error("no names");
        names = {"some", "none", "all", "some", "throw"};
        return listed;
    }
    bool GetValue(const std::string& name, std::string& value) override
    {
        if (name == "throw") throw std::runtime_error("no value");
        value += "<" + name + ">";
        return name != "none";
    }
};

TEST(MacroExpanderResolver, NamesAndValuesAreItsOwnAffair)
{
    FickleResolver fickle;
    fickle.SetValue("A", "of the map");
    CMacroExpander expander(&fickle);
    const auto state = [&] { return Expanded(expander) + expander.GetExpr(); };
    std::string value = "kept", error;
    EXPECT_TRUE(expander.SetExpr("$(all),$(none),$(some).", error)) << error;
    const std::string expected = "<all>,,<some>.$(all),$(none),$(some).";
    EXPECT_EQ(state(), expected);
    fickle.failing = true;
    EXPECT_THROW(expander.SetExpr("other", error), std::runtime_error);
    EXPECT_EQ(state(), expected);
    EXPECT_THROW(expander.ParseExpr("other", error), std::runtime_error);
    EXPECT_EQ(state(), expected);
    fickle.failing = false;
    EXPECT_THROW(expander.EvalExpr("new $(throw)", value, error), std::runtime_error);
    EXPECT_EQ(value + state(), "kept" + expected);
    EXPECT_FALSE(expander.SetExpr("$(A)"));
    fickle.listed = false;
    EXPECT_FALSE(expander.ParseExpr("$(all)", error));
    EXPECT_EQ(error, Unsupported("all"));
}

TEST(MacroVarMapResolver, ListsInByteOrderAndEmptiesUnknownValues)
{
    CMacroVarMapResolver variables = MakeVariables();
    std::vector<std::string> names = {"stale"};
    EXPECT_TRUE(variables.GetVarNames(names));
    EXPECT_EQ(names, (std::vector<std::string>{"A", "BC", "a b$c", "abcd", "n\0l"s, "x", "\xa0\xff"}));
    std::string value = "stale";
    CMacroExpander expander(nullptr);
    EXPECT_FALSE(CMacroVar(nullptr, "x").GetValue(value) || CMacroVar(&expander, "x").GetValue(value));
    EXPECT_EQ(value, "stale") << "without a resolver there is nothing to ask";
    EXPECT_FALSE(variables.GetValue("B", value));
    EXPECT_EQ(value, "");
    EXPECT_TRUE(CMacroString(nullptr, "text").GetValue(value));
    EXPECT_EQ(value, "text");
}

TEST(MacroVarMapResolver, FindsEachOfManyVariables)
{
    CMacroVarMapResolver variables, copy;
    std::string value;
    const auto hasFirst = [&value](CMacroVarMapResolver& resolver, int count) {
        for (int i = 0; i < 300; ++i) {
            const std::string name = "v" + std::to_string(i);
            if (resolver.GetValue(name, value) != (i < count) || value != (i < count ? name : "")) return false;
        }
        return true;
    };
    for (int count = 0; count < 300; ++count) {
        ASSERT_TRUE(hasFirst(variables, count) && hasFirst(copy, count)) << count;
        if (count % 2 == 0) copy = variables;
        const std::string name = "v" + std::to_string(count);
        variables.SetValue(name, "before"), variables.SetValue(name, name);
        copy.SetValue(name, name);
        CMacroVarMapResolver constructed(variables);
        constructed.SetValue("more", "");
        ASSERT_TRUE(hasFirst(constructed, count + 1)) << count;
    }
}

TEST(MacroExpander, SaysAllFaultsWithTheirPlaces)
{
    CMacroVarMapResolver variables;
    for (const char* name : {"n", "host", "port", "a name"}) variables.SetValue(name, "");
    const auto faults = [&](const std::string& expr) {
        std::string all;
        for (const MacroDiagnostic& found : CheckMacro(expr, &variables)) {
            all += std::to_string(found.pos) + '+' + std::to_string(found.len) + ' ' + found.message.substr(0, 12) +
                   (found.hint.empty() ? "" : " -> ") + found.hint + '\n';
        }
        return all;
    };
    EXPECT_EQ(faults("$(host):$(port) $host $(a name) cost $5 $( x $5 "), "");
    EXPECT_EQ(faults("$host:80 $(hots)\n$x) $((b) $(port and"),
              "0+8 Variable \"ho -> $(host):80\n9+7 Variable \"ho -> $(host)\n19+1 Mismatched c\n23+1 Can not nest\n"
              "27+6 Missing clos -> $(port)\n");
    EXPECT_EQ(faults("$n of $x$n $$ "),
              "0+2 This \"$\" is  -> $(n)\n6+2 This \"$\" is \n8+2 This \"$\" is  -> $(n)\n12+1 Variable \"\" \n");
    EXPECT_EQ(faults("$$host $(ab$(host) $x(y"), "0+1 Variable \"\" \n12+1 Can not nest\n19+3 Missing clos\n");
}

} // namespace
