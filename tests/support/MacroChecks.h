#ifndef ZOR_COMMON_TESTS_MACRO_CHECKS_H
#define ZOR_COMMON_TESTS_MACRO_CHECKS_H

/// \file
/// Macro expanders that are used again and again, checked against new ones.

#include "Random.h"

#include <common/MacroExpander.h>

#include <gtest/gtest.h>

#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zor::common::test {

using Variables = std::map<std::string, std::string>;

/// A resolver that is no CMacroVarMapResolver, so that an expander has to ask it for all that it wants to know.
struct PlainResolver : public CMacroVarResolver {
    const Variables& variables;
    explicit PlainResolver(const Variables& held) : variables(held) {}

    bool GetVarNames(std::vector<std::string>& names) override
    {
        for (auto variable = variables.rbegin(); variable != variables.rend(); ++variable) {
            names.insert(names.end(), 2, variable->first);
        }
        return true;
    }
    bool GetValue(const std::string& name, std::string& value) override
    {
        const auto found = variables.find(name);
        if (found != variables.end()) value += found->second;
        return found != variables.end();
    }
};

inline std::string Expanded(CMacroExpander& expander)
{
    std::string value = "stale";
    expander.GetValue(value);
    return value;
}

/// Expressions, values and resolvers change in any order. After each step the expander shows what a new one does that
/// has parsed the same expression for the same variables.
class MacroChain {
public:
    void Step(Random& random)
    {
        const std::string expr = Expression(random);
        const std::size_t map = random.Below(2);
        const std::size_t operation = random.Below(10);
        SCOPED_TRACE("operation " + std::to_string(operation) + ", \"" + expr + '"');
        std::string value = "old", error, freshError;
        CMacroExpander fresh(mReferences[mCurrent]);
        const bool valid = fresh.ParseExpr(expr, freshError);
        CompareFaults(expr, valid, freshError);
        switch (operation) {
        case 0:
        case 1:
            ASSERT_EQ(operation == 0 ? mUsed.SetExpr(expr, error) : mUsed.EvalExpr(expr, value, error), valid);
            ASSERT_EQ(error, freshError);
            ASSERT_EQ(value, operation == 1 && valid ? Expanded(fresh) : "old");
            if (valid) mAccepted = expr;
            mParsed = mAccepted;
            break;
        case 2:
            ASSERT_EQ(mUsed.ParseExpr(expr, error), valid);
            ASSERT_EQ(error, freshError);
            mParsed = expr;
            break;
        case 3: mUsed.ClearTokens(), mParsed.clear(); break;
        case 4: {
            const std::string name = kNames[random.Below(std::size(kNames))];
            const std::string text(random.Below(40), static_cast<char>('a' + random.Below(26)));
            mMaps[map]->SetValue(name, text), mVariables[map][name] = text;
            break;
        }
        case 5: *mMaps[0] = *mMaps[map], mVariables[0] = mVariables[map]; break;
        case 6: mMaps[0].emplace(*mMaps[1]), mVariables[0] = mVariables[1]; break;
        default: mUsed.SetResolver(mResolvers[mCurrent = random.Below(std::size(mResolvers))]);
        }
        CMacroExpander reference(mReferences[mCurrent]);
        reference.ParseExpr(mParsed, freshError);
        ASSERT_EQ(Expanded(mUsed), Expanded(reference)) << mParsed;
        ASSERT_EQ(mUsed.GetExpr(), mAccepted);
        std::vector<std::string> names, expected;
        mMaps[map]->GetVarNames(names);
        for (const auto& variable : mVariables[map]) expected.push_back(variable.first);
        ASSERT_EQ(names, expected);
    }

private:
    /// What is refused has a fault with those words, and what is accepted has none but about a literal "$".
    void CompareFaults(const std::string& expr, bool valid, const std::string& error) const
    {
        bool isRefused = false, isSaid = valid;
        std::size_t pos = 0;
        for (const MacroDiagnostic& found : zor::common::CheckMacro(expr, mReferences[mCurrent])) {
            isRefused = isRefused || found.message.compare(0, 4, "This") != 0;
            isSaid = isSaid || error.compare(0, found.message.size(), found.message) == 0;
            ASSERT_TRUE(found.pos >= pos && found.len > 0 && found.pos + found.len <= expr.size()) << found.message;
            pos = found.pos;
        }
        ASSERT_EQ(isRefused, !valid);
        ASSERT_TRUE(isSaid) << error;
    }

    static constexpr const char* kNames[] = {"A", "BC", "x", "a name that is longer than any string keeps inside"};

    static std::string Expression(Random& random)
    {
        static constexpr const char* kPieces[] = {
            "$(A)",  "$(BC)",  "$BC ", "$x ", "text", "a text that is longer than any string keeps inside",
            "$(no)", "$A(b)c", "$",    "(",   ")",    "$(a name that is longer than any string keeps inside)"};
        return random.TextBy([&] {
            std::string text;
            for (std::size_t n = random.Below(7); n > 0; --n) text += kPieces[random.Below(std::size(kPieces))];
            return random.Below(8) == 0 ? random.Mutated(text, "$() x") : text;
        });
    }

    Variables mVariables[2], mNone;
    PlainResolver mPlain[3] = {PlainResolver(mVariables[0]), PlainResolver(mVariables[1]), PlainResolver(mNone)};
    std::optional<CMacroVarMapResolver> mMaps[2] = {CMacroVarMapResolver(), CMacroVarMapResolver()};
    CMacroVarResolver* const mResolvers[4] = {&*mMaps[0], &*mMaps[1], &mPlain[1], nullptr};
    PlainResolver* const mReferences[4] = {&mPlain[0], &mPlain[1], &mPlain[1], &mPlain[2]}; ///< Of each of them.
    std::size_t mCurrent = 0;
    CMacroExpander mUsed{mResolvers[0]};
    std::string mAccepted, mParsed; ///< The expression that the expander keeps, and the one its tokens are of.
};

inline void CheckMacro(Random& random)
{
    MacroChain chain;
    for (int step = 0; step < 40 && random.HasMore() && !testing::Test::HasFailure(); ++step) chain.Step(random);
}

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_MACRO_CHECKS_H
