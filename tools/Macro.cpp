#include "Commands.h"
#include "Errors.h"
#include "Packets.h"
#include "Quantities.h"

#include <common/MacroExpander.h>

#include <cstdio>

namespace zor::tools {

using namespace common;

namespace {

/// The variables that are set, and where the run stands: "number", from 1 on, "total", and "left".
class Variables : public CMacroVarMapResolver {
public:
    explicit Variables(std::uint64_t total) : mTotal(total) { MoveTo(1); }

    void MoveTo(std::uint64_t number)
    {
        SetUnlessGiven("number", number);
        SetUnlessGiven("total", mTotal);
        SetUnlessGiven("left", mTotal - number);
    }

    void Give(const std::string& name, const std::string& value)
    {
        mGiven.push_back(name);
        SetValue(name, value);
    }

private:
    void SetUnlessGiven(const std::string& name, std::uint64_t value)
    {
        for (const std::string& given : mGiven) {
            if (given == name) return;
        }
        SetValue(name, std::to_string(value));
    }

    std::uint64_t mTotal;
    std::vector<std::string> mGiven;
};

} // namespace

int Macro(Options& options)
{
    std::string expression;
    if (const auto text = options.settings.Find("template")) {
        expression = *text;
    } else if (!options.files.empty()) {
        expression = ReadFile(options.files.front());
        options.files.erase(options.files.begin());
        if (!expression.empty() && expression.back() == '\n') expression.pop_back();
    } else {
        throw InputError("no expression is given: a file or -e TEXT");
    }
    if (!options.files.empty()) throw InputError("\"" + options.files.front() + "\" is one expression too many");
    const std::uint64_t count = ReadNumber("--count", options.settings.Find("count").value_or("1"));
    Variables variables(count);
    for (const std::string& pair : options.settings.FindAll("set")) {
        const std::size_t equals = pair.find('=');
        if (equals == std::string::npos || equals == 0) {
            throw InputError("--set must be of the form NAME=VALUE, not \"" + pair + "\"");
        }
        variables.Give(pair.substr(0, equals), pair.substr(equals + 1));
    }
    for (const MacroDiagnostic& found : CheckMacro(expression, &variables)) {
        PlacedError place(found.message, found.pos, found.len);
        place.SetText(expression);
        std::fputs(("expression: " + found.message + "\n" + place.Show()).c_str(), stderr);
        if (!found.hint.empty()) std::fputs(("  instead: " + found.hint + "\n").c_str(), stderr);
    }
    CMacroExpander expander(&variables);
    std::string error;
    if (!expander.SetExpr(expression, error)) throw InputError("the expression cannot be expanded");
    std::string value;
    for (std::uint64_t number = 1; number <= count; ++number) {
        variables.MoveTo(number);
        expander.GetValue(value);
        Print(value + "\n");
    }
    return 0;
}

} // namespace zor::tools
