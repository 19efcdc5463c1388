#ifndef ZOR_COMMON_TESTS_MACRO_CHECKS_H
#define ZOR_COMMON_TESTS_MACRO_CHECKS_H

/// \file
/// Macro expressions, checked against the rules written out.

#include "Random.h"

#include <common/MacroExpander.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace zor::common::test {

inline std::string Unsupported(const std::string& name)
{
    return "Variable \"" + name + "\" is not supported.";
}

inline constexpr char kMismatched[] = "Mismatched closing parenthesis before opening parenthesis.";
inline constexpr char kNested[] = "Can not nest variable parenthesis.";
inline constexpr char kMissing[] = "Missing closing parenthesis.";

inline bool IsBlank(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// The scan as its rules put it, one character at a time: literals as they are, names in <>, a fault as "!".
inline std::string ScanByRule(const std::string& expr)
{
    std::string result, name;
    bool inName = false, inParentheses = false;
    for (std::size_t i = 0; i < expr.size(); ++i) {
        const char c = expr[i];
        if (inName && (inParentheses ? c == ')' : c == '$' || IsBlank(c))) {
            result += "<" + name + ">";
            name.clear();
            if (!inParentheses) --i;
            inName = inParentheses = false;
        } else if (inName) {
            if (c == ')' || (c == '(' && inParentheses)) return result + "!";
            if (c == '(') inParentheses = true;
            if (c != '(') name += c;
        } else if (c != '$' || i + 1 == expr.size()) {
            result += c;
        } else {
            const char d = expr.c_str()[i + 2];
            inName = d != '$' && !IsBlank(d);
            if (!inName) result += c;
            if (d == '$') ++i;
        }
    }
    return inParentheses ? result + "!" : inName ? result + "<" + name + ">" : result;
}

/// What a resolver may do: list in any order, answer no and leave things behind, throw.
struct FickleResolver : public CMacroVarResolver {
    std::vector<std::string> list;
    bool listed = true, failing = false;

    bool GetVarNames(std::vector<std::string>& names) override
    {
        if (failing) throw std::runtime_error("no names");
        names.insert(names.end(), list.begin(), list.end());
        return listed;
    }
    bool GetValue(const std::string& name, std::string& value) override
    {
        if (name == "throw") throw std::runtime_error("no value");
        value += "<" + name + ">";
        return name != "none";
    }
};

/// Answers any name with itself, and lists none.
struct EchoResolver : public CMacroVarResolver {
    bool GetVarNames(std::vector<std::string>&) override { return true; }
    bool GetValue(const std::string& name, std::string& value) override
    {
        value = "<" + name + ">";
        return true;
    }
};

inline std::string Expanded(CMacroExpander& expander)
{
    std::string value = "stale";
    expander.GetValue(value);
    return value;
}

/// A text is literals, names and faults as the rules say; the resolver knows no name.
inline void CheckMacroScan(const std::string& text)
{
    EchoResolver echo;
    CMacroExpander expander(&echo);
    std::string error;
    const std::string expected = ScanByRule(text);
    const bool valid = expander.ParseExpr(text, error);
    const bool fault = error == kMismatched || error == kNested || error == kMissing;
    ASSERT_EQ(Expanded(expander) + (fault ? "!" : ""), expected) << text;
    if (text.find_first_of("<!") != std::string::npos) return; // which marks names and faults in what is expected
    ASSERT_EQ(valid, expected.find_first_of("<!") == std::string::npos) << text;
}

inline void CheckMacro(Random& random)
{
    CheckMacroScan(random.Mutated("", "$"));
}

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_MACRO_CHECKS_H
