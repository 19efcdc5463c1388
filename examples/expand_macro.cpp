// Macro expressions: text with variables in it, whose values come from a map or from a resolver of one's own.

#include "CommandLine.h"

#include <common/MacroExpander.h>

#include <cstdio>

using namespace zor::common;

namespace {

/// Knows where a run of packets stands. Nothing is stored: the values are made when an expression is expanded.
class PacketResolver : public CMacroVarResolver {
public:
    explicit PacketResolver(int total) : mTotal(total) {}

    /// Goes on to the next packet; false after the last one.
    bool Next() { return ++mNumber <= mTotal; }

    bool GetVarNames(std::vector<std::string>& names) override
    {
        names = {"number", "total", "left"};
        return true;
    }

    bool GetValue(const std::string& name, std::string& value) override
    {
        if (name == "number") {
            value = std::to_string(mNumber);
        } else if (name == "total") {
            value = std::to_string(mTotal);
        } else if (name == "left" && mNumber < mTotal) {
            value = ", " + std::to_string(mTotal - mNumber) + " to go";
        } else {
            return false; // contributes nothing
        }
        return true;
    }

private:
    int mTotal;
    int mNumber = 0;
};

void Show(CMacroExpander& expander, const std::string& expr)
{
    std::string value;
    std::string error;
    if (expander.EvalExpr(expr, value, error)) {
        std::printf("%-30s gives   %s\n", expr.c_str(), value.c_str());
    } else {
        std::printf("%-30s fails   %s\n", expr.c_str(), error.c_str());
    }
}

void ShowAll()
{
    CMacroVarMapResolver variables;
    variables.SetValue("host", "10.0.0.1");
    variables.SetValue("port", "80");
    variables.SetValue("n", "7");
    variables.SetValue("file name", "index.html");
    CMacroExpander expander(&variables);

    Show(expander, "http://$(host):$port /");
    Show(expander, "GET /$(file name)");
    Show(expander, "cost 5$");
    Show(expander, "$(n) of $n");
    Show(expander, "$n of $(n)"); // white space two places after the first "$": literal
    Show(expander, "$$$");
    Show(expander, "$(host");
    Show(expander, "$host)");
    Show(expander, "$(a(b))");
    Show(expander, "$(user)@$(hots)");

    // A refused expression leaves the accepted one in place.
    expander.SetExpr("port $(port)");
    expander.SetExpr("$(user)");
    variables.SetValue("port", "8080");
    std::string value;
    expander.GetValue(value);
    std::printf("\n%s now gives %s\n\n", expander.GetExpr().c_str(), value.c_str());

    PacketResolver packets(3);
    expander.SetResolver(&packets);
    expander.SetExpr("packet $number of $(total)$(left)");
    while (packets.Next()) {
        expander.GetValue(value);
        std::puts(value.c_str());
    }
}

} // namespace

int main()
{
    return examples::Run("expand-macro", ShowAll);
}
