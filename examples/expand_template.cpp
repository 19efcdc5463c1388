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

  -i, --index N    the index of the first value (0)
  -m, --marker C   the character that opens an expression (@)
  -f, --file PATH  read the template from a file; a newline at its end is left out
  -x, --hex        print each value's bytes in hexadecimal
  -h, --help       print this and exit

NAME=VALUE sets a variable. "--" ends the options. Examples:

  expand-template '@$(0A000001,4,1,ipv4)' 5
  expand-template --hex '@h 08 06 @$(0064,0,1,big)' 3
  expand-template 'GET /@=(path)?id=@x(1,0,1,5)' 2 path=index.html
)";

struct Options {
    std::optional<std::uint32_t> index;
    std::string marker = "@";
    std::optional<std::string> file;
    bool hex = false;
    bool help = false;
};

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
        default: throw UsageError(std::string("unknown option \"") + argv[optind - 1] + "\"");
        }
    }
    return options;
}

std::string ReadTemplate(const std::string& path)
{
    std::string text = examples::ReadFile(path);
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
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
        text = ReadTemplate(*options.file);
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

    try {
        wildcards.ParseExpr();
    } catch (const std::out_of_range&) {
        throw UsageError("an argument list in the template ends in delimiters");
    }
    if (options.index) wildcards.SetReadCursor(static_cast<int>(*options.index));
    std::string value;
    for (std::uint32_t i = 0; i < count; ++i) {
        if (i == 0) {
            wildcards.GetValue(value);
        } else {
            wildcards.GetNextValue(value);
        }
        Print(value, options.hex);
    }
}

} // namespace

int main(int argc, char** argv)
{
    return examples::Run("expand-template", [&] { ExpandTemplate(argc, argv); });
}
