// Uses what is inline and what is in the library, and a base class and an exception that cross its boundary.
#include <common/Ipv6Address.h>
#include <common/MacroExpander.h>
#include <common/Version.h>
#include <common/Wildcards.h>
#include <iostream>
#include <stdexcept>

namespace {

class Resolver : public zor::common::CMacroVarResolver {
public:
    bool GetValue(const std::string&, std::string& value) override
    {
        value = ZOR_COMMON_VERSION_STRING;
        return true;
    }
    bool GetVarNames(std::vector<std::string>& names) override
    {
        names = {"any"};
        return true;
    }
};

} // namespace

int main()
{
    Resolver resolver;
    zor::common::CMacroExpander version(&resolver);
    std::string text;
    if (!version.SetExpr("version $any", text)) std::cout << text << '\n';
    version.GetValue(text);
    std::cout << text << '\n' << ++zor::common::CIpAddress(10, 0, 0, 255) << '\n';
    try {
        zor::common::Wildcards("@x(1,,)", "@").GetValue(text);
    } catch (const std::out_of_range&) {
        std::cout << "caught\n";
    }
}
