// Uses what is inline and what is in the library, and an exception that crosses its boundary.
#include <common/Ipv6Address.h>
#include <common/MacroExpander.h>
#include <common/Version.h>
#include <common/Wildcards.h>
#include <iostream>
#include <stdexcept>

int main()
{
    zor::common::CMacroVarMapResolver variables;
    variables.SetValue("any", ZOR_COMMON_VERSION_STRING);
    std::string text, error;
    if (!zor::common::CMacroExpander(&variables).EvalExpr("version $any", text, error)) std::cout << error << '\n';
    std::cout << text << '\n' << ++zor::common::CIpAddress(10, 0, 0, 255) << '\n';
    try {
        zor::common::Wildcards("@x(1,,)", "@").GetValue(text);
    } catch (const std::out_of_range&) {
        std::cout << "caught\n";
    }
}
