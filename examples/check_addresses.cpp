// Reads a list of addresses of any type, one on each line, and reports each line that is not an address, with the place
// and the reason.

#include "CommandLine.h"

#include <common/AddressText.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

using namespace zor::common;

namespace {

/// The address type that a line is probably meant to have.
enum class Kind { Ipv4, Ipv6, Mac, Name };

/// Guesses the type by the separators, so that faults are reported for the intended type.
Kind GuessKind(std::string_view text)
{
    const std::size_t first = text.find_first_of(":-.");
    if (first == std::string_view::npos || text[first] == '.') return first == 4 ? Kind::Mac : Kind::Ipv4;
    // Eight groups of two digits may be an IPv6 address as well, but hardly ever are.
    const auto groups = 1 + std::count(text.begin(), text.end(), text[first]);
    if (text[first] == ':' && (first != 2 || text.find("::") != std::string_view::npos)) return Kind::Ipv6;
    return groups > 7 ? Kind::Name : Kind::Mac;
}

template <class Address>
TextResult Check(const char* first, const char* last)
{
    Address address;
    return FromChars(first, last, address);
}

TextResult CheckLine(const char* first, const char* last)
{
    switch (GuessKind({first, static_cast<std::size_t>(last - first)})) {
    case Kind::Ipv4: return Check<CIpAddress>(first, last);
    case Kind::Ipv6: return Check<CIpv6Address>(first, last);
    case Kind::Mac: return Check<CMacAddress>(first, last);
    case Kind::Name: return Check<CWorldWideName>(first, last);
    }
    return {first, TextFault::BadCharacter};
}

void CheckList(const std::string& path)
{
    const std::string list = examples::ReadFile(path);
    const char* const end = list.data() + list.size();
    std::size_t line = 0;
    std::size_t faults = 0;
    for (const char* next = list.data(); next != end;) {
        const char* const newline = std::find(next, end, '\n');
        ++line;
        const TextResult read = CheckLine(next, newline);
        if (read.fault != TextFault::None) {
            ++faults;
            const auto column = static_cast<std::size_t>(read.end - next) + 1;
            std::printf("line %zu, column %zu: %s\n", line, column, Describe(read.fault));
        }
        next = newline == end ? end : newline + 1;
    }
    const std::string lines = std::to_string(line) + " lines";
    if (faults > 0) throw examples::InputError(std::to_string(faults) + " of " + lines + " are no addresses");
    std::printf("%s, all of them addresses\n", lines.c_str());
}

void CheckAddresses(int argc, char** argv)
{
    if (argc == 2 && argv[1] == std::string("--help")) {
        std::puts("usage: check-addresses LIST\n\nReports each line of LIST that is no address, by line and column.");
        return;
    }
    if (argc != 2) throw examples::UsageError("a list of addresses is expected");
    CheckList(argv[1]);
}

} // namespace

int main(int argc, char** argv)
{
    return examples::Run("check-addresses", [&] { CheckAddresses(argc, argv); });
}
