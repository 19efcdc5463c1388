// Prints the successive values of a template, a line each.

#include "CommandLine.h"

#include <common/Wildcards.h>

#include <getopt.h>

#include <optional>

using examples::UsageError;
using zor::common::Wildcards;

namespace {

constexpr const char* kHelp =
    R"(usage: expand-template [options] TEMPLATE [COUNT] [NAME=VALUE...]
       expand-template [options] --file PATH [COUNT] [NAME=VALUE...]

Prints COUNT values of a template (1 if not given), a line each.

  -i, --index N    start from the value at an index, which is not always the one that steps lead to
  -m, --marker C   the character that opens an expression (@)
  -f, --file PATH  read the template from a file; a newline at its end is left out
  -x, --hex        print each value's bytes in hexadecimal
  -h, --help       print this and exit

NAME=VALUE sets a variable. "--" ends the options. Examples:

  expand-template '@$(0A000001,4,00000001,ipv4)' 5
  expand-template --hex '@h 08 06 @$(0064,0,0001,big)' 3
  expand-template 'GET /@=(path)?id=@x(1,0,1,5)' 2 path=index.html
)";

struct Options {
    std::optional<std::uint32_t> index;
    std::string marker = "@";
    std::optional<std::string> file;
    bool hex = false;
    bool help = false;
};

/// What getopt_long found wrong: a long option by its text, a short one, which may stand among others, by its letter.
std::string WrongOption(const std::string& argument)
{
    if (argument.compare(0, 2, "--") != 0) return std::string("unknown option \"-") + static_cast<char>(optopt) + "\"";
    return (optopt == 0 ? "unknown option \"" : "no value is expected in \"") + argument + "\"";
}

Options ReadOptions(int argc, char** argv)
{
    static constexpr option kLong[] = {
        {"index", required_argument, nullptr, 'i'}, {"marker", required_argument, nullptr, 'm'},
        {"file", required_argument, nullptr, 'f'},  {"hex", no_argument, nullptr, 'x'},
        {"help", no_argument, nullptr, 'h'},        {nullptr, 0, nullptr, 0}};
    Options options;
    opterr = 0;
    for (int c = 0; (c = getopt_long(argc, argv, ":i:m:f:xh", kLong, nullptr)) != -1;) {
        switch (c) {
        case 'i': options.index = examples::ReadNumber("the first index", optarg); break;
        case 'm':
            options.marker = optarg;
            if (options.marker.size() != 1) throw UsageError("the marker must be one character");
            break;
        case 'f': options.file = optarg; break;
        case 'x': options.hex = true; break;
        case 'h': options.help = true; break;
        case ':': throw UsageError(std::string("option \"") + argv[optind - 1] + "\" needs a value");
        default: throw UsageError(WrongOption(argv[optind - 1]));
        }
    }
    return options;
}

void Print(const std::string& value, bool hex)
{
    if (hex) {
        for (const char c : value) {
            const auto byte = static_cast<unsigned char>(c);
            std::cout << "0123456789abcdef"[byte >> 4] << "0123456789abcdef"[byte & 15];
        }
        std::cout << '\n';
    } else {
        std::cout << value << '\n';
    }
}

void ExpandTemplate(int argc, char** argv)
{
    const Options options = ReadOptions(argc, argv);
    if (options.help) {
        std::cout << kHelp;
        return;
    }
    int next = optind;
    std::string text;
    if (options.file) {
        text = examples::ReadTemplate(*options.file);
    } else {
        if (next == argc) throw UsageError("no template is given");
        text = argv[next++];
    }
    Wildcards wildcards(text, options.marker);
    std::uint32_t count = 1;
    if (next < argc && std::string_view(argv[next]).find('=') == std::string_view::npos) {
        count = examples::ReadNumber("the count", argv[next++]);
    }
    for (; next < argc; ++next) {
        const std::string_view pair = argv[next];
        const std::size_t equals = pair.find('=');
        if (equals == std::string_view::npos || equals == 0) {
            throw UsageError("\"" + std::string(pair) + "\" is not of the form NAME=VALUE");
        }
        wildcards.AddVar(std::string(pair.substr(0, equals)), std::string(pair.substr(equals + 1)));
    }

    examples::ParseTemplate(wildcards, text, options.file.value_or("template"));
    if (options.index) wildcards.SetReadCursor(static_cast<int>(*options.index));
    examples::ForEachValue(wildcards, count, [&](const std::string& value) { Print(value, options.hex); });
}

} // namespace

int main(int argc, char** argv)
{
    return examples::Run("expand-template", [&] { ExpandTemplate(argc, argv); });
}
